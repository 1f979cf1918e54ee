#include "core/log.h"

#include "core/clock.h"

namespace velmora::server::core {

void Log::line(std::string_view text) {
    out_ << localTimestamp() << ' ' << text << std::endl;
}

} // namespace velmora::server::core
