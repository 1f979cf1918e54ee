// Files between real clients through the real velmorad: 100 MB each way at
// once, on the plain port and inside TLS, and a receiving client killed with
// SIGKILL halfway and started again, on one node and across two joined by
// Redis. Each file is checked by its SHA-256 against the one sent. The client
// that is killed is this program run again as a client of its own
// (--receive), since a client inside the test's process cannot be killed.
// With VELMORA_SCREENSHOTS set, also the offer, the sender window and a
// finished transfer on screen.
#include "messaging/pm_window.h"
#include "redis_server.h"
#include "session/file_transfers.h"
#include "session/session.h"
#include "shell/login_window.h"
#include "support/e2e.h"
#include "support/test_certificate.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCryptographicHash>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTimer>

#include <csignal>
#include <iostream>
#include <random>

using namespace velmora;
using velmora::test::child;
using velmora::test::E2eUser;

namespace {

constexpr qint64 kFileBytes = 100 * 1000 * 1000;

// `bytes` of noise under `path`, which nothing could shorten or mistake for
// another file of the test.
QString makeFile(const QString& path, qint64 bytes) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return {};
    }
    std::mt19937_64 noise(qHash(path));
    QByteArray block(1 << 20, Qt::Uninitialized);
    for (qint64 left = bytes; left > 0; left -= block.size()) {
        auto* words = reinterpret_cast<std::uint64_t*>(block.data());
        for (qsizetype i = 0; i < block.size() / 8; ++i) {
            words[i] = noise();
        }
        file.write(block.constData(), std::min<qint64>(left, block.size()));
    }
    return path;
}

QByteArray sha256Of(const QString& path) {
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result().toHex()
                                                                 : QByteArray("missing");
}

enum class Way { Sending, Receiving };

// A client's window of the transfer with `peer` that goes `way`, once one shows.
QWidget* transferWindow(Client& client, const QString& peer, Way way = Way::Sending) {
    const QString title = (way == Way::Sending ? QStringLiteral("Sending File to ")
                                               : QStringLiteral("Receiving File from ")) +
                          peer;
    QWidget* found = nullptr;
    (void)QTest::qWaitFor(
        [&] {
            for (QWidget* w : test::visibleWindows<QWidget>(client, "frmFileSender")) {
                if (child<QLabel>(*w, "lblRemoteUser")->text() == peer &&
                    w->windowTitle() == title) {
                    found = w;
                }
            }
            return found != nullptr;
        },
        20000);
    return found;
}

QString statusOf(QWidget* window) {
    return window ? child<QLabel>(*window, "lblStatus")->text() : QStringLiteral("no window");
}

// Waits until `window` shows `status`, for as long as 100 MB may take. The
// event loop runs as in the program, without the pauses of QTest's waits,
// so that the transfer goes at its own speed.
bool ends(QWidget* window, const QString& status) {
    QEventLoop loop;
    QTimer check, limit;
    QObject::connect(&check, &QTimer::timeout, [&] {
        if (statusOf(window) == status) {
            loop.quit();
        }
    });
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    check.start(50);
    limit.start(120000);
    loop.exec();
    return statusOf(window) == status;
}

// Accepts the next offer `client` shows, into its download folder.
bool acceptOffer(Client& client, const QString& screenshot = {}) {
    QWidget* offer = nullptr;
    if (!QTest::qWaitFor(
            [&] {
                offer = test::visibleWindows<QWidget>(client, "frmFileOffer").value(0);
                return offer != nullptr;
            },
            20000)) {
        return false;
    }
    if (!screenshot.isEmpty() && !test::saveScreenshot(*offer, screenshot)) {
        return false;
    }
    child<QPushButton>(*offer, "cmdAccept")->click();
    return true;
}

// Send File from `user`'s message window with `peer`, choosing `path`.
void offerFile(E2eUser& user, test::ScriptedChooser& chooser, const QString& peer,
               const QString& path) {
    user.client->session().files().setFileChooser(&chooser);
    chooser.answers = {path};
    PMWindow* w = OpenPMWindow(user.client->session(), peer);
    child<QAction>(*w, "mnuFileSendFile")->trigger();
}

