#include "support/velmorad_process.h"

#include <QTest>

namespace velmora::test {

VelmoradProcess::VelmoradProcess(const QStringList& extraArgs) : extraArgs_(extraArgs) {}

VelmoradProcess::~VelmoradProcess() {
    stop();
}

QString VelmoradProcess::binary() {
    const QString path = qEnvironmentVariable("VELMORAD");
    return path.isEmpty() ? QStringLiteral("velmorad") : path;
}

QString VelmoradProcess::databasePath() const {
    return dir_.filePath(QStringLiteral("velmorad.db"));
}

bool VelmoradProcess::addUser(const QString& name, const QString& password) {
    QProcess add;
    add.start(binary(), {QStringLiteral("useradd"), name, password, QStringLiteral("--db"),
                         databasePath(), QStringLiteral("--hash-cost"), QStringLiteral("fast")});
    return add.waitForFinished(30000) && add.exitStatus() == QProcess::NormalExit &&
           add.exitCode() == 0;
}

bool VelmoradProcess::start() {
    QStringList args{QStringLiteral("--listen"),    QStringLiteral("127.0.0.1:0"),
                     QStringLiteral("--db"),        databasePath(),
                     QStringLiteral("--hash-cost"), QStringLiteral("fast")};
    args += extraArgs_;
    process_.setProcessChannelMode(QProcess::SeparateChannels);
    process_.start(binary(), args);
    if (!process_.waitForStarted(10000)) {
        return false;
    }
    QByteArray out;
    const bool listening = QTest::qWaitFor(
        [&] {
            out += process_.readAllStandardOutput();
            return out.contains('\n') || process_.state() == QProcess::NotRunning;
        },
        10000);
    const QByteArray prefix = "listening on 127.0.0.1:";
    const qsizetype at = out.indexOf(prefix);
    if (!listening || at < 0) {
        return false;
    }
    const qsizetype end = out.indexOf('\n', at);
    port_ = static_cast<quint16>(
        out.mid(at + prefix.size(), end - at - prefix.size()).trimmed().toUInt());
    return port_ != 0;
}

void VelmoradProcess::stop() {
    if (process_.state() != QProcess::NotRunning) {
        process_.terminate();
        if (!process_.waitForFinished(5000)) {
            process_.kill();
            process_.waitForFinished(5000);
        }
    }
}

QString VelmoradProcess::address() const {
    return QStringLiteral("127.0.0.1:") + QString::number(port_);
}

QString VelmoradProcess::log() {
    log_ += QString::fromUtf8(process_.readAllStandardError());
    return log_;
}

} // namespace velmora::test
