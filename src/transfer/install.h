// Wires file transfer into a new session: the file replies and Send File.
#pragma once

namespace velmora {

class Session;

void installTransfer(Session& session);

} // namespace velmora
