#include "transfer/transfer_window.h"

#include "platform/desktop.h"

#include <QCloseEvent>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>

namespace velmora {

namespace {

QLabel* named(QLabel* label, const char* name) {
    label->setObjectName(QLatin1StringView(name));
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QPushButton* button(const QString& text, const char* name, QWidget* parent) {
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QLatin1StringView(name));
    return b;
}

} // namespace

QString sizeText(quint64 bytes) {
    const QLocale locale;
    return locale.formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeSIFormat) +
           QStringLiteral(" (") + locale.toString(bytes) + QStringLiteral(" bytes)");
}

TransferWindow::TransferWindow(Desktop& desktop, bool outgoing, const QString& peer,
                               const QString& fileName, quint64 size)
    : desktop_(desktop), size_(size) {
    setObjectName(QStringLiteral("frmFileSender"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(
        (outgoing ? QStringLiteral("Sending File to ") : QStringLiteral("Receiving File from ")) +
        peer);
    lblRemoteUser_ = named(new QLabel(peer, this), "lblRemoteUser");
    lblFileName_ =
        named(new QLabel(fileName + QStringLiteral(" — ") + sizeText(size), this), "lblFileName");
    lblStatus_ = named(new QLabel(this), "lblStatus");
    lblStatus_->setWordWrap(true);
    prgTransfer_ = new QProgressBar(this);
    prgTransfer_->setObjectName(QStringLiteral("prgTransfer"));
    prgTransfer_->setRange(0, 1000);
    prgTransfer_->setValue(0);
    lblSpeed_ = named(new QLabel(this), "lblSpeed");
    lblTimeLeft_ = named(new QLabel(this), "lblTimeLeft");
    cmdOpen_ = button(QStringLiteral("&Open"), "cmdOpen", this);
    cmdOpenFolder_ = button(QStringLiteral("Open &Folder"), "cmdOpenFolder", this);
    cmdCancel_ = button(QStringLiteral("&Cancel"), "cmdCancel", this);
    cmdOpen_->hide();
    cmdOpenFolder_->hide();

    auto* form = new QFormLayout;
    form->addRow(outgoing ? QStringLiteral("To:") : QStringLiteral("From:"), lblRemoteUser_);
    form->addRow(QStringLiteral("File:"), lblFileName_);
    form->addRow(QStringLiteral("Speed:"), lblSpeed_);
    form->addRow(QStringLiteral("Time left:"), lblTimeLeft_);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmdOpen_);
    buttons->addWidget(cmdOpenFolder_);
    buttons->addWidget(cmdCancel_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(prgTransfer_);
    layout->addWidget(lblStatus_);
    layout->addStretch();
    layout->addLayout(buttons);
    resize(420, 200);

    connect(cmdCancel_, &QPushButton::clicked, this, [this] {
        if (!ended_) {
            emit cancelRequested();
        }
        close();
    });
    connect(cmdOpen_, &QPushButton::clicked, this,
            [this] { desktop_.openUrl(QUrl::fromLocalFile(path_).toString()); });
    connect(cmdOpenFolder_, &QPushButton::clicked, this, [this] {
        desktop_.openUrl(QUrl::fromLocalFile(QFileInfo(path_).absolutePath()).toString());
    });
}

QString TransferWindow::status() const {
    return lblStatus_->text();
}

void TransferWindow::setStatus(const QString& text) {
    lblStatus_->setText(text);
    lblSpeed_->clear();
    lblTimeLeft_->clear();
    clock_.invalidate();
}

void TransferWindow::setProgress(quint64 bytes) {
    prgTransfer_->setValue(size_ == 0 ? 1000 : static_cast<int>(bytes * 1000 / size_));
    if (!clock_.isValid()) {
        clock_.start();
        clockFrom_ = bytes;
        return;
    }
    const qint64 ms = clock_.elapsed();
    if (ms < 500) {
        return;
    }
    const double perSecond =
        static_cast<double>(bytes - clockFrom_) * 1000.0 / static_cast<double>(ms);
    const QLocale locale;
    lblSpeed_->setText(
        locale.formattedDataSize(static_cast<qint64>(perSecond), 1, QLocale::DataSizeSIFormat) +
        QStringLiteral("/s"));
    if (perSecond > 0) {
        const auto seconds = static_cast<qint64>(static_cast<double>(size_ - bytes) / perSecond);
        lblTimeLeft_->setText(seconds < 60
                                  ? QString::number(seconds) + QStringLiteral(" s")
                                  : QString::number(seconds / 60) + QStringLiteral(" min ") +
                                        QString::number(seconds % 60) + QStringLiteral(" s"));
    }
}

void TransferWindow::setCompleted(const QString& status, const QString& path) {
    path_ = path;
    prgTransfer_->setValue(1000);
    // What the user may want to know of a finished transfer: how fast it
    // went, over the part this run moved.
    const qint64 ms = clock_.isValid() ? clock_.elapsed() : 0;
    const quint64 moved = size_ - std::min(size_, clockFrom_);
    setEnded(status);
    if (ms > 0) {
        const auto perSecond =
            static_cast<qint64>(static_cast<double>(moved) * 1000.0 / static_cast<double>(ms));
        lblSpeed_->setText(QLocale().formattedDataSize(perSecond, 1, QLocale::DataSizeSIFormat) +
                           QStringLiteral("/s on average"));
        lblTimeLeft_->setText(QStringLiteral("None: done in ") +
                              QLocale().toString(static_cast<double>(ms) / 1000.0, 'f', 1) +
                              QStringLiteral(" s"));
    }
    cmdOpen_->setVisible(!path.isEmpty());
    cmdOpenFolder_->setVisible(!path.isEmpty());
}

void TransferWindow::setEnded(const QString& status) {
    setStatus(status);
    ended_ = true;
    cmdCancel_->setText(QStringLiteral("&Close"));
}

void TransferWindow::closeEvent(QCloseEvent* event) {
    // Closing the window of a transfer still going on gives it up.
    if (!ended_) {
        ended_ = true;
        emit cancelRequested();
    }
    event->accept();
}

} // namespace velmora
