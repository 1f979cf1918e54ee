// Spell checking in an input box: the words the dictionary does not know are
// underlined as the user types, and the box's context menu offers the
// dictionary's corrections and "Add to Dictionary" above its usual entries.
#pragma once

#include <QSyntaxHighlighter>

class QMenu;
class QPlainTextEdit;
class QPoint;

namespace velmora {

class SpellChecker;

class SpellHighlighter : public QSyntaxHighlighter {
    Q_OBJECT
public:
    // Checks `edit`'s text with `checker`, which must outlive the box, and
    // takes over the box's context menu.
    SpellHighlighter(QPlainTextEdit& edit, SpellChecker& checker);

    // The context menu for a click at `pos` (viewport coordinates): the
    // spelling entries first when the word there is misspelt. The caller
    // owns it.
    [[nodiscard]] QMenu* contextMenu(const QPoint& pos);

protected:
    void highlightBlock(const QString& text) override;

private:
    QPlainTextEdit& edit_;
    SpellChecker& checker_;
};

} // namespace velmora
