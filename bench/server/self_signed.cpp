#include "self_signed.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace velmora::bench {

namespace {

template <typename T, void (*Free)(T*)> struct Freer {
    void operator()(T* p) const { Free(p); }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY, EVP_PKEY_free>>;
using Cert = std::unique_ptr<X509, Freer<X509, X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Freer<X509_EXTENSION, X509_EXTENSION_free>>;

void check(bool ok, const char* what) {
    if (!ok) {
        throw std::runtime_error(std::string("self-signed certificate: ") + what);
    }
}

void writePem(const std::filesystem::path& path, auto&& write) {
    std::unique_ptr<FILE, decltype(&std::fclose)> file(std::fopen(path.c_str(), "w"), &std::fclose);
    check(file && write(file.get()) == 1, "cannot write the PEM files");
}

} // namespace

CertificateFiles makeSelfSigned(const std::filesystem::path& dir) {
    const Key key(EVP_EC_gen("P-256"));
    check(key != nullptr, "no key");
    const Cert cert(X509_new());
    check(cert != nullptr, "no certificate");
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 24 * 3600);
    X509_NAME* name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>("127.0.0.1"), -1, -1, 0);
    X509_set_issuer_name(cert.get(), name);
    const Extension san(
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1"));
    check(san && X509_add_ext(cert.get(), san.get(), -1) == 1, "no address");
    check(X509_set_pubkey(cert.get(), key.get()) == 1 &&
              X509_sign(cert.get(), key.get(), EVP_sha256()) > 0,
          "cannot sign");

    CertificateFiles files{dir / "bench-cert.pem", dir / "bench-key.pem"};
    writePem(files.certificate, [&](FILE* f) { return PEM_write_X509(f, cert.get()); });
    writePem(files.key, [&](FILE* f) {
        return PEM_write_PrivateKey(f, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
    return files;
}

} // namespace velmora::bench
