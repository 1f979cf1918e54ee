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
    void firstStartRunsOnDefaults();
    void settersWriteDocumentedForms();
    void textWhereNumberExpectedIsAnError();
    void serverListKeepsOldKeysWhenItShrinks();
};

void SettingsTest::firstStartRunsOnDefaults() {
    TempHome home;
    const Settings settings(home.path());
    QCOMPARE(settings.path(), home.path() + "/Velmora.ini");
    QCOMPARE(settings.serverListPath(), home.path() + "/IMServers.ini");

    const MainWindowValues values = settings.loadMainWindowValues();
    QCOMPARE(values.fontSize, 8.0);
    QCOMPARE(values.newPM, 1);
    QCOMPARE(values.minTray, 0);
    QCOMPARE(values.emote, 1);
    const QList<std::pair<QString, SoundSetting>> sounds{{"Enter", values.enter},
                                                         {"Exit", values.exit},
                                                         {"ReceiveIM", values.receiveIM},
                                                         {"UserLogin", values.userLogin},
                                                         {"UserLogout", values.userLogout}};
    for (const auto& [name, setting] : sounds) {
        QCOMPARE(setting.path, home.path() + "/Sounds/" + name + ".wav");
        QCOMPARE(setting.enabled, 1);
    }
    QCOMPARE(values.autoConnect, 0);

    QCOMPARE(settings.loginUser(), QString(""));
    QCOMPARE(settings.loginPass(), QString(""));
    QCOMPARE(settings.loginCheck(), 0);
    QCOMPARE(settings.fontName(), QString("MS Sans Serif"));
    QCOMPARE(settings.fontSize(), QString("10"));
    QVERIFY(!settings.fontBold() && !settings.fontItalic() && !settings.fontUnderlined());
    QCOMPARE(settings.formPos("alice", "Left", 1200), 1200);
    // Reading never creates the file.
    QVERIFY(!home.exists("Velmora.ini"));
}

void SettingsTest::settersWriteDocumentedForms() {
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

    QCOMPARE(home.readFile("Velmora.ini"), QByteArray("[Settings]\n"
                                                      "NewPM=0\n"
                                                      "MinTray=1\n"
                                                      "Emote=0\n"
                                                      "[Sounds]\n"
                                                      "ReceiveIM=/sounds/ding.wav\n"
                                                      "UserLogoutEnabled=0\n"
                                                      "[Login Options]\n"
                                                      "L-User=\n"
                                                      "L-Pass=\n"
                                                      "L-Host=127.0.0.1\n"
                                                      "L-Auto-Connect=1\n"
                                                      "L-Check=0\n"
                                                      "[Font]\n"
                                                      "Name=Arial\n"
                                                      "Size=12\n"
                                                      "Bold=True\n"
                                                      "Italic=False\n"
                                                      "Underlined=True\n"
                                                      "[FormPos]\n"
                                                      "alice-Left=1200\n"
                                                      "alice-Top=-45\n"));

    const MainWindowValues values = settings.loadMainWindowValues();
    QCOMPARE(values.newPM, 0);
    QCOMPARE(values.minTray, 1);
    QCOMPARE(values.emote, 0);
    QCOMPARE(values.receiveIM.path, QString("/sounds/ding.wav"));
    QCOMPARE(values.userLogout.enabled, 0);
    QCOMPARE(values.userLogin.enabled, 1);
    QCOMPARE(values.autoConnect, 1);
    QVERIFY(settings.fontBold() && !settings.fontItalic() && settings.fontUnderlined());
    QCOMPARE(settings.formPos("ALICE", "top", 0), -45);
    QCOMPARE(settings.formPos("alice", "Width", 5000), 5000);
}

void SettingsTest::textWhereNumberExpectedIsAnError() {
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

void SettingsTest::serverListKeepsOldKeysWhenItShrinks() {
    TempHome home;
    const QString path = home.filePath("IMServers.ini");
    QCOMPARE(velmora::server_list::load(path), QStringList());
    velmora::server_list::save(path, {"a.example", "b.example", "c.example"});
    velmora::server_list::save(path, {"x.example:7000", "b.example"});
    QCOMPARE(home.readFile("IMServers.ini"), QByteArray("[Servers]\n"
                                                        "Server1=x.example:7000\n"
                                                        "Server2=b.example\n"
                                                        "Server3=c.example\n"
                                                        "Count=2\n"));
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

QTEST_GUILESS_MAIN(SettingsTest)
#include "settings_test.moc"
