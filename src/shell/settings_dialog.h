// `frmSettings`: the tabs of options. OK and Apply write every page's
// keys to "Velmora.ini" and update the copies the main window loaded.
#pragma once

#include <QDialog>
#include <QList>

class QTabWidget;

namespace velmora {

class Session;
class OptionsPage;

class SettingsDialog : public QDialog {
    Q_OBJECT
public:
    SettingsDialog(Session& session, QWidget* owner);

    void applyOptions();

private:
    Session& session_;
    QTabWidget* tabs_;
    QList<OptionsPage*> pages_;
};

} // namespace velmora
