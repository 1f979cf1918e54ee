// File transfer: an offer and its answer travel on the users' sessions; the
// file's bytes travel on a second connection from each end to the node that
// holds the offer, which joins the two and copies between them, storing
// nothing. The bytes are raw after the join: the sender's part of the file
// from the agreed offset, then the SHA-256 of the whole file as hex; the
// receiver answers with one verdict record.
//
//   sender   → " ## cmdFR /:/ alice /:/ bobby /:/ report.pdf /:/ 81920 /:/ <token>"
//   receiver ← " ## +FR /$/ alice /$/ report.pdf /$/ 81920 /$/ <token>[@host/port/tlsport]"
//   receiver → (data connection) " ## cmdFX /:/ <token> /:/ R /:/ <offset>"
//   sender   ← " ## +FA /$/ SF /$/ <token> /$/ <offset>"
//   sender   → (data connection) " ## cmdFX /:/ <token> /:/ S /:/ 0"
//   both     ← " ## +FX /$/ GO /$/ <offset>", then the raw stream
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace velmora::protocol {

// user, recipient, file name, size, token: offers a file, or offers it again
// under the same token to go on with a transfer that was cut.
inline constexpr std::string_view kHeadFR = " ## cmdFR /:/ ";
// user, peer, id, status: "FD" declines an offer (receiver) or cancels a
// transfer (either side).
inline constexpr std::string_view kHeadFA = " ## cmdFA /:/ ";
// The first and only command of a data connection: token, role, offset.
inline constexpr std::string_view kHeadFX = " ## cmdFX /:/ ";

namespace cmd {
inline constexpr std::string_view FR = "cmdFR";
inline constexpr std::string_view FA = "cmdFA";
inline constexpr std::string_view FX = "cmdFX";
} // namespace cmd

namespace reply {
// On a data connection: " ## +FX /$/ GO /$/ <offset>" when both ends are
// there, or " ## +FX /$/ NO /$/ <reason>" before the server closes it.
inline constexpr std::string_view FX = "+FX";
// The receiver's verdict, passed to the sender untouched after the stream.
inline constexpr std::string_view FV = "+FV";
} // namespace reply

namespace transfer {

inline constexpr std::string_view kRoleSender = "S";
inline constexpr std::string_view kRoleReceiver = "R";
inline constexpr std::string_view kGo = "GO";
inline constexpr std::string_view kNo = "NO";
// The whole verdict records, as the receiver writes them.
inline constexpr std::string_view kVerdictOk = " ## +FV /$/ OK";
inline constexpr std::string_view kVerdictBad = " ## +FV /$/ BAD";
// The receiver writes no more than this after the stream.
inline constexpr std::size_t kMaxVerdictBytes = 64;
// SHA-256 in lower-case hex, after the last byte of the file.
inline constexpr std::size_t kDigestHexChars = 64;
// A token: 128 random bits in lower-case hex, chosen by the sender's client.
inline constexpr std::size_t kTokenHexChars = 32;
// The longest file name an offer may carry, in bytes of UTF-8.
inline constexpr std::size_t kMaxNameBytes = 255;
// The most a data connection may send before "GO": its hello.
inline constexpr std::size_t kMaxHelloBytes = 256;

// Why an offer or a data connection ended: field 3 of "+FA /$/ FD", field 2
// of "+FX /$/ NO".
namespace reason {
inline constexpr std::string_view kDeclined = "declined";   // the receiver said no
inline constexpr std::string_view kCancelled = "cancelled"; // either side gave up
inline constexpr std::string_view kTooLarge = "too-large";  // past the server's largest file
inline constexpr std::string_view kBusy = "busy";           // too many transfers at once
inline constexpr std::string_view kInvalid = "invalid";     // a malformed offer or hello
inline constexpr std::string_view kUnknown = "unknown";     // no such offer (any more)
inline constexpr std::string_view kIdle = "idle";           // stalled past the idle time
inline constexpr std::string_view kDisabled = "disabled";   // the server carries no files
} // namespace reason

} // namespace transfer

// An offer's id as the receiver sees it: the token, and the node that holds
// the offer when it is not the receiver's own server.
struct OfferId {
    std::string token;
    std::string host; // empty: the server the receiver is logged in to
    std::uint16_t port = 0;
    std::uint16_t tlsPort = 0; // 0: that node has no TLS port
};

// Between the token and the node, and between the node's host and ports.
inline constexpr char kOfferNodeSep = '@';
inline constexpr char kOfferPortSep = '/';

// "token" or "token@host/port/tlsport".
[[nodiscard]] std::string formatOfferId(const OfferId& id);
// False for anything but a well-formed token with an optional node.
[[nodiscard]] bool parseOfferId(std::string_view text, OfferId& id);
// Exactly kTokenHexChars lower-case hex digits.
[[nodiscard]] bool isOfferToken(std::string_view text);
// A file size or offset: decimal digits only, no sign, at most 2^53.
[[nodiscard]] bool parseByteCount(std::string_view text, std::uint64_t& value);

} // namespace velmora::protocol
