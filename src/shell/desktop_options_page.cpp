#include "shell/desktop_options_page.h"

#include "settings/desktop_settings.h"
#include "shell/saved_password.h"

#include <QCheckBox>
#include <QVBoxLayout>

namespace velmora {

DesktopOptionsPage::DesktopOptionsPage(Session& session, QWidget* parent)
    : OptionsPage(parent), session_(session),
      chkNotify_(
          new QCheckBox(QStringLiteral("Show a desktop &notification for messages and invitations "
                                       "that arrive while their window is not in front"),
                        this)),
      chkKeychain_(
          new QCheckBox(QStringLiteral("Keep the password in the system &keychain"), this)) {
    setObjectName(QStringLiteral("pageDesktop"));
    chkNotify_->setObjectName(QStringLiteral("chkNotify"));
    chkKeychain_->setObjectName(QStringLiteral("chkKeychain"));
    chkKeychain_->setToolTip(QStringLiteral(
        "A saved password is kept by the desktop's keychain instead of in Velmora.ini"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(chkNotify_);
    layout->addWidget(chkKeychain_);
    layout->addStretch(1);
}

void DesktopOptionsPage::restoreOptions(const Settings& settings) {
    const DesktopSettings desktop(settings);
    chkNotify_->setChecked(desktop.notify() == 1);
    chkKeychain_->setChecked(desktop.keychain() == 1);
}

void DesktopOptionsPage::applyOptions(Settings& settings, MainWindowValues& /*values*/) {
    // Written only when changed: a file that never had the keys keeps it so.
    DesktopSettings desktop(settings);
    if (chkNotify_->isChecked() != (desktop.notify() == 1)) {
        desktop.setNotify(chkNotify_->isChecked());
    }
    if (chkKeychain_->isChecked() != (desktop.keychain() == 1)) {
        desktop.setKeychain(chkKeychain_->isChecked());
        SavedPassword::of(session_).keychainChanged(chkKeychain_->isChecked());
    }
}

} // namespace velmora
