#include "controls/spell_highlighter.h"

#include "controls/spell_checker.h"

#include <QMenu>
#include <QPlainTextEdit>
#include <QTextBlock>
#include <QTextCursor>

namespace velmora {

SpellHighlighter::SpellHighlighter(QPlainTextEdit& edit, SpellChecker& checker)
    : QSyntaxHighlighter(edit.document()), edit_(edit), checker_(checker) {
    connect(&checker_, &SpellChecker::changed, this, &QSyntaxHighlighter::rehighlight);
    edit_.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&edit_, &QWidget::customContextMenuRequested, this, [this](const QPoint& pos) {
        QMenu* menu = contextMenu(pos);
        menu->exec(edit_.viewport()->mapToGlobal(pos));
        delete menu;
    });
}

void SpellHighlighter::highlightBlock(const QString& text) {
    if (!checker_.isActive()) {
        return;
    }
    QTextCharFormat misspelt;
    misspelt.setUnderlineStyle(QTextCharFormat::SpellCheckUnderline);
    misspelt.setUnderlineColor(Qt::red);
    for (const WordSpan& word : SpellChecker::wordsOf(text)) {
        if (!checker_.isCorrect(text.mid(word.start, word.length))) {
            setFormat(static_cast<int>(word.start), static_cast<int>(word.length), misspelt);
        }
    }
}

QMenu* SpellHighlighter::contextMenu(const QPoint& pos) {
    QMenu* menu = edit_.createStandardContextMenu();
    menu->setObjectName(QStringLiteral("mnuSpelling"));
    if (!checker_.isActive() || !edit_.isEnabled() || edit_.isReadOnly()) {
        return menu;
    }
    const QTextCursor at = edit_.cursorForPosition(pos);
    const QTextBlock block = at.block();
    const qsizetype offset = at.positionInBlock();
    for (const WordSpan& span : SpellChecker::wordsOf(block.text())) {
        if (offset < span.start || offset > span.start + span.length) {
            continue;
        }
        const QString word = block.text().mid(span.start, span.length);
        if (checker_.isCorrect(word)) {
            break;
        }
        QAction* first = menu->actions().value(0);
        // The word is taken again when an entry is chosen: the menu may
        // outlive edits made while it was open.
        const int from = block.position() + static_cast<int>(span.start);
        const int length = static_cast<int>(span.length);
        const auto replaceWith = [this, from, length, word](const QString& correction) {
            QTextCursor cursor(edit_.document());
            cursor.setPosition(from);
            cursor.setPosition(from + length, QTextCursor::KeepAnchor);
            if (cursor.selectedText() == word) {
                cursor.insertText(correction);
            }
        };
        const QStringList suggestions = checker_.suggestions(word);
        for (const QString& suggestion : suggestions) {
            auto* entry = new QAction(suggestion, menu);
            entry->setObjectName(QStringLiteral("mnuSpellSuggestion"));
            QFont bold = entry->font();
            bold.setBold(true);
            entry->setFont(bold);
            connect(entry, &QAction::triggered, this,
                    [replaceWith, suggestion] { replaceWith(suggestion); });
            menu->insertAction(first, entry);
        }
        if (suggestions.isEmpty()) {
            auto* none = new QAction(tr("(No Suggestions)"), menu);
            none->setEnabled(false);
            menu->insertAction(first, none);
        }
        auto* add = new QAction(tr("&Add to Dictionary"), menu);
        add->setObjectName(QStringLiteral("mnuSpellAdd"));
        connect(add, &QAction::triggered, this, [this, word] { checker_.addWord(word); });
        menu->insertAction(first, add);
        menu->insertSeparator(first);
        break;
    }
    return menu;
}

} // namespace velmora
