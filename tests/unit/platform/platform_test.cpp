// The platform layer and the settings built on it: the settings-file reader
// and writer with the classic profile functions' quirks (names without case,
// empty is not missing, one pair of quotes, 127 characters, a write that
// keeps every other byte); the settings and the server list over it
// (defaults, the exact forms written, text where a number belongs); message
// boxes built from the classic style word, and the help window.
#include "platform/ini_file.h"
#include "platform/qt_desktop.h"
#include "platform/qt_prompter.h"
#include "session/app_error.h"
#include "shell/server_list.h"
#include "shell/settings.h"

#include "support/doubles.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>

#include <functional>

using namespace velmora;
using velmora::IniFile::read;
using velmora::IniFile::write;
using velmora::test::TempHome;

namespace {

struct Seen {
    QString text;
    QString title;
    int icon = 0;
    int buttons = 0;
    int defaultButton = 0;
    Qt::WindowModality modality = Qt::NonModal;
};

// Shows a real box; once it is on screen, records it and presses `press`
// (Escape when `press` is NoButton). Returns the answer.
int showAndPress(int style, int press, Seen& seen, const QString& text) {
    std::function<void()> answerBox = [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            QTimer::singleShot(10, answerBox);
            return;
        }
        seen = Seen{box->text(),
                    box->windowTitle(),
                    int(box->icon()),
                    int(box->standardButtons()),
                    int(box->standardButton(box->defaultButton())),
                    box->windowModality()};
        if (press == QMessageBox::NoButton) {
            QTest::keyClick(box, Qt::Key_Escape);
        } else {
            box->button(QMessageBox::StandardButton(press))->click();
        }
    };
    QTimer::singleShot(0, answerBox);
    return QtPrompter().show(text, style, "Velmora", nullptr);
}

} // namespace

class PlatformTest : public QObject {
    Q_OBJECT

private slots:
    void valuesAreReadAsTheProfileFunctionsDo() {
        test::TempHome home;
        home.writeFile("Velmora.ini", "; Velmora settings\r\n[Settings]\r\nNewPM=0\r\n"
                                      "  MinTray  =  1  \r\nEmpty=\r\nNoEquals\r\n"
                                      "Quoted=\"  spaced  \"\r\nSingle='x'\r\nMixed=\"x'\r\n"
                                      "Dup=first\r\ndup=second\r\nLong=" +
                                          QByteArray(130, 'a') +
                                          "\r\nUtf=h\xC3\xA9llo\r\n[Other]\r\nEmote=0\r\n");
        const QString path = home.filePath("Velmora.ini");
        const struct {
            const char* section;
            const char* key;
            QString fallback;
            QString value;
        } cases[] = {
            {"settings", "NEWPM", "1", "0"}, // names ignore case and blanks
            {" Settings ", "MinTray", "0", "1"},
            {"Settings", "Empty", "x", ""}, // present but empty is not missing
            {"Settings", "Missing", "x", "x"},
            {"Settings", "NoEquals", "x", "x"},
            {"Settings", "Emote", "1", "1"}, // another section's key
            {"Other", "Emote", "1", "0"},
            {"Settings", "Quoted", "", "  spaced  "}, // one pair of matching quotes goes
            {"Settings", "Single", "", "x"},
            {"Settings", "Mixed", "", "\"x'"},
            {"Settings", "Dup", "", "first"},
            {"Settings", "Long", "", QString(127, 'a')}, // the 128-character buffer
            {"Settings", "Missing", QString(200, 'b'), QString(127, 'b')},
            {"Settings", "Missing", "abc   ", "abc"},
            {"Settings", "Utf", "", QString::fromUtf8("h\xC3\xA9llo")},
        };
        for (const auto& c : cases) {
            QCOMPARE(read(c.section, c.key, c.fallback, path), c.value);
        }
        QCOMPARE(read("Settings", "NewPM", "1", home.filePath("none.ini")), QString("1"));
        QVERIFY(!home.exists("none.ini"));
    }

