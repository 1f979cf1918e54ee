#include "settings/settings.h"

#include "platform/app_error.h"
#include "platform/ini_file.h"
#include "platform/number_text.h"

#include <utility>

namespace velmora {

namespace {

constexpr const char* kSettings = "Settings";
constexpr const char* kSounds = "Sounds";
constexpr const char* kLogin = "Login Options";
constexpr const char* kFont = "Font";
constexpr const char* kFormPos = "FormPos";
constexpr const char* kHistory = "History";
constexpr const char* kSpelling = "Spelling";

QString switchText(bool on) {
    return on ? QStringLiteral("1") : QStringLiteral("0");
}

QString styleText(bool on) {
    return on ? QStringLiteral("True") : QStringLiteral("False");
}

} // namespace

Settings::Settings(const QString& appFolder)
    : folder_(appFolder), path_(appFolder + QStringLiteral("/Velmora.ini")) {}

QString Settings::serverListPath() const {
    return folder_ + QStringLiteral("/IMServers.ini");
}

QString Settings::knownServersPath() const {
    return folder_ + QStringLiteral("/known_servers.ini");
}

QString Settings::read(const char* section, const QString& key, const QString& defaultValue) const {
    return IniFile::read(QString::fromLatin1(section), key, defaultValue, path_);
}

void Settings::write(const char* section, const QString& key, const QString& value) {
    IniFile::write(QString::fromLatin1(section), key, value, path_);
}

void Settings::loadMainWindowValues(MainWindowValues& values) const {
    // Each value is stored as soon as it is read: a bad one ends the load
    // with the values before it in place, and its report names the key.
    const auto keyed = [](const char* section, const QString& key, auto&& read) {
        try {
            return read();
        } catch (AppError& error) {
            error.description += QStringLiteral(" ([") + QLatin1StringView(section) +
                                 QStringLiteral("] ") + key + QLatin1Char(')');
            throw;
        }
    };
    values.fontSize = keyed(kSettings, QStringLiteral("Font-Size"),
                            [&] { return number_text::toDouble(settingsFontSize()); });
    values.newPM = keyed(kSettings, QStringLiteral("NewPM"), [&] { return newPM(); });
    values.minTray = keyed(kSettings, QStringLiteral("MinTray"), [&] { return minTray(); });
    values.emote = keyed(kSettings, QStringLiteral("Emote"), [&] { return emote(); });
    for (auto [name, setting] :
         {std::pair{sound::kEnter, &values.enter}, std::pair{sound::kExit, &values.exit},
          std::pair{sound::kReceiveIM, &values.receiveIM},
          std::pair{sound::kUserLogin, &values.userLogin},
          std::pair{sound::kUserLogout, &values.userLogout}}) {
        const QString key = QString::fromLatin1(name);
        setting->path = soundPath(key);
        setting->enabled =
            keyed(kSounds, key + QStringLiteral("Enabled"), [&] { return soundEnabled(key); });
    }
    values.autoConnect =
        keyed(kLogin, QStringLiteral("L-Auto-Connect"), [&] { return loginAutoConnect(); });
}

QString Settings::settingsFontSize() const {
    return read(kSettings, QStringLiteral("Font-Size"), QStringLiteral("8"));
}

qint16 Settings::newPM() const {
    return number_text::toInt16(read(kSettings, QStringLiteral("NewPM"), QStringLiteral("1")));
}

qint16 Settings::minTray() const {
    return number_text::toInt16(read(kSettings, QStringLiteral("MinTray"), QStringLiteral("0")));
}

qint16 Settings::emote() const {
    return number_text::toInt16(read(kSettings, QStringLiteral("Emote"), QStringLiteral("1")));
}

void Settings::setNewPM(bool on) {
    write(kSettings, QStringLiteral("NewPM"), switchText(on));
}

void Settings::setMinTray(bool on) {
    write(kSettings, QStringLiteral("MinTray"), switchText(on));
}

void Settings::setEmote(bool on) {
    write(kSettings, QStringLiteral("Emote"), switchText(on));
}

qint16 Settings::reconnect() const {
    return number_text::toInt16(read(kSettings, QStringLiteral("Reconnect"), QStringLiteral("1")));
}

void Settings::setReconnect(bool on) {
    write(kSettings, QStringLiteral("Reconnect"), switchText(on));
}

qint16 Settings::notify() const {
    return number_text::toInt16(read(kSettings, QStringLiteral("Notify"), QStringLiteral("1")));
}

void Settings::setNotify(bool on) {
    write(kSettings, QStringLiteral("Notify"), switchText(on));
}

qint32 Settings::historyKeepDays() const {
    return number_text::toInt32(read(kHistory, QStringLiteral("KeepDays"), QStringLiteral("0")));
}

void Settings::setHistoryKeepDays(qint32 days) {
    write(kHistory, QStringLiteral("KeepDays"), QString::number(days));
}

QString Settings::spellLanguage() const {
    return read(kSpelling, QStringLiteral("Language"), QString());
}

void Settings::setSpellLanguage(const QString& language) {
    write(kSpelling, QStringLiteral("Language"), language);
}

QString Settings::soundPath(const QString& name) const {
    return read(kSounds, name,
                folder_ + QStringLiteral("/Sounds/") + name + QStringLiteral(".wav"));
}

qint16 Settings::soundEnabled(const QString& name) const {
    return number_text::toInt16(
        read(kSounds, name + QStringLiteral("Enabled"), QStringLiteral("1")));
}

SoundSetting Settings::sound(const QString& name) const {
    SoundSetting setting;
    setting.path = soundPath(name);
    setting.enabled = soundEnabled(name);
    return setting;
}

void Settings::setSoundPath(const QString& name, const QString& path) {
    write(kSounds, name, path);
}

void Settings::setSoundEnabled(const QString& name, bool on) {
    write(kSounds, name + QStringLiteral("Enabled"), switchText(on));
}

QString Settings::loginUser() const {
    return read(kLogin, QStringLiteral("L-User"), QString());
}

QString Settings::loginPass() const {
    return read(kLogin, QStringLiteral("L-Pass"), QString());
}

qint16 Settings::loginCheck() const {
    return number_text::toInt16(read(kLogin, QStringLiteral("L-Check"), QStringLiteral("0")));
}

qint16 Settings::loginAutoConnect() const {
    return number_text::toInt16(
        read(kLogin, QStringLiteral("L-Auto-Connect"), QStringLiteral("0")));
}

void Settings::setLoginUser(const QString& user) {
    write(kLogin, QStringLiteral("L-User"), user);
}

void Settings::setLoginPass(const QString& password) {
    write(kLogin, QStringLiteral("L-Pass"), password);
}

void Settings::setLoginHost(const QString& host) {
    write(kLogin, QStringLiteral("L-Host"), host);
}

qint16 Settings::loginEncrypted() const {
    return number_text::toInt16(read(kLogin, QStringLiteral("L-Encrypted"), QStringLiteral("0")));
}

void Settings::setLoginEncrypted(bool on) {
    if ((loginEncrypted() == 1) != on) {
        write(kLogin, QStringLiteral("L-Encrypted"), switchText(on));
    }
}

qint16 Settings::keychain() const {
    return number_text::toInt16(read(kLogin, QStringLiteral("L-Keychain"), QStringLiteral("0")));
}

void Settings::setKeychain(bool on) {
    write(kLogin, QStringLiteral("L-Keychain"), switchText(on));
}

void Settings::setLoginCheck(bool on) {
    write(kLogin, QStringLiteral("L-Check"), switchText(on));
}

void Settings::setLoginAutoConnect(bool on) {
    write(kLogin, QStringLiteral("L-Auto-Connect"), switchText(on));
}

QString Settings::fontName() const {
    return read(kFont, QStringLiteral("Name"), QStringLiteral("MS Sans Serif"));
}

QString Settings::fontSize() const {
    return read(kFont, QStringLiteral("Size"), QStringLiteral("10"));
}

bool Settings::fontBold(const QString& missing) const {
    return number_text::toBool(read(kFont, QStringLiteral("Bold"), missing));
}

bool Settings::fontItalic(const QString& missing) const {
    return number_text::toBool(read(kFont, QStringLiteral("Italic"), missing));
}

bool Settings::fontUnderlined(const QString& missing) const {
    return number_text::toBool(read(kFont, QStringLiteral("Underlined"), missing));
}

void Settings::setFontName(const QString& name) {
    write(kFont, QStringLiteral("Name"), name);
}

void Settings::setFontSize(const QString& size) {
    write(kFont, QStringLiteral("Size"), size);
}

void Settings::setFontBold(bool on) {
    write(kFont, QStringLiteral("Bold"), styleText(on));
}

void Settings::setFontItalic(bool on) {
    write(kFont, QStringLiteral("Italic"), styleText(on));
}

void Settings::setFontUnderlined(bool on) {
    write(kFont, QStringLiteral("Underlined"), styleText(on));
}

qint32 Settings::formPos(const QString& windowName, const QString& edge, qint32 current) const {
    return number_text::toInt32(
        read(kFormPos, windowName + QLatin1Char('-') + edge, QString::number(current)));
}

void Settings::setFormPos(const QString& windowName, const QString& edge, qint32 value) {
    write(kFormPos, windowName + QLatin1Char('-') + edge, QString::number(value));
}

} // namespace velmora
