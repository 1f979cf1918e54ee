#include "platform/qt_prompter.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

using velmora::QtPrompter;
namespace answer = velmora::answer;

namespace {

struct SeenBox {
    QString text;
    QString title;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QMessageBox::StandardButtons buttons;
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
    Qt::WindowModality modality = Qt::NonModal;
};

// Shows a box and, once it is on screen, records it and presses `press`
// (or closes it with Escape when `press` is NoButton).
int showAndPress(int style, QMessageBox::StandardButton press, SeenBox& seen,
                 const QString& text = "Are you sure?") {
    std::function<void()> answerBox;
    answerBox = [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            QTimer::singleShot(10, answerBox);
            return;
        }
        seen.text = box->text();
        seen.title = box->windowTitle();
        seen.icon = box->icon();
        seen.buttons = box->standardButtons();
        seen.defaultButton = box->standardButton(box->defaultButton());
        seen.modality = box->windowModality();
        if (press == QMessageBox::NoButton) {
            QTest::keyClick(box, Qt::Key_Escape);
        } else {
            box->button(press)->click();
        }
    };
    QTimer::singleShot(0, answerBox);
    QtPrompter prompter;
    return prompter.show(text, style, "Velmora", nullptr);
}

} // namespace

class QtPrompterTest : public QObject {
    Q_OBJECT
private slots:
    void styleGivesIconButtonsAndAnswer_data();
    void styleGivesIconButtonsAndAnswer();
    void textIsShownAsPlainLines();
};

void QtPrompterTest::styleGivesIconButtonsAndAnswer_data() {
    QTest::addColumn<int>("style");
    QTest::addColumn<int>("icon");
    QTest::addColumn<int>("buttons");
    QTest::addColumn<int>("press");
    QTest::addColumn<int>("result");
    const int ok = QMessageBox::Ok;
    const int yesNo = QMessageBox::Yes | QMessageBox::No;
    QTest::newRow("plain OK") << 0 << int(QMessageBox::NoIcon) << ok << ok << answer::kOk;
    QTest::newRow("confirmation, No")
        << 36 << int(QMessageBox::Question) << yesNo << int(QMessageBox::No) << answer::kNo;
    QTest::newRow("error report") << 48 << int(QMessageBox::Warning) << ok << ok << answer::kOk;
    QTest::newRow("server notice")
        << 4160 << int(QMessageBox::Information) << ok << ok << answer::kOk;
    QTest::newRow("yes/no/cancel, closed")
        << 3 << int(QMessageBox::NoIcon)
        << int(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel)
        << int(QMessageBox::NoButton) << answer::kCancel;
}

void QtPrompterTest::styleGivesIconButtonsAndAnswer() {
    QFETCH(int, style);
    QFETCH(int, icon);
    QFETCH(int, buttons);
    QFETCH(int, press);
    QFETCH(int, result);
    SeenBox seen;
    QCOMPARE(showAndPress(style, QMessageBox::StandardButton(press), seen), result);
    QCOMPARE(int(seen.icon), icon);
    QCOMPARE(int(seen.buttons), buttons);
    QCOMPARE(seen.title, QString("Velmora"));
    QCOMPARE(seen.modality, Qt::ApplicationModal);
}

void QtPrompterTest::textIsShownAsPlainLines() {
    SeenBox seen;
    // The second button is the default one (256), as the flag word says.
    QCOMPARE(showAndPress(4 + 256, QMessageBox::No, seen,
                          "The user \"<b>bob</b>\" is offline!\r\nHowever..."),
             answer::kNo);
    QCOMPARE(seen.text, QString("The user \"<b>bob</b>\" is offline!\nHowever..."));
    QCOMPARE(seen.defaultButton, QMessageBox::No);
}

QTEST_MAIN(QtPrompterTest)
#include "qt_prompter_test.moc"
