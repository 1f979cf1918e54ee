// "history.db", every line of every conversation this folder's users took
// part in, with a full-text index of the words: private messages sent and
// received and the lines of the rooms they were in. The file, its table and
// its index are made on first use. Every failure of the database raises
// AppError(kDatabaseError, "history.db", <what was being done: the driver's
// words>).
#pragma once

#include "platform/sql_file.h"

#include <QList>
#include <QSqlQuery>
#include <QString>
#include <QVariantList>
#include <QtGlobal>

namespace velmora {

struct HistoryLine {
    qint64 id = 0;        // in the order stored
    qint64 at = 0;        // when, in ms since 1970 (UTC)
    QString owner;        // the user logged in when it was stored
    bool room = false;    // a room line, not a private message
    QString conversation; // the other user, or the room
    QString sender;
    QString text; // as shown: spaces as spaces
    QString fontName;
    QString fontSize;
    QString style;
    QString receipt{}; // "store:number" of a message its server numbered
};

class HistoryStore {
public:
    static constexpr int kDatabaseError = 3146;
    static constexpr const char* kFileName = "history.db";

    // Opens (creating when missing) the file in `folder` under its own Qt SQL
    // connection `connectionName`, unique while it is open.
    HistoryStore(const QString& folder, const QString& connectionName);
    ~HistoryStore();
    HistoryStore(const HistoryStore&) = delete;
    HistoryStore& operator=(const HistoryStore&) = delete;

    // Stores the lines in one transaction: all of them or, on a failure,
    // none. Their ids are set.
    void add(QList<HistoryLine>& lines);

    // The newest `limit` lines holding every word of `words` (ignoring case
    // and accents; a word of three letters or more also as the start of a
    // longer one), newest first. No words, no lines.
    [[nodiscard]] QList<HistoryLine> search(const QString& words, int limit);
    // The lines of `line`'s conversation around it: up to `before` lines
    // before it, the line itself and up to `after` lines after it, in order.
    [[nodiscard]] QList<HistoryLine> around(const HistoryLine& line, int before, int after);
    // Removes the lines stored before `at` (ms since 1970); how many.
    int removeBefore(qint64 at);
    [[nodiscard]] qint64 lineCount();
    // True when `owner` has the line of the numbered message `receipt`.
    [[nodiscard]] bool holdsReceipt(const QString& owner, const QString& receipt);

    // The FTS5 query for what the user typed: each word quoted.
    [[nodiscard]] static QString matchQuery(const QString& words);

private:
    [[nodiscard]] int schemaVersion();
    // Brings a new file, or one of an earlier layout, to the current one.
    void upgrade();
    QList<HistoryLine> lines(const QString& sql, const QVariantList& values, const QString& doing);

    SqlFile file_;
};

} // namespace velmora
