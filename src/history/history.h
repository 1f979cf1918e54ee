// The session's message history. Each line the session sends or receives is
// queued here and handed in batches to a writer on a thread of its own, so
// the conversation never waits for the disk; searches and the history
// window read the file on this thread through a connection of their own.
// A history that cannot be opened or written is switched off for the rest
// of the session with a logged warning, and problem() says why; messaging
// goes on as before. Clearing the history starts a new file, which is also
// the way out of a damaged one. A message its server numbered is confirmed
// once the batch holding its line is written, and known by its number when
// it comes again.
#pragma once

#include "history/history_store.h"
#include "session/receipts.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <memory>

namespace velmora {

class HistoryWriter;
class Session;
struct ConversationLine;

class History : public QObject, public LineKeeper {
    Q_OBJECT
public:
    // Lines wait at most this long before they go to the writer.
    static constexpr int kFlushDelayMs = 500;
    // Or this long, when one of them is to be confirmed to the server.
    static constexpr int kReceiptFlushDelayMs = 50;
    // More waiting lines than this go at once.
    static constexpr qsizetype kBatchLines = 256;

    // Owned by `session`, whose lines it records from now on. Removes the
    // lines older than the settings keep, on the writer's thread.
    explicit History(Session& session);
    ~History() override;

    // The history of `session`, or null when none was installed.
    [[nodiscard]] static History* of(const Session& session);

    // Queues one line; cheap, the write comes later.
    void record(const ConversationLine& line);
    // Hands the waiting lines to the writer.
    void flush();

    // The store for reading, with every line recorded so far written;
    // opened when needed. Null when the history is switched off (problem()
    // says why).
    [[nodiscard]] HistoryStore* store();
    // Why the history is off; empty while it works.
    [[nodiscard]] QString problem() const { return problem_; }
    // Removes the lines older than the settings keep ("KeepDays").
    void applyRetention();
    // Deletes the file with every line and starts a new one.
    void clear();

    [[nodiscard]] bool keepsLines() const override { return problem_.isEmpty(); }
    // Looks in the file without waiting for the writer: the lines of this
    // run are known by number without it.
    [[nodiscard]] bool hasKept(const MessageReceipt& receipt) override;

signals:
    // Lines were removed or the history was cleared.
    void changed();

private:
    // Waits until the writer has done everything handed to it.
    void waitForWriter();
    void switchOff(const QString& problem);
    // The writer wrote batch `batch`: its numbered messages are confirmed.
    void written(quint64 batch);
    void confirm(const QList<MessageReceipt>& receipts);

    Session& session_;
    QString folder_;
    QString connectionName_;
    QThread thread_;
    HistoryWriter* writer_;
    std::unique_ptr<HistoryStore> reader_;
    QList<HistoryLine> pending_;
    QPointer<Receipts> receipts_;
    // The numbered messages of the waiting lines, and of each batch handed
    // to the writer and not yet written.
    QList<MessageReceipt> pendingReceipts_;
    QHash<quint64, QList<MessageReceipt>> writing_;
    quint64 batches_ = 0;
    QTimer flushTimer_;
    QString problem_;
    qint64 retainedAt_ = 0; // when old lines were last removed
};

} // namespace velmora
