// The conversation of a message window as a plain-text log: one line per
// chat line, "sender: message", the way the window shows it. Pictures come
// back as the smilie codes that drew them, so a saved log reads as typed.
#pragma once

#include <QString>

class QTextDocument;

namespace velmora {

// The text of every block of `document` from `firstBlock` on, one line per
// block; a line break inside a message starts a new line of the log.
[[nodiscard]] QString conversationText(const QTextDocument& document, int firstBlock);

// Writes `text` to `path` as UTF-8, replacing the file. Raises AppError 75
// when the file cannot be written.
void saveTextFile(const QString& path, const QString& text);

} // namespace velmora
