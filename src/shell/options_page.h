// One tab of the settings dialog: it shows the saved values of its keys and
// writes them back, keeping the main window's loaded copies in step.
#pragma once

#include <QWidget>

namespace velmora {

class Settings;
struct MainWindowValues;

class OptionsPage : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;

    // Reads the page's keys into its controls. May raise AppError 13 when
    // a saved value is not of its form.
    virtual void restoreOptions(const Settings& settings) = 0;
    virtual void applyOptions(Settings& settings, MainWindowValues& values) = 0;
};

} // namespace velmora
