#include "messaging/offline_arrival.h"

#include "messaging/offline_database.h"
#include "messaging/offline_window.h"
#include "session/session.h"

#include <QStringList>

namespace velmora {

qsizetype StoreOfflineMessages(Session& session, const QList<QStringList>& messages) {
    const QString touser = session.values().userName;
    qsizetype stored = 0;
    {
        OfflineDatabase database(session.appFolder(),
                                 OfflineDatabase::connectionName(session, "store"));
        try {
            for (const QStringList& fields : messages) {
                if (fields.size() < 3) {
                    raiseSubscriptOutOfRange(QStringLiteral("Velmora"));
                }
                database.insert(fields[0], fields[1], fields[2], touser);
                ++stored;
            }
            database.flush();
        } catch (const AppError& error) {
            try {
                database.flush();
            } catch (const AppError&) {
                // The first failure is the one worth reporting.
            }
            session.reportError(error);
        }
    }
    ShowOfflineMessages(session);
    return stored;
}

} // namespace velmora
