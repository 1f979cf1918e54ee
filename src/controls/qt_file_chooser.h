// The file chooser of the desktop, through QFileDialog.
#pragma once

#include "controls/file_chooser.h"

namespace velmora {

class QtFileChooser : public FileChooser {
public:
    std::optional<QString> chooseFile(const FileRequest& request) override;
    std::optional<QString> chooseFolder(const QString& title, QWidget* owner) override;
};

// QFileDialog's name filters for a description/pattern list:
// {"Text Document (*.txt)", "*.txt", "Logs", "*.log;*.old"} gives
// {"Text Document (*.txt)", "Logs (*.log *.old)"}.
[[nodiscard]] QStringList qtNameFilters(const QStringList& filter);

} // namespace velmora
