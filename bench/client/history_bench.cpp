// The message history at size: fills a fresh "history.db" with N chat-like
// lines (a year of 40 conversations, words drawn Zipf-like from a
// vocabulary of 20,000), then measures
//   - storing: what the receive path pays per message through the
//     session's History (queueing, and handing batches to the writer
//     thread), and how long the writer then needs to catch up, on top of
//     the N lines already stored;
//   - searching: the queries of the Search History window (newest 501
//     matches), for a common word, a rare one, two words and a prefix;
//   - opening a result: the lines of its conversation around it.
// Exits non-zero when a search misses lines it must find.
//
//   history_bench [lines]    (default 1000000; the file goes to $TMPDIR)
#include "history/history.h"
#include "history/history_store.h"
#include "session/session.h"
#include "silent_client.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

using namespace velmora;

namespace {

constexpr int kVocabulary = 20000;
constexpr int kConversations = 40;
constexpr qint64 kYearMs = 365LL * 24 * 60 * 60 * 1000;

const char* const kCommon[] = {
    "the",   "you",    "and",     "that",     "have",     "for",     "not",     "with",   "this",
    "but",   "from",   "they",    "will",     "would",    "there",   "what",    "about",  "which",
    "when",  "make",   "like",    "time",     "just",     "know",    "take",    "people", "into",
    "year",  "good",   "some",    "could",    "them",     "see",     "other",   "than",   "then",
    "now",   "look",   "only",    "come",     "think",    "also",    "back",    "after",  "work",
    "first", "well",   "even",    "want",     "because",  "any",     "these",   "give",   "day",
    "most",  "lunch",  "meeting", "tomorrow", "tonight",  "thanks",  "great",   "sorry",  "okay",
    "later", "coffee", "server",  "release",  "deadline", "weekend", "holiday", "movie",  "pizza",
};

// Words: the common ones first, then made-up ones from syllables, so that
// the rare end of the vocabulary is as varied as real names and typos.
std::vector<QString> vocabulary() {
    static const char* const syllables[] = {"ka",  "lo",  "mi",  "ne",  "ru",  "ta",  "vo",
                                            "zen", "qui", "bar", "dol", "fer", "gan", "hil",
                                            "jor", "pex", "sim", "tor", "ul",  "wy"};
    std::vector<QString> words;
    for (const char* word : kCommon) {
        words.emplace_back(QString::fromLatin1(word));
    }
    // The syllables spell i in base 20, so each made-up word is new.
    for (int i = 0; static_cast<int>(words.size()) < kVocabulary; ++i) {
        QString word;
        for (int n = i;; n /= 20) {
            word += QLatin1StringView(syllables[n % 20]);
            if (n < 20) {
                break;
            }
        }
        words.push_back(word);
    }
    return words;
}

class LineMaker {
public:
    LineMaker() : words_(vocabulary()) {
        const std::vector<double> w = weights();
        zipf_ = std::discrete_distribution<int>(w.begin(), w.end());
    }

    HistoryLine next(qint64 at) {
        HistoryLine line;
        line.at = at;
        line.owner = QStringLiteral("bobby");
        const int conversation = static_cast<int>(random_() % kConversations);
        line.room = conversation % 8 == 0;
        line.conversation = QStringLiteral("friend%1").arg(conversation);
        line.sender = random_() % 2 ? line.owner : line.conversation;
        const int count = 3 + static_cast<int>(random_() % 13);
        for (int i = 0; i < count; ++i) {
            line.text += (i ? QStringLiteral(" ") : QString()) +
                         words_[static_cast<std::size_t>(zipf_(random_))];
        }
        line.fontName = QStringLiteral("Arial");
        line.fontSize = QStringLiteral("10");
        return line;
    }

private:
    static std::vector<double> weights() {
        std::vector<double> w(kVocabulary);
        for (int i = 0; i < kVocabulary; ++i) {
            w[static_cast<std::size_t>(i)] = 1.0 / (i + 1);
        }
        return w;
    }

