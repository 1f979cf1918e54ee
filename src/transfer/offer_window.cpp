#include "transfer/offer_window.h"

#include "session/file_transfers.h"
#include "transfer/transfer_window.h"

#include <QCloseEvent>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

OfferWindow::OfferWindow(const FileOffer& offer, const QString& name) {
    setObjectName(QStringLiteral("frmFileOffer"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Incoming File from ") + offer.sender);
    auto label = [this](const QString& text, const char* objectName) {
        auto* l = new QLabel(text, this);
        l->setObjectName(QLatin1StringView(objectName));
        l->setTextFormat(Qt::PlainText);
        return l;
    };
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("From:"), label(offer.sender, "lblSender"));
    form->addRow(QStringLiteral("File:"), label(name, "lblFileName"));
    form->addRow(QStringLiteral("Size:"), label(sizeText(offer.size), "lblFileSize"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    const std::pair<const char*, QString> specs[] = {{"cmdAccept", QStringLiteral("&Accept")},
                                                     {"cmdSaveAs", QStringLiteral("&Save As...")},
                                                     {"cmdDecline", QStringLiteral("&Decline")}};
    for (const auto& [objectName, text] : specs) {
        auto* b = new QPushButton(text, this);
        b->setObjectName(QLatin1StringView(objectName));
        buttons->addWidget(b);
        connect(b, &QPushButton::clicked, this, [this, which = QByteArray(objectName)] {
            if (which == "cmdAccept") {
                emit accepted();
            } else if (which == "cmdSaveAs") {
                emit saveAsChosen();
            } else {
                emit declined();
            }
        });
    }
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(
        new QLabel(offer.sender + QStringLiteral(" wants to send you a file."), this));
    layout->addLayout(form);
    layout->addStretch();
    layout->addLayout(buttons);
    resize(400, 170);
}

void OfferWindow::done() {
    answered_ = true;
    close();
}

void OfferWindow::closeEvent(QCloseEvent* event) {
    // Closing the prompt without an answer declines.
    if (!answered_) {
        answered_ = true;
        emit declined();
    }
    event->accept();
}

} // namespace velmora
