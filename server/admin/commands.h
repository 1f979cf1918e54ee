// The operator's commands, carried out on the store and, while the server
// runs, on its hub. The command line turns what the operator typed into a
// request (a password already hashed, a duration in seconds) and runs it
// here itself when the server is stopped, or sends it to the control socket.
#pragma once

#include "core/config.h"
#include "core/effects.h"
#include "store/store.h"

#include <string>
#include <vector>

namespace velmora::server::core {
class Hub;
}

namespace velmora::server::admin {

// What the command printed and its exit status: 0 done (text for stdout),
// 1 refused or not found (text for stderr), 2 not a request at all.
struct Reply {
    int status = 0;
    std::string text;
};

struct Target {
    store::Store& store;
    const core::CoreConfig& config;
    // Null while the server is stopped: commands on sessions are refused.
    core::Hub* hub = nullptr;
};

// Requests, one field each:
//   user add NAME HASH | user passwd NAME HASH
//   user del|disable|enable|show NAME | user list [PATTERN]
//   sessions | rooms | bans | kick NAME [REASON] | unban TARGET
//   ban TARGET SECONDS [REASON]   (SECONDS 0: for ever)
// Changes are left open in the store; the caller commits them. What the
// hub must send or close goes to `fx`.
[[nodiscard]] Reply execute(const std::vector<std::string>& request, Target target,
                            core::Effects& fx);

// Whether `request` can run without a server.
[[nodiscard]] bool worksOffline(const std::vector<std::string>& request);

} // namespace velmora::server::admin