// The receiving client as a program of its own: logs in to ADDRESS with its
// folder HOME, accepts every offer into HOME/Downloads, and says "ready" on
// stdout once logged in.
int runReceiver(const QStringList& args) {
    const QString home = args.value(2), address = args.value(3);
    const QString name = args.value(4), password = args.value(5);
    test::RecordingPrompter prompter;
    test::RecordingDesktop desktop;
    Client client(home, prompter, desktop);
    client.session().files().setDownloadFolder(home + QStringLiteral("/Downloads"));
    LoginWindow& login = client.loginWindow();
    login.show();
    child<QComboBox>(login, "cboHost")->setEditText(address);
    child<QLineEdit>(login, "txtUName")->setText(name);
    child<QLineEdit>(login, "txtPWord")->setText(password);
    child<QPushButton>(login, "cmdLogin")->click();
    QObject::connect(&client.session(), &Session::loggedIn,
                     [] { std::cout << "ready" << std::endl; });
    QTimer accept;
    QObject::connect(&accept, &QTimer::timeout, [&] {
        for (QWidget* offer : test::visibleWindows<QWidget>(client, "frmFileOffer")) {
            child<QPushButton>(*offer, "cmdAccept")->click();
        }
    });
    accept.start(20);
    return QApplication::exec();
}

class ReceiverProcess {
public:
    ReceiverProcess(QString home, QString address) : home_(std::move(home)), address_(address) {
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    ~ReceiverProcess() { kill(); }
    [[nodiscard]] bool start() {
        process_.start(QCoreApplication::applicationFilePath(),
                       {QStringLiteral("--receive"), home_, address_, QStringLiteral("bobby"),
                        QStringLiteral("bobby1")});
        return process_.waitForStarted(10000) &&
               QTest::qWaitFor([&] { return process_.canReadLine(); }, 20000) &&
               process_.readLine() == "ready\n";
    }
    void kill() {
        if (process_.state() != QProcess::NotRunning) {
            ::kill(static_cast<pid_t>(process_.processId()), SIGKILL);
            process_.waitForFinished(10000);
        }
    }

private:
    QString home_, address_;
    QProcess process_;
};

// What the server logged that names where a transfer started.
QString startsIn(const QByteArray& log) {
    QStringList starts;
    for (const QByteArray& line : log.split('\n')) {
        if (line.contains(" started")) {
            starts << QString::fromUtf8(line.mid(line.indexOf("from byte")));
        }
    }
    return starts.join(QLatin1Char('|'));
}

} // namespace

class FileTransferTest : public QObject {
    Q_OBJECT

private slots:
    void hundredMegabytesEachWayPlainAndEncrypted() {
        QTemporaryDir folder;
        const auto certificate = test::makeCertificate(folder.path().toStdString(), "node");
        test::VelmoradProcess server({{"alicia", "alicia1"}, {"bobby", "bobby1"}});
        server.useTls(QString::fromStdString(certificate.certificateFile),
                      QString::fromStdString(certificate.keyFile));
        QVERIFY(server.start());
        const QString toBobby = makeFile(folder.filePath("for bobby.bin"), kFileBytes);
        const QString toAlicia = makeFile(folder.filePath("for alicia.bin"), kFileBytes);
        for (const bool encrypted : {false, true}) {
            const QString kind = encrypted ? QStringLiteral("tls-") : QString();
            E2eUser alicia("alicia"), bobby("bobby");
            for (E2eUser* user : {&alicia, &bobby}) {
                QVERIFY(user->logIn(server, user->name + "1", encrypted));
                user->client->session().files().setDownloadFolder(user->home.filePath("Downloads"));
            }
            test::ScriptedChooser aliciaChooser, bobbyChooser;
            offerFile(alicia, aliciaChooser, "bobby", toBobby);
            offerFile(bobby, bobbyChooser, "alicia", toAlicia);
            QVERIFY(acceptOffer(*bobby.client, encrypted ? QString() : "file-offer.png"));
            QVERIFY(acceptOffer(*alicia.client));
            QWidget* sending = transferWindow(*alicia.client, "bobby");
            if (!encrypted) {
                // On screen once it has measured its speed, if it has not ended by then.
                (void)QTest::qWaitFor(
                    [&] { return !child<QLabel>(*sending, "lblSpeed")->text().isEmpty(); }, 3000);
                QVERIFY(test::saveScreenshot(*sending, "file-sending.png"));
            }
            const std::pair<QWidget*, const char*> ends_[] = {
                {sending, "Sent."},
                {transferWindow(*bobby.client, "alicia"), "Sent."},
                {transferWindow(*bobby.client, "alicia", Way::Receiving), "Received."},
                {transferWindow(*alicia.client, "bobby", Way::Receiving), "Received."}};
            for (const auto& [window, status] : ends_) {
                QVERIFY2(ends(window, status), qPrintable(kind + statusOf(window)));
            }
            QCOMPARE(sha256Of(bobby.home.filePath("Downloads/for bobby.bin")), sha256Of(toBobby));
            QCOMPARE(sha256Of(alicia.home.filePath("Downloads/for alicia.bin")),
                     sha256Of(toAlicia));
            QVERIFY(!QFile::exists(bobby.home.filePath("Downloads/for bobby.bin.part")));
            if (!encrypted) {
                QVERIFY(test::saveScreenshot(
                    *transferWindow(*bobby.client, "alicia", Way::Receiving), "file-received.png"));
            }
            // Only the question about the certificate, on the first TLS login.
            QCOMPARE(alicia.prompter.boxes.size() + bobby.prompter.boxes.size(), encrypted ? 2 : 0);
        }
    }

