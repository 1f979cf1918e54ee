// Private messages between two clients through the real velmorad.
#include "app/client.h"
#include "controls/font_toolbar.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"
#include "support/velmorad_process.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTcpSocket>
#include <QTest>

using namespace velmora;

namespace {

// One user's client.
struct User {
    velmora::test::TempHome home;
    velmora::test::RecordingPrompter prompter;
    velmora::test::RecordingDesktop desktop;
    Client client{home.path(), prompter, desktop};

    User() {
        // The shipped smilie pictures, for the views and the font toolbar.
        const QDir smilies(QStringLiteral(VELMORA_ASSETS "/Smilies"));
        QDir(home.path()).mkdir(QStringLiteral("Smilies"));
        for (const QString& file : smilies.entryList(QDir::Files)) {
            QFile::copy(smilies.filePath(file), home.filePath(QStringLiteral("Smilies/") + file));
        }
    }

    // Logs in through the login window, as the user would.
    bool logIn(const velmora::test::VelmoradProcess& server, const QString& name,
               const QString& password) {
        LoginWindow& login = client.loginWindow();
        login.show();
        login.findChild<QComboBox*>(QStringLiteral("cboHost"))->setEditText(server.address());
        login.findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(name);
        login.findChild<QLineEdit*>(QStringLiteral("txtPWord"))->setText(password);
        QTest::mouseClick(login.findChild<QPushButton*>(QStringLiteral("cmdLogin")),
                          Qt::LeftButton);
        return QTest::qWaitFor(
            [&] {
                return client.mainWindow().connectStatus() ==
                       QStringLiteral("-> Connected [") + name + QLatin1Char(']');
            },
            10000);
    }
    PMWindow* window(const QString& caption) {
        return qobject_cast<PMWindow*>(client.findWindowByCaption(caption));
    }
    bool waitForWindow(const QString& caption) {
        return QTest::qWaitFor([&] { return window(caption) != nullptr; }, 10000);
    }
    QString smilie(const char* file) const {
        return QStringLiteral("<img src='") + home.path() + QStringLiteral("/Smilies/") +
               QLatin1StringView(file) + QStringLiteral("' alt='' border='0'> ");
    }
};

void useFont(PMWindow& w, const char* name, const char* size, bool bold) {
    FontToolbar& tb = w.tbFontSettings();
    tb.setFontName(QLatin1StringView(name));
    tb.setFontSize(QLatin1StringView(size));
    tb.setBold(bold);
    tb.setItalic(false);
    tb.setUnderlined(false);
}

void send(PMWindow& w, const QString& text) {
    w.txtSendMsg().setPlainText(text);
    QTest::keyClick(&w.txtSendMsg(), Qt::Key_Return);
}

// With VELMORA_SCREENSHOTS set to a folder (and a real display, e.g.
// xvfb-run with QT_QPA_PLATFORM=xcb), saves a picture of `window` there.
void saveScreenshot(QWidget& window, const QString& file) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    if (folder.isEmpty()) {
        return;
    }
    window.raise();
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(window.grab().save(QDir(folder).filePath(file)));
}

// A line as the receiving window writes it: black, in the sender's font.
QString receivedLine(const QString& sender, const QString& face, const QString& size,
                     const QString& styleTag, const QString& body) {
    const QString close = styleTag.isEmpty() ? QString() : QString(styleTag).insert(1, '/');
    return "<b><font color=\"#000000\" face=\"MS Sans Serif\" size=\"3\">" + sender +
           ":</font></b>&nbsp; " + styleTag + "<font color=\"#000000\" face=\"" + face +
           "\" size=\"" + size + "\">" + body + "</font>" + close + "\r\n<br>\r\n";
}

} // namespace

class PMEndToEndTest : public QObject {
    Q_OBJECT

    std::unique_ptr<velmora::test::VelmoradProcess> server_;

private slots:
    void init() {
        server_ = std::make_unique<velmora::test::VelmoradProcess>();
        QVERIFY(server_->addUser(QStringLiteral("alicia"), QStringLiteral("alicia1")));
        QVERIFY(server_->addUser(QStringLiteral("bobby"), QStringLiteral("bobby1")));
        QVERIFY(server_->addUser(QStringLiteral("carol1"), QStringLiteral("carol11")));
        QVERIFY(server_->start());
    }
    void cleanup() { server_.reset(); }

