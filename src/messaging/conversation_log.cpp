#include "messaging/conversation_log.h"

#include "platform/app_error.h"

#include <QFileInfo>
#include <QSaveFile>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextImageFormat>

#include <array>

namespace velmora {

namespace {

constexpr int kPathFileAccessError = 75;

struct Picture {
    QLatin1StringView file;
    QLatin1StringView code;
};

// The codes the formatter draws, by picture.
constexpr std::array<Picture, 10> kPictures{{
    {QLatin1StringView("whatever.gif"), QLatin1StringView(":-\\")},
    {QLatin1StringView("sad.gif"), QLatin1StringView(":(")},
    {QLatin1StringView("shocked.gif"), QLatin1StringView(":O")},
    {QLatin1StringView("wink.gif"), QLatin1StringView(";)")},
    {QLatin1StringView("kiss.gif"), QLatin1StringView(":-*")},
    {QLatin1StringView("angel.gif"), QLatin1StringView("O:)")},
    {QLatin1StringView("smilie.gif"), QLatin1StringView(":)")},
    {QLatin1StringView("cool.gif"), QLatin1StringView("B-)")},
    {QLatin1StringView("grin.gif"), QLatin1StringView(":D")},
    {QLatin1StringView("tounge.gif"), QLatin1StringView(":P")},
}};

QString pictureText(const QTextImageFormat& image) {
    const QString file = QFileInfo(image.name()).fileName();
    for (const Picture& picture : kPictures) {
        if (file.compare(picture.file, Qt::CaseInsensitive) == 0) {
            return picture.code;
        }
    }
    return QString();
}

QString blockText(const QTextBlock& block) {
    QString text;
    for (auto it = block.begin(); !it.atEnd(); ++it) {
        const QTextFragment fragment = it.fragment();
        const QTextCharFormat format = fragment.charFormat();
        if (format.isImageFormat()) {
            text += pictureText(format.toImageFormat());
        } else {
            text += fragment.text();
        }
    }
    return text;
}

// The name is followed by a non-breaking and an ordinary space, and every
// piece of a message by a space of its own; the log keeps single spaces.
QString tidyLine(QString line) {
    line.replace(QStringLiteral(u"\u00a0 "), QStringLiteral(" "));
    line.replace(QChar::Nbsp, QLatin1Char(' '));
    line.replace(QChar(0xfffc), QString());
    return line.trimmed();
}

} // namespace

QString conversationText(const QTextDocument& document, int firstBlock) {
    QString log;
    for (QTextBlock block = document.findBlockByNumber(firstBlock); block.isValid();
         block = block.next()) {
        const QStringList lines = blockText(block).split(QChar::LineSeparator);
        for (const QString& line : lines) {
            log += tidyLine(line) + QLatin1Char('\n');
        }
    }
    return log;
}

void saveTextFile(const QString& path, const QString& text) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text) || file.write(text.toUtf8()) < 0 ||
        !file.commit()) {
        throw AppError(kPathFileAccessError, QStringLiteral("Velmora"),
                       QStringLiteral("Path/File access error"));
    }
}

} // namespace velmora
