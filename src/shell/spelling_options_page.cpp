#include "shell/spelling_options_page.h"

#include "controls/spell_checker.h"
#include "settings/settings.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLocale>
#include <QVBoxLayout>

namespace velmora {

SpellingOptionsPage::SpellingOptionsPage(SpellChecker& checker, QWidget* parent)
    : OptionsPage(parent), checker_(checker), cboSpellLanguage_(new QComboBox(this)) {
    setObjectName(QStringLiteral("pageSpelling"));
    cboSpellLanguage_->setObjectName(QStringLiteral("cboSpellLanguage"));
    cboSpellLanguage_->addItem(QStringLiteral("None (do not check)"),
                               QString::fromLatin1(Settings::kSpellingOff));
    for (const QString& language : checker_.availableLanguages()) {
        const QLocale locale(language);
        const QString name = locale.language() == QLocale::C
                                 ? language
                                 : QLocale::languageToString(locale.language()) +
                                       QStringLiteral(" (") +
                                       QLocale::territoryToString(locale.territory()) +
                                       QStringLiteral(") - ") + language;
        cboSpellLanguage_->addItem(name, language);
    }
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Check the spelling in &language:"), cboSpellLanguage_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    auto* note = new QLabel(QStringLiteral("Misspelt words are underlined as you type; "
                                           "right-click one for suggestions. More languages "
                                           "come with the system's hunspell dictionaries."),
                            this);
    note->setWordWrap(true);
    layout->addWidget(note);
    layout->addStretch(1);
}

void SpellingOptionsPage::restoreOptions(const Settings& settings) {
    // The dictionary in use, which may be a stand-in for the language the
    // setting or the desktop asks for.
    const QString chosen = SpellChecker::chosenLanguage(settings.spellLanguage());
    int index = cboSpellLanguage_->findData(chosen);
    if (index < 0) {
        index = cboSpellLanguage_->findData(checker_.language());
    }
    restoredIndex_ = qMax(index, 0);
    cboSpellLanguage_->setCurrentIndex(restoredIndex_);
}

void SpellingOptionsPage::applyOptions(Settings& settings, MainWindowValues&) {
    // Written only when changed: without the key the desktop's language holds.
    if (cboSpellLanguage_->currentIndex() == restoredIndex_) {
        return;
    }
    const QString language = cboSpellLanguage_->currentData().toString();
    settings.setSpellLanguage(language);
    checker_.setLanguage(language);
    restoredIndex_ = cboSpellLanguage_->currentIndex();
}

} // namespace velmora
