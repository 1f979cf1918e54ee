#include "platform/ini_file.h"

#include "support/doubles.h"

#include <QDir>
#include <QTest>

using velmora::IniFile::read;
using velmora::IniFile::write;
using velmora::test::TempHome;

class IniFileTest : public QObject {
    Q_OBJECT
private slots:
    void readsValuesAsWin32Does();
    void missingOrUnreadableFileReadsAsEmpty();
    void writeKeepsEveryOtherByte();
    void writeCreatesFileAndKeepsValueOnOneLine();
};

void IniFileTest::readsValuesAsWin32Does() {
    TempHome home;
    const QByteArray longValue(130, 'a');
    home.writeFile("Velmora.ini", "; Velmora settings\r\n"
                                  "[Settings]\r\n"
                                  "NewPM=0\r\n"
                                  "  MinTray  =  1  \r\n"
                                  "Empty=\r\n"
                                  "Blanks=   \r\n"
                                  "NoEquals\r\n"
                                  "Quoted=\"  spaced  \"\r\n"
                                  "Single='x'\r\n"
                                  "Mixed=\"x'\r\n"
                                  "Lone=\"\r\n"
                                  "Dup=first\r\n"
                                  "dup=second\r\n"
                                  "Long=" +
                                      longValue +
                                      "\r\n"
                                      "Utf=h\xC3\xA9llo w\xC3\xB6rld\r\n"
                                      "[Other]\r\n"
                                      "Emote=0\r\n");
    const QString path = home.filePath("Velmora.ini");

    // Names ignore case and surrounding blanks; values lose their blanks.
    QCOMPARE(read("settings", "NEWPM", "1", path), QString("0"));
    QCOMPARE(read(" Settings ", "MinTray", "0", path), QString("1"));
    // Present but empty is not missing: the default does not apply.
    QCOMPARE(read("Settings", "Empty", "x", path), QString(""));
    QCOMPARE(read("Settings", "Blanks", "x", path), QString(""));
    QCOMPARE(read("Settings", "Missing", "x", path), QString("x"));
    QCOMPARE(read("Settings", "NoEquals", "x", path), QString("x"));
    QCOMPARE(read("Missing", "NewPM", "x", path), QString("x"));
    // A key of another section is not found.
    QCOMPARE(read("Settings", "Emote", "1", path), QString("1"));
    QCOMPARE(read("Other", "Emote", "1", path), QString("0"));
    // One pair of matching quotes goes; anything else stays.
    QCOMPARE(read("Settings", "Quoted", "", path), QString("  spaced  "));
    QCOMPARE(read("Settings", "Single", "", path), QString("x"));
    QCOMPARE(read("Settings", "Mixed", "", path), QString("\"x'"));
    QCOMPARE(read("Settings", "Lone", "", path), QString("\""));
    QCOMPARE(read("Settings", "Dup", "", path), QString("first"));
    // The 128-character buffer: values and defaults come back cut to 127.
    QCOMPARE(read("Settings", "Long", "", path), QString(127, 'a'));
    QCOMPARE(read("Settings", "Missing", QString(200, 'b'), path), QString(127, 'b'));
    QCOMPARE(read("Settings", "Missing", "abc   ", path), QString("abc"));
    QCOMPARE(read("Settings", "Utf", "", path), QString::fromUtf8("h\xC3\xA9llo w\xC3\xB6rld"));
}

void IniFileTest::missingOrUnreadableFileReadsAsEmpty() {
    TempHome home;
    QCOMPARE(read("Settings", "NewPM", "1", home.filePath("none.ini")), QString("1"));
    QVERIFY(!home.exists("none.ini"));

    // A folder where the file should be cannot be read or replaced.
    QDir(home.path()).mkdir("Velmora.ini");
    const QString folder = home.filePath("Velmora.ini");
    QCOMPARE(read("Settings", "NewPM", "1", folder), QString("1"));
    QVERIFY(!write("Settings", "NewPM", "0", folder));
    QVERIFY(QFileInfo(folder).isDir());

    QVERIFY(!write("Settings", "NewPM", "0", home.filePath("missing/Velmora.ini")));
}

void IniFileTest::writeKeepsEveryOtherByte() {
    TempHome home;
    home.writeFile("Velmora.ini", "\xEF\xBB\xBF; comment\r\n"
                                  "\r\n"
                                  "[Login Options]\r\n"
                                  "L-User = alice   \r\n"
                                  "L-Pass=secret\r\n"
                                  "\r\n"
                                  "; about fonts\r\n"
                                  "[Font]\r\n"
                                  "Name=Arial\r\n"
                                  "NoEquals\r\n"
                                  "Bold=True");
    const QString path = home.filePath("Velmora.ini");

    QVERIFY(write("login options", "l-user", "bob", path));
    QVERIFY(write("Login Options", "L-Host", "127.0.0.1", path));
    QVERIFY(write("Font", "Size", "12", path));
    QVERIFY(write("Font", "NoEquals", "v", path));
    QVERIFY(write("Sounds", "Enter", "/home/x/Enter.wav", path));

    QCOMPARE(home.readFile("Velmora.ini"), QByteArray("\xEF\xBB\xBF; comment\r\n"
                                                      "\r\n"
                                                      "[Login Options]\r\n"
                                                      "L-User = bob   \r\n"
                                                      "L-Pass=secret\r\n"
                                                      "L-Host=127.0.0.1\r\n"
                                                      "\r\n"
                                                      "; about fonts\r\n"
                                                      "[Font]\r\n"
                                                      "Name=Arial\r\n"
                                                      "NoEquals=v\r\n"
                                                      "Bold=True\r\n"
                                                      "Size=12\r\n"
                                                      "[Sounds]\r\n"
                                                      "Enter=/home/x/Enter.wav\r\n"));
    QCOMPARE(read("Login Options", "L-User", "", path), QString("bob"));
}

void IniFileTest::writeCreatesFileAndKeepsValueOnOneLine() {
    TempHome home;
    const QString path = home.filePath("Velmora.ini");
    QVERIFY(write("Login Options", "L-Pass", "pw\n[Settings]\nNewPM=0", path));
    QVERIFY(write("Login Options", "L-User", "", path));
    QCOMPARE(home.readFile("Velmora.ini"), QByteArray("[Login Options]\n"
                                                      "L-Pass=pw\n"
                                                      "L-User=\n"));
    QCOMPARE(read("Login Options", "L-User", "x", path), QString(""));
    QCOMPARE(read("Settings", "NewPM", "1", path), QString("1"));

    const QString unicode = QString::fromUtf8("\xE6\x9D\xB1\xE4\xBA\xAC \xF0\x9F\x98\x80");
    QVERIFY(write("Font", "Name", unicode, path));
    QCOMPARE(read("Font", "Name", "", path), unicode);
}

QTEST_GUILESS_MAIN(IniFileTest)
#include "ini_file_test.moc"
