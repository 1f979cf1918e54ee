// One SQLite file through Qt SQL under a connection name of its own, which
// must be unique while it is open: opened on construction, closed and
// unregistered on destruction. Every failure raises AppError(number, source,
// <what was being done>: <the driver's words>).
#pragma once

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QVariantList>

class QSqlError;

namespace velmora {

class SqlFile {
public:
    struct Errors {
        int number;     // the AppError number of every failure
        QString source; // and its source, the file's name
    };

    // `busyTimeoutMs`: how long a statement waits for another connection
    // that holds the file.
    SqlFile(const QString& path, const QString& connectionName, int busyTimeoutMs, Errors errors,
            const QString& doing);
    ~SqlFile();
    SqlFile(const SqlFile&) = delete;
    SqlFile& operator=(const SqlFile&) = delete;

    [[nodiscard]] QSqlDatabase database() const;
    // Prepares `sql`, binds `values` in order and runs it.
    QSqlQuery run(const QString& sql, const QVariantList& values, const QString& doing);
    void exec(const QString& sql, const QString& doing) { run(sql, {}, doing); }
    [[noreturn]] void raise(const QString& doing, const QSqlError& error) const;

private:
    QString connectionName_;
    Errors errors_;
};

} // namespace velmora
