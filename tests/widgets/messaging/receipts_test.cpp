// Delivery receipts against a loopback server, over real omess.db and
// history.db files: a server that does not offer them is never sent a
// confirmation; numbered messages are confirmed in one command once kept, and
// when they come again (this run or the next) confirmed, not shown or stored.
// history.db of the earlier layout keeps its lines and takes the numbers.
#include "app/client.h"
#include "history/history.h"
#include "messaging/offline_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "settings/server_list.h"
#include "support/client_rig.h"

#include <QTreeWidget>

#include <memory>

using namespace velmora;

namespace {

const QByteArray kLogin = " ## cmdLI /:/ bobby /:/ bobby1 /:/ 1.4 /:/ receipts";
const QByteArray kOffer = " ## +RC /$/ 5f0c2a9e41d7b386";

// One folder and one loopback server; each run of the client logs in as
// bobby with the saved details.
struct Folder {
    Folder() {
        home.writeFile(QStringLiteral("Velmora.ini"),
                       "[Login Options]\r\nL-User=bobby\r\nL-Pass=bobby1\r\nL-Check=1\r\n"
                       "L-Auto-Connect=1\r\n");
        server_list::save(home.filePath(QStringLiteral("IMServers.ini")), {server.address()});
    }
    // A new run of the client, logged in and answered `after` the login.
    std::unique_ptr<Client> run(const QByteArray& after) {
        auto client = std::make_unique<Client>(home.path(), prompter, desktop);
        client->start();
        if (!server.waitForReceived(kLogin)) {
            return nullptr;
        }
        server.send(" ## +LI /$/ Login=True" + after);
        return QTest::qWaitFor([&] { return !client->existingLoginWindow(); }) ? std::move(client)
                                                                               : nullptr;
    }
    // Everything the client sent since the last call: a probe sent behind
    // it must arrive next.
    QByteArray sent(Client& client) {
        const QByteArray probe = " ## cmdSU /:/ probe";
        client.session().connection().SendData(QString::fromLatin1(probe));
        if (!server.waitForReceived(probe)) {
            return "no round trip: " + server.received;
        }
        return std::exchange(server.received, {}).chopped(probe.size());
    }
    bool confirmed(const QByteArray& numbers) {
        return server.waitForReceived(" ## cmdRC /:/ bobby /:/ " + numbers);
    }
    QStringList rows(const char* file, const char* sql) const {
        return test::sqlColumn(home.filePath(QLatin1StringView(file)), QLatin1StringView(sql));
    }
    QStringList history() const {
        return rows("history.db", "SELECT sender || ': ' || body || ' ' || coalesce(receipt, '-') "
                                  "FROM lines ORDER BY id");
    }

    test::TempHome home;
    test::RecordingPrompter prompter;
    test::RecordingDesktop desktop;
    test::LoopbackServer server;
};

QString shownPM(Client& client) {
    auto* window = client.session().findWindow<PMWindow>();
    return window ? test::shownText(window->brwMessage()) : QString();
}

int listedOffline(Client& client) {
    auto* list = client.session().findWindow<OfflineMessagesWindow>();
    return list ? list->lvMessages().topLevelItemCount() : -1;
}

// The statements of history.db as the version before receipts made it.
const char* const kEarlierHistory[] = {
    "CREATE TABLE lines (id INTEGER PRIMARY KEY, at INTEGER NOT NULL, owner TEXT NOT NULL "
    "COLLATE NOCASE, room INTEGER NOT NULL, conversation TEXT NOT NULL COLLATE NOCASE, sender "
    "TEXT NOT NULL, body TEXT NOT NULL, font_name TEXT, font_size TEXT, style TEXT)",
    "CREATE INDEX lines_of_conversation ON lines (owner, room, conversation, id)",
    "CREATE VIRTUAL TABLE lines_text USING fts5(body, content='lines', content_rowid='id', "
    "prefix='3 4', tokenize='unicode61 remove_diacritics 2')",
    "CREATE TRIGGER lines_added AFTER INSERT ON lines BEGIN INSERT INTO lines_text (rowid, body) "
    "VALUES (new.id, new.body); END",
    "CREATE TRIGGER lines_removed AFTER DELETE ON lines BEGIN INSERT INTO lines_text (lines_text, "
    "rowid, body) VALUES ('delete', old.id, old.body); END",
    "PRAGMA user_version = 1",
    "INSERT INTO lines VALUES (1, 0, 'bobby', 0, 'alicia', 'alicia', 'old times', 'Arial', '10', "
    "'')",
};

} // namespace

