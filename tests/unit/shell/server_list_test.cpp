#include "shell/server_list.h"

#include "session/app_error.h"
#include "support/temp_home.h"

#include <QTest>

using velmora::test::TempHome;
namespace server_list = velmora::server_list;

class ServerListTest : public QObject {
    Q_OBJECT
private slots:
    void shrinkingLeavesOldKeysAndLoadsCount();
    void missingOrBadCount();
};

void ServerListTest::shrinkingLeavesOldKeysAndLoadsCount() {
    TempHome home;
    const QString path = home.filePath("IMServers.ini");
    server_list::save(path, {"a.example", "b.example", "c.example", "d.example", "e.example"});
    QCOMPARE(home.readFile("IMServers.ini"), QByteArray("[Servers]\n"
                                                        "Server1=a.example\n"
                                                        "Server2=b.example\n"
                                                        "Server3=c.example\n"
                                                        "Server4=d.example\n"
                                                        "Server5=e.example\n"
                                                        "Count=5\n"));

    server_list::save(path, {"x.example:7000", "b.example", "c.example"});
    QCOMPARE(home.readFile("IMServers.ini"), QByteArray("[Servers]\n"
                                                        "Server1=x.example:7000\n"
                                                        "Server2=b.example\n"
                                                        "Server3=c.example\n"
                                                        "Server4=d.example\n"
                                                        "Server5=e.example\n"
                                                        "Count=3\n"));
    QCOMPARE(server_list::load(path), QStringList({"x.example:7000", "b.example", "c.example"}));
}

void ServerListTest::missingOrBadCount() {
    TempHome home;
    const QString path = home.filePath("IMServers.ini");
    QCOMPARE(server_list::load(path), QStringList());

    // Addresses missing below the count load as empty entries.
    home.writeFile("IMServers.ini", "[Servers]\nCount=2\nServer2=b.example\n");
    QCOMPARE(server_list::load(path), QStringList({"", "b.example"}));
    home.writeFile("IMServers.ini", "[Servers]\nCount=-1\nServer1=a.example\n");
    QCOMPARE(server_list::load(path), QStringList());

    home.writeFile("IMServers.ini", "[Servers]\nCount=three\n");
    try {
        (void)server_list::load(path);
        QFAIL("a count that is not a number must raise an error");
    } catch (const velmora::AppError& error) {
        QCOMPARE(error.number, velmora::err::kTypeMismatch);
    }
}

QTEST_GUILESS_MAIN(ServerListTest)
#include "server_list_test.moc"
