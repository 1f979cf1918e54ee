// The Lua scripts that change what the cluster shares. Redis runs a script
// as one step, so a check and the change it allows cannot be split by
// another node, and a script that publishes an event puts it in the same
// order as the change. What lives in Redis (all under "velmora:"):
//
//   online            hash  user key -> "node name"   who is logged in where
//   claims            counter                          the order of logins
//   nodes             set   node names                 nodes that beat
//   alive:NODE        string with a time to live       a node's heartbeat
//   in-room           hash  user key -> room key
//   room:KEY          list  member names in order of entry
//   room-name         hash  room key -> name as its first member wrote it
//   all, node:NODE    channels: events for every node, records for one
#pragma once

#include <string_view>

namespace velmora::server::bus::scripts {

// ARGV: user key, node, name. Returns the claim's number.
extern const std::string_view kClaim;
// ARGV: user key, node, name. Removes the entry if the node still holds it.
extern const std::string_view kRelease;
// ARGV: node, then user key and name of each session the node holds. Claims
// those that no live node holds, drops the node's other entries; returns the
// names that a live node took over meanwhile.
extern const std::string_view kResync;
// Removes nodes whose heartbeat ran out, with their users; returns the names.
extern const std::string_view kReap;
// ARGV: user key. Returns {room name, members...} or nil.
extern const std::string_view kRoomOf;
// ARGV: user key, name, room key, room name, limit. Returns {"ok" or
// "full", {room name, members...}, {left room name, members...} or {}}.
extern const std::string_view kJoin;
// ARGV: user key, name. Returns {room name, members...} as left, or nil.
extern const std::string_view kLeave;

} // namespace velmora::server::bus::scripts
