// Many sessions without as many sockets: the server's hub, on a store of
// that many accounts, logs every user in as the server does and holds them.
// It shows what the sockets cannot where the descriptor limit stops them:
// what each session costs the process, and whether logins, the login
// timeout's sweep and a popular user's presence stay flat at that size.
#pragma once

namespace velmora::bench {

// The process's exit status.
int runSessions(int users, int watchers);

} // namespace velmora::bench
