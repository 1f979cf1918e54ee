// A fresh, empty application folder for one test, removed afterwards.
#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

namespace velmora::test {

class TempHome {
public:
    TempHome();

    [[nodiscard]] QString path() const { return dir_.path(); }
    // `name` relative to the folder, e.g. "Velmora.ini" or "Sounds/Enter.wav".
    [[nodiscard]] QString filePath(const QString& name) const { return dir_.filePath(name); }
    // Writes the file (and its folders) with exactly these bytes.
    void writeFile(const QString& name, const QByteArray& bytes) const;
    // The file's bytes; empty when it does not exist.
    [[nodiscard]] QByteArray readFile(const QString& name) const;
    [[nodiscard]] bool exists(const QString& name) const;

private:
    QTemporaryDir dir_;
};

} // namespace velmora::test
