// Every connection holds a descriptor, so the process's RLIMIT_NOFILE is a
// connection limit of its own. At start the soft limit is raised to the hard
// one; when even that leaves too little room for --max-connections, the
// server says so once and refuses connections past what fits, rather than
// failing to accept them (and to open its database) later.
#pragma once

#include "core/log.h"

#include <cstddef>

namespace velmora::server::net {

// Descriptors kept for the server's own use: standard streams, the epoll
// sets, timers, listening sockets, the database and its journal, the bus.
constexpr std::size_t kReservedDescriptors = 64;

// Raises the soft limit as far as the hard one allows; the number of
// connections that fit, at most `maxConnections`.
std::size_t fitDescriptorLimit(std::size_t maxConnections, core::Log& log);

} // namespace velmora::server::net
