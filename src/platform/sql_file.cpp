#include "platform/sql_file.h"

#include "platform/app_error.h"

#include <QSqlError>

namespace velmora {

SqlFile::SqlFile(const QString& path, const QString& connectionName, int busyTimeoutMs,
                 Errors errors, const QString& doing)
    : connectionName_(connectionName), errors_(std::move(errors)) {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName_);
    db.setDatabaseName(path);
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=") + QString::number(busyTimeoutMs));
    if (!db.open()) {
        const QSqlError error = db.lastError();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(connectionName_);
        raise(doing, error);
    }
}

SqlFile::~SqlFile() {
    database().close();
    QSqlDatabase::removeDatabase(connectionName_);
}

QSqlDatabase SqlFile::database() const {
    return QSqlDatabase::database(connectionName_, false);
}

QSqlQuery SqlFile::run(const QString& sql, const QVariantList& values, const QString& doing) {
    QSqlQuery query(database());
    query.setForwardOnly(true);
    if (!query.prepare(sql)) {
        raise(doing, query.lastError());
    }
    for (const QVariant& value : values) {
        query.addBindValue(value);
    }
    if (!query.exec()) {
        raise(doing, query.lastError());
    }
    return query;
}

void SqlFile::raise(const QString& doing, const QSqlError& error) const {
    QString words = error.databaseText();
    if (words.isEmpty()) {
        words = error.driverText();
    }
    throw AppError(errors_.number, errors_.source, doing + QStringLiteral(": ") + words);
}

} // namespace velmora
