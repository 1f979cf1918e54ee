// The password the login window saves and offers again. With the keychain
// option off it is "L-Pass" in the settings file, as it always was; with it
// on, "L-Pass" is written empty and the password lives in the desktop's
// keychain. A desktop without a keychain keeps the file's way, and the user
// is told so once per run.
#pragma once

#include <QObject>
#include <QString>

namespace velmora {

class Session;

class SavedPassword : public QObject {
    Q_OBJECT
public:
    // The one of `session`, made on first use; it lives as long as the session.
    [[nodiscard]] static SavedPassword& of(Session& session);

    // What the login window shows for `user`.
    [[nodiscard]] QString load(const QString& user);
    // After a login with "Save login details" ticked.
    void save(const QString& user, const QString& password);
    // After a login without it: nothing of the password is kept anywhere.
    void forget(const QString& user);
    // The keychain option changed: the saved password moves with it.
    void keychainChanged(bool on);

private:
    explicit SavedPassword(Session& session);
    // Told once, the first time the keychain cannot be reached.
    void unavailable();

    Session& session_;
    bool told_ = false;
};

} // namespace velmora
