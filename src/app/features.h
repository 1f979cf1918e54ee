// Each feature wires itself into a new Client: it registers the handlers of
// the reply codes it owns and connects the main-window commands that open
// its windows. Client calls these once, in this order.
#pragma once

namespace velmora {

class Client;

void installServerNotices(Client& client); // session/server_notices.cpp
void installLogin(Client& client);         // session/login_feature.cpp
void installContacts(Client& client);      // contacts/contacts_feature.cpp
void installSearch(Client& client);        // contacts/search_feature.cpp
void installRegistration(Client& client);  // session/registration_feature.cpp
void installShell(Client& client);         // shell/shell_feature.cpp
void installMessaging(Client& client);     // messaging/messaging_feature.cpp
void installOfflineMessages(Client& client); // messaging/offline_feature.cpp
void installConferences(Client& client);   // conference/conference_feature.cpp
void installTransfer(Client& client);      // transfer/transfer_feature.cpp

} // namespace velmora
