// The real velmorad for end-to-end tests: started on a free loopback port
// with a fresh database in a temporary folder, stopped with the test.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace velmora::test {

class VelmoradProcess {
public:
    // `extraArgs` go to the server, e.g. {"--room-limit", "2"}.
    explicit VelmoradProcess(const QStringList& extraArgs = {});
    ~VelmoradProcess();
    VelmoradProcess(const VelmoradProcess&) = delete;
    VelmoradProcess& operator=(const VelmoradProcess&) = delete;

    // Creates accounts before start(); false when the server refused.
    bool addUser(const QString& name, const QString& password);
    // Starts the server and waits for its "listening on" line.
    bool start();
    void stop();

    [[nodiscard]] quint16 port() const { return port_; }
    // "127.0.0.1:PORT", as typed into the login window.
    [[nodiscard]] QString address() const;
    [[nodiscard]] QString databasePath() const;
    // Everything the server logged so far.
    [[nodiscard]] QString log();

private:
    [[nodiscard]] static QString binary();

    QTemporaryDir dir_;
    QStringList extraArgs_;
    QProcess process_;
    quint16 port_ = 0;
    QString log_;
};

} // namespace velmora::test
