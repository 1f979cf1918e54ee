// `frmSearchHistory`: finds words in every stored conversation. The results,
// newest first, show when, who, in which conversation and what; choosing one
// shows that conversation below, read-only, around the line, with the line
// marked and scrolled into view. The live message window only holds what
// came since it opened, so it could not show a line from last month; Open
// Conversation still opens it to answer.
#pragma once

#include "history/history_store.h"

#include <QList>
#include <QMainWindow>

class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;

namespace velmora {

class History;
class HtmlMessageView;
class Session;

class HistoryWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr const char* kFormName = "frmSearchHistory";
    // Results shown at most, and lines shown on each side of the chosen one.
    static constexpr int kMostResults = 500;
    static constexpr int kContextLines = 50;

    HistoryWindow(Session& session, History& history);

    [[nodiscard]] QLineEdit& txtSearch() { return *txtSearch_; }
    [[nodiscard]] QTreeWidget& lvResults() { return *lvResults_; }
    [[nodiscard]] HtmlMessageView& brwConversation() { return *brwConversation_; }
    [[nodiscard]] QString statusText() const;
    // The text of the line marked in the conversation, or empty.
    [[nodiscard]] QString markedText() const;

    void cmdSearch_Click();
    // Shows the conversation of result `row` around its line.
    void openResult(int row);

private:
    void buildForm();
    void search();
    void showConversation(const HistoryLine& line);
    void writeLine(const HistoryLine& line);
    void clearResults();

    Session& session_;
    History& history_;
    QLineEdit* txtSearch_;
    QPushButton* cmdSearch_;
    QTreeWidget* lvResults_;
    QLabel* lblConversation_;
    QPushButton* cmdOpen_;
    HtmlMessageView* brwConversation_;
    QLabel* lblStatus_;
    QList<HistoryLine> results_;
};

} // namespace velmora
