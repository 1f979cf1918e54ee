#include "session/receipts.h"

#include "protocol/wire.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/session.h"

#include <vector>

namespace velmora {

namespace p = protocol;

QString MessageReceipt::key() const {
    return store + QLatin1Char(':') + QString::number(number);
}

Receipts::Receipts(Session& session) : session_(session) {
    session_.dispatcher().setHandler(Dispatcher::Reply::RC, [this](const Record& r) {
        // The offer comes right after the login was accepted, which has put
        // the user in the session; without one there is no one to confirm for.
        const QString& user = session_.values().userName;
        if (!user.isEmpty() && !r.field(1).isEmpty()) {
            on_ = Offer{r.field(1), user};
        }
    });
}

MessageReceipt Receipts::receiptOf(const QString& numberField) const {
    std::vector<p::MessageNumber> number;
    if (!on_ || numberField.isEmpty() ||
        !p::parseNumberList(numberField.toStdString(), number, 1) || number.size() != 1) {
        return {};
    }
    return MessageReceipt{on_->store, on_->user, number.front()};
}

QString Receipts::seenKey(const MessageReceipt& receipt) {
    // Names are one user ignoring case, as the server compares them.
    return receipt.user.toLower() + QLatin1Char('/') + receipt.key();
}

void Receipts::confirm(const QList<MessageReceipt>& receipts) {
    if (!on_ || !session_.isConnected()) {
        return;
    }
    std::vector<p::MessageNumber> numbers;
    for (const MessageReceipt& receipt : receipts) {
        // A number of another store or user means nothing on this connection;
        // its message comes again there and is named then.
        if (receipt.store == on_->store &&
            receipt.user.compare(on_->user, Qt::CaseInsensitive) == 0) {
            numbers.push_back(receipt.number);
        }
    }
    if (numbers.empty()) {
        return;
    }
    session_.trap([&] {
        const std::string user = on_->user.toStdString();
        for (const std::string& list : p::numberLists(std::move(numbers))) {
            session_.connection().SendData(
                QString::fromStdString(p::buildCommand(p::kHeadRC, {user, list})));
        }
    });
}

Receipts::Arrival::~Arrival() {
    for (const MessageReceipt& receipt : std::as_const(taken_)) {
        receipts_.seen_.remove(seenKey(receipt));
    }
}

bool Receipts::Arrival::take(const MessageReceipt& receipt) {
    if (receipt.isNull()) {
        return true;
    }
    const QString key = seenKey(receipt);
    if (receipts_.seen_.contains(key) ||
        (receipts_.keeper_ && receipts_.keeper_->hasKept(receipt))) {
        repeated_.append(receipt);
        return false;
    }
    receipts_.seen_.insert(key);
    taken_.append(receipt);
    return true;
}

void Receipts::Arrival::handedOn(const MessageReceipt& receipt) {
    if (!receipt.isNull() && taken_.removeOne(receipt)) {
        handed_.append(receipt);
    }
}

void Receipts::Arrival::confirm() {
    QList<MessageReceipt> named = std::exchange(repeated_, {});
    // The keeper names what it keeps once it is written.
    if (!receipts_.keeper_ || !receipts_.keeper_->keepsLines()) {
        named += std::exchange(handed_, {});
    }
    receipts_.confirm(named);
}

} // namespace velmora
