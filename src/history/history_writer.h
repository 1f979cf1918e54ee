// The writing side of the message history, on a thread of its own: the
// conversation hands it batches of lines and waits neither for the disk nor
// for the text index merging its segments, which now and then takes a tenth
// of a second. It opens the file at its first task; after a failure it
// reports failed() once and ignores further work until close().
#pragma once

#include "history/history_store.h"

#include <QList>
#include <QObject>
#include <QString>

#include <memory>

namespace velmora {

class HistoryWriter : public QObject {
    Q_OBJECT
public:
    HistoryWriter(const QString& folder, const QString& connectionName);
    ~HistoryWriter() override;

    // These run on the writer's thread. True when the lines were written.
    bool write(QList<HistoryLine> lines);
    void removeBefore(qint64 at);
    // Closes the file, and forgets an earlier failure.
    void close();

signals:
    void failed(const QString& problem);
    void removed(int lines);

private:
    // Runs `work` on the store, opened when needed; a failure switches the
    // writer off. True when it ran without one.
    template <typename Work> bool attempt(Work&& work);

    QString folder_;
    QString connectionName_;
    std::unique_ptr<HistoryStore> store_;
    bool off_ = false;
};

} // namespace velmora
