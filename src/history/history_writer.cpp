#include "history/history_writer.h"

#include "platform/app_error.h"

namespace velmora {

HistoryWriter::HistoryWriter(const QString& folder, const QString& connectionName)
    : folder_(folder), connectionName_(connectionName) {}

HistoryWriter::~HistoryWriter() = default;

template <typename Work> bool HistoryWriter::attempt(Work&& work) {
    if (off_) {
        return false;
    }
    try {
        if (!store_) {
            store_ = std::make_unique<HistoryStore>(folder_, connectionName_);
        }
        work(*store_);
        return true;
    } catch (const AppError& error) {
        store_.reset();
        off_ = true;
        emit failed(error.description);
        return false;
    }
}

bool HistoryWriter::write(QList<HistoryLine> lines) {
    return attempt([&](HistoryStore& store) { store.add(lines); });
}

void HistoryWriter::removeBefore(qint64 at) {
    (void)attempt([&](HistoryStore& store) {
        if (const int count = store.removeBefore(at); count > 0) {
            emit removed(count);
        }
    });
}

void HistoryWriter::close() {
    store_.reset();
    off_ = false;
}

} // namespace velmora
