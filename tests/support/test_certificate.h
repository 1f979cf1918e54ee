// A self-signed certificate and its key for one test, made with the openssl
// command in a folder of the test's own, and its SHA-256 fingerprint as
// openssl prints it ("AB:CD:..."), to hold against what the client shows.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace velmora::test {

struct TestCertificate {
    std::string certificateFile;
    std::string keyFile;
    std::string fingerprint;
};

// `name` tells apart the certificates of one folder.
inline TestCertificate makeCertificate(const std::string& folder, const std::string& name) {
    const TestCertificate made{folder + "/" + name + ".crt", folder + "/" + name + ".key", {}};
    const std::string create = "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
                               "-nodes -days 2 -subj /CN=localhost -keyout '" +
                               made.keyFile + "' -out '" + made.certificateFile + "' 2>/dev/null";
    if (std::system(create.c_str()) != 0) {
        throw std::runtime_error("openssl could not make a certificate");
    }
    FILE* out = popen(
        ("openssl x509 -noout -fingerprint -sha256 -in '" + made.certificateFile + "'").c_str(),
        "r");
    char line[256] = {};
    const bool read = out && std::fgets(line, sizeof line, out);
    if (out) {
        pclose(out);
    }
    std::string text = read ? line : "";
    const auto at = text.find('=');
    if (at == std::string::npos) {
        throw std::runtime_error("openssl printed no fingerprint");
    }
    text = text.substr(at + 1);
    text.erase(text.find_last_not_of("\r\n") + 1);
    return {made.certificateFile, made.keyFile, text};
}

} // namespace velmora::test
