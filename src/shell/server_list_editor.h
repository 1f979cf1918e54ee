// `frmSrvLst`: adds and deletes the addresses the login window offers and
// saves them to "IMServers.ini".
#pragma once

#include <QDialog>

class QLineEdit;
class QListWidget;
class QPushButton;

namespace velmora {

class Session;

class ServerListEditor : public QDialog {
    Q_OBJECT
public:
    ServerListEditor(Session& session, QWidget* owner);

    void cmdAdd_Click();
    void cmdDelete_Click();
    void cmdSave_Click();
    [[nodiscard]] QStringList servers() const;

signals:
    // The list was written to the file.
    void saved();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    Session& session_;
    QString path_;
    QListWidget* lstServers_;
    QLineEdit* txtServer_;
    QPushButton* cmdAdd_;
    QPushButton* cmdDelete_;
    QPushButton* cmdSave_;
    QPushButton* cmdClose_;
    bool changed_ = false;
};

} // namespace velmora
