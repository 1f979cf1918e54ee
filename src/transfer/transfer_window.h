// The file-sender window "frmFileSender": one per transfer, either way. Its
// label `lblRemoteUser` holds exactly the other user's name, which is how
// Send File finds the window already open for that user.
#pragma once

#include <QElapsedTimer>
#include <QString>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace velmora {

class Desktop;

class TransferWindow : public QWidget {
    Q_OBJECT
public:
    TransferWindow(Desktop& desktop, bool outgoing, const QString& peer, const QString& fileName,
                   quint64 size);

    [[nodiscard]] QString status() const;
    void setStatus(const QString& text);
    // Bytes at this end so far; the speed counts from the first call after a
    // status change.
    void setProgress(quint64 bytes);
    // The file is complete at `path`: it can be opened from here.
    void setCompleted(const QString& status, const QString& path);
    // Nothing more will happen: Cancel becomes Close.
    void setEnded(const QString& status);
    [[nodiscard]] bool isEnded() const { return ended_; }

signals:
    // The user cancelled a transfer still going on.
    void cancelRequested();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    Desktop& desktop_;
    quint64 size_;
    QLabel* lblRemoteUser_;
    QLabel* lblFileName_;
    QLabel* lblStatus_;
    QProgressBar* prgTransfer_;
    QLabel* lblSpeed_;
    QLabel* lblTimeLeft_;
    QPushButton* cmdCancel_;
    QPushButton* cmdOpen_;
    QPushButton* cmdOpenFolder_;
    QString path_;
    QElapsedTimer clock_;
    quint64 clockFrom_ = 0;
    bool ended_ = false;
};

// "81.9 KB (81,920 bytes)"-style text for a size.
[[nodiscard]] QString sizeText(quint64 bytes);

} // namespace velmora
