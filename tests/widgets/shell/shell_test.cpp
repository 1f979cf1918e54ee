// The shell through the real windows against a loopback server that plays
// the IM server. Logging in and out, and signing up: the checks before
// connecting, the bytes sent, each answer, and servers that do not answer.
// The main window and the reply road behind it: a real socket, the
// dispatcher, replies handled in line and the disconnect procedure (where a
// record must show nothing, a later record's box has to come next); the
// buddy tree (+BL chains and presence with their sounds and notices, adding
// and deleting buddies) and the user search with its results' commands;
// then the window's own commands as a user reaches them: the tray, help and
// About, the settings dialog, the server-list editor, and the file-transfer
// hooks.
#include "app/client.h"
#include "contacts/add_buddy_dialog.h"
#include "contacts/search_window.h"
#include "controls/buddy_list.h"
#include "messaging/pm_window.h"
#include "platform/app_error.h"
#include "platform/html_message_view.h"
#include "session/connect_wait.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/file_transfers.h"
#include "settings/server_list.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "shell/registration_window.h"
#include "support/client_rig.h"
#include "transfer/file_sender.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QStatusTipEvent>
#include <QSystemTrayIcon>
#include <QTcpSocket>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::child;

namespace {

const QString kInvalidInfo = QStringLiteral("Error: You have not entered valid information!");

struct LoginRig : velmora::test::ClientRig {
    LoginRig() { client.loginWindow().show(); }
    LoginWindow& login() { return client.loginWindow(); }
    template <typename T> T* control(const char* name) { return child<T>(login(), name); }
    void tryLogin(const QString& host, const QString& user = QStringLiteral("alicia"),
                  const QString& password = QStringLiteral("secret1")) {
        control<QComboBox>("cboHost")->setEditText(host);
        control<QLineEdit>("txtUName")->setText(user);
        control<QLineEdit>("txtPWord")->setText(password);
        QTest::mouseClick(control<QPushButton>("cmdLogin"), Qt::LeftButton);
    }
    // Logs in as alicia as far as the command the server receives.
    bool sendLogin() {
        server.received.clear();
        tryLogin(server.address());
        return server.waitForReceived(" ## cmdLI /:/ alicia /:/ secret1 /:/ 1.4 /:/ receipts");
    }
    bool offline() {
        return client.session().connection().State() == Connection::Closed &&
               client.mainWindow().connectStatus() == QStringLiteral("-> Disconnected") &&
               control<QPushButton>("cmdLogin")->isEnabled() &&
               !control<QTimer>("tmrShow")->isActive();
    }
    RegistrationWindow& signUp(const QString& host, const char* user, const char* password,
                               const char* confirm) {
        showRegistrationWindow(client.session());
        RegistrationWindow& window = *findRegistrationWindow(client.session());
        child<QLineEdit>(window, "txtHost")->setText(host);
        child<QLineEdit>(window, "txtUName")->setText(QString::fromLatin1(user));
        child<QLineEdit>(window, "txtPWord")->setText(QString::fromLatin1(password));
        child<QLineEdit>(window, "txtPWordConfirm")->setText(QString::fromLatin1(confirm));
        window.cmdSignUp_Click();
        return window;
    }
};

bool controlsEnabled(QWidget& window) {
    for (QWidget* control : window.findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        if (!control->isEnabled()) {
            return false;
        }
    }
    return true;
}

const QString kUnknown = QStringLiteral(
    "Error: The server sent an unknown command!\r\nYou may need to upgrade your I.M. Client!");

QString notAUser(const QString& name) {
    return "The username \"" + name + "\" is not a valid user!";
}

// "key:text" of each node, depth first, with one "." per level below a group.
QString shape(const BuddyList& buddies) {
    QStringList nodes;
    for (QTreeWidgetItem* node : buddies.allNodes()) {
        int depth = 0;
        for (QTreeWidgetItem* up = node->parent(); up; up = up->parent()) {
            ++depth;
        }
        nodes << QString(depth, '.') + BuddyList::keyOf(node) + ':' + node->text(0);
    }
    return nodes.join(' ');
}

struct Rig : velmora::test::ClientRig {
    MainWindow& main = client.mainWindow();
    BuddyList& buddies = main.buddies();

    bool feedTree(const QByteArray& bytes, const QString& node) {
        return feed(bytes, [&] { return shape(buddies).contains(node); });
    }
    SearchUsersWindow& search() {
        main.setToolbarOnline(); // as after a login
        action("mnuToolsSearchUsers")->trigger();
        return *findSearchWindow(client.session());
    }

    template <typename T> T* in(const char* window, const char* name) {
        QWidget* w = client.session().findWindowByName(QString::fromLatin1(window));
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
        client.session().adoptWindow(window);
        return window;
    }
};

QStringList results(QWidget& window) {
    QStringList names;
    auto* list = child<QListWidget>(window, "lvResults");
    for (int i = 0; i < list->count(); ++i) {
        names << list->item(i)->text();
    }
    return names;
}

// `count` private messages of 12,000 bytes from as many users, as one write;
// `heard` gets "user:length of the text" for each, in order.
QByteArray messages(int count, QStringList& heard) {
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        const QByteArray user = "user" + QByteArray::number(i);
        const QByteArray head = " ## +PM /$/ " + user + " /$/ ";
        const QByteArray tail = " /$/ Arial /$/ 10 /$/ ";
        const qsizetype text = 12000 - head.size() - tail.size();
        bytes += head + QByteArray(text, 'm') + tail;
        heard << QString::fromLatin1(user) + ':' + QString::number(text);
    }
    return bytes;
}

bool searchEnabled(QWidget& window) {
    return child<QLineEdit>(window, "txtQuery")->isEnabled() &&
           child<QPushButton>(window, "cmdSearch")->isEnabled();
}

} // namespace

