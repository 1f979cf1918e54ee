// A fresh application folder and doubles of the platform layer that record
// what the client asks of the desktop, of message boxes and of file dialogs.
#pragma once

#include "controls/file_chooser.h"
#include "platform/app_error.h"
#include "platform/desktop.h"
#include "platform/keychain.h"
#include "platform/prompter.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QPointer>
#include <QStringList>
#include <QTemporaryDir>
#include <QWidget>

namespace velmora::test {

class TempHome {
public:
    TempHome();
    [[nodiscard]] QString path() const { return dir_.path(); }
    [[nodiscard]] QString filePath(const QString& name) const { return dir_.filePath(name); }
    // Writes the file (and its folders) with exactly these bytes.
    void writeFile(const QString& name, const QByteArray& bytes) const;
    // The file's bytes; empty when it does not exist.
    [[nodiscard]] QByteArray readFile(const QString& name) const;
    [[nodiscard]] bool exists(const QString& name) const;

private:
    QTemporaryDir dir_;
};

struct ShownBox {
    QString text;
    int style = 0;
    QString title;
    QPointer<QWidget> owner;
};

// Shows nothing: records every box and answers from a queue, or with the
// box's first button (OK, or Yes).
class RecordingPrompter : public Prompter {
public:
    int show(const QString& text, int style, const QString& title, QWidget* owner) override;
    void beep() override { ++beeps; }
    [[nodiscard]] QStringList texts() const;
    void reset() { *this = RecordingPrompter(); }

    QList<ShownBox> boxes;
    QList<int> answers;
    int beeps = 0;
};

// A keychain in memory; switched off, every call finds no service.
class MemoryKeychain : public Keychain {
public:
    Result read(const QString& account, QString& password) override;
    Result write(const QString& account, const QString& password) override;
    Result remove(const QString& account) override;

    QHash<QString, QString> passwords;
    bool available = true;
};

class RecordingDesktop : public Desktop {
public:
    void openUrl(const QString& url) override { urls << url; }
    void playSound(const QString& wavPath) override { sounds << wavPath; }
    // Recorded as "folder|topic".
    void showHelp(const QString& helpPath, const QString& topic, QWidget* owner) override {
        help << helpPath + QLatin1Char('|') + topic;
        helpOwner = owner;
    }
    void bringToFront(QWidget* window) override { broughtToFront << window; }
    [[nodiscard]] bool hasSystemTray() const override { return tray; }
    // Recorded as "title|body".
    void notify(const QString& title, const QString& body, std::function<void()> activated,
                std::function<void()> unavailable) override;
    [[nodiscard]] Keychain& keychain() override { return secrets; }

    QStringList urls;
    QStringList sounds;
    QStringList help;
    QPointer<QWidget> helpOwner;
    QList<QPointer<QWidget>> broughtToFront;
    bool tray = true;
    QStringList notifications;
    // What clicking each recorded notification runs.
    QList<std::function<void()>> notificationClicks;
    MemoryKeychain secrets;
};

// Answers each file or folder dialog with the next queued path (nothing, or
// an empty queue, is Cancel) and keeps every request.
class ScriptedChooser : public FileChooser {
public:
    std::optional<QString> chooseFile(const FileRequest& request) override;
    std::optional<QString> chooseFolder(const QString& title, QWidget* owner) override;

    QList<std::optional<QString>> answers;
    QList<FileRequest> requests;
    QStringList folderTitles;
};

// The number of the error `action` raises; 0 when it raises none.
template <typename Action> int errorNumber(Action&& action) {
    try {
        action();
    } catch (const AppError& error) {
        return error.number;
    }
    return 0;
}

// The first column of every row `sql` returns on the SQLite file `dbPath`,
// read from outside as another program would.
[[nodiscard]] QStringList sqlColumn(const QString& dbPath, const QString& sql);

} // namespace velmora::test
