#include "messaging/offline_database.h"

#include "platform/app_error.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace velmora {

namespace {

const QString kSource = QString::fromLatin1(OfflineDatabase::kFileName);

[[noreturn]] void raise(const QString& doing, const QSqlError& error) {
    QString words = error.databaseText();
    if (words.isEmpty()) {
        words = error.driverText();
    }
    throw AppError(OfflineDatabase::kDatabaseError, kSource, doing + QStringLiteral(": ") + words);
}

QSqlDatabase database(const QString& connectionName) {
    return QSqlDatabase::database(connectionName, false);
}

} // namespace

OfflineDatabase::OfflineDatabase(const QString& folder, const QString& connectionName)
    : connectionName_(connectionName) {
    const QString doing = QStringLiteral("Could not open the offline message database");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName_);
        db.setDatabaseName(QDir(folder).filePath(kSource));
        // Another client on the same folder holds the file only for a single
        // statement; a longer wait would freeze the window for nothing.
        db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=1000"));
        if (!db.open()) {
            const QSqlError error = db.lastError();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(connectionName_);
            raise(doing, error);
        }
    }
    try {
        // Write-ahead logging with synchronous=NORMAL: each insert commits on
        // its own without waiting for the disk, so a crash of the program
        // keeps every row committed; flush() then syncs the log once per
        // batch so the rows also survive a power cut. Syncing every commit
        // (synchronous=FULL) costs a disk flush per message, seconds for a
        // few hundred.
        exec(QStringLiteral("PRAGMA journal_mode=WAL"), doing);
        exec(QStringLiteral("PRAGMA synchronous=NORMAL"), doing);
        exec(QStringLiteral("CREATE TABLE IF NOT EXISTS messages ("
                            "\"index\" INTEGER PRIMARY KEY AUTOINCREMENT, message TEXT, "
                            "fromwho TEXT, senttime TEXT, touser TEXT, read TEXT)"),
             doing);
    } catch (...) {
        database(connectionName_).close();
        QSqlDatabase::removeDatabase(connectionName_);
        throw;
    }
}

OfflineDatabase::~OfflineDatabase() {
    database(connectionName_).close();
    QSqlDatabase::removeDatabase(connectionName_);
}

QString OfflineDatabase::connectionName(const Session& session, const char* purpose) {
    return kSource + QLatin1Char('/') + QString::fromLatin1(purpose) + QLatin1Char('/') +
           QString::number(reinterpret_cast<quintptr>(&session), 16);
}

void OfflineDatabase::exec(const QString& sql, const QString& doing) {
    run(sql, {}, doing);
}

QSqlQuery OfflineDatabase::run(const QString& sql, const QVariantList& values,
                               const QString& doing) {
    QSqlQuery query(database(connectionName_));
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

void OfflineDatabase::insert(const QString& message, const QString& fromwho,
                             const QString& senttime, const QString& touser) {
    run(QStringLiteral("INSERT INTO messages (message, fromwho, senttime, touser, read) "
                       "VALUES (?, ?, ?, ?, '1')"),
        {message, fromwho, senttime, touser}, QStringLiteral("Could not store an offline message"));
}

void OfflineDatabase::flush() {
    exec(QStringLiteral("PRAGMA wal_checkpoint(FULL)"),
         QStringLiteral("Could not save the offline messages to disk"));
}

void OfflineDatabase::forEachMessage(const QString& touser,
                                     const std::function<void(const StoredMessage&)>& row) {
    const QString doing = QStringLiteral("Could not read the offline messages");
    QSqlQuery query = run(QStringLiteral("SELECT \"index\", message, fromwho, senttime, read "
                                         "FROM messages WHERE touser = ? ORDER BY \"index\""),
                          {touser}, doing);
    while (query.next()) {
        row(StoredMessage{query.value(0).toLongLong(), query.value(1).toString(),
                          query.value(2).toString(), query.value(3).toString(),
                          query.value(4).toString()});
    }
    if (query.lastError().isValid()) {
        raise(doing, query.lastError());
    }
}

void OfflineDatabase::markRead(qint64 index) {
    run(QStringLiteral("UPDATE messages SET read = '0' WHERE \"index\" = ?"), {index},
        QStringLiteral("Could not mark the message as read"));
}

void OfflineDatabase::remove(qint64 index) {
    run(QStringLiteral("DELETE FROM messages WHERE \"index\" = ?"), {index},
        QStringLiteral("Could not delete the message"));
}

} // namespace velmora
