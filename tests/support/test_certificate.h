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
    TestCertificate made{folder + "/" + name + ".crt", folder + "/" + name + ".key", {}};
    const std::string make = "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes "
                             "-days 2 -subj /CN=localhost -keyout '" +
                             made.keyFile + "' -out '" + made.certificateFile +
                             "' 2>/dev/null && openssl x509 -noout "
                             "-fingerprint -sha256 -in '" +
                             made.certificateFile + "'";
    FILE* out = popen(make.c_str(), "r");
    char line[256] = {};
    const bool read = out && std::fgets(line, sizeof line, out);
    const bool succeeded = out && pclose(out) == 0 && read;
    const std::string text = line;
    if (!succeeded || text.find('=') == std::string::npos) {
        throw std::runtime_error("openssl could not make a certificate");
    }
    made.fingerprint =
        text.substr(text.find('=') + 1, text.find_last_not_of("\r\n") - text.find('='));
    return made;
}

} // namespace velmora::test
