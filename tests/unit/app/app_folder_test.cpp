// Where the client keeps its files: beside the executable in a build tree,
// in XDG_DATA_HOME once installed, or where --home or VELMORA_HOME say; and
// the shipped sounds, smilies and help copied in without touching the user's
// own.
#include "app/app_folder.h"
#include "app/command_line.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace velmora;

namespace {

void put(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray bytesOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

const char* const kShipped[] = {"Sounds/ReceiveIM.wav", "Smilies/smilie.gif", "help/Index.html"};

} // namespace

class AppFolderTest : public QObject {
    Q_OBJECT
private:
    QTemporaryDir tmp_;
    QString prefix_;

    // An installed prefix: bin/ and the shipped files under share/velmora.
    void install() {
        prefix_ = tmp_.filePath(QStringLiteral("usr"));
        QDir().mkpath(prefix_ + QStringLiteral("/bin"));
        for (const char* file : kShipped) {
            put(prefix_ + QStringLiteral("/share/velmora/") + QLatin1String(file), file);
        }
    }

    void verifyShippedIn(const QString& folder) {
        for (const char* file : kShipped) {
            QCOMPARE(bytesOf(folder + QLatin1Char('/') + QLatin1String(file)), QByteArray(file));
        }
    }

private slots:
    void init() {
        qunsetenv("VELMORA_HOME");
        qputenv("XDG_DATA_HOME", tmp_.filePath(QStringLiteral("data")).toUtf8());
        install();
    }

    void anInstalledClientKeepsItsFolderInXdgDataHome() {
        const QString bin = prefix_ + QStringLiteral("/bin");
        const QString expected = tmp_.filePath(QStringLiteral("data/velmora"));
        QCOMPARE(resolveAppFolder({}, bin), expected);
        verifyShippedIn(expected);
        QVERIFY(QDir(bin).isEmpty());

        // A later start restores what is missing and keeps what the user changed.
        put(expected + QStringLiteral("/Sounds/ReceiveIM.wav"), "mine");
        QVERIFY(QFile::remove(expected + QStringLiteral("/help/Index.html")));
        QCOMPARE(resolveAppFolder({}, bin), expected);
        QCOMPARE(bytesOf(expected + QStringLiteral("/Sounds/ReceiveIM.wav")), QByteArray("mine"));
        QCOMPARE(bytesOf(expected + QStringLiteral("/help/Index.html")),
                 QByteArray("help/Index.html"));
    }

    void homeThenVelmoraHomeWinOverTheInstalledFolder() {
        const QString bin = prefix_ + QStringLiteral("/bin");
        const QString env = tmp_.filePath(QStringLiteral("env"));
        const QString flag = tmp_.filePath(QStringLiteral("flag"));
        qputenv("VELMORA_HOME", env.toUtf8());
        QCOMPARE(resolveAppFolder(flag, bin), flag);
        verifyShippedIn(flag);
        QCOMPARE(resolveAppFolder({}, bin), env);
        verifyShippedIn(env);
    }

    void aBuildTreeUsesTheExecutablesFolder() {
        const QString build = tmp_.filePath(QStringLiteral("build/src/app"));
        put(build + QStringLiteral("/Sounds/ReceiveIM.wav"), "built");
        QCOMPARE(resolveAppFolder({}, build), build);
        QVERIFY(!QFileInfo::exists(tmp_.filePath(QStringLiteral("data/velmora"))));

        const QString home = tmp_.filePath(QStringLiteral("home"));
        QCOMPARE(resolveAppFolder(home, build), home);
        QCOMPARE(bytesOf(home + QStringLiteral("/Sounds/ReceiveIM.wav")), QByteArray("built"));
    }

    void theCommandLineTakesHomeInEitherForm() {
        const QString velmora = QStringLiteral("velmora");
        QCOMPARE(parseCommandLine({velmora, QStringLiteral("--home"), QStringLiteral("/a b")}).home,
                 QStringLiteral("/a b"));
        QCOMPARE(parseCommandLine({velmora, QStringLiteral("--home=/c")}).home,
                 QStringLiteral("/c"));
        QVERIFY(parseCommandLine({velmora}).home.isEmpty());
    }

    void cleanup() {
        QDir(tmp_.path()).removeRecursively();
        QDir().mkpath(tmp_.path());
    }
};

QTEST_GUILESS_MAIN(AppFolderTest)
#include "app_folder_test.moc"
