// The settings file "Velmora.ini" beside the program: one typed accessor per
// key, each with the key's default, and the setters writing the value forms
// the file has always held ("0"/"1" for switches, "True"/"False" for font
// styles, decimal text for numbers). Every read goes to the file, so a value
// changed on disk takes effect at the next load of the window reading it.
#pragma once

#include <QString>
#include <QtGlobal>

namespace velmora {

// Host saved as "L-Host" when the user does not save their login details.
inline constexpr const char* kDefaultServerHost = "127.0.0.1";

// The five notification sounds, by their key in section "Sounds".
namespace sound {
inline constexpr const char* kEnter = "Enter";
inline constexpr const char* kExit = "Exit";
inline constexpr const char* kReceiveIM = "ReceiveIM";
inline constexpr const char* kUserLogin = "UserLogin";
inline constexpr const char* kUserLogout = "UserLogout";
} // namespace sound

// The four "FormPos" edges: a window's keys are its name + "-" + edge.
namespace edge {
inline constexpr const char* kLeft = "Left";
inline constexpr const char* kTop = "Top";
inline constexpr const char* kHeight = "Height";
inline constexpr const char* kWidth = "Width";
} // namespace edge

struct SoundSetting {
    QString path;
    qint16 enabled = 0;
};

// What the main window reads when it loads. Zero and empty until loaded: a
// load that fails part-way keeps what it read and leaves the rest so.
struct MainWindowValues {
    double fontSize = 0; // "Font-Size": checked against 20, never applied
    qint16 newPM = 0;    // bring a message window forward on a new message
    qint16 minTray = 0;  // minimising hides the main window to the tray
    qint16 emote = 0;    // draw smilies as images
    SoundSetting enter;
    SoundSetting exit;
    SoundSetting receiveIM;
    SoundSetting userLogin;
    SoundSetting userLogout;
    qint16 autoConnect = 0; // "L-Auto-Connect"
};

class Settings {
public:
    // `appFolder` is the application folder, without a trailing separator.
    explicit Settings(const QString& appFolder);

    [[nodiscard]] const QString& folder() const { return folder_; }
    [[nodiscard]] const QString& path() const { return path_; }
    [[nodiscard]] QString serverListPath() const;
    [[nodiscard]] QString knownServersPath() const;

    // The main window's load into `values`: "Font-Size" (must be a number),
    // the three switches, the five sounds (path, then switch) and
    // "L-Auto-Connect", in that order. A value that is not a number raises
    // AppError 13 (6 when out of range) naming its key; what was read before
    // it stays in `values`, the rest is left as it was.
    void loadMainWindowValues(MainWindowValues& values) const;

    // Section "Settings". Switches read as numbers (raising AppError 13 on
    // text), so a "2" in the file is neither on (1) nor off.
    [[nodiscard]] QString settingsFontSize() const;
    [[nodiscard]] qint16 newPM() const;
    [[nodiscard]] qint16 minTray() const;
    [[nodiscard]] qint16 emote() const;
    void setNewPM(bool on);
    void setMinTray(bool on);
    void setEmote(bool on);
    // "Reconnect": log in again after a dropped connection (on when absent;
    // reading never writes the key).
    [[nodiscard]] qint16 reconnect() const;
    void setReconnect(bool on);
    // "Notify": a desktop notification for a message or an invitation that
    // arrives while its window is not in front (on when absent).
    [[nodiscard]] qint16 notify() const;
    void setNotify(bool on);

    // Section "History", "KeepDays": how many days of conversation history
    // to keep; 0, and a missing key, keep it forever.
    [[nodiscard]] qint32 historyKeepDays() const;
    void setHistoryKeepDays(qint32 days);

    // Section "Spelling", "Language": the dictionary the input boxes check
    // against ("en_US"), kSpellingOff for none; empty when the file does not
    // choose, which means the language of the desktop.
    static constexpr const char* kSpellingOff = "Off";
    [[nodiscard]] QString spellLanguage() const;
    void setSpellLanguage(const QString& language);

    // Section "Sounds"; `name` is one of sound::k*.
    [[nodiscard]] QString soundPath(const QString& name) const;
    [[nodiscard]] qint16 soundEnabled(const QString& name) const;
    [[nodiscard]] SoundSetting sound(const QString& name) const;
    void setSoundPath(const QString& name, const QString& path);
    void setSoundEnabled(const QString& name, bool on);

    // Section "Login Options". Nothing reads "L-Host" back.
    [[nodiscard]] QString loginUser() const;
    [[nodiscard]] QString loginPass() const;
    [[nodiscard]] qint16 loginCheck() const;
    [[nodiscard]] qint16 loginAutoConnect() const;
    void setLoginUser(const QString& user);
    void setLoginPass(const QString& password);
    void setLoginHost(const QString& host);
    void setLoginCheck(bool on);
    void setLoginAutoConnect(bool on);
    // "L-Encrypted": connect inside TLS (off when absent). Written only when
    // it changes, so a user who never turns it on never has the key.
    [[nodiscard]] qint16 loginEncrypted() const;
    void setLoginEncrypted(bool on);
    // "L-Keychain": a saved password lives in the system keychain and
    // "L-Pass" stays empty (off when absent).
    [[nodiscard]] qint16 keychain() const;
    void setKeychain(bool on);

    // Section "Font": the default message font. Styles read "True"/"False"
    // (or a number); other text raises AppError 13. `missing` stands in for
    // a style the file does not hold.
    [[nodiscard]] QString fontName() const;
    [[nodiscard]] QString fontSize() const;
    [[nodiscard]] bool fontBold(const QString& missing = QStringLiteral("False")) const;
    [[nodiscard]] bool fontItalic(const QString& missing = QStringLiteral("False")) const;
    [[nodiscard]] bool fontUnderlined(const QString& missing = QStringLiteral("False")) const;
    void setFontName(const QString& name);
    void setFontSize(const QString& size);
    void setFontBold(bool on);
    void setFontItalic(bool on);
    void setFontUnderlined(bool on);

    // Section "FormPos": a window that was never saved keeps `current`.
    [[nodiscard]] qint32 formPos(const QString& windowName, const QString& edge,
                                 qint32 current) const;
    void setFormPos(const QString& windowName, const QString& edge, qint32 value);

private:
    [[nodiscard]] QString read(const char* section, const QString& key,
                               const QString& defaultValue) const;
    void write(const char* section, const QString& key, const QString& value);

    QString folder_;
    QString path_;
};

} // namespace velmora
