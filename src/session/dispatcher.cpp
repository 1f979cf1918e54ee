#include "session/dispatcher.h"

#include "protocol/wire.h"
#include "session/connection.h"

#include <QCoreApplication>
#include <QPointer>

namespace velmora {

Dispatcher::Dispatcher(Connection& connection, Trap trap, QObject* parent)
    : QObject(parent), connection_(connection), trap_(std::move(trap)) {
    connect(&connection_, &Connection::dataArrival, this, &Dispatcher::OnDataArrival);
}

void Dispatcher::setHandler(Reply reply, Handler handler, Errors errors) {
    handlers_[static_cast<std::size_t>(reply)] = Slot{std::move(handler), errors};
}

void Dispatcher::OnDataArrival() {
    dispatchBatch(connection_.GetData());
}

void Dispatcher::dispatchBatch(const QString& batch) {
    const QPointer<Dispatcher> alive(this);
    // One trap for the whole batch: an error raised here (a record with too
    // few fields for its code) is reported and the rest of the batch dropped.
    trap_(QString(), [&] {
        const std::string bytes = batch.toStdString();
        protocol::forEachRecord(bytes, protocol::kReplyFieldSep, [&](const protocol::Fields& f) {
            if (!alive) {
                return;
            }
            yieldToEventLoop();
            if (!alive) {
                return;
            }
            QStringList fields;
            fields.reserve(static_cast<qsizetype>(f.size()));
            for (const auto& field : f) {
                fields.append(QString::fromStdString(field));
            }
            dispatchRecord(fields);
            yieldToEventLoop();
        });
    });
}

void Dispatcher::dispatchRecord(const QStringList& fields) {
    const Record record(fields);
    const QString& code = record.field(0);
    for (std::size_t i = 0; i < kRoutes.size(); ++i) {
        const std::string_view route = kRoutes[i].code;
        if (code != QLatin1StringView(route.data(), static_cast<qsizetype>(route.size()))) {
            continue;
        }
        QStringList args{code};
        const int used = kRoutes[i].fieldsUsed;
        for (int n = 1; n <= used; ++n) {
            args.append(record.field(n));
        }
        for (int n = used + 1; n <= used + kRoutes[i].optionalFields && n < record.size(); ++n) {
            args.append(record.field(n));
        }
        const Slot slot = handlers_[i];
        if (!slot.handler) {
            return;
        }
        if (slot.errors == Errors::Dispatcher) {
            slot.handler(Record(args));
        } else {
            trap_(QString(), [&] { slot.handler(Record(args)); });
        }
        return;
    }
    if (unknown_) {
        unknown_(record);
    }
}

void Dispatcher::yieldToEventLoop() {
    QCoreApplication::processEvents();
}

} // namespace velmora
