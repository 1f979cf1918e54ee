// The settings-file reader and writer, with the classic profile functions'
// quirks: names without case, empty is not missing, one pair of quotes,
// 127 characters, and a write that keeps every other byte.
#include "platform/ini_file.h"

#include "support/doubles.h"

#include <QDir>
#include <QTest>

using velmora::IniFile::read;
using velmora::IniFile::write;

class IniFileTest : public QObject {
    Q_OBJECT

private slots:
    void valuesAreReadAsTheProfileFunctionsDo() {
        velmora::test::TempHome home;
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
        velmora::test::TempHome home;
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
};

QTEST_GUILESS_MAIN(IniFileTest)
#include "ini_file_test.moc"
