// The system's file and folder choosers as the file dialogs use them. The
// dialogs talk to this interface so that a test can script the user's choice.
#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>

class QWidget;

namespace velmora {

// Dialog flags in their classic values.
namespace ofn {
inline constexpr quint32 kOverwritePrompt = 0x2;
inline constexpr quint32 kHideReadOnly = 0x4;
inline constexpr quint32 kNoChangeDir = 0x8;
inline constexpr quint32 kPathMustExist = 0x800;
inline constexpr quint32 kFileMustExist = 0x1000;
} // namespace ofn

struct FileRequest {
    enum class Kind { Open, Save };
    Kind kind = Kind::Open;
    QWidget* owner = nullptr;
    QString title;
    QString initialDir;
    // The name proposed to the user; may be empty.
    QString fileName;
    // Description and pattern alternating, e.g. {"Text Document (*.txt)", "*.txt"}.
    // A pattern may list several globs separated by ";".
    QStringList filter;
    // Appended, after a dot, to a name typed without an extension.
    QString defaultExt;
    quint32 flags = 0;
};

class FileChooser {
public:
    virtual ~FileChooser() = default;
    // The chosen path, or nothing when the user cancels.
    virtual std::optional<QString> chooseFile(const FileRequest& request) = 0;
    virtual std::optional<QString> chooseFolder(const QString& title, QWidget* owner) = 0;
};

} // namespace velmora
