// The send-IM chooser over a real buddy tree.
#include "app/client.h"
#include "contacts/buddy_list.h"
#include "messaging/pm_window.h"
#include "messaging/send_pm_dialog.h"
#include "shell/main_window.h"
#include "support/client_rig.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

using namespace velmora;

class SendPMDialogTest : public QObject {
    Q_OBJECT

    struct Rig : velmora::test::ClientRig {

        QTreeWidgetItem* node(SendPMDialog& d, const QString& text) {
            const auto found = d.tvUsers().findItems(text, Qt::MatchExactly | Qt::MatchRecursive);
            return found.isEmpty() ? nullptr : found.first();
        }
    };

private slots:
    void aBuddyFromTheListOpensTheirWindowOnce() {
        Rig rig;
        rig.client.mainWindow().buddies().onBuddyList(
            QStringLiteral("n %/ bobby :%: f %/ carol1 :%: n %/ dave_2"));
        SendPMDialog dialog(rig.client);
        QCOMPARE(dialog.objectName(), QStringLiteral("frmSendPM"));

        // The online group with its buddies; offline buddies carry folder keys.
        QCOMPARE(dialog.tvUsers().topLevelItemCount(), 1);
        QTreeWidgetItem* group = dialog.tvUsers().topLevelItem(0);
        QCOMPARE(group->text(0), QStringLiteral("Online Buddies"));
        QCOMPARE(group->childCount(), 2);
        QTreeWidgetItem* bobby = group->child(0);
        QTreeWidgetItem* dave = group->child(1);
        QCOMPARE(bobby->text(0), QStringLiteral("bobby"));
        QCOMPARE(dave->text(0), QStringLiteral("dave_2"));
        QVERIFY(!rig.node(dialog, QStringLiteral("carol1")));

        QVERIFY(dialog.optUser(0).isChecked());
        QVERIFY(!dialog.txtUserName().isEnabled());
        QVERIFY(!dialog.cmdOpen().isEnabled());
        dialog.tvUsers().setCurrentItem(group);
        QVERIFY(!dialog.cmdOpen().isEnabled());
        dialog.tvUsers().setCurrentItem(dave);
        QVERIFY(dialog.cmdOpen().isEnabled());
        dialog.cmdOpen().click();
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        auto* window =
            qobject_cast<PMWindow*>(rig.client.findWindowByCaption("dave_2 - Instant Message"));
        QVERIFY(window);

        // Choosing the same partner again brings their window forward.
        SendPMDialog again(rig.client);
        again.tvUsers().setCurrentItem(rig.node(again, QStringLiteral("dave_2")));
        again.cmdOpen().click();
        QCOMPARE(rig.client.windows().size(), 1);
        QCOMPARE(rig.desktop.broughtToFront(), (QList<QPointer<QWidget>>{window}));
    }

    void aTypedNameMustPassTheNameRule() {
        Rig rig;
        SendPMDialog dialog(rig.client);
        QCOMPARE(dialog.tvUsers().topLevelItemCount(), 1);
        QCOMPARE(dialog.tvUsers().topLevelItem(0)->childCount(), 0);
        QVERIFY(!dialog.cmdOpen().isEnabled());

        dialog.optUser(1).click();
        QVERIFY(dialog.txtUserName().isEnabled());
        QVERIFY(!dialog.cmdOpen().isEnabled());
        for (const char* bad : {"bob", "bob by", "bobby!", "bo.by", "ünter"}) {
            dialog.txtUserName().setText(QString::fromUtf8(bad));
            QVERIFY2(!dialog.cmdOpen().isEnabled(), bad);
        }
        dialog.txtUserName().setText(QStringLiteral("john_doe-1"));
        QVERIFY(dialog.cmdOpen().isEnabled());
        // Back to the list, where nothing is selected.
        dialog.optUser(0).click();
        QVERIFY(!dialog.cmdOpen().isEnabled());
        dialog.optUser(1).click();
        QVERIFY(dialog.cmdOpen().isEnabled());
        dialog.cmdOpen().click();
        QVERIFY(rig.client.findWindowByCaption("JOHN_DOE-1 - Instant Message"));
        QVERIFY(rig.prompter.boxes().isEmpty());
    }

    void theMenuShowsTheChooserModal() {
        Rig rig;
        bool seen = false;
        QTimer::singleShot(0, [&] {
            auto* dialog = qobject_cast<SendPMDialog*>(QApplication::activeModalWidget());
            seen = dialog != nullptr;
            if (dialog) {
                dialog->cmdCancel().click();
            }
        });
        QAction* menu =
            rig.client.mainWindow().findChild<QAction*>(QStringLiteral("mnuToolsSendAPM"));
        menu->setEnabled(true);
        menu->trigger();
        QVERIFY(seen);
        QVERIFY(rig.client.windows().isEmpty());
    }
};

QTEST_MAIN(SendPMDialogTest)
#include "send_pm_dialog_test.moc"
