// The operator's command line: velmorad user|sessions|kick|ban|unban|bans|
// rooms|backup, and the older "velmorad useradd". Each goes to the running
// server's control socket; the commands on accounts and bans work on the
// database itself while the server is stopped.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora::server::admin {

[[nodiscard]] bool isAdminCommand(std::string_view word);

// The exit status: 0 done, 1 refused or not found, 2 usage.
[[nodiscard]] int runCli(std::vector<std::string> args);

} // namespace velmora::server::admin
