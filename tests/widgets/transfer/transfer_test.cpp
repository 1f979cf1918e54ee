// File transfers as a user and the server see them: which offers and answers
// move anything, the names files are saved under, and the data connection
// against a stand-in relay that misbehaves as the real server cannot.
#include "session/dispatcher.h"
#include "session/file_transfers.h"
#include "shell/main_window.h"
#include "support/client_rig.h"
#include "transfer/file_name.h"
#include "transfer/transfer_window.h"

#include <QCryptographicHash>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QUrl>

using namespace velmora;
using namespace velmora::test;

namespace {

const QByteArray kToken = "3f9c0e7a5b1d2468ace0f13579bdf024";

// Takes data connections as the node holding an offer would.
struct Relay {
    Relay() {
        server.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server, &QTcpServer::newConnection, [this] {
            QTcpSocket* peer = server.nextPendingConnection();
            peers.append(peer);
            received.append(QByteArray());
            const qsizetype i = received.size() - 1;
            QObject::connect(peer, &QTcpSocket::readyRead,
                             [this, peer, i] { received[i] += peer->readAll(); });
        });
    }
    // The id of an offer held here.
    QByteArray id() const {
        return kToken + "@127.0.0.1/" + QByteArray::number(server.serverPort()) + "/";
    }
    bool waitFor(qsizetype peer, const QByteArray& bytes) {
        return QTest::qWaitFor([&] { return received.size() > peer && received[peer] == bytes; },
                               5000);
    }
    QTcpServer server;
    QList<QPointer<QTcpSocket>> peers;
    QList<QByteArray> received;
};

struct TransferRig : ClientRig {
    TransferRig() {
        client.session().files().setFileChooser(&chooser);
        client.session().files().setDownloadFolder(home.filePath(QStringLiteral("Downloads")));
    }
    QWidget* offerWindow() {
        return client.session().findWindowByName(QStringLiteral("frmFileOffer"));
    }
    TransferWindow* transferWindow() { return client.session().findWindow<TransferWindow>(); }
    QString status() { return transferWindow() ? transferWindow()->status() : QString(); }
    ScriptedChooser chooser;
};

} // namespace

class TransferTest : public QObject {
    Q_OBJECT
private slots:
    void offeredNamesBecomePlainNamesInTheFolder() {
        QCOMPARE(plainFileName(QStringLiteral("../../.bashrc")), QStringLiteral("bashrc"));
        QCOMPARE(plainFileName(QStringLiteral("C:\\Windows\\..")), QStringLiteral("file"));
        QCOMPARE(plainFileName(QStringLiteral("..")), QStringLiteral("file"));
        QCOMPARE(plainFileName(QStringLiteral("CON.txt")), QStringLiteral("_CON.txt"));
        QCOMPARE(plainFileName(QStringLiteral("lpt9")), QStringLiteral("_lpt9"));
        QCOMPARE(plainFileName(QStringLiteral(" re\x01po\nrt.pdf. ")),
                 QStringLiteral("report.pdf"));
        QCOMPARE(plainFileName(QStringLiteral("a ## b.txt")), QStringLiteral("a_b.txt"));
        const QString longName = QString(300, QChar(0x00e9)) + QStringLiteral(".pdf");
        const QString cut = plainFileName(longName);
        QVERIFY(cut.toUtf8().size() <= 255 && cut.endsWith(QStringLiteral(".pdf")));

        TempHome home;
        home.writeFile(QStringLiteral("a.txt"), "x");
        home.writeFile(QStringLiteral("a (1).txt"), "x");
        QCOMPARE(freeFileName(home.path(), QStringLiteral("a.txt")), QStringLiteral("a (2).txt"));
    }

