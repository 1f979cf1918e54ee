// One client per application folder: two clients over the same settings
// file and offline database would overwrite each other's writes. The first
// start on a folder holds a lock and listens on a local socket named after
// the folder; a later start asks it to come forward and leaves.
#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>

#include <memory>

namespace velmora {

class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(const QString& appFolder, QObject* parent = nullptr);
    ~SingleInstance() override;
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    // True when no other client runs on the folder: this one now holds it
    // and hears later starts. A lock left by a client that died is taken over.
    [[nodiscard]] bool claim();
    // Asks the client that holds the folder to come forward, waiting up to
    // `timeoutMs` for it to answer (it may still be starting). True when it did.
    [[nodiscard]] bool activateRunning(int timeoutMs = 5000);

    // The socket name for a folder: the same for every spelling of its path.
    [[nodiscard]] static QString serverName(const QString& appFolder);

signals:
    // A later start on this folder asked for the main window.
    void activationRequested();

private:
    void onConnection();

    QString name_;
    QLockFile lock_;
    std::unique_ptr<QLocalServer> server_;
};

} // namespace velmora
