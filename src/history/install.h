// Wires the message history into a new session: every line the session
// sends or receives is kept, and Tools > Search History... finds it again.
#pragma once

namespace velmora {

class Session;

void installHistory(Session& session);

} // namespace velmora
