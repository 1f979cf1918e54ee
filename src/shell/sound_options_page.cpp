#include "shell/sound_options_page.h"

#include "platform/desktop.h"
#include "settings/settings.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLineEdit>
#include <QToolButton>
#include <QVBoxLayout>

namespace velmora {

namespace {

struct SoundRow {
    const char* key;
    const char* label;
};

constexpr std::array<SoundRow, 5> kSounds{{
    {sound::kUserLogin, "A buddy &logs in"},
    {sound::kUserLogout, "A buddy logs &out"},
    {sound::kReceiveIM, "A &message arrives"},
    {sound::kEnter, "Someone &enters a conference"},
    {sound::kExit, "Someone lea&ves a conference"},
}};

SoundSetting* loadedSound(MainWindowValues& values, const QString& key) {
    if (key == QLatin1String(sound::kEnter)) {
        return &values.enter;
    }
    if (key == QLatin1String(sound::kExit)) {
        return &values.exit;
    }
    if (key == QLatin1String(sound::kReceiveIM)) {
        return &values.receiveIM;
    }
    if (key == QLatin1String(sound::kUserLogin)) {
        return &values.userLogin;
    }
    return &values.userLogout;
}

} // namespace

SoundOptionsPage::SoundOptionsPage(Desktop& desktop, QWidget* parent)
    : OptionsPage(parent), desktop_(desktop) {
    setObjectName(QStringLiteral("pageSounds"));
    auto* grid = new QGridLayout;
    grid->setColumnStretch(1, 1);
    for (std::size_t i = 0; i < kSounds.size(); ++i) {
        const QString key = QString::fromLatin1(kSounds[i].key);
        Row& row = rows_[i];
        row.key = kSounds[i].key;
        row.enabled = new QCheckBox(QString::fromLatin1(kSounds[i].label), this);
        row.enabled->setObjectName(QStringLiteral("chkSound") + key);
        row.path = new QLineEdit(this);
        row.path->setObjectName(QStringLiteral("txtSound") + key);
        auto* browse = new QToolButton(this);
        browse->setObjectName(QStringLiteral("cmdBrowse") + key);
        browse->setText(QStringLiteral("..."));
        browse->setToolTip(QStringLiteral("Choose a sound file"));
        auto* play = new QToolButton(this);
        play->setObjectName(QStringLiteral("cmdPlay") + key);
        play->setText(QStringLiteral("Play"));
        play->setToolTip(QStringLiteral("Play this sound"));
        const int line = static_cast<int>(i) * 2;
        grid->addWidget(row.enabled, line, 0, 1, 4);
        grid->addWidget(row.path, line + 1, 1);
        grid->addWidget(browse, line + 1, 2);
        grid->addWidget(play, line + 1, 3);
        connect(browse, &QToolButton::clicked, this, [this, i] { this->browse(rows_[i]); });
        connect(play, &QToolButton::clicked, this,
                [this, i] { desktop_.playSound(rows_[i].path->text()); });
        connect(row.enabled, &QCheckBox::toggled, row.path, &QWidget::setEnabled);
    }
    grid->setColumnMinimumWidth(0, 16);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addStretch(1);
}

void SoundOptionsPage::browse(Row& row) {
    const QString chosen = QFileDialog::getOpenFileName(
        this, QStringLiteral("Choose a Sound"), QFileInfo(row.path->text()).absolutePath(),
        QStringLiteral("Wave Sounds (*.wav);;All Files (*)"));
    if (!chosen.isEmpty()) {
        row.path->setText(QDir::toNativeSeparators(chosen));
    }
}

void SoundOptionsPage::restoreOptions(const Settings& settings) {
    for (Row& row : rows_) {
        const SoundSetting saved = settings.sound(QString::fromLatin1(row.key));
        row.path->setText(saved.path);
        row.enabled->setChecked(saved.enabled == 1);
        row.path->setEnabled(saved.enabled == 1);
    }
}

void SoundOptionsPage::applyOptions(Settings& settings, MainWindowValues& values) {
    for (const Row& row : rows_) {
        const QString key = QString::fromLatin1(row.key);
        settings.setSoundPath(key, row.path->text());
        settings.setSoundEnabled(key, row.enabled->isChecked());
        *loadedSound(values, key) =
            SoundSetting{row.path->text(), row.enabled->isChecked() ? qint16{1} : qint16{0}};
    }
}

} // namespace velmora
