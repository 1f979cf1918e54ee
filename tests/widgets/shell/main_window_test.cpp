// The main window's commands, tray menu, help, About box, settings dialog
// and server-list editor, as a user reaches them.
#include "app/client.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "shell/server_list.h"
#include "support/client_rig.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTest>

using namespace velmora;

class MainWindowTest : public QObject {
    Q_OBJECT

    struct Rig : velmora::test::ClientRig {
        MainWindow& main = client.mainWindow();

        template <typename T> T* in(const char* window, const char* name) {
            QWidget* w = client.findWindowByName(QString::fromLatin1(window));
            return w ? w->findChild<T*>(QString::fromLatin1(name)) : nullptr;
        }
    };

private slots:
    void sessionCommandsFollowTheLogin() {
        Rig rig;
        const char* session[] = {"mnuToolsSendMessage", "mnuToolsSendAPM",
                                 "mnuToolsSendFile",    "mnuToolsViewProfile",
                                 "mnuToolsAddContact",  "mnuToolsDeleteContact",
                                 "mnuToolsSearchUsers", "mnuToolsOpenConference"};
        for (const char* name : session) {
            QVERIFY2(!rig.action(name)->isEnabled(), name);
        }
        QVERIFY(rig.action("mnuToolsOfflineMsgs")->isEnabled());
        QVERIFY(rig.action("mnuFileLogInOut")->isEnabled());
        rig.main.setToolbarOnline();
        for (const char* name : session) {
            QVERIFY2(rig.action(name)->isEnabled(), name);
        }
        // The context menu carries the same commands.
        const QList<QAction*> menu = rig.main.buddyMenu()->actions();
        for (const char* name : session) {
            QVERIFY2(menu.contains(rig.action(name)), name);
        }
        // A toolbar button with no buddy selected does nothing, like its command.
        QSignalSpy activated(&rig.main, &MainWindow::buddyActivated);
        rig.main.toolbarButton(1)->trigger();
        rig.action("mnuToolsSendMessage")->trigger();
        QCOMPARE(activated.count(), 0);
    }

    void trayMenuHidesAndShowsTheWindow() {
        Rig rig;
        rig.main.show();
        QAction* sha = rig.action("mnuSysSHA");
        rig.main.onTrayNotification(MainWindow::kTrayRightButtonDown);
        QCOMPARE(sha->text(), QStringLiteral("Hide Application"));
        QVERIFY(!rig.action("mnuSysSendAnIM")->isEnabled()); // offline
        rig.main.trayMenu()->hide();
        sha->trigger();
        QVERIFY(!rig.main.isVisible());
        rig.main.onTrayNotification(MainWindow::kTrayRightButtonDown);
        QCOMPARE(sha->text(), QStringLiteral("Show Application"));
        rig.main.trayMenu()->hide();
        // Only a double click restores the window.
        rig.main.onTrayNotification(0x201);
        QVERIFY(!rig.main.isVisible());
        rig.main.onTrayNotification(MainWindow::kTrayDoubleClick);
        QVERIFY(rig.main.isVisible());

        // Minimising hides to the tray only when "MinTray" is on.
        rig.main.showMinimized();
        QVERIFY(QTest::qWaitFor([&] { return rig.main.isMinimized(); }));
        QVERIFY(rig.main.isVisible());
        rig.main.showNormal();
        rig.client.values().minTray = 1;
        rig.main.showMinimized();
        QVERIFY(QTest::qWaitFor([&] { return !rig.main.isVisible(); }));
    }

    void helpAndAboutBox() {
        Rig rig;
        rig.action("mnuHelpHelp")->trigger();
        QCOMPARE(rig.desktop.helpCalls().size(), 1);
        QCOMPARE(rig.desktop.helpCalls()[0].helpPath, rig.home.path() + QStringLiteral("/help"));
        QCOMPARE(rig.desktop.helpCalls()[0].topic, QStringLiteral("Index.html"));
        QCOMPARE(rig.desktop.helpCalls()[0].owner.data(), &rig.main);

        rig.action("mnuHelpAbout")->trigger();
        QWidget* about = rig.client.findWindowByName(QStringLiteral("frmAbout"));
        QVERIFY(about);
        QCOMPARE(about->windowTitle(), QStringLiteral("About \"Velmora\""));
        QCOMPARE(rig.in<QLabel>("frmAbout", "lblVersion")->text(), QStringLiteral("Version: 1.4"));
        QVERIFY(rig.in<QLabel>("frmAbout", "lblContact")
                    ->text()
                    .contains(QStringLiteral("hello@velmora.chat")));
        // A second request brings the same box forward.
        rig.action("mnuHelpAbout")->trigger();
        QCOMPARE(rig.main.findChildren<QDialog*>(QStringLiteral("frmAbout")).size(), 1);
    }

