// The desktop's services over a session bus of the test's own: a small
// notification service that records what it is sent and says when one is
// clicked, and the real Secret Service of gnome-keyring where it is
// installed. The bus starts nothing by itself, so a service is there only
// when the test has put it there.
#include "platform/dbus_notifications.h"
#include "platform/secret_keychain.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using velmora::DbusNotifications;
using velmora::Keychain;
using velmora::SecretKeychain;

namespace {

// moc reads this file too, so no raw string here.
constexpr char kBusConfig[] = "<busconfig>\n"
                              "  <type>session</type>\n"
                              "  <listen>unix:tmpdir=%1</listen>\n"
                              "  <auth>EXTERNAL</auth>\n"
                              "  <policy context=\"default\">\n"
                              "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                              "    <allow eavesdrop=\"true\"/>\n"
                              "    <allow own=\"*\"/>\n"
                              "  </policy>\n"
                              "</busconfig>\n";

// Plays org.freedesktop.Notifications on its own connection to the bus.
class NotificationService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    explicit NotificationService(const QString& address)
        : bus_(QDBusConnection::connectToBus(address, QStringLiteral("notification-service"))) {}
    ~NotificationService() override {
        bus_.unregisterService(QString::fromLatin1(DbusNotifications::kService));
        QDBusConnection::disconnectFromBus(bus_.name());
    }
    bool start() {
        return bus_.registerObject(QString::fromLatin1(DbusNotifications::kPath), this,
                                   QDBusConnection::ExportAllSlots) &&
               bus_.registerService(QString::fromLatin1(DbusNotifications::kService));
    }
    void emitSignal(const char* name, const QVariantList& arguments) {
        QDBusMessage signal = QDBusMessage::createSignal(
            QString::fromLatin1(DbusNotifications::kPath),
            QStringLiteral("org.freedesktop.Notifications"), QString::fromLatin1(name));
        signal.setArguments(arguments);
        bus_.send(signal);
    }

    // "app|summary|body|actions" for each Notify.
    QStringList calls;

public slots:
    uint Notify(const QString& app, uint /*replaces*/, const QString& /*icon*/,
                const QString& summary, const QString& body, const QStringList& actions,
                const QVariantMap& /*hints*/, int /*timeout*/) {
        calls << QStringList{app, summary, body, actions.join(QLatin1Char(','))}.join('|');
        return uint(40 + calls.size());
    }
    QStringList GetCapabilities() { return {QStringLiteral("body"), QStringLiteral("actions")}; }

private:
    QDBusConnection bus_;
};

} // namespace

class SessionBusTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty()) {
            QSKIP("dbus-daemon is not installed (Debian package dbus)");
        }
        QVERIFY(folder_.isValid());
        const QString config = folder_.filePath(QStringLiteral("bus.conf"));
        QFile file(config);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QString::fromLatin1(kBusConfig).arg(folder_.path()).toUtf8());
        file.close();
        bus_.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--nofork"), QStringLiteral("--print-address=1"),
                    QStringLiteral("--config-file=") + config});
        QVERIFY(QTest::qWaitFor([&] { return bus_.canReadLine(); }, 10000));
        address_ = QString::fromUtf8(bus_.readLine().trimmed());
        // Before anything in this process has looked for a session bus.
        qputenv("DBUS_SESSION_BUS_ADDRESS", address_.toUtf8());
        qunsetenv("XDG_CURRENT_DESKTOP");
        qunsetenv("DESKTOP_SESSION");
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    void cleanupTestCase() {
        bus_.kill();
        bus_.waitForFinished(5000);
    }

    void notificationsReachTheServiceAndComeBackWhenClicked() {
        DbusNotifications notifications;
        int unavailable = 0;
        int clicked = 0;
        // No service on the bus: the caller hears so and can use its tray.
        notifications.show(
            "bobby", "hi", [&] { ++clicked; }, [&] { ++unavailable; });
        QVERIFY(QTest::qWaitFor([&] { return unavailable == 1; }, 10000));

        NotificationService service(address_);
        QVERIFY(service.start());
        notifications.show(
            "bobby", "hi <b>you</b> & me", [&] { ++clicked; }, [&] { ++unavailable; });
        notifications.show(
            "carol1", QStringLiteral("x").repeated(500), [&] { clicked += 10; },
            [&] { ++unavailable; });
        QVERIFY(QTest::qWaitFor([&] { return service.calls.size() == 2; }, 10000));
        QCOMPARE(service.calls.first(),
                 QStringLiteral("Velmora|bobby|hi &lt;b&gt;you&lt;/b&gt; &amp; me|default,Open"));
        QCOMPARE(service.calls.last().section('|', 2, 2).size(), 200);

        // Clicks by id: another action, an unknown id and a closed one do nothing.
        service.emitSignal("ActionInvoked", {uint(41), QStringLiteral("other")});
        service.emitSignal("ActionInvoked", {uint(99), QStringLiteral("default")});
        service.emitSignal("NotificationClosed", {uint(42), uint(2)});
        service.emitSignal("ActionInvoked", {uint(42), QStringLiteral("default")});
        service.emitSignal("ActionInvoked", {uint(41), QStringLiteral("default")});
        QVERIFY(QTest::qWaitFor([&] { return clicked > 0; }, 10000));
        // A second click on the same one comes after the first on the bus.
        service.emitSignal("ActionInvoked", {uint(41), QStringLiteral("default")});
        notifications.show(
            "bobby", "again", [] {}, [] {});
        QVERIFY(QTest::qWaitFor([&] { return service.calls.size() == 3; }, 10000));
        QCOMPARE(clicked, 1);
        QCOMPARE(unavailable, 1);
    }

    void theKeychainIsTheSecretServiceWhereThereIsOne() {
        SecretKeychain keychain;
        QString password;
        // Nothing on the bus keeps secrets yet.
        QCOMPARE(keychain.write("alicia", "secret1"), Keychain::Result::Unavailable);
        QCOMPARE(keychain.read("alicia", password), Keychain::Result::Unavailable);

        if (QStandardPaths::findExecutable(QStringLiteral("gnome-keyring-daemon")).isEmpty()) {
            QSKIP("gnome-keyring-daemon is not installed (Debian package gnome-keyring)");
        }
        QTemporaryDir home;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), home.path());
        env.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
        QProcess keyring;
        keyring.setProcessEnvironment(env);
        // Unlocked with a password on its input, so nothing asks the user.
        keyring.start(QStringLiteral("gnome-keyring-daemon"),
                      {QStringLiteral("--daemonize"), QStringLiteral("--unlock"),
                       QStringLiteral("--components=secrets")});
        keyring.write("test-keyring");
        keyring.closeWriteChannel();
        QVERIFY(keyring.waitForFinished(10000));
        QVERIFY(QTest::qWaitFor(
            [] {
                return QDBusConnection::sessionBus().interface()->isServiceRegistered(
                    QStringLiteral("org.freedesktop.secrets"));
            },
            10000));

        QCOMPARE(keychain.write("alicia", "secret1"), Keychain::Result::Done);
        QCOMPARE(keychain.write("bobby", "bobby1"), Keychain::Result::Done);
        QCOMPARE(keychain.write("Alicia", QStringLiteral("sécret 2")), Keychain::Result::Done);
        QCOMPARE(SecretKeychain().read("ALICIA", password), Keychain::Result::Done);
        QCOMPARE(password, QStringLiteral("sécret 2"));
        QCOMPARE(keychain.remove("alicia"), Keychain::Result::Done);
        QCOMPARE(keychain.read("alicia", password), Keychain::Result::NotFound);
        QCOMPARE(keychain.remove("alicia"), Keychain::Result::Done);
        QCOMPARE(keychain.read("bobby", password), Keychain::Result::Done);
        QCOMPARE(password, QStringLiteral("bobby1"));
    }

private:
    QTemporaryDir folder_;
    QProcess bus_;
    QString address_;
};

QTEST_GUILESS_MAIN(SessionBusTest)
#include "session_bus_test.moc"
