// `frmSearchUsers`: searches the server's user directory by name. One per
// session; the reply can arrive after the window was closed, and then opens
// a fresh one to hold the results.
#pragma once

#include <QString>
#include <QStringList>
#include <QWidget>

class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;
class QPushButton;

namespace velmora {

class Session;

class SearchUsersWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr const char* kFormName = "frmSearchUsers";

    explicit SearchUsersWindow(Session& session);

    // The search button's handler, also run by Enter in the query box.
    void cmdSearch_Click();
    // The names a user search found.
    void onSearchReply(const QStringList& names);

    // The name of the selected result, or empty when none is selected.
    [[nodiscard]] QString selectedResult() const;
    [[nodiscard]] QString statusText() const;
    [[nodiscard]] QMenu& contextMenu() { return *mnuContext_; }

private:
    void buildForm();
    void setControlsEnabled(bool enabled);
    void addAsBuddy(const QString& name);

    Session& session_;
    QLineEdit* txtQuery_;
    QPushButton* cmdSearch_;
    QListWidget* lvResults_;
    QLabel* lblStatus_;
    QMenu* mnuContext_;
};

// The session's search window, or null when none is open.
[[nodiscard]] SearchUsersWindow* findSearchWindow(Session& session);
// The session's search window, created (not shown) when none is open.
[[nodiscard]] SearchUsersWindow& searchWindow(Session& session);

} // namespace velmora
