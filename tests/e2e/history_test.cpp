// The message history: lines sent and received through the real velmorad
// (private messages both ways and a room line) found again in Search
// History newest first with time, sender and conversation, and a result
// opened at its line; the retention choice and Clear History on the
// settings dialog; and a damaged history.db, which must cost a clear
// message, never messaging. With VELMORA_SCREENSHOTS set, also a picture of
// the Search History window.
#include "conference/conf_open_dialog.h"
#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "history/history.h"
#include "history/history_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/dispatcher.h"
#include "session/session.h"
#include "shell/main_window.h"
#include "support/client_rig.h"
#include "support/e2e.h"

#include <QComboBox>
#include <QDateTime>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::child;
using velmora::test::E2eUser;

namespace {

constexpr qint64 kDayMs = 24LL * 60 * 60 * 1000;

HistoryWindow* openSearch(Client& client) {
    child<QAction>(client.mainWindow(), "mnuToolsSearchHistory")->trigger();
    return client.session().findWindow<HistoryWindow>();
}

// The rows of the results as "from | conversation | message".
QStringList search(HistoryWindow& window, const QString& words) {
    window.txtSearch().setText(words);
    QTest::keyClick(&window.txtSearch(), Qt::Key_Return);
    QStringList rows;
    for (int i = 0; i < window.lvResults().topLevelItemCount(); ++i) {
        const QTreeWidgetItem* row = window.lvResults().topLevelItem(i);
        rows << row->text(1) + " | " + row->text(2) + " | " + row->text(3);
    }
    return rows;
}

ConfWindow* room(E2eUser& p) {
    return p.client->session().findChild<ConferenceRooms*>()->room();
}

bool enterLobby(E2eUser& p) {
    child<QAction>(p.client->mainWindow(), "mnuToolsOpenConference")->trigger();
    auto* dialog = p.client->session().findWindow<ConfOpenDialog>();
    dialog->txtConfName().setText(QStringLiteral("lobby"));
    child<QPushButton>(*dialog, "cmdOK")->click();
    return QTest::qWaitFor([&] { return room(p) && room(p)->windowTitle().startsWith("lobby"); });
}

// The settings dialog's History page, restored from the file.
QWidget* historyPage(Client& client) {
    // A dialog closed by OK goes at the next turn of the event loop.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    child<QAction>(client.mainWindow(), "mnuEditSettings")->trigger();
    QWidget* dialog = client.session().findWindowByName(QStringLiteral("frmSettings"));
    return dialog ? child<QWidget>(*dialog, "pageHistory") : nullptr;
}

void applySettings(Client& client) {
    QWidget* dialog = client.session().findWindowByName(QStringLiteral("frmSettings"));
    child<QPushButton>(*dialog, "cmdOK")->click();
}

} // namespace

