// One client per application folder: later starts on the folder bring the
// first one forward and leave; starts on other folders run side by side; a
// client that died does not hold its folder.
#include "app/single_instance.h"
#include "support/doubles.h"

#include <QProcess>
#include <QTest>

#include <future>

using velmora::SingleInstance;
using velmora::test::TempHome;

namespace {

// A later start of this process asks from a thread of its own, since the
// running one answers from this thread's event loop.
bool activateFromAnotherStart(const QString& folder) {
    auto asked = std::async(std::launch::async, [folder] {
        SingleInstance later(folder);
        return !later.claim() && later.activateRunning(5000);
    });
    if (!QTest::qWaitFor(
            [&] { return asked.wait_for(std::chrono::seconds(0)) == std::future_status::ready; },
            10000)) {
        return false;
    }
    return asked.get();
}

class Velmora : public QProcess {
public:
    explicit Velmora(const QString& home) {
        setProgram(QString::fromLocal8Bit(VELMORA_CLIENT));
        setArguments({QStringLiteral("--home"), home});
        setProcessChannelMode(QProcess::ForwardedErrorChannel);
        start();
        waitForStarted();
    }
    ~Velmora() override {
        if (state() != NotRunning) {
            kill();
            waitForFinished(5000);
        }
    }
};

} // namespace

class SingleInstanceTest : public QObject {
    Q_OBJECT
private slots:
    void oneFolderHasOneClient() {
        TempHome one;
        SingleInstance first(one.path());
        QVERIFY(first.claim());
        int activations = 0;
        connect(&first, &SingleInstance::activationRequested, this, [&] { ++activations; });

        QVERIFY(activateFromAnotherStart(one.path()));
        QCOMPARE(activations, 1);
        // Another spelling of the same folder is the same folder.
        QVERIFY(activateFromAnotherStart(one.path() + QStringLiteral("/./")));
        QCOMPARE(activations, 2);
    }

    void realClientsShareNoFolder() {
        TempHome one;
        TempHome two;
        Velmora first(one.path());
        // The running client answers once it listens.
        QVERIFY(SingleInstance(one.path()).activateRunning(20000));

        Velmora second(one.path());
        QVERIFY(second.waitForFinished(20000));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(first.state(), QProcess::Running);

        Velmora elsewhere(two.path());
        QVERIFY(SingleInstance(two.path()).activateRunning(20000));
        QCOMPARE(elsewhere.state(), QProcess::Running);

        // A client killed outright leaves its lock and socket behind; the
        // next start takes the folder over instead of waiting on the dead one.
        first.kill();
        QVERIFY(first.waitForFinished(5000));
        Velmora next(one.path());
        QVERIFY(SingleInstance(one.path()).activateRunning(20000));
        QCOMPARE(next.state(), QProcess::Running);
    }
};

QTEST_MAIN(SingleInstanceTest)
#include "single_instance_test.moc"
