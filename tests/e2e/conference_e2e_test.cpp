// A conference against the real server: alicia opens a room and invites
// bobby, both talk, carol1 finds the room full, bobby leaves. When the
// environment variable VELMORA_SCREENSHOT names a file, a second test
// saves a picture of a room of three members talking there.
#include "app/client.h"
#include "conference/conf_open_dialog.h"
#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "conference/invitation_dialog.h"
#include "conference/invite_dialog.h"
#include "controls/font_toolbar.h"
#include "contacts/buddy_list.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"
#include "support/velmorad_process.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

#include <memory>

using namespace velmora;

namespace {

struct Person {
    test::TempHome home;
    test::RecordingPrompter prompter;
    test::RecordingDesktop desktop;
    Client client{home.path(), prompter, desktop};
    QString name;

    explicit Person(const QString& user) : name(user) {
        // The shipped smilie pictures, so that the room draws them.
        const QDir smilies(QStringLiteral(VELMORA_ASSETS "/Smilies"));
        QDir(home.path()).mkdir(QStringLiteral("Smilies"));
        for (const QString& file : smilies.entryList(QDir::Files)) {
            QFile::copy(smilies.filePath(file), home.filePath(QStringLiteral("Smilies/") + file));
        }
    }

    bool logIn(const QString& address, const QString& password) {
        LoginWindow& login = client.loginWindow();
        login.findChild<QComboBox*>(QStringLiteral("cboHost"))->setEditText(address);
        login.findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(name);
        login.findChild<QLineEdit*>(QStringLiteral("txtPWord"))->setText(password);
        login.cmdLogin_Click();
        return QTest::qWaitFor([&] { return client.session().intServerLimit > 0; }, 10000);
    }

    ConfWindow* room() { return client.findChild<ConferenceRooms*>()->room(); }

    template <typename T> T* window(const char* objectName) {
        for (QWidget* w : client.windows()) {
            if (w->objectName() == QLatin1String(objectName) && w->isVisible()) {
                return qobject_cast<T*>(w);
            }
        }
        return nullptr;
    }

    bool openRoom(const QString& roomName) {
        client.mainWindow()
            .findChild<QAction*>(QStringLiteral("mnuToolsOpenConference"))
            ->trigger();
        auto* open = window<ConfOpenDialog>("frmConfOpen");
        if (!open) {
            return false;
        }
        open->txtConfName().setText(roomName);
        open->findChild<QPushButton*>(QStringLiteral("cmdOK"))->click();
        return room() != nullptr;
    }

    void say(const QString& text) {
        room()->txtSendMsg().setPlainText(text);
        QTest::keyClick(&room()->txtSendMsg(), Qt::Key_Return);
    }

    bool addBuddy(const QString& buddy) {
        client.connection().SendData(QStringLiteral(" ## cmdAB /:/ ") + name +
                                     QStringLiteral(" /:/ ") + buddy);
        return QTest::qWaitFor(
            [&] { return client.mainWindow().buddies().onlineBuddies().contains(buddy); }, 5000);
    }

    // Invites `buddy` from the room window's invitation dialog.
    bool invite(const QString& buddy) {
        room()->inviteUsers();
        auto* dialog = window<InviteDialog>("frmInviteConference");
        if (!dialog) {
            return false;
        }
        QTreeWidget& list = dialog->tvUsers();
        for (int i = 0; i < list.topLevelItemCount(); ++i) {
            if (list.topLevelItem(i)->text(0) == buddy) {
                list.topLevelItem(i)->setCheckState(0, Qt::Checked);
            }
        }
        dialog->findChild<QPushButton*>(QStringLiteral("cmdInvite"))->click();
        return true;
    }

    bool acceptInvitation() {
        if (!QTest::qWaitFor([&] { return window<InvitationDialog>("frmInvConf") != nullptr; },
                             5000)) {
            return false;
        }
        window<InvitationDialog>("frmInvConf")
            ->findChild<QPushButton*>(QStringLiteral("cmdYes"))
            ->click();
        return true;
    }
};

// The sender's name as the formatter heads a line in `colour`.
QString lineHead(const QString& colour, const QString& sender) {
    return QStringLiteral("<b><font color=\"") + colour +
           QStringLiteral("\" face=\"MS Sans Serif\" size=\"3\">") + sender +
           QStringLiteral(":</font></b>&nbsp; ");
}

bool roomHas(Person& p, const QStringList& members) {
    return QTest::qWaitFor([&] { return p.room() && p.room()->members() == members; }, 5000);
}

bool viewHas(Person& p, const QString& html) {
    return QTest::qWaitFor([&] { return p.room()->brwMessage().source().contains(html); }, 5000);
}

} // namespace

