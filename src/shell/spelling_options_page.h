// "Spelling": the language the input boxes check, or none.
#pragma once

#include "shell/options_page.h"

class QComboBox;

namespace velmora {

class SpellChecker;

class SpellingOptionsPage : public OptionsPage {
    Q_OBJECT
public:
    explicit SpellingOptionsPage(SpellChecker& checker, QWidget* parent = nullptr);

    void restoreOptions(const Settings& settings) override;
    void applyOptions(Settings& settings, MainWindowValues& values) override;

private:
    SpellChecker& checker_;
    QComboBox* cboSpellLanguage_;
    int restoredIndex_ = 0;
};

} // namespace velmora
