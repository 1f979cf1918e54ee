// The client among the desktop's own things, with the desktop's doubles:
// notifications for what arrives while the user looks elsewhere, and the
// saved password kept in the keychain when the user asks for it.
#include "conference/received_invitation_dialog.h"
#include "controls/image_list.h"
#include "messaging/pm_window.h"
#include "platform/dbus_notifications.h"
#include "platform/html_message_view.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "shell/settings_dialog.h"
#include "shell/toolbar_icons.h"
#include "support/client_rig.h"
#include "support/e2e.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QStyleFactory>

using namespace velmora;
using velmora::test::child;
using velmora::test::ClientRig;

namespace {

bool activate(QWidget& window) {
    window.show();
    window.activateWindow();
    return QTest::qWaitForWindowActive(&window);
}

QByteArray ini(const ClientRig& rig) {
    return rig.home.readFile(QStringLiteral("Velmora.ini"));
}

// The settings dialog with the Desktop page's boxes set, then OK.
void setDesktopOptions(ClientRig& rig, bool notify, bool keychain) {
    rig.action("mnuEditSettings")->trigger();
    auto* dialog =
        qobject_cast<SettingsDialog*>(rig.client.session().findWindowByName("frmSettings"));
    QVERIFY(dialog);
    child<QCheckBox>(*dialog, "chkNotify")->setChecked(notify);
    child<QCheckBox>(*dialog, "chkKeychain")->setChecked(keychain);
    child<QPushButton>(*dialog, "cmdOK")->click();
}

// Logs in through the login window with the details saved.
bool logInSaving(ClientRig& rig, const QString& password) {
    LoginWindow& login = rig.client.loginWindow();
    login.show();
    child<QComboBox>(login, "cboHost")->setEditText(rig.server.address());
    child<QLineEdit>(login, "txtUName")->setText("alicia");
    child<QLineEdit>(login, "txtPWord")->setText(password);
    child<QCheckBox>(login, "chkSaveDetails")->setChecked(true);
    login.cmdLogin_Click();
    QPointer<LoginWindow> window(&login);
    return rig.server.waitForPeer() &&
           rig.feed(" ## +LI /$/ Login=True", [&] { return window.isNull(); });
}

QString shownPassword(ClientRig& rig) {
    return child<QLineEdit>(rig.client.loginWindow(), "txtPWord")->text();
}

} // namespace

class DesktopTest : public QObject {
    Q_OBJECT
private slots:
    void messagesAndInvitationsFromElsewhereNotify() {
        ClientRig rig("[Settings]\r\nNewPM=0\r\n");
        QVERIFY(rig.logIn("alicia"));
        MainWindow& main = rig.client.mainWindow();
        QVERIFY(activate(main));

        // A new conversation opens behind the main window: a notification
        // with the sender and the first line, spaces restored, markup as text.
        QVERIFY(rig.feed(" ## +PM /$/ bobby /$/ hi%%<b>there</b>\r\nsecond /$/ Arial /$/ 10 /$/ ",
                         [&] { return !rig.desktop.notifications.isEmpty(); }));
        QCOMPARE(rig.desktop.notifications, QStringList{"bobby|hi <b>there</b>"});
        PMWindow* window = rig.windows<PMWindow>().value(0);
        QVERIFY(window);

        // Clicking it brings the conversation forward; closed meanwhile, it
        // opens again.
        rig.desktop.notificationClicks.first()();
        QCOMPARE(rig.desktop.broughtToFront.last(), QPointer<QWidget>(window));
        QPointer<PMWindow> closed(window);
        window->close();
        QVERIFY(QTest::qWaitFor([&] { return closed.isNull(); }));
        rig.desktop.notificationClicks.first()();
        QVERIFY(rig.windows<PMWindow>().value(0));
        window = rig.windows<PMWindow>().value(0);

        // With the conversation in front, nothing more is said.
        QVERIFY(activate(*window));
        QVERIFY(rig.feed(" ## +PM /$/ bobby /$/ seen /$/ Arial /$/ 10 /$/ ",
                         [&] { return test::shownText(window->brwMessage()).contains("seen"); }));
        QCOMPARE(rig.desktop.notifications.size(), 1);

        // An invitation while the program has no window in front.
        window->close();
        main.hide();
        QVERIFY(QTest::qWaitFor([] { return QApplication::activeWindow() == nullptr; }));
        QVERIFY(rig.feed(" ## +CI /$/ carol1 /$/ lounge /$/ come%%along /$/ ",
                         [&] { return rig.desktop.notifications.size() == 2; }));
        QCOMPARE(rig.desktop.notifications.last(),
                 QStringLiteral("carol1|Invites you to the conference \"lounge\": come along"));
        auto* invitation = rig.windows<ReceivedInvitationDialog>().value(0);
        QVERIFY(invitation);
        rig.desktop.notificationClicks.last()();
        QCOMPARE(rig.desktop.broughtToFront.last(), QPointer<QWidget>(invitation));
        // Dismissed meanwhile, the click finds nothing to show and says nothing.
        invitation->close();
        rig.desktop.notificationClicks.last()();
        QVERIFY(rig.prompter.boxes.isEmpty());
    }

