// The buddy tree fed by a loopback server: +BL chains, presence records with
// their sounds and notices, adding and deleting buddies.
#include "app/client.h"
#include "contacts/add_buddy_dialog.h"
#include "contacts/buddy_list.h"
#include "contacts/user_name.h"
#include "messaging/message_window.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "shell/main_window.h"
#include "support/client_rig.h"

#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>
#include <QVBoxLayout>

using namespace velmora;

namespace {

// A conversation window as others write into it.
class Conversation : public QWidget, public MessageWindow {
public:
    explicit Conversation(const QString& caption) : view_(new HtmlMessageView(this)) {
        setWindowTitle(caption);
    }
    MessageView& messageView() override { return *view_; }
    HtmlMessageView* view_;
};

// "key:text" of each node, depth first, with one "." per level below a group.
QStringList shape(const BuddyList& buddies) {
    QStringList nodes;
    for (QTreeWidgetItem* node : buddies.allNodes()) {
        int depth = 0;
        for (QTreeWidgetItem* up = node->parent(); up; up = up->parent()) {
            ++depth;
        }
        nodes.append(QString(depth, QLatin1Char('.')) + BuddyList::keyOf(node) + QLatin1Char(':') +
                     node->text(0));
    }
    return nodes;
}

} // namespace

class BuddyListTest : public QObject {
    Q_OBJECT

    struct Rig : velmora::test::ClientRig {
        MainWindow& main = client.mainWindow();
        BuddyList& buddies = main.buddies();

        bool logIn() { return ClientRig::logIn(QStringLiteral("bobby")); }
        bool feed(const QByteArray& bytes, const QString& lastNode) {
            server.send(bytes);
            return QTest::qWaitFor([&] { return shape(buddies).join(' ').contains(lastNode); });
        }
        void select(const QString& name) {
            main.tvBuddies().setCurrentItem(name.isEmpty() ? main.tvBuddies().topLevelItem(0)
                                                           : buddies.findBuddy(name));
        }
    };

private slots:
    void buddyListAndPresenceKeepTheChains() {
        Rig rig;
        QVERIFY(rig.logIn());
        QVERIFY(
            rig.feed(" ## +BL /$/ n %/ alicia :%: f %/ carol1 :%: x %/ ghost1 :%: n %/ dave1 :%: f "
                     "%/ erin1",
                     QStringLiteral("f7:erin1")));
        QCOMPARE(shape(rig.buddies),
                 (QStringList{"f1:Online Buddies", ".n3:alicia", "..n6:dave1", "f2:Offline Buddies",
                              ".f4:carol1", "..f7:erin1"}));

        // carol1 comes online: a new key at the end of the online chain; the
        // buddy chained below her moves up.
        Conversation chat(QStringLiteral("CAROL1 - Instant Message"));
        rig.client.adoptWindow(&chat);
        QVERIFY(rig.feed(" ## +LOn /$/ carol1", QStringLiteral("n8:carol1")));
        QCOMPARE(shape(rig.buddies),
                 (QStringList{"f1:Online Buddies", ".n3:alicia", "..n6:dave1", "...n8:carol1",
                              "f2:Offline Buddies", ".f7:erin1"}));
        QCOMPARE(rig.desktop.sounds(), QStringList{rig.home.path() + "/Sounds/UserLogin.wav"});
        const QString notice = chat.view_->source();
        QVERIFY2(notice.contains(QStringLiteral("&lt;Client&gt;")), qPrintable(notice));
        QVERIFY(notice.contains(QStringLiteral("#FF0000")));
        QVERIFY(notice.contains(QStringLiteral("carol1 Logged In (")));

        // alicia leaves: dave1 and carol1 stay online, one level up.
        QVERIFY(rig.feed(" ## +LOff /$/ ALICIA", QStringLiteral("f9:ALICIA")));
        QCOMPARE(shape(rig.buddies),
                 (QStringList{"f1:Online Buddies", ".n6:dave1", "..n8:carol1", "f2:Offline Buddies",
                              ".f7:erin1", "..f9:ALICIA"}));
        QCOMPARE(rig.desktop.sounds().last(), rig.home.path() + "/Sounds/UserLogout.wav");
        QVERIFY(!chat.view_->source().contains(QStringLiteral("ALICIA")));

        // A switched-off sound stays quiet; an unknown name is still added.
        rig.client.values().userLogin.enabled = 0;
        QVERIFY(rig.feed(" ## +LOn /$/ frank1", QStringLiteral("n10:frank1")));
        QCOMPARE(rig.desktop.sounds().size(), 2);
        QCOMPARE(rig.buddies.onlineBuddies(), (QStringList{"dave1", "carol1", "frank1"}));
        QVERIFY(rig.prompter.boxes().isEmpty());
    }

