#include "app/features.h"

#include "app/client.h"

namespace velmora {

void installOfflineMessages(Client& client) {
    Q_UNUSED(client);
}

} // namespace velmora