    void settingsDialogWritesTheKeysAndTheLoadedCopies() {
        Rig rig;
        rig.client.values() = rig.client.settings().loadMainWindowValues();
        rig.action("mnuEditSettings")->trigger();
        auto* tabs = rig.in<QTabWidget>("frmSettings", "tabSettings");
        QVERIFY(tabs);
        QCOMPARE(tabs->count(), 3);
        QCOMPARE(tabs->tabText(0), QStringLiteral("General Settings"));
        QCOMPARE(tabs->tabText(1), QStringLiteral("Default Font Settings"));
        QCOMPARE(tabs->tabText(2), QStringLiteral("Sound Settings"));
        // The pages show what the settings hold.
        QCOMPARE(rig.in<QLineEdit>("frmSettings", "txtSoundUserLogin")->text(),
                 rig.home.path() + QStringLiteral("/Sounds/UserLogin.wav"));

        rig.in<QCheckBox>("frmSettings", "chkMinTray")->setChecked(true);
        rig.in<QCheckBox>("frmSettings", "chkEmote")->setChecked(false);
        rig.in<QComboBox>("frmSettings", "cboFontSize")->setEditText(QStringLiteral("12"));
        rig.in<QCheckBox>("frmSettings", "chkBold")->setChecked(true);
        rig.in<QCheckBox>("frmSettings", "chkSoundUserLogin")->setChecked(false);
        rig.in<QLineEdit>("frmSettings", "txtSoundReceiveIM")
            ->setText(QStringLiteral("/tmp/ding.wav"));
        QTest::mouseClick(rig.in<QPushButton>("frmSettings", "cmdOK"), Qt::LeftButton);

        Settings& s = rig.client.settings();
        QCOMPARE(s.minTray(), qint16(1));
        QCOMPARE(s.emote(), qint16(0));
        QCOMPARE(s.newPM(), qint16(1));
        QCOMPARE(s.fontSize(), QStringLiteral("12"));
        QCOMPARE(s.fontName(), QStringLiteral("MS Sans Serif"));
        QVERIFY(s.fontBold());
        QVERIFY(rig.home.readFile(QStringLiteral("Velmora.ini")).contains("Bold=True"));
        QCOMPARE(s.soundEnabled(QStringLiteral("UserLogin")), qint16(0));
        QCOMPARE(s.soundPath(QStringLiteral("ReceiveIM")), QStringLiteral("/tmp/ding.wav"));
        const MainWindowValues& v = rig.client.values();
        QCOMPARE(v.minTray, qint16(1));
        QCOMPARE(v.emote, qint16(0));
        QCOMPARE(v.userLogin.enabled, qint16(0));
        QCOMPARE(v.receiveIM.path, QStringLiteral("/tmp/ding.wav"));
    }

    void serverListEditorSavesWhatTheLoginWindowOffers() {
        Rig rig;
        LoginWindow& login = rig.client.loginWindow();
        login.show();
        auto* hosts = login.findChild<QComboBox*>(QStringLiteral("cboHost"));
        QCOMPARE(hosts->count(), 1);
        QCOMPARE(hosts->itemText(0), QStringLiteral("127.0.0.1:6668"));

        rig.action("mnuFileEditServerList")->trigger();
        auto* address = rig.in<QLineEdit>("frmSrvLst", "txtServer");
        auto* add = rig.in<QPushButton>("frmSrvLst", "cmdAdd");
        auto* list = rig.in<QListWidget>("frmSrvLst", "lstServers");
        for (const char* typed : {"im.example.org", "chat.example.net:7000",
                                  "CHAT.example.net:7000", "a:b:c", "spare.example.org"}) {
            address->setText(QString::fromLatin1(typed));
            QTest::mouseClick(add, Qt::LeftButton);
        }
        QCOMPARE(rig.prompter.beeps(), 2); // the duplicate and the two colons
        list->setCurrentRow(2);
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdDelete"), Qt::LeftButton);
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdSave"), Qt::LeftButton);

        const QStringList saved{QStringLiteral("im.example.org"),
                                QStringLiteral("chat.example.net:7000")};
        QCOMPARE(server_list::load(rig.client.settings().serverListPath()), saved);
        QCOMPARE(hosts->count(), 2);
        QCOMPARE(hosts->itemText(1), saved[1]);

        // Unsaved changes are offered for saving on close.
        list->setCurrentRow(0);
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdDelete"), Qt::LeftButton);
        rig.prompter.queueAnswer(answer::kYes);
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdClose"), Qt::LeftButton);
        QCOMPARE(rig.prompter.boxes().last().text,
                 QStringLiteral("Do you wish to save the changes to the server list?"));
        QCOMPARE(server_list::load(rig.client.settings().serverListPath()), QStringList{saved[1]});
    }
};

QTEST_MAIN(MainWindowTest)
#include "main_window_test.moc"
