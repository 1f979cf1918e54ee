// End-to-end support: the real velmorad of this build on a free loopback
// port with a fresh database, and one user's client with its own folder
// (holding the shipped smilie pictures) and doubles.
#pragma once

#include "app/client.h"
#include "support/client_rig.h"
#include "support/doubles.h"

#include <QMainWindow>
#include <QMenu>
#include <QProcess>

#include <memory>

namespace velmora {
class PMWindow;
} // namespace velmora

namespace velmora::test {

class VelmoradProcess {
public:
    // Accounts as {name, password}; `extraArgs` go to the server.
    explicit VelmoradProcess(std::initializer_list<std::pair<const char*, const char*>> users,
                             const QStringList& extraArgs = {});
    ~VelmoradProcess();

    // Creates the accounts, starts the server and waits for its
    // "listening on" line. Started again, it keeps its port and database;
    // `moreArgs` go to this run only.
    [[nodiscard]] bool start(const QStringList& moreArgs = {});
    // Kills the server, dropping every connection; its log is kept.
    void stop();
    // One more account for the first start(); the texts must outlive it.
    void addUser(const char* name, const char* password) {
        users_.append(std::make_pair(name, password));
    }
    [[nodiscard]] QString address() const;
    // The SQLite file it keeps its accounts and messages in.
    [[nodiscard]] QString database() const { return dir_.filePath(QStringLiteral("velmorad.db")); }
    // From the next start() on, also a TLS port with this certificate (the
    // same port at every start).
    void useTls(const QString& certificateFile, const QString& keyFile);
    [[nodiscard]] QString tlsAddress() const;
    // Everything the server has logged so far.
    [[nodiscard]] QByteArray errorOutput() {
        log_ += process_.readAllStandardError();
        return log_;
    }

private:
    QTemporaryDir dir_;
    QByteArray log_;
    QList<std::pair<const char*, const char*>> users_;
    QStringList extraArgs_;
    QProcess process_;
    quint16 port_ = 0;
    quint16 tlsPort_ = 0;
    QStringList tlsArgs_;
};

struct E2eUser {
    explicit E2eUser(QString userName);
    // Replaces the client by a fresh one on the same folder, as when the
    // program is run again.
    void restart();
    // Logs in through the login window, to the TLS port with "Encrypted
    // connection" ticked when `encrypted`; true once the main window shows
    // the user connected and the server's options have arrived.
    [[nodiscard]] bool logIn(const VelmoradProcess& server, const QString& password,
                             bool encrypted = false);

    QString name;
    TempHome home;
    RecordingPrompter prompter;
    RecordingDesktop desktop;
    std::unique_ptr<Client> client;
};

// The first visible session window of class T, once there is one.
template <typename T> T* shown(E2eUser& p) {
    (void)QTest::qWaitFor([&] { return !visibleWindows<T>(*p.client).isEmpty(); }, 10000);
    return visibleWindows<T>(*p.client).value(0);
}
// Sends `text` in plain `font`.
void send(PMWindow& w, const QString& text, const char* font = "Arial");
// Waits until the conversation reads `log`.
[[nodiscard]] bool hasLog(PMWindow& w, const QString& log);
// With VELMORA_SCREENSHOTS set, shows `box` on screen as the client would
// and saves a picture of it as `file`; true when nothing was asked or the
// picture was saved.
[[nodiscard]] bool saveScreenshot(const ShownBox& box, const QString& file);

// With VELMORA_SCREENSHOTS set to a folder (and a real display, e.g.
// xvfb-run with QT_QPA_PLATFORM=xcb), saves a picture of `window` there as
// `file`; true when nothing was asked or the picture was saved.
[[nodiscard]] bool saveScreenshot(QWidget& window, const QString& file);
// The same with `menu` of the window's menu bar open and its first entry
// under the pointer: the screen around both.
[[nodiscard]] bool saveScreenshotWithMenu(QMainWindow& window, QMenu& menu, const QString& file);

} // namespace velmora::test
