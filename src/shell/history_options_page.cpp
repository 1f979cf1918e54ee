#include "shell/history_options_page.h"

#include "history/history.h"
#include "platform/prompter.h"
#include "session/session.h"
#include "settings/settings.h"

#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

HistoryOptionsPage::HistoryOptionsPage(Session& session, QWidget* parent)
    : OptionsPage(parent), session_(session), cboHistoryKeep_(new QComboBox(this)),
      lblHistoryStatus_(new QLabel(this)) {
    setObjectName(QStringLiteral("pageHistory"));
    cboHistoryKeep_->setObjectName(QStringLiteral("cboHistoryKeep"));
    cboHistoryKeep_->addItem(QStringLiteral("Forever"), 0);
    cboHistoryKeep_->addItem(QStringLiteral("30 days"), 30);
    cboHistoryKeep_->addItem(QStringLiteral("365 days"), 365);
    lblHistoryStatus_->setObjectName(QStringLiteral("lblHistoryStatus"));
    lblHistoryStatus_->setWordWrap(true);
    auto* clear = new QPushButton(QStringLiteral("&Clear History..."), this);
    clear->setObjectName(QStringLiteral("cmdClearHistory"));
    connect(clear, &QPushButton::clicked, this,
            [this] { session_.trap([this] { cmdClearHistory_Click(); }); });

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("&Keep conversations:"), cboHistoryKeep_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(QStringLiteral("Every message you send or receive is kept on "
                                                "this computer for Tools > Search History..."),
                                 this));
    layout->addLayout(form);
    layout->addWidget(clear, 0, Qt::AlignLeft);
    layout->addWidget(lblHistoryStatus_);
    layout->addStretch(1);
}

void HistoryOptionsPage::restoreOptions(const Settings& settings) {
    restoredDays_ = settings.historyKeepDays();
    int index = cboHistoryKeep_->findData(restoredDays_);
    // A period written by hand stays as it is until the user picks another.
    if (index < 0) {
        cboHistoryKeep_->addItem(QStringLiteral("%1 days").arg(restoredDays_), restoredDays_);
        index = cboHistoryKeep_->count() - 1;
    }
    cboHistoryKeep_->setCurrentIndex(index);
}

void HistoryOptionsPage::applyOptions(Settings& settings, MainWindowValues&) {
    const qint32 days = cboHistoryKeep_->currentData().toInt();
    // Written only when changed: a file that never had the key keeps it so.
    if (days == restoredDays_) {
        return;
    }
    settings.setHistoryKeepDays(days);
    restoredDays_ = days;
    if (History* history = History::of(session_)) {
        history->applyRetention();
    }
}

void HistoryOptionsPage::cmdClearHistory_Click() {
    History* history = History::of(session_);
    if (!history) {
        return;
    }
    const int answer = session_.showMessage(
        QStringLiteral("This deletes every stored line of every conversation from this "
                       "computer.\r\nDo you wish to continue?"),
        style::kYesNoQuestion, QStringLiteral("Clear History"), this);
    if (answer != answer::kYes) {
        return;
    }
    history->clear();
    lblHistoryStatus_->setText(history->problem().isEmpty()
                                   ? QStringLiteral("The history is empty.")
                                   : history->problem());
}

} // namespace velmora
