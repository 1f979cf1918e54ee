// One server record handed to a handler: the fields after the code. Reading
// a field the record does not have is a subscript error, as with any array.
#pragma once

#include "platform/app_error.h"

#include <QString>
#include <QStringList>

namespace velmora {

class Record {
public:
    Record() = default;
    explicit Record(QStringList fields) : fields_(std::move(fields)) {}

    // Field i of the record, counted from 1 (field 0 is the code).
    [[nodiscard]] const QString& field(int i) const {
        if (i < 0 || i >= fields_.size()) {
            raiseSubscriptOutOfRange(QStringLiteral("Velmora"));
        }
        return fields_[i];
    }
    [[nodiscard]] qsizetype size() const { return fields_.size(); }

private:
    QStringList fields_;
};

} // namespace velmora
