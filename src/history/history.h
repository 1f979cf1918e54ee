// The session's message history: each line the session sends or receives is
// queued here and written to "history.db" in batches, so the conversation
// never waits for the disk; searches and the history window read it back.
// A history that cannot be opened or written is switched off for the rest
// of the session with a logged warning, and problem() says why; messaging
// goes on as before. Clearing the history starts a new file, which is also
// the way out of a damaged one.
#pragma once

#include "history/history_store.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <memory>

namespace velmora {

class AppError;
class Session;
struct ConversationLine;

class History : public QObject {
    Q_OBJECT
public:
    // Lines wait at most this long before they are written.
    static constexpr int kFlushDelayMs = 500;
    // More waiting lines than this are written at once.
    static constexpr qsizetype kBatchLines = 256;

    // Owned by `session`, whose lines it records from now on.
    explicit History(Session& session);
    ~History() override;

    // The history of `session`, or null when none was installed.
    [[nodiscard]] static History* of(const Session& session);

    // Queues one line; cheap, the write comes later.
    void record(const ConversationLine& line);
    // Writes the waiting lines now.
    void flush();

    // The store with every line written, opened when needed; null when the
    // history is switched off (problem() says why).
    [[nodiscard]] HistoryStore* store();
    // Why the history is off; empty while it works.
    [[nodiscard]] QString problem() const { return problem_; }
    // Removes the lines older than the settings keep ("KeepDays").
    void applyRetention();
    // Deletes the file with every line and starts a new one.
    void clear();

signals:
    // Lines were removed or the history was cleared.
    void changed();

private:
    // Opens the file without asking the session (the destructor runs after
    // the session's own parts are gone); false when switched off.
    bool open();
    void write();
    void fail(const AppError& error);

    Session& session_;
    QString folder_;
    QString connectionName_;
    std::unique_ptr<HistoryStore> store_;
    QList<HistoryLine> pending_;
    QTimer flushTimer_;
    QString problem_;
    qint64 retainedAt_ = 0; // when old lines were last removed
};

} // namespace velmora
