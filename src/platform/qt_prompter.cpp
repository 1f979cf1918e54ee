#include "platform/qt_prompter.h"

#include <QApplication>
#include <QList>
#include <QMessageBox>
#include <QPointer>

#include <utility>

namespace velmora {

namespace {

using Buttons = QList<std::pair<QMessageBox::StandardButton, int>>;

Buttons buttonsOf(int style) {
    switch (style & 0x7) {
    case 1:
        return {{QMessageBox::Ok, answer::kOk}, {QMessageBox::Cancel, answer::kCancel}};
    case 2:
        return {{QMessageBox::Abort, answer::kAbort},
                {QMessageBox::Retry, answer::kRetry},
                {QMessageBox::Ignore, answer::kIgnore}};
    case 3:
        return {{QMessageBox::Yes, answer::kYes},
                {QMessageBox::No, answer::kNo},
                {QMessageBox::Cancel, answer::kCancel}};
    case 4:
        return {{QMessageBox::Yes, answer::kYes}, {QMessageBox::No, answer::kNo}};
    case 5:
        return {{QMessageBox::Retry, answer::kRetry}, {QMessageBox::Cancel, answer::kCancel}};
    default:
        return {{QMessageBox::Ok, answer::kOk}};
    }
}

QMessageBox::Icon iconOf(int style) {
    switch (style & 0x70) {
    case 16:
        return QMessageBox::Critical;
    case 32:
        return QMessageBox::Question;
    case 48:
        return QMessageBox::Warning;
    case 64:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

} // namespace

int QtPrompter::show(const QString& text, int style, const QString& title, QWidget* owner) {
    QPointer<QMessageBox> box = new QMessageBox(owner);
    box->setAttribute(Qt::WA_DeleteOnClose, false);
    box->setWindowTitle(title);
    // Texts often quote what a user or the server sent; they are never markup.
    box->setTextFormat(Qt::PlainText);
    box->setText(QString(text).replace(QLatin1String("\r\n"), QLatin1String("\n")));
    box->setIcon(iconOf(style));
    // Task- and system-modal boxes block the whole client; Qt's nearest is
    // application-modal, which every box is.
    box->setWindowModality(Qt::ApplicationModal);

    const Buttons buttons = buttonsOf(style);
    for (const auto& [button, result] : buttons) {
        box->addButton(button);
    }
    const qsizetype defaultIndex = (style >> 8) & 0x3;
    if (defaultIndex < buttons.size()) {
        box->setDefaultButton(buttons[defaultIndex].first);
    }
    // With a single OK button, closing the box counts as OK; a Cancel button
    // takes the close otherwise.
    for (const auto& [button, result] : buttons) {
        if (button == QMessageBox::Cancel || buttons.size() == 1) {
            box->setEscapeButton(button);
        }
    }

    box->exec();
    int result = buttons.front().second;
    if (box) {
        const auto clicked = box->standardButton(box->clickedButton());
        for (const auto& [button, answer] : buttons) {
            if (button == clicked) {
                result = answer;
            }
        }
        delete box;
    }
    return result;
}

void QtPrompter::beep() {
    QApplication::beep();
}

} // namespace velmora
