#include "shell/desktop_options_page.h"

#include "settings/settings.h"
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
    chkNotify_->setChecked(settings.notify() == 1);
    chkKeychain_->setChecked(settings.keychain() == 1);
}

void DesktopOptionsPage::applyOptions(Settings& settings, MainWindowValues& /*values*/) {
    // Written only when changed: a file that never had the keys keeps it so.
    if (chkNotify_->isChecked() != (settings.notify() == 1)) {
        settings.setNotify(chkNotify_->isChecked());
    }
    if (chkKeychain_->isChecked() != (settings.keychain() == 1)) {
        settings.setKeychain(chkKeychain_->isChecked());
        SavedPassword::of(session_).keychainChanged(chkKeychain_->isChecked());
    }
}

} // namespace velmora
