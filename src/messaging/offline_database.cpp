#include "messaging/offline_database.h"

#include <QDir>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace velmora {

namespace {

const QString kSource = QString::fromLatin1(OfflineDatabase::kFileName);
const QString kOpening = QStringLiteral("Could not open the offline message database");

} // namespace

OfflineDatabase::OfflineDatabase(const QString& folder, const QString& connectionName)
    // Another client on the same folder holds the file only for a single
    // statement; a longer wait would freeze the window for nothing.
    : file_(QDir(folder).filePath(kSource), connectionName, 1000,
            SqlFile::Errors{kDatabaseError, kSource}, kOpening) {
    // Write-ahead logging with synchronous=NORMAL: each insert commits on
    // its own without waiting for the disk, so a crash of the program
    // keeps every row committed; flush() then syncs the log once per
    // batch so the rows also survive a power cut. Syncing every commit
    // (synchronous=FULL) costs a disk flush per message, seconds for a
    // few hundred.
    file_.exec(QStringLiteral("PRAGMA journal_mode=WAL"), kOpening);
    file_.exec(QStringLiteral("PRAGMA synchronous=NORMAL"), kOpening);
    file_.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS messages ("
                              "\"index\" INTEGER PRIMARY KEY AUTOINCREMENT, message TEXT, "
                              "fromwho TEXT, senttime TEXT, touser TEXT, read TEXT)"),
               kOpening);
}

OfflineDatabase::~OfflineDatabase() = default;

QString OfflineDatabase::connectionName(const Session& session, const char* purpose) {
    return kSource + QLatin1Char('/') + QString::fromLatin1(purpose) + QLatin1Char('/') +
           QString::number(reinterpret_cast<quintptr>(&session), 16);
}

void OfflineDatabase::insert(const QString& message, const QString& fromwho,
                             const QString& senttime, const QString& touser) {
    file_.run(QStringLiteral("INSERT INTO messages (message, fromwho, senttime, touser, read) "
                             "VALUES (?, ?, ?, ?, '1')"),
              {message, fromwho, senttime, touser},
              QStringLiteral("Could not store an offline message"));
}

void OfflineDatabase::flush() {
    file_.exec(QStringLiteral("PRAGMA wal_checkpoint(FULL)"),
               QStringLiteral("Could not save the offline messages to disk"));
}

void OfflineDatabase::forEachMessage(const QString& touser,
                                     const std::function<void(const StoredMessage&)>& row) {
    const QString doing = QStringLiteral("Could not read the offline messages");
    QSqlQuery query = file_.run(QStringLiteral("SELECT \"index\", message, fromwho, senttime, read "
                                               "FROM messages WHERE touser = ? ORDER BY \"index\""),
                                {touser}, kOpening);
    while (query.next()) {
        row(StoredMessage{query.value(0).toLongLong(), query.value(1).toString(),
                          query.value(2).toString(), query.value(3).toString(),
                          query.value(4).toString()});
    }
    if (query.lastError().isValid()) {
        file_.raise(doing, query.lastError());
    }
}

void OfflineDatabase::markRead(qint64 index) {
    file_.run(QStringLiteral("UPDATE messages SET read = '0' WHERE \"index\" = ?"), {index},
              QStringLiteral("Could not mark the message as read"));
}

void OfflineDatabase::remove(qint64 index) {
    file_.run(QStringLiteral("DELETE FROM messages WHERE \"index\" = ?"), {index},
              QStringLiteral("Could not delete the message"));
}

} // namespace velmora
