// Logging in again after the server dropped the connection of a logged-in
// user: the same address, name and password after 1, 2, 4 ... up to 60 s
// (each a little shorter or longer at random, so that the clients of a
// restarted server do not all come back at once). Logging out, a refused
// login and a new login by hand end it. The disconnect procedure runs as
// always when the connection drops; a successful login undoes what it
// did to the main window and brings the muted windows back.
#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

namespace velmora {

class Session;
enum class LoginResult;

// The wait before attempt `attempt` (0 for the first): 1 s doubled per
// attempt, at most 60 s, changed by `jitter` (-1..1) times a fifth.
[[nodiscard]] int reconnectDelayMs(int attempt, double jitter);

class Reconnect : public QObject {
    Q_OBJECT
public:
    // Time allowed for connecting and for the answer to the login.
    static constexpr int kAttemptTimeoutMs = 15000;

    explicit Reconnect(Session& session);

    // A login was accepted: what a reconnect would log in with.
    void remember(const QString& address, const QString& user, const QString& password);
    // The user changed the password: a reconnect logs in with the new one.
    void passwordChanged(const QString& user, const QString& password);
    // Forgets the details and cancels any attempt (the user logged out).
    void stop();
    // The connection dropped: waits and tries again when there is a login
    // to repeat.
    void onConnectionDropped();
    // True while waiting or trying.
    [[nodiscard]] bool pending() const { return timer_.isActive() || state_ != State::Idle; }
    // True when the session's login answer is this attempt's.
    [[nodiscard]] bool awaitingLogin() const { return state_ == State::LoggingIn; }
    void onLoginReply(LoginResult result);

private:
    enum class State { Idle, Waiting, Connecting, LoggingIn };
    void schedule();
    void tryNow();
    void giveUpAttempt();
    void restore();
    void showCountdown();

    Session& session_;
    QTimer timer_;
    // Counts the wait down in the status bar, once a second.
    QTimer tick_;
    QString address_;
    QString user_;
    QString password_;
    int attempt_ = 0;
    State state_ = State::Idle;
};

} // namespace velmora