    void aWriteKeepsEveryOtherByte() {
        test::TempHome home;
        home.writeFile("Velmora.ini", "\xEF\xBB\xBF; comment\r\n\r\n[Login Options]\r\n"
                                      "L-User = alice   \r\nL-Pass=secret\r\n\r\n[Font]\r\n"
                                      "NoEquals\r\nBold=True");
        const QString path = home.filePath("Velmora.ini");
        QVERIFY(write("login options", "l-user", "bob", path));
        QVERIFY(write("Login Options", "L-Host", "127.0.0.1", path));
        QVERIFY(write("Font", "NoEquals", "v", path));
        QVERIFY(write("Font", "Size", "12", path));
        // A value stays on one line.
        QVERIFY(write("Sounds", "Enter", "x.wav\n[Settings]\nNewPM=0", path));
        QCOMPARE(home.readFile("Velmora.ini"),
                 QByteArray("\xEF\xBB\xBF; comment\r\n\r\n[Login Options]\r\nL-User = bob   \r\n"
                            "L-Pass=secret\r\nL-Host=127.0.0.1\r\n\r\n[Font]\r\nNoEquals=v\r\n"
                            "Bold=True\r\nSize=12\r\n[Sounds]\r\nEnter=x.wav\r\n"));
        const QString unicode = QString::fromUtf8("\xE6\x9D\xB1\xE4\xBA\xAC \xF0\x9F\x98\x80");
        QVERIFY(write("Font", "Name", unicode, path));
        QCOMPARE(read("Font", "Name", "", path), unicode);

        // A folder where the file should be cannot be read or replaced, nor
        // can a file in a missing folder be created.
        QDir(home.path()).mkdir("folder.ini");
        QCOMPARE(read("Settings", "NewPM", "1", home.filePath("folder.ini")), QString("1"));
        QVERIFY(!write("Settings", "NewPM", "0", home.filePath("folder.ini")));
        QVERIFY(!write("Settings", "NewPM", "0", home.filePath("missing/Velmora.ini")));
    }

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
        QCOMPARE(test::errorNumber(load), velmora::err::kTypeMismatch);
        home.writeFile("Velmora.ini", "[Settings]\nFont-Size= 24 \nNewPM=2\n");
        QCOMPARE(settings.loadMainWindowValues().fontSize, 24.0);
        QCOMPARE(settings.newPM(), 2);
        home.writeFile("Velmora.ini", "[Settings]\nNewPM=yes\n");
        QCOMPARE(test::errorNumber(load), velmora::err::kTypeMismatch);
        home.writeFile("Velmora.ini", "[Sounds]\nEnterEnabled=\n");
        QCOMPARE(test::errorNumber(load), velmora::err::kTypeMismatch);
        home.writeFile("Velmora.ini", "[Settings]\nEmote=70000\n");
        QCOMPARE(test::errorNumber(load), 6);
        home.writeFile("Velmora.ini",
                       "[FormPos]\nalice-Left=1e3\nalice-Top=left\n[Font]\nBold=maybe\n");
        QCOMPARE(settings.formPos("alice", "Left", 0), 1000);
        QCOMPARE(test::errorNumber([&] { (void)settings.formPos("alice", "Top", 0); }),
                 velmora::err::kTypeMismatch);
        QCOMPARE(test::errorNumber([&] { (void)settings.fontBold(); }),
                 velmora::err::kTypeMismatch);
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
        QCOMPARE(test::errorNumber([&] { (void)velmora::server_list::load(path); }),
                 velmora::err::kTypeMismatch);
    }

    void theStyleGivesIconButtonsAndAnswer() {
        const int ok = QMessageBox::Ok;
        const int yesNo = QMessageBox::Yes | QMessageBox::No;
        const struct {
            int style, icon, buttons, press, result;
        } cases[] = {
            {0, QMessageBox::NoIcon, ok, ok, answer::kOk},
            {36, QMessageBox::Question, yesNo, QMessageBox::No, answer::kNo},
            {48, QMessageBox::Warning, ok, ok, answer::kOk},
            {4160, QMessageBox::Information, ok, ok, answer::kOk},
            {3, QMessageBox::NoIcon, yesNo | QMessageBox::Cancel, QMessageBox::NoButton,
             answer::kCancel},
        };
        for (const auto& c : cases) {
            Seen seen;
            QCOMPARE(showAndPress(c.style, c.press, seen, "Sure?"), c.result);
            QCOMPARE(seen.icon, c.icon);
            QCOMPARE(seen.buttons, c.buttons);
            QCOMPARE(seen.title, QString("Velmora"));
            QCOMPARE(seen.modality, Qt::ApplicationModal);
        }
        // Text is plain lines; 256 makes the second button the default.
        Seen seen;
        QCOMPARE(showAndPress(4 + 256, QMessageBox::No, seen, "\"<b>bob</b>\"\r\nHowever..."),
                 answer::kNo);
        QCOMPARE(seen.text, QString("\"<b>bob</b>\"\nHowever..."));
        QCOMPARE(seen.defaultButton, int(QMessageBox::No));
    }

    void theHelpWindowShowsTheTopicAndIsReused() {
        test::TempHome home;
        home.writeFile("help/Index.html",
                       "<html><head><title>Velmora Help</title></head><body>Welcome</body></html>");
        home.writeFile("help/Login.html", "<html><body>Logging in</body></html>");
        QWidget owner;
        QtDesktop desktop;
        desktop.showHelp(home.filePath("help"), "Index.html", &owner);
        QTextBrowser* help = desktop.helpWindow();
        QVERIFY(help && help->isVisible() && help->isWindow());
        QCOMPARE(help->toPlainText(), QString("Welcome"));
        QCOMPARE(help->windowTitle(), QString("Velmora Help"));
        desktop.showHelp(home.filePath("help"), "Login.html", &owner);
        QCOMPARE(desktop.helpWindow(), help);
        QCOMPARE(help->toPlainText(), QString("Logging in"));
    }
};

QTEST_MAIN(PlatformTest)
#include "platform_test.moc"
