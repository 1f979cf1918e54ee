#include "controls/common_dialog.h"
#include "controls/qt_file_chooser.h"

#include <QTest>
#include <QWidget>

#include <deque>

using namespace velmora;

namespace {

// Answers each dialog with the next scripted choice (nothing = cancel) and
// keeps every request it was shown.
class ScriptedChooser : public FileChooser {
public:
    std::optional<QString> chooseFile(const FileRequest& request) override {
        requests.push_back(request);
        return next();
    }
    std::optional<QString> chooseFolder(const QString& title, QWidget*) override {
        folderTitles << title;
        return next();
    }

    std::deque<std::optional<QString>> answers;
    std::vector<FileRequest> requests;
    QStringList folderTitles;

private:
    std::optional<QString> next() {
        std::optional<QString> answer = answers.front();
        answers.pop_front();
        return answer;
    }
};

QString nuls(int n) {
    return QString(n, QChar(u'\0'));
}

} // namespace

class CommonDialogTest : public QObject {
    Q_OBJECT

private slots:
    void propertiesConvertToAndFromTheRecord() {
        CommonDialog dialog;
        QCOMPARE(dialog.Flags(), 0x180Eu);
        QCOMPARE(dialog.DefaultExt(), QString("txt"));
        QCOMPARE(dialog.fileRecord(), nuls(1024));

        dialog.setFilter("Text Document (*.txt)|*.txt");
        QCOMPARE(dialog.filterRecord(),
                 QString("Text Document (*.txt)") + nuls(1) + "*.txt" + nuls(2));
        QCOMPARE(dialog.Filter(), QString("Text Document (*.txt)|*.txt"));
        dialog.setFilter("");
        QCOMPARE(dialog.filterRecord(), nuls(2));
        QCOMPARE(dialog.Filter(), QString());

        dialog.setDefaultExt(".txt");
        QCOMPARE(dialog.DefaultExt(), QString("txt"));
        dialog.setDefaultExt("tar.gz");
        QCOMPARE(dialog.DefaultExt(), QString("targz"));

        dialog.setFileName("log.txt");
        QCOMPARE(dialog.fileRecord(), QString("log.txt") + nuls(1));
        QCOMPARE(dialog.FileName(), QString("log.txt"));
        // Reading the name empties the buffer.
        QCOMPARE(dialog.fileRecord(), nuls(1024));
        QCOMPARE(dialog.FileName(), QString());

        dialog.setDialogTitle(QString("Save") + nuls(1) + "As");
        QCOMPARE(dialog.DialogTitle(), QString("SaveAs"));
        dialog.setFileTitle(QString("a") + nuls(1));
        QCOMPARE(dialog.FileTitle(), QString("a") + nuls(1));
    }

    void showPassesTheRequestAndKeepsTheNameOnCancel() {
        ScriptedChooser chooser;
        chooser.answers = {QString("/home/al/chat.txt"), std::nullopt, QString(1024, 'x'),
                           std::nullopt};
        CommonDialog dialog(&chooser);
        QWidget owner;
        dialog.setDialogTitle("Save IM Log As...");
        // A filter list stops at an empty entry and drops an unpaired description.
        dialog.setFilter("Text Document (*.txt)|*.txt||Other|*.x");
        dialog.setInitDir("/home/al");
        dialog.setFileName("bob.txt");

        QVERIFY(dialog.ShowSave(&owner));
        const FileRequest& r = chooser.requests.front();
        QCOMPARE(r.kind, FileRequest::Kind::Save);
        QCOMPARE(r.owner, &owner);
        QCOMPARE(r.title, QString("Save IM Log As..."));
        QCOMPARE(r.initialDir, QString("/home/al"));
        QCOMPARE(r.fileName, QString("bob.txt"));
        QCOMPARE(r.filter, (QStringList{"Text Document (*.txt)", "*.txt"}));
        QCOMPARE(r.defaultExt, QString("txt"));
        QVERIFY(r.flags & ofn::kOverwritePrompt);
        QCOMPARE(dialog.FileName(), QString("/home/al/chat.txt"));
        QVERIFY(dialog.FileTitle().startsWith(QString("chat.txt") + nuls(1)));

        // Cancel, or a path longer than the buffer, keeps the name.
        dialog.setFilter("Sounds|*.wav|All");
        dialog.setFileName("keep.txt");
        QVERIFY(!dialog.ShowOpen(nullptr));
        QCOMPARE(chooser.requests.back().kind, FileRequest::Kind::Open);
        QCOMPARE(chooser.requests.back().filter, (QStringList{"Sounds", "*.wav"}));
        QVERIFY(!dialog.ShowOpen(nullptr));
        QVERIFY(!dialog.ShowSave(nullptr));
        QCOMPARE(dialog.FileName(), QString("keep.txt"));
    }

    void folderBrowserGivesThePathOrNothing() {
        ScriptedChooser chooser;
        chooser.answers = {QString("/home/al/Sounds"), std::nullopt, QString(260, 'd'),
                           QString("/a") + nuls(1) + "b"};
        CommonDialog dialog(&chooser);
        QCOMPARE(dialog.BrowseForFolder("Pick a folder"), QString("/home/al/Sounds"));
        QCOMPARE(chooser.folderTitles, QStringList{"Pick a folder"});
        QCOMPARE(dialog.BrowseForFolder("x"), QString());
        QCOMPARE(dialog.BrowseForFolder("x"), QString());
        QCOMPARE(dialog.BrowseForFolder("x"), QString("/a"));
        QCOMPARE(qtNameFilters({"Text Document (*.txt)", "*.txt", "Logs", "*.log; *.old"}),
                 (QStringList{"Text Document (*.txt)", "Logs (*.log *.old)"}));
    }
};

QTEST_MAIN(CommonDialogTest)
#include "common_dialog_test.moc"
