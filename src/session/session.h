// One session with an IM server: the connection, the reply dispatcher, the
// session values, the settings, the prompter and desktop, and the windows
// opened for it. Windows send through the typed commands below and hear the
// server through the typed replies; none of them touches the wire format.
// The session creates no widgets: the shell gives it a MainFrame.
#pragma once

#include "controls/buddy_list.h"
#include "platform/app_error.h"
#include "platform/desktop.h"
#include "platform/error_trap.h"
#include "session/receipts.h"
#include "session/session_values.h"
#include "settings/settings.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QWidget;

namespace velmora {

class AccountCommands;
class CertificateTrust;
class Connection;
class Dispatcher;
class FileTransfers;
class MainFrame;
class Prompter;
class Reconnect;
class SpellChecker;

enum class LoginResult { Accepted, Refused, UpgradeNeeded, Invalid };
enum class SignUpResult { Created, NameTaken, Disabled, Invalid };

// One conference message or private message as the server relays it.
struct ChatLine {
    QString sender;
    QString text; // spaces travel as "%%"
    QString fontName;
    QString fontSize;
    QString style;
};

// A line of a conversation this user took part in: a private message sent or
// received (also one that waited on the server), or a line of the room the
// user is in.
struct ConversationLine {
    QString conversation; // the other user, or the room
    bool room = false;
    ChatLine line;
    qint64 at = 0;            // when it was sent, in ms since 1970, if not just now
    MessageReceipt receipt{}; // a received message the server numbered
};

class Session : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kAppTitle = "Velmora";

    Session(const QString& appFolder, Prompter& prompter, Desktop& desktop,
            QObject* parent = nullptr);
    ~Session() override;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    [[nodiscard]] QString appFolder() const { return appFolder_; }
    [[nodiscard]] Settings& settings() { return settings_; }
    // What the main window read from the settings when it loaded.
    [[nodiscard]] const MainWindowValues& preferences() const { return preferences_; }
    [[nodiscard]] MainWindowValues& preferences() { return preferences_; }
    [[nodiscard]] Prompter& prompter() { return prompter_; }
    [[nodiscard]] Desktop& desktop() { return desktop_; }
    [[nodiscard]] Connection& connection() { return *connection_; }
    [[nodiscard]] Dispatcher& dispatcher() { return *dispatcher_; }
    [[nodiscard]] SessionValues& values() { return values_; }
    [[nodiscard]] const SessionValues& values() const { return values_; }
    [[nodiscard]] MainFrame& frame() { return *frame_; }
    // Logging in again after a dropped connection.
    [[nodiscard]] Reconnect& reconnect() { return *reconnect_; }
    // Confirming the private messages kept, when the server numbers them.
    [[nodiscard]] Receipts& receipts() { return *receipts_; }
    // File offers and answers, and what data connections need of the session.
    [[nodiscard]] FileTransfers& files() { return *files_; }
    // The user's own account: changing its password, deleting it.
    [[nodiscard]] AccountCommands& account() { return *account_; }
    void setFrame(MainFrame* frame) { frame_ = frame; }
    // The spelling dictionary every input box of the session shares, in the
    // language the settings choose; loaded at the first use.
    [[nodiscard]] SpellChecker& spellChecker();

    // The connection to the IM server.
    [[nodiscard]] bool isConnected() const;
    [[nodiscard]] bool isClosed() const;
    // Closes the connection on the user's behalf: no reconnect follows.
    void closeConnection();
    // Starts connecting to "host" or "host:port" (the default port when none
    // is named), inside TLS when `encrypted`, ending any reconnect. A port
    // outside 1..65535 raises AppError 380 first.
    void connectTo(const QString& address, bool encrypted);
    // Why the last attempt was refused over the server's certificate:
    // nothing when it was not, an empty text when the user said no, else
    // the message to show instead of the usual connection problem.
    [[nodiscard]] const std::optional<QString>& certificateRefusal() const;
    // Runs the event loop until the attempt has connected or failed, or until
    // `window` is destroyed meanwhile. True when connected.
    [[nodiscard]] bool waitUntilConnected(const QObject& window);

    // The client version as the login and sign-up commands carry it ("1.4").
    [[nodiscard]] static QString versionField();

    // Commands. Each raises error 40006 when the connection is not open.
    void sendLogin(const QString& user, const QString& password);
    void sendSignUp(const QString& user, const QString& password);
    void sendPrivateMessage(const QString& recipient, const QString& text, const QString& fontName,
                            const QString& fontSize, const QString& style);
    void addBuddy(const QString& name);
    void deleteBuddy(const QString& name);
    void searchUsers(const QString& query);
    void joinRoom(const QString& room);
    void leaveRoom(const QString& room);
    void sendRoomMessage(const QString& room, const QString& text, const QString& fontName,
                         const QString& fontSize, const QString& style);
    void inviteToRoom(const QString& room, const QStringList& invitees, const QString& message);

