// Wires the shell's own commands into a new session: logging in and out,
// signing up, the user's own account, the server list, settings, help and
// about.
#pragma once

namespace velmora {

class MainWindow;
class Session;

void installLogin(Session& session, MainWindow& main);
void installRegistration(Session& session);
void installShell(Session& session, MainWindow& main);
// Changing the password and deleting the account; installShell calls it.
void installAccount(Session& session, MainWindow& main);

} // namespace velmora