class ShellTest : public QObject {
    Q_OBJECT

private slots:
    void badInputIsRefusedBeforeAnyConnection() {
        LoginRig rig;
        const QString badName = QStringLiteral("Error: You entered an invalid username:\r\n"
                                               "Usernames can only contain Alpha-Numberic Chars!");
        const struct {
            const char *user, *password, *host;
            QString message;
        } cases[] = {
            {"alic", "secret1", "127.0.0.1", kInvalidInfo},
            {"alicia", "secr", "127.0.0.1", kInvalidInfo},
            {"alicia", "sec:ret1", "127.0.0.1", kInvalidInfo},
            {"alicia", "secret1", "h", kInvalidInfo},
            {"ali cia", "secret1", "127.0.0.1", badName},
        };
        for (const auto& c : cases) {
            rig.tryLogin(c.host, c.user, c.password);
            QCOMPARE(rig.prompter.texts().last(), c.message);
            QCOMPARE(rig.prompter.boxes.last().title, QStringLiteral("Input Error"));
        }
        QCOMPARE(rig.prompter.boxes.size(), qsizetype(std::size(cases)));
        QCOMPARE(rig.client.session().connection().State(), int(Connection::Closed));
    }

    void aLoginGoesOnlineSavesTheDetailsAndLogsOutOnRequest() {
        LoginRig rig;
        MainWindow& main = rig.client.mainWindow();
        rig.control<QCheckBox>("chkSaveDetails")->setChecked(true);
        QVERIFY(rig.sendLogin());
        // While the answer is awaited the controls are off.
        QVERIFY(!rig.control<QLineEdit>("txtUName")->isEnabled());
        QVERIFY(!rig.control<QPushButton>("cmdLogin")->isEnabled());

        QPointer<LoginWindow> window(&rig.login());
        QVERIFY(rig.feed(" ## +LI /$/ Login=True", [&] { return window.isNull(); }));
        QCOMPARE(main.trayTip(), QStringLiteral("Velmora - alicia"));
        QCOMPARE(main.trayImage(), MainFrame::kImageOnline);
        QCOMPARE(rig.client.session().values().password, QStringLiteral("secret1"));
        QVERIFY(main.toolbarButton(1)->isEnabled() &&
                rig.action("mnuToolsAddContact")->isEnabled());
        const QByteArray ini = rig.home.readFile(QStringLiteral("Velmora.ini"));
        for (const QByteArray& line :
             QList<QByteArray>{"L-User=alicia", "L-Pass=secret1", "L-Auto-Connect=0", "L-Check=1",
                               "L-Host=" + rig.server.address().toUtf8()}) {
            QVERIFY2(ini.contains(line), line.constData());
        }
        QVERIFY(rig.prompter.boxes.isEmpty());

        // Logging out asks first; No keeps the session.
        rig.prompter.answers = {answer::kNo, answer::kYes};
        rig.action("mnuFileLogInOut")->trigger();
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Do you wish to disconnect from the IM server?"));
        QCOMPARE(rig.prompter.boxes.last().style, 36);
        QCOMPARE(rig.client.session().connection().State(), int(Connection::Connected));
        rig.action("mnuFileLogInOut")->trigger();
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Disconnected"));
        // The new login window shows the saved details.
        LoginWindow* again = rig.client.existingLoginWindow();
        QVERIFY(again && again->isVisible());
        QCOMPARE(child<QLineEdit>(*again, "txtUName")->text(), QStringLiteral("alicia"));
        QVERIFY(child<QCheckBox>(*again, "chkSaveDetails")->isChecked());
        // Offline, the same command only shows the window, without asking.
        rig.action("mnuFileLogInOut")->trigger();
        QCOMPARE(rig.prompter.boxes.size(), 2);
    }