    // Replies: each feature sets the handlers of the replies it owns, once.
    // Presence has a list: the buddy tree first, then open conversations.
    void onLoginReplied(std::function<void(LoginResult)> handler);
    void onSignUpReplied(std::function<void(SignUpResult, const QString& webSite)> handler);
    void onBuddyList(std::function<void(const QList<BuddyListItem>&)> handler);
    // Each message as its fields: text, sender, sent time (any may be
    // missing). The handler answers how many of them, from the first, it
    // stored.
    void onOfflineMessages(std::function<qsizetype(const QList<QStringList>&)> handler);
    void onPrivateMessage(std::function<void(const ChatLine&)> handler);
    void addPresenceHandler(std::function<void(const QString& name, bool online)> handler);
    void onRoomInvitation(
        std::function<void(const QString& from, const QString& room, const QString& message)>
            handler);
    // The members of the room just entered; empty when the room is full.
    void onRoomDetails(std::function<void(bool full, const QStringList& members)> handler);
    void onRoomMemberEntered(std::function<void(const QString& name)> handler);
    void onRoomMemberLeft(std::function<void(const QString& name)> handler);
    void onRoomMessage(std::function<void(const ChatLine&)> handler);
    void onSearchResults(std::function<void(const QStringList& names)> handler);

    // Asks the feature that holds conversations to open one with `name`.
    void requestConversation(const QString& name) { emit conversationRequested(name); }

    // The message-box procedure: an empty title means the application title.
    int showMessage(const QString& text, int style, const QString& title = QString(),
                    QWidget* owner = nullptr);
    // The error report: error 40006 disconnects instead of showing a box.
    void reportError(const AppError& error, const QString& routine = QString());
    // Runs `action` under the error trap.
    template <typename Action> void trap(const QString& routine, Action&& action) noexcept {
        runTrapped([this](const AppError& e, const QString& r) { reportError(e, r); }, routine,
                   std::forward<Action>(action));
    }
    template <typename Action> void trap(Action&& action) noexcept {
        trap(QString(), std::forward<Action>(action));
    }

    // The disconnect procedure: every step is attempted even if one fails.
    void onConnectionClosed();

    // Windows opened for this session ("all open windows" of the client).
    void adoptWindow(QWidget* window);
    [[nodiscard]] QList<QWidget*> windows() const;
    // The open window whose caption equals `caption`, ignoring case.
    [[nodiscard]] QWidget* findWindowByCaption(const QString& caption) const;
    // The first open window of type T, or null.
    template <class T> [[nodiscard]] T* findWindow() const {
        for (QWidget* window : windows()) {
            if (auto* found = qobject_cast<T*>(window)) {
                return found;
            }
        }
        return nullptr;
    }
    // The open window with this objectName (a form's name), or null.
    [[nodiscard]] QWidget* findWindowByName(const QString& name) const;
    // The one way to show a window that is open at most once: `open`, found
    // by the caller by caption, name or type, is brought forward; without
    // one, the window `make` returns joins this session's windows and shows.
    template <class W, class Make> W& showSingle(W* open, Make&& make) {
        if (open) {
            desktop_.bringToFront(open);
            return *open;
        }
        W* window = std::forward<Make>(make)();
        adoptWindow(window);
        window->show();
        return *window;
    }
    // Closes every window of the session except the main window, stopping at
    // one that refuses (it and the ones after it stay open); false then.
    bool closeSessionWindows();
    // Deletes the session windows at once (the owner is going away).
    void deleteSessionWindows();

    // Plays a sound file without waiting; a missing file plays nothing.
    void playSoundFile(const QString& path);

signals:
    void conversationRequested(const QString& name);
    // The server closed the connection; the disconnect procedure has run.
    void connectionLost();
    // A private message was sent or received (or came from the offline
    // store), or a line of the room came: after the windows have shown it.
    void lineExchanged(const ConversationLine& line);
    // The server accepted a login, the user's own or a reconnect's.
    void loggedIn();

private:
    void send(const std::string& command);
    void installSessionReplies();
    void onServerOptions(const QString& profileSite, const QString& limit,
                         const QString& openConference);

    QString appFolder_;
    Settings settings_;
    MainWindowValues preferences_;
    Prompter& prompter_;
    Desktop& desktop_;
    SessionValues values_;
    std::unique_ptr<Connection> connection_;
    std::unique_ptr<Dispatcher> dispatcher_;
    std::unique_ptr<Reconnect> reconnect_;
    std::unique_ptr<Receipts> receipts_;
    std::unique_ptr<FileTransfers> files_;
    std::unique_ptr<AccountCommands> account_;
    std::unique_ptr<CertificateTrust> certificates_;
    std::unique_ptr<SpellChecker> spellChecker_;
    QString address_; // the last address connected to
    QString room_;    // the room joined last, whose lines "+CM" brings
    MainFrame* frame_ = nullptr;
    QList<QPointer<QWidget>> windows_;
    std::vector<std::function<void(const QString&, bool)>> presence_;
};

} // namespace velmora
