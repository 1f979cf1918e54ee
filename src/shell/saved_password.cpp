#include "shell/saved_password.h"

#include "platform/keychain.h"
#include "platform/prompter.h"
#include "session/session.h"

namespace velmora {

SavedPassword& SavedPassword::of(Session& session) {
    if (auto* found = session.findChild<SavedPassword*>(QString(), Qt::FindDirectChildrenOnly)) {
        return *found;
    }
    return *new SavedPassword(session);
}

SavedPassword::SavedPassword(Session& session) : QObject(&session), session_(session) {}

QString SavedPassword::load(const QString& user) {
    Settings& settings = session_.settings();
    // A password still in the file (saved where no keychain answered) wins.
    const QString inFile = settings.loginPass();
    if (!inFile.isEmpty() || settings.keychain() != 1 || user.isEmpty()) {
        return inFile;
    }
    QString password;
    if (session_.desktop().keychain().read(user, password) == Keychain::Result::Unavailable) {
        unavailable();
    }
    return password;
}

void SavedPassword::save(const QString& user, const QString& password) {
    Settings& settings = session_.settings();
    if (settings.keychain() == 1) {
        if (session_.desktop().keychain().write(user, password) == Keychain::Result::Done) {
            settings.setLoginPass(QString());
            return;
        }
        unavailable();
    }
    settings.setLoginPass(password);
}

void SavedPassword::forget(const QString& user) {
    session_.settings().setLoginPass(QString());
    if (session_.settings().keychain() == 1 && !user.isEmpty()) {
        session_.desktop().keychain().remove(user);
    }
}

void SavedPassword::keychainChanged(bool on) {
    Settings& settings = session_.settings();
    const QString user = settings.loginUser();
    if (user.isEmpty() || settings.loginCheck() != 1) {
        return;
    }
    Keychain& keychain = session_.desktop().keychain();
    if (on) {
        const QString password = settings.loginPass();
        if (password.isEmpty()) {
            return;
        }
        if (keychain.write(user, password) == Keychain::Result::Done) {
            settings.setLoginPass(QString());
        } else {
            unavailable();
        }
        return;
    }
    QString password;
    switch (keychain.read(user, password)) {
    case Keychain::Result::Done:
        settings.setLoginPass(password);
        keychain.remove(user);
        break;
    case Keychain::Result::NotFound:
        break;
    case Keychain::Result::Unavailable:
        unavailable();
        break;
    }
}

void SavedPassword::unavailable() {
    if (told_) {
        return;
    }
    told_ = true;
    session_.showMessage(QStringLiteral("The system keychain cannot be reached, so the password "
                                        "is kept in Velmora.ini as before."),
                         style::kOk);
}

} // namespace velmora
