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
// is reported and no window is shown. Answers how many were stored: a row
// committed counts even when making the file safe from a power cut failed,
// for it survives a crash of the program.
qsizetype StoreOfflineMessages(Session& session, const QList<QStringList>& messages);

} // namespace velmora