    std::vector<QString> words_;
    std::discrete_distribution<int> zipf_;
    std::mt19937 random_{20261123};
};

double msSince(const QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::max(10000, std::atoi(argv[1])) : 1000000;
    QTemporaryDir home;
    LineMaker maker;
    const qint64 start = QDateTime::currentMSecsSinceEpoch() - kYearMs;
    const qint64 step = kYearMs / count;
    bool ok = true;

    {
        HistoryStore store(home.path(), QStringLiteral("fill"));
        QElapsedTimer fill;
        fill.start();
        QList<HistoryLine> batch;
        for (int i = 0; i < count; ++i) {
            batch.append(maker.next(start + i * step));
            if (batch.size() == History::kBatchLines || i == count - 1) {
                store.add(batch);
                batch.clear();
            }
        }
        const double ms = msSince(fill);
        std::printf("stored %d lines in %.1f s: %.1f us per line, in batches of %lld\n", count,
                    ms / 1000, ms * 1000 / count, static_cast<long long>(History::kBatchLines));
    }
    std::printf("history.db: %.0f MB\n",
                static_cast<double>(QFileInfo(home.filePath(HistoryStore::kFileName)).size()) /
                    1e6);

    // What a received message costs the receive path, on top of the lines
    // above: the real History queueing each line and writing every 256th
    // batch in line, as a flood of messages would make it.
    {
        bench::SilentPrompter prompter;
        bench::SilentDesktop desktop;
        Session session(home.path(), prompter, desktop);
        session.values().userName = QStringLiteral("bobby");
        auto* history = new History(session);
        const int messages = 20000;
        std::vector<double> each(messages);
        QElapsedTimer total;
        total.start();
        for (int i = 0; i < messages; ++i) {
            const HistoryLine made = maker.next(0);
            const ConversationLine line{
                made.conversation, made.room,
                ChatLine{made.sender, made.text, made.fontName, made.fontSize, made.style}};
            QElapsedTimer one;
            one.start();
            history->record(line);
            each[static_cast<std::size_t>(i)] = msSince(one);
        }
        const double ms = msSince(total);
        QElapsedTimer written;
        written.start();
        (void)history->store();
        const double wait = msSince(written);
        std::printf("receive path: %.3f ms per message over %d messages (median %.4f ms, "
                    "worst %.2f ms)\n",
                    ms / messages, messages, median(each),
                    *std::max_element(each.begin(), each.end()));
        std::printf("  the writer thread finished %.0f ms after the last message\n", wait);
        if (!history->problem().isEmpty()) {
            std::printf("history off: %s\n", qPrintable(history->problem()));
            ok = false;
        }
    }

    HistoryStore store(home.path(), QStringLiteral("search"));
    std::printf("lines stored: %lld\n", static_cast<long long>(store.lineCount()));
    struct Query {
        const char* words;
        const char* what;
    };
    const Query queries[] = {
        {"meeting", "common word"},    {"the", "most common word"}, {"that", "common 4 letters"},
        {"there", "common 5 letters"}, {"kadolzenmi", "rare word"}, {"lunch tomorrow", "two words"},
        {"deadl", "prefix"},           {"zzzzz", "no match"},
    };
    HistoryLine opened;
    for (const Query& query : queries) {
        std::vector<double> times;
        qsizetype hits = 0;
        for (int run = 0; run < 15; ++run) {
            QElapsedTimer timer;
            timer.start();
            const QList<HistoryLine> found = store.search(QString::fromLatin1(query.words), 501);
            times.push_back(msSince(timer));
            hits = found.size();
            if (!found.isEmpty()) {
                opened = found.first();
            }
        }
        std::printf(
            "search %-16s (%-16s): median %7.2f ms, worst %7.2f ms, %lld lines\n",
            qPrintable(QLatin1Char('"') + QLatin1StringView(query.words) + QLatin1Char('"')),
            query.what, median(times), *std::max_element(times.begin(), times.end()),
            static_cast<long long>(hits));
        const bool mustFind = QByteArrayView(query.words) != "zzzzz";
        ok = ok && (hits > 0) == mustFind;
    }
    std::vector<double> times;
    for (int run = 0; run < 15; ++run) {
        QElapsedTimer timer;
        timer.start();
        const QList<HistoryLine> around = store.around(opened, 50, 50);
        times.push_back(msSince(timer));
        ok = ok && !around.isEmpty();
    }
    std::printf("open a result (its conversation, 50 lines each side): median %.2f ms\n",
                median(times));
    return ok ? 0 : 1;
}
