#include "support/client_rig.h"

#include "session/connection.h"
#include "shell/main_window.h"

namespace velmora::test {

namespace {

std::unique_ptr<Client> makeClient(TempHome& home, const QByteArray& ini, Prompter& prompter,
                                   Desktop& desktop) {
    if (!ini.isEmpty()) {
        home.writeFile(QStringLiteral("Velmora.ini"), ini);
    }
    return std::make_unique<Client>(home.path(), prompter, desktop);
}

} // namespace

ClientRig::ClientRig(const QByteArray& ini)
    : owned_(makeClient(home, ini, prompter, desktop)), client(*owned_) {}

bool ClientRig::connect() {
    Connection& c = client.connection();
    c.setRemoteHost(QStringLiteral("127.0.0.1"));
    c.setRemotePort(server.port());
    c.Connect();
    return QTest::qWaitFor([&] { return c.State() == Connection::Connected; }, 5000) &&
           server.waitForPeer();
}

bool ClientRig::logIn(const QString& user) {
    client.session().userName = user;
    client.mainWindow().setToolbarOnline();
    return connect();
}

bool ClientRig::feed(const QByteArray& bytes, qsizetype boxes) {
    server.send(bytes);
    return QTest::qWaitFor([&] { return prompter.boxes().size() >= boxes; }, 5000);
}

QAction* ClientRig::action(const char* name) const {
    return client.mainWindow().findChild<QAction*>(QString::fromLatin1(name));
}

QString ClientRig::smilie(const char* file) const {
    return QStringLiteral("<img src='") + home.path() + QStringLiteral("/Smilies/") +
           QLatin1StringView(file) + QStringLiteral("' alt='' border='0'> ");
}

} // namespace velmora::test