    void aliciaAndBobbyTalk() {
        User alicia;
        User bobby;
        QVERIFY(alicia.logIn(*server_, QStringLiteral("alicia"), QStringLiteral("alicia1")));
        QVERIFY(bobby.logIn(*server_, QStringLiteral("bobby"), QStringLiteral("bobby1")));

        PMWindow* toBobby = OpenPMWindow(alicia.client, QStringLiteral("bobby"));
        useFont(*toBobby, "Arial", "12", true);
        send(*toBobby, QStringLiteral("hello world :)"));

        QVERIFY(bobby.waitForWindow(QStringLiteral("alicia - Instant Message")));
        PMWindow* toAlicia = bobby.window(QStringLiteral("alicia - Instant Message"));
        QVERIFY(QTest::qWaitFor([&] { return !toAlicia->sbStatus().currentMessage().isEmpty(); }));
        QVERIFY(toAlicia->messageView().source().endsWith(receivedLine(
            "alicia", "Arial", "4", "<B>", "hello world " + bobby.smilie("smilie.gif"))));
        QVERIFY(toAlicia->sbStatus().currentMessage().startsWith("Last IM Received: "));
        QCOMPARE(bobby.desktop.sounds().size(), 1);

        // bobby answers in his own font; it lands in alicia's open window.
        useFont(*toAlicia, "Verdana", "10", false);
        send(*toAlicia, QStringLiteral("got it :D see www.velmora.org"));
        const QString answer = "got it " + bobby.smilie("grin.gif") +
                               "see <a href=\"http://www.velmora.org\" "
                               "target=\"_blank\">www.velmora.org</a> ";
        QVERIFY(toAlicia->messageView().source().endsWith(
            "<font color=\"#0000C0\" face=\"Verdana\" size=\"3.33333333333333\">" + answer +
            "</font>\r\n<br>\r\n"));
        const QString received = QString(answer).replace(bobby.home.path(), alicia.home.path());
        QVERIFY(QTest::qWaitFor([&] {
            return toBobby->messageView().source().endsWith(
                receivedLine("bobby", "Verdana", "3.33333333333333", "", received));
        }));
        saveScreenshot(*toBobby, QStringLiteral("conversation.png"));
        QCOMPARE(alicia.client.windows().size(), 1);

        // An unknown user, then one who is offline (carol1 never logged in).
        send(*OpenPMWindow(alicia.client, QStringLiteral("nobody1")), QStringLiteral("anyone?"));
        QVERIFY(QTest::qWaitFor([&] { return alicia.prompter.boxes().size() == 1; }, 10000));
        send(*OpenPMWindow(alicia.client, QStringLiteral("carol1")), QStringLiteral("later"));
        QVERIFY(QTest::qWaitFor([&] { return alicia.prompter.boxes().size() == 2; }, 10000));
        QCOMPARE(alicia.prompter.texts(),
                 (QStringList{"The username \"nobody1\" is not a valid user!",
                              "The user \"carol1\" is offline!\r\nHowever, the user should get the "
                              "message the next time they login!"}));
        QCOMPARE(alicia.prompter.boxes().first().style, 4160);
        QVERIFY(bobby.prompter.boxes().isEmpty());
    }

    void markupQuotesAndUnicodeArriveAsText() {
        const QString special = QStringLiteral("<b> \"quoted\" & Grüße, 你好");
        QString longLine =
            QStringLiteral("abcdefghi ").repeated(399) + QStringLiteral("abcdefghij");
        QCOMPARE(longLine.size(), 4000);

        // What the server relays, read by a bare connection logged in as bobby.
        User alicia;
        QVERIFY(alicia.logIn(*server_, QStringLiteral("alicia"), QStringLiteral("alicia1")));
        QTcpSocket raw;
        raw.connectToHost(QStringLiteral("127.0.0.1"), server_->port());
        QVERIFY(raw.waitForConnected(10000));
        raw.write(" ## cmdLI /:/ bobby /:/ bobby1 /:/ 1.4");
        QByteArray relayed;
        QVERIFY(QTest::qWaitFor(
            [&] {
                relayed += raw.readAll();
                return relayed.contains("+BL");
            },
            10000));

        PMWindow* toBobby = OpenPMWindow(alicia.client, QStringLiteral("bobby"));
        useFont(*toBobby, "Arial", "10", false);
        send(*toBobby, special);
        const QByteArray expected =
            QStringLiteral(" ## +PM /$/ alicia /$/ <b>%%\"quoted\"%%&%%Grüße,%%你好 /$/ Arial /$/ "
                           "10 /$/ ")
                .toUtf8();
        QVERIFY(QTest::qWaitFor(
            [&] {
                relayed += raw.readAll();
                return relayed.endsWith(expected);
            },
            10000));
        send(*toBobby, longLine);
        relayed.clear();
        const QByteArray expectedLong =
            (" ## +PM /$/ alicia /$/ " + QString(longLine).replace(" ", "%%") +
             " /$/ Arial /$/ 10 /$/ ")
                .toUtf8();
        QVERIFY(QTest::qWaitFor(
            [&] {
                relayed += raw.readAll();
                return relayed == expectedLong;
            },
            10000));

        // The same messages in bobby's real window (his login ends the bare one).
        User bobby;
        QVERIFY(bobby.logIn(*server_, QStringLiteral("bobby"), QStringLiteral("bobby1")));
        send(*toBobby, special);
        send(*toBobby, longLine);
        QVERIFY(bobby.waitForWindow(QStringLiteral("alicia - Instant Message")));
        PMWindow* window = bobby.window(QStringLiteral("alicia - Instant Message"));
        const QString specialHtml = QStringLiteral("&lt;b> \"quoted\" & Grüße, 你好 ");
        QVERIFY(QTest::qWaitFor(
            [&] {
                return window->messageView().source().endsWith(
                    receivedLine("alicia", "Arial", "3.33333333333333", "", longLine + " "));
            },
            10000));
        QVERIFY(window->messageView().source().contains(
            receivedLine("alicia", "Arial", "3.33333333333333", "", specialHtml)));
        // And as the user reads it.
        QCOMPARE(window->conversationLog(), "alicia: " + special + "\nalicia: " + longLine + "\n");
        QVERIFY(bobby.prompter.boxes().isEmpty());
    }
};

QTEST_MAIN(PMEndToEndTest)
#include "pm_e2e_test.moc"
