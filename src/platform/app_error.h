// A run-time error raised by a handler: a field read past the end of a
// record (9), text where a number was expected (13), a send on a socket that
// is not connected (40006). The error trap turns it into the error report.
#pragma once

#include <QString>

#include <stdexcept>

namespace velmora {

namespace err {
inline constexpr int kSubscriptOutOfRange = 9;
inline constexpr int kTypeMismatch = 13;
inline constexpr int kInternalError = 51;
inline constexpr int kInvalidPropertyValue = 380;
inline constexpr int kWrongProtocolOrConnectionState = 40006;
} // namespace err

struct AppError : std::runtime_error {
    AppError(int number, QString source, QString description)
        : std::runtime_error(description.toStdString()), number(number), source(std::move(source)),
          description(std::move(description)) {}
    int number;
    QString source;
    QString description;
};

[[noreturn]] void raiseSubscriptOutOfRange(const QString& source);
[[noreturn]] void raiseTypeMismatch(const QString& source);

} // namespace velmora