    void theDesktopPageTurnsNotificationsOffAndWritesOnlyWhatChanged() {
        ClientRig rig;
        QVERIFY(rig.logIn("alicia"));
        // Untouched, the page writes neither of its keys.
        setDesktopOptions(rig, true, false);
        QVERIFY(!ini(rig).contains("Notify") && !ini(rig).contains("Keychain"));

        setDesktopOptions(rig, false, false);
        QVERIFY(ini(rig).contains("Notify=0"));
        QVERIFY(activate(rig.client.mainWindow()));
        QVERIFY(rig.feed(" ## +PM /$/ bobby /$/ quiet /$/ Arial /$/ 10 /$/ ",
                         [&] { return !rig.windows<PMWindow>().isEmpty(); }));
        QVERIFY(rig.desktop.notifications.isEmpty());
    }

    void aDarkPaletteDarkensEverythingButTheChatPages() {
        const QPalette before = QApplication::palette();
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        // A dark palette as a desktop with a dark theme hands the program.
        QApplication::setPalette(QPalette(QColor(0x35, 0x35, 0x35)));
        ClientRig rig;
        QVERIFY(rig.logIn("alicia"));
        MainWindow& main = rig.client.mainWindow();
        main.show();
        QVERIFY(rig.feed(" ## +BL /$/ n %/ bobby :%: f %/ carol1",
                         [&] { return main.buddies().onlineBuddies() == QStringList{"bobby"}; }));
        QVERIFY(rig.feed(" ## +PM /$/ bobby /$/ <font%%color=#804000>brown</font>%%and%%plain "
                         "/$/ Arial /$/ 10 /$/ ",
                         [&] { return !rig.windows<PMWindow>().isEmpty(); }));
        PMWindow& chat = *rig.windows<PMWindow>().first();

        QStringList light;
        for (QWidget* window : {static_cast<QWidget*>(&main), static_cast<QWidget*>(&chat)}) {
            for (QWidget* widget : window->findChildren<QWidget*>()) {
                bool page = false;
                for (QWidget* up = widget; up && !page; up = up->parentWidget()) {
                    page = qobject_cast<HtmlMessageView*>(up) != nullptr;
                }
                const QPalette& colours = widget->palette();
                const bool lightBase = colours.color(QPalette::Base).lightness() > 128;
                if (page != lightBase ||
                    (!page && colours.color(QPalette::Window).lightness() > 128)) {
                    light << widget->objectName() + QLatin1Char(' ') +
                                 QLatin1String(widget->metaObject()->className());
                }
            }
        }
        QVERIFY2(light.isEmpty(), qPrintable(light.join('\n')));
        QCOMPARE(chat.brwMessage().palette().color(QPalette::Text), QColor(Qt::black));

        QVERIFY(test::saveScreenshot(main, "dark-main-window.png"));
        QVERIFY(test::saveScreenshot(chat, "dark-conversation.png"));
        // With a notification service on the desktop's bus (a real one under
        // Xvfb), the screen with Velmora's notification on it.
        if (!qEnvironmentVariableIsEmpty("VELMORA_SCREENSHOTS") &&
            !qEnvironmentVariableIsEmpty("VELMORA_NOTIFICATION_SHOT")) {
            DbusNotifications notifications;
            bool shown = true;
            notifications.show(
                QStringLiteral("bobby"), QStringLiteral("are you coming to lunch? :)"), [] {},
                [&] { shown = false; });
            QTest::qWait(1500); // the notification daemon draws its window
            QVERIFY(shown);
            QVERIFY(QGuiApplication::primaryScreen()->grabWindow(0).save(
                QDir(qEnvironmentVariable("VELMORA_SCREENSHOTS"))
                    .filePath(QStringLiteral("notification.png"))));
        }
        QApplication::setPalette(before);
    }

