// Delivery receipts: the login extension by which a client confirms every
// private message it has kept, so that the server forgets a message only on
// that word. A client asks with one more field of its login; a server that
// knows the extension answers with `+RC` right after "Login=True" and from
// then on numbers each private message it sends. The client names the
// numbers it kept in `cmdRC`, as a list of numbers and ranges ("17-20,25").
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::protocol {

// The login's fourth field that asks for the extension.
inline constexpr std::string_view kReceiptsToken = "receipts";
// " ## cmdRC /:/ " + user + " /:/ " + numbers.
inline constexpr std::string_view kHeadRC = " ## cmdRC /:/ ";
namespace cmd {
inline constexpr std::string_view RC = "cmdRC";
} // namespace cmd
// " ## +RC /$/ " + the server's store id: the numbers that follow are that
// store's.
namespace reply {
inline constexpr std::string_view RC = "+RC";
} // namespace reply

// Between the items of a number list, and between the ends of a range.
inline constexpr char kNumberListSep = ',';
inline constexpr char kNumberRangeSep = '-';
// The most numbers one list may name, its ranges counted in full: a server
// refuses a longer one.
inline constexpr std::size_t kMaxListNumbers = 4096;

using MessageNumber = std::int64_t;

// `numbers` (any order, repeats allowed) as a list: sorted, each run of
// consecutive numbers written as one range. What would make a list longer
// than `maxBytes`, or name more than kMaxListNumbers, starts the next list.
[[nodiscard]] std::vector<std::string> numberLists(std::vector<MessageNumber> numbers,
                                                   std::size_t maxBytes = 4000);

// Reads a list into `out`. False, with `out` holding what was read up to the
// fault, for anything but positive decimal numbers and ranges from low to
// high, or when the list names more than `maxNumbers` numbers in all.
[[nodiscard]] bool parseNumberList(std::string_view list, std::vector<MessageNumber>& out,
                                   std::size_t maxNumbers);

} // namespace velmora::protocol