    void cutHalfwayGoesOnWhereItStopped_data() {
        QTest::addColumn<bool>("twoNodes");
        QTest::addColumn<bool>("serverKilled");
        QTest::newRow("receiver killed") << false << false;
        QTest::newRow("receiver killed, two nodes") << true << false;
        QTest::newRow("server killed") << false << true;
    }
    void cutHalfwayGoesOnWhereItStopped() {
        QFETCH(bool, twoNodes);
        QFETCH(bool, serverKilled);
        if (twoNodes && !test::RedisServer::installed()) {
            QSKIP(test::RedisServer::kMissing);
        }
        QTemporaryDir folder;
        const QString file = makeFile(folder.filePath("halves.bin"), kFileBytes);
        // 25 MB/s, so that halfway lasts long enough to be met.
        const QStringList slow{"--file-rate", "25000000"};
        std::unique_ptr<test::RedisServer> redis;
        QStringList bus;
        if (twoNodes) {
            redis = std::make_unique<test::RedisServer>();
            bus = QStringList{"--bus", QString::fromStdString(redis->url())};
        }
        test::VelmoradProcess nodeA({{"alicia", "alicia1"}, {"bobby", "bobby1"}}, slow + bus);
        QVERIFY(nodeA.start());
        // The second node shares the first one's database and Redis.
        test::VelmoradProcess nodeB({}, slow + bus + QStringList{"--db", nodeA.database()});
        QVERIFY(!twoNodes || nodeB.start());
        const QString bobbyAt = twoNodes ? nodeB.address() : nodeA.address();

        E2eUser alicia("alicia");
        QVERIFY(alicia.logIn(nodeA, "alicia1"));
        const QString home = folder.filePath("bobby");
        QVERIFY(QDir().mkpath(home));
        ReceiverProcess bobby(home, bobbyAt);
        QVERIFY(bobby.start());
        test::ScriptedChooser chooser;
        offerFile(alicia, chooser, "bobby", file);
        const QString part = home + "/Downloads/halves.bin.part";
        QVERIFY(QTest::qWaitFor([&] { return QFileInfo(part).size() >= kFileBytes / 2; }, 60000));
        if (serverKilled) {
            // Both clients log in again by themselves; the sender offers the
            // file again and the receiver takes it up where it stopped.
            nodeA.stop();
            QVERIFY2(QFileInfo(part).size() < kFileBytes, "the file was whole before the cut");
            QVERIFY(nodeA.start());
        } else {
            bobby.kill();
            QVERIFY2(QFileInfo(part).size() < kFileBytes, "the file was whole before the cut");
            QVERIFY(bobby.start());
        }
        QVERIFY2(ends(transferWindow(*alicia.client, "bobby"), "Sent."),
                 qPrintable(statusOf(transferWindow(*alicia.client, "bobby"))));
        QCOMPARE(sha256Of(home + "/Downloads/halves.bin"), sha256Of(file));
        QVERIFY(!QFile::exists(part));
        // Every start after the first went on from what the receiver had
        // kept (after a server restart both ends may come back more than
        // once, each time from the part file's end), never from byte 0.
        const QStringList starts = startsIn(nodeA.errorOutput()).split(QLatin1Char('|'));
        QVERIFY2(starts.size() >= 2, qPrintable(starts.join(" | ")));
        QCOMPARE(starts[0], "from byte 0 of " + QString::number(kFileBytes) + " started");
        for (const QString& later : starts.mid(1)) {
            QVERIFY2(!later.startsWith("from byte 0 "), qPrintable(starts.join(" | ")));
        }
        QVERIFY(alicia.prompter.boxes.isEmpty());
    }
};

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (app.arguments().value(1) == QLatin1String("--receive")) {
        return runReceiver(app.arguments());
    }
    FileTransferTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "file_transfer_test.moc"
