#include "shell/install.h"

#include "session/session.h"
#include "shell/registration_window.h"

namespace velmora {

void installRegistration(Session& session) {
    session.onSignUpReplied([&session](SignUpResult result, const QString& webSite) {
        registrationWindow(session).onRegistrationReply(result, webSite);
    });
}

} // namespace velmora
