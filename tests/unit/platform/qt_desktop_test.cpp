#include "platform/qt_desktop.h"

#include "support/temp_home.h"

#include <QTest>
#include <QTextBrowser>

using velmora::QtDesktop;
using velmora::test::TempHome;

class QtDesktopTest : public QObject {
    Q_OBJECT
private slots:
    void helpWindowShowsTopicAndIsReused();
};

void QtDesktopTest::helpWindowShowsTopicAndIsReused() {
    TempHome home;
    home.writeFile("help/Index.html",
                   "<html><head><title>Velmora Help</title></head><body>Welcome</body></html>");
    home.writeFile("help/Login.html", "<html><body>Logging in</body></html>");
    QWidget owner;
    QtDesktop desktop;

    desktop.showHelp(home.filePath("help"), "Index.html", &owner);
    QTextBrowser* help = desktop.helpWindow();
    QVERIFY(help);
    QVERIFY(help->isVisible());
    QVERIFY(help->isWindow());
    QCOMPARE(help->toPlainText(), QString("Welcome"));
    QCOMPARE(help->windowTitle(), QString("Velmora Help"));

    desktop.showHelp(home.filePath("help"), "Login.html", &owner);
    QCOMPARE(desktop.helpWindow(), help);
    QCOMPARE(help->toPlainText(), QString("Logging in"));
}

QTEST_MAIN(QtDesktopTest)
#include "qt_desktop_test.moc"
