#include "shell/settings_dialog.h"

#include "session/session.h"
#include "shell/desktop_options_page.h"
#include "shell/font_options_page.h"
#include "shell/general_options_page.h"
#include "shell/history_options_page.h"
#include "shell/sound_options_page.h"
#include "shell/spelling_options_page.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace velmora {

SettingsDialog::SettingsDialog(Session& session, QWidget* owner)
    : QDialog(owner), session_(session), tabs_(new QTabWidget(this)) {
    setObjectName(QStringLiteral("frmSettings"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Settings"));
    tabs_->setObjectName(QStringLiteral("tabSettings"));

    auto* general = new GeneralOptionsPage(tabs_);
    auto* font = new FontOptionsPage(tabs_);
    auto* sounds = new SoundOptionsPage(session_.desktop(), tabs_);
    tabs_->addTab(general, QStringLiteral("General Settings"));
    tabs_->addTab(font, QStringLiteral("Default Font Settings"));
    tabs_->addTab(sounds, QStringLiteral("Sound Settings"));
    auto* desktop = new DesktopOptionsPage(session_, tabs_);
    tabs_->addTab(desktop, QStringLiteral("Desktop"));
    pages_ = {general, font, sounds, desktop};
    auto* history = new HistoryOptionsPage(session_, tabs_);
    auto* spelling = new SpellingOptionsPage(session_.spellChecker(), tabs_);
    tabs_->addTab(history, QStringLiteral("History"));
    tabs_->addTab(spelling, QStringLiteral("Spelling"));
    pages_ << history << spelling;
    for (OptionsPage* page : pages_) {
        session_.trap([&] { page->restoreOptions(session_.settings()); });
    }

    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    auto* apply = new QPushButton(QStringLiteral("&Apply"), this);
    apply->setObjectName(QStringLiteral("cmdApply"));
    connect(ok, &QPushButton::clicked, this, [this] {
        applyOptions();
        close();
    });
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    connect(apply, &QPushButton::clicked, this, [this] { applyOptions(); });

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    buttons->addWidget(apply);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs_);
    layout->addLayout(buttons);
    resize(460, 400);
}

void SettingsDialog::applyOptions() {
    for (OptionsPage* page : pages_) {
        session_.trap([&] { page->applyOptions(session_.settings(), session_.preferences()); });
    }
}

} // namespace velmora
