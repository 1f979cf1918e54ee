#include "messaging/chat_menus.h"

#include "controls/font_toolbar.h"
#include "session/main_frame.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QTextBrowser>

namespace velmora {

QAction* addNamedAction(QMenu& menu, const char* name, const QString& text) {
    QAction* action = menu.addAction(text);
    action->setObjectName(QLatin1StringView(name));
    return action;
}

void addClipboardActions(QMenu& menu, QTextBrowser& view, QPlainTextEdit& input) {
    QObject::connect(addNamedAction(menu, "mnuEditCut", QStringLiteral("Cu&t")),
                     &QAction::triggered, &input, &QPlainTextEdit::cut);
    QObject::connect(addNamedAction(menu, "mnuEditCopy", QStringLiteral("&Copy")),
                     &QAction::triggered, &input, [&view, &input] {
                         if (view.textCursor().hasSelection()) {
                             view.copy();
                         } else {
                             input.copy();
                         }
                     });
    QObject::connect(addNamedAction(menu, "mnuEditPaste", QStringLiteral("&Paste")),
                     &QAction::triggered, &input, &QPlainTextEdit::paste);
}

void addStyleToggles(QMenu& menu, FontToolbar& toolbar) {
    struct Toggle {
        const char* name;
        const char* text;
        FontToolbar::Style style;
        void (FontToolbar::*set)(bool);
    };
    static constexpr Toggle toggles[] = {
        {"mnuEditBold", "&Bold", FontToolbar::Style::Bold, &FontToolbar::setBold},
        {"mnuEditItalic", "&Italic", FontToolbar::Style::Italic, &FontToolbar::setItalic},
        {"mnuEditUnderlined", "&Underlined", FontToolbar::Style::Underlined,
         &FontToolbar::setUnderlined},
    };
    for (const Toggle& toggle : toggles) {
        QAction* action = addNamedAction(menu, toggle.name, QString::fromLatin1(toggle.text));
        action->setCheckable(true);
        QObject::connect(action, &QAction::triggered, &toolbar,
                         [&toolbar, set = toggle.set](bool on) { (toolbar.*set)(on); });
        QObject::connect(&toolbar, &FontToolbar::FontStyleChanged, action,
                         [action, style = toggle.style](FontToolbar::Style changed, bool on) {
                             if (changed == style) {
                                 action->setChecked(on);
                             }
                         });
    }
}

void addHelpMenu(QMenuBar& bar, const Actions& main, const QKeySequence& helpKeys) {
    QMenu* help = bar.addMenu(QStringLiteral("&Help"));
    help->setObjectName(QStringLiteral("mnuHelp"));
    QAction* contents = addNamedAction(*help, "mnuHelpHelp", QStringLiteral("&Help Contents"));
    contents->setShortcut(helpKeys);
    QObject::connect(contents, &QAction::triggered, main.helpHelp, &QAction::trigger);
    QObject::connect(addNamedAction(*help, "mnuHelpAbout", QStringLiteral("&About Velmora")),
                     &QAction::triggered, main.helpAbout, &QAction::trigger);
}

} // namespace velmora
