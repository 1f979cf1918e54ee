// Wires the shell's own commands into a new session: logging in and out,
// signing up, the server list, settings, help and about.
#pragma once

namespace velmora {

class MainWindow;
class Session;

void installLogin(Session& session, MainWindow& main);
void installRegistration(Session& session);
void installShell(Session& session, MainWindow& main);

} // namespace velmora
