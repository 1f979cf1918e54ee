#include "session/session.h"

#include "controls/spell_checker.h"
#include "platform/desktop.h"
#include "platform/number_text.h"
#include "platform/prompter.h"
#include "protocol/receipts.h"
#include "protocol/wire.h"
#include "session/account_commands.h"
#include "session/certificate_trust.h"
#include "session/connect_wait.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/file_transfers.h"
#include "session/main_frame.h"
#include "session/offline_aware.h"
#include "session/reconnect.h"
#include "session/wire_text.h"

#include <QDateTime>
#include <QWidget>

namespace velmora {

namespace p = protocol;
using Reply = Dispatcher::Reply;

namespace {

bool is(const QString& field, std::string_view value) {
    return field == text(value);
}

QStringList splitField(const QString& field, std::string_view separator) {
    QStringList out;
    for (const std::string& piece : p::split(bytes(field), separator)) {
        out.append(QString::fromStdString(piece));
    }
    return out;
}

// Where a message's number comes, on a connection with receipts: after the
// five fields of "+PM", and after the three sub-fields of an "+OM" item.
constexpr int kPMNumberField = 6;
constexpr qsizetype kOMNumberPart = 3;

ChatLine chatLine(const Record& r) {
    return ChatLine{r.field(1), r.field(2), r.field(3), r.field(4), r.field(5)};
}

} // namespace

Session::Session(const QString& appFolder, Prompter& prompter, Desktop& desktop, QObject* parent)
    : QObject(parent), appFolder_(appFolder), settings_(appFolder), prompter_(prompter),
      desktop_(desktop), connection_(std::make_unique<Connection>()) {
    dispatcher_ = std::make_unique<Dispatcher>(
        *connection_, [this](const QString& routine, const std::function<void()>& action) {
            trap(routine, action);
        });
    reconnect_ = std::make_unique<Reconnect>(*this);
    receipts_ = std::make_unique<Receipts>(*this);
    files_ = std::make_unique<FileTransfers>(*this);
    account_ = std::make_unique<AccountCommands>(*this);
    certificates_ = std::make_unique<CertificateTrust>(*this);
    connection_->setCertificateCheck(
        [this](const QSslCertificate& certificate, const QList<QSslError>& errors) {
            const QString server = connection_->RemoteHost() + QLatin1Char(p::kHostPortSep) +
                                   QString::number(connection_->RemotePort());
            bool trusted = false;
            trap([&] { trusted = certificates_->check(server, certificate, errors); });
            return trusted;
        });
    connect(connection_.get(), &Connection::closed, this, [this] {
        onConnectionClosed();
        emit connectionLost();
        reconnect_->onConnectionDropped();
    });
    // The main window reads its settings when it loads.
    trap([this] { settings_.loadMainWindowValues(preferences_); });
    installSessionReplies();
}

Session::~Session() {
    deleteSessionWindows();
    reconnect_.reset();
    dispatcher_.reset();
    connection_.reset();
}

bool Session::isConnected() const {
    return connection_->State() == Connection::Connected;
}

bool Session::isClosed() const {
    return connection_->State() == Connection::Closed;
}

void Session::closeConnection() {
    reconnect_->stop();
    connection_->Close();
}

void Session::connectTo(const QString& address, bool encrypted) {
    reconnect_->stop();
    certificates_->reset();
    connection_->setEncrypted(encrypted);
    connectToAddress(*connection_, address, defaultPortOf(*connection_));
    address_ = address;
}

const std::optional<QString>& Session::certificateRefusal() const {
    return certificates_->refusal();
}

bool Session::waitUntilConnected(const QObject& window) {
    return waitForConnection(*connection_, window);
}

QString Session::versionField() {
    return QString::number(VELMORA_VERSION_MAJOR) + QLatin1Char('.') +
           QString::number(VELMORA_VERSION_MINOR);
}

void Session::send(const std::string& command) {
    connection_->SendData(QString::fromStdString(command));
}

void Session::sendLogin(const QString& user, const QString& password) {
    // A server that does not know receipts ignores the field, and numbers nothing.
    send(p::buildCommand(p::kHeadLI,
                         {bytes(user), bytes(password), bytes(versionField()), p::kReceiptsToken}));
}

void Session::sendSignUp(const QString& user, const QString& password) {
    send(p::buildCommand(p::kHeadRA, {bytes(user), bytes(password), bytes(versionField())}));
}

void Session::sendPrivateMessage(const QString& recipient, const QString& text,
                                 const QString& fontName, const QString& fontSize,
                                 const QString& style) {
    send(p::buildCommand(p::kHeadPM, {bytes(values_.userName), bytes(recipient), bytes(text),
                                      bytes(fontName), bytes(fontSize), bytes(style)}));
    emit lineExchanged(ConversationLine{
        recipient, false, ChatLine{values_.userName, text, fontName, fontSize, style}});
}

void Session::addBuddy(const QString& name) {
    send(p::buildCommand(p::kHeadAB, {bytes(values_.userName), bytes(name)}));
}

void Session::deleteBuddy(const QString& name) {
    send(p::buildCommand(p::kHeadDB, {bytes(values_.userName), bytes(name)}));
}

void Session::searchUsers(const QString& query) {
    send(p::buildCommand(p::kHeadSU, {bytes(query)}));
}

void Session::joinRoom(const QString& room) {
    send(p::buildCommand(p::kHeadCO, {bytes(values_.userName), bytes(room)}));
    room_ = room;
}

void Session::leaveRoom(const QString& room) {
    send(p::buildCommand(p::kHeadCE, {bytes(values_.userName), bytes(room)}));
    room_.clear();
}

void Session::sendRoomMessage(const QString& room, const QString& text, const QString& fontName,
                              const QString& fontSize, const QString& style) {
    send(p::buildCommand(p::kHeadCM, {bytes(values_.userName), bytes(room), bytes(text),
                                      bytes(fontName), bytes(fontSize), bytes(style)}));
}

void Session::inviteToRoom(const QString& room, const QStringList& invitees,
                           const QString& message) {
    // The list field begins with a separator: element 0 is never a name.
    std::string list;
    for (const QString& name : invitees) {
        list += p::kNameListSep;
        list += bytes(name);
    }
    send(p::buildCommand(p::kHeadCI, {bytes(values_.userName), bytes(room), list, bytes(message)}));
}

void Session::onLoginReplied(std::function<void(LoginResult)> handler) {
    dispatcher_->setHandler(Reply::LI, [this, handler = std::move(handler)](const Record& r) {
        const QString& answer = r.field(1);
        LoginResult result = LoginResult::Invalid;
        if (is(answer, p::answer::kLoginTrue)) {
            result = LoginResult::Accepted;
        } else if (is(answer, p::answer::kLoginFalse)) {
            result = LoginResult::Refused;
        } else if (is(answer, p::answer::kClientUpgrade)) {
            result = LoginResult::UpgradeNeeded;
        }
        if (reconnect_->awaitingLogin()) {
            reconnect_->onLoginReply(result);
        } else {
            handler(result);
            if (result == LoginResult::Accepted && !values_.userName.isEmpty()) {
                reconnect_->remember(address_, values_.userName, values_.password);
            }
        }
        if (result == LoginResult::Accepted && isConnected()) {
            emit loggedIn();
        }
    });
}

void Session::onSignUpReplied(std::function<void(SignUpResult, const QString&)> handler) {
    dispatcher_->setHandler(Reply::RU, [handler = std::move(handler)](const Record& r) {
        const QString& outcome = r.field(1);
        SignUpResult result = SignUpResult::Invalid;
        if (is(outcome, p::answer::kSignUpDone)) {
            result = SignUpResult::Created;
        } else if (is(outcome, p::answer::kSignUpNameTaken)) {
            result = SignUpResult::NameTaken;
        } else if (is(outcome, p::answer::kSignUpDisabled)) {
            result = SignUpResult::Disabled;
        }
        handler(result, r.field(2));
    });
}

void Session::onBuddyList(std::function<void(const QList<BuddyListItem>&)> handler) {
    dispatcher_->setHandler(Reply::BL, [handler = std::move(handler)](const Record& r) {
        QList<BuddyListItem> items;
        for (const std::string& item : p::split(bytes(r.field(1)), p::kListItemSep)) {
            const auto parts = p::split(item, p::kSubFieldSep);
            // An item without both parts still takes a node key.
            BuddyListItem entry;
            if (parts.size() >= 2) {
                if (parts[0] == p::answer::kBuddyOnline) {
                    entry.state = BuddyListItem::Online;
                } else if (parts[0] == p::answer::kBuddyOffline) {
                    entry.state = BuddyListItem::Offline;
                }
                entry.name = QString::fromStdString(parts[1]);
            }
            items.append(entry);
        }
        handler(items);
    });
}

void Session::onOfflineMessages(std::function<qsizetype(const QList<QStringList>&)> handler) {
    dispatcher_->setHandler(Reply::OM, [this, handler = std::move(handler)](const Record& r) {
        Receipts::Arrival arrival(*receipts_);
        // Element 0 is what comes before the first separator: never a message.
        const QStringList elements = splitField(r.field(1), p::kListItemSep);
        QList<QStringList> messages;
        QList<MessageReceipt> numbers;
        bool repeated = false;
        for (qsizetype i = 1; i < elements.size(); ++i) {
            QStringList fields = splitField(elements[i], p::kNameListSep);
            const MessageReceipt receipt = receipts_->receiptOf(fields.value(kOMNumberPart));
            if (!arrival.take(receipt)) {
                repeated = true;
                continue;
            }
            messages.append(receipt.isNull() ? fields : fields.mid(0, kOMNumberPart));
            numbers.append(receipt);
        }
        // A page of messages the client has already brings up no window.
        const qsizetype stored = messages.isEmpty() && repeated ? 0 : handler(messages);
        for (qsizetype i = 0; i < messages.size(); ++i) {
            const QStringList& fields = messages[i];
            if (fields.size() >= 2) {
                // The server's clock wrote the time ("2026-11-23 18:40:00").
                const QDateTime sent =
                    QDateTime::fromString(fields.value(2), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
                // One that omess.db refused is not kept: it is left to come again.
                const MessageReceipt receipt = i < stored ? numbers[i] : MessageReceipt{};
                emit lineExchanged(
                    ConversationLine{fields[1], false, ChatLine{fields[1], fields[0], {}, {}, {}},
                                     sent.isValid() ? sent.toMSecsSinceEpoch() : 0, receipt});
                arrival.handedOn(receipt);
            }
        }
        arrival.confirm();
    });
}

void Session::onPrivateMessage(std::function<void(const ChatLine&)> handler) {
    dispatcher_->setHandler(Reply::PM, [this, handler = std::move(handler)](const Record& r) {
        Receipts::Arrival arrival(*receipts_);
        const MessageReceipt receipt =
            receipts_->receiptOf(r.size() > kPMNumberField ? r.field(kPMNumberField) : QString());
        if (arrival.take(receipt)) {
            const ChatLine line = chatLine(r);
            handler(line);
            emit lineExchanged(ConversationLine{line.sender, false, line, 0, receipt});
            arrival.handedOn(receipt);
        }
        arrival.confirm();
    });
}

void Session::addPresenceHandler(std::function<void(const QString&, bool)> handler) {
    if (presence_.empty()) {
        dispatcher_->setHandler(Reply::LOn, [this](const Record& r) {
            for (const auto& each : presence_) {
                each(r.field(1), true);
            }
        });
        dispatcher_->setHandler(Reply::LOff, [this](const Record& r) {
            for (const auto& each : presence_) {
                each(r.field(1), false);
            }
        });
    }
    presence_.push_back(std::move(handler));
}

void Session::onRoomInvitation(
    std::function<void(const QString&, const QString&, const QString&)> handler) {
    dispatcher_->setHandler(Reply::CI, [handler = std::move(handler)](const Record& r) {
        handler(r.field(1), r.field(2), r.field(3));
    });
}

void Session::onRoomDetails(std::function<void(bool, const QStringList&)> handler) {
    dispatcher_->setHandler(Reply::CDet, [handler = std::move(handler)](const Record& r) {
        const QString& details = r.field(1);
        if (is(details, p::answer::kRoomFull)) {
            handler(true, {});
            return;
        }
        // Element 0 is what comes before the first separator: never a name.
        QStringList members = splitField(details, p::kNameListSep);
        if (!members.isEmpty()) {
            members.removeFirst();
        }
        handler(false, members);
    });
}

void Session::onRoomMemberEntered(std::function<void(const QString&)> handler) {
    dispatcher_->setHandler(
        Reply::CO, [handler = std::move(handler)](const Record& r) { handler(r.field(1)); });
}

void Session::onRoomMemberLeft(std::function<void(const QString&)> handler) {
    dispatcher_->setHandler(
        Reply::CE, [handler = std::move(handler)](const Record& r) { handler(r.field(1)); });
}

void Session::onRoomMessage(std::function<void(const ChatLine&)> handler) {
    dispatcher_->setHandler(Reply::CM, [this, handler = std::move(handler)](const Record& r) {
        const ChatLine line = chatLine(r);
        handler(line);
        if (!room_.isEmpty()) {
            emit lineExchanged(ConversationLine{room_, true, line});
        }
    });
}

void Session::onSearchResults(std::function<void(const QStringList&)> handler) {
    dispatcher_->setHandler(Reply::SU, [handler = std::move(handler)](const Record& r) {
        const QString& names = r.field(1);
        handler(names.isEmpty() ? QStringList() : splitField(names, p::kSearchNameSep));
    });
}

void Session::onServerOptions(const QString& profileSite, const QString& limit,
                              const QString& openConference) {
    values_.strProfileSite = profileSite;
    frame_->setProfileEntriesVisible(!profileSite.isEmpty());
    frame_->setToolbarButtonEnabled(5, true);
    values_.intServerLimit = number_text::toInt16(limit);
    frame_->setOpenConferenceVisible(number_text::toBool(openConference));
}

void Session::installSessionReplies() {
    using Errors = Dispatcher::Errors;
    dispatcher_->setHandler(
        Reply::SO, [this](const Record& r) { onServerOptions(r.field(1), r.field(2), r.field(3)); },
        Errors::Dispatcher);
    dispatcher_->setHandler(
        Reply::UNO,
        [this](const Record& r) {
            showMessage(QStringLiteral("The user \"") + r.field(1) +
                            QStringLiteral("\" is offline!\r\nHowever, the user should get "
                                           "the message the next time they login!"),
                        style::kSystemInfo, QString(), &frame_->widget());
        },
        Errors::Dispatcher);
    dispatcher_->setHandler(
        Reply::UNV,
        [this](const Record& r) {
            showMessage(QStringLiteral("The username \"") + r.field(1) +
                            QStringLiteral("\" is not a valid user!"),
                        style::kSystemInfo, QString(), &frame_->widget());
        },
        Errors::Dispatcher);
    dispatcher_->setUnknownHandler([this](const Record&) {
        showMessage(QStringLiteral("Error: The server sent an unknown command!\r\n"
                                   "You may need to upgrade your I.M. Client!"),
                    style::kSystemInfo, QString(), &frame_->widget());
    });
}

int Session::showMessage(const QString& text, int style, const QString& title, QWidget* owner) {
    const QString shownTitle = title.isEmpty() ? QString::fromLatin1(kAppTitle) : title;
    return prompter_.show(text, style, shownTitle, owner);
}

void Session::reportError(const AppError& error, const QString& routine) {
    if (error.number == err::kWrongProtocolOrConnectionState) {
        onConnectionClosed();
        return;
    }
    showMessage(errorReportText(error, routine), style::kExclamation, QString(),
                frame_ ? &frame_->widget() : nullptr);
}

void Session::onConnectionClosed() {
    // Each step on its own: a failing step must not keep the client online.
    auto step = [](auto&& action) {
        try {
            action();
        } catch (...) {
        }
    };
    step([&] {
        connection_->Close();
        connection_->setLocalPort(0);
    });
    if (frame_) {
        step([&] { frame_->setConnectStatus(QStringLiteral("-> Disconnected")); });
        step([&] { frame_->resetBuddyTree(); });
    }
    step([&] { receipts_->turnOff(); });
    step([&] {
        room_.clear();
        values_.lngNodeKey = 2;
        values_.strProfileSite.clear();
        values_.userName.clear();
        values_.password.clear();
    });
    step([&] {
        for (QWidget* window : windows()) {
            if (auto* aware = dynamic_cast<OfflineAware*>(window)) {
                aware->onConnectionLost();
            }
        }
    });
    if (frame_) {
        step([&] { frame_->setToolbarOffline(); });
        step([&] { frame_->setTrayStatus(MainFrame::kImageOffline, QStringLiteral("Offline")); });
    }
}

void Session::adoptWindow(QWidget* window) {
    windows_.removeAll(nullptr);
    if (!windows_.contains(window)) {
        windows_.append(window);
    }
}

QList<QWidget*> Session::windows() const {
    QList<QWidget*> open;
    for (const QPointer<QWidget>& window : windows_) {
        if (window) {
            open.append(window.data());
        }
    }
    return open;
}

QWidget* Session::findWindowByCaption(const QString& caption) const {
    const QString wanted = caption.toUpper();
    for (QWidget* window : windows()) {
        if (window->windowTitle().toUpper() == wanted) {
            return window;
        }
    }
    return nullptr;
}

QWidget* Session::findWindowByName(const QString& name) const {
    for (QWidget* window : windows()) {
        if (window->objectName() == name) {
            return window;
        }
    }
    return nullptr;
}

bool Session::closeSessionWindows() {
    for (QWidget* window : windows()) {
        if (!window->close()) {
            return false;
        }
        window->deleteLater();
        windows_.removeAll(window);
    }
    windows_.clear();
    return true;
}

void Session::deleteSessionWindows() {
    for (const QPointer<QWidget>& window : windows_) {
        delete window.data();
    }
    windows_.clear();
}

SpellChecker& Session::spellChecker() {
    if (!spellChecker_) {
        spellChecker_ = std::make_unique<SpellChecker>(appFolder_);
        spellChecker_->setLanguage(SpellChecker::chosenLanguage(settings_.spellLanguage()));
    }
    return *spellChecker_;
}

void Session::playSoundFile(const QString& path) {
    desktop_.playSound(path);
}

} // namespace velmora
