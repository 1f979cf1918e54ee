#include "platform/qt_prompter.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

using velmora::QtPrompter;
namespace answer = velmora::answer;

class QtPrompterTest : public QObject {
    Q_OBJECT

    // Shows a real box and, once it is on screen, records it and presses
    // `press` (or closes it with Escape when `press` is NoButton).
    static int showAndPress(int style, int press, QMessageBox& seen, const QString& text) {
        std::function<void()> answerBox;
        answerBox = [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box) {
                QTimer::singleShot(10, answerBox);
                return;
            }
            seen.setText(box->text());
            seen.setWindowTitle(box->windowTitle());
            seen.setIcon(box->icon());
            seen.setStandardButtons(box->standardButtons());
            seen.setDefaultButton(box->standardButton(box->defaultButton()));
            seen.setWindowModality(box->windowModality());
            if (press == QMessageBox::NoButton) {
                QTest::keyClick(box, Qt::Key_Escape);
            } else {
                box->button(QMessageBox::StandardButton(press))->click();
            }
        };
        QTimer::singleShot(0, answerBox);
        QtPrompter prompter;
        return prompter.show(text, style, "Velmora", nullptr);
    }

private slots:
    void styleGivesIconButtonsAndAnswer_data() {
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
    void styleGivesIconButtonsAndAnswer() {
        QFETCH(int, style);
        QFETCH(int, icon);
        QFETCH(int, buttons);
        QFETCH(int, press);
        QFETCH(int, result);
        QMessageBox seen;
        QCOMPARE(showAndPress(style, press, seen, "Are you sure?"), result);
        QCOMPARE(int(seen.icon()), icon);
        QCOMPARE(int(seen.standardButtons()), buttons);
        QCOMPARE(seen.windowTitle(), QString("Velmora"));
        QCOMPARE(seen.windowModality(), Qt::ApplicationModal);
    }

    void textIsShownAsPlainLines() {
        QMessageBox seen;
        // The second button is the default one (256), as the flag word says.
        QCOMPARE(showAndPress(4 + 256, QMessageBox::No, seen,
                              "The user \"<b>bob</b>\" is offline!\r\nHowever..."),
                 answer::kNo);
        QCOMPARE(seen.text(), QString("The user \"<b>bob</b>\" is offline!\nHowever..."));
        QCOMPARE(seen.standardButton(seen.defaultButton()), QMessageBox::No);
    }
};

QTEST_MAIN(QtPrompterTest)
#include "qt_prompter_test.moc"
