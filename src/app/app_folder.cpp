#include "app/app_folder.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

namespace velmora {

namespace {

void copyMissing(const QString& from, const QString& to) {
    QDirIterator it(from, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString source = it.next();
        const QString target = to + QLatin1Char('/') + QDir(from).relativeFilePath(source);
        if (!QFileInfo::exists(target)) {
            QDir().mkpath(QFileInfo(target).absolutePath());
            QFile::copy(source, target);
        }
    }
}

} // namespace

QString resolveAppFolder(const QStringList& arguments, const QString& executableDir) {
    QString folder;
    const qsizetype flag = arguments.indexOf(QStringLiteral("--home"));
    if (flag >= 0 && flag + 1 < arguments.size()) {
        folder = arguments.at(flag + 1);
    } else if (!qEnvironmentVariableIsEmpty("VELMORA_HOME")) {
        folder = qEnvironmentVariable("VELMORA_HOME");
    } else {
        folder = executableDir;
    }
    folder = QDir(folder).absolutePath();
    QDir().mkpath(folder);
    // The build places the shipped assets beside the executable.
    if (folder != QDir(executableDir).absolutePath()) {
        for (const char* sub : {"Sounds", "Smilies", "help"}) {
            const QString shipped = executableDir + QLatin1Char('/') + QLatin1String(sub);
            if (QFileInfo(shipped).isDir()) {
                copyMissing(shipped, folder + QLatin1Char('/') + QLatin1String(sub));
            }
        }
    }
    return folder;
}

} // namespace velmora
