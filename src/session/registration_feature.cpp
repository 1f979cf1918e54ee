#include "app/features.h"

#include "app/client.h"
#include "session/dispatcher.h"
#include "session/registration_window.h"

namespace velmora {

void installRegistration(Client& client) {
    client.dispatcher().setHandler(QStringLiteral("+RU"), [&client](const Record& r) {
        registrationWindow(client).onRegistrationReply(r.field(1), r.field(2));
    });
}

} // namespace velmora