    void addBuddyChecksInOrder() {
        Rig rig;
        QVERIFY(rig.logIn());
        QVERIFY(rig.feed(" ## +BL /$/ n %/ alicia", QStringLiteral("n3:alicia")));
        rig.main.findChild<QAction*>(QStringLiteral("mnuToolsAddContact"))->trigger();
        auto* dialog = rig.main.findChild<AddBuddyDialog*>(QStringLiteral("frmAddBuddy"));
        QVERIFY(dialog);
        auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("txtUName"));
        auto* add = dialog->findChild<QPushButton*>(QStringLiteral("cmdAddBuddy"));
        const struct {
            const char* typed;
            QString message;
        } refused[] = {
            {"bobb", QStringLiteral("Error: Username's must be at least 5 chars long!")},
            {"BOBBY", QStringLiteral("Error: You cannot add yourself to your buddy list!")},
            {"bad.name", QStringLiteral("Error: You entered an invalid username:\r\nUsernames can "
                                        "only contain Alpha-Numberic Chars!")},
            {"Alicia",
             QStringLiteral("Error: The buddy you choose is already in your buddy list!")},
        };
        for (const auto& c : refused) {
            name->setText(QString::fromLatin1(c.typed));
            QTest::mouseClick(add, Qt::LeftButton);
            QCOMPARE(rig.prompter.boxes().last().text, c.message);
            QVERIFY(add->isEnabled());
        }
        QCOMPARE(rig.prompter.boxes()[0].title, QStringLiteral("Input Error"));
        QCOMPARE(name->text(), QStringLiteral("Alicia")); // kept for correcting

        name->setText(QStringLiteral("john_doe-1"));
        QTest::mouseClick(add, Qt::LeftButton);
        QVERIFY(rig.server.waitForReceived(" ## cmdAB /:/ bobby /:/ john_doe-1"));
        QCOMPARE(rig.server.received(), QByteArray(" ## cmdAB /:/ bobby /:/ john_doe-1"));
        QCOMPARE(rig.prompter.boxes().last().text,
                 QStringLiteral("The user john_doe-1 was added to your buddy list!"));
    }

    void aFullListTakesNoMore() {
        Rig rig;
        QVERIFY(rig.logIn());
        QStringList items;
        for (int i = 0; i < 75; ++i) {
            items.append(QStringLiteral("f %/ buddy%1").arg(i, 2, 10, QLatin1Char('0')));
        }
        QVERIFY(
            rig.feed(" ## +BL /$/ " + items.join(" :%: ").toUtf8(), QStringLiteral(":buddy74")));
        auto* dialog = new AddBuddyDialog(rig.client, &rig.main);
        dialog->findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(QStringLiteral("zelda"));
        dialog->cmdAddBuddy_Click();
        QCOMPARE(rig.prompter.boxes().last().text,
                 QStringLiteral("Error: Your buddylist already contains 75 buddies!\r\nYou cannot "
                                "add any more friends until you delete some of your current "
                                "buddies!"));
        // 74 buddies leave room for one more.
        items.removeLast();
        QVERIFY(
            rig.feed(" ## +BL /$/ " + items.join(" :%: ").toUtf8(), QStringLiteral(":buddy73")));
        QVERIFY(QTest::qWaitFor([&] { return rig.buddies.allNodes().size() == 76; }));
        dialog->cmdAddBuddy_Click();
        QVERIFY(rig.server.waitForReceived(" ## cmdAB /:/ bobby /:/ zelda"));
    }

    void deletingAsksAndSkipsGroups() {
        Rig rig;
        QVERIFY(rig.logIn());
        QVERIFY(rig.feed(" ## +BL /$/ n %/ alicia :%: f %/ carol1", QStringLiteral("f4:carol1")));
        QAction* remove = rig.main.findChild<QAction*>(QStringLiteral("mnuToolsDeleteContact"));
        rig.select(QString());
        remove->trigger();
        QVERIFY(rig.prompter.boxes().isEmpty());

        rig.select(QStringLiteral("carol1"));
        rig.prompter.queueAnswer(answer::kNo);
        remove->trigger();
        QCOMPARE(rig.prompter.boxes().last().text,
                 QStringLiteral(
                     "Do you really wish to delete the user \"carol1\" from your buddy list?"));
        QCOMPARE(rig.prompter.boxes().last().style, 36);
        QCOMPARE(rig.prompter.boxes().last().title, QStringLiteral("Delete Buddy"));
        rig.prompter.queueAnswer(answer::kYes);
        remove->trigger();
        QVERIFY(rig.server.waitForReceived(" ## cmdDB /:/ bobby /:/ carol1"));
        QCOMPARE(rig.server.received(), QByteArray(" ## cmdDB /:/ bobby /:/ carol1"));
    }

    void userNameRule() {
        QVERIFY(isValidUserName(QStringLiteral("john_doe-1")));
        QVERIFY(isValidUserName(QStringLiteral("MiXeD99")));
        QVERIFY(isValidUserName(QString())); // length is the caller's check
        QVERIFY(!isValidUserName(QStringLiteral("john doe")));
        QVERIFY(!isValidUserName(QStringLiteral("john.doe")));
        QVERIFY(!isValidUserName(QStringLiteral("jöhn1")));
        // Upper-casing must not turn a foreign letter into an allowed one.
        QVERIFY(!isValidUserName(QStringLiteral("\u0131van1")));  // dotless i
        QVERIFY(!isValidUserName(QStringLiteral("stra\u00dfe"))); // sharp s
    }
};

QTEST_MAIN(BuddyListTest)
#include "buddy_list_test.moc"
