// "History": how long the message history keeps its lines, and clearing it.
#pragma once

#include "shell/options_page.h"

class QComboBox;
class QLabel;

namespace velmora {

class Session;

class HistoryOptionsPage : public OptionsPage {
    Q_OBJECT
public:
    explicit HistoryOptionsPage(Session& session, QWidget* parent = nullptr);

    void restoreOptions(const Settings& settings) override;
    void applyOptions(Settings& settings, MainWindowValues& values) override;

    // Asks first, then deletes every stored line.
    void cmdClearHistory_Click();

private:
    Session& session_;
    QComboBox* cboHistoryKeep_;
    QLabel* lblHistoryStatus_;
    qint32 restoredDays_ = 0;
};

} // namespace velmora
