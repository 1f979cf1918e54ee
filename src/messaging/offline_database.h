// "omess.db", the local store of the messages that reached this user while
// they were away: one row a message, tagged with the user it was stored for.
// The file and its table are created on first use. Every failure of the
// database raises AppError(kDatabaseError, "omess.db", <the driver's words>).
#pragma once

#include "platform/sql_file.h"

#include <QSqlQuery>
#include <QString>
#include <QVariantList>
#include <QtGlobal>

#include <functional>

namespace velmora {

class Session;

struct StoredMessage {
    qint64 index = 0;
    QString message;
    QString fromwho;
    QString senttime;
    QString read; // "1" while unread, "0" once shown
};

class OfflineDatabase {
public:
    static constexpr int kDatabaseError = 3146;
    static constexpr const char* kFileName = "omess.db";

    // Opens (creating when missing) the file in `folder` under its own Qt SQL
    // connection `connectionName`, which must be unique while it is open.
    OfflineDatabase(const QString& folder, const QString& connectionName);
    ~OfflineDatabase();
    OfflineDatabase(const OfflineDatabase&) = delete;
    OfflineDatabase& operator=(const OfflineDatabase&) = delete;

    // A connection name of its own for each session and purpose, so that two
    // clients in one process, or a session's window and its store routine,
    // never share one.
    [[nodiscard]] static QString connectionName(const Session& session, const char* purpose);

    // One statement, committed on its own: rows inserted before a failure stay.
    void insert(const QString& message, const QString& fromwho, const QString& senttime,
                const QString& touser);
    // Makes everything committed so far survive a power cut, not only a
    // crash of the program (see the constructor on the synchronous mode).
    void flush();
    // Every row stored for `touser`, in the order stored; a failure part way
    // leaves `row` called for the rows read so far.
    void forEachMessage(const QString& touser,
                        const std::function<void(const StoredMessage&)>& row);
    void markRead(qint64 index);
    void remove(qint64 index);

private:
    SqlFile file_;
};

} // namespace velmora
