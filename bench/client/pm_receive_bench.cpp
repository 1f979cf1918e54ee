// 10,000 received private messages into one conversation window through the
// real reply road: each "+PM" record goes through the dispatcher and
// ReceivePM into the frmPM of its sender, with the smilie pictures of the
// assets. Prints the time per message of the first and the last thousand:
// a long conversation must not get slower to receive.
//
//   pm_receive_bench [count]    (default 10000; QT_QPA_PLATFORM=offscreen)
#include "app/client.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/dispatcher.h"
#include "silent_client.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

using namespace velmora;

namespace {

void copySmilies(const QString& appFolder) {
    const QDir from(QStringLiteral(VELMORA_ASSETS_DIR "/Smilies"));
    QDir(appFolder).mkdir(QStringLiteral("Smilies"));
    for (const QString& file : from.entryList(QDir::Files)) {
        QFile::copy(from.filePath(file), appFolder + QStringLiteral("/Smilies/") + file);
    }
}

// Chat-like lines: words, now and then a smilie or an address.
QString record(int i) {
    static const char* const kBodies[] = {
        "hey%%there%%:)%%how%%are%%you?",
        "did%%you%%see%%www.velmora.org/news%%yet?",
        "ok%%see%%you%%at%%eight%%;)",
        "that%%is%%great%%news%%:D%%congrats!",
        "lunch%%tomorrow?",
    };
    return QStringLiteral(" ## +PM /$/ bobby /$/ ") + QString::number(i) + QStringLiteral("%%") +
           QLatin1StringView(kBodies[i % 5]) + QStringLiteral(" /$/ Arial /$/ 10 /$/ B");
}

struct Figures {
    double mean;
    double median;
};

// Mean and median of messages [from, from + 1000): the median shows the
// steady cost when other programs briefly take the processor.
Figures thousand(const std::vector<double>& ms, std::size_t from) {
    std::vector<double> part(ms.begin() + static_cast<std::ptrdiff_t>(from),
                             ms.begin() + static_cast<std::ptrdiff_t>(from + 1000));
    const double mean = std::accumulate(part.begin(), part.end(), 0.0) / 1000.0;
    std::nth_element(part.begin(), part.begin() + 500, part.end());
    return Figures{mean, part[500]};
}

} // namespace

int main(int argc, char** argv) {
    bench::preferOffscreen();
    QApplication app(argc, argv);
    const int count = argc > 1 ? std::max(2000, std::atoi(argv[1])) : 10000;

    QTemporaryDir home;
    copySmilies(home.path());
    bench::SilentPrompter prompter;
    bench::SilentDesktop desktop;
    Client client(home.path(), prompter, desktop);

    std::vector<double> ms(static_cast<std::size_t>(count));
    QElapsedTimer total;
    total.start();
    for (int i = 0; i < count; ++i) {
        const QString batch = record(i);
        QElapsedTimer one;
        one.start();
        client.session().dispatcher().dispatchBatch(batch);
        ms[static_cast<std::size_t>(i)] = static_cast<double>(one.nsecsElapsed()) / 1e6;
    }
    const double seconds = static_cast<double>(total.nsecsElapsed()) / 1e9;

    auto* window =
        qobject_cast<PMWindow*>(client.session().findWindowByCaption("bobby - Instant Message"));
    const int lines = window ? window->brwMessage().renderedLines() - 1 : 0;
    const auto n = static_cast<std::size_t>(count);
    std::printf("messages received: %d (lines in the window: %d)\n", count, lines);
    std::printf("ms per message, by thousand (mean / median):\n");
    for (std::size_t from = 0; from + 1000 <= n; from += 1000) {
        const Figures f = thousand(ms, from);
        std::printf("  %6zu-%-6zu %.3f / %.3f\n", from + 1, from + 1000, f.mean, f.median);
    }
    const Figures first = thousand(ms, 0);
    const Figures last = thousand(ms, n - 1000);
    std::printf("first 1000: %.3f ms per message (median %.3f)\n", first.mean, first.median);
    std::printf("last 1000:  %.3f ms per message (median %.3f)\n", last.mean, last.median);
    std::printf("last / first: %.2f (medians %.2f)\n", last.mean / first.mean,
                last.median / first.median);
    std::printf("total: %.2f s\n", seconds);
    return lines == count ? 0 : 1;
}
