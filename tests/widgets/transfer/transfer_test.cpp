// The file-transfer hooks: the +FR and +FA replies and the search for an
// open file-sender window behind the "Send File" commands.
#include "app/client.h"
#include "contacts/buddy_list.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"
#include "support/client_rig.h"
#include "transfer/file_sender.h"

#include <QAction>
#include <QLabel>
#include <QTest>
#include <QTreeWidget>

using namespace velmora;

namespace {

struct Rig : velmora::test::ClientRig {

    // A window such as a file-sender feature would open; `remoteUser` null
    // leaves out its label.
    QWidget* openWindow(const QString& formName, const char* remoteUser) {
        auto* window = new QWidget;
        window->setObjectName(formName);
        if (remoteUser) {
            auto* label = new QLabel(QString::fromLatin1(remoteUser), window);
            label->setObjectName(QStringLiteral("lblRemoteUser"));
        }
        client.adoptWindow(window);
        return window;
    }
};

} // namespace

class TransferTest : public QObject {
    Q_OBJECT

private slots:
    void fileSendAnswersShowABoxOnlyForAnUnknownStatus() {
        Rig rig;
        rig.client.dispatcher().dispatchBatch(
            QStringLiteral(" ## +FA /$/ SF /$/ x /$/ y ## +FA /$/ UO /$/  /$/  ## +FA /$/ FD /$/ a "
                           "/$/ b ## +FR /$/ bobby /$/ f.txt /$/ 12 /$/ z"));
        QVERIFY(rig.prompter.boxes().isEmpty());
        QVERIFY(rig.client.windows().isEmpty());

        rig.client.dispatcher().dispatchBatch(QStringLiteral(" ## +FA /$/ sf /$/ x /$/ y"));
        QCOMPARE(rig.prompter.boxes().size(), 1);
        const auto& box = rig.prompter.boxes().first();
        QCOMPARE(box.text,
                 QStringLiteral("Error: Returned Value For The File Send Reqest Was Invalid!"));
        QCOMPARE(box.style, 4160);
        QCOMPARE(box.title, rig.client.mainWindow().windowTitle());
        QCOMPARE(box.owner, &rig.client.mainWindow());
    }

    void sendFileBringsForwardOnlyTheSenderWindowForThatUser() {
        Rig rig;
        MainWindow& main = rig.client.mainWindow();
        main.setToolbarOnline();
        main.buddies().onBuddyList(QStringLiteral("n %/ bobby :%: n %/ carol1"));
        main.tvBuddies().setCurrentItem(main.buddies().findBuddy(QStringLiteral("bobby")));
        QAction* sendFile = main.findChild<QAction*>(QStringLiteral("mnuToolsSendFile"));

        sendFile->trigger(); // no sender window open: nothing happens
        QVERIFY(rig.desktop.broughtToFront().isEmpty());
        QVERIFY(rig.prompter.boxes().isEmpty());

        rig.openWindow(QStringLiteral("frmFileSenderX"), "bobby");
        rig.openWindow(QStringLiteral("frmfilesender"), "bobby");
        rig.openWindow(QStringLiteral("frmFileSender"), "carol1");
        QWidget* bobbys = rig.openWindow(QStringLiteral("frmFileSender"), "bobby");
        sendFile->trigger();
        QCOMPARE(rig.desktop.broughtToFront().size(), 1);
        QCOMPARE(rig.desktop.broughtToFront().first(), bobbys);
        QVERIFY(!findFileSender(rig.client, QStringLiteral("dave1")));

        // A sender window without its label ends the search quietly.
        Rig faulty;
        faulty.openWindow(QStringLiteral("frmFileSender"), nullptr);
        faulty.openWindow(QStringLiteral("frmFileSender"), "bobby");
        QVERIFY(!findFileSender(faulty.client, QStringLiteral("bobby")));
        QVERIFY(faulty.desktop.broughtToFront().isEmpty());
        QVERIFY(faulty.prompter.boxes().isEmpty());
    }
};

QTEST_MAIN(TransferTest)
#include "transfer_test.moc"
