// Nothing lost between the real velmorad and the real client, with more data
// than any buffer on the way holds: a mailbox of 1 MB and one of 5 MB stored
// whole in omess.db and not again at the next login, and bursts of private
// messages from many senders at once (30 and 300, of 12,000 bytes), each
// opening its window. Senders speak the wire protocol; the receiver is the
// client, counted by what it stored and showed.
#include "messaging/offline_database.h"
#include "messaging/pm_window.h"
#include "session/session.h"
#include "support/e2e.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTcpSocket>

#include <memory>
#include <vector>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

// A user on a plain connection of the test's own.
class WireSender {
public:
    WireSender(const test::VelmoradProcess& server, const QString& name) : name_(name) {
        const QStringList hostPort = server.address().split(QLatin1Char(':'));
        socket_.connectToHost(hostPort[0], hostPort[1].toUShort());
        socket_.waitForConnected(5000);
        socket_.write(" ## cmdLI /:/ " + name.toUtf8() + " /:/ secret /:/ 1.4");
        (void)waitFor(" ## +BL /$/ ");
    }
    // Makes `buddy` a buddy, so that their logouts are heard.
    void watch(const QString& buddy) {
        socket_.write(" ## cmdAB /:/ " + name_.toUtf8() + " /:/ " + buddy.toUtf8());
        (void)waitFor(" ## +BL /$/ ", 2);
    }
    void send(const QString& to, const QByteArray& text) {
        socket_.write(" ## cmdPM /:/ " + name_.toUtf8() + " /:/ " + to.toUtf8() + " /:/ " + text +
                      " /:/ Arial /:/ 10 /:/ ");
    }
    // Waits until `count` times `marker` has come.
    [[nodiscard]] bool waitFor(const QByteArray& marker, qsizetype count = 1) {
        return QTest::qWaitFor(
            [&] {
                received_ += socket_.readAll();
                return received_.count(marker) >= count;
            },
            30000);
    }

private:
    QString name_;
    QTcpSocket socket_;
    QByteArray received_;
};

// The messages the server still keeps, read from its database.
qint64 waitingOn(const test::VelmoradProcess& server) {
    qint64 rows = -1;
    {
        QSqlDatabase db =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("srv"));
        db.setDatabaseName(server.database());
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        if (db.open()) {
            QSqlQuery query(QStringLiteral("SELECT count(*) FROM offline"), db);
            rows = query.next() ? query.value(0).toLongLong() : -1;
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("srv"));
    return rows;
}

qsizetype storedFor(E2eUser& user) {
    qsizetype rows = 0;
    OfflineDatabase database(user.home.path(), QStringLiteral("count"));
    database.forEachMessage(user.name, [&](const StoredMessage&) { ++rows; });
    return rows;
}

} // namespace

class DeliveryTest : public QObject {
    Q_OBJECT

private slots:
    void mailboxesOfAnySizeAreStoredWholeAndOnce() {
        test::VelmoradProcess server({{"alicia", "secret"}, {"bobby", "bobby1"}},
                                     {"--commands-per-second", "0"});
        QVERIFY(server.start());
        WireSender alicia(server, QStringLiteral("alicia"));
        alicia.watch(QStringLiteral("bobby"));
        E2eUser bobby(QStringLiteral("bobby"));
        // 100 of 10,000 bytes, then 500 (the mailbox's limit, 5 MB), each
        // while bobby is away.
        qsizetype sent = 0;
        int away = 0;
        for (const int count : {100, 500}) {
            if (sent > 0) {
                bobby.restart();
                QVERIFY(alicia.waitFor(" ## +LOff /$/ bobby", ++away));
            }
            for (int i = 0; i < count; ++i) {
                alicia.send(QStringLiteral("bobby"),
                            QByteArray::number(sent + i).rightJustified(6, '0') +
                                QByteArray(9994, 'x'));
            }
            sent += count;
            QVERIFY(alicia.waitFor(" ## +UNO /$/ bobby", sent));
            QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
            QVERIFY2(QTest::qWaitFor([&] { return storedFor(bobby) >= sent; }, 60000),
                     qPrintable(QString::number(storedFor(bobby)) + " of " + QString::number(sent) +
                                " stored"));
            // The client confirmed each one: the server keeps none of them.
            QVERIFY(QTest::qWaitFor([&] { return waitingOn(server) == 0; }, 30000));
        }
        // Confirmed, so not sent again: a round trip through the server
        // after the next login finds nothing more stored.
        bobby.restart();
        QVERIFY(alicia.waitFor(" ## +LOff /$/ bobby", ++away));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        alicia.send(QStringLiteral("bobby"), "last");
        QVERIFY(test::shown<PMWindow>(bobby));
        QCOMPARE(storedFor(bobby), sent);
        QCOMPARE(bobby.prompter.boxes.size(), 0);
    }

    void burstsFromManySendersOpenEveryWindow() {
        constexpr int kSenders = 300;
        std::vector<std::pair<QByteArray, QByteArray>> accounts;
        accounts.reserve(kSenders + 1);
        accounts.emplace_back("bobby", "bobby1");
        for (int i = 0; i < kSenders; ++i) {
            accounts.emplace_back("sender" + QByteArray::number(i), "secret");
        }
        test::VelmoradProcess server(
            {}, {"--commands-per-second", "0", "--max-connections-per-address", "1000"});
        for (const auto& [name, password] : accounts) {
            server.addUser(name.constData(), password.constData());
        }
        QVERIFY(server.start());
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        std::vector<std::unique_ptr<WireSender>> senders;
        for (int i = 0; i < kSenders; ++i) {
            senders.push_back(std::make_unique<WireSender>(server, QStringLiteral("sender") +
                                                                       QString::number(i)));
        }
        const auto windows = [&] { return test::visibleWindows<PMWindow>(*bobby.client).size(); };
        for (const int burst : {30, kSenders}) {
            for (int i = 0; i < burst; ++i) {
                senders[static_cast<std::size_t>(i)]->send(QStringLiteral("bobby"),
                                                           QByteArray(12000, 'b'));
            }
            QVERIFY2(QTest::qWaitFor([&] { return windows() >= burst; }, 60000),
                     qPrintable(QString::number(windows()) + " of " + QString::number(burst) +
                                " windows"));
        }
        QCOMPARE(windows(), kSenders);
        QCOMPARE(bobby.prompter.boxes.size(), 0);
    }
};

QTEST_MAIN(DeliveryTest)
#include "delivery_test.moc"
