// One "+OM" record carrying 500 messages through the real reply road: the
// dispatcher, the store routine (one insert a message into a fresh omess.db
// on disk) and the offline messages window that opens afterwards, listing
// all 500 and showing the first. Prints the wall time of each run.
//
//   bench_offline [messages] [runs]    (default 500 and 5; QT_QPA_PLATFORM=offscreen)
#include "app/client.h"
#include "messaging/offline_window.h"
#include "session/dispatcher.h"
#include "silent_client.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTreeWidget>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace velmora;

namespace {

QString offlineRecord(int count) {
    QString record = QStringLiteral(" ## +OM /$/ ") + QString::number(count);
    for (int i = 0; i < count; ++i) {
        record += QStringLiteral(" :%: message%%number%%") + QString::number(i) +
                  QStringLiteral("%%it's%%waiting%%for%%you :/ alicia :/ 2024-05-01 10:") +
                  QString::number(10 + i % 50) + QStringLiteral(":00");
    }
    return record;
}

} // namespace

int main(int argc, char** argv) {
    bench::preferOffscreen();
    QApplication app(argc, argv);
    const int count = argc > 1 ? std::max(1, std::atoi(argv[1])) : 500;
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    const QString record = offlineRecord(count);

    std::vector<double> ms;
    bool complete = true;
    for (int run = 0; run < runs; ++run) {
        QTemporaryDir home; // on the disk of the working folder's file system
        bench::SilentPrompter prompter;
        bench::SilentDesktop desktop;
        Client client(home.path(), prompter, desktop);
        client.session().values().userName = QStringLiteral("bobby");

        QElapsedTimer timer;
        timer.start();
        client.session().dispatcher().dispatchBatch(record);
        OfflineMessagesWindow& window = ShowOfflineMessages(client.session());
        QApplication::processEvents();
        ms.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);

        const int listed = window.lvMessages().topLevelItemCount();
        complete = complete && listed == count && prompter.boxes == 0;
        std::printf("run %d: %d messages stored and listed in %.1f ms\n", run + 1, listed,
                    ms.back());
    }
    std::sort(ms.begin(), ms.end());
    std::printf("median: %.1f ms, best: %.1f ms (goal: under 1000 ms)\n", ms[ms.size() / 2],
                ms.front());
    return complete ? 0 : 1;
}