class ReceiptsTest : public QObject {
    Q_OBJECT

private slots:
    void withoutTheOfferNothingIsConfirmed() {
        Folder folder;
        std::unique_ptr<Client> client = folder.run({});
        QVERIFY(client);
        folder.server.send(" ## +PM /$/ alicia /$/ hi /$/ Arial /$/ 10 /$/ "
                           " ## +OM /$/ 1 :%: later :/ carol1 :/ 2026-01-02 03:04:05");
        QVERIFY(QTest::qWaitFor(
            [&] { return shownPM(*client).contains("hi") && listedOffline(*client) == 1; }));
        // Both lines written, and whatever their writing set off has run.
        QCOMPARE(History::of(client->session())->store()->lineCount(), 2);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(folder.sent(*client), kLogin);
    }

    void keptMessagesAreConfirmedAndNeverShownTwice() {
        Folder folder;
        for (const char* sql : kEarlierHistory) {
            (void)folder.rows("history.db", sql);
        }
        std::unique_ptr<Client> client = folder.run(kOffer);
        QVERIFY(client);
        folder.server.send(" ## +PM /$/ alicia /$/ hello /$/ Arial /$/ 10 /$/  /$/ 17");
        QVERIFY(folder.confirmed("17"));
        // By the time the server hears of it, the line is on disk.
        QCOMPARE(folder.history(),
                 (QStringList{"alicia: old times -", "alicia: hello 5f0c2a9e41d7b386:17"}));
        QVERIFY(shownPM(*client).contains("alicia: hello"));
        QCOMPARE(folder.sent(*client), kLogin + " ## cmdRC /:/ bobby /:/ 17");

        const QByteArray page = " ## +OM /$/ 2 :%: one :/ carol1 :/ 2026-01-02 03:04:05 :/ 18 "
                                ":%: two :/ carol1 :/ 2026-01-02 03:04:06 :/ 19";
        folder.server.send(page);
        QVERIFY(folder.confirmed("18-19"));
        QCOMPARE(folder.rows("omess.db", "SELECT message FROM messages"),
                 (QStringList{"one", "two"}));
        QCOMPARE(folder.history().mid(2), (QStringList{"carol1: one 5f0c2a9e41d7b386:18",
                                                       "carol1: two 5f0c2a9e41d7b386:19"}));
        QCOMPARE(folder.sent(*client), " ## cmdRC /:/ bobby /:/ 18-19");
        // The same message twice in one arrival, before anything is written.
        folder.server.send(" ## +PM /$/ alicia /$/ again /$/ Arial /$/ 10 /$/  /$/ 21"
                           " ## +PM /$/ alicia /$/ again /$/ Arial /$/ 10 /$/  /$/ 21");
        QVERIFY(QTest::qWaitFor([&] { return folder.server.received.count("cmdRC") == 2; }));
        QCOMPARE(shownPM(*client).count("again"), 1);
        QCOMPARE(folder.sent(*client), " ## cmdRC /:/ bobby /:/ 21 ## cmdRC /:/ bobby /:/ 21");

        // The next run knows them from history.db alone.
        client.reset();
        client = folder.run(kOffer);
        QVERIFY(client);
        folder.server.send(" ## +PM /$/ alicia /$/ hello /$/ Arial /$/ 10 /$/  /$/ 17");
        QVERIFY(folder.confirmed("17"));
        QVERIFY(!client->session().findWindow<PMWindow>());
        folder.server.send(page + " :%: three :/ carol1 :/ 2026-01-02 03:04:07 :/ 20");
        QVERIFY(folder.confirmed("20"));
        QCOMPARE(folder.sent(*client), kLogin +
                                           " ## cmdRC /:/ bobby /:/ 17 ## cmdRC /:/ bobby /:/ 18-19"
                                           " ## cmdRC /:/ bobby /:/ 20");
        QCOMPARE(listedOffline(*client), 3);
        QCOMPARE(folder.rows("omess.db", "SELECT message FROM messages").size(), 3);
        QCOMPARE(folder.history().size(), 6);
        QCOMPARE(folder.rows("history.db", "PRAGMA user_version"), QStringList{"2"});
        QCOMPARE(History::of(client->session())->store()->search("old", 5).size(), 1);
    }
};

QTEST_MAIN(ReceiptsTest)
#include "receipts_test.moc"
