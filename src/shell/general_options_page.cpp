#include "shell/general_options_page.h"

#include "settings/settings.h"

#include <QCheckBox>
#include <QVBoxLayout>

namespace velmora {

GeneralOptionsPage::GeneralOptionsPage(QWidget* parent)
    : OptionsPage(parent),
      chkNewPM_(new QCheckBox(
          QStringLiteral("Bring the message &window forward when a new message arrives"), this)),
      chkMinTray_(new QCheckBox(QStringLiteral("&Minimise to the system tray"), this)),
      chkEmote_(new QCheckBox(QStringLiteral("Show &smilies as pictures"), this)),
      chkReconnect_(new QCheckBox(QStringLiteral("&Reconnect when the connection is lost"), this)) {
    setObjectName(QStringLiteral("pageGeneral"));
    chkNewPM_->setObjectName(QStringLiteral("chkNewPM"));
    chkMinTray_->setObjectName(QStringLiteral("chkMinTray"));
    chkEmote_->setObjectName(QStringLiteral("chkEmote"));
    chkReconnect_->setObjectName(QStringLiteral("chkReconnect"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(chkNewPM_);
    layout->addWidget(chkMinTray_);
    layout->addWidget(chkEmote_);
    layout->addWidget(chkReconnect_);
    layout->addStretch(1);
}

void GeneralOptionsPage::restoreOptions(const Settings& settings) {
    chkNewPM_->setChecked(settings.newPM() == 1);
    chkMinTray_->setChecked(settings.minTray() == 1);
    chkEmote_->setChecked(settings.emote() == 1);
    chkReconnect_->setChecked(settings.reconnect() == 1);
}

void GeneralOptionsPage::applyOptions(Settings& settings, MainWindowValues& values) {
    settings.setNewPM(chkNewPM_->isChecked());
    settings.setMinTray(chkMinTray_->isChecked());
    settings.setEmote(chkEmote_->isChecked());
    // Written only when changed: a file that never had the key keeps it so.
    if (chkReconnect_->isChecked() != (settings.reconnect() == 1)) {
        settings.setReconnect(chkReconnect_->isChecked());
    }
    values.newPM = chkNewPM_->isChecked() ? 1 : 0;
    values.minTray = chkMinTray_->isChecked() ? 1 : 0;
    values.emote = chkEmote_->isChecked() ? 1 : 0;
}

} // namespace velmora
