#include "support/doubles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <stdexcept>

namespace velmora::test {

TempHome::TempHome() {
    if (!dir_.isValid()) {
        throw std::runtime_error("cannot create a temporary application folder");
    }
}

void TempHome::writeFile(const QString& name, const QByteArray& bytes) const {
    QDir().mkpath(QFileInfo(filePath(name)).absolutePath());
    QFile file(filePath(name));
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

int RecordingPrompter::show(const QString& text, int style, const QString& title, QWidget* owner) {
    boxes.append(ShownBox{text, style, title, owner});
    if (!answers.isEmpty()) {
        return answers.takeFirst();
    }
    return (style & 0x7) == 4 ? answer::kYes : answer::kOk; // Yes and No, or OK
}

QStringList RecordingPrompter::texts() const {
    QStringList texts;
    for (const ShownBox& box : boxes) {
        texts.append(box.text);
    }
    return texts;
}

Keychain::Result MemoryKeychain::read(const QString& account, QString& password) {
    if (!available || !passwords.contains(account)) {
        return available ? Result::NotFound : Result::Unavailable;
    }
    password = passwords.value(account);
    return Result::Done;
}

Keychain::Result MemoryKeychain::write(const QString& account, const QString& password) {
    return available ? (passwords.insert(account, password), Result::Done) : Result::Unavailable;
}

Keychain::Result MemoryKeychain::remove(const QString& account) {
    return available ? (passwords.remove(account), Result::Done) : Result::Unavailable;
}

void RecordingDesktop::notify(const QString& title, const QString& body,
                              std::function<void()> activated,
                              std::function<void()> /*unavailable*/) {
    notifications << title + QLatin1Char('|') + body;
    notificationClicks << std::move(activated);
}

std::optional<QString> ScriptedChooser::chooseFile(const FileRequest& request) {
    requests.append(request);
    return answers.isEmpty() ? std::nullopt : answers.takeFirst();
}

std::optional<QString> ScriptedChooser::chooseFolder(const QString& title, QWidget*) {
    folderTitles.append(title);
    return answers.isEmpty() ? std::nullopt : answers.takeFirst();
}

QStringList sqlColumn(const QString& dbPath, const QString& sql) {
    QStringList values;
    {
        QSqlDatabase db =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("peek"));
        db.setDatabaseName(dbPath);
        if (db.open()) {
            QSqlQuery q(sql, db);
            while (q.next()) {
                values << q.value(0).toString();
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("peek"));
    return values;
}

} // namespace velmora::test
