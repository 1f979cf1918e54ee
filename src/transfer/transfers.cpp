#include "transfer/transfers.h"

#include "controls/qt_file_chooser.h"
#include "platform/prompter.h"
#include "protocol/transfer.h"
#include "session/desktop_notice.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "transfer/file_name.h"
#include "transfer/offer_window.h"
#include "transfer/transfer_store.h"
#include "transfer/transfer_window.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

namespace velmora {

namespace r = protocol::transfer::reason;

namespace {

QString newToken() {
    QByteArray bits(16, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(bits.data()), 4);
    return QString::fromLatin1(bits.toHex());
}

bool is(const QString& field, std::string_view word) {
    return field == QLatin1StringView(word.data(), static_cast<qsizetype>(word.size()));
}

// What the user reads when a transfer ends for `reason`.
QString endText(const QString& peer, const QString& reason) {
    if (is(reason, r::kDeclined)) {
        return peer + QStringLiteral(" declined the file.");
    }
    if (is(reason, r::kCancelled)) {
        return peer + QStringLiteral(" cancelled the transfer.");
    }
    if (is(reason, r::kTooLarge)) {
        return QStringLiteral("The server refused the file: it is larger than the server carries.");
    }
    if (is(reason, r::kBusy)) {
        return QStringLiteral("The server refused the file: too many transfers are going on. "
                              "Try again later.");
    }
    if (is(reason, r::kInvalid)) {
        return QStringLiteral("The server refused the transfer as malformed.");
    }
    if (is(reason, r::kUnknown)) {
        return QStringLiteral("The server no longer knows this transfer.");
    }
    if (is(reason, r::kIdle)) {
        return QStringLiteral("The transfer stalled and the server stopped it.");
    }
    if (is(reason, r::kDisabled)) {
        return QStringLiteral("This server does not carry files.");
    }
    return QStringLiteral("The transfer was refused (") + reason.left(64) + QStringLiteral(").");
}

} // namespace

Transfers::Transfers(Session& session) : QObject(&session), session_(session) {
    session_.files().onOffer([this](const FileOffer& offer) { onOffer(offer); });
    session_.files().onAnswer([this](const FileAnswer& answer) { return onAnswer(answer); });
    session_.addPresenceHandler(
        [this](const QString& name, bool online) { onPresence(name, online); });
    connect(&session_, &Session::loggedIn, this,
            [this] { session_.trap([this] { onLoggedIn(); }); });
    for (const KeptTransfer& kept : transfer_store::load(storePath())) {
        auto t = std::make_shared<Transfer>();
        t->outgoing = kept.outgoing;
        t->token = kept.token;
        t->id = kept.id;
        t->peer = kept.peer;
        t->name = kept.name;
        t->size = kept.size;
        t->path = kept.path;
        t->folder = kept.folder;
        t->finalName = kept.finalName;
        protocol::OfferId node;
        if (protocol::parseOfferId(kept.id.toStdString(), node)) {
            t->host = QString::fromStdString(node.host);
            t->port = node.port;
            t->tlsPort = node.tlsPort;
        }
        adopt(std::move(t));
    }
}

Transfers::~Transfers() = default;

QString Transfers::storePath() const {
    return transfer_store::pathIn(session_.appFolder());
}

bool Transfers::loggedIn() const {
    return session_.isConnected() && !session_.values().userName.isEmpty();
}

QString Transfers::partPath(const Transfer& t) const {
    return QDir(t.folder).filePath(t.finalName + QStringLiteral(".part"));
}

Transfers::Transfer& Transfers::adopt(std::shared_ptr<Transfer> t) {
    Transfer& kept = *t;
    kept.retry.setSingleShot(true);
    connect(&kept.retry, &QTimer::timeout, this, [this, token = kept.token] {
        session_.trap([&] {
            const auto found = transfers_.value(token);
            if (!found || !loggedIn()) {
                return; // the next login goes on with it
            }
            if (found->outgoing) {
                offerAgain(*found);
            } else {
                openLink(*found, static_cast<quint64>(QFileInfo(partPath(*found)).size()));
            }
        });
    });
    transfers_.insert(kept.token, std::move(t));
    return kept;
}

void Transfers::keep(const Transfer& t) const {
    transfer_store::keep(storePath(), KeptTransfer{t.token, t.outgoing, t.peer, t.name, t.size,
                                                   t.path, t.folder, t.finalName, t.id});
}

void Transfers::showStatus(Transfer& t, const QString& status) {
    if (!t.window) {
        t.window = new TransferWindow(session_.desktop(), t.outgoing, t.peer,
                                      t.outgoing ? t.name : t.finalName, t.size);
        connect(t.window, &TransferWindow::cancelRequested, this,
                [this, token = t.token] { session_.trap([&] { cancel(token); }); });
        session_.adoptWindow(t.window);
        t.window->show();
    }
    t.window->setStatus(status);
}

void Transfers::chooseAndOffer(const QString& user, QWidget* owner) {
    QtFileChooser desktopChooser;
    FileChooser* chooser = session_.files().fileChooser();
    FileRequest request;
    request.kind = FileRequest::Kind::Open;
    request.owner = owner;
    request.title = QStringLiteral("Send File to ") + user;
    request.flags = ofn::kFileMustExist | ofn::kPathMustExist | ofn::kHideReadOnly;
    const std::optional<QString> path = (chooser ? chooser : &desktopChooser)->chooseFile(request);
    if (path && !path->isEmpty()) {
        offerFile(user, *path);
    }
}

void Transfers::offerFile(const QString& user, const QString& path) {
    const QFileInfo info(path);
    QFile probe(path);
    if (!info.isFile() || !probe.open(QIODevice::ReadOnly)) {
        session_.showMessage(QStringLiteral("The file \"") + path +
                                 QStringLiteral("\" cannot be read, so it was not sent."),
                             style::kExclamation, QString(), &session_.frame().widget());
        return;
    }
    auto t = std::make_shared<Transfer>();
    t->outgoing = true;
    t->token = newToken();
    t->id = t->token;
    t->peer = user;
    t->name = plainFileName(info.fileName());
    t->size = static_cast<quint64>(info.size());
    t->path = info.absoluteFilePath();
    Transfer& kept = adopt(std::move(t));
    keep(kept);
    offerAgain(kept);
}

void Transfers::offerAgain(Transfer& t) {
    showStatus(t, QStringLiteral("Waiting for ") + t.peer + QStringLiteral(" to accept…"));
    session_.files().offer(t.peer, t.name, t.size, t.token);
}

void Transfers::onOffer(const FileOffer& offer) {
    if (const auto known = transfers_.value(offer.token); known) {
        // The same transfer offered again: it goes on from what is here,
        // without asking.
        if (known->outgoing || known->peer.compare(offer.sender, Qt::CaseInsensitive) != 0) {
            return;
        }
        known->id = offer.id;
        known->host = offer.host;
        known->port = offer.port;
        known->tlsPort = offer.tlsPort;
        keep(*known);
        if (!known->link) {
            known->retry.stop();
            openLink(*known, static_cast<quint64>(QFileInfo(partPath(*known)).size()));
        }
        return;
    }
    const QString name = plainFileName(offer.name);
    for (QWidget* window : session_.windows()) {
        if (window->objectName() == QLatin1String("frmFileOffer") &&
            window->property("token").toString() == offer.token) {
            return; // already being asked
        }
    }
    auto* prompt = new OfferWindow(offer, name);
    prompt->setProperty("token", offer.token);
    const QPointer<OfferWindow> alive(prompt);
    connect(prompt, &OfferWindow::accepted, this, [this, offer, name, alive] {
        session_.trap([&] {
            const QString folder = session_.files().downloadFolder();
            QDir().mkpath(folder);
            if (QFileInfo::exists(QDir(folder).filePath(name))) {
                const int answer = session_.showMessage(
                    QStringLiteral("The file \"") + name + QStringLiteral("\" already exists in ") +
                        QDir::toNativeSeparators(folder) +
                        QStringLiteral(".\r\nDo you want to replace it?"),
                    style::kYesNoQuestion, QString(), alive);
                if (answer != answer::kYes) {
                    saveAs(offer, alive, [alive] {
                        if (alive) {
                            alive->done();
                        }
                    });
                    return;
                }
                accept(offer, folder, name);
                transfers_.value(offer.token)->replace = true;
            } else {
                accept(offer, folder, name);
            }
            if (alive) {
                alive->done();
            }
        });
    });
    connect(prompt, &OfferWindow::saveAsChosen, this, [this, offer, alive] {
        session_.trap([&] {
            saveAs(offer, alive, [alive] {
                if (alive) {
                    alive->done();
                }
            });
        });
    });
    connect(prompt, &OfferWindow::declined, this, [this, offer, alive] {
        session_.trap([&] {
            if (alive) {
                alive->done();
            }
            if (loggedIn()) {
                session_.files().cancel(offer.sender, offer.id);
            }
        });
    });
    if (!session_.frame().widget().isActiveWindow()) {
        notifyUser(session_, QStringLiteral("File from ") + offer.sender,
                   name + QStringLiteral(", ") + sizeText(offer.size), [this, alive] {
                       if (alive) {
                           session_.desktop().bringToFront(alive);
                       }
                   });
    }
    session_.adoptWindow(prompt);
    prompt->show();
}

void Transfers::saveAs(const FileOffer& offer, QWidget* owner,
                       const std::function<void()>& chosen) {
    QtFileChooser desktopChooser;
    FileChooser* chooser = session_.files().fileChooser();
    FileRequest request;
    request.kind = FileRequest::Kind::Save;
    request.owner = owner;
    request.title = QStringLiteral("Save File As");
    request.initialDir = session_.files().downloadFolder();
    request.fileName = plainFileName(offer.name);
    request.flags = ofn::kOverwritePrompt | ofn::kHideReadOnly | ofn::kPathMustExist;
    const std::optional<QString> path = (chooser ? chooser : &desktopChooser)->chooseFile(request);
    if (!path || path->isEmpty()) {
        return; // the prompt stays for another answer
    }
    const QFileInfo info(*path);
    const QString name = plainFileName(info.fileName());
    accept(offer, info.absolutePath(), name);
    // The save dialog has asked before a file is replaced.
    transfers_.value(offer.token)->replace =
        QFileInfo::exists(QDir(info.absolutePath()).filePath(name));
    chosen();
}

void Transfers::accept(const FileOffer& offer, const QString& folder, const QString& finalName) {
    auto t = std::make_shared<Transfer>();
    t->token = offer.token;
    t->id = offer.id;
    t->peer = offer.sender;
    t->name = offer.name;
    t->size = offer.size;
    t->folder = folder;
    t->finalName = finalName;
    t->host = offer.host;
    t->port = offer.port;
    t->tlsPort = offer.tlsPort;
    Transfer& kept = adopt(std::move(t));
    // A part file of that name left from before is not of this transfer.
    QFile part(partPath(kept));
    if (!part.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        end(kept.token, QStringLiteral("The file could not be created in ") +
                            QDir::toNativeSeparators(folder) + QLatin1Char('.'));
        session_.files().cancel(offer.sender, offer.id);
        return;
    }
    part.close();
    keep(kept);
    openLink(kept, 0);
}

void Transfers::openLink(Transfer& t, quint64 offset) {
    QString why;
    const std::optional<DataNode> node =
        t.outgoing ? session_.files().nodeFor({}, 0, 0, &why)
                   : session_.files().nodeFor(t.host, t.port, t.tlsPort, &why);
    if (!node) {
        end(t.token, why);
        return;
    }
    LinkPlan plan{node->host, node->port, node->tls, t.token,
                  t.outgoing, offset,     t.size,    t.outgoing ? t.path : partPath(t)};
    t.link = std::make_unique<DataLink>(
        plan, [this](const QString& server, const QSslCertificate& certificate) {
            return session_.files().trusts(server, certificate);
        });
    DataLink* link = t.link.get();
    const QString token = t.token;
    connect(link, &DataLink::joined, this, [this, token] {
        if (const auto found = transfers_.value(token)) {
            found->backoffMs = 1000;
            showStatus(*found,
                       found->outgoing ? QStringLiteral("Sending…") : QStringLiteral("Receiving…"));
        }
    });
    connect(link, &DataLink::progress, this, [this, token](quint64 bytes) {
        if (const auto found = transfers_.value(token); found && found->window) {
            found->window->setProgress(bytes);
        }
    });
    connect(link, &DataLink::ended, this, [this, token](DataLink::End how, const QString& detail) {
        session_.trap([&] { onLinkEnded(token, how, detail); });
    });
    showStatus(t, QStringLiteral("Connecting to ") + t.peer + QStringLiteral("…"));
    link->start();
}

bool Transfers::onAnswer(const FileAnswer& answer) {
    const auto t = transfers_.value(answer.token);
    if (!t) {
        return false;
    }
    switch (answer.status) {
    case FileAnswer::Status::Start: {
        quint64 offset = 0;
        std::uint64_t read = 0;
        if (!t->outgoing || !protocol::parseByteCount(answer.detail.toStdString(), read) ||
            read > t->size) {
            return true; // nothing a sender can start from
        }
        offset = read;
        t->recipientOffline = false;
        t->retry.stop();
        if (t->link) {
            t->link->abort();
            t->link.release()->deleteLater();
        }
        openLink(*t, offset);
        break;
    }
    case FileAnswer::Status::Offline:
        if (t->outgoing) {
            t->recipientOffline = true;
            showStatus(*t, t->peer + QStringLiteral(" is offline. Waiting for ") + t->peer +
                               QStringLiteral(" to come online…"));
            // Soon at first: after a server restart the recipient is
            // usually back within seconds.
            t->retry.start(t->backoffMs);
            t->backoffMs = std::min(t->backoffMs * 2, kLongestBackoffMs);
        }
        break;
    case FileAnswer::Status::Ended:
        if (!t->outgoing) {
            QFile::remove(partPath(*t));
        }
        end(t->token, endText(t->peer, answer.detail));
        break;
    }
    return true;
}

void Transfers::onLinkEnded(const QString& token, DataLink::End how, const QString& detail) {
    const auto t = transfers_.value(token);
    if (!t) {
        return;
    }
    if (t->link) {
        t->link.release()->deleteLater();
    }
    switch (how) {
    case DataLink::End::Done:
        if (t->outgoing) {
            end(token, QStringLiteral("Sent."), {});
        } else {
            const QString target =
                t->replace ? t->finalName : freeFileName(t->folder, t->finalName);
            const QString targetPath = QDir(t->folder).filePath(target);
            if (t->replace) {
                QFile::remove(targetPath);
            }
            if (!QFile::rename(partPath(*t), targetPath)) {
                end(token, QStringLiteral("The file arrived but could not be named ") + targetPath +
                               QStringLiteral("; it was kept as ") + partPath(*t) +
                               QLatin1Char('.'));
                return;
            }
            end(token, QStringLiteral("Received."), targetPath);
        }
        break;
    case DataLink::End::Damaged:
        if (t->outgoing) {
            end(token, QStringLiteral("The file arrived damaged at ") + t->peer +
                           QStringLiteral(" and was deleted there."));
        } else {
            QFile::remove(partPath(*t));
            const QString text = QStringLiteral("The file \"") + t->finalName +
                                 QStringLiteral("\" from ") + t->peer +
                                 QStringLiteral(" arrived damaged and was deleted.");
            end(token, text);
            session_.showMessage(text, style::kExclamation, QString(), t->window);
        }
        break;
    case DataLink::End::Refused:
        if (is(detail, r::kUnknown)) {
            if (t->outgoing) {
                if (loggedIn()) {
                    offerAgain(*t);
                }
            } else {
                showStatus(*t, QStringLiteral("Waiting for ") + t->peer +
                                   QStringLiteral(" to offer the file again…"));
            }
        } else if (is(detail, r::kBusy) || is(detail, r::kIdle)) {
            retryLater(*t);
        } else {
            if (!t->outgoing) {
                QFile::remove(partPath(*t));
            }
            end(token, endText(t->peer, detail));
        }
        break;
    case DataLink::End::Cut:
        retryLater(*t);
        break;
    case DataLink::End::Failed:
        if (loggedIn()) {
            session_.files().cancel(t->peer, t->id);
        }
        if (!t->outgoing) {
            QFile::remove(partPath(*t));
        }
        end(token, detail);
        break;
    }
}

void Transfers::retryLater(Transfer& t) {
    if (t.outgoing) {
        // Only the receiver's return brings an SF again.
        showStatus(t,
                   QStringLiteral("Connection lost. Waiting for ") + t.peer + QStringLiteral("…"));
        return;
    }
    showStatus(t, QStringLiteral("Connection lost. Trying again in ") +
                      QString::number(t.backoffMs / 1000) + QStringLiteral(" s…"));
    t.retry.start(t.backoffMs);
    t.backoffMs = std::min(t.backoffMs * 2, kLongestBackoffMs);
}

void Transfers::onLoggedIn() {
    for (const auto& t : std::as_const(transfers_)) {
        if (t->link) {
            continue;
        }
        if (t->outgoing) {
            offerAgain(*t);
        } else {
            openLink(*t, static_cast<quint64>(QFileInfo(partPath(*t)).size()));
        }
    }
}

void Transfers::onPresence(const QString& name, bool online) {
    if (!online || !loggedIn()) {
        return;
    }
    for (const auto& t : std::as_const(transfers_)) {
        if (t->outgoing && t->recipientOffline && t->peer.compare(name, Qt::CaseInsensitive) == 0) {
            t->retry.stop();
            offerAgain(*t);
        }
    }
}

void Transfers::cancel(const QString& token) {
    const auto t = transfers_.value(token);
    if (!t) {
        return;
    }
    if (t->link) {
        t->link->abort();
    }
    if (loggedIn()) {
        session_.files().cancel(t->peer, t->id);
    }
    if (!t->outgoing) {
        QFile::remove(partPath(*t));
    }
    end(token, QStringLiteral("Cancelled."));
}

void Transfers::end(const QString& token, const QString& status, const QString& completedPath) {
    const auto t = transfers_.take(token);
    if (!t) {
        return;
    }
    t->retry.stop();
    if (t->link) {
        t->link->abort();
        t->link.release()->deleteLater();
    }
    transfer_store::forget(storePath(), token);
    if (!t->window) {
        showStatus(*t, status);
    }
    if (completedPath.isEmpty()) {
        t->window->setEnded(status);
    } else {
        t->window->setCompleted(status, completedPath);
    }
}

} // namespace velmora
