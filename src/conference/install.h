// Wires conferences into a new session: the room replies and the command
// that opens a room.
#pragma once

namespace velmora {

class Session;

void installConferences(Session& session);

} // namespace velmora
