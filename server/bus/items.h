// What nodes say to each other through Redis: a payload is a run of items,
// each a kind byte, the body's length in decimal, ":" and the body. Bodies
// hold records of the client's wire format as they are, so the length, not
// a separator, ends them. The Lua scripts write the same form.
//
//   D user record       deliver the record to the user logged in here
//   N user record       the same for a private message stored with its
//                       number (delivery receipts): its last field
//   + claim node name   name logged in on node (claim: the order of claims)
//   - node name         name logged out of node
//   ! node              node stopped beating; its users are gone
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace velmora::server::bus {

inline constexpr char kDeliver = 'D';
inline constexpr char kDeliverNumbered = 'N';
inline constexpr char kOnline = '+';
inline constexpr char kOffline = '-';
inline constexpr char kGone = '!';

void appendItem(std::string& payload, char kind, std::string_view head, std::string_view rest);

// Calls `item` for each whole item; false when the payload is malformed
// (the items before the fault were given).
bool forEachItem(std::string_view payload,
                 const std::function<void(char kind, std::string_view body)>& item);

// The body's first word, and the rest after its space.
[[nodiscard]] std::pair<std::string_view, std::string_view> firstWord(std::string_view body);

} // namespace velmora::server::bus
