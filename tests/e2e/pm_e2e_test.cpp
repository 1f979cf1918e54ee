// Private messages between two clients through the real velmorad: what
// each side reads, what the server relays byte for byte, and the answers
// for unknown and absent users.
#include "controls/font_toolbar.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "support/client_rig.h"
#include "support/e2e.h"

#include <QPlainTextEdit>
#include <QStatusBar>
#include <QTcpSocket>
#include <QTest>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

// Sends `text` in plain `font`.
void send(PMWindow& w, const QString& text, const char* font = "Arial") {
    FontToolbar& tb = w.tbFontSettings();
    tb.setFontName(QLatin1StringView(font));
    tb.setBold(false);
    tb.setItalic(false);
    tb.setUnderlined(false);
    w.txtSendMsg().setPlainText(text);
    QTest::keyClick(&w.txtSendMsg(), Qt::Key_Return);
}

PMWindow* windowFrom(E2eUser& user, const QString& sender) {
    const QString caption = sender + QStringLiteral(" - Instant Message");
    (void)QTest::qWaitFor([&] { return user.client->findWindowByCaption(caption); }, 10000);
    return qobject_cast<PMWindow*>(user.client->findWindowByCaption(caption));
}

bool reads(PMWindow& w, const QString& log) {
    return QTest::qWaitFor([&] { return w.conversationLog() == log; }, 10000);
}

} // namespace

class PMEndToEndTest : public QObject {
    Q_OBJECT

private slots:
    void aliciaAndBobbyTalk() {
        test::VelmoradProcess server(
            {{"alicia", "alicia1"}, {"bobby", "bobby1"}, {"carol1", "carol11"}});
        QVERIFY(server.start());
        E2eUser alicia(QStringLiteral("alicia"));
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));

        PMWindow* toBobby = OpenPMWindow(*alicia.client, QStringLiteral("bobby"));
        send(*toBobby, QStringLiteral("hello world :)"));
        PMWindow* toAlicia = windowFrom(bobby, QStringLiteral("alicia"));
        QVERIFY(toAlicia);
        QVERIFY(reads(*toAlicia, QStringLiteral("alicia: hello world :)\n")));
        // Smilies and links arrive drawn, in the sender's font.
        QVERIFY(test::shownText(toAlicia->brwMessage()).endsWith("alicia: hello world \ufffc "));
        QVERIFY(toAlicia->sbStatus().currentMessage().startsWith("Last IM Received: "));

        // bobby answers; it lands in alicia's open window.
        send(*toAlicia, QStringLiteral("got it :D see www.velmora.org"), "Verdana");
        QVERIFY(reads(*toBobby, QStringLiteral("alicia: hello world :)\n"
                                               "bobby: got it :D see www.velmora.org\n")));
        QVERIFY(toBobby->brwMessage().source().contains("face=\"Verdana\""));
        QVERIFY(toBobby->brwMessage().source().contains("<a href=\"http://www.velmora.org\""));
        QVERIFY(test::saveScreenshot(*toBobby, QStringLiteral("conversation.png")));
        QCOMPARE(alicia.client->windows().size(), 1);

        // An unknown user, then one who is offline (carol1 never logged in).
        send(*OpenPMWindow(*alicia.client, QStringLiteral("nobody1")), QStringLiteral("anyone?"));
        send(*OpenPMWindow(*alicia.client, QStringLiteral("carol1")), QStringLiteral("later"));
        QVERIFY(QTest::qWaitFor([&] { return alicia.prompter.boxes.size() == 2; }, 10000));
        QCOMPARE(alicia.prompter.texts(),
                 (QStringList{"The username \"nobody1\" is not a valid user!",
                              "The user \"carol1\" is offline!\r\nHowever, the user should get the "
                              "message the next time they login!"}));
        QVERIFY(bobby.prompter.boxes.isEmpty());
    }

    void markupQuotesUnicodeAndLongLinesArriveAsText() {
        test::VelmoradProcess server({{"alicia", "alicia1"}, {"bobby", "bobby1"}});
        QVERIFY(server.start());
        const QString special = QStringLiteral("<b> \"quoted\" & Grüße, 你好");
        const QString longLine =
            QStringLiteral("abcdefghi ").repeated(399) + QStringLiteral("abcdefghij");
        QCOMPARE(longLine.size(), 4000);

        // What the server relays, read by a bare connection logged in as bobby.
        E2eUser alicia(QStringLiteral("alicia"));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QTcpSocket raw;
        raw.connectToHost(QStringLiteral("127.0.0.1"), server.port());
        QVERIFY(raw.waitForConnected(10000));
        raw.write(" ## cmdLI /:/ bobby /:/ bobby1 /:/ 1.4");
        QByteArray relayed;
        const auto relayedEndsWith = [&](const QByteArray& expected) {
            return QTest::qWaitFor([&] { return (relayed += raw.readAll()).endsWith(expected); },
                                   10000);
        };
        QVERIFY(QTest::qWaitFor([&] { return (relayed += raw.readAll()).contains("+BL"); }, 10000));
        PMWindow* toBobby = OpenPMWindow(*alicia.client, QStringLiteral("bobby"));
        toBobby->tbFontSettings().setFontSize(QStringLiteral("10"));
        for (const QString& text : {special, longLine}) {
            relayed.clear();
            send(*toBobby, text);
            const QByteArray expected =
                (" ## +PM /$/ alicia /$/ " + QString(text).replace(" ", "%%") +
                 " /$/ Arial /$/ 10 /$/ ")
                    .toUtf8();
            QVERIFY(relayedEndsWith(expected));
            QCOMPARE(relayed, expected);
        }

        // The same messages in bobby's real window (his login ends the bare one).
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        send(*toBobby, special);
        send(*toBobby, longLine);
        PMWindow* window = windowFrom(bobby, QStringLiteral("alicia"));
        QVERIFY(window);
        QVERIFY(reads(*window, "alicia: " + special + "\nalicia: " + longLine + "\n"));
        QVERIFY(test::shownText(window->brwMessage()).contains("alicia: " + special + " \n"));
        QVERIFY(bobby.prompter.boxes.isEmpty());
    }
};

QTEST_MAIN(PMEndToEndTest)
#include "pm_e2e_test.moc"
