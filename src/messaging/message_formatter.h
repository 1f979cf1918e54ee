// Turns one chat message (transmission form plus the sender's font choice)
// into HTML and appends it to a conversation view, fragment by fragment.
#pragma once

#include <QString>

namespace velmora {

class MessageView;

struct FormatterOptions {
    // The "Emote" setting is 1: smilie codes are drawn as images.
    bool emote = true;
    // The application folder; smilie images live in its "Smilies" folder.
    QString appFolder;
};

// Writes the sender's name, the opening style tags, the font tag, every
// piece of `text` (split on the "%%" space marker, addresses linked) and the
// closing tags, then scrolls `view` to its end. `text` is rewritten in place
// and left empty on return. A `fontSize` that is not a number raises
// AppError 13 once the name and style tags have been written.
void AppendMessageHtml(QString& text, const QString& colour, const QString& sender,
                       const QString& fontName, const QString& fontSize, MessageView& view,
                       const QString& style, const FormatterOptions& opts);

// The HTML font size for a size in points: points / 3 in the shortest form
// with up to 15 significant digits ("10" gives "3.33333333333333"). Raises
// AppError 13 when `points` is not a number.
[[nodiscard]] QString htmlFontSize(const QString& points);

} // namespace velmora
