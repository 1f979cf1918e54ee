#include "messaging/install.h"

#include "messaging/chat_window.h"
#include "messaging/pm_window.h"
#include "messaging/send_pm_dialog.h"
#include "session/main_frame.h"
#include "session/session.h"

#include <QAction>
#include <QTime>
#include <QWidget>

namespace velmora {

namespace {

// Tells every open conversation with `name` that the buddy came or went.
void writePresenceNotice(Session& session, const QString& name, const QString& event) {
    const QString caption = (name + QStringLiteral(" - Instant Message")).toUpper();
    for (QWidget* window : session.windows()) {
        auto* conversation = dynamic_cast<MessageWindow*>(window);
        if (!conversation || window->windowTitle().toUpper() != caption) {
            continue;
        }
        QString text = name + QLatin1Char(' ') + event + QStringLiteral(" (") +
                       QTime::currentTime().toString(Qt::TextDate) + QLatin1Char(')');
        AppendMessageHtml(text, QStringLiteral("#FF0000"), QStringLiteral("&lt;Client&gt;"),
                          QStringLiteral("MS Sans Serif"), QStringLiteral("9"),
                          conversation->messageView(), QString(), formatterOptions(session));
    }
}

} // namespace

void installMessaging(Session& session) {
    session.onPrivateMessage([&session](const ChatLine& line) {
        ReceivePM(session, line.sender, line.text, line.fontName, line.fontSize, line.style);
    });
    // After the buddy tree has moved the buddy.
    session.addPresenceHandler([&session](const QString& name, bool online) {
        writePresenceNotice(session, name,
                            online ? QStringLiteral("Logged In") : QStringLiteral("Logged Out"));
    });
    QObject::connect(
        &session, &Session::conversationRequested, &session,
        [&session](const QString& name) { session.trap([&] { OpenPMWindow(session, name); }); });
    // The tray's "Send an IM..." runs this same action.
    QObject::connect(session.frame().actions().toolsSendAPM, &QAction::triggered, &session,
                     [&session] {
                         session.trap([&] {
                             SendPMDialog dialog(session, &session.frame().widget());
                             dialog.exec();
                         });
                     });
}

} // namespace velmora
