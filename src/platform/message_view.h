// The HTML conversation view. The formatter writes a chat line as several
// fragments; the view keeps the exact text written (source()) and renders
// each finished line as a block of its own so that a long chat stays fast.
#pragma once

#include <QString>

namespace velmora {

class MessageView {
public:
    virtual ~MessageView() = default;
    virtual void write(const QString& fragment) = 0;
    virtual void clear() = 0;
    virtual void scrollToEnd() = 0;
    // Everything written since the last clear(), byte for byte.
    [[nodiscard]] virtual QString source() const = 0;
};

} // namespace velmora
