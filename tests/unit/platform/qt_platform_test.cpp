// The real platform layer: message boxes built from the classic style word,
// and the help window.
#include "platform/qt_desktop.h"
#include "platform/qt_prompter.h"

#include "support/doubles.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>

#include <functional>

using namespace velmora;

namespace {

struct Seen {
    QString text;
    QString title;
    int icon = 0;
    int buttons = 0;
    int defaultButton = 0;
    Qt::WindowModality modality = Qt::NonModal;
};

// Shows a real box; once it is on screen, records it and presses `press`
// (Escape when `press` is NoButton). Returns the answer.
int showAndPress(int style, int press, Seen& seen, const QString& text) {
    std::function<void()> answerBox = [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            QTimer::singleShot(10, answerBox);
            return;
        }
        seen = Seen{box->text(),
                    box->windowTitle(),
                    int(box->icon()),
                    int(box->standardButtons()),
                    int(box->standardButton(box->defaultButton())),
                    box->windowModality()};
        if (press == QMessageBox::NoButton) {
            QTest::keyClick(box, Qt::Key_Escape);
        } else {
            box->button(QMessageBox::StandardButton(press))->click();
        }
    };
    QTimer::singleShot(0, answerBox);
    return QtPrompter().show(text, style, "Velmora", nullptr);
}

} // namespace

class QtPlatformTest : public QObject {
    Q_OBJECT

private slots:
    void theStyleGivesIconButtonsAndAnswer() {
        const int ok = QMessageBox::Ok;
        const int yesNo = QMessageBox::Yes | QMessageBox::No;
        const struct {
            int style, icon, buttons, press, result;
        } cases[] = {
            {0, QMessageBox::NoIcon, ok, ok, answer::kOk},
            {36, QMessageBox::Question, yesNo, QMessageBox::No, answer::kNo},
            {48, QMessageBox::Warning, ok, ok, answer::kOk},
            {4160, QMessageBox::Information, ok, ok, answer::kOk},
            {3, QMessageBox::NoIcon, yesNo | QMessageBox::Cancel, QMessageBox::NoButton,
             answer::kCancel},
        };
        for (const auto& c : cases) {
            Seen seen;
            QCOMPARE(showAndPress(c.style, c.press, seen, "Sure?"), c.result);
            QCOMPARE(seen.icon, c.icon);
            QCOMPARE(seen.buttons, c.buttons);
            QCOMPARE(seen.title, QString("Velmora"));
            QCOMPARE(seen.modality, Qt::ApplicationModal);
        }
        // Text is plain lines; 256 makes the second button the default.
        Seen seen;
        QCOMPARE(showAndPress(4 + 256, QMessageBox::No, seen, "\"<b>bob</b>\"\r\nHowever..."),
                 answer::kNo);
        QCOMPARE(seen.text, QString("\"<b>bob</b>\"\nHowever..."));
        QCOMPARE(seen.defaultButton, int(QMessageBox::No));
    }

    void theHelpWindowShowsTheTopicAndIsReused() {
        test::TempHome home;
        home.writeFile("help/Index.html",
                       "<html><head><title>Velmora Help</title></head><body>Welcome</body></html>");
        home.writeFile("help/Login.html", "<html><body>Logging in</body></html>");
        QWidget owner;
        QtDesktop desktop;
        desktop.showHelp(home.filePath("help"), "Index.html", &owner);
        QTextBrowser* help = desktop.helpWindow();
        QVERIFY(help && help->isVisible() && help->isWindow());
        QCOMPARE(help->toPlainText(), QString("Welcome"));
        QCOMPARE(help->windowTitle(), QString("Velmora Help"));
        desktop.showHelp(home.filePath("help"), "Login.html", &owner);
        QCOMPARE(desktop.helpWindow(), help);
        QCOMPARE(help->toPlainText(), QString("Logging in"));
    }
};

QTEST_MAIN(QtPlatformTest)
#include "qt_platform_test.moc"
