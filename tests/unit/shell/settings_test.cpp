// The settings file and the server list: defaults, the exact forms
// written, and text where a number belongs.
#include "shell/server_list.h"
#include "shell/settings.h"

#include "session/app_error.h"
#include "support/doubles.h"

#include <QTest>

#include <functional>

using velmora::AppError;
using velmora::MainWindowValues;
using velmora::Settings;
using velmora::SoundSetting;
using velmora::test::TempHome;
namespace sound = velmora::sound;

namespace {

int errorNumberOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const AppError& error) {
        return error.number;
    }
    return 0;
}

} // namespace

class SettingsTest : public QObject {
    Q_OBJECT
private slots:
    void firstStartRunsOnDefaults() {
        TempHome home;
        const Settings settings(home.path());
        const MainWindowValues values = settings.loadMainWindowValues();
        QCOMPARE(values.fontSize, 8.0);
        QVERIFY(values.newPM == 1 && values.minTray == 0 && values.emote == 1);
        QCOMPARE(values.autoConnect, 0);
        for (const SoundSetting& sound :
             {values.enter, values.exit, values.receiveIM, values.userLogin, values.userLogout}) {
            QCOMPARE(sound.enabled, 1);
        }
        QCOMPARE(values.exit.path, home.path() + "/Sounds/Exit.wav");
        QCOMPARE(settings.loginCheck(), 0);
        QVERIFY(!settings.fontBold() && !settings.fontItalic() && !settings.fontUnderlined());
        QCOMPARE(settings.formPos("alice", "Left", 1200), 1200);
        // Reading never creates the file.
        QVERIFY(!home.exists("Velmora.ini"));
    }

    void settersWriteDocumentedForms() {
        TempHome home;
        Settings settings(home.path());
        settings.setNewPM(false);
        settings.setMinTray(true);
        settings.setEmote(false);
        settings.setSoundPath(sound::kReceiveIM, "/sounds/ding.wav");
        settings.setSoundEnabled(sound::kUserLogout, false);
        settings.setLoginUser("");
        settings.setLoginPass("");
        settings.setLoginHost(velmora::kDefaultServerHost);
        settings.setLoginAutoConnect(true);
        settings.setLoginCheck(false);
        settings.setFontName("Arial");
        settings.setFontSize("12");
        settings.setFontBold(true);
        settings.setFontItalic(false);
        settings.setFontUnderlined(true);
        settings.setFormPos("alice", "Left", 1200);
        settings.setFormPos("alice", "Top", -45);

        QCOMPARE(
            home.readFile("Velmora.ini"),
            QByteArray("[Settings]\nNewPM=0\nMinTray=1\nEmote=0\n"
                       "[Sounds]\nReceiveIM=/sounds/ding.wav\nUserLogoutEnabled=0\n"
                       "[Login Options]\nL-User=\nL-Pass=\nL-Host=127.0.0.1\nL-Auto-Connect=1\n"
                       "L-Check=0\n"
                       "[Font]\nName=Arial\nSize=12\nBold=True\nItalic=False\nUnderlined=True\n"
                       "[FormPos]\nalice-Left=1200\nalice-Top=-45\n"));
        // Read back: each sound's switch in its own place, a negative position.
        QVERIFY(settings.loadMainWindowValues().userLogout.enabled == 0);
        QCOMPARE(settings.formPos("ALICE", "top", 0), -45);
    }

    void textWhereNumberExpectedIsAnError() {
        TempHome home;
        Settings settings(home.path());
        const auto load = [&] { (void)settings.loadMainWindowValues(); };

        home.writeFile("Velmora.ini", "[Settings]\nFont-Size=big\n");
        QCOMPARE(errorNumberOf(load), velmora::err::kTypeMismatch);
        home.writeFile("Velmora.ini", "[Settings]\nFont-Size= 24 \nNewPM=2\n");
        QCOMPARE(settings.loadMainWindowValues().fontSize, 24.0);
        QCOMPARE(settings.newPM(), 2);
        home.writeFile("Velmora.ini", "[Settings]\nNewPM=yes\n");
        QCOMPARE(errorNumberOf(load), velmora::err::kTypeMismatch);
        home.writeFile("Velmora.ini", "[Sounds]\nEnterEnabled=\n");
        QCOMPARE(errorNumberOf(load), velmora::err::kTypeMismatch);
        home.writeFile("Velmora.ini", "[Settings]\nEmote=70000\n");
        QCOMPARE(errorNumberOf(load), 6);
        home.writeFile("Velmora.ini",
                       "[FormPos]\nalice-Left=1e3\nalice-Top=left\n[Font]\nBold=maybe\n");
        QCOMPARE(settings.formPos("alice", "Left", 0), 1000);
        QCOMPARE(errorNumberOf([&] { (void)settings.formPos("alice", "Top", 0); }),
                 velmora::err::kTypeMismatch);
        QCOMPARE(errorNumberOf([&] { (void)settings.fontBold(); }), velmora::err::kTypeMismatch);
    }

    void serverListKeepsOldKeysWhenItShrinks() {
        TempHome home;
        const QString path = home.filePath("IMServers.ini");
        QCOMPARE(velmora::server_list::load(path), QStringList());
        velmora::server_list::save(path, {"a.example", "b.example", "c.example"});
        velmora::server_list::save(path, {"x.example:7000", "b.example"});
        QCOMPARE(home.readFile("IMServers.ini"),
                 QByteArray("[Servers]\nServer1=x.example:7000\nServer2=b.example\n"
                            "Server3=c.example\nCount=2\n"));
        QCOMPARE(velmora::server_list::load(path), QStringList({"x.example:7000", "b.example"}));

        // Addresses missing below the count load empty; a bad count loads nothing
        // or is an error.
        home.writeFile("IMServers.ini", "[Servers]\nCount=2\nServer2=b.example\n");
        QCOMPARE(velmora::server_list::load(path), QStringList({"", "b.example"}));
        home.writeFile("IMServers.ini", "[Servers]\nCount=-1\nServer1=a.example\n");
        QCOMPARE(velmora::server_list::load(path), QStringList());
        home.writeFile("IMServers.ini", "[Servers]\nCount=three\n");
        QCOMPARE(errorNumberOf([&] { (void)velmora::server_list::load(path); }),
                 velmora::err::kTypeMismatch);
    }
};

QTEST_GUILESS_MAIN(SettingsTest)
#include "settings_test.moc"
