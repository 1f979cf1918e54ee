// The reply road: every data arrival of the connection is read whole, cut
// into records and each record handed to the handler of its code. Codes are
// compared exactly, in the fixed order below; the first match wins.
#pragma once

#include "session/record.h"

#include <QObject>
#include <QString>

#include <array>
#include <functional>

namespace velmora {

class Connection;

class Dispatcher : public QObject {
    Q_OBJECT
public:
    // Runs `action` under the error trap of the routine named (may be empty).
    using Trap = std::function<void(const QString& routine, const std::function<void()>& action)>;
    using Handler = std::function<void(const Record& args)>;

    struct Route {
        const char* code;
        int fieldsUsed; // fields 1..n handed on; -1 for the unknown-code route
    };
    // In the order the codes are tested.
    static constexpr std::array<Route, 18> kRoutes{{
        {"+LI", 1},  {"+RU", 2}, {"+SO", 3},   {"+BL", 1}, {"+OM", 1}, {"+PM", 5},
        {"+LOn", 1}, {"+LOff", 1}, {"+CI", 3}, {"+CDet", 1}, {"+CO", 1}, {"+CE", 1},
        {"+CM", 5},  {"+FR", 4}, {"+FA", 3},   {"+SU", 1}, {"+UNO", 1}, {"+UNV", 1},
    }};

    Dispatcher(Connection& connection, Trap trap, QObject* parent = nullptr);

    // How a handler's errors are reported: under its own trap (the rest of
    // the batch is still handled), or as the dispatcher's own error (the
    // rest of the batch is dropped), for the replies handled in line.
    enum class Errors { OwnTrap, Dispatcher };

    // Sets the handler of a code of the table; the owning feature registers it.
    void setHandler(const QString& code, Handler handler, Errors errors = Errors::OwnTrap);
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
