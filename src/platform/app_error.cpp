#include "platform/app_error.h"

namespace velmora {

void raiseSubscriptOutOfRange(const QString& source) {
    throw AppError(err::kSubscriptOutOfRange, source, QStringLiteral("Subscript out of range"));
}

void raiseTypeMismatch(const QString& source) {
    throw AppError(err::kTypeMismatch, source, QStringLiteral("Type mismatch"));
}

} // namespace velmora
