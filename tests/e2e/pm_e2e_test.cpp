// Private messages between two clients through the real velmorad.
#include "controls/font_toolbar.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "shell/main_window.h"
#include "support/e2e_user.h"

#include <QPlainTextEdit>
#include <QStatusBar>
#include <QTcpSocket>
#include <QTest>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

const QString kFromAlicia = QStringLiteral("alicia - Instant Message");

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

PMWindow* waitForWindow(E2eUser& user, const QString& caption) {
    (void)QTest::qWaitFor([&] { return user.client->findWindowByCaption(caption) != nullptr; },
                          10000);
    return qobject_cast<PMWindow*>(user.client->findWindowByCaption(caption));
}

QString smilie(const E2eUser& user, const char* file) {
    return "<img src='" + user.home.path() + "/Smilies/" + file + "' alt='' border='0'> ";
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

    std::unique_ptr<test::VelmoradProcess> server_;

private slots:
    void init() {
        server_ = std::make_unique<test::VelmoradProcess>();
        QVERIFY(test::startWithUsers(
            *server_, {{"alicia", "alicia1"}, {"bobby", "bobby1"}, {"carol1", "carol11"}}));
    }
    void cleanup() { server_.reset(); }

    void aliciaAndBobbyTalk() {
        E2eUser alicia(QStringLiteral("alicia"));
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(alicia.logIn(*server_, QStringLiteral("alicia1")));
        QVERIFY(bobby.logIn(*server_, QStringLiteral("bobby1")));

        PMWindow* toBobby = OpenPMWindow(*alicia.client, QStringLiteral("bobby"));
        useFont(*toBobby, "Arial", "12", true);
        send(*toBobby, QStringLiteral("hello world :)"));

        PMWindow* toAlicia = waitForWindow(bobby, kFromAlicia);
        QVERIFY(toAlicia);
        QVERIFY(QTest::qWaitFor([&] { return !toAlicia->sbStatus().currentMessage().isEmpty(); }));
        QVERIFY(toAlicia->messageView().source().endsWith(receivedLine(
            "alicia", "Arial", "4", "<B>", "hello world " + smilie(bobby, "smilie.gif"))));
        QVERIFY(toAlicia->sbStatus().currentMessage().startsWith("Last IM Received: "));

        // bobby answers; it lands in alicia's open window.
        useFont(*toAlicia, "Verdana", "10", false);
        send(*toAlicia, QStringLiteral("got it :D see www.velmora.org"));
        const QString answer = "got it " + smilie(alicia, "grin.gif") +
                               "see <a href=\"http://www.velmora.org\" "
                               "target=\"_blank\">www.velmora.org</a> ";
        QVERIFY(QTest::qWaitFor([&] {
            return toBobby->messageView().source().endsWith(
                receivedLine("bobby", "Verdana", "3.33333333333333", "", answer));
        }));
        QVERIFY(test::saveScreenshot(*toBobby, QStringLiteral("conversation.png")));
        QCOMPARE(alicia.client->windows().size(), 1);

        // An unknown user, then one who is offline (carol1 never logged in).
        send(*OpenPMWindow(*alicia.client, QStringLiteral("nobody1")), QStringLiteral("anyone?"));
        QVERIFY(QTest::qWaitFor([&] { return alicia.prompter.boxes().size() == 1; }, 10000));
        send(*OpenPMWindow(*alicia.client, QStringLiteral("carol1")), QStringLiteral("later"));
        QVERIFY(QTest::qWaitFor([&] { return alicia.prompter.boxes().size() == 2; }, 10000));
        QCOMPARE(alicia.prompter.texts(),
                 (QStringList{"The username \"nobody1\" is not a valid user!",
                              "The user \"carol1\" is offline!\r\nHowever, the user should get the "
                              "message the next time they login!"}));
        QVERIFY(bobby.prompter.boxes().isEmpty());
    }

    void markupQuotesAndUnicodeArriveAsText() {
        const QString special = QStringLiteral("<b> \"quoted\" & Grüße, 你好");
        const QString longLine =
            QStringLiteral("abcdefghi ").repeated(399) + QStringLiteral("abcdefghij");
        QCOMPARE(longLine.size(), 4000);

        // What the server relays, read by a bare connection logged in as bobby.
        E2eUser alicia(QStringLiteral("alicia"));
        QVERIFY(alicia.logIn(*server_, QStringLiteral("alicia1")));
        QTcpSocket raw;
        raw.connectToHost(QStringLiteral("127.0.0.1"), server_->port());
        QVERIFY(raw.waitForConnected(10000));
        raw.write(" ## cmdLI /:/ bobby /:/ bobby1 /:/ 1.4");
        QByteArray relayed;
        const auto relayedEndsWith = [&](const QByteArray& expected) {
            return QTest::qWaitFor(
                [&] {
                    relayed += raw.readAll();
                    return relayed.endsWith(expected);
                },
                10000);
        };
        QVERIFY(QTest::qWaitFor(
            [&] {
                relayed += raw.readAll();
                return relayed.contains("+BL");
            },
            10000));

        PMWindow* toBobby = OpenPMWindow(*alicia.client, QStringLiteral("bobby"));
        useFont(*toBobby, "Arial", "10", false);
        send(*toBobby, special);
        QVERIFY(relayedEndsWith(
            QStringLiteral(" ## +PM /$/ alicia /$/ <b>%%\"quoted\"%%&%%Grüße,%%你好 /$/ Arial /$/ "
                           "10 /$/ ")
                .toUtf8()));
        relayed.clear();
        send(*toBobby, longLine);
        const QByteArray expectedLong =
            (" ## +PM /$/ alicia /$/ " + QString(longLine).replace(" ", "%%") +
             " /$/ Arial /$/ 10 /$/ ")
                .toUtf8();
        QVERIFY(relayedEndsWith(expectedLong));
        QCOMPARE(relayed, expectedLong);

        // The same messages in bobby's real window (his login ends the bare one).
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(bobby.logIn(*server_, QStringLiteral("bobby1")));
        send(*toBobby, special);
        send(*toBobby, longLine);
        PMWindow* window = waitForWindow(bobby, kFromAlicia);
        QVERIFY(window);
        QVERIFY(QTest::qWaitFor(
            [&] {
                return window->messageView().source().endsWith(
                    receivedLine("alicia", "Arial", "3.33333333333333", "", longLine + " "));
            },
            10000));
        QVERIFY(window->messageView().source().contains(receivedLine(
            "alicia", "Arial", "3.33333333333333", "", "&lt;b> \"quoted\" & Grüße, 你好 ")));
        // And as the user reads it.
        QCOMPARE(window->conversationLog(), "alicia: " + special + "\nalicia: " + longLine + "\n");
        QVERIFY(bobby.prompter.boxes().isEmpty());
    }
};

QTEST_MAIN(PMEndToEndTest)
#include "pm_e2e_test.moc"
