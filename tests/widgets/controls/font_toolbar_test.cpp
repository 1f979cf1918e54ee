#include "controls/font_toolbar.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFontDatabase>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolBar>
#include <QToolButton>

using velmora::FontToolbar;

namespace {

QStringList items(const QComboBox* list) {
    QStringList texts;
    for (int i = 0; i < list->count(); ++i) {
        texts << list->itemText(i);
    }
    return texts;
}

QList<QToolButton*> smilieButtons(const FontToolbar& bar) {
    return bar.findChildren<QToolButton*>(QStringLiteral("Smilie"));
}

// The style letters a host builds from the toolbar: B, then I, then U.
QString styleLetters(const FontToolbar& bar) {
    return QString(bar.Bold() ? "B" : "") + (bar.Italic() ? "I" : "") +
           (bar.Underlined() ? "U" : "");
}

} // namespace

class FontToolbarTest : public QObject {
    Q_OBJECT

private slots:
    void listsOfferSizesAndTheSystemFaces() {
        FontToolbar bar;
        auto* sizes = bar.findChild<QComboBox*>("cboFontSize");
        auto* names = bar.findChild<QComboBox*>("cboFontName");
        QVERIFY(sizes && names);
        QStringList expected;
        for (int s = 8; s <= 28; ++s) {
            expected << QString::number(s);
        }
        QCOMPARE(items(sizes), expected);

        QStringList faces = QFontDatabase::families();
        faces.removeAll(QString());
        QCOMPARE(items(names), faces);

        // A stored size the list does not offer is kept as text, and not added.
        bar.setFontSize("36");
        QCOMPARE(bar.FontSize(), QString("36"));
        bar.setFontSize("7");
        QCOMPARE(bar.FontSize(), QString("7"));
        QCOMPARE(sizes->count(), 21);
        bar.setFontSize("12");
        QCOMPARE(sizes->currentIndex(), 4);
        bar.setFontName("No Such Face");
        QCOMPARE(bar.FontName(), QString("No Such Face"));
        QCOMPARE(names->count(), faces.size());
    }

    void namesAndSizesReportChoicesAndEdits() {
        FontToolbar bar;
        QSignalSpy names(&bar, &FontToolbar::FontNameChanged);
        QSignalSpy sizes(&bar, &FontToolbar::FontSizeChanged);
        auto* sizeList = bar.findChild<QComboBox*>("cboFontSize");

        sizeList->setCurrentIndex(2);
        QCOMPARE(sizes.size(), 1);
        QCOMPARE(sizes.takeFirst().at(0).toString(), QString("10"));

        sizeList->lineEdit()->clear();
        QTest::keyClicks(sizeList->lineEdit(), "31");
        QCOMPARE(sizes.last().at(0).toString(), QString("31"));
        QCOMPARE(bar.FontSize(), QString("31"));

        bar.setFontName("Velmora Sans");
        QCOMPARE(names.size(), 1);
        QCOMPARE(names.at(0).at(0).toString(), QString("Velmora Sans"));
    }

    void styleTogglesAndSettersReportTheirStyle() {
        FontToolbar bar;
        QSignalSpy styles(&bar, &FontToolbar::FontStyleChanged);
        // Only the setters mark a property as changed, not the clicks.
        QSignalSpy changed(&bar, &FontToolbar::PropertyChanged);
        auto* bold = bar.findChild<QAction*>("Bold");
        auto* italic = bar.findChild<QAction*>("Italic");
        auto* underlined = bar.findChild<QAction*>("Underlined");
        QVERIFY(bold && italic && underlined);

        underlined->trigger();
        bold->trigger();
        QCOMPARE(styles.size(), 2);
        QCOMPARE(styles.at(0).at(0).value<FontToolbar::Style>(), FontToolbar::Style::Underlined);
        QCOMPARE(styles.at(0).at(1).toBool(), true);
        QCOMPARE(styles.at(1).at(0).value<FontToolbar::Style>(), FontToolbar::Style::Bold);
        QCOMPARE(styleLetters(bar), QString("BU"));

        bold->trigger();
        QCOMPARE(styles.last().at(1).toBool(), false);
        QCOMPARE(styleLetters(bar), QString("U"));

        // A setter reports like a click, even when the state does not change,
        // so a host that restores its settings hears about each one.
        styles.clear();
        bar.setItalic(true);
        bar.setUnderlined(true);
        QCOMPARE(styles.size(), 2);
        QCOMPARE(styles.at(0).at(0).value<FontToolbar::Style>(), FontToolbar::Style::Italic);
        QCOMPARE(styles.at(1).at(0).value<FontToolbar::Style>(), FontToolbar::Style::Underlined);
        QVERIFY(italic->isChecked());
        QCOMPARE(styleLetters(bar), QString("IU"));
        QCOMPARE(changed.size(), 2);
        QCOMPARE(changed.at(0).at(0).toString(), QString("Italic"));
        QCOMPARE(changed.at(1).at(0).toString(), QString("Underlined"));
    }

