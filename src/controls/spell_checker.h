// The spelling dictionary of the input boxes: one hunspell dictionary as the
// system installs them (Debian's hunspell-* packages), and the user's own
// words, kept one a line in "Words.txt" in the application folder. Without a
// dictionary for the language every word passes: nothing is underlined and
// nothing complains.
#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringDecoder>
#include <QStringEncoder>
#include <QStringList>

#include <memory>

class Hunspell;

namespace velmora {

// A word of a text: where it starts and how many characters it takes.
struct WordSpan {
    qsizetype start = 0;
    qsizetype length = 0;
    friend bool operator==(const WordSpan&, const WordSpan&) = default;
};

class SpellChecker : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kWordsFile = "Words.txt";

    // `dictionaryFolders` are searched in order for LANG.aff and LANG.dic.
    explicit SpellChecker(const QString& appFolder,
                          const QStringList& dictionaryFolders = systemDictionaryFolders());
    ~SpellChecker() override;
    SpellChecker(const SpellChecker&) = delete;
    SpellChecker& operator=(const SpellChecker&) = delete;

    // Where the system keeps dictionaries; the folders of $DICPATH (separated
    // by ':') instead when it is set, as for the hunspell program.
    [[nodiscard]] static QStringList systemDictionaryFolders();
    // The languages ("en_US") that have a dictionary in the folders, sorted.
    [[nodiscard]] QStringList availableLanguages() const;
    // What the input boxes check against for a "Language" setting: the
    // setting itself, or with none the language of the desktop ("en_US" for
    // the plain C locale).
    [[nodiscard]] static QString chosenLanguage(const QString& setting);

    // Loads the dictionary of `language`, or of another country's form of
    // the same language when only that is installed ("en_GB" for "en_AU").
    // Settings::kSpellingOff, or a language without a dictionary, leaves
    // none loaded. Emits changed().
    void setLanguage(const QString& language);
    // The dictionary loaded ("en_US"), or empty.
    [[nodiscard]] QString language() const { return loaded_; }
    [[nodiscard]] bool isActive() const { return dictionary_ != nullptr; }

    // True for a word the dictionary or the user's list knows, and for every
    // word while no dictionary is loaded.
    [[nodiscard]] bool isCorrect(const QString& word);
    // The dictionary's suggestions for `word`, at most `limit`.
    [[nodiscard]] QStringList suggestions(const QString& word, int limit = 8);
    // Accepts `word` from now on and keeps it in the user's list.
    void addWord(const QString& word);

    // The words of `text` worth checking: runs of letters, with apostrophes
    // inside; numbers, names with digits and addresses are left alone.
    [[nodiscard]] static QList<WordSpan> wordsOf(const QString& text);

signals:
    // The dictionary or the user's list changed: checked text is stale.
    void changed();

private:
    [[nodiscard]] QString dictionaryPath(const QString& language, const char* suffix) const;
    void loadOwnWords();
    [[nodiscard]] std::string encoded(const QString& word);

    QString wordsPath_;
    QStringList folders_;
    QString loaded_;
    std::unique_ptr<Hunspell> dictionary_;
    // The dictionary's own character set (its "SET" line).
    QStringEncoder encoder_;
    QStringDecoder decoder_;
    QSet<QString> ownWords_;
    // Answers so far: a line is checked again on every key press.
    QHash<QString, bool> known_;
};

} // namespace velmora
