#include "messaging/offline_store.h"

#include "app/client.h"
#include "messaging/offline_database.h"
#include "messaging/offline_window.h"

#include <QStringList>

namespace velmora {

namespace {
const QString kMessageSeparator = QStringLiteral(" :%: ");
const QString kFieldSeparator = QStringLiteral(" :/ ");
} // namespace

void StoreOfflineMessages(Client& client, const QString& body) {
    const QStringList elements = body.split(kMessageSeparator);
    const QString touser = client.session().userName;
    {
        OfflineDatabase database(client.appFolder(),
                                 OfflineDatabase::connectionName(client, "store"));
        try {
            for (qsizetype i = 1; i < elements.size(); ++i) {
                const QStringList fields = elements[i].split(kFieldSeparator);
                if (fields.size() < 3) {
                    raiseSubscriptOutOfRange(QStringLiteral("Velmora"));
                }
                database.insert(fields[0], fields[1], fields[2], touser);
            }
            database.flush();
        } catch (const AppError& error) {
            try {
                database.flush();
            } catch (const AppError&) {
                // The first failure is the one worth reporting.
            }
            client.ReportError(error);
        }
    }
    ShowOfflineMessages(client, true);
}

} // namespace velmora
