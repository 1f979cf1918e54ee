#include "app/features.h"

#include "app/client.h"
#include "platform/prompter.h"
#include "session/dispatcher.h"
#include "platform/number_text.h"
#include "shell/main_window.h"

namespace velmora {

namespace {

void onServerOptions(Client& client, const Record& r) {
    const QString& profileSite = r.field(1);
    client.session().strProfileSite = profileSite;
    client.mainWindow().setProfileEntriesVisible(!profileSite.isEmpty());
    client.mainWindow().setToolbarButtonEnabled(5, true);
    client.session().intServerLimit = number_text::toInt16(r.field(2));
    client.mainWindow().setOpenConferenceVisible(number_text::toBool(r.field(3)));
}

} // namespace

void installServerNotices(Client& client) {
    Dispatcher& d = client.dispatcher();
    using Errors = Dispatcher::Errors;
    d.setHandler(
        QStringLiteral("+SO"), [&client](const Record& r) { onServerOptions(client, r); },
        Errors::Dispatcher);
    d.setHandler(
        QStringLiteral("+UNO"),
        [&client](const Record& r) {
            client.ShowMessage(QStringLiteral("The user \"") + r.field(1) +
                                   QStringLiteral("\" is offline!\r\nHowever, the user should get "
                                                  "the message the next time they login!"),
                               style::kSystemInfo, QString(), &client.mainWindow());
        },
        Errors::Dispatcher);
    d.setHandler(
        QStringLiteral("+UNV"),
        [&client](const Record& r) {
            client.ShowMessage(QStringLiteral("The username \"") + r.field(1) +
                                   QStringLiteral("\" is not a valid user!"),
                               style::kSystemInfo, QString(), &client.mainWindow());
        },
        Errors::Dispatcher);
    d.setUnknownHandler([&client](const Record&) {
        client.ShowMessage(QStringLiteral("Error: The server sent an unknown command!\r\n"
                                          "You may need to upgrade your I.M. Client!"),
                           style::kSystemInfo, QString(), &client.mainWindow());
    });
}

} // namespace velmora
