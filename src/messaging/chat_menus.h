// The menu entries the conversation and conference windows share: the
// clipboard on the input box, the style toggles mirroring the font toolbar,
// and the main window's help.
#pragma once

#include <QKeySequence>
#include <QString>

class QAction;
class QMenu;
class QMenuBar;
class QPlainTextEdit;
class QTextBrowser;

namespace velmora {

class FontToolbar;
struct Actions;

// An entry carrying its documented name.
QAction* addNamedAction(QMenu& menu, const char* name, const QString& text);

// Cut, Copy and Paste on the input box; Copy takes the conversation's
// selection when there is one.
void addClipboardActions(QMenu& menu, QTextBrowser& view, QPlainTextEdit& input);

// Bold, Italic and Underlined as checkable entries that set the toolbar's
// toggles and follow them.
void addStyleToggles(QMenu& menu, FontToolbar& toolbar);

// The same help and about box as the main window's.
void addHelpMenu(QMenuBar& bar, const Actions& main, const QKeySequence& helpKeys);

} // namespace velmora
