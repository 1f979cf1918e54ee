#include "platform/secret_keychain.h"

#include <QEventLoop>

#include <qt6keychain/keychain.h>

namespace velmora {

namespace {

const char* const kService = "Velmora";

// Runs the job to its end; the keychain may first ask the user to unlock it.
Keychain::Result run(QKeychain::Job& job, const QString& account) {
    job.setAutoDelete(false);
    job.setInsecureFallback(false);
    job.setKey(account.toLower());
    QEventLoop loop;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
    job.start();
    loop.exec();
    switch (job.error()) {
    case QKeychain::NoError:
        return Keychain::Result::Done;
    case QKeychain::EntryNotFound:
        return Keychain::Result::NotFound;
    default:
        qWarning("velmora: keychain: %s", qPrintable(job.errorString()));
        return Keychain::Result::Unavailable;
    }
}

} // namespace

Keychain::Result SecretKeychain::read(const QString& account, QString& password) {
    QKeychain::ReadPasswordJob job(QString::fromLatin1(kService));
    const Result result = run(job, account);
    if (result == Result::Done) {
        password = job.textData();
    }
    return result;
}

Keychain::Result SecretKeychain::write(const QString& account, const QString& password) {
    QKeychain::WritePasswordJob job(QString::fromLatin1(kService));
    job.setTextData(password);
    return run(job, account);
}

Keychain::Result SecretKeychain::remove(const QString& account) {
    QKeychain::DeletePasswordJob job(QString::fromLatin1(kService));
    const Result result = run(job, account);
    return result == Result::NotFound ? Result::Done : result;
}

} // namespace velmora