    void picturesAreDrawnForEveryPixelRatio() {
        // At a scale factor of 2 a 24-pixel toolbar button needs 48 pixels of
        // picture, and a tree row's 16 pixels need 32: none may be blown up.
        for (int button = 1; button <= 5; ++button) {
            const QPixmap picture = toolbar_icons::button(button).pixmap(QSize(48, 48), 2.0);
            QCOMPARE(picture.size(), QSize(96, 96));
            QCOMPARE(picture.devicePixelRatio(), 2.0);
        }
        for (int image : {images::kOnlineGroup, images::kOfflineGroup, images::kOnlineBuddy,
                          images::kOfflineBuddy, images::kTrayOnline, images::kTrayOffline}) {
            QCOMPARE(images::mainImage(image).pixmap(QSize(32, 32), 2.0).size(), QSize(64, 64));
        }
        // Greyed when disabled, from the same drawing.
        const QImage enabled = toolbar_icons::button(1).pixmap(QSize(24, 24), 2.0).toImage();
        const QImage disabled =
            toolbar_icons::button(1).pixmap(QSize(24, 24), 2.0, QIcon::Disabled).toImage();
        QCOMPARE(disabled.size(), enabled.size());
        QVERIFY(disabled != enabled);
    }

    void theKeychainKeepsThePasswordOutOfTheFile() {
        ClientRig rig("[Login Options]\r\nL-User=alicia\r\nL-Pass=secret1\r\nL-Check=1\r\n");
        // Turned on, the saved password moves into the keychain.
        setDesktopOptions(rig, true, true);
        QVERIFY(ini(rig).contains("L-Pass=\r\n") && ini(rig).contains("L-Keychain=1\r\n"));
        QCOMPARE(rig.desktop.secrets.passwords.value("alicia"), QStringLiteral("secret1"));
        QCOMPARE(shownPassword(rig), QStringLiteral("secret1"));

        // A login that saves its details writes the password there too.
        QVERIFY(logInSaving(rig, QStringLiteral("secret2")));
        QVERIFY(ini(rig).contains("L-User=alicia\r\nL-Pass=\r\n"));
        QCOMPARE(rig.desktop.secrets.passwords.value("alicia"), QStringLiteral("secret2"));

        // Turned off, it comes back to the file and leaves the keychain.
        setDesktopOptions(rig, true, false);
        QVERIFY(ini(rig).contains("L-Pass=secret2\r\n"));
        QVERIFY(rig.desktop.secrets.passwords.isEmpty());
        QVERIFY(rig.prompter.boxes.isEmpty());
    }

    void withoutAKeychainThePasswordStaysInTheFileAndTheUserIsToldOnce() {
        ClientRig rig("[Login Options]\r\nL-User=alicia\r\nL-Pass=\r\nL-Check=1\r\n"
                      "L-Keychain=1\r\n");
        rig.desktop.secrets.available = false;
        QCOMPARE(shownPassword(rig), QString());
        QCOMPARE(rig.prompter.boxes.size(), 1);
        QVERIFY(logInSaving(rig, QStringLiteral("secret1")));
        QVERIFY(ini(rig).contains("L-Pass=secret1\r\n"));
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"The system keychain cannot be reached, so the password is kept in "
                             "Velmora.ini as before."});

        // Once the keychain answers, the next save moves the password there.
        rig.desktop.secrets.available = true;
        QCOMPARE(shownPassword(rig), QStringLiteral("secret1"));
    }
};

QTEST_MAIN(DesktopTest)
#include "desktop_test.moc"
