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

// Each emission as "arg,arg".
QStringList emitted(const QSignalSpy& spy) {
    QStringList out;
    for (const QList<QVariant>& args : spy) {
        QStringList texts;
        for (const QVariant& arg : args) {
            texts << arg.toString();
        }
        out << texts.join(',');
    }
    return out;
}

} // namespace

class FontToolbarTest : public QObject {
    Q_OBJECT

private slots:
    void listsKeepStoredValuesAndReportChanges() {
        FontToolbar bar;
        QSignalSpy names(&bar, &FontToolbar::FontNameChanged);
        auto* sizeList = bar.findChild<QComboBox*>("cboFontSize");
        auto* nameList = bar.findChild<QComboBox*>("cboFontName");
        QStringList expected;
        for (int s = 8; s <= 28; ++s) {
            expected << QString::number(s);
        }
        QCOMPARE(items(sizeList), expected);
        QStringList faces = QFontDatabase::families();
        faces.removeAll(QString());
        QCOMPARE(items(nameList), faces);

        // A stored value the list does not offer is kept as text, and not added.
        bar.setFontSize("36");
        QCOMPARE(bar.FontSize(), QString("36"));
        QCOMPARE(sizeList->count(), 21);
        bar.setFontName("No Such Face");
        QCOMPARE(bar.FontName(), QString("No Such Face"));
        QCOMPARE(nameList->count(), faces.size());
        bar.setFontSize("12");
        QCOMPARE(sizeList->currentIndex(), 4);

        QCOMPARE(emitted(names), QStringList{"No Such Face"});

        QSignalSpy sizes(&bar, &FontToolbar::FontSizeChanged);
        sizeList->setCurrentIndex(2);
        QCOMPARE(emitted(sizes), QStringList{"10"});
        sizeList->lineEdit()->clear();
        QTest::keyClicks(sizeList->lineEdit(), "31");
        QCOMPARE(emitted(sizes).last(), QString("31"));
        QCOMPARE(bar.FontSize(), QString("31"));
    }

    void stylesReportClicksAndSetters() {
        FontToolbar bar;
        QSignalSpy styles(&bar, &FontToolbar::FontStyleChanged);
        // Only the setters mark a property as changed, not the clicks.
        QSignalSpy changed(&bar, &FontToolbar::PropertyChanged);
        bar.findChild<QAction*>("Underlined")->trigger();
        bar.findChild<QAction*>("Bold")->trigger();
        bar.findChild<QAction*>("Bold")->trigger();
        // A setter reports like a click, even when the state does not change,
        // so a host that restores its settings hears about each one.
        bar.setItalic(true);
        bar.setUnderlined(true);
        QCOMPARE(emitted(styles), (QStringList{"Underlined,true", "Bold,true", "Bold,false",
                                               "Italic,true", "Underlined,true"}));
        QVERIFY(!bar.Bold() && bar.Italic() && bar.Underlined());
        QVERIFY(bar.findChild<QAction*>("Italic")->isChecked());
        QCOMPARE(emitted(changed), (QStringList{"Italic", "Underlined"}));
    }

    void smiliePickerInsertsCodesInOrderAndCanBeHidden() {
        FontToolbar bar;
        bar.show();
        QSignalSpy codes(&bar, &FontToolbar::SmilieClick);
        auto* entry = bar.findChild<QToolButton*>("SmilieEntry");
        auto* picker = bar.findChild<QWidget*>("SmiliePicker");
        const QList<QToolButton*> buttons = bar.findChildren<QToolButton*>("Smilie");
        QCOMPARE(buttons.size(), 7);
        for (QToolButton* button : buttons) {
            QTest::mouseClick(entry, Qt::LeftButton);
            QVERIFY(picker->isVisible());
            QTest::mouseClick(button, Qt::LeftButton);
            QVERIFY(!picker->isVisible());
        }
        QCOMPARE(emitted(codes), (QStringList{":)", ":D", ":P", ":(", ":-\\", ":O", ";)"}));

        QTest::mouseClick(entry, Qt::LeftButton);
        QSignalSpy changed(&bar, &FontToolbar::PropertyChanged);
        bar.setSmilieVisible(false);
        QCoreApplication::processEvents();
        QVERIFY(!bar.SmilieVisible() && !entry->isVisible() && !picker->isVisible());
        QCOMPARE(emitted(changed), QStringList{"SmilieVisible"});
    }

    void smiliesShowTheShippedPicturesOrTheirCodes() {
        // A home with two of the shipped pictures: the others show their code.
        QTemporaryDir home;
        QVERIFY(QDir(home.path()).mkdir("Smilies"));
        for (const QString name : {"grin.gif", "wink.gif"}) {
            QVERIFY(QFile::copy(QStringLiteral(VELMORA_ASSETS_DIR "/Smilies/") + name,
                                home.filePath("Smilies/" + name)));
        }
        FontToolbar bar;
        bar.loadSmilies(home.path());
        const QList<QToolButton*> buttons = bar.findChildren<QToolButton*>("Smilie");
        for (int i : {1, 6}) { // ":D", ";)"
            QCOMPARE(buttons.at(i)->toolButtonStyle(), Qt::ToolButtonIconOnly);
            QCOMPARE(buttons.at(i)->icon().pixmap(19, 19).size(), QSize(19, 19));
        }
        QVERIFY(buttons.at(0)->icon().isNull());
        QCOMPARE(buttons.at(0)->toolButtonStyle(), Qt::ToolButtonTextOnly);
        QCOMPARE(buttons.at(0)->text(), QString(":)"));
    }
};

QTEST_MAIN(FontToolbarTest)
#include "font_toolbar_test.moc"
