// Text between Qt and the protocol library: the wire carries UTF-8 bytes,
// the client's windows QString.
#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace velmora {

[[nodiscard]] inline std::string bytes(const QString& text) {
    return text.toStdString();
}

[[nodiscard]] inline QString text(std::string_view bytes) {
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

} // namespace velmora
