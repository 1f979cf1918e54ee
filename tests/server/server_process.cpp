#include "server_process.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace velmora::test {

namespace {
pid_t spawn(const std::vector<std::string>& args, int stdoutFd, int stderrFd) {
    std::vector<char*> argv;
    const std::string path = velmoradPath();
    argv.push_back(const_cast<char*>(path.c_str()));
    for (const auto& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(stdoutFd, STDOUT_FILENO);
        dup2(stderrFd, STDERR_FILENO);
        execv(path.c_str(), argv.data());
        _exit(127);
    }
    return pid;
}

int waitFor(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
} // namespace

std::string velmoradPath() {
    const char* path = std::getenv("VELMORAD");
    if (!path) {
        throw std::runtime_error("VELMORAD is not set");
    }
    return path;
}

int runVelmorad(const std::vector<std::string>& args) {
    const int devNull = open("/dev/null", O_WRONLY);
    const pid_t pid = spawn(args, devNull, devNull);
    close(devNull);
    return waitFor(pid);
}

ServerProcess::ServerProcess(const std::string& db, const std::string& logPath,
                             const std::vector<std::string>& extra) {
    std::vector<std::string> args{"--listen", "127.0.0.1:0", "--db", db};
    args.insert(args.end(), extra.begin(), extra.end());
    int out[2];
    if (pipe(out) != 0) {
        throw std::runtime_error("pipe failed");
    }
    const int log = open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    pid_ = spawn(args, out[1], log);
    close(out[1]);
    close(log);
    FILE* lines = fdopen(out[0], "r");
    char line[256] = {};
    const bool got = std::fgets(line, sizeof line, lines) != nullptr;
    std::fclose(lines);
    unsigned int port = 0;
    if (!got || std::sscanf(line, "listening on 127.0.0.1:%u", &port) != 1) {
        kill();
        throw std::runtime_error("velmorad did not start: " + std::string(line));
    }
    port_ = static_cast<unsigned short>(port);
}

ServerProcess::~ServerProcess() {
    if (pid_ > 0) {
        stop();
    }
}

int ServerProcess::stop() {
    ::kill(pid_, SIGTERM);
    const int status = waitFor(pid_);
    pid_ = -1;
    return status;
}

void ServerProcess::kill() {
    ::kill(pid_, SIGKILL);
    waitFor(pid_);
    pid_ = -1;
}

} // namespace velmora::test
