// Wires messaging into a new session: private messages, the send-IM dialog
// and the offline messages.
#pragma once

namespace velmora {

class Session;

void installMessaging(Session& session);
void installOfflineMessages(Session& session);

} // namespace velmora
