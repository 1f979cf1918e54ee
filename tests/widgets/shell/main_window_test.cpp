// The main window's own commands as a user reaches them: the tray, help and
// About, the settings dialog, the server-list editor, and the file-transfer
// hooks.
#include "app/client.h"
#include "contacts/buddy_list.h"
#include "session/dispatcher.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "shell/server_list.h"
#include "support/client_rig.h"
#include "transfer/file_sender.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>

using namespace velmora;

namespace {

struct Rig : velmora::test::ClientRig {
    MainWindow& main = client.mainWindow();

    template <typename T> T* in(const char* window, const char* name) {
        QWidget* w = client.findWindowByName(QString::fromLatin1(window));
        return w ? w->findChild<T*>(QString::fromLatin1(name)) : nullptr;
    }
    // A window such as a file-sender feature opens; `remoteUser` null leaves
    // out its label.
    QWidget* openSender(const QString& formName, const char* remoteUser) {
        auto* window = new QWidget;
        window->setObjectName(formName);
        if (remoteUser) {
            (new QLabel(QString::fromLatin1(remoteUser), window))
                ->setObjectName(QStringLiteral("lblRemoteUser"));
        }
        client.adoptWindow(window);
        return window;
    }
};

} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT

private slots:
    void theTrayHidesAndShowsTheWindow() {
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

    void helpAndTheAboutBox() {
        Rig rig;
        rig.action("mnuHelpHelp")->trigger();
        QCOMPARE(rig.desktop.help, QStringList{rig.home.path() + "/help|Index.html"});
        QCOMPARE(rig.desktop.helpOwner.data(), &rig.main);
        rig.action("mnuHelpAbout")->trigger();
        rig.action("mnuHelpAbout")->trigger(); // brings the same box forward
        QCOMPARE(rig.main.findChildren<QDialog*>(QStringLiteral("frmAbout")).size(), 1);
        QCOMPARE(rig.client.findWindowByName("frmAbout")->windowTitle(),
                 QStringLiteral("About \"Velmora\""));
        QCOMPARE(rig.in<QLabel>("frmAbout", "lblVersion")->text(), QStringLiteral("Version: 1.4"));
        QVERIFY(rig.in<QLabel>("frmAbout", "lblContact")->text().contains("hello@velmora.chat"));
    }

    void theSettingsDialogWritesTheKeysAndTheLoadedCopies() {
        Rig rig;
        rig.client.values() = rig.client.settings().loadMainWindowValues();
        rig.action("mnuEditSettings")->trigger();
        auto* tabs = rig.in<QTabWidget>("frmSettings", "tabSettings");
        QCOMPARE(tabs->count(), 3);
        QCOMPARE(tabs->tabText(1), QStringLiteral("Default Font Settings"));
        QCOMPARE(rig.in<QLineEdit>("frmSettings", "txtSoundUserLogin")->text(),
                 rig.home.path() + QStringLiteral("/Sounds/UserLogin.wav"));
        for (const char* box : {"chkMinTray", "chkBold"}) {
            rig.in<QCheckBox>("frmSettings", box)->setChecked(true);
        }
        for (const char* box : {"chkEmote", "chkSoundUserLogin"}) {
            rig.in<QCheckBox>("frmSettings", box)->setChecked(false);
        }
        rig.in<QComboBox>("frmSettings", "cboFontSize")->setEditText(QStringLiteral("12"));
        rig.in<QLineEdit>("frmSettings", "txtSoundReceiveIM")->setText("/tmp/ding.wav");
        QTest::mouseClick(rig.in<QPushButton>("frmSettings", "cmdOK"), Qt::LeftButton);

        Settings& s = rig.client.settings();
        QVERIFY(s.minTray() == 1 && s.emote() == 0 && s.newPM() == 1 && s.fontBold());
        QCOMPARE(s.fontSize(), QStringLiteral("12"));
        QCOMPARE(s.soundEnabled(QStringLiteral("UserLogin")), qint16(0));
        QCOMPARE(s.soundPath(QStringLiteral("ReceiveIM")), QStringLiteral("/tmp/ding.wav"));
        // The copies the session works from follow.
        const MainWindowValues& v = rig.client.values();
        QVERIFY(v.minTray == 1 && v.emote == 0 && v.userLogin.enabled == 0);
        QCOMPARE(v.receiveIM.path, QStringLiteral("/tmp/ding.wav"));
    }

    void theServerListEditorSavesWhatTheLoginWindowOffers() {
        Rig rig;
        rig.client.loginWindow().show();
        auto* hosts = rig.client.loginWindow().findChild<QComboBox*>(QStringLiteral("cboHost"));
        QCOMPARE(hosts->count(), 1);
        QCOMPARE(hosts->itemText(0), QStringLiteral("127.0.0.1:6668"));

        rig.action("mnuFileEditServerList")->trigger();
        auto* list = rig.in<QListWidget>("frmSrvLst", "lstServers");
        for (const char* typed : {"im.example.org", "chat.example.net:7000",
                                  "CHAT.example.net:7000", "a:b:c", "spare.example.org"}) {
            rig.in<QLineEdit>("frmSrvLst", "txtServer")->setText(QString::fromLatin1(typed));
            QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdAdd"), Qt::LeftButton);
        }
        QCOMPARE(rig.prompter.beeps, 2); // the duplicate and the two colons
        list->setCurrentRow(2);
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdDelete"), Qt::LeftButton);
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdSave"), Qt::LeftButton);
        const QStringList saved{"im.example.org", "chat.example.net:7000"};
        QCOMPARE(server_list::load(rig.client.settings().serverListPath()), saved);
        QCOMPARE(hosts->count(), 2);
        QCOMPARE(hosts->itemText(1), saved[1]);

        // Unsaved changes are offered for saving on close.
        list->setCurrentRow(0);
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdDelete"), Qt::LeftButton);
        rig.prompter.answers = {answer::kYes};
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdClose"), Qt::LeftButton);
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Do you wish to save the changes to the server list?"));
        QCOMPARE(server_list::load(rig.client.settings().serverListPath()), QStringList{saved[1]});
    }

    void fileTransferRepliesAndSendFileFindTheUsersSenderWindow() {
        Rig rig;
        // Known answers are quiet; only an unknown status gets a box.
        rig.client.dispatcher().dispatchBatch(
            " ## +FA /$/ SF /$/ x /$/ y ## +FA /$/ UO /$/  /$/  ## +FA /$/ FD /$/ a /$/ b ## +FR "
            "/$/ bobby /$/ f.txt /$/ 12 /$/ z ## +FA /$/ sf /$/ x /$/ y");
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"Error: Returned Value For The File Send Reqest Was Invalid!"});
        QCOMPARE(rig.prompter.boxes[0].owner, &rig.main);
        QVERIFY(rig.client.windows().isEmpty());

        rig.main.setToolbarOnline();
        rig.main.buddies().onBuddyList(QStringLiteral("n %/ bobby :%: n %/ carol1"));
        rig.main.tvBuddies().setCurrentItem(rig.main.buddies().findBuddy(QStringLiteral("bobby")));
        rig.action("mnuToolsSendFile")->trigger(); // no sender window open: nothing happens
        QVERIFY(rig.desktop.broughtToFront.isEmpty());
        rig.openSender(QStringLiteral("frmFileSenderX"), "bobby");
        rig.openSender(QStringLiteral("frmfilesender"), "bobby");
        rig.openSender(QStringLiteral("frmFileSender"), "carol1");
        QWidget* bobbys = rig.openSender(QStringLiteral("frmFileSender"), "bobby");
        rig.action("mnuToolsSendFile")->trigger();
        QCOMPARE(rig.desktop.broughtToFront, (QList<QPointer<QWidget>>{bobbys}));
        QVERIFY(!findFileSender(rig.client, QStringLiteral("dave1")));

        // A sender window without its label ends the search quietly.
        Rig faulty;
        faulty.openSender(QStringLiteral("frmFileSender"), nullptr);
        faulty.openSender(QStringLiteral("frmFileSender"), "bobby");
        QVERIFY(!findFileSender(faulty.client, QStringLiteral("bobby")));
        QVERIFY(faulty.prompter.boxes.isEmpty());
    }
};

QTEST_MAIN(MainWindowTest)
#include "main_window_test.moc"
