// Spell checking in the message window's input box with Debian's en_US
// dictionary: the words underlined as typed, a suggestion taken from the
// context menu, a word added to the user's list (kept for the next run),
// the language switched off on the settings dialog; and the same box on a
// system without dictionaries, which underlines nothing and says nothing.
#include "controls/font_toolbar.h"
#include "controls/spell_checker.h"
#include "controls/spell_highlighter.h"
#include "messaging/pm_window.h"
#include "session/session.h"
#include "support/client_rig.h"

#include <QComboBox>
#include <QDir>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextLayout>

using namespace velmora;
using velmora::test::child;

namespace {

const QString kDictionaries = QStringLiteral("/usr/share/hunspell");

// The underlined words of the box's first line.
QStringList underlined(QPlainTextEdit& box) {
    const QTextBlock line = box.document()->firstBlock();
    QStringList words;
    for (const QTextLayout::FormatRange& range : line.layout()->formats()) {
        if (range.format.underlineStyle() == QTextCharFormat::SpellCheckUnderline) {
            words << line.text().mid(range.start, range.length);
        }
    }
    return words;
}

// The context menu of the box for a click on the first `word`.
QMenu* menuOn(QPlainTextEdit& box, const QString& word) {
    QTextCursor at(box.document());
    at.setPosition(static_cast<int>(box.toPlainText().indexOf(word)) + 1);
    return box.document()->findChild<SpellHighlighter*>()->contextMenu(box.cursorRect(at).center());
}

QStringList entryTexts(const QMenu& menu) {
    QStringList texts;
    for (const QAction* action : menu.actions()) {
        texts << (action->isSeparator() ? QStringLiteral("-") : action->text());
    }
    return texts;
}

// With VELMORA_SCREENSHOTS set (and a real display), a picture of the
// window with the context menu open on `word`.
bool screenshot(PMWindow& window, const QString& word) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    if (folder.isEmpty()) {
        return true;
    }
    window.show();
    window.activateWindow();
    if (!QTest::qWaitForWindowExposed(&window)) {
        return false;
    }
    QPlainTextEdit& box = window.txtSendMsg();
    QTextCursor at(box.document());
    at.setPosition(static_cast<int>(box.toPlainText().indexOf(word)) + 1);
    const QPoint pos = box.cursorRect(at).center();
    std::unique_ptr<QMenu> menu(menuOn(box, word));
    // Opened over the conversation, so that the picture shows the box too.
    menu->popup(box.viewport()->mapToGlobal(QPoint(pos.x() + 40, 0)) -
                QPoint(0, menu->sizeHint().height()));
    if (!QTest::qWaitForWindowExposed(menu.get())) {
        return false;
    }
    QTest::qWait(300);
    const QRect area = window.frameGeometry().united(menu->geometry());
    return window.screen()
        ->grabWindow(0, area.x(), area.y(), area.width(), area.height())
        .save(QDir(folder).filePath(QStringLiteral("spelling.png")));
}

PMWindow& conversation(test::ClientRig& rig) {
    return *OpenPMWindow(rig.client.session(), QStringLiteral("alicia"));
}

} // namespace

