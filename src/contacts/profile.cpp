#include "contacts/profile.h"

#include "platform/desktop.h"
#include "session/session.h"

namespace velmora {

QString profileUrl(const QString& profileSite, const QString& userName) {
    return profileSite + QStringLiteral("/modules.php?name=Your_Account&op=userinfo&uname=") +
           userName;
}

void openProfile(Session& session, const QString& userName, QWidget* owner) {
    // The page opens in the browser's own window, which no window of ours owns.
    Q_UNUSED(owner);
    session.desktop().openUrl(profileUrl(session.values().strProfileSite, userName));
}

} // namespace velmora
