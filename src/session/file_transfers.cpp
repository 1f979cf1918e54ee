#include "session/file_transfers.h"

#include "platform/prompter.h"
#include "protocol/transfer.h"
#include "protocol/wire.h"
#include "session/certificate_trust.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "session/user_name.h"
#include "session/wire_text.h"
#include "settings/known_servers.h"

#include <QDir>
#include <QSslCertificate>
#include <QStandardPaths>
#include <QWidget>

namespace velmora {

namespace p = protocol;
using Reply = Dispatcher::Reply;

namespace {

bool parseOffer(const Record& r, FileOffer& offer) {
    if (r.size() < 5) {
        return false;
    }
    p::OfferId id;
    std::uint64_t size = 0;
    if (r.field(1).isEmpty() || !isValidUserName(r.field(1)) ||
        !p::parseByteCount(bytes(r.field(3)), size) || !p::parseOfferId(bytes(r.field(4)), id)) {
        return false;
    }
    offer = FileOffer{r.field(1),     r.field(2),    size,    r.field(4),
                      text(id.token), text(id.host), id.port, id.tlsPort};
    return true;
}

} // namespace

FileTransfers::FileTransfers(Session& session) : session_(session) {}

void FileTransfers::offer(const QString& recipient, const QString& name, quint64 size,
                          const QString& token) {
    session_.connection().SendData(
        text(p::buildCommand(p::kHeadFR, {bytes(session_.values().userName), bytes(recipient),
                                          bytes(name), std::to_string(size), bytes(token)})));
}

void FileTransfers::cancel(const QString& peer, const QString& id) {
    session_.connection().SendData(
        text(p::buildCommand(p::kHeadFA, {bytes(session_.values().userName), bytes(peer), bytes(id),
                                          p::answer::kFileDeclined})));
}

QByteArray FileTransfers::hello(const QString& token, bool sender, quint64 offset) {
    const std::string command = p::buildCommand(
        p::kHeadFX, {bytes(token), sender ? p::transfer::kRoleSender : p::transfer::kRoleReceiver,
                     std::to_string(offset)});
    return QByteArray::fromStdString(command);
}

void FileTransfers::onOffer(std::function<void(const FileOffer&)> handler) {
    session_.dispatcher().setHandler(Reply::FR, [handler = std::move(handler)](const Record& r) {
        FileOffer offer;
        if (parseOffer(r, offer)) {
            handler(offer);
        }
    });
}

void FileTransfers::onAnswer(std::function<bool(const FileAnswer&)> handler) {
    session_.dispatcher().setHandler(
        Reply::FA, [this, handler = std::move(handler)](const Record& r) {
            const QString& status = r.field(1);
            FileAnswer answer;
            if (status == text(p::answer::kFileSent)) {
                answer.status = FileAnswer::Status::Start;
            } else if (status == text(p::answer::kFileUserOffline)) {
                answer.status = FileAnswer::Status::Offline;
            } else if (status == text(p::answer::kFileDeclined)) {
                answer.status = FileAnswer::Status::Ended;
            } else {
                QWidget& main = session_.frame().widget();
                session_.showMessage(
                    QStringLiteral("Error: Returned Value For The File Send Reqest Was Invalid!"),
                    style::kSystemInfo, main.windowTitle(), &main);
                return;
            }
            // A known answer without its id names no transfer of ours.
            if (r.size() < 3) {
                return;
            }
            answer.token = r.field(2);
            answer.detail = r.size() > 3 ? r.field(3) : QString();
            handler(answer);
        });
}

std::optional<DataNode> FileTransfers::nodeFor(const QString& host, quint16 port, quint16 tlsPort,
                                               QString* why) const {
    Connection& c = session_.connection();
    if (host.isEmpty()) {
        return DataNode{c.RemoteHost(), c.RemotePort(), c.encrypted()};
    }
    const quint16 chosen = c.encrypted() ? tlsPort : port;
    if (chosen == 0) {
        if (why) {
            *why = c.encrypted() ? QStringLiteral("The computer ") + host +
                                       QStringLiteral(" that holds the file takes no encrypted "
                                                      "connections, so it was not fetched.")
                                 : QStringLiteral("The computer ") + host +
                                       QStringLiteral(" that holds the file takes only encrypted "
                                                      "connections.");
        }
        return std::nullopt;
    }
    return DataNode{host, chosen, c.encrypted()};
}

bool FileTransfers::trusts(const QString& server, const QSslCertificate& certificate) const {
    if (!certificate.isNull() && certificate == session_.connection().peerCertificate()) {
        return true;
    }
    return known_servers::match(session_.settings().knownServersPath(), server,
                                certificateFingerprint(certificate)) == known_servers::Match::Same;
}

QString FileTransfers::downloadFolder() const {
    if (!downloads_.isEmpty()) {
        return downloads_;
    }
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    return folder.isEmpty() ? QDir::homePath() : folder;
}

} // namespace velmora
