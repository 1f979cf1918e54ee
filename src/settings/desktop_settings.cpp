#include "settings/desktop_settings.h"

#include "platform/ini_file.h"
#include "platform/number_text.h"

namespace velmora {

namespace {

constexpr const char* kSettings = "Settings";
constexpr const char* kLogin = "Login Options";

qint16 readSwitch(const char* section, const char* key, bool absent, const QString& path) {
    return number_text::toInt16(
        IniFile::read(QString::fromLatin1(section), QString::fromLatin1(key),
                      absent ? QStringLiteral("1") : QStringLiteral("0"), path));
}

void writeSwitch(const char* section, const char* key, bool on, const QString& path) {
    IniFile::write(QString::fromLatin1(section), QString::fromLatin1(key),
                   on ? QStringLiteral("1") : QStringLiteral("0"), path);
}

} // namespace

qint16 DesktopSettings::notify() const {
    return readSwitch(kSettings, "Notify", true, path_);
}

void DesktopSettings::setNotify(bool on) {
    writeSwitch(kSettings, "Notify", on, path_);
}

qint16 DesktopSettings::keychain() const {
    return readSwitch(kLogin, "L-Keychain", false, path_);
}

void DesktopSettings::setKeychain(bool on) {
    writeSwitch(kLogin, "L-Keychain", on, path_);
}

} // namespace velmora
