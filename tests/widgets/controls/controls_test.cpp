// The shared controls: the font toolbar with its smilie picker, and the
// classic file dialog over the file chooser.
#include "controls/common_dialog.h"
#include "controls/font_toolbar.h"
#include "controls/qt_file_chooser.h"
#include "support/doubles.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

using namespace velmora;

namespace {

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
    void theToolbarKeepsStoredValuesAndReportsSettersLikeClicks() {
        FontToolbar bar;
        auto* sizes = bar.findChild<QComboBox*>("cboFontSize");
        QCOMPARE(sizes->count(), 21); // 8 to 28
        // A stored value the list does not offer is kept as text, not added.
        bar.setFontSize("36");
        bar.setFontName("No Such Face");
        QCOMPARE(bar.FontSize(), QString("36"));
        QCOMPARE(bar.FontName(), QString("No Such Face"));
        QCOMPARE(sizes->count(), 21);
        QSignalSpy sizeChanges(&bar, &FontToolbar::FontSizeChanged);
        sizes->setCurrentIndex(2);
        QCOMPARE(emitted(sizeChanges), QStringList{"10"});

        QSignalSpy styles(&bar, &FontToolbar::FontStyleChanged);
        // Only the setters mark a property as changed, not the clicks; a
        // setter reports like a click even when nothing changes, so a host
        // that restores its settings hears about each one.
        QSignalSpy changed(&bar, &FontToolbar::PropertyChanged);
        bar.findChild<QAction*>("Bold")->trigger();
        bar.findChild<QAction*>("Bold")->trigger();
        bar.setItalic(true);
        bar.setUnderlined(false);
        QCOMPARE(emitted(styles),
                 (QStringList{"Bold,true", "Bold,false", "Italic,true", "Underlined,false"}));
        QVERIFY(!bar.Bold() && bar.Italic() && bar.findChild<QAction*>("Italic")->isChecked());
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
        for (QToolButton* button : buttons) {
            QTest::mouseClick(entry, Qt::LeftButton);
            QVERIFY(picker->isVisible());
            QTest::mouseClick(button, Qt::LeftButton);
            QVERIFY(!picker->isVisible());
        }
        QCOMPARE(emitted(codes), (QStringList{":)", ":D", ":P", ":(", ":-\\", ":O", ";)"}));
        QCOMPARE(buttons.at(1)->icon().pixmap(19, 19).size(), QSize(19, 19)); // ":D"
        QCOMPARE(buttons.at(6)->toolButtonStyle(), Qt::ToolButtonIconOnly);   // ";)"
        QCOMPARE(buttons.at(0)->toolButtonStyle(), Qt::ToolButtonTextOnly);
        QCOMPARE(buttons.at(0)->text(), QString(":)"));

        QTest::mouseClick(entry, Qt::LeftButton);
        bar.setSmilieVisible(false);
        QCoreApplication::processEvents();
        QVERIFY(!bar.SmilieVisible() && !entry->isVisible() && !picker->isVisible());
    }

    void theFileDialogKeepsItsRecordsAndPassesTheRequest() {
        test::ScriptedChooser chooser;
        chooser.answers = {QString("/home/al/chat.txt"), std::nullopt, QString(1024, 'x')};
        CommonDialog dialog(&chooser);
        QCOMPARE(dialog.Flags(), 0x180Eu);
        QCOMPARE(dialog.fileRecord(), nuls(1024));
        dialog.setDefaultExt(".tar.gz");
        QCOMPARE(dialog.DefaultExt(), QString("targz"));
        dialog.setDialogTitle(QString("Save") + nuls(1) + "As");
        QCOMPARE(dialog.DialogTitle(), QString("SaveAs"));
        // A filter list stops at an empty entry and drops an unpaired description.
        dialog.setFilter("Text Document (*.txt)|*.txt||Other|*.x");
        QCOMPARE(dialog.filterRecord(), QString("Text Document (*.txt)") + nuls(1) + "*.txt" +
                                            nuls(2) + "Other" + nuls(1) + "*.x" + nuls(2));
        dialog.setInitDir("/home/al");
        dialog.setFileName("bob.txt");
        QCOMPARE(dialog.fileRecord(), QString("bob.txt") + nuls(1));

        QWidget owner;
        QVERIFY(dialog.ShowSave(&owner));
        const FileRequest& r = chooser.requests.first();
        QCOMPARE(r.kind, FileRequest::Kind::Save);
        QCOMPARE(r.owner, &owner);
        QCOMPARE(r.initialDir, QString("/home/al"));
        QCOMPARE(r.fileName, QString("bob.txt"));
        QCOMPARE(r.filter, (QStringList{"Text Document (*.txt)", "*.txt"}));
        QVERIFY(r.flags & ofn::kOverwritePrompt);
        QVERIFY(dialog.FileTitle().startsWith(QString("chat.txt") + nuls(1)));
        QCOMPARE(dialog.FileName(), QString("/home/al/chat.txt"));
        QCOMPARE(dialog.FileName(), QString()); // reading the name empties the buffer
        // Cancel, or a path longer than the buffer, keeps the name.
        dialog.setFileName("keep.txt");
        QVERIFY(!dialog.ShowOpen(nullptr));
        QCOMPARE(chooser.requests.last().kind, FileRequest::Kind::Open);
        QVERIFY(!dialog.ShowSave(nullptr));
        QCOMPARE(dialog.FileName(), QString("keep.txt"));

        // The folder browser gives the path, up to a NUL, or nothing.
        chooser.answers = {std::nullopt, QString(260, 'd'), QString("/a") + nuls(1) + "b"};
        QCOMPARE(dialog.BrowseForFolder("Pick a folder"), QString());
        QCOMPARE(chooser.folderTitles, QStringList{"Pick a folder"});
        QCOMPARE(dialog.BrowseForFolder("x"), QString());
        QCOMPARE(dialog.BrowseForFolder("x"), QString("/a"));
        QCOMPARE(qtNameFilters({"Text Document (*.txt)", "*.txt", "Logs", "*.log; *.old"}),
                 (QStringList{"Text Document (*.txt)", "Logs (*.log *.old)"}));
    }
};

QTEST_MAIN(ControlsTest)
#include "controls_test.moc"
