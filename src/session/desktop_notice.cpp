#include "session/desktop_notice.h"

#include "session/main_frame.h"
#include "session/session.h"
#include "session/space_mark.h"

#include <QPointer>

namespace velmora {

void notifyUser(Session& session, const QString& title, const QString& text,
                std::function<void()> activated) {
    if (session.settings().notify() != 1) {
        return;
    }
    // A click runs under the session's error trap, long after this returns.
    QPointer<Session> alive(&session);
    auto clicked = [alive, activated = std::move(activated)] {
        if (alive) {
            alive->trap([&] { activated(); });
        }
    };
    session.desktop().notify(title, text, clicked, [alive, title, text, clicked] {
        if (alive && alive->desktop().hasSystemTray()) {
            alive->frame().showTrayMessage(title, text, clicked);
        }
    });
}

QString firstLine(const QString& relayedText) {
    QString text = marksToSpaces(relayedText);
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text.section(QLatin1Char('\n'), 0, 0, QString::SectionSkipEmpty).trimmed();
}

} // namespace velmora
