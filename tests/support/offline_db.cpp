#include "support/offline_db.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

namespace velmora::test {

QStringList sqlColumn(const QString& dbPath, const QString& sql) {
    QStringList values;
    {
        QSqlDatabase db =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("peek"));
        db.setDatabaseName(dbPath);
        if (db.open()) {
            QSqlQuery q(sql, db);
            while (q.next()) {
                values << q.value(0).toString();
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("peek"));
    return values;
}

} // namespace velmora::test
