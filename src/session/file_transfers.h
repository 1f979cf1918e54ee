// The session's side of file transfers: the offer and answer commands, the
// offers and answers the server sends, parsed and checked, and what a data
// connection needs of the session (where the offer's node is, whether its
// certificate is trusted). The transfer feature does the rest.
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

#include <functional>
#include <optional>

class QSslCertificate;
class QSslError;

namespace velmora {

class FileChooser;
class Session;

// A file offered to this user.
struct FileOffer {
    QString sender;
    QString name; // as offered: not yet a safe file name
    quint64 size = 0;
    QString id; // as received, to answer with
    QString token;
    QString host; // empty: this session's own server
    quint16 port = 0;
    quint16 tlsPort = 0;
};

// What the server said of one of this user's transfers.
struct FileAnswer {
    enum class Status { Start, Offline, Ended };
    Status status = Status::Ended;
    QString token;
    QString detail; // the offset (Start), the recipient (Offline), why (Ended)
};

// Where a data connection goes.
struct DataNode {
    QString host;
    quint16 port = 0;
    bool tls = false;
};

class FileTransfers {
public:
    explicit FileTransfers(Session& session);

    // cmdFR: offers a file (again, under the same token, to go on with it).
    void offer(const QString& recipient, const QString& name, quint64 size, const QString& token);
    // cmdFA with "FD": declines an offer or cancels a transfer.
    void cancel(const QString& peer, const QString& id);
    // The hello of a data connection.
    [[nodiscard]] static QByteArray hello(const QString& token, bool sender, quint64 offset);

    // A well-formed "+FR". A malformed one reaches no handler.
    void onOffer(std::function<void(const FileOffer&)> handler);
    // A "+FA" with a known status: the handler answers whether the token was
    // one of this client's transfers. Any other status shows the box.
    void onAnswer(std::function<bool(const FileAnswer&)> handler);

    // The node the data connection goes to: the offer's, else this session's
    // server; nothing (with `why`) when the node cannot be reached as the
    // session requires.
    [[nodiscard]] std::optional<DataNode> nodeFor(const QString& host, quint16 port,
                                                  quint16 tlsPort, QString* why) const;
    // A node's certificate no authority vouches for is trusted when it is the
    // session server's own, or the one remembered for that host:port.
    [[nodiscard]] bool trusts(const QString& server, const QSslCertificate& certificate) const;

    // The file dialogs of transfers; null uses the desktop's own.
    void setFileChooser(FileChooser* chooser) { chooser_ = chooser; }
    [[nodiscard]] FileChooser* fileChooser() const { return chooser_; }
    // Where accepted files go; empty: the desktop's download folder.
    void setDownloadFolder(const QString& folder) { downloads_ = folder; }
    [[nodiscard]] QString downloadFolder() const;

private:
    Session& session_;
    FileChooser* chooser_ = nullptr;
    QString downloads_;
};

} // namespace velmora
