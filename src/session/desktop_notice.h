// Telling the user of a message or an invitation that arrived while they were
// looking elsewhere: a desktop notification, or the tray's balloon where the
// desktop has no notification service; nothing when the user turned it off.
#pragma once

#include <QString>

#include <functional>

namespace velmora {

class Session;

// `activated` runs when the user clicks the notice.
void notifyUser(Session& session, const QString& title, const QString& text,
                std::function<void()> activated);

// The first line of a relayed text as the user reads it.
[[nodiscard]] QString firstLine(const QString& relayedText);

} // namespace velmora
