#include "messaging/chat_input.h"

#include "controls/font_toolbar.h"
#include "session/space_mark.h"

#include <QPlainTextEdit>

namespace velmora {

QString typedText(QString text) {
    text = marksToSpaces(text);
    while (text.contains(QLatin1StringView("  "))) {
        text.replace(QLatin1StringView("  "), QLatin1StringView(" "));
    }
    return text;
}

QString wireText(QString text) {
    text.replace(QLatin1StringView("\r\n"), QLatin1StringView("\n"));
    text.replace(QLatin1StringView("\n"), QLatin1StringView("\r\n"));
    text = spacesToMarks(text);
    return text;
}

QString styleLetters(const FontToolbar& toolbar) {
    QString letters;
    if (toolbar.Bold()) {
        letters += QLatin1Char('B');
    }
    if (toolbar.Italic()) {
        letters += QLatin1Char('I');
    }
    if (toolbar.Underlined()) {
        letters += QLatin1Char('U');
    }
    return letters;
}

void applyToolbarFont(QPlainTextEdit& input, const FontToolbar& toolbar, double minSize,
                      double maxSize) {
    QFont font = input.font();
    font.setFamily(toolbar.FontName());
    bool ok = false;
    const double size = toolbar.FontSize().toDouble(&ok);
    if (ok && size >= minSize && size <= maxSize) {
        font.setPointSizeF(size);
    }
    font.setBold(toolbar.Bold());
    font.setItalic(toolbar.Italic());
    font.setUnderline(toolbar.Underlined());
    input.setFont(font);
}

} // namespace velmora
