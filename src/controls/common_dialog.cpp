#include "controls/common_dialog.h"

#include "controls/qt_file_chooser.h"

#include <QFileInfo>

namespace velmora {

namespace {

constexpr QChar kNul(u'\0');

QString withoutNuls(QString text) {
    text.remove(kNul);
    return text;
}

// What the system reads from a NUL-terminated string field.
QString untilNul(const QString& field) {
    const qsizetype end = field.indexOf(kNul);
    return end < 0 ? field : field.left(end);
}

QString emptyBuffer(int size) {
    return QString(size, kNul);
}

// The strings of a "\0"-separated list up to its empty terminator, taken in
// description/pattern pairs; a description without its pattern is dropped.
QStringList filterPairs(const QString& record) {
    QStringList pairs;
    for (const QString& item : record.split(kNul)) {
        if (item.isEmpty()) {
            break;
        }
        pairs << item;
    }
    if (pairs.size() % 2 != 0) {
        pairs.removeLast();
    }
    return pairs;
}

} // namespace

CommonDialog::CommonDialog(FileChooser* chooser)
    : m_ownChooser(chooser ? nullptr : std::make_unique<QtFileChooser>()),
      m_chooser(chooser ? chooser : m_ownChooser.get()) {
    m_ofn.lpstrFile = emptyBuffer(kMaxFile);
    m_ofn.lpstrFileTitle = emptyBuffer(kMaxFile);
    m_ofn.lpstrDefExt = QStringLiteral("txt");
}

CommonDialog::~CommonDialog() = default;

QString CommonDialog::FileName() {
    QString name = withoutNuls(m_ofn.lpstrFile);
    m_ofn.lpstrFile = emptyBuffer(kMaxFile);
    return name;
}

void CommonDialog::setFileName(const QString& name) {
    m_ofn.lpstrFile = name + kNul;
}

QString CommonDialog::FileTitle() const {
    return m_ofn.lpstrFileTitle;
}

void CommonDialog::setFileTitle(const QString& title) {
    m_ofn.lpstrFileTitle = title;
}

QString CommonDialog::InitDir() const {
    return withoutNuls(m_ofn.lpstrInitialDir);
}

void CommonDialog::setInitDir(const QString& dir) {
    m_ofn.lpstrInitialDir = dir + kNul;
}

QString CommonDialog::DialogTitle() const {
    return withoutNuls(m_ofn.lpstrTitle);
}

void CommonDialog::setDialogTitle(const QString& title) {
    m_ofn.lpstrTitle = title;
}

QString CommonDialog::DefaultExt() const {
    return m_ofn.lpstrDefExt;
}

void CommonDialog::setDefaultExt(const QString& ext) {
    m_ofn.lpstrDefExt = QString(ext).remove(QLatin1Char('.'));
}

QString CommonDialog::Filter() const {
    QString list = m_ofn.lpstrFilter;
    while (list.endsWith(kNul)) {
        list.chop(1);
    }
    return list.replace(kNul, QLatin1Char('|'));
}

void CommonDialog::setFilter(const QString& filter) {
    m_ofn.lpstrFilter = QString(filter).replace(QLatin1Char('|'), kNul) + kNul + kNul;
}

quint32 CommonDialog::Flags() const {
    return m_ofn.Flags;
}

void CommonDialog::setFlags(quint32 flags) {
    m_ofn.Flags = flags;
}

QString CommonDialog::filterRecord() const {
    return m_ofn.lpstrFilter;
}

QString CommonDialog::fileRecord() const {
    return m_ofn.lpstrFile;
}

bool CommonDialog::ShowOpen(QWidget* owner) {
    return show(FileRequest::Kind::Open, owner);
}

bool CommonDialog::ShowSave(QWidget* owner) {
    return show(FileRequest::Kind::Save, owner);
}

bool CommonDialog::show(FileRequest::Kind kind, QWidget* owner) {
    m_ofn.hwndOwner = owner;
    FileRequest request;
    request.kind = kind;
    request.owner = owner;
    request.title = untilNul(m_ofn.lpstrTitle);
    request.initialDir = untilNul(m_ofn.lpstrInitialDir);
    request.fileName = untilNul(m_ofn.lpstrFile);
    request.filter = filterPairs(m_ofn.lpstrFilter);
    request.defaultExt = untilNul(m_ofn.lpstrDefExt);
    request.flags = m_ofn.Flags;

    const std::optional<QString> chosen = m_chooser->chooseFile(request);
    // A path that does not fit the buffer fails like a cancel, leaving the
    // buffer as it was.
    if (!chosen || chosen->isEmpty() || chosen->size() >= m_ofn.nMaxFile) {
        return false;
    }
    m_ofn.lpstrFile = *chosen + emptyBuffer(m_ofn.nMaxFile - static_cast<int>(chosen->size()));
    const QString title = QFileInfo(*chosen).fileName();
    if (title.size() < m_ofn.nMaxFileTitle) {
        m_ofn.lpstrFileTitle =
            title + emptyBuffer(m_ofn.nMaxFileTitle - static_cast<int>(title.size()));
    }
    return true;
}

QString CommonDialog::BrowseForFolder(const QString& title) {
    const std::optional<QString> folder = m_chooser->chooseFolder(title, nullptr);
    if (!folder) {
        return QString();
    }
    const QString path = untilNul(*folder);
    return path.size() < kMaxPath ? path : QString();
}

} // namespace velmora