    void smilieButtonsInsertTheirCodesInOrder() {
        FontToolbar bar;
        bar.show();
        QSignalSpy codes(&bar, &FontToolbar::SmilieClick);
        auto* entry = bar.findChild<QToolButton*>("SmilieEntry");
        auto* picker = bar.findChild<QWidget*>("SmiliePicker");
        const QList<QToolButton*> buttons = smilieButtons(bar);
        QCOMPARE(buttons.size(), 7);
        for (QToolButton* button : buttons) {
            QTest::mouseClick(entry, Qt::LeftButton);
            QVERIFY(picker->isVisible());
            QTest::mouseClick(button, Qt::LeftButton);
            QVERIFY(!picker->isVisible());
        }
        QStringList clicked;
        for (const auto& args : codes) {
            clicked << args.at(0).toString();
        }
        QCOMPARE(clicked, (QStringList{":)", ":D", ":P", ":(", ":-\\", ":O", ";)"}));
        for (int i = 0; i < buttons.size(); ++i) {
            QCOMPARE(buttons.at(i)->property("index").toInt(), i);
        }
    }

    void smiliesShowTheShippedPicturesOrTheirCodes() {
        // A home with two of the shipped pictures: the others show their code.
        QTemporaryDir home;
        QVERIFY(home.isValid());
        QVERIFY(QDir(home.path()).mkdir("Smilies"));
        for (const QString name : {"grin.gif", "wink.gif"}) {
            QVERIFY(QFile::copy(QStringLiteral(VELMORA_ASSETS_DIR "/Smilies/") + name,
                                home.filePath("Smilies/" + name)));
        }

        FontToolbar bar;
        bar.loadSmilies(home.path());
        const QList<QToolButton*> buttons = smilieButtons(bar);
        for (int i : {1, 6}) { // ":D", ";)"
            QCOMPARE(buttons.at(i)->toolButtonStyle(), Qt::ToolButtonIconOnly);
            QCOMPARE(buttons.at(i)->icon().pixmap(19, 19).size(), QSize(19, 19));
        }
        QVERIFY(buttons.at(0)->icon().isNull());
        QCOMPARE(buttons.at(0)->toolButtonStyle(), Qt::ToolButtonTextOnly);
        QCOMPARE(buttons.at(0)->text(), QString(":)"));
    }

    void smilieEntryCanBeHidden() {
        FontToolbar bar;
        bar.show();
        auto* entry = bar.findChild<QToolButton*>("SmilieEntry");
        QVERIFY(bar.SmilieVisible());
        QTest::mouseClick(entry, Qt::LeftButton);
        auto* picker = bar.findChild<QWidget*>("SmiliePicker");
        QVERIFY(picker->isVisible());
        QSignalSpy changed(&bar, &FontToolbar::PropertyChanged);
        bar.setSmilieVisible(false);
        QCoreApplication::processEvents();
        QVERIFY(!bar.SmilieVisible());
        QVERIFY(!entry->isVisible());
        QVERIFY(!picker->isVisible());
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed.at(0).at(0).toString(), QString("SmilieVisible"));
    }
};

QTEST_MAIN(FontToolbarTest)
#include "font_toolbar_test.moc"
