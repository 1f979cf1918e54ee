// Each test gets a fresh folder, a database with accounts made by
// `velmorad useradd`, and the real server on a free loopback port.
#pragma once

#include "server_process.h"
#include "temp_dir.h"
#include "wire_client.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>

namespace velmora::test {

class LoopbackTest : public ::testing::Test {
protected:
    void addUser(const std::string& name, const std::string& password) {
        ASSERT_EQ(runVelmorad({"useradd", name, password, "--db", db, "--hash-cost", "fast"}), 0);
    }

    std::unique_ptr<ServerProcess> start(std::vector<std::string> extra = {}) {
        extra.insert(extra.end(), {"--hash-cost", "fast"});
        return std::make_unique<ServerProcess>(db, logPath, extra);
    }

    [[nodiscard]] std::string log() const {
        std::ifstream in(logPath);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    TempDir dir;
    std::string db = dir.file("v.db");
    std::string logPath = dir.file("velmorad.log");
};

} // namespace velmora::test