    void onlyWellFormedOffersAndOwnAnswersMoveAnything() {
        TransferRig rig;
        QVERIFY(rig.logIn(QStringLiteral("alice")));
        // Malformed offers: a size that is no byte count, a bad sender name,
        // an id that is no token.
        QVERIFY(rig.feed(" ## +FR /$/ bobby /$/ f.txt /$/ -1 /$/ " + kToken +
                             " ## +FR /$/ bo by /$/ f.txt /$/ 12 /$/ " + kToken +
                             " ## +FR /$/ bobby /$/ f.txt /$/ 12 /$/ " + kToken.toUpper() +
                             // Known answers for transfers that are not ours.
                             " ## +FA /$/ SF /$/ " + kToken + " /$/ 0 ## +FA /$/ UO /$/ " + kToken +
                             " /$/ bobby ## +FA /$/ FD /$/ " + kToken +
                             " /$/ declined ## +FA /$/ sf /$/ " + kToken + " /$/ 0",
                         [&] { return rig.prompter.boxes.size() == 1; }));
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"Error: Returned Value For The File Send Reqest Was Invalid!"});
        QCOMPARE(rig.prompter.boxes[0].style, 4160);
        QVERIFY(!rig.offerWindow() && !rig.transferWindow());

        // A well-formed offer asks; declining answers with FD.
        QVERIFY(rig.feed(" ## +FR /$/ bobby /$/ ../report.pdf /$/ 81920 /$/ " + kToken,
                         [&] { return rig.offerWindow() != nullptr; }));
        QWidget* offer = rig.offerWindow();
        QCOMPARE(child<QLabel>(*offer, "lblSender")->text(), QStringLiteral("bobby"));
        QCOMPARE(child<QLabel>(*offer, "lblFileName")->text(), QStringLiteral("report.pdf"));
        QVERIFY(child<QLabel>(*offer, "lblFileSize")->text().contains(QStringLiteral("81,920")));
        QVERIFY(!rig.desktop.notifications.isEmpty());
        QTest::mouseClick(child<QPushButton>(*offer, "cmdDecline"), Qt::LeftButton);
        QCOMPARE(rig.sent(), " ## cmdFA /:/ alice /:/ bobby /:/ " + kToken + " /:/ FD");
        QVERIFY(!rig.offerWindow());

        // Send File with no window open asks for a file and offers it; the
        // answers that name it move its window on.
        rig.home.writeFile(QStringLiteral("notes.txt"), "hello");
        rig.chooser.answers = {rig.home.filePath(QStringLiteral("notes.txt"))};
        rig.client.session().dispatcher().dispatchBatch(QStringLiteral(" ## +BL /$/ n %/ bobby"));
        rig.client.mainWindow().tvBuddies().setCurrentItem(
            rig.client.mainWindow().buddies().findBuddy(QStringLiteral("bobby")));
        rig.action("mnuToolsSendFile")->trigger();
        const QByteArray offered = rig.sent();
        QVERIFY2(offered.startsWith(" ## cmdFR /:/ alice /:/ bobby /:/ notes.txt /:/ 5 /:/ "),
                 offered);
        const QByteArray token = offered.mid(offered.lastIndexOf(' ') + 1);
        QCOMPARE(token.size(), 32);
        TransferWindow* window = rig.transferWindow();
        QCOMPARE(child<QLabel>(*window, "lblRemoteUser")->text(), QStringLiteral("bobby"));
        QCOMPARE(rig.status(), QStringLiteral("Waiting for bobby to accept…"));
        rig.action("mnuToolsSendFile")->trigger(); // the open window comes forward
        QCOMPARE(rig.desktop.broughtToFront.last(), window);
        QVERIFY(rig.feed(" ## +FA /$/ UO /$/ " + token + " /$/ bobby", [&] {
            return rig.status() ==
                   QStringLiteral("bobby is offline. Waiting for bobby to come online…");
        }));
        QVERIFY(rig.feed(" ## +FA /$/ FD /$/ " + token + " /$/ declined", [&] {
            return rig.status() == QStringLiteral("bobby declined the file.");
        }));
        QCOMPARE(rig.prompter.boxes.size(), 1);
    }

    void aSenderThatLiesAboutTheSizeCannotGrowTheFile() {
        TransferRig rig;
        QVERIFY(rig.logIn(QStringLiteral("alice")));
        Relay relay;
        QVERIFY(rig.feed(" ## +FR /$/ bobby /$/ report.txt /$/ 10 /$/ " + relay.id(),
                         [&] { return rig.offerWindow() != nullptr; }));
        QTest::mouseClick(child<QPushButton>(*rig.offerWindow(), "cmdAccept"), Qt::LeftButton);
        QVERIFY(relay.waitFor(0, " ## cmdFX /:/ " + kToken + " /:/ R /:/ 0"));
        const QByteArray longer = "0123456789ABCDEFGHIJ";
        relay.peers[0]->write(" ## +FX /$/ GO /$/ 0" + longer +
                              QCryptographicHash::hash(longer, QCryptographicHash::Sha256).toHex());
        QVERIFY(relay.waitFor(0, " ## cmdFX /:/ " + kToken + " /:/ R /:/ 0 ## +FV /$/ BAD"));
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes.size() == 1; }));
        QCOMPARE(
            rig.prompter.texts(),
            QStringList{"The file \"report.txt\" from bobby arrived damaged and was deleted."});
        QCOMPARE(QDir(rig.home.filePath(QStringLiteral("Downloads"))).entryList(QDir::Files),
                 QStringList{});
    }

    void aCutTransferGoesOnFromThePartFile() {
        TransferRig rig;
        QVERIFY(rig.logIn(QStringLiteral("alice")));
        rig.home.writeFile(QStringLiteral("Downloads/report.txt"), "older");
        Relay relay;
        QVERIFY(rig.feed(" ## +FR /$/ bobby /$/ report.txt /$/ 10 /$/ " + relay.id(),
                         [&] { return rig.offerWindow() != nullptr; }));
        // The name is taken: No to replacing it leads to Save As.
        rig.prompter.answers = {answer::kNo};
        rig.chooser.answers = {rig.home.filePath(QStringLiteral("Downloads/new.txt"))};
        QTest::mouseClick(child<QPushButton>(*rig.offerWindow(), "cmdAccept"), Qt::LeftButton);
        QCOMPARE(rig.prompter.boxes.size(), 1);
        QVERIFY(relay.waitFor(0, " ## cmdFX /:/ " + kToken + " /:/ R /:/ 0"));
        const QByteArray file = "0123456789";
        relay.peers[0]->write(" ## +FX /$/ GO /$/ 0" + file.left(4));
        QVERIFY(QTest::qWaitFor(
            [&] { return rig.home.readFile(QStringLiteral("Downloads/new.txt.part")) == "0123"; }));
        relay.peers[0]->disconnectFromHost();
        // The link comes again with what it has.
        QVERIFY(relay.waitFor(1, " ## cmdFX /:/ " + kToken + " /:/ R /:/ 4"));
        relay.peers[1]->write(" ## +FX /$/ GO /$/ 4" + file.mid(4) +
                              QCryptographicHash::hash(file, QCryptographicHash::Sha256).toHex());
        QVERIFY(relay.waitFor(1, " ## cmdFX /:/ " + kToken + " /:/ R /:/ 4 ## +FV /$/ OK"));
        QVERIFY(QTest::qWaitFor([&] { return rig.status() == QStringLiteral("Received."); }));
        QCOMPARE(rig.home.readFile(QStringLiteral("Downloads/new.txt")), file);
        QCOMPARE(rig.home.readFile(QStringLiteral("Downloads/report.txt")), QByteArray("older"));
        QVERIFY(!rig.home.exists(QStringLiteral("Downloads/new.txt.part")));
        QTest::mouseClick(child<QPushButton>(*rig.transferWindow(), "cmdOpenFolder"),
                          Qt::LeftButton);
        QCOMPARE(rig.desktop.urls.last(),
                 QUrl::fromLocalFile(rig.home.filePath(QStringLiteral("Downloads"))).toString());
    }
};

QTEST_MAIN(TransferTest)
#include "transfer_test.moc"
