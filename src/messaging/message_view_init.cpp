#include "messaging/message_view_init.h"

#include "controls/font_toolbar.h"
#include "platform/html_message_view.h"
#include "settings/settings.h"

#include <QTextDocument>

namespace velmora {

namespace {

// The page, then the red warning banner under a thin red rule, written in
// one piece before the first message.
const QString kHeader =
    QStringLiteral("<html>\r\n"
                   "<body Style=\"Margin: 0px;\" SCROLL=\"Auto\" BGCOLOR=\"#FFFFFF\" "
                   "OnContextMenu=\"javascript: return true;\">\r\n"
                   "<font name=\"MS Sans Serif\" size=\"3\" color=\"#FF0000\">"
                   "Remember: You should never give out personal information online!</font>\r\n"
                   "<hr color=\"#FF0000\" size=\"1\">\r\n"
                   "<br>\r\n");

} // namespace

int InitMessageView(HtmlMessageView& view, FontToolbar& toolbar, const Settings& settings,
                    const QString& styleDefault) {
    view.clear();
    view.write(kHeader);
    const int headerBlocks = view.document()->blockCount();

    toolbar.setFontName(settings.fontName());
    toolbar.setFontSize(settings.fontSize());
    toolbar.setBold(settings.fontBold(styleDefault));
    toolbar.setItalic(settings.fontItalic(styleDefault));
    toolbar.setUnderlined(settings.fontUnderlined(styleDefault));
    return headerBlocks;
}

} // namespace velmora
