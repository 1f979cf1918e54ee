// The reply road: every data arrival of the connection is read whole, cut
// into records and each record handed to the handler of its code. Codes are
// compared exactly, in the fixed order below; the first match wins.
#pragma once

#include "protocol/account.h"
#include "protocol/receipts.h"
#include "protocol/wire.h"
#include "session/record.h"

#include <QObject>
#include <QString>

#include <array>
#include <functional>

namespace velmora {

class Connection;

// Where the dispatcher sends a reply code, and which of its fields.
struct ReplyRoute {
    std::string_view code;
    int fieldsUsed; // fields 1..n handed on
    // The fields after those, handed on when the record has them: what the
    // server adds on a connection that took up an extension (a private
    // message's number, with receipts).
    int optionalFields = 0;
};

class Dispatcher : public QObject {
    Q_OBJECT
public:
    // Runs `action` under the error trap of the routine named (may be empty).
    using Trap = std::function<void(const QString& routine, const std::function<void()>& action)>;
    using Handler = std::function<void(const Record& args)>;

    // The replies of the table, in the order their codes are tested.
    enum class Reply : std::size_t {
        LI,
        RU,
        SO,
        BL,
        OM,
        PM,
        LOn,
        LOff,
        CI,
        CDet,
        CO,
        CE,
        CM,
        FR,
        FA,
        SU,
        UNO,
        UNV,
        RC,
        CP,
        DA
    };
    using Route = ReplyRoute;
    static constexpr std::array<Route, 21> kRoutes{{
        {protocol::reply::LI, 1},
        {protocol::reply::RU, 2},
        {protocol::reply::SO, 3},
        {protocol::reply::BL, 1},
        {protocol::reply::OM, 1},
        {.code = protocol::reply::PM, .fieldsUsed = 5, .optionalFields = 1},
        {protocol::reply::LOn, 1},
        {protocol::reply::LOff, 1},
        {protocol::reply::CI, 3},
        {protocol::reply::CDet, 1},
        {protocol::reply::CO, 1},
        {protocol::reply::CE, 1},
        {protocol::reply::CM, 5},
        {protocol::reply::FR, 4},
        {protocol::reply::FA, 3},
        {protocol::reply::SU, 1},
        {protocol::reply::UNO, 1},
        {protocol::reply::UNV, 1},
        {protocol::reply::RC, 1},
        {protocol::reply::CP, 1},
        {protocol::reply::DA, 1},
    }};

    Dispatcher(Connection& connection, Trap trap, QObject* parent = nullptr);

    // How a handler's errors are reported: under its own trap (the rest of
    // the batch is still handled), or as the dispatcher's own error (the
    // rest of the batch is dropped), for the replies handled in line.
    enum class Errors { OwnTrap, Dispatcher };

    // Sets the handler of a reply of the table.
    void setHandler(Reply reply, Handler handler, Errors errors = Errors::OwnTrap);
    // Called for a record whose code is not in the table.
    void setUnknownHandler(Handler handler) { unknown_ = std::move(handler); }

    // The data-arrival event: reads everything waiting and dispatches it.
    void OnDataArrival();
    // Dispatches one batch as if it had just arrived.
    void dispatchBatch(const QString& batch);

private:
    void dispatchRecord(const QStringList& fields);
    static void yieldToEventLoop();

    Connection& connection_;
    Trap trap_;
    struct Slot {
        Handler handler;
        Errors errors = Errors::OwnTrap;
    };
    std::array<Slot, kRoutes.size()> handlers_;
    Handler unknown_;
};

} // namespace velmora
