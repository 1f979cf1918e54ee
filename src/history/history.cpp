#include "history/history.h"

#include "history/history_writer.h"
#include "platform/app_error.h"
#include "session/session.h"
#include "session/space_mark.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace velmora {

namespace {

constexpr qint64 kDayMs = 24LL * 60 * 60 * 1000;

QString connectionName(const Session& session, const char* side) {
    return QStringLiteral("history.db/") + QLatin1StringView(side) + QLatin1Char('/') +
           QString::number(reinterpret_cast<quintptr>(&session), 16);
}

} // namespace

History::History(Session& session)
    : QObject(&session), session_(session), folder_(session.appFolder()),
      connectionName_(connectionName(session, "read")),
      writer_(new HistoryWriter(folder_, connectionName(session, "write"))) {
    thread_.setObjectName(QStringLiteral("history writer"));
    writer_->moveToThread(&thread_);
    connect(writer_, &HistoryWriter::failed, this, &History::switchOff);
    connect(writer_, &HistoryWriter::removed, this, &History::changed);
    thread_.start(QThread::LowPriority);
    flushTimer_.setSingleShot(true);
    connect(&flushTimer_, &QTimer::timeout, this, &History::flush);
    receipts_ = &session.receipts();
    receipts_->setKeeper(this);
    applyRetention();
}

History::~History() {
    // The session's own parts are gone by now: only the waiting lines go,
    // and their messages come again at the next login to be confirmed.
    if (receipts_) {
        receipts_->setKeeper(nullptr);
    }
    if (!pending_.isEmpty()) {
        QMetaObject::invokeMethod(
            writer_, [writer = writer_, lines = pending_] { writer->write(lines); },
            Qt::QueuedConnection);
    }
    QMetaObject::invokeMethod(
        writer_, [writer = writer_] { writer->close(); }, Qt::BlockingQueuedConnection);
    thread_.quit();
    thread_.wait();
    delete writer_;
    reader_.reset();
}

History* History::of(const Session& session) {
    return session.findChild<History*>(QString(), Qt::FindDirectChildrenOnly);
}

void History::record(const ConversationLine& line) {
    if (!problem_.isEmpty()) {
        return;
    }
    pending_.append(HistoryLine{0, line.at ? line.at : QDateTime::currentMSecsSinceEpoch(),
                                session_.values().userName, line.room, line.conversation,
                                line.line.sender, marksToSpaces(line.line.text), line.line.fontName,
                                line.line.fontSize, line.line.style,
                                line.receipt.isNull() ? QString() : line.receipt.key()});
    if (!line.receipt.isNull()) {
        pendingReceipts_.append(line.receipt);
    }
    if (pending_.size() >= kBatchLines) {
        flush();
    } else if (!line.receipt.isNull() &&
               (!flushTimer_.isActive() || flushTimer_.remainingTime() > kReceiptFlushDelayMs)) {
        flushTimer_.start(kReceiptFlushDelayMs);
    } else if (!flushTimer_.isActive()) {
        flushTimer_.start(kFlushDelayMs);
    }
}

void History::flush() {
    flushTimer_.stop();
    if (pending_.isEmpty()) {
        return;
    }
    const quint64 batch = ++batches_;
    const bool numbered = !pendingReceipts_.isEmpty();
    if (numbered) {
        writing_.insert(batch, std::exchange(pendingReceipts_, {}));
    }
    QMetaObject::invokeMethod(
        writer_,
        [this, writer = writer_, batch, numbered, lines = std::exchange(pending_, {})] {
            if (writer->write(lines) && numbered) {
                QMetaObject::invokeMethod(
                    this, [this, batch] { written(batch); }, Qt::QueuedConnection);
            }
        },
        Qt::QueuedConnection);
    // Old lines also go once a day in a session that runs for days.
    if (QDateTime::currentMSecsSinceEpoch() - retainedAt_ >= kDayMs) {
        applyRetention();
    }
}

void History::written(quint64 batch) {
    confirm(writing_.take(batch));
}

void History::confirm(const QList<MessageReceipt>& receipts) {
    if (receipts_ && !receipts.isEmpty()) {
        receipts_->confirm(receipts);
    }
}

bool History::hasKept(const MessageReceipt& receipt) {
    if (!problem_.isEmpty()) {
        return false;
    }
    try {
        if (!reader_) {
            reader_ = std::make_unique<HistoryStore>(folder_, connectionName_);
        }
        return reader_->holdsReceipt(receipt.user, receipt.key());
    } catch (const AppError& error) {
        switchOff(error.description);
        return false;
    }
}

void History::waitForWriter() {
    flush();
    QMetaObject::invokeMethod(
        writer_, [] {}, Qt::BlockingQueuedConnection);
}

HistoryStore* History::store() {
    waitForWriter();
    if (!problem_.isEmpty()) {
        return nullptr;
    }
    if (!reader_) {
        try {
            reader_ = std::make_unique<HistoryStore>(folder_, connectionName_);
        } catch (const AppError& error) {
            switchOff(error.description);
        }
    }
    return reader_.get();
}

void History::applyRetention() {
    retainedAt_ = QDateTime::currentMSecsSinceEpoch();
    qint32 days = 0;
    try {
        days = session_.settings().historyKeepDays();
    } catch (const AppError& error) {
        // A bad "KeepDays" keeps every line: forgetting is the one thing a
        // history must not do by mistake.
        qWarning().noquote() << "history: old lines kept:" << error.description;
    }
    if (days > 0) {
        QMetaObject::invokeMethod(
            writer_,
            [writer = writer_, before = retainedAt_ - days * kDayMs] {
                writer->removeBefore(before);
            },
            Qt::QueuedConnection);
    }
}

void History::clear() {
    flushTimer_.stop();
    pending_.clear();
    // Shown, and now never to be kept.
    confirm(std::exchange(pendingReceipts_, {}));
    reader_.reset();
    QMetaObject::invokeMethod(
        writer_, [writer = writer_] { writer->close(); }, Qt::BlockingQueuedConnection);
    problem_.clear();
    const QDir folder(folder_);
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const QString path =
            folder.filePath(QLatin1StringView(HistoryStore::kFileName) + QLatin1StringView(suffix));
        if (QFileInfo::exists(path) && !QFile::remove(path)) {
            switchOff(QStringLiteral("Could not delete ") + QDir::toNativeSeparators(path));
            break;
        }
    }
    (void)store();
    emit changed();
}

void History::switchOff(const QString& problem) {
    if (!problem_.isEmpty()) {
        return;
    }
    problem_ = problem;
    pending_.clear();
    reader_.reset();
    qWarning().noquote() << "history: switched off:" << problem_;
    // The writer writes nothing more: what it was given is confirmed as
    // shown, as it is from now on, one batch at a time.
    QList<QList<MessageReceipt>> given = writing_.values();
    given.append(std::exchange(pendingReceipts_, {}));
    writing_.clear();
    for (const QList<MessageReceipt>& receipts : std::as_const(given)) {
        confirm(receipts);
    }
}

} // namespace velmora
