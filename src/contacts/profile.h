// A user's profile is a page of the account web site, opened in the system
// browser. Every window with a "View Profile" entry goes through here.
#pragma once

#include <QString>

class QWidget;

namespace velmora {

class Session;

// The profile page of `userName` under the profile site the server gave at
// login (`strProfileSite`).
[[nodiscard]] QString profileUrl(const QString& profileSite, const QString& userName);

// Opens `userName`'s profile page for the window `owner`.
void openProfile(Session& session, const QString& userName, QWidget* owner);

} // namespace velmora
