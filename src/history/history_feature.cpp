#include "history/history.h"
#include "history/history_window.h"
#include "history/install.h"
#include "session/main_frame.h"
#include "session/session.h"

#include <QAction>

namespace velmora {

void installHistory(Session& session) {
    // Owned by the session: it lives as long as the session's windows.
    auto* history = new History(session);
    QObject::connect(&session, &Session::lineExchanged, history, &History::record);
    QObject::connect(
        session.frame().actions().toolsSearchHistory, &QAction::triggered, history,
        [&session, history] {
            session.trap([&] {
                auto* open = qobject_cast<HistoryWindow*>(
                    session.findWindowByName(QLatin1StringView(HistoryWindow::kFormName)));
                session.showSingle(open, [&] { return new HistoryWindow(session, *history); });
            });
        });
}

} // namespace velmora
