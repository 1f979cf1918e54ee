#include "controls/qt_file_chooser.h"

#include <QFileDialog>
#include <QRegularExpression>

namespace velmora {

QStringList qtNameFilters(const QStringList& filter) {
    // Descriptions usually repeat their patterns in brackets already; Qt reads
    // the patterns from the last brackets, so those are rebuilt from the
    // pattern itself rather than shown twice.
    static const QRegularExpression trailingPatterns(QStringLiteral("\\s*\\([^()]*\\)\\s*$"));
    QStringList filters;
    for (qsizetype i = 0; i + 1 < filter.size(); i += 2) {
        QString description = filter.at(i);
        description.remove(trailingPatterns);
        QStringList globs = filter.at(i + 1).split(QLatin1Char(';'), Qt::SkipEmptyParts);
        for (QString& glob : globs) {
            glob = glob.trimmed();
        }
        filters << description + QLatin1StringView(" (") + globs.join(QLatin1Char(' ')) +
                       QLatin1Char(')');
    }
    return filters;
}

std::optional<QString> QtFileChooser::chooseFile(const FileRequest& request) {
    const bool save = request.kind == FileRequest::Kind::Save;
    QFileDialog dialog(request.owner, request.title, request.initialDir);
    dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    dialog.setFileMode(!save && (request.flags & ofn::kFileMustExist) ? QFileDialog::ExistingFile
                                                                      : QFileDialog::AnyFile);
    dialog.setOption(QFileDialog::DontConfirmOverwrite, !(request.flags & ofn::kOverwritePrompt));
    const QStringList filters = qtNameFilters(request.filter);
    if (!filters.isEmpty()) {
        dialog.setNameFilters(filters);
    }
    dialog.setDefaultSuffix(request.defaultExt);
    if (!request.fileName.isEmpty()) {
        dialog.selectFile(request.fileName);
    }
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return std::nullopt;
    }
    return dialog.selectedFiles().constFirst();
}

std::optional<QString> QtFileChooser::chooseFolder(const QString& title, QWidget* owner) {
    const QString folder = QFileDialog::getExistingDirectory(owner, title);
    if (folder.isEmpty()) {
        return std::nullopt;
    }
    return folder;
}

} // namespace velmora
