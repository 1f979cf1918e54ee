#include "history/history.h"

#include "platform/app_error.h"
#include "session/session.h"
#include "session/space_mark.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>

namespace velmora {

namespace {

constexpr qint64 kDayMs = 24LL * 60 * 60 * 1000;

} // namespace

History::History(Session& session)
    : QObject(&session), session_(session), folder_(session.appFolder()),
      connectionName_(QStringLiteral("history.db/") +
                      QString::number(reinterpret_cast<quintptr>(&session), 16)) {
    flushTimer_.setSingleShot(true);
    flushTimer_.setInterval(kFlushDelayMs);
    connect(&flushTimer_, &QTimer::timeout, this, &History::flush);
}

History::~History() {
    if (!pending_.isEmpty() && open()) {
        write();
    }
}

History* History::of(const Session& session) {
    return session.findChild<History*>(QString(), Qt::FindDirectChildrenOnly);
}

void History::record(const ConversationLine& line) {
    if (!problem_.isEmpty()) {
        return;
    }
    pending_.append(HistoryLine{0, QDateTime::currentMSecsSinceEpoch(), session_.values().userName,
                                line.room, line.conversation, line.line.sender,
                                marksToSpaces(line.line.text), line.line.fontName,
                                line.line.fontSize, line.line.style});
    if (pending_.size() >= kBatchLines) {
        flush();
    } else if (!flushTimer_.isActive()) {
        flushTimer_.start();
    }
}

void History::flush() {
    flushTimer_.stop();
    if (!pending_.isEmpty() && store()) {
        write();
    }
}

void History::write() {
    try {
        store_->add(pending_);
        pending_.clear();
    } catch (const AppError& error) {
        fail(error);
    }
}

bool History::open() {
    if (store_) {
        return true;
    }
    if (!problem_.isEmpty()) {
        return false;
    }
    try {
        store_ = std::make_unique<HistoryStore>(folder_, connectionName_);
        return true;
    } catch (const AppError& error) {
        fail(error);
        return false;
    }
}

HistoryStore* History::store() {
    if (!open()) {
        return nullptr;
    }
    // Old lines go when the file is opened, and once a day after that.
    if (QDateTime::currentMSecsSinceEpoch() - retainedAt_ >= kDayMs) {
        applyRetention();
    }
    return store_.get();
}

void History::applyRetention() {
    if (!open()) {
        return;
    }
    retainedAt_ = QDateTime::currentMSecsSinceEpoch();
    try {
        const qint32 days = session_.settings().historyKeepDays();
        if (days > 0 && store_->removeBefore(retainedAt_ - days * kDayMs) > 0) {
            emit changed();
        }
    } catch (const AppError& error) {
        // A bad "KeepDays" keeps every line: forgetting is the one thing a
        // history must not do by mistake.
        qWarning().noquote() << "history: old lines kept:" << error.description;
    }
}

void History::clear() {
    flushTimer_.stop();
    pending_.clear();
    store_.reset();
    problem_.clear();
    const QDir folder(folder_);
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const QString path =
            folder.filePath(QLatin1StringView(HistoryStore::kFileName) + QLatin1StringView(suffix));
        if (QFile::exists(path) && !QFile::remove(path)) {
            problem_ = QStringLiteral("Could not delete ") + path;
            qWarning().noquote() << "history:" << problem_;
        }
    }
    if (problem_.isEmpty()) {
        (void)open();
    }
    emit changed();
}

void History::fail(const AppError& error) {
    store_.reset();
    pending_.clear();
    problem_ = error.description;
    qWarning().noquote() << "history: switched off:" << problem_;
}

} // namespace velmora
