// One client per application folder: later starts on the folder bring the
// first one forward and leave; starts on other folders run side by side; a
// client that died does not hold its folder.
#include "app/single_instance.h"
#include "support/doubles.h"

#include <QProcess>
#include <QTest>

using velmora::SingleInstance;
using velmora::test::TempHome;

namespace {

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
    void realClientsShareNoFolder() {
        TempHome one;
        TempHome two;
        Velmora first(one.path());
        // The running client answers once it listens.
        QVERIFY(SingleInstance(one.path()).activateRunning(20000));

        // A later start, with the folder spelt another way, is answered by
        // the running client (exit 0; an unanswered one exits 1) and leaves.
        Velmora second(one.path() + QStringLiteral("/./"));
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
