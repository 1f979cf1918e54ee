// Desktop notifications through the freedesktop notification service on the
// session bus. The service answers each Notify with an id and later says,
// by that id, whether the user clicked the notification or it went away.
#pragma once

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QString>

#include <functional>

namespace velmora {

class DbusNotifications : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kService = "org.freedesktop.Notifications";
    static constexpr const char* kPath = "/org/freedesktop/Notifications";
    // Notifications whose click is still awaited; the oldest is dropped
    // beyond this, for services that never say one has closed.
    static constexpr int kMaxPending = 64;

    explicit DbusNotifications(const QDBusConnection& bus = QDBusConnection::sessionBus(),
                               QObject* parent = nullptr);

    // Sends the notification; `unavailable` runs once the bus has answered
    // that no service took it (or at once without a bus).
    void show(const QString& title, const QString& body, std::function<void()> activated,
              std::function<void()> unavailable);

private slots:
    void onActionInvoked(uint id, const QString& action);
    void onClosed(uint id, uint reason);

private:
    QDBusConnection bus_;
    QHash<uint, std::function<void()>> pending_;
    QList<uint> order_;
};

} // namespace velmora
