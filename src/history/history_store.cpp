#include "history/history_store.h"

#include "platform/app_error.h"

#include <QDir>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <algorithm>

namespace velmora {

namespace {

const QString kSource = QString::fromLatin1(HistoryStore::kFileName);
const QString kOpening = QStringLiteral("Could not open the message history");
// Marks the file as ours, in the layout of HistoryStore::upgrade().
constexpr int kSchemaVersion = 2;
// Another client on the same folder holds the file only while it writes one
// batch; waiting longer would hold up the conversation.
constexpr int kBusyTimeoutMs = 250;

// A null QString binds as NULL; the columns want text, if empty.
QVariant text(const QString& value) {
    return value.isNull() ? QVariant(QLatin1StringView("")) : QVariant(value);
}

const QString kColumns =
    QStringLiteral("id, at, owner, room, conversation, sender, body, font_name, font_size, style");

} // namespace

HistoryStore::HistoryStore(const QString& folder, const QString& connectionName)
    : file_(QDir(folder).filePath(kSource), connectionName, kBusyTimeoutMs,
            SqlFile::Errors{kDatabaseError, kSource}, kOpening) {
    const int found = schemaVersion();
    if (found < 0 || found > kSchemaVersion) {
        throw AppError(kDatabaseError, kSource,
                       kOpening +
                           QStringLiteral(": the file has a layout this version of the "
                                          "program does not know (version ") +
                           QString::number(found) + QLatin1Char(')'));
    }
    // Write-ahead logging without a disk flush per commit: a crash of the
    // program keeps every committed batch; a power cut may lose the last
    // few, which for a history is the better trade than a flush per line.
    file_.exec(QStringLiteral("PRAGMA journal_mode=WAL"), kOpening);
    file_.exec(QStringLiteral("PRAGMA synchronous=NORMAL"), kOpening);
    if (found < kSchemaVersion) {
        upgrade();
    }
}

int HistoryStore::schemaVersion() {
    QSqlQuery version = file_.run(QStringLiteral("PRAGMA user_version"), {}, kOpening);
    return version.next() ? version.value(0).toInt() : 0;
}

void HistoryStore::upgrade() {
    // Each step takes the layout from the version before it to its own.
    static const char* const steps[kSchemaVersion][6] = {
        // The text index holds only the words; the lines themselves stay
        // in `lines`, which the index reads back for a match. Triggers
        // keep both in step. Earlier versions made these outside a
        // transaction: a file they left half made is completed.
        {"CREATE TABLE IF NOT EXISTS lines (id INTEGER PRIMARY KEY, at INTEGER NOT NULL, "
         "owner TEXT NOT NULL COLLATE NOCASE, room INTEGER NOT NULL, conversation TEXT NOT "
         "NULL COLLATE NOCASE, sender TEXT NOT NULL, body TEXT NOT NULL, font_name TEXT, "
         "font_size TEXT, style TEXT)",
         "CREATE INDEX IF NOT EXISTS lines_of_conversation ON lines "
         "(owner, room, conversation, id)",
         "CREATE VIRTUAL TABLE IF NOT EXISTS lines_text USING fts5(body, content='lines', "
         "content_rowid='id', prefix='3 4', tokenize='unicode61 remove_diacritics 2')",
         "CREATE TRIGGER IF NOT EXISTS lines_added AFTER INSERT ON lines BEGIN "
         "INSERT INTO lines_text (rowid, body) VALUES (new.id, new.body); END",
         "CREATE TRIGGER IF NOT EXISTS lines_removed AFTER DELETE ON lines BEGIN "
         "INSERT INTO lines_text (lines_text, rowid, body) "
         "VALUES ('delete', old.id, old.body); END",
         nullptr},
        // A message its server numbered is known again by its number when
        // it comes a second time. Only those lines are in the index, and
        // with the owner in it a lookup never walks a user's conversations.
        {"ALTER TABLE lines ADD COLUMN receipt TEXT",
         "CREATE INDEX lines_by_receipt ON lines (receipt, owner) WHERE receipt IS NOT NULL",
         nullptr},
    };
    // One connection upgrades while the other waits for it, however long
    // the new index takes to build over a long history, and then finds the
    // work done.
    file_.exec(QStringLiteral("PRAGMA busy_timeout = 30000"), kOpening);
    file_.exec(QStringLiteral("BEGIN IMMEDIATE"), kOpening);
    try {
        for (int version = schemaVersion(); version < kSchemaVersion; ++version) {
            for (const char* const* sql = steps[version]; *sql; ++sql) {
                file_.exec(QString::fromLatin1(*sql), kOpening);
            }
        }
        file_.exec(QStringLiteral("PRAGMA user_version = ") + QString::number(kSchemaVersion),
                   kOpening);
        file_.exec(QStringLiteral("COMMIT"), kOpening);
    } catch (const AppError&) {
        file_.database().rollback();
        throw;
    }
    file_.exec(QStringLiteral("PRAGMA busy_timeout = ") + QString::number(kBusyTimeoutMs),
               kOpening);
}

HistoryStore::~HistoryStore() = default;

void HistoryStore::add(QList<HistoryLine>& lines) {
    const QString doing = QStringLiteral("Could not store a line of the message history");
    QSqlDatabase db = file_.database();
    if (!db.transaction()) {
        file_.raise(doing, db.lastError());
    }
    try {
        QSqlQuery insert(db);
        if (!insert.prepare(QStringLiteral(
                "INSERT INTO lines (at, owner, room, conversation, sender, body, font_name, "
                "font_size, style, receipt) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"))) {
            file_.raise(doing, insert.lastError());
        }
        for (HistoryLine& line : lines) {
            insert.bindValue(0, line.at);
            insert.bindValue(1, text(line.owner));
            insert.bindValue(2, line.room ? 1 : 0);
            insert.bindValue(3, text(line.conversation));
            insert.bindValue(4, text(line.sender));
            insert.bindValue(5, text(line.text));
            insert.bindValue(6, text(line.fontName));
            insert.bindValue(7, text(line.fontSize));
            insert.bindValue(8, text(line.style));
            // NULL keeps the line out of the index of receipts.
            insert.bindValue(9, line.receipt.isEmpty() ? QVariant() : QVariant(line.receipt));
            if (!insert.exec()) {
                file_.raise(doing, insert.lastError());
            }
            line.id = insert.lastInsertId().toLongLong();
        }
        if (!db.commit()) {
            file_.raise(doing, db.lastError());
        }
    } catch (...) {
        db.rollback();
        throw;
    }
}

QString HistoryStore::matchQuery(const QString& words) {
    // The words as the index cuts them: runs of letters and digits. A word
    // of three letters or more also finds the words it begins ("meet" finds
    // "meeting"): the index keeps every word's first three and four letters
    // apart, so even "the" or "that" cost no more than a rare word; shorter
    // ones would match half the file, so they match whole words only.
    static const QRegularExpression word(QStringLiteral("[\\p{L}\\p{M}\\p{N}]+"));
    QStringList terms;
    for (const QRegularExpressionMatch& match : word.globalMatch(words)) {
        const QString term = match.captured();
        terms.append(QLatin1Char('"') + term +
                     (term.size() >= 3 ? QStringLiteral("\"*") : QStringLiteral("\"")));
    }
    return terms.join(QLatin1Char(' '));
}

QList<HistoryLine> HistoryStore::lines(const QString& sql, const QVariantList& values,
                                       const QString& doing) {
    QSqlQuery query = file_.run(sql, values, doing);
    QList<HistoryLine> found;
    while (query.next()) {
        found.append(HistoryLine{query.value(0).toLongLong(), query.value(1).toLongLong(),
                                 query.value(2).toString(), query.value(3).toInt() != 0,
                                 query.value(4).toString(), query.value(5).toString(),
                                 query.value(6).toString(), query.value(7).toString(),
                                 query.value(8).toString(), query.value(9).toString()});
    }
    if (query.lastError().isValid()) {
        file_.raise(doing, query.lastError());
    }
    return found;
}

QList<HistoryLine> HistoryStore::search(const QString& words, int limit) {
    const QString match = matchQuery(words);
    if (match.isEmpty()) {
        return {};
    }
    // The index hands out its matches newest first and stops at the limit,
    // so a common word costs no more than a rare one.
    return lines(QStringLiteral("SELECT ") + kColumns +
                     QStringLiteral(" FROM lines WHERE id IN (SELECT rowid FROM lines_text WHERE "
                                    "lines_text MATCH ? ORDER BY rowid DESC LIMIT ?) "
                                    "ORDER BY id DESC"),
                 {match, limit}, QStringLiteral("Could not search the message history"));
}

QList<HistoryLine> HistoryStore::around(const HistoryLine& line, int before, int after) {
    const QString doing = QStringLiteral("Could not read the conversation");
    const QString where = QStringLiteral(" FROM lines WHERE owner = ? AND room = ? AND "
                                         "conversation = ? AND id ");
    const QVariantList key{line.owner, line.room ? 1 : 0, line.conversation, line.id};
    QList<HistoryLine> earlier = lines(QStringLiteral("SELECT ") + kColumns + where +
                                           QStringLiteral("<= ? ORDER BY id DESC LIMIT ?"),
                                       key + QVariantList{before + 1}, doing);
    std::reverse(earlier.begin(), earlier.end());
    earlier += lines(QStringLiteral("SELECT ") + kColumns + where +
                         QStringLiteral("> ? ORDER BY id LIMIT ?"),
                     key + QVariantList{after}, doing);
    return earlier;
}

int HistoryStore::removeBefore(qint64 at) {
    // Lines are stored in time order, so the old ones are those before the
    // first line that is new enough: found by walking up from the oldest,
    // without an index on the time that every insert would have to keep.
    QSqlQuery query = file_.run(
        QStringLiteral("DELETE FROM lines WHERE id < coalesce((SELECT id FROM lines WHERE at >= ? "
                       "ORDER BY id LIMIT 1), (SELECT max(id) + 1 FROM lines))"),
        {at}, QStringLiteral("Could not remove old lines from the message history"));
    return query.numRowsAffected();
}

qint64 HistoryStore::lineCount() {
    QSqlQuery query = file_.run(QStringLiteral("SELECT count(*) FROM lines"), {},
                                QStringLiteral("Could not count the lines of the message history"));
    return query.next() ? query.value(0).toLongLong() : 0;
}

bool HistoryStore::holdsReceipt(const QString& owner, const QString& receipt) {
    QSqlQuery query =
        file_.run(QStringLiteral("SELECT 1 FROM lines WHERE receipt = ? AND owner = ? LIMIT 1"),
                  {receipt, owner}, QStringLiteral("Could not look up a message in the history"));
    return query.next();
}

} // namespace velmora
