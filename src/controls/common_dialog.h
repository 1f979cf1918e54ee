// The Open and Save file dialogs and the folder browser, with the classic
// property conversions: the "|" filter form stored as a NUL-separated list,
// the file name kept in a 1024-character buffer, extensions without dots.
// One instance is made per use.
#pragma once

#include "controls/file_chooser.h"

#include <QString>

#include <memory>

class QWidget;

namespace velmora {

class CommonDialog {
public:
    // The file name and folder buffers, in characters including the
    // terminating NUL.
    static constexpr int kMaxFile = 1024;
    static constexpr int kMaxPath = 260;
    static constexpr quint32 kDefaultFlags = ofn::kOverwritePrompt | ofn::kHideReadOnly |
                                             ofn::kNoChangeDir | ofn::kPathMustExist |
                                             ofn::kFileMustExist;

    // Without a chooser the desktop's own (QFileDialog) is used.
    explicit CommonDialog(FileChooser* chooser = nullptr);
    ~CommonDialog();
    CommonDialog(const CommonDialog&) = delete;
    CommonDialog& operator=(const CommonDialog&) = delete;

    // Reading the name empties the buffer again, so a second read gives "".
    [[nodiscard]] QString FileName();
    void setFileName(const QString& name);
    // The chosen file's name without its folder, as the buffer holds it
    // (NUL-padded).
    [[nodiscard]] QString FileTitle() const;
    void setFileTitle(const QString& title);
    [[nodiscard]] QString InitDir() const;
    void setInitDir(const QString& dir);
    [[nodiscard]] QString DialogTitle() const;
    void setDialogTitle(const QString& title);
    [[nodiscard]] QString DefaultExt() const;
    void setDefaultExt(const QString& ext);
    [[nodiscard]] QString Filter() const;
    void setFilter(const QString& filter);
    [[nodiscard]] quint32 Flags() const;
    void setFlags(quint32 flags);

    // The record as stored: the filter list ("Text (*.txt)\0*.txt\0\0") and
    // the file name buffer.
    [[nodiscard]] QString filterRecord() const;
    [[nodiscard]] QString fileRecord() const;

    // True when the user chose a file; FileName then holds its path. On
    // cancel FileName keeps its value.
    bool ShowOpen(QWidget* owner);
    bool ShowSave(QWidget* owner);
    // The chosen folder, or "" on cancel.
    [[nodiscard]] QString BrowseForFolder(const QString& title);

private:
    bool show(FileRequest::Kind kind, QWidget* owner);

    std::unique_ptr<FileChooser> m_ownChooser;
    FileChooser* m_chooser;

    // The parameter record, field for field.
    struct Record {
        QWidget* hwndOwner = nullptr;
        QString lpstrFilter;
        QString lpstrFile;
        int nMaxFile = kMaxFile;
        QString lpstrFileTitle;
        int nMaxFileTitle = kMaxFile;
        QString lpstrInitialDir;
        QString lpstrTitle;
        quint32 Flags = kDefaultFlags;
        QString lpstrDefExt;
    } m_ofn;
};

} // namespace velmora
