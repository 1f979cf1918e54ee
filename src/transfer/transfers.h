// Every transfer of one session, both ways: offering a file, answering an
// offer, running the data connections, and going on after a cut, a lost
// session or a restart. Unfinished transfers are kept in Transfers.ini.
#pragma once

#include "session/file_transfers.h"
#include "transfer/data_link.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <memory>

namespace velmora {

class Session;
class TransferWindow;

class Transfers : public QObject {
    Q_OBJECT
public:
    // The longest pause before a receiver connects again after a cut, or a
    // sender offers again to a recipient who is offline; both start at 1 s
    // and double.
    static constexpr int kLongestBackoffMs = 30'000;

    explicit Transfers(Session& session);
    ~Transfers() override;

    // Send File: asks for a file and offers it to `user`.
    void chooseAndOffer(const QString& user, QWidget* owner);
    // Offers the file at `path` to `user`.
    void offerFile(const QString& user, const QString& path);

private:
    struct Transfer {
        bool outgoing = false;
        QString token;
        QString id; // incoming: as received, with its node
        QString peer;
        QString name;
        quint64 size = 0;
        QString path;      // outgoing: the file
        QString folder;    // incoming
        QString finalName; // incoming
        QString host;      // incoming: the node that holds the offer
        quint16 port = 0;
        quint16 tlsPort = 0;
        QPointer<TransferWindow> window;
        std::unique_ptr<DataLink> link;
        QTimer retry;
        int backoffMs = 1000;
        bool replace = false; // incoming: the user chose to replace a file of that name
        bool recipientOffline = false;
    };

    void onOffer(const FileOffer& offer);
    bool onAnswer(const FileAnswer& answer);
    void onLoggedIn();
    void onPresence(const QString& name, bool online);

    void accept(const FileOffer& offer, const QString& folder, const QString& finalName);
    void saveAs(const FileOffer& offer, QWidget* owner, const std::function<void()>& chosen);
    Transfer& adopt(std::shared_ptr<Transfer> t);
    void keep(const Transfer& t) const;
    void offerAgain(Transfer& t);
    void openLink(Transfer& t, quint64 offset);
    void onLinkEnded(const QString& token, DataLink::End end, const QString& detail);
    void retryLater(Transfer& t);
    void cancel(const QString& token);
    // Ends a transfer: it is no longer kept; its window stays with `status`.
    void end(const QString& token, const QString& status, const QString& completedPath = {});
    void showStatus(Transfer& t, const QString& status);
    [[nodiscard]] QString partPath(const Transfer& t) const;
    [[nodiscard]] QString storePath() const;
    [[nodiscard]] bool loggedIn() const;

    Session& session_;
    QHash<QString, std::shared_ptr<Transfer>> transfers_;
};

} // namespace velmora
