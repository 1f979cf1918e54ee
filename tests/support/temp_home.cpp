#include "support/temp_home.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <stdexcept>

namespace velmora::test {

TempHome::TempHome() {
    if (!dir_.isValid()) {
        throw std::runtime_error("cannot create a temporary application folder");
    }
}

void TempHome::writeFile(const QString& name, const QByteArray& bytes) const {
    const QString path = filePath(name);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(bytes) != bytes.size()) {
        throw std::runtime_error("cannot write a test file");
    }
}

QByteArray TempHome::readFile(const QString& name) const {
    QFile file(filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool TempHome::exists(const QString& name) const {
    return QFileInfo::exists(filePath(name));
}

} // namespace velmora::test