class HistoryTest : public QObject {
    Q_OBJECT

private slots:
    void linesSentAndReceivedAreFoundNewestFirst() {
        test::VelmoradProcess server({{"alicia", "alicia1"}, {"bobby", "bobby1"}});
        QVERIFY(server.start());
        E2eUser alicia(QStringLiteral("alicia"));
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));

        PMWindow* toBobby = OpenPMWindow(alicia.client->session(), QStringLiteral("bobby"));
        test::say(toBobby->txtSendMsg(), QStringLiteral("the quarterly report is ready"));
        QVERIFY(QTest::qWaitFor([&] {
            auto* w = bobby.client->session().findWindow<PMWindow>();
            return w && test::shownText(w->brwMessage()).contains("quarterly");
        }));
        auto* toAlicia = bobby.client->session().findWindow<PMWindow>();
        test::say(toAlicia->txtSendMsg(), QStringLiteral("thanks for the report"));
        QVERIFY(QTest::qWaitFor(
            [&] { return test::shownText(toBobby->brwMessage()).contains("thanks for the"); }));
        QVERIFY(enterLobby(alicia));
        QVERIFY(enterLobby(bobby));
        test::say(room(alicia)->txtSendMsg(), QStringLiteral("report in the lobby"));
        QVERIFY(QTest::qWaitFor(
            [&] { return test::shownText(room(bobby)->brwMessage()).contains("in the lobby"); }));

        HistoryWindow* found = openSearch(*bobby.client);
        QVERIFY(found && found->isVisible());
        QCOMPARE(search(*found, QStringLiteral("REPORT")),
                 (QStringList{"alicia | lobby (room) | report in the lobby",
                              "bobby | alicia | thanks for the report",
                              "alicia | alicia | the quarterly report is ready"}));
        QCOMPARE(found->statusText(), QStringLiteral("3 lines found"));
        const QString today = QLocale().toString(QDate::currentDate(), QLocale::ShortFormat);
        QVERIFY2(found->lvResults().topLevelItem(0)->text(0).startsWith(today),
                 qPrintable(found->lvResults().topLevelItem(0)->text(0)));
        // Words match the start of a word, all of them, in any order.
        QCOMPARE(search(*found, QStringLiteral("read quarter")).size(), 1);
        QCOMPARE(search(*found, QStringLiteral("lobby thanks")), QStringList());
        QCOMPARE(found->statusText(), QStringLiteral("No lines found"));
        // Quotes and operators are words like any other, not query syntax.
        QCOMPARE(search(*found, QStringLiteral("\"report\" AND (NEAR")), QStringList());

        // alicia's history holds her side: her sent line and bobby's answer.
        HistoryWindow* hers = openSearch(*alicia.client);
        QCOMPARE(search(*hers, QStringLiteral("report")).mid(1),
                 (QStringList{"bobby | bobby | thanks for the report",
                              "alicia | bobby | the quarterly report is ready"}));

        // Opening a result shows its conversation with that line marked.
        search(*found, QStringLiteral("report"));
        found->openResult(2);
        QCOMPARE(child<QLabel>(*found, "lblConversation")->text(),
                 QStringLiteral("Conversation with alicia"));
        const QString shown = test::shownText(found->brwConversation());
        QVERIFY2(shown.indexOf("alicia: the quarterly report is ready") <
                         shown.indexOf("bobby: thanks for the report") &&
                     !shown.contains("lobby"),
                 qPrintable(shown));
        QVERIFY2(found->markedText().endsWith("alicia: the quarterly report is ready"),
                 qPrintable(found->markedText()));
        QVERIFY(test::saveScreenshot(*found, QStringLiteral("search-history.png")));
        found->openResult(0);
        QCOMPARE(child<QLabel>(*found, "lblConversation")->text(), QStringLiteral("Room lobby"));
        QVERIFY(found->markedText().endsWith("alicia: report in the lobby"));
    }

    void retentionAndClearOnTheSettingsDialog() {
        test::ClientRig rig;
        History* history = History::of(rig.client.session());
        QVERIFY(history);
        // Lines from 400, 40 and 1 days ago, as an earlier run left them.
        {
            HistoryStore earlier(rig.home.path(), QStringLiteral("earlier run"));
            const qint64 now = QDateTime::currentMSecsSinceEpoch();
            QList<HistoryLine> lines;
            for (int days : {400, 40, 1}) {
                lines.append(HistoryLine{0, now - days * kDayMs, "bobby", false, "alicia", "alicia",
                                         QStringLiteral("line from %1 days ago").arg(days), "Arial",
                                         "10", ""});
            }
            earlier.add(lines);
        }
        HistoryWindow* found = openSearch(rig.client);
        QCOMPARE(search(*found, QStringLiteral("line")).size(), 3);

        // The dialog applied untouched writes none of the history's keys.
        QVERIFY(historyPage(rig.client));
        applySettings(rig.client);
        QVERIFY(!rig.home.readFile(QStringLiteral("Velmora.ini")).contains("History"));

        QSignalSpy removed(history, &History::changed);
        for (const char* keep : {"365 days", "30 days"}) {
            auto* days = child<QComboBox>(*historyPage(rig.client), "cboHistoryKeep");
            days->setCurrentText(QLatin1StringView(keep));
            applySettings(rig.client);
            QVERIFY(removed.wait(5000));
        }
        QCOMPARE(rig.client.session().settings().historyKeepDays(), 30);
        QCOMPARE(search(*found, QStringLiteral("line")),
                 QStringList{"alicia | alicia | line from 1 days ago"});

        // Lines older than any newer line: all of them.
        QCOMPARE(history->store()->removeBefore(QDateTime::currentMSecsSinceEpoch() + 1), 1);

        child<QPushButton>(*historyPage(rig.client), "cmdClearHistory")->click();
        QCOMPARE(rig.prompter.boxes.last().text,
                 QStringLiteral("This deletes every stored line of every conversation from this "
                                "computer.\r\nDo you wish to continue?"));
        QCOMPARE(rig.prompter.boxes.last().style, 36);
        QCOMPARE(found->lvResults().topLevelItemCount(), 0);
        QCOMPARE(search(*found, QStringLiteral("line")), QStringList());
        QCOMPARE(history->store()->lineCount(), 0);
    }

    void linesWaitingAtExitAreKeptWithTheirTime() {
        test::TempHome home;
        test::RecordingPrompter prompter;
        test::RecordingDesktop desktop;
        auto client = std::make_unique<Client>(home.path(), prompter, desktop);
        client->session().values().userName = QStringLiteral("bobby");
        // A message that waited on the server keeps the time it was sent.
        client->session().dispatcher().dispatchBatch(QStringLiteral(
            " ## +OM /$/ 1 :%: sleep%%well%%night :/ carol1 :/ 2026-01-02 03:04:05"));
        client->session().dispatcher().dispatchBatch(
            QStringLiteral(" ## +PM /$/ alicia /$/ good%%night /$/ Arial /$/ 10 /$/ "));
        client.reset();
        HistoryStore next(home.path(), QStringLiteral("next run"));
        const QList<HistoryLine> kept = next.search(QStringLiteral("night"), 10);
        QCOMPARE(kept.size(), 2);
        QCOMPARE(kept[0].owner + " " + kept[0].sender + ": " + kept[0].text,
                 QStringLiteral("bobby alicia: good night"));
        QCOMPARE(kept[1].conversation + ": " + kept[1].text,
                 QStringLiteral("carol1: sleep well night"));
        QCOMPARE(QDateTime::fromMSecsSinceEpoch(kept[1].at),
                 QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5)));
    }

    void aDamagedFileCostsAMessageNeverMessaging() {
        const QString garbage = QStringLiteral("garbage");
        const QString foreign = QStringLiteral("another program's database");
        for (const QString& damage : {garbage, foreign}) {
            test::ClientRig rig;
            const QString path = rig.home.filePath(QStringLiteral("history.db"));
            if (damage == garbage) {
                rig.home.writeFile(QStringLiteral("history.db"), QByteArray(8192, '\x5a'));
            } else {
                QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), damage);
                db.setDatabaseName(path);
                QVERIFY(db.open());
                QSqlQuery(QStringLiteral("PRAGMA user_version = 7"), db).exec();
                db.close();
            }
            QSqlDatabase::removeDatabase(damage);
            QVERIFY(rig.logIn(QStringLiteral("bobby")));
            const auto pm = [&](const char* text) {
                return rig.feed(
                    " ## +PM /$/ alicia /$/ " + QByteArray(text) + " /$/ Arial /$/ 10 /$/ ", [&] {
                        auto* w = rig.client.session().findWindow<PMWindow>();
                        return w && test::shownText(w->brwMessage())
                                        .contains(QString::fromLatin1(text).replace("%%", " "));
                    });
            };
            QVERIFY(pm("still%%talking"));
            HistoryWindow* found = openSearch(rig.client);
            QCOMPARE(search(*found, QStringLiteral("talking")), QStringList());
            QCOMPARE(rig.prompter.boxes.size(), 1);
            const QString text = rig.prompter.boxes[0].text;
            QVERIFY2(
                text.startsWith("The message history cannot be used:\r\nCould not open the "
                                "message history: ") &&
                    text.contains(damage == garbage ? "file is not a database" : "(version 7)"),
                qPrintable(text));
            // Messaging goes on both ways.
            QVERIFY(pm("still%%there"));
            test::say(rig.client.session().findWindow<PMWindow>()->txtSendMsg(), "yes");
            QVERIFY(rig.sent().contains(" ## cmdPM /:/ bobby /:/ alicia /:/ yes /:/ "));

            // Clear History starts a new file that records again.
            child<QPushButton>(*historyPage(rig.client), "cmdClearHistory")->click();
            QVERIFY(pm("fresh%%start"));
            QCOMPARE(search(*found, QStringLiteral("fresh")),
                     QStringList{"alicia | alicia | fresh start"});
            QCOMPARE(rig.prompter.boxes.size(), 2); // the box above and the question
        }
    }
};

QTEST_MAIN(HistoryTest)
#include "history_test.moc"
