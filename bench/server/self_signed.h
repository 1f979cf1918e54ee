// The TLS case's certificate: a fresh P-256 key and a self-signed
// certificate for 127.0.0.1, made at start so that the benchmark needs no
// files of its own.
#pragma once

#include <filesystem>

namespace velmora::bench {

struct CertificateFiles {
    std::filesystem::path certificate; // PEM
    std::filesystem::path key;         // PEM, unencrypted
};

// Writes both files into `dir`; throws std::runtime_error when OpenSSL fails.
CertificateFiles makeSelfSigned(const std::filesystem::path& dir);

} // namespace velmora::bench