class SpellingTest : public QObject {
    Q_OBJECT

private slots:
    void misspeltWordsAreUnderlinedAndCorrected() {
        QVERIFY2(QDir(kDictionaries).exists("en_US.dic"),
                 "scripts/bootstrap installs hunspell-en-us");
        qunsetenv("DICPATH");
        test::ClientRig rig("[Spelling]\r\nLanguage=en_US\r\n");
        QPlainTextEdit& box = conversation(rig).txtSendMsg();
        test::useFont(conversation(rig).tbFontSettings(), "Arial", "10", "");
        QCOMPARE(rig.client.session().spellChecker().language(), QStringLiteral("en_US"));

        box.setPlainText(QStringLiteral("Ths is a tset, don't see www.exampel.com or user42 "
                                        "or velmorian stuff"));
        QCOMPARE(underlined(box), (QStringList{"Ths", "tset", "velmorian"}));

        // A suggestion replaces the word; the word is checked again.
        std::unique_ptr<QMenu> menu(menuOn(box, QStringLiteral("tset")));
        QVERIFY(menu);
        const QStringList entries = entryTexts(*menu);
        QVERIFY2(entries.contains("test") &&
                     entries.indexOf("test") < entries.indexOf("&Add to Dictionary") &&
                     entries.indexOf("&Add to Dictionary") < entries.indexOf("-"),
                 qPrintable(entries.join(" | ")));
        for (QAction* entry : menu->actions()) {
            if (entry->text() == QLatin1StringView("test")) {
                entry->trigger();
            }
        }
        QVERIFY(box.toPlainText().startsWith("Ths is a test, don't"));
        QVERIFY(screenshot(conversation(rig), QStringLiteral("velmorian")));
        QCOMPARE(underlined(box), (QStringList{"Ths", "velmorian"}));
        // A correct word offers no spelling entries.
        menu.reset(menuOn(box, QStringLiteral("stuff")));
        QVERIFY(!entryTexts(*menu).contains("&Add to Dictionary"));

        // Added to the dictionary: accepted now and in the next run.
        menu.reset(menuOn(box, QStringLiteral("velmorian")));
        menu->findChild<QAction*>(QStringLiteral("mnuSpellAdd"))->trigger();
        QCOMPARE(underlined(box), QStringList{"Ths"});
        QCOMPARE(rig.home.readFile(QStringLiteral("Words.txt")), QByteArray("velmorian\n"));
        SpellChecker nextRun(rig.home.path(), {kDictionaries});
        nextRun.setLanguage(QStringLiteral("en_US"));
        QVERIFY(nextRun.isCorrect(QStringLiteral("velmorian")));
        QVERIFY(!nextRun.isCorrect(QStringLiteral("Ths")));
        // A country without a dictionary of its own takes its language's.
        nextRun.setLanguage(QStringLiteral("en_ZA"));
        QCOMPARE(nextRun.language(), QStringLiteral("en_US"));

        // "None" on the settings dialog: nothing underlined, the choice kept.
        rig.action("mnuEditSettings")->trigger();
        QWidget* dialog = rig.client.session().findWindowByName(QStringLiteral("frmSettings"));
        auto* language = child<QComboBox>(*dialog, "cboSpellLanguage");
        QCOMPARE(language->currentData().toString(), QStringLiteral("en_US"));
        language->setCurrentIndex(language->findData(QStringLiteral("Off")));
        child<QPushButton>(*dialog, "cmdOK")->click();
        QCOMPARE(underlined(box), QStringList());
        QVERIFY(rig.home.readFile(QStringLiteral("Velmora.ini")).contains("Language=Off"));
        QVERIFY(rig.prompter.boxes.isEmpty());
    }

    void withoutDictionariesNothingIsUnderlined() {
        QTemporaryDir none;
        qputenv("DICPATH", none.path().toUtf8());
        test::ClientRig rig;
        QPlainTextEdit& box = conversation(rig).txtSendMsg();
        box.setPlainText(QStringLiteral("Ths is a tset"));
        QCOMPARE(underlined(box), QStringList());
        std::unique_ptr<QMenu> menu(menuOn(box, QStringLiteral("tset")));
        QVERIFY(!entryTexts(*menu).contains("&Add to Dictionary"));
        QVERIFY(!rig.client.session().spellChecker().isActive());
        QVERIFY(rig.client.session().spellChecker().availableLanguages().isEmpty());
        QVERIFY(rig.prompter.boxes.isEmpty());
        // Applying the settings untouched writes no language.
        rig.action("mnuEditSettings")->trigger();
        QWidget* dialog = rig.client.session().findWindowByName(QStringLiteral("frmSettings"));
        child<QPushButton>(*dialog, "cmdOK")->click();
        QVERIFY(!rig.home.readFile(QStringLiteral("Velmora.ini")).contains("Spelling"));
        qunsetenv("DICPATH");
    }
};

QTEST_MAIN(SpellingTest)
#include "spelling_test.moc"
