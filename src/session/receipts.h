// Delivery receipts on the client. A login that asks for them and a server
// that offers them ("+RC") make every private message of the connection come
// with its number in the server's store; the server forgets a message only
// when the client names that number back in "cmdRC". A message is named once
// it is kept: when the line keeper (the history) has written it to disk, or,
// while nothing keeps lines, once it has been shown. A number the client
// already has (seen in this run, or kept by an earlier one) is a message sent
// again after a confirmation was lost: it is not shown again, only named back.
#pragma once

#include "protocol/receipts.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <optional>

namespace velmora {

class Session;

// Which message a line is, when its server numbered it: numbers mean
// something only within one store and for one user.
struct MessageReceipt {
    QString store;
    QString user;
    protocol::MessageNumber number = 0; // 0: not numbered

    [[nodiscard]] bool isNull() const { return number == 0; }
    // "store:number", as the history keeps it beside the line of its user.
    [[nodiscard]] QString key() const;
    friend bool operator==(const MessageReceipt&, const MessageReceipt&) = default;
};

// What keeps conversation lines for good. It hears every line through
// Session::lineExchanged, and names the numbered ones to Receipts::confirm()
// once they are on disk, or once it gives up on them.
class LineKeeper {
public:
    // False while it keeps nothing (switched off after a failure).
    [[nodiscard]] virtual bool keepsLines() const = 0;
    // True when it keeps a line of this message from an earlier run.
    [[nodiscard]] virtual bool hasKept(const MessageReceipt& receipt) = 0;

protected:
    ~LineKeeper() = default;
};

class Receipts : public QObject {
    Q_OBJECT
public:
    // Takes the "+RC" reply of the session's dispatcher.
    explicit Receipts(Session& session);

    // The disconnect procedure: a new connection is offered receipts anew.
    void turnOff() { on_.reset(); }
    // The history, for as long as it lives; null while nothing keeps lines.
    void setKeeper(LineKeeper* keeper) { keeper_ = keeper; }

    // The receipt of a message that came with `numberField` (empty when the
    // record had none): null while receipts are off or for a field that is
    // not a number, and such a message is handled as without receipts.
    [[nodiscard]] MessageReceipt receiptOf(const QString& numberField) const;

    // Names these messages back to the server in one command: the keeper's
    // when they are on disk, or when it gave up on them after they were
    // shown. Only numbers of this connection's store and user go out, and
    // nothing once the connection is closed: a message not named comes
    // again at the next login and is named then.
    void confirm(const QList<MessageReceipt>& receipts);

    // The numbered messages of one arrival: one "+PM", or one "+OM" page.
    class Arrival {
    public:
        explicit Arrival(Receipts& receipts) : receipts_(receipts) {}
        // A message taken but never handed on (showing or storing it
        // failed) is forgotten, so that it is shown when it comes again.
        ~Arrival();
        Arrival(const Arrival&) = delete;
        Arrival& operator=(const Arrival&) = delete;

        // False for a message the client already has: it must be neither
        // shown nor kept again, and is named back again by confirm().
        [[nodiscard]] bool take(const MessageReceipt& receipt);
        // The message was shown, and the keeper has heard of it.
        void handedOn(const MessageReceipt& receipt);
        // Names the messages already had, and the ones handed on when no
        // keeper keeps lines, in one command.
        void confirm();

    private:
        Receipts& receipts_;
        QList<MessageReceipt> taken_;
        QList<MessageReceipt> handed_;
        QList<MessageReceipt> repeated_;
    };

private:
    struct Offer {
        QString store;
        QString user;
    };
    [[nodiscard]] static QString seenKey(const MessageReceipt& receipt);

    Session& session_;
    std::optional<Offer> on_;
    LineKeeper* keeper_ = nullptr;
    // Every message numbered to this client in this run.
    QSet<QString> seen_;
};

} // namespace velmora
