// "Desktop": how the client fits into the desktop around it, desktop
// notifications and keeping the password in the system keychain.
#pragma once

#include "shell/options_page.h"

class QCheckBox;

namespace velmora {

class Session;

class DesktopOptionsPage : public OptionsPage {
    Q_OBJECT
public:
    explicit DesktopOptionsPage(Session& session, QWidget* parent = nullptr);

    void restoreOptions(const Settings& settings) override;
    void applyOptions(Settings& settings, MainWindowValues& values) override;

private:
    Session& session_;
    QCheckBox* chkNotify_;
    QCheckBox* chkKeychain_;
};

} // namespace velmora
