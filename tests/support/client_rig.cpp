#include "support/client_rig.h"

#include "controls/font_toolbar.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "shell/main_window.h"

#include <QPlainTextEdit>
#include <QTextBlock>
#include <QTextCursor>

namespace velmora::test {

LoopbackServer::LoopbackServer() {
    server_.listen(QHostAddress::LocalHost, 0);
    QObject::connect(&server_, &QTcpServer::newConnection, this, [this] {
        peer_ = server_.nextPendingConnection();
        QObject::connect(peer_, &QTcpSocket::readyRead, this,
                         [this] { received += peer_->readAll(); });
    });
}

QString LoopbackServer::address() const {
    return QStringLiteral("127.0.0.1:") + QString::number(port());
}

void LoopbackServer::send(const QByteArray& bytes) {
    peer_->write(bytes);
    peer_->flush();
}

ClientRig::ClientRig(const QByteArray& ini)
    : iniWritten((ini.isEmpty() || (home.writeFile(QStringLiteral("Velmora.ini"), ini), true))),
      client(home.path(), prompter, desktop) {}

bool ClientRig::connect() {
    Connection& c = client.session().connection();
    c.setRemoteHost(QStringLiteral("127.0.0.1"));
    c.setRemotePort(server.port());
    c.Connect();
    return QTest::qWaitFor([&] { return c.State() == Connection::Connected; }, 5000) &&
           server.waitForPeer();
}

bool ClientRig::logIn(const QString& user) {
    client.session().values().userName = user;
    client.mainWindow().setToolbarOnline();
    return connect();
}

QByteArray ClientRig::sent() {
    const QByteArray probe = " ## cmdSU /:/ probe";
    client.session().connection().SendData(QString::fromLatin1(probe));
    if (!QTest::qWaitFor([&] { return server.received.endsWith(probe); }, 5000)) {
        return "no round trip: " + server.received;
    }
    const QByteArray before = server.received.chopped(probe.size());
    server.received.clear();
    return before;
}

QAction* ClientRig::action(const char* name) {
    return client.mainWindow().findChild<QAction*>(QString::fromLatin1(name));
}

void useFont(FontToolbar& bar, const char* name, const char* size, const char* style) {
    bar.setFontName(QLatin1StringView(name));
    bar.setFontSize(QLatin1StringView(size));
    bar.setBold(QByteArray(style).contains('B'));
    bar.setItalic(QByteArray(style).contains('I'));
    bar.setUnderlined(QByteArray(style).contains('U'));
}

void say(QPlainTextEdit& input, const QString& text) {
    input.setPlainText(text);
    QTest::keyClick(&input, Qt::Key_Return);
}

QString deadAddress() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return QStringLiteral("127.0.0.1:") + QString::number(probe.serverPort());
}

QString shownText(const HtmlMessageView& view) {
    QStringList lines;
    for (QTextBlock line = view.document()->begin(); line.isValid(); line = line.next()) {
        lines << line.text().replace(QStringLiteral("\u00a0 "), QStringLiteral(" "));
    }
    return lines.join(QLatin1Char('\n'));
}

QColor lastNameColour(const HtmlMessageView& view) {
    QTextBlock line = view.document()->lastBlock();
    while (line.isValid() && line.text().trimmed().isEmpty()) {
        line = line.previous();
    }
    QTextCursor name(line);
    name.movePosition(QTextCursor::Right);
    return name.charFormat().foreground().color();
}

} // namespace velmora::test
