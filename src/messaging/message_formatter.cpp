#include "messaging/message_formatter.h"

#include "platform/message_view.h"
#include "platform/number_text.h"
#include "session/space_mark.h"

#include <QStringList>

#include <array>

namespace velmora {

namespace {

struct SmilieCode {
    QLatin1StringView code;
    QLatin1StringView file;
    Qt::CaseSensitivity cs;
};

// The order matters: "O:)" must be drawn before ":)" takes its tail, and no
// later code may appear inside an image tag written by an earlier one.
constexpr std::array<SmilieCode, 10> kSmilies{{
    {QLatin1StringView(":-\\"), QLatin1StringView("whatever.gif"), Qt::CaseSensitive},
    {QLatin1StringView(":("), QLatin1StringView("sad.gif"), Qt::CaseSensitive},
    {QLatin1StringView(":O"), QLatin1StringView("shocked.gif"), Qt::CaseSensitive},
    {QLatin1StringView(";)"), QLatin1StringView("wink.gif"), Qt::CaseSensitive},
    {QLatin1StringView(":-*"), QLatin1StringView("kiss.gif"), Qt::CaseSensitive},
    {QLatin1StringView("O:)"), QLatin1StringView("angel.gif"), Qt::CaseInsensitive},
    {QLatin1StringView(":)"), QLatin1StringView("smilie.gif"), Qt::CaseSensitive},
    {QLatin1StringView("B-)"), QLatin1StringView("cool.gif"), Qt::CaseInsensitive},
    {QLatin1StringView(":D"), QLatin1StringView("grin.gif"), Qt::CaseInsensitive},
    {QLatin1StringView(":P"), QLatin1StringView("tounge.gif"), Qt::CaseInsensitive},
}};

void drawSmilies(QString& text, const QString& appFolder) {
    QString dir = appFolder;
    dir.replace(QLatin1Char('\\'), QLatin1Char('/'));
    dir += QLatin1StringView("/Smilies/");
    for (const auto& s : kSmilies) {
        const QString tag = QLatin1StringView("<img src='") + dir + s.file +
                            QLatin1StringView("' alt='' border='0'>");
        text.replace(s.code, tag, s.cs);
    }
}

QString openingStyleTags(const QString& style) {
    QString tags = style;
    tags.remove(QLatin1Char('<'));
    tags.remove(QLatin1Char('>'));
    tags.replace(QLatin1Char('B'), QLatin1StringView("<B>"));
    tags.replace(QLatin1Char('I'), QLatin1StringView("<I>"));
    tags.replace(QLatin1Char('U'), QLatin1StringView("<U>"));
    return tags;
}

QString pieceHtml(const QString& piece) {
    const QString lower = piece.toLower();
    if (lower.startsWith(QLatin1StringView("https://")) ||
        lower.startsWith(QLatin1StringView("http://")) ||
        lower.startsWith(QLatin1StringView("ftp://"))) {
        return QLatin1StringView("<a href=\"") + piece +
               QLatin1StringView("\" target=\"_blank\">") + piece + QLatin1StringView("</a> ");
    }
    QString href = piece;
    href.replace(QLatin1Char('>'), QLatin1StringView("&gt;"));
    if (lower.startsWith(QLatin1StringView("www."))) {
        return QLatin1StringView("<a href=\"http://") + href +
               QLatin1StringView("\" target=\"_blank\">") + piece + QLatin1StringView("</a> ");
    }
    if (lower.startsWith(QLatin1StringView("mailto:"))) {
        return QLatin1StringView("<a href=\"") + href + QLatin1StringView("\">") + piece +
               QLatin1StringView("</a> ");
    }
    return piece + QLatin1Char(' ');
}

// The sender chooses the font name: inside the quoted attribute it must
// neither end the attribute nor open a tag. Ordinary names pass unchanged.
QString attributeText(const QString& value) {
    QString out = value;
    out.replace(QLatin1Char('&'), QLatin1StringView("&amp;"));
    out.replace(QLatin1Char('"'), QLatin1StringView("&quot;"));
    out.replace(QLatin1Char('<'), QLatin1StringView("&lt;"));
    out.replace(QLatin1Char('>'), QLatin1StringView("&gt;"));
    return out;
}

} // namespace

QString htmlFontSize(const QString& points) {
    QString text = QString::number(number_text::toDouble(points) / 3.0, 'g', 15);
    // Large sizes come out in exponent form, written with a capital E.
    text.replace(QLatin1Char('e'), QLatin1Char('E'));
    return text;
}

void AppendMessageHtml(QString& text, const QString& colour, const QString& sender,
                       const QString& fontName, const QString& fontSize, MessageView& view,
                       const QString& style, const FormatterOptions& opts) {
    // Only "<" is escaped: a ">" in the body is shown as it is and stays in
    // link targets, where the address rules below deal with it.
    text.replace(QLatin1Char('<'), QLatin1StringView("&lt;"));
    text.replace(QLatin1StringView("\r\n"),
                 QString(spaceMark()) + QLatin1StringView("<br>") + spaceMark());
    if (opts.emote) {
        drawSmilies(text, opts.appFolder);
    }

    view.write(QLatin1StringView("<b><font color=\"") + colour +
               QLatin1StringView("\" face=\"MS Sans Serif\" size=\"3\">"));
    view.write(sender + QLatin1StringView(":</font></b>&nbsp; "));
    const QString styleTags = openingStyleTags(style);
    view.write(styleTags);
    view.write(QLatin1StringView("<font color=\"") + colour + QLatin1StringView("\" face=\"") +
               attributeText(fontName) + QLatin1StringView("\" size=\"") + htmlFontSize(fontSize) +
               QLatin1StringView("\">"));

    const QStringList pieces = text.split(spaceMark());
    text.clear();
    for (const QString& piece : pieces) {
        view.write(pieceHtml(piece));
    }
    view.write(QStringLiteral("</font>"));

    // The style tags close after the font tag and in the order they were
    // opened (<B><I> ... </B></I>); views of this chat rely on exactly that.
    QString closing = styleTags;
    closing.replace(QLatin1Char('<'), QLatin1StringView("</"));
    view.write(closing + QLatin1StringView("\r\n<br>\r\n"));
    view.scrollToEnd();
}

} // namespace velmora
