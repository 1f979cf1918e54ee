// One client in a fresh folder with its doubles, and a loopback server that
// plays the IM server: what nearly every client test starts from.
#pragma once

#include "app/client.h"
#include "support/doubles.h"

#include <QAction>
#include <QColor>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

namespace velmora {
class FontToolbar;
class HtmlMessageView;
} // namespace velmora
class QPlainTextEdit;

namespace velmora::test {

// Accepts one client on a free loopback port, records what it sends and
// writes whatever a test tells it to.
class LoopbackServer : public QObject {
public:
    LoopbackServer();
    [[nodiscard]] quint16 port() const { return server_.serverPort(); }
    // "127.0.0.1:PORT", as typed into the login window.
    [[nodiscard]] QString address() const;
    bool waitForPeer() {
        return QTest::qWaitFor([this] { return !peer_.isNull(); }, 5000);
    }
    void send(const QByteArray& bytes);
    void closePeer() { peer_->disconnectFromHost(); }
    bool waitForReceived(const QByteArray& bytes) {
        return QTest::qWaitFor([&] { return received.contains(bytes); }, 5000);
    }

    QByteArray received;

private:
    QTcpServer server_;
    QPointer<QTcpSocket> peer_;
};

// The visible session windows of class T (with objectName `name`, if given).
template <typename T> QList<T*> visibleWindows(const Client& client, const char* name = nullptr) {
    QList<T*> found;
    for (QWidget* w : client.session().windows()) {
        auto* t = qobject_cast<T*>(w);
        if (t && w->isVisible() && (!name || w->objectName() == QLatin1String(name))) {
            found.append(t);
        }
    }
    return found;
}

struct ClientRig {
    // `ini` becomes the settings file before the client reads it.
    explicit ClientRig(const QByteArray& ini = {});

    // Connects the client's socket to the loopback server.
    [[nodiscard]] bool connect();
    // Connected, with `user` in the session and the main window online: what
    // a successful login leaves, without the login's own records.
    [[nodiscard]] bool logIn(const QString& user);
    // Everything the client has sent since the last call. A search command
    // is sent behind it and must arrive next: the socket keeps order, so
    // this is complete without waiting for silence.
    [[nodiscard]] QByteArray sent();
    // Sends records and waits until `done` holds.
    template <typename Done> [[nodiscard]] bool feed(const QByteArray& bytes, Done done) {
        server.send(bytes);
        return QTest::qWaitFor(done, 5000);
    }
    // Sends records and waits until `boxes` boxes in all have been shown.
    [[nodiscard]] bool feedBoxes(const QByteArray& bytes, qsizetype boxes) {
        return feed(bytes, [&] { return prompter.boxes.size() >= boxes; });
    }
    [[nodiscard]] QAction* action(const char* name);
    template <typename T> [[nodiscard]] QList<T*> windows(const char* name = nullptr) const {
        return visibleWindows<T>(client, name);
    }

    TempHome home;
    RecordingPrompter prompter;
    RecordingDesktop desktop;
    bool iniWritten;
    Client client;
    LoopbackServer server;
};

// Sets the toolbar's face, size and style letters ("B", "I", "U" in any order).
void useFont(FontToolbar& bar, const char* name, const char* size, const char* style);
// Types `text` into a chat window's input box and presses Return.
void say(QPlainTextEdit& input, const QString& text);
// "127.0.0.1:PORT" where nothing listens.
[[nodiscard]] QString deadAddress();

// The control `name` of class T inside `window`.
template <typename T> T* child(const QWidget& window, const char* name) {
    return window.findChild<T*>(QString::fromLatin1(name));
}

// A conversation as the user reads it on screen, one line per chat line,
// with "name: " in front.
[[nodiscard]] QString shownText(const HtmlMessageView& view);
// The colour the last chat line's sender name is drawn in.
[[nodiscard]] QColor lastNameColour(const HtmlMessageView& view);

} // namespace velmora::test
