// The offline messages reply: messages that waited on the server while this user was
// away, stored in "omess.db" for the logged-in user and then shown.
#pragma once

#include <QList>
#include <QStringList>

namespace velmora {

class Session;

// `messages` holds one list per message: text, sender, sent time. Each is stored
// on its own, tagged with the session user, and the offline messages window
// is shown afterwards. A message with a missing field, or a database that
// refuses a row, ends the storing there with an error report: the rows
// already stored stay and are shown. A database that cannot be opened at all
// is reported and no window is shown.
void StoreOfflineMessages(Session& session, const QList<QStringList>& messages);

} // namespace velmora
