#include "session/reconnect.h"

#include "platform/prompter.h"
#include "session/connect_wait.h"
#include "session/connection.h"
#include "session/main_frame.h"
#include "session/offline_aware.h"
#include "session/session.h"

#include "protocol/wire.h"

#include <QRandomGenerator>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace velmora {

namespace {
constexpr int kFirstDelayMs = 1000;
constexpr int kLongestDelayMs = 60000;
constexpr double kJitterShare = 0.2;
} // namespace

int reconnectDelayMs(int attempt, double jitter) {
    const int doublings = std::clamp(attempt, 0, 6); // 2^6 s is past the cap
    const double base = std::min(kFirstDelayMs << doublings, kLongestDelayMs);
    const double delay = base * (1.0 + kJitterShare * std::clamp(jitter, -1.0, 1.0));
    return std::min(static_cast<int>(std::lround(delay)), kLongestDelayMs);
}

Reconnect::Reconnect(Session& session) : session_(session) {
    timer_.setSingleShot(true);
    tick_.setInterval(1000);
    connect(&tick_, &QTimer::timeout, this, [this] { showCountdown(); });
    connect(&timer_, &QTimer::timeout, this, [this] {
        tick_.stop();
        if (state_ == State::Waiting) {
            tryNow();
        } else {
            giveUpAttempt();
        }
    });
    Connection& connection = session_.connection();
    connect(&connection, &Connection::connected, this, [this] {
        if (state_ != State::Connecting) {
            return;
        }
        state_ = State::LoggingIn;
        session_.trap([this] { session_.sendLogin(user_, password_); });
    });
    connect(&connection, &Connection::errorOccurred, this, [this] {
        if (state_ != State::Connecting) {
            return;
        }
        if (const auto& refused = session_.certificateRefusal()) {
            // Another certificate than the one trusted, or one the user
            // would not trust: trying again would only meet it again.
            const QString text = *refused;
            stop();
            session_.connection().Close();
            session_.onConnectionClosed();
            if (!text.isEmpty()) {
                session_.showMessage(text, style::kExclamation);
            }
            return;
        }
        giveUpAttempt();
    });
}

void Reconnect::remember(const QString& address, const QString& user, const QString& password) {
    address_ = address;
    user_ = user;
    password_ = password;
    attempt_ = 0;
    state_ = State::Idle;
    timer_.stop();
    tick_.stop();
}

void Reconnect::passwordChanged(const QString& user, const QString& password) {
    if (user_.compare(user, Qt::CaseInsensitive) == 0) {
        password_ = password;
    }
}

void Reconnect::stop() {
    timer_.stop();
    tick_.stop();
    state_ = State::Idle;
    attempt_ = 0;
    user_.clear();
    password_.clear();
    address_.clear();
}

void Reconnect::onConnectionDropped() {
    if (state_ == State::Connecting || state_ == State::LoggingIn) {
        giveUpAttempt();
        return;
    }
    if (user_.isEmpty() || state_ != State::Idle) {
        return;
    }
    bool on = false;
    session_.trap([&] { on = session_.settings().reconnect() == 1; });
    if (on) {
        schedule();
    }
}

void Reconnect::schedule() {
    const int delay = reconnectDelayMs(attempt_, QRandomGenerator::global()->bounded(2.0) - 1.0);
    ++attempt_;
    state_ = State::Waiting;
    timer_.start(delay);
    tick_.start();
    showCountdown();
}

void Reconnect::showCountdown() {
    const int seconds = std::max(1, (timer_.remainingTime() + 500) / 1000);
    session_.frame().setConnectStatus(QStringLiteral("-> Reconnecting in ") +
                                      QString::number(seconds) + QStringLiteral(" s"));
}

void Reconnect::tryNow() {
    state_ = State::Connecting;
    timer_.start(kAttemptTimeoutMs);
    session_.frame().setConnectStatus(QStringLiteral("-> Reconnecting...."));
    session_.trap([this] {
        session_.connection().Close();
        // The connection keeps the login's choice of TLS, and the trust
        // given to the server's certificate then holds for this attempt too.
        connectToAddress(session_.connection(), address_, defaultPortOf(session_.connection()));
    });
}

void Reconnect::giveUpAttempt() {
    // The connection of a failed attempt is closed quietly; the disconnect
    // procedure has already run for the drop that started the reconnect.
    session_.connection().Close();
    schedule();
}

void Reconnect::onLoginReply(LoginResult result) {
    timer_.stop();
    if (result == LoginResult::Accepted) {
        attempt_ = 0;
        state_ = State::Idle;
        restore();
        return;
    }
    // A refused login (or an answer the client does not know) ends it.
    stop();
    session_.connection().Close();
    session_.onConnectionClosed();
}

void Reconnect::restore() {
    SessionValues& values = session_.values();
    values.userName = user_;
    values.password = password_;
    MainFrame& frame = session_.frame();
    frame.setConnectStatus(QStringLiteral("-> Connected [") + user_ + QLatin1Char(']'));
    frame.setToolbarOnline();
    frame.setTrayStatus(MainFrame::kImageOnline, user_);
    for (QWidget* window : session_.windows()) {
        if (auto* aware = dynamic_cast<OfflineAware*>(window)) {
            aware->onConnectionRestored();
        }
    }
}

} // namespace velmora
