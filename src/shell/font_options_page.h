// "Default Font Settings": the face, size and styles new messages start with.
#pragma once

#include "shell/options_page.h"

class QCheckBox;
class QComboBox;
class QLabel;

namespace velmora {

class FontOptionsPage : public OptionsPage {
    Q_OBJECT
public:
    explicit FontOptionsPage(QWidget* parent = nullptr);

    void restoreOptions(const Settings& settings) override;
    void applyOptions(Settings& settings, MainWindowValues& values) override;

private:
    void updatePreview();

    QComboBox* cboFontName_;
    QComboBox* cboFontSize_;
    QCheckBox* chkBold_;
    QCheckBox* chkItalic_;
    QCheckBox* chkUnderlined_;
    QLabel* lblPreview_;
};

} // namespace velmora
