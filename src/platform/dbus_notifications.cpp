#include "platform/dbus_notifications.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

namespace velmora {

namespace {

constexpr const char* kInterface = "org.freedesktop.Notifications";
// Bodies may carry a little markup, so the text goes escaped; a long
// first line is cut rather than filling the screen.
constexpr qsizetype kMaxBody = 200;

QString bodyText(const QString& body) {
    QString text = body.size() > kMaxBody ? body.left(kMaxBody - 1) + QChar(0x2026) : body;
    return text.toHtmlEscaped();
}

} // namespace

DbusNotifications::DbusNotifications(const QDBusConnection& bus, QObject* parent)
    : QObject(parent), bus_(bus) {
    if (!bus_.isConnected()) {
        return;
    }
    const QString service = QString::fromLatin1(kService);
    const QString path = QString::fromLatin1(kPath);
    const QString interface = QString::fromLatin1(kInterface);
    bus_.connect(service, path, interface, QStringLiteral("ActionInvoked"), this,
                 SLOT(onActionInvoked(uint, QString)));
    bus_.connect(service, path, interface, QStringLiteral("NotificationClosed"), this,
                 SLOT(onClosed(uint, uint)));
}

void DbusNotifications::show(const QString& title, const QString& body,
                             std::function<void()> activated, std::function<void()> unavailable) {
    if (!bus_.isConnected()) {
        if (unavailable) {
            unavailable();
        }
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(kService), QString::fromLatin1(kPath),
                                       QString::fromLatin1(kInterface), QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("velmora")},
                            {QStringLiteral("category"), QStringLiteral("im.received")}};
    call << QStringLiteral("Velmora") << uint(0) << QStringLiteral("velmora") << title
         << bodyText(body) << QStringList{QStringLiteral("default"), QStringLiteral("Open")}
         << hints << int(-1);
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, activated = std::move(activated),
             unavailable = std::move(unavailable)](QDBusPendingCallWatcher* done) {
                done->deleteLater();
                const QDBusPendingReply<uint> reply = *done;
                if (reply.isError()) {
                    if (unavailable) {
                        unavailable();
                    }
                    return;
                }
                const uint id = reply.value();
                if (!pending_.contains(id)) {
                    order_.append(id);
                }
                pending_.insert(id, activated);
                while (order_.size() > kMaxPending) {
                    pending_.remove(order_.takeFirst());
                }
            });
}

void DbusNotifications::onActionInvoked(uint id, const QString& action) {
    if (action != QLatin1String("default")) {
        return;
    }
    const auto found = pending_.constFind(id);
    if (found == pending_.constEnd()) {
        return;
    }
    const std::function<void()> activated = found.value();
    onClosed(id, 0);
    if (activated) {
        activated();
    }
}

void DbusNotifications::onClosed(uint id, uint /*reason*/) {
    pending_.remove(id);
    order_.removeOne(id);
}

} // namespace velmora