    void refusedOrUnansweredLoginsLeaveTheClientOffline() {
        LoginRig rig;
        const struct {
            QByteArray answer;
            QString message;
        } cases[] = {
            {"Login=False", "Error: The login details which you entered were invalid!"},
            {"CUgd", "Error: To login to this I.M. server you will need to upgrade your I.M. "
                     "client to the latest version!"},
            {"login=true", "Error: The server response was invalid!\r\nYou may need to upgrade "
                           "your I.M. Client!"},
        };
        for (const auto& c : cases) {
            QVERIFY(rig.sendLogin());
            QVERIFY(rig.feedBoxes(" ## +LI /$/ " + c.answer, rig.prompter.boxes.size() + 1));
            QCOMPARE(rig.prompter.texts().last(), c.message);
            QCOMPARE(rig.prompter.boxes.last().title, QStringLiteral("Velmora"));
            QVERIFY(rig.offline());
            QVERIFY(rig.client.session().values().userName.isEmpty());
        }
        // Without "save details" nothing of the user's is written.
        QVERIFY(!rig.home.readFile(QStringLiteral("Velmora.ini")).contains("L-User=alicia"));

        // No answer: the 60 s time-out, shortened, as only what happens when it fires matters.
        QVERIFY(rig.sendLogin());
        rig.control<QTimer>("tmrShow")->setInterval(1);
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes.size() == 4; }));
        QVERIFY(rig.offline());
        // A server that drops the connection is known at once.
        QVERIFY(rig.sendLogin());
        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes.size() == 5; }));
        QVERIFY(rig.offline());
        // Nobody listening: the connect wait ends with the same message.
        const QString dead = test::deadAddress();
        rig.tryLogin(dead);
        QCOMPARE(rig.prompter.texts().mid(3), QStringList(3, connectionProblemText()));
        QVERIFY(rig.offline());
    }

    void addressesTakeTheDefaultPortAndAreCheckedAsTyped() {
        // Without a colon the default port is used (here the loopback's, so
        // that no test dials a real server); a port out of range is refused.
        LoginRig rig;
        connectToAddress(rig.client.session().connection(), QStringLiteral("127.0.0.1"),
                         rig.server.port());
        QVERIFY(rig.server.waitForPeer());
        for (const char* address : {"127.0.0.1:0", "127.0.0.1:65536"}) {
            QCOMPARE(test::errorNumber([&] {
                         connectToAddress(rig.client.session().connection(),
                                          QString::fromLatin1(address), 1);
                     }),
                     380);
        }
        // Only one colon in an address.
        QLineEdit* host = rig.control<QComboBox>("cboHost")->lineEdit();
        host->setText("im.example.org:7000");
        QTest::keyClick(host, Qt::Key_Colon);
        QCOMPARE(host->text(), QStringLiteral("im.example.org:7000"));
        QCOMPARE(rig.prompter.beeps, 1);
        // The sign-up page lives on the server's web site.
        QTest::mouseClick(rig.control<QPushButton>("cmdRegister"), Qt::LeftButton);
        QCOMPARE(rig.desktop.urls,
                 QStringList{"http://im.example.org:88/modules.php?name=Your_Account&op=new_user"});
        // Enter anywhere logs in (here refused: no user name); Escape leaves.
        QTest::keyClick(rig.control<QCheckBox>("chkAutoLogin"), Qt::Key_Return);
        QCOMPARE(rig.prompter.texts(), QStringList{kInvalidInfo});
        QPointer<LoginWindow> window(&rig.login());
        QTest::keyClick(rig.control<QLineEdit>("txtPWord"), Qt::Key_Escape);
        QVERIFY(QTest::qWaitFor([&] { return window.isNull(); }));
    }

    void startLogsInWithTheSavedDetailsWhenAutoConnectIsOn() {
        velmora::test::ClientRig rig("[Login Options]\r\nL-User=bobby\r\nL-Pass=bobby1\r\n"
                                     "L-Check=1\r\nL-Auto-Connect=1\r\n");
        server_list::save(rig.client.session().settings().serverListPath(), {rig.server.address()});
        Client client(rig.home.path(), rig.prompter, rig.desktop);
        client.start();
        QVERIFY(rig.server.waitForReceived(" ## cmdLI /:/ bobby /:/ bobby1 /:/ 1.4 /:/ receipts"));
        QVERIFY(!client.loginWindow().isVisible());
        QVERIFY(rig.feed(" ## +LI /$/ Login=True",
                         [&] { return client.existingLoginWindow() == nullptr; }));
        // A menu entry's empty status tip leaves the status standing.
        QStatusTipEvent tip{QString()};
        QApplication::sendEvent(&client.mainWindow(), &tip);
        QCOMPARE(client.mainWindow().connectStatus(), QStringLiteral("-> Connected [bobby]"));

        // With it off the window is shown and offers the saved server.
        Client manual(rig.home.path(), rig.prompter, rig.desktop);
        manual.session().settings().setLoginAutoConnect(false);
        manual.session().preferences().autoConnect = 0;
        manual.start();
        QVERIFY(manual.loginWindow().isVisible());
        QCOMPARE(child<QComboBox>(manual.loginWindow(), "cboHost")->currentText(),
                 rig.server.address());
    }

    void signUpChecksInOrderSendsOneCommandAndShowsEachAnswer() {
        LoginRig rig;
        const char* cases[][4] = {
            {"bob by", "ab:c", "x", "Error: Usernames can only contain Alpha-Numeric Characters!"},
            {"bobb", "secret", "secret",
             "Error: Usernames & Passwords must be at least 5 characters long!"},
            {"bobby", "abcd", "abcd",
             "Error: Usernames & Passwords must be at least 5 characters long!"},
            {"bobby", "sec:ret", "other", "Error: Passwords cannot contain a \":\" character!"},
            {"bobby", "secret", "Secret", "Error: The passwords you entered did not match!"},
        };
        for (const auto& c : cases) {
            RegistrationWindow& window = rig.signUp(rig.server.address(), c[0], c[1], c[2]);
            QCOMPARE(rig.prompter.texts().last(), QString::fromLatin1(c[3]));
            QCOMPARE(rig.prompter.boxes.last().owner, &window);
            QVERIFY(controlsEnabled(window));
        }
        QCOMPARE(rig.client.session().connection().State(), int(Connection::Closed)); // never tried

        rig.prompter.reset();
        RegistrationWindow& window =
            rig.signUp(rig.server.address(), "new_user-1", "p4ss word", "p4ss word");
        QCOMPARE(rig.sent(), QByteArray(" ## cmdRA /:/ new_user-1 /:/ p4ss word /:/ 1.4"));
        QVERIFY(!controlsEnabled(window));
        const char* answers[][2] = {
            {"RS", "Success: Your account has been created for use on this server!"},
            {"UE", "Error: There is already a user with that username!"},
            {"RNE", "Error: Registration via the client is not enabled on this server!\r\nGo To: "
                    "\"http://site.example/modules.php?name=Your_Account\" To Register!"},
            {"rs",
             "Error: Response was not valid!\r\nPossible problems with server compatibility!"},
        };
        for (const auto& answer : answers) {
            QVERIFY(
                rig.feedBoxes(" ## +RU /$/ " + QByteArray(answer[0]) + " /$/ http://site.example",
                              rig.prompter.boxes.size() + 1));
            QCOMPARE(rig.prompter.texts().last(), QString::fromLatin1(answer[1]));
            QCOMPARE(rig.prompter.boxes.last().owner, &window);
            QVERIFY(controlsEnabled(window));
        }
        // The connection stays open for the login that follows.
        QCOMPARE(rig.client.session().connection().State(), int(Connection::Connected));

        // An answer with no window opens one.
        LoginRig fresh;
        fresh.client.session().dispatcher().dispatchBatch(QStringLiteral(" ## +RU /$/ UE /$/ "));
        QVERIFY(findRegistrationWindow(fresh.client.session()));
        QCOMPARE(fresh.prompter.texts(),
                 QStringList{"Error: There is already a user with that username!"});

        // A server that cannot be reached is reported.
        RegistrationWindow& unreached =
            fresh.signUp(test::deadAddress(), "bobby", "secret", "secret");
        QCOMPARE(fresh.prompter.texts().last(),
                 "There was a problem when trying to connect to the I.M. server!\r\nEither the "
                 "server is down, or you entered an incorrect server address.\r\nPlease use a "
                 "different server address, or try again later!");
        QVERIFY(controlsEnabled(unreached));
    }

    void recordsAreHandledInOrderHoweverTheyArrive() {
        Rig rig;
        QVERIFY(rig.connect());
        // Merged records: an unknown code between two known ones. Codes
        // compare exactly: a lower-case code is unknown.
        QVERIFY(rig.feedBoxes(" ## +UNO /$/ bob ## +XYZ /$/ 1 ## +UNV /$/ carol ## +uno /$/ x", 4));
        QCOMPARE(rig.prompter.texts(),
                 (QStringList{"The user \"bob\" is offline!\r\nHowever, the user should get the "
                              "message the next time they login!",
                              kUnknown, notAUser("carol"), kUnknown}));
        const test::ShownBox& unknown = rig.prompter.boxes[1];
        QVERIFY(unknown.style == 4160 && unknown.title == "Velmora" && unknown.owner == &rig.main);

        // A record with too few fields ends its batch with error 9; the next
        // batch is handled again.
        rig.prompter.reset();
        QVERIFY(rig.feedBoxes(" ## +UNV /$/ first ## +UNO ## +UNV /$/ never", 2));
        QVERIFY(rig.feedBoxes(" ## +UNV /$/ next", 3));
        QCOMPARE(rig.prompter.texts(),
                 (QStringList{notAUser("first"),
                              "Error #9 was generated by Velmora\r\n\r\nSubscript out of range",
                              notAUser("next")}));
        QCOMPARE(rig.prompter.boxes[1].style, 48);

        // A record every 2 ms for 100 ms: the first is handled while the
        // stream still runs, and the socket holds a bounded amount.
        rig.prompter.reset();
        int sentCount = 0;
        int sentWhenFirstShown = 0;
        QTimer stream;
        stream.setTimerType(Qt::PreciseTimer);
        QObject::connect(&stream, &QTimer::timeout, [&] {
            if (sentWhenFirstShown == 0 && !rig.prompter.boxes.isEmpty()) {
                sentWhenFirstShown = sentCount;
            }
            if (sentCount == 50) {
                stream.stop();
                return;
            }
            rig.server.send(" ## +UNV /$/ u" + QByteArray::number(++sentCount));
        });
        stream.start(2);
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes.size() == 50; }, 5000));
        QVERIFY2(sentWhenFirstShown > 0 && sentWhenFirstShown < 50,
                 qPrintable(QString::number(sentWhenFirstShown)));
        QCOMPARE(rig.prompter.texts().last(), notAUser("u50"));
        QVERIFY(rig.client.session().connection().findChild<QTcpSocket*>()->readBufferSize() > 0);

        rig.prompter.reset();
        // Two pieces 20 ms apart make one record with a 200 ms arrival delay ...
        rig.client.session().connection().setArrivalDelayMs(200);
        rig.server.send(" ## +UNV /$/ ali");
        QTest::qWait(20);
        QVERIFY(rig.feedBoxes("cia ## +UNV /$/ bobby", 2));
        // ... and fall as they come once the first piece has been handled:
        // it is a record of its own, and the rest, lacking a mark, is lost.
        // A character cut between two arrivals is held back, never garbled.
        rig.client.session().connection().setArrivalDelayMs(0);
        QVERIFY(rig.feedBoxes(" ## +UNV /$/ Gr\xc3", 3));
        QVERIFY(rig.feedBoxes("\xbc\xc3\x9f"
                              "e ## +UNV /$/ dave",
                              4));
        QCOMPARE(rig.prompter.texts(), (QStringList{notAUser("alicia"), notAUser("bobby"),
                                                    notAUser("Gr"), notAUser("dave")}));
    }

    void burstsOfAnySizeAreReadToTheEnd() {
        Rig rig;
        QVERIFY(rig.logIn("bobby"));
        QStringList heard;
        QObject::connect(
            &rig.client.session(), &Session::lineExchanged, [&](const ConversationLine& line) {
                heard << line.conversation + ':' + QString::number(line.line.text.size());
            });
        // More than the socket holds, written at once: every message opens
        // its window, whole and in order.
        QStringList sent;
        QVERIFY(rig.feed(messages(30, sent), [&] { return heard.size() == 30; }));
        QCOMPARE(heard, sent);
        QCOMPARE(rig.windows<PMWindow>().size(), 30);

        // Ten times as much, counted without the windows.
        rig.client.session().onPrivateMessage([](const ChatLine&) {});
        heard.clear();
        sent.clear();
        QVERIFY(rig.feed(messages(300, sent), [&] { return heard.size() == 300; }));
        QCOMPARE(heard, sent);

        // A record larger than a piece is cut there and lacks fields; the
        // record after it is still read.
        QVERIFY(rig.feedBoxes(" ## +PM /$/ " + QByteArray(1 << 20, 'x') + " ## +UNV /$/ after", 2));
        QCOMPARE(rig.prompter.texts(),
                 (QStringList{"Error #9 was generated by Velmora\r\n\r\nSubscript out of range",
                              notAUser("after")}));
    }

    void serverOptionsSetTheSessionAndTheMainWindow() {
        Rig rig;
        MainWindow& main = rig.client.mainWindow();
        QVERIFY(rig.connect());
        main.show();
        QVERIFY(rig.feed(" ## +SO /$/ http://people.example /$/ 12 /$/ 0",
                         [&] { return rig.client.session().values().intServerLimit == 12; }));
        QCOMPARE(rig.client.session().values().strProfileSite,
                 QStringLiteral("http://people.example"));
        QVERIFY(main.toolbarButton(3)->isVisible());
        QVERIFY(!rig.action("mnuToolsOpenConference")->isVisible());
        // The buttons show their captions under the pictures.
        auto* bar = child<QToolBar>(main, "tbMain");
        auto* add = qobject_cast<QToolButton*>(bar->widgetForAction(main.toolbarButton(4)));
        QVERIFY(add->toolButtonStyle() == Qt::ToolButtonTextUnderIcon);
        QCOMPARE(add->text(), QStringLiteral("Add Contact"));

        // An empty profile site hides the profile entries and still enables button 5.
        main.setToolbarButtonEnabled(5, false);
        QVERIFY(rig.feed(" ## +SO /$/  /$/ 10 /$/ 1",
                         [&] { return rig.client.session().values().intServerLimit == 10; }));
        QVERIFY(!main.toolbarButton(3)->isVisible());
        QVERIFY(!rig.action("mnuToolsViewProfile")->isVisible());
        QVERIFY(main.toolbarButton(5)->isEnabled());
        QVERIFY(rig.action("mnuToolsOpenConference")->isVisible());

        // A limit that is not a number is a type mismatch, reported once.
        QVERIFY(rig.feedBoxes(" ## +SO /$/  /$/ ten /$/ 1 ## +UNV /$/ dropped", 1));
        QVERIFY(rig.feedBoxes(" ## +UNV /$/ next", 2));
        QCOMPARE(rig.prompter.texts(),
                 (QStringList{"Error #13 was generated by Velmora\r\n\r\nType mismatch",
                              notAUser("next")}));
        QCOMPARE(rig.client.session().values().intServerLimit, qint16(10));
    }

    void aLostConnectionPutsTheClientOffline() {
        Rig rig;
        MainWindow& main = rig.client.mainWindow();
        QVERIFY(rig.logIn("alicia"));
        rig.client.session().values().password = QStringLiteral("secret");
        QVERIFY(rig.feedTree(
            " ## +SO /$/ http://people.example /$/ 10 /$/ 1 ## +BL /$/ n %/ bobby :%: f %/ carol",
            "f4:carol"));
        main.setTrayStatus(MainFrame::kImageOnline, QStringLiteral("alicia"));

        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return main.connectStatus() == "-> Disconnected"; }));
        QCOMPARE(rig.client.session().connection().State(), int(Connection::Closed));
        // Both groups stay, empty; the node keys start over.
        QCOMPARE(shape(rig.buddies), QStringLiteral("f1:Online Buddies f2:Offline Buddies"));
        QCOMPARE(rig.client.session().values().lngNodeKey, 2);
        const SessionValues& session = rig.client.session().values();
        QVERIFY(session.userName.isEmpty() && session.password.isEmpty() &&
                session.strProfileSite.isEmpty());
        QCOMPARE(session.intServerLimit, qint16(10)); // kept
        for (int i = 1; i <= 5; ++i) {
            QVERIFY(!main.toolbarButton(i)->isEnabled());
        }
        QCOMPARE(main.trayTip(), QStringLiteral("Velmora - Offline"));
        QCOMPARE(main.trayImage(), 13);
        QVERIFY(rig.prompter.boxes.isEmpty());

        // Sending while offline disconnects without a box; any other error
        // is shown, with the routine when one is named.
        rig.client.session().values().userName = QStringLiteral("alicia");
        main.setConnectStatus(QStringLiteral("-> Connected [alicia]"));
        rig.client.session().trap(
            [&] { rig.client.session().connection().SendData(QStringLiteral(" ## cmdSU /:/ b")); });
        QVERIFY(rig.prompter.boxes.isEmpty());
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(rig.client.session().values().userName.isEmpty());
        rig.client.session().trap(QStringLiteral("frmSearchUsers.cmdSearch_Click"),
                                  [] { raiseTypeMismatch(QStringLiteral("Velmora")); });
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"Error #13 was generated by Velmora in routine "
                             "frmSearchUsers.cmdSearch_Click.\r\n\r\nType mismatch"});
    }
    void buddyListAndPresenceKeepTheChains() {
        Rig rig;
        QVERIFY(rig.logIn("bobby"));
        QVERIFY(rig.feedTree(" ## +BL /$/ n %/ alicia :%: f %/ carol1 :%: x %/ ghost1 :%: n %/ "
                             "dave1 :%: f %/ erin1",
                             QStringLiteral("f7:erin1")));
        QCOMPARE(shape(rig.buddies), QStringLiteral("f1:Online Buddies .n3:alicia ..n6:dave1 "
                                                    "f2:Offline Buddies .f4:carol1 ..f7:erin1"));
        // carol1 comes online: a new key at the end of the online chain; the
        // buddy chained below her moves up. Her open window gets a notice.
        const HtmlMessageView& chat = OpenPMWindow(rig.client.session(), "CAROL1")->brwMessage();
        QVERIFY(rig.feedTree(" ## +LOn /$/ carol1", QStringLiteral("n8:carol1")));
        QCOMPARE(shape(rig.buddies), QStringLiteral("f1:Online Buddies .n3:alicia ..n6:dave1 "
                                                    "...n8:carol1 f2:Offline Buddies .f7:erin1"));
        QCOMPARE(rig.desktop.sounds, QStringList{rig.home.path() + "/Sounds/UserLogin.wav"});
        QVERIFY(chat.source().contains(QStringLiteral("&lt;Client&gt;")));
        QVERIFY(chat.source().contains(QStringLiteral("carol1 Logged In (")));
        // alicia leaves: dave1 and carol1 stay online, one level up.
        QVERIFY(rig.feedTree(" ## +LOff /$/ ALICIA", QStringLiteral("f9:ALICIA")));
        QCOMPARE(shape(rig.buddies), QStringLiteral("f1:Online Buddies .n6:dave1 ..n8:carol1 "
                                                    "f2:Offline Buddies .f7:erin1 ..f9:ALICIA"));
        QCOMPARE(rig.desktop.sounds.last(), rig.home.path() + "/Sounds/UserLogout.wav");
        QVERIFY(!chat.source().contains(QStringLiteral("ALICIA")));
        // A switched-off sound stays quiet; an unknown name is still added.
        rig.client.session().preferences().userLogin.enabled = 0;
        QVERIFY(rig.feedTree(" ## +LOn /$/ frank1", QStringLiteral("n10:frank1")));
        QCOMPARE(rig.desktop.sounds.size(), 2);
        QCOMPARE(rig.buddies.onlineBuddies(), (QStringList{"dave1", "carol1", "frank1"}));
        QVERIFY(rig.prompter.boxes.isEmpty());
    }

    void deletingAsksAndAddingChecksInOrderUpToAFullList() {
        Rig rig;
        QVERIFY(rig.logIn("bobby"));
        QVERIFY(rig.feedTree(" ## +BL /$/ n %/ alicia :%: f %/ carol1", "f4:carol1"));
        rig.main.tvBuddies().setCurrentItem(rig.main.tvBuddies().topLevelItem(0));
        rig.action("mnuToolsDeleteContact")->trigger();
        QVERIFY(rig.prompter.boxes.isEmpty());

        rig.main.tvBuddies().setCurrentItem(rig.buddies.findBuddy("carol1"));
        rig.prompter.answers = {answer::kNo, answer::kYes};
        rig.action("mnuToolsDeleteContact")->trigger();
        QCOMPARE(rig.prompter.boxes.last().text,
                 QStringLiteral(
                     "Do you really wish to delete the user \"carol1\" from your buddy list?"));
        QCOMPARE(rig.prompter.boxes.last().title, QStringLiteral("Delete Buddy"));
        QCOMPARE(rig.sent(), QByteArray());
        rig.action("mnuToolsDeleteContact")->trigger();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdDB /:/ bobby /:/ carol1"));

        rig.prompter.reset();
        rig.action("mnuToolsAddContact")->trigger();
        auto* dialog = rig.main.findChild<AddBuddyDialog*>(QStringLiteral("frmAddBuddy"));
        QVERIFY(dialog);
        auto* name = child<QLineEdit>(*dialog, "txtUName");
        for (const char* typed : {"bobb", "BOBBY", "bad.name", "Alicia"}) {
            name->setText(QString::fromLatin1(typed));
            QTest::mouseClick(child<QPushButton>(*dialog, "cmdAddBuddy"), Qt::LeftButton);
        }
        QCOMPARE(rig.prompter.texts(),
                 (QStringList{"Error: Username's must be at least 5 chars long!",
                              "Error: You cannot add yourself to your buddy list!",
                              "Error: You entered an invalid username:\r\nUsernames can only "
                              "contain Alpha-Numberic Chars!",
                              "Error: The buddy you choose is already in your buddy list!"}));
        QCOMPARE(rig.prompter.boxes[0].title, QStringLiteral("Input Error"));
        QCOMPARE(name->text(), QStringLiteral("Alicia")); // kept for correcting
        QCOMPARE(rig.sent(), QByteArray());
        name->setText("john_doe-1");
        QTest::mouseClick(child<QPushButton>(*dialog, "cmdAddBuddy"), Qt::LeftButton);
        QCOMPARE(rig.sent(), QByteArray(" ## cmdAB /:/ bobby /:/ john_doe-1"));
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("The user john_doe-1 was added to your buddy list!"));

        // 75 buddies are the most; 74 leave room for one more.
        QStringList items;
        for (int i = 0; i < 75; ++i) {
            items << QStringLiteral("f %/ buddy%1").arg(i, 2, 10, QLatin1Char('0'));
        }
        QVERIFY(rig.feedTree(" ## +BL /$/ " + items.join(" :%: ").toUtf8(), ":buddy74"));
        dialog = new AddBuddyDialog(rig.client.session(), &rig.main);
        child<QLineEdit>(*dialog, "txtUName")->setText("zelda");
        dialog->cmdAddBuddy_Click();
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Error: Your buddylist already contains 75 buddies!\r\nYou cannot "
                                "add any more friends until you delete some of your current "
                                "buddies!"));
        items.removeLast();
        QVERIFY(rig.feed(" ## +BL /$/ " + items.join(" :%: ").toUtf8(),
                         [&] { return rig.buddies.allNodes().size() == 76; }));
        dialog->cmdAddBuddy_Click();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdAB /:/ bobby /:/ zelda"));
    }

    void searchSendsTheQueryAndTheReplyFillsTheList() {
        Rig rig;
        QVERIFY(rig.connect());
        SearchUsersWindow& window = rig.search();
        QCOMPARE(&rig.search(), &window); // one search window per client
        auto* query = child<QLineEdit>(window, "txtQuery");
        // Bad queries are refused before sending.
        for (const char* bad : {"bob by", "bob."}) {
            query->setText(QString::fromLatin1(bad));
            child<QPushButton>(window, "cmdSearch")->click();
        }
        QCOMPARE(rig.prompter.texts(), QStringList(2, "Error: You entered an invalid username "
                                                      "format:\r\nUsernames can only contain "
                                                      "Alpha-Numberic Chars!"));
        QCOMPARE(rig.prompter.boxes[1].owner, &window);
        QCOMPARE(rig.sent(), QByteArray());

        query->setText("bob");
        QTest::keyClick(query, Qt::Key_Return);
        QVERIFY(rig.server.waitForReceived(" ## cmdSU /:/ bob"));
        QCOMPARE(window.statusText(), QStringLiteral("Searching..."));
        QVERIFY(!searchEnabled(window));
        QVERIFY(rig.feed(" ## +SU /$/ Bobby%bobby2%zbob", [&] { return searchEnabled(window); }));
        QCOMPARE(results(window), (QStringList{"Bobby", "bobby2", "zbob"}));
        QCOMPARE(window.statusText(), QStringLiteral("[ Search Complete: 3 Match(es)! ]"));
        // A new search clears the old results at once; an empty reply is no match.
        child<QPushButton>(window, "cmdSearch")->click();
        QVERIFY(results(window).isEmpty());
        QVERIFY(rig.feed(" ## +SU /$/ ", [&] { return searchEnabled(window); }));
        QCOMPARE(window.statusText(), QStringLiteral("[ Search Complete: 0 Match(es)! ]"));

        // A reply with no window open opens one holding the results.
        Rig closed;
        closed.client.session().dispatcher().dispatchBatch(
            QStringLiteral(" ## +SU /$/ alicia%bobby"));
        QVERIFY(findSearchWindow(closed.client.session()));
        QCOMPARE(results(*findSearchWindow(closed.client.session())),
                 (QStringList{"alicia", "bobby"}));
    }

    void resultAndBuddyCommandsActOnTheSelectedUser() {
        Rig rig;
        QVERIFY(rig.logIn("alicia"));
        rig.client.session().values().strProfileSite = QStringLiteral("http://people.example");
        rig.client.session().dispatcher().dispatchBatch(QStringLiteral(" ## +BL /$/ n %/ carol1"));
        SearchUsersWindow& window = rig.search();
        window.onSearchReply({QStringLiteral("bobby"), QStringLiteral("carol1")});
        auto* list = child<QListWidget>(window, "lvResults");
        const auto command = [&](const char* name, const char* user) {
            list->setCurrentItem(
                list->findItems(QString::fromLatin1(user), Qt::MatchExactly).value(0));
            window.contextMenu().findChild<QAction*>(QString::fromLatin1(name))->trigger();
        };
        const QString profile = QStringLiteral(
            "http://people.example/modules.php?name=Your_Account&op=userinfo&uname=");

        // Nothing selected: the commands do nothing.
        command("mnuContextViewProfile", "");
        command("mnuContextAddAsBuddy", "");
        QVERIFY(rig.desktop.urls.isEmpty() && rig.prompter.boxes.isEmpty());
        command("mnuContextViewProfile", "bobby");
        QCOMPARE(rig.desktop.urls, QStringList{profile + "bobby"});
        command("mnuContextAddAsBuddy", "bobby");
        QCOMPARE(rig.sent(), QByteArray(" ## cmdAB /:/ alicia /:/ bobby"));
        QCOMPARE(rig.prompter.texts(),
                 QStringList{QStringLiteral("The user bobby was added to your buddy list!")});
        // Send Message and a double click both open a message window.
        command("mnuContextSendPM", "carol1");
        QVERIFY(rig.client.session().findWindowByCaption("carol1 - Instant Message"));
        const QPoint bobby = list->visualItemRect(list->item(0)).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, bobby);
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, bobby);
        QVERIFY(rig.client.session().findWindowByCaption("BOBBY - Instant Message"));

        // The main window's View Profile: a group does nothing, a buddy opens
        // the page.
        rig.main.tvBuddies().setCurrentItem(rig.main.tvBuddies().topLevelItem(0));
        rig.action("mnuToolsViewProfile")->trigger();
        rig.main.tvBuddies().setCurrentItem(rig.buddies.findBuddy("carol1"));
        rig.action("mnuToolsViewProfile")->trigger();
        QCOMPARE(rig.desktop.urls, (QStringList{profile + "bobby", profile + "carol1"}));
    }

    void theTrayHelpAndTheAboutBox() {
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
        // A button going down does not restore the window; the click a
        // StatusNotifier tray sends does, as does a double click.
        rig.main.onTrayNotification(0x201);
        QVERIFY(!rig.main.isVisible());
        auto* tray = rig.main.findChild<QSystemTrayIcon*>(QStringLiteral("pctSys"));
        emit tray->activated(QSystemTrayIcon::Trigger);
        QVERIFY(rig.main.isVisible());
        sha->trigger();
        rig.main.onTrayNotification(MainWindow::kTrayDoubleClick);
        QVERIFY(rig.main.isVisible());

        // Minimising hides to the tray only when "MinTray" is on.
        rig.main.showMinimized();
        QVERIFY(QTest::qWaitFor([&] { return rig.main.isMinimized(); }));
        QVERIFY(rig.main.isVisible());
        rig.main.showNormal();
        rig.client.session().preferences().minTray = 1;
        rig.main.showMinimized();
        QVERIFY(QTest::qWaitFor([&] { return !rig.main.isVisible(); }));
        // Without a tray the window only minimises, and hiding is not offered.
        rig.desktop.tray = false;
        rig.main.showNormal();
        rig.main.showMinimized();
        QVERIFY(QTest::qWaitFor([&] { return rig.main.isMinimized(); }));
        QVERIFY(rig.main.isVisible());
        rig.main.showNormal();
        sha->trigger();
        QVERIFY(rig.main.isMinimized() && rig.main.isVisible());
        emit child<QMenu>(rig.main, "mnuFile")->aboutToShow();
        QVERIFY(!rig.action("mnuFileMinimizeToTray")->isVisible());

        rig.action("mnuHelpHelp")->trigger();
        QCOMPARE(rig.desktop.help, QStringList{rig.home.path() + "/help|Index.html"});
        QCOMPARE(rig.desktop.helpOwner.data(), &rig.main);
        rig.action("mnuHelpAbout")->trigger();
        rig.action("mnuHelpAbout")->trigger(); // brings the same box forward
        QCOMPARE(rig.main.findChildren<QDialog*>(QStringLiteral("frmAbout")).size(), 1);
    }

    void theSettingsDialogWritesTheKeysAndTheLoadedCopies() {
        Rig rig;
        rig.action("mnuEditSettings")->trigger();
        for (const char* box : {"chkMinTray", "chkBold"}) {
            rig.in<QCheckBox>("frmSettings", box)->setChecked(true);
        }
        for (const char* box : {"chkEmote", "chkSoundUserLogin"}) {
            rig.in<QCheckBox>("frmSettings", box)->setChecked(false);
        }
        rig.in<QComboBox>("frmSettings", "cboFontSize")->setEditText("12");
        rig.in<QLineEdit>("frmSettings", "txtSoundReceiveIM")->setText("/tmp/ding.wav");
        QTest::mouseClick(rig.in<QPushButton>("frmSettings", "cmdOK"), Qt::LeftButton);

        Settings& s = rig.client.session().settings();
        QVERIFY(s.minTray() == 1 && s.emote() == 0 && s.newPM() == 1 && s.fontBold());
        QCOMPARE(s.fontSize(), QStringLiteral("12"));
        QCOMPARE(s.soundEnabled(QStringLiteral("UserLogin")), qint16(0));
        QCOMPARE(s.soundPath(QStringLiteral("ReceiveIM")), QStringLiteral("/tmp/ding.wav"));
        // The copies the session works from follow.
        const MainWindowValues& v = rig.client.session().preferences();
        QVERIFY(v.minTray == 1 && v.emote == 0 && v.userLogin.enabled == 0);
        QCOMPARE(v.receiveIM.path, QStringLiteral("/tmp/ding.wav"));
        // Reconnecting is on without a key, and the key is written only when changed.
        QFile ini(s.path());
        QVERIFY(ini.open(QIODevice::ReadOnly) && !ini.readAll().contains("Reconnect"));
        rig.action("mnuEditSettings")->trigger();
        QVERIFY(rig.in<QCheckBox>("frmSettings", "chkReconnect")->isChecked());
        rig.in<QCheckBox>("frmSettings", "chkReconnect")->setChecked(false);
        QTest::mouseClick(rig.in<QPushButton>("frmSettings", "cmdOK"), Qt::LeftButton);
        QCOMPARE(s.reconnect(), qint16(0));
    }

    void theServerListEditorSavesWhatTheLoginWindowOffers() {
        Rig rig;
        rig.client.loginWindow().show();
        auto* hosts = rig.client.loginWindow().findChild<QComboBox*>(QStringLiteral("cboHost"));

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
        QCOMPARE(server_list::load(rig.client.session().settings().serverListPath()), saved);
        QCOMPARE(hosts->count(), 2);
        QCOMPARE(hosts->itemText(1), saved[1]);

        // Unsaved changes are offered for saving on close.
        list->setCurrentRow(0);
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdDelete"), Qt::LeftButton);
        rig.prompter.answers = {answer::kYes};
        QTest::mouseClick(rig.in<QPushButton>("frmSrvLst", "cmdClose"), Qt::LeftButton);
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Do you wish to save the changes to the server list?"));
        QCOMPARE(server_list::load(rig.client.session().settings().serverListPath()),
                 QStringList{saved[1]});
    }

    void fileTransferRepliesAndSendFileFindTheUsersSenderWindow() {
        Rig rig;
        // Known answers are quiet; only an unknown status gets a box.
        rig.client.session().dispatcher().dispatchBatch(
            " ## +FA /$/ SF /$/ x /$/ y ## +FA /$/ UO /$/  /$/  ## +FA /$/ FD /$/ a /$/ b ## +FR "
            "/$/ bobby /$/ f.txt /$/ 12 /$/ z ## +FA /$/ sf /$/ x /$/ y");
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"Error: Returned Value For The File Send Reqest Was Invalid!"});
        QCOMPARE(rig.prompter.boxes[0].owner, &rig.main);
        QVERIFY(rig.client.session().windows().isEmpty());

        rig.main.setToolbarOnline();
        rig.client.session().dispatcher().dispatchBatch(
            QStringLiteral(" ## +BL /$/ n %/ bobby :%: n %/ carol1"));
        rig.main.tvBuddies().setCurrentItem(rig.buddies.findBuddy("bobby"));
        // No sender window open: a file is asked for; cancelled, nothing happens.
        test::ScriptedChooser chooser;
        rig.client.session().files().setFileChooser(&chooser);
        rig.action("mnuToolsSendFile")->trigger();
        QCOMPARE(chooser.requests.size(), 1);
        QVERIFY(rig.desktop.broughtToFront.isEmpty());
        rig.openSender(QStringLiteral("frmFileSenderX"), "bobby");
        rig.openSender(QStringLiteral("frmfilesender"), "bobby");
        rig.openSender(QStringLiteral("frmFileSender"), "carol1");
        QWidget* bobbys = rig.openSender(QStringLiteral("frmFileSender"), "bobby");
        rig.action("mnuToolsSendFile")->trigger();
        QCOMPARE(rig.desktop.broughtToFront, (QList<QPointer<QWidget>>{bobbys}));
        QVERIFY(!findFileSender(rig.client.session(), QStringLiteral("dave1")));

        // A sender window without its label ends the search quietly.
        Rig faulty;
        faulty.openSender(QStringLiteral("frmFileSender"), nullptr);
        faulty.openSender(QStringLiteral("frmFileSender"), "bobby");
        QVERIFY(!findFileSender(faulty.client.session(), QStringLiteral("bobby")));
        QVERIFY(faulty.prompter.boxes.isEmpty());
    }
};

QTEST_MAIN(ShellTest)
#include "shell_test.moc"
