// `frmSearchUsers`: searches the server's user directory by name. One per
// client; the reply can arrive after the window was closed, and then opens
// a fresh one to hold the results.
#pragma once

#include <QString>
#include <QWidget>

class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;
class QPushButton;

namespace velmora {

class Client;

class SearchUsersWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr const char* kFormName = "frmSearchUsers";

    explicit SearchUsersWindow(Client& client);

    // The search button's handler, also run by Enter in the query box.
    void cmdSearch_Click();
    // The data field of a +SU record: names separated by "%".
    void onSearchReply(const QString& names);

    // The name of the selected result, or empty when none is selected.
    [[nodiscard]] QString selectedResult() const;
    [[nodiscard]] QString statusText() const;
    [[nodiscard]] QMenu& contextMenu() { return *mnuContext_; }

private:
    void buildForm();
    void setControlsEnabled(bool enabled);
    void addAsBuddy(const QString& name);

    Client& client_;
    QLineEdit* txtQuery_;
    QPushButton* cmdSearch_;
    QListWidget* lvResults_;
    QLabel* lblStatus_;
    QMenu* mnuContext_;
};

// The client's search window, or null when none is open.
[[nodiscard]] SearchUsersWindow* findSearchWindow(Client& client);
// The client's search window, created (not shown) when none is open.
[[nodiscard]] SearchUsersWindow& searchWindow(Client& client);

} // namespace velmora
