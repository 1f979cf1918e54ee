// "General Settings": message pop-up, minimising to the tray, smilies,
// reconnecting.
#pragma once

#include "shell/options_page.h"

class QCheckBox;

namespace velmora {

class GeneralOptionsPage : public OptionsPage {
    Q_OBJECT
public:
    explicit GeneralOptionsPage(QWidget* parent = nullptr);

    void restoreOptions(const Settings& settings) override;
    void applyOptions(Settings& settings, MainWindowValues& values) override;

private:
    QCheckBox* chkNewPM_;
    QCheckBox* chkMinTray_;
    QCheckBox* chkEmote_;
    QCheckBox* chkReconnect_;
};

} // namespace velmora