class ConferenceE2ETest : public QObject {
    Q_OBJECT

private slots:
    void twoTalkTheThirdFindsTheRoomFull() {
        test::VelmoradProcess server({QStringLiteral("--room-limit"), QStringLiteral("2")});
        QVERIFY(server.addUser(QStringLiteral("alicia"), QStringLiteral("alicia1")));
        QVERIFY(server.addUser(QStringLiteral("bobby"), QStringLiteral("bobby1")));
        QVERIFY(server.addUser(QStringLiteral("carol1"), QStringLiteral("carol1")));
        QVERIFY(server.start());

        Person alicia(QStringLiteral("alicia"));
        Person bobby(QStringLiteral("bobby"));
        Person carol(QStringLiteral("carol1"));
        QVERIFY(bobby.logIn(server.address(), QStringLiteral("bobby1")));
        QVERIFY(alicia.logIn(server.address(), QStringLiteral("alicia1")));
        QVERIFY(carol.logIn(server.address(), QStringLiteral("carol1")));
        QCOMPARE(alicia.client.session().intServerLimit, qint16(2));
        QVERIFY(alicia.addBuddy(QStringLiteral("bobby")));

        QVERIFY(alicia.openRoom(QStringLiteral("lobby")));
        QVERIFY(roomHas(alicia, {"alicia"}));
        QCOMPARE(alicia.room()->windowTitle(), QStringLiteral("lobby - [ Conference Room ]"));

        QVERIFY(alicia.invite(QStringLiteral("bobby")));
        QVERIFY(bobby.acceptInvitation());
        QVERIFY(roomHas(bobby, {"alicia", "bobby"}));
        QVERIFY(roomHas(alicia, {"alicia", "bobby"}));
        QVERIFY(viewHas(alicia, QStringLiteral(" -> bobby Entered</font>")));

        alicia.say(QStringLiteral("hello bobby"));
        bobby.say(QStringLiteral("hi alicia"));
        QVERIFY(viewHas(alicia, lineHead("#0000C0", "alicia")));
        QVERIFY(viewHas(alicia, lineHead("#000000", "bobby")));
        QVERIFY(viewHas(bobby, lineHead("#000000", "alicia")));
        QVERIFY(viewHas(bobby, lineHead("#0000C0", "bobby")));
        QVERIFY(viewHas(alicia, QStringLiteral("hello bobby </font>")));
        QVERIFY(viewHas(bobby, QStringLiteral("hello bobby </font>")));
        QVERIFY(viewHas(alicia, QStringLiteral("hi alicia </font>")));
        QVERIFY(viewHas(bobby, QStringLiteral("hi alicia </font>")));
        QVERIFY(!alicia.room()->brwMessage().source().contains(lineHead("#000000", "alicia")));
        QVERIFY(!bobby.room()->brwMessage().source().contains(lineHead("#000000", "bobby")));

        QVERIFY(carol.openRoom(QStringLiteral("lobby")));
        QVERIFY(QTest::qWaitFor([&] { return !carol.prompter.boxes().isEmpty(); }, 5000));
        QCOMPARE(carol.prompter.boxes()[0].title, QStringLiteral("Conference Full"));
        QCOMPARE(carol.prompter.boxes()[0].text,
                 QStringLiteral("Sorry, this conference already has the maximum users allowed "
                                "in a conference!"));
        QVERIFY(carol.room()->members().isEmpty());

        bobby.room()->close();
        QCOMPARE(bobby.prompter.boxes().last().title, QStringLiteral("Exit Conference"));
        QVERIFY(roomHas(alicia, {"alicia"}));
        QVERIFY(viewHas(alicia, QStringLiteral(" -> bobby Left</font>")));
    }

    void threeMembersTalk() {
        test::VelmoradProcess server({QStringLiteral("--room-limit"), QStringLiteral("3")});
        QVERIFY(server.addUser(QStringLiteral("alicia"), QStringLiteral("alicia1")));
        QVERIFY(server.addUser(QStringLiteral("bobby"), QStringLiteral("bobby1")));
        QVERIFY(server.addUser(QStringLiteral("carol1"), QStringLiteral("carol1")));
        QVERIFY(server.start());

        Person alicia(QStringLiteral("alicia"));
        Person bobby(QStringLiteral("bobby"));
        Person carol(QStringLiteral("carol1"));
        QVERIFY(bobby.logIn(server.address(), QStringLiteral("bobby1")));
        QVERIFY(carol.logIn(server.address(), QStringLiteral("carol1")));
        QVERIFY(alicia.logIn(server.address(), QStringLiteral("alicia1")));
        QVERIFY(alicia.addBuddy(QStringLiteral("bobby")));
        QVERIFY(alicia.addBuddy(QStringLiteral("carol1")));

        QVERIFY(alicia.openRoom(QStringLiteral("lobby")));
        QVERIFY(roomHas(alicia, {"alicia"}));
        QVERIFY(alicia.invite(QStringLiteral("bobby")));
        QVERIFY(bobby.acceptInvitation());
        QVERIFY(roomHas(alicia, {"alicia", "bobby"}));
        QVERIFY(alicia.invite(QStringLiteral("carol1")));
        QVERIFY(carol.acceptInvitation());
        const QStringList everyone{"alicia", "bobby", "carol1"};
        QVERIFY(roomHas(alicia, everyone));
        QVERIFY(roomHas(bobby, everyone));
        QVERIFY(roomHas(carol, everyone));

        alicia.say(QStringLiteral("Welcome to the lobby, both of you :)"));
        QVERIFY(viewHas(carol, QStringLiteral("you ")));
        bobby.room()->tbFontSettings().setItalic(true);
        bobby.say(QStringLiteral("Thanks! Has anyone seen the release notes?"));
        QVERIFY(viewHas(alicia, QStringLiteral("notes? ")));
        carol.room()->tbFontSettings().setBold(true);
        carol.say(QStringLiteral("They are on www.velmora.example/notes ;)"));
        QVERIFY(viewHas(alicia, QStringLiteral("wink.gif")));
        alicia.say(QStringLiteral("Great, let's go through them together :D"));
        for (Person* p : {&alicia, &bobby, &carol}) {
            QVERIFY(viewHas(*p, QStringLiteral("grin.gif")));
        }

        const QString shot = qEnvironmentVariable("VELMORA_SCREENSHOT");
        if (!shot.isEmpty()) {
            ConfWindow& room = *alicia.room();
            room.resize(720, 480);
            room.tvUsers().setCurrentItem(room.tvUsers().topLevelItem(1));
            room.txtSendMsg().setPlainText(QStringLiteral("See you there"));
            room.show();
            room.activateWindow();
            QTest::qWait(300);
            QVERIFY(room.grab().save(shot));
        }
    }
};

QTEST_MAIN(ConferenceE2ETest)
#include "conference_e2e_test.moc"
