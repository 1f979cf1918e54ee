// What a screen reader finds in each window: every control the user can act
// on has a name, and the buddy tree says who is online.
#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "messaging/pm_window.h"
#include "messaging/send_pm_dialog.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "shell/registration_window.h"
#include "support/client_rig.h"

#include <QAccessible>
#include <QSet>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::ClientRig;

namespace {

bool isInteractive(QAccessible::Role role) {
    using A = QAccessible;
    static const QSet<QAccessible::Role> kRoles{
        A::Button,   A::ButtonMenu,   A::ButtonDropDown, A::CheckBox, A::RadioButton,
        A::ComboBox, A::EditableText, A::SpinBox,        A::Slider,   A::PageTab,
        A::List,     A::Tree,         A::Table,          A::MenuItem, A::Link};
    return kRoles.contains(role);
}

// "window/objectName (role)" for each visible interactive control without
// a name, below `iface`.
void collectUnnamed(QAccessibleInterface* iface, const QString& window, QStringList& unnamed) {
    if (!iface || iface->state().invisible) {
        return;
    }
    const QAccessible::Role role = iface->role();
    if (isInteractive(role) && iface->text(QAccessible::Name).trimmed().isEmpty()) {
        const QObject* object = iface->object();
        unnamed << window + QLatin1Char('/') +
                       (object ? object->objectName() + QLatin1Char(' ') +
                                     QLatin1String(object->metaObject()->className())
                               : QStringLiteral("?")) +
                       QStringLiteral(" (role ") + QString::number(role) + QLatin1Char(')');
    }
    // Rows and cells are named by their text.
    if (role == QAccessible::List || role == QAccessible::Tree || role == QAccessible::Table) {
        return;
    }
    for (int i = 0; i < iface->childCount(); ++i) {
        collectUnnamed(iface->child(i), window, unnamed);
    }
}

// The names a screen reader reads out for the rows of `tree`, in order.
QStringList spokenRows(QTreeWidget& tree) {
    QStringList rows;
    QAccessibleInterface* iface = QAccessible::queryAccessibleInterface(&tree);
    for (int i = 0; iface && i < iface->childCount(); ++i) {
        QAccessibleInterface* cell = iface->child(i);
        if (cell && cell->role() == QAccessible::TreeItem) {
            rows << cell->text(QAccessible::Name) + QStringLiteral(" [") +
                        cell->text(QAccessible::Description) + QLatin1Char(']');
        }
    }
    return rows;
}

} // namespace

class AccessibilityTest : public QObject {
    Q_OBJECT
private slots:
    void everyControlOfEveryWindowHasAName() {
        ClientRig rig;
        QVERIFY(rig.logIn("alicia"));
        Session& session = rig.client.session();
        MainWindow& main = rig.client.mainWindow();
        main.show();
        rig.client.loginWindow().show();
        showRegistrationWindow(session);
        for (const char* item :
             {"mnuEditSettings", "mnuFileEditServerList", "mnuHelpAbout", "mnuToolsAddContact",
              "mnuToolsSearchUsers", "mnuToolsOfflineMsgs", "mnuToolsOpenConference"}) {
            rig.action(item)->trigger();
        }
        OpenPMWindow(session, "bobby");
        auto* sendPM = new SendPMDialog(session, &main);
        sendPM->setAttribute(Qt::WA_DeleteOnClose);
        sendPM->show();
        ConfWindow& room = session.findChild<ConferenceRooms*>()->showRoom("lounge");
        QVERIFY(rig.feed(" ## +CDet /$/ 1 /$/ alicia /$/ bobby",
                         [&] { return !room.findChildren<QWidget*>().isEmpty(); }));
        room.inviteUsers();
        QVERIFY(rig.feed(" ## +CI /$/ carol1 /$/ den /$/ come /$/ ",
                         [&] { return session.findWindowByName("frmInvConf"); }));

        QStringList unnamed;
        QStringList windows;
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (!window->isVisible()) {
                continue;
            }
            windows << window->objectName();
            collectUnnamed(QAccessible::queryAccessibleInterface(window), window->objectName(),
                           unnamed);
        }
        // Every tab of the settings, not just the first.
        QVERIFY2(windows.size() >= 14, qPrintable(windows.join(' ')));
        QVERIFY2(unnamed.isEmpty(), qPrintable(unnamed.join('\n')));
    }

    void theBuddyTreeSaysWhoIsOnline() {
        ClientRig rig;
        QVERIFY(rig.logIn("bobby"));
        QTreeWidget& tree = rig.client.mainWindow().tvBuddies();
        rig.client.mainWindow().show();
        QVERIFY(rig.feed(" ## +BL /$/ n %/ alicia :%: f %/ carol1",
                         [&] { return spokenRows(tree).size() == 4; }));
        QCOMPARE(spokenRows(tree),
                 (QStringList{"Online Buddies []", "alicia, online [Online]", "Offline Buddies []",
                              "carol1, offline [Offline]"}));
        QVERIFY(rig.feed(" ## +LOn /$/ carol1",
                         [&] { return spokenRows(tree).contains("carol1, online [Online]"); }));
        QVERIFY(!spokenRows(tree).join(' ').contains("offline"));
    }
};

QTEST_MAIN(AccessibilityTest)
#include "accessibility_test.moc"
