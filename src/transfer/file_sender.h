// The file-sender window: a window named "frmFileSender" whose label
// `lblRemoteUser` names the remote user. This client never creates one; the
// "Send File" commands only look for an open one and bring it forward.
#pragma once

#include <QString>

namespace velmora {

class Session;

// Brings forward the open file-sender window for `userName` and returns
// true; returns false, doing nothing else, when there is none.
bool findFileSender(Session& session, const QString& userName);

} // namespace velmora
