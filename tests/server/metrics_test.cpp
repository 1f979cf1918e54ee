#include "loopback.h"

#include <netinet/in.h>

#include <chrono>
#include <thread>

namespace velmora::test {

namespace {

// A port the kernel has free now, for a program that wants a number.
unsigned short freePort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t size = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    close(fd);
    return ntohs(address.sin_port);
}

// Sends `request` as it is and reads until the server closes.
std::string talk(unsigned short port, const std::string& request) {
    WireClient client(port);
    client.send(request);
    std::string got;
    for (std::string part; !(part = client.take(10000)).empty();) {
        got += part;
    }
    return got;
}

std::string get(unsigned short port, const std::string& path) {
    return talk(port, "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n");
}

} // namespace

TEST_F(LoopbackTest, PrometheusScrapesTheLoginsAndMessagesClientsCaused) {
    if (access("/usr/bin/prometheus", X_OK) != 0) {
        GTEST_SKIP() << "prometheus is not installed";
    }
    addUser("alicia");
    addUser("bobby");
    start({"--metrics-listen", "127.0.0.1:0"});
    unsigned short metrics = 0;
    const std::string lines = log();
    ASSERT_EQ(
        std::sscanf(lines.c_str() + lines.find("metrics on "), "metrics on %*[^:]:%hu", &metrics),
        1);

    // Only GET /metrics is served, to a bounded request; each refusal is
    // logged once the connection is closed.
    EXPECT_TRUE(get(metrics, "/admin").starts_with("HTTP/1.1 404"));
    const std::string huge = "GET /metrics HTTP/1.1\r\nX-Pad: " + std::string(6000, 'p');
    EXPECT_FALSE(talk(metrics, huge).starts_with("HTTP/1.1 200"));
    const std::string page = get(metrics, "/metrics");
    EXPECT_NE(page.find("Content-Type: application/openmetrics-text; version=1.0.0"),
              std::string::npos);
    EXPECT_TRUE(page.ends_with("velmorad_file_bytes_total 0\n# EOF\n"));

    WireClient alicia(port);
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    for (int i = 0; i < 3; ++i) {
        alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ hi" + std::to_string(i) +
                    " /:/ Arial /:/ 10 /:/ B");
        (void)bobby.readThrough("/$/ B");
    }
    WireClient mallory(port);
    mallory.send(" ## cmdLI /:/ alicia /:/ wrong /:/ 1.4");
    EXPECT_EQ(mallory.readThrough("Login=False"), " ## +LI /$/ Login=False");
    (void)alicia.sync();
    const std::string logged = log();
    EXPECT_NE(logged.find("refused: 404 (GET /admin HTTP/1.1)"), std::string::npos);
    EXPECT_NE(logged.find("refused: 400, request over 4096 bytes"), std::string::npos) << logged;

    // Prometheus scrapes every second into a folder of the test's own.
    const unsigned short web = freePort();
    std::ofstream(dir.file("prometheus.yml"))
        << "global:\n  scrape_interval: 1s\nscrape_configs:\n  - job_name: velmorad\n"
        << "    static_configs:\n      - targets: ['127.0.0.1:" << metrics << "']\n";
    const int out = open(dir.file("prometheus.log").c_str(), O_WRONLY | O_CREAT, 0644);
    const pid_t prometheus = fork();
    if (prometheus == 0) {
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        execl("/usr/bin/prometheus", "prometheus",
              ("--config.file=" + dir.file("prometheus.yml")).c_str(),
              ("--storage.tsdb.path=" + dir.file("tsdb")).c_str(),
              ("--web.listen-address=127.0.0.1:" + std::to_string(web)).c_str(), nullptr);
        _exit(127);
    }
    close(out);
    const auto query = [&](const std::string& promql) {
        try {
            const std::string reply = get(web, "/api/v1/query?query=" + promql);
            return reply.substr(reply.find("\r\n\r\n") + 4);
        } catch (const std::exception&) {
            return std::string(); // not listening yet
        }
    };
    // Each figure as the clients caused it, once Prometheus has it.
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"velmorad_logins_total{result=%22ok%22}", "\"2\"]"},
        {"velmorad_logins_total{result=%22refused%22}", "\"1\"]"},
        {"velmorad_messages_relayed_total", "\"3\"]"},
        {"velmorad_sessions", "\"2\"]"},
    };
    for (const auto& [promql, value] : expected) {
        std::string got;
        for (int tries = 0; tries < 300 && got.find(value) == std::string::npos; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            got = query(promql);
        }
        EXPECT_NE(got.find(value), std::string::npos) << promql << " gave " << got;
    }
    ::kill(prometheus, SIGTERM);
    waitFor(prometheus);
    EXPECT_EQ(stop(), 0);
}

} // namespace velmora::test
