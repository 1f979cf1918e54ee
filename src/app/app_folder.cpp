#include "app/app_folder.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QStandardPaths>

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

// The build places the shipped files beside the executable; an installation
// keeps them under the prefix's share folder, read-only.
QString shippedFolder(const QString& executableDir) {
    const QString installed = QDir::cleanPath(executableDir + QStringLiteral("/../share/velmora"));
    return QFileInfo(installed).isDir() ? installed : QDir(executableDir).absolutePath();
}

QString defaultFolder(const QString& executableDir, const QString& shipped) {
    const QString own = QDir(executableDir).absolutePath();
    if (shipped == own && QFileInfo(own).isWritable()) {
        return own;
    }
    // Honours XDG_DATA_HOME, else ~/.local/share.
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/velmora");
}

} // namespace

QString resolveAppFolder(const QString& home, const QString& executableDir) {
    const QString shipped = shippedFolder(executableDir);
    QString folder = home;
    if (folder.isEmpty()) {
        folder = qEnvironmentVariable("VELMORA_HOME");
    }
    if (folder.isEmpty()) {
        folder = defaultFolder(executableDir, shipped);
    }
    folder = QDir(folder).absolutePath();
    QDir().mkpath(folder);
    if (folder != shipped) {
        for (const char* sub : {"Sounds", "Smilies", "help"}) {
            const QString from = shipped + QLatin1Char('/') + QLatin1String(sub);
            if (QFileInfo(from).isDir()) {
                copyMissing(from, folder + QLatin1Char('/') + QLatin1String(sub));
            }
        }
    }
    return folder;
}

} // namespace velmora
