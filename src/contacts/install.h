// Wires the contacts feature into a new session: the buddy list and presence
// replies, adding and removing buddies, user search and profiles.
#pragma once

namespace velmora {

class Session;

void installContacts(Session& session);
void installSearch(Session& session);

} // namespace velmora
