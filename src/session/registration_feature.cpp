#include "app/features.h"

#include "app/client.h"

namespace velmora {

void installRegistration(Client& client) {
    Q_UNUSED(client);
}

} // namespace velmora
