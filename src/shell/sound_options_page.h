// "Sound Settings": the five notification sounds, each with its file and
// its switch.
#pragma once

#include "shell/options_page.h"

#include <array>

class QCheckBox;
class QLineEdit;

namespace velmora {

class Desktop;

class SoundOptionsPage : public OptionsPage {
    Q_OBJECT
public:
    SoundOptionsPage(Desktop& desktop, QWidget* parent = nullptr);

    void restoreOptions(const Settings& settings) override;
    void applyOptions(Settings& settings, MainWindowValues& values) override;

private:
    struct Row {
        const char* key;
        QCheckBox* enabled = nullptr;
        QLineEdit* path = nullptr;
    };
    void browse(Row& row);

    Desktop& desktop_;
    std::array<Row, 5> rows_;
};

} // namespace velmora
