#include "contacts/profile.h"

#include "app/client.h"
#include "platform/desktop.h"

namespace velmora {

QString profileUrl(const QString& profileSite, const QString& userName) {
    return profileSite + QStringLiteral("/modules.php?name=Your_Account&op=userinfo&uname=") +
           userName;
}

void openProfile(Client& client, const QString& userName, QWidget* owner) {
    // The page opens in the browser's own window, which no window of ours owns.
    Q_UNUSED(owner);
    client.desktop().openUrl(profileUrl(client.session().strProfileSite, userName));
}

} // namespace velmora
