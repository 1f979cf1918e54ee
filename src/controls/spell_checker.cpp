#include "controls/spell_checker.h"

#include "settings/settings.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

#include <hunspell.hxx>

#include <algorithm>

namespace velmora {

namespace {

// Hunspell checks words up to this length; a longer "word" is a pasted
// blob, not a spelling mistake.
constexpr qsizetype kLongestWord = 100;
// The user's list is read up to this size: a huge file only costs memory.
constexpr qint64 kLargestWordsFile = 1 << 20;

// Qt knows the character sets by their registered names ("ISO-8859-1");
// dictionaries often write them without the first dash ("ISO8859-1").
QByteArray charsetName(const std::string& set) {
    QByteArray name = QByteArray::fromStdString(set).trimmed().toUpper();
    if (name.startsWith("ISO") && !name.startsWith("ISO-")) {
        name.insert(3, '-');
    }
    return name;
}

bool looksLikeAddress(QStringView chunk) {
    return chunk.contains(QLatin1StringView("://")) ||
           chunk.startsWith(QLatin1StringView("www."), Qt::CaseInsensitive) ||
           chunk.contains(QLatin1Char('@'));
}

} // namespace

SpellChecker::SpellChecker(const QString& appFolder, const QStringList& dictionaryFolders)
    : wordsPath_(QDir(appFolder).filePath(QLatin1StringView(kWordsFile))),
      folders_(dictionaryFolders) {
    loadOwnWords();
}

SpellChecker::~SpellChecker() = default;

QStringList SpellChecker::systemDictionaryFolders() {
    const QString fromEnvironment = qEnvironmentVariable("DICPATH");
    if (!fromEnvironment.isEmpty()) {
        return fromEnvironment.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    }
    return {QStringLiteral("/usr/share/hunspell"), QStringLiteral("/usr/share/myspell"),
            QStringLiteral("/usr/share/myspell/dicts")};
}

QStringList SpellChecker::availableLanguages() const {
    QStringList languages;
    for (const QString& folder : folders_) {
        const QDir dir(folder);
        for (const QString& aff : dir.entryList({QStringLiteral("*.aff")}, QDir::Files)) {
            const QString language = QFileInfo(aff).completeBaseName();
            if (dir.exists(language + QStringLiteral(".dic")) && !languages.contains(language)) {
                languages.append(language);
            }
        }
    }
    languages.sort();
    return languages;
}

QString SpellChecker::chosenLanguage(const QString& setting) {
    if (!setting.isEmpty()) {
        return setting;
    }
    const QString desktop = QLocale::system().name();
    return desktop.isEmpty() || desktop == QLatin1StringView("C") ? QStringLiteral("en_US")
                                                                  : desktop;
}

QString SpellChecker::dictionaryPath(const QString& language, const char* suffix) const {
    for (const QString& folder : folders_) {
        const QString path = QDir(folder).filePath(language + QLatin1StringView(suffix));
        if (QFileInfo::exists(path)) {
            return path;
        }
    }
    return {};
}

void SpellChecker::setLanguage(const QString& language) {
    dictionary_.reset();
    loaded_.clear();
    known_.clear();
    if (language.isEmpty() || language == QLatin1StringView(Settings::kSpellingOff)) {
        emit changed();
        return;
    }
    QString found = language;
    if (dictionaryPath(found, ".aff").isEmpty() || dictionaryPath(found, ".dic").isEmpty()) {
        found.clear();
        const QString prefix = language.section(QLatin1Char('_'), 0, 0) + QLatin1Char('_');
        for (const QString& other : availableLanguages()) {
            if (other.startsWith(prefix)) {
                found = other;
                break;
            }
        }
    }
    if (!found.isEmpty()) {
        auto dictionary = std::make_unique<Hunspell>(
            QFile::encodeName(dictionaryPath(found, ".aff")).constData(),
            QFile::encodeName(dictionaryPath(found, ".dic")).constData());
        const QByteArray charset = charsetName(dictionary->get_dict_encoding());
        encoder_ = QStringEncoder(charset.constData());
        decoder_ = QStringDecoder(charset.constData());
        if (encoder_.isValid() && decoder_.isValid()) {
            dictionary_ = std::move(dictionary);
            loaded_ = found;
            for (const QString& word : std::as_const(ownWords_)) {
                dictionary_->add(encoded(word));
            }
        } else {
            qWarning().noquote() << "spelling: the dictionary" << found << "is written in"
                                 << charset << ", which this program cannot read";
        }
    }
    emit changed();
}

std::string SpellChecker::encoded(const QString& word) {
    return QByteArray(encoder_.encode(word)).toStdString();
}

bool SpellChecker::isCorrect(const QString& word) {
    if (!dictionary_ || word.size() > kLongestWord) {
        return true;
    }
    const auto known = known_.constFind(word);
    if (known != known_.cend()) {
        return *known;
    }
    const bool correct = dictionary_->spell(encoded(word));
    known_.insert(word, correct);
    return correct;
}

QStringList SpellChecker::suggestions(const QString& word, int limit) {
    QStringList found;
    if (!dictionary_ || word.size() > kLongestWord) {
        return found;
    }
    for (const std::string& each : dictionary_->suggest(encoded(word))) {
        if (found.size() >= limit) {
            break;
        }
        found.append(decoder_.decode(QByteArray::fromStdString(each)));
    }
    return found;
}

void SpellChecker::addWord(const QString& word) {
    const QString clean = word.trimmed();
    if (clean.isEmpty() || clean.size() > kLongestWord || clean.contains(QLatin1Char(' ')) ||
        ownWords_.contains(clean)) {
        return;
    }
    ownWords_.insert(clean);
    if (dictionary_) {
        dictionary_->add(encoded(clean));
    }
    known_.insert(clean, true);
    QFile file(wordsPath_);
    if (!file.open(QIODevice::Append | QIODevice::Text) ||
        file.write((clean + QLatin1Char('\n')).toUtf8()) < 0) {
        qWarning().noquote() << "spelling: could not keep" << clean << "in" << wordsPath_ << ":"
                             << file.errorString();
    }
    emit changed();
}

void SpellChecker::loadOwnWords() {
    QFile file(wordsPath_);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return;
    }
    const QString text = QString::fromUtf8(file.read(kLargestWordsFile));
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const QString word = line.trimmed();
        if (!word.isEmpty() && word.size() <= kLongestWord) {
            ownWords_.insert(word);
        }
    }
}

QList<WordSpan> SpellChecker::wordsOf(const QString& text) {
    static const QRegularExpression chunks(QStringLiteral("\\S+"));
    static const QRegularExpression words(
        QStringLiteral("[\\p{L}\\p{M}\\p{N}_]+(?:['\\x{2019}][\\p{L}\\p{M}\\p{N}_]+)*"));
    QList<WordSpan> found;
    for (const QRegularExpressionMatch& chunk : chunks.globalMatch(text)) {
        if (looksLikeAddress(chunk.capturedView())) {
            continue;
        }
        for (const QRegularExpressionMatch& word : words.globalMatch(chunk.capturedView())) {
            const QStringView letters = word.capturedView();
            if (std::any_of(letters.begin(), letters.end(),
                            [](QChar c) { return c.isDigit() || c == QLatin1Char('_'); })) {
                continue;
            }
            found.append(WordSpan{chunk.capturedStart() + word.capturedStart(), letters.size()});
        }
    }
    return found;
}

} // namespace velmora
