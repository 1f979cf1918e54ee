// The shared controls: the font toolbar with its smilie picker, and the
// classic file dialog over the file chooser.
#include "controls/common_dialog.h"
#include "controls/font_toolbar.h"
#include "controls/qt_file_chooser.h"
#include "support/doubles.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QFontDatabase>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

using namespace velmora;

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

QString nuls(int n) {
    return QString(n, QChar(u'\0'));
}

} // namespace

class ControlsTest : public QObject {
    Q_OBJECT

private slots:
    void fontListsKeepStoredValuesAndReportChanges() {
        FontToolbar bar;
        QSignalSpy names(&bar, &FontToolbar::FontNameChanged);
        auto* sizeList = bar.findChild<QComboBox*>("cboFontSize");
        auto* nameList = bar.findChild<QComboBox*>("cboFontName");
        QCOMPARE(items(sizeList).first(), QString("8"));
        QCOMPARE(items(sizeList).last(), QString("28"));
        QCOMPARE(sizeList->count(), 21);
        QStringList faces = QFontDatabase::families();
        faces.removeAll(QString());
        QCOMPARE(items(nameList), faces);
        // A stored value the list does not offer is kept as text, not added.
        bar.setFontSize("36");
        QCOMPARE(bar.FontSize(), QString("36"));
        QCOMPARE(sizeList->count(), 21);
        bar.setFontName("No Such Face");
        QCOMPARE(bar.FontName(), QString("No Such Face"));
        QCOMPARE(nameList->count(), faces.size());
        QCOMPARE(emitted(names), QStringList{"No Such Face"});
        bar.setFontSize("12");
        QCOMPARE(sizeList->currentIndex(), 4);

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

    void thePickerInsertsCodesShowsPicturesAndCanBeHidden() {
        // A home with two of the shipped pictures: the others show their code.
        test::TempHome home;
        QVERIFY(QDir().mkpath(home.filePath("Smilies")));
        for (const QString name : {"grin.gif", "wink.gif"}) {
            QVERIFY(QFile::copy(QStringLiteral(VELMORA_ASSETS_DIR "/Smilies/") + name,
                                home.filePath("Smilies/" + name)));
        }
        FontToolbar bar;
        bar.loadSmilies(home.path());
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
        for (int i : {1, 6}) { // ":D", ";)"
            QCOMPARE(buttons.at(i)->toolButtonStyle(), Qt::ToolButtonIconOnly);
            QCOMPARE(buttons.at(i)->icon().pixmap(19, 19).size(), QSize(19, 19));
        }
        QCOMPARE(buttons.at(0)->toolButtonStyle(), Qt::ToolButtonTextOnly);
        QCOMPARE(buttons.at(0)->text(), QString(":)"));

        QTest::mouseClick(entry, Qt::LeftButton);
        QSignalSpy changed(&bar, &FontToolbar::PropertyChanged);
        bar.setSmilieVisible(false);
        QCoreApplication::processEvents();
        QVERIFY(!bar.SmilieVisible() && !entry->isVisible() && !picker->isVisible());
        QCOMPARE(emitted(changed), QStringList{"SmilieVisible"});
    }

    void dialogPropertiesConvertToAndFromTheRecord() {
        CommonDialog dialog;
        QCOMPARE(dialog.Flags(), 0x180Eu);
        QCOMPARE(dialog.fileRecord(), nuls(1024));
        dialog.setFilter("Text Document (*.txt)|*.txt");
        QCOMPARE(dialog.filterRecord(),
                 QString("Text Document (*.txt)") + nuls(1) + "*.txt" + nuls(2));
        QCOMPARE(dialog.Filter(), QString("Text Document (*.txt)|*.txt"));
        dialog.setFilter("");
        QCOMPARE(dialog.filterRecord(), nuls(2));
        dialog.setDefaultExt(".txt");
        QCOMPARE(dialog.DefaultExt(), QString("txt"));
        dialog.setDefaultExt("tar.gz");
        QCOMPARE(dialog.DefaultExt(), QString("targz"));
        dialog.setFileName("log.txt");
        QCOMPARE(dialog.fileRecord(), QString("log.txt") + nuls(1));
        QCOMPARE(dialog.FileName(), QString("log.txt"));
        // Reading the name empties the buffer.
        QCOMPARE(dialog.FileName(), QString());
        dialog.setDialogTitle(QString("Save") + nuls(1) + "As");
        QCOMPARE(dialog.DialogTitle(), QString("SaveAs"));
    }

    void dialogsPassTheRequestAndKeepTheNameOnCancel() {
        test::ScriptedChooser chooser;
        chooser.answers = {QString("/home/al/chat.txt"), std::nullopt, QString(1024, 'x')};
        CommonDialog dialog(&chooser);
        QWidget owner;
        dialog.setDialogTitle("Save IM Log As...");
        // A filter list stops at an empty entry and drops an unpaired description.
        dialog.setFilter("Text Document (*.txt)|*.txt||Other|*.x");
        dialog.setInitDir("/home/al");
        dialog.setFileName("bob.txt");
        QVERIFY(dialog.ShowSave(&owner));
        const FileRequest& r = chooser.requests.first();
        QCOMPARE(r.kind, FileRequest::Kind::Save);
        QCOMPARE(r.owner, &owner);
        QCOMPARE(r.initialDir, QString("/home/al"));
        QCOMPARE(r.fileName, QString("bob.txt"));
        QCOMPARE(r.filter, (QStringList{"Text Document (*.txt)", "*.txt"}));
        QVERIFY(r.flags & ofn::kOverwritePrompt);
        QCOMPARE(dialog.FileName(), QString("/home/al/chat.txt"));
        QVERIFY(dialog.FileTitle().startsWith(QString("chat.txt") + nuls(1)));

        // Cancel, or a path longer than the buffer, keeps the name.
        dialog.setFilter("Sounds|*.wav|All");
        dialog.setFileName("keep.txt");
        QVERIFY(!dialog.ShowOpen(nullptr));
        QCOMPARE(chooser.requests.last().kind, FileRequest::Kind::Open);
        QCOMPARE(chooser.requests.last().filter, (QStringList{"Sounds", "*.wav"}));
        QVERIFY(!dialog.ShowSave(nullptr));
        QCOMPARE(dialog.FileName(), QString("keep.txt"));

        // The folder browser gives the path (up to a NUL) or nothing.
        chooser.answers = {QString("/home/al/Sounds"), std::nullopt, QString(260, 'd'),
                           QString("/a") + nuls(1) + "b"};
        QCOMPARE(dialog.BrowseForFolder("Pick a folder"), QString("/home/al/Sounds"));
        QCOMPARE(chooser.folderTitles, QStringList{"Pick a folder"});
        QCOMPARE(dialog.BrowseForFolder("x"), QString());
        QCOMPARE(dialog.BrowseForFolder("x"), QString());
        QCOMPARE(dialog.BrowseForFolder("x"), QString("/a"));
        QCOMPARE(qtNameFilters({"Text Document (*.txt)", "*.txt", "Logs", "*.log; *.old"}),
                 (QStringList{"Text Document (*.txt)", "Logs (*.log *.old)"}));
    }
};

QTEST_MAIN(ControlsTest)
#include "controls_test.moc"
