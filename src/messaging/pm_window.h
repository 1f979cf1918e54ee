// `frmPM`: the conversation with one other user. The caption, recipient +
// " - Instant Message", is the window's identity: there is at most one per
// user, found by caption ignoring case.
#pragma once

#include "messaging/chat_window.h"

#include <QString>

class QLabel;
class QStatusBar;

namespace velmora {

class PMWindow : public ChatWindow {
    Q_OBJECT
public:
    static constexpr const char* kCaptionSuffix = " - Instant Message";
    // The server's own pseudo-user: its notices cannot be answered.
    static constexpr const char* kServerUser = "IM Server";

    PMWindow(Session& session, const QString& recipient);
    ~PMWindow() override;
    // The server's notices stay closed to typing.
    void onConnectionRestored() override;

    [[nodiscard]] QString recipient() const { return recipient_; }
    [[nodiscard]] QStatusBar& sbStatus() { return *sbStatus_; }
    // The status line: it stays until the window changes it.
    void setStatusText(const QString& text);
    [[nodiscard]] QString statusText() const;

    void cmdSend_Click() override;

protected:
    // Files dropped on the conversation or the input box are offered to
    // the recipient.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildMenus();
    void send();

    QString recipient_;
    QStatusBar* sbStatus_;
    QLabel* lblStatus_;
};

// Finds the window for `name` (caption compared ignoring case) and brings it
// forward, or opens a new one. A window for "IM Server" cannot be typed into.
PMWindow* OpenPMWindow(Session& session, const QString& name);

// A private message from the server: it goes into the sender's window,
// opened when needed, with the status "Last IM Received: " and the time, the window
// brought forward and the receive sound played as the settings ask.
void ReceivePM(Session& session, const QString& sender, const QString& text,
               const QString& fontName, const QString& fontSize, const QString& style);

} // namespace velmora
