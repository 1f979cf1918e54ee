// The wire format shared by the client and velmorad: separators, codes,
// building a command or a reply, and cutting a received batch into records.
//
// The format has no terminator and no escaping. A command is its head
// (" ## " + code + " /:/ ") followed by fields joined with " /:/ "; a reply
// record is " ## " + code followed by fields each preceded by " /$/ ".
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::protocol {

inline constexpr std::string_view kRecordMark = " ## ";
inline constexpr std::string_view kCommandFieldSep = " /:/ ";
inline constexpr std::string_view kReplyFieldSep = " /$/ ";
// Separators used inside one field.
inline constexpr std::string_view kListItemSep = " :%: ";
inline constexpr std::string_view kSubFieldSep = " %/ ";
inline constexpr std::string_view kNameListSep = " :/ ";
// Every separator above: no relayed field may be read as holding one.
inline constexpr std::string_view kSeparators[] = {kRecordMark,  kCommandFieldSep, kReplyFieldSep,
                                                   kListItemSep, kSubFieldSep,     kNameListSep};

// Between the names of a user search's answer.
inline constexpr std::string_view kSearchNameSep = "%";
// A space inside a text field travels as this mark.
inline constexpr std::string_view kSpaceMark = "%%";
// Between host and port in a server address ("host:port").
inline constexpr char kHostPortSep = ':';
inline constexpr unsigned short kDefaultPort = 6668;

// Command heads, kept as whole literals.
inline constexpr std::string_view kHeadLI = " ## cmdLI /:/ ";
inline constexpr std::string_view kHeadPM = " ## cmdPM /:/ ";
inline constexpr std::string_view kHeadAB = " ## cmdAB /:/ ";
inline constexpr std::string_view kHeadDB = " ## cmdDB /:/ ";
inline constexpr std::string_view kHeadCO = " ## cmdCO /:/ ";
inline constexpr std::string_view kHeadCM = " ## cmdCM /:/ ";
inline constexpr std::string_view kHeadCE = " ## cmdCE /:/ ";
inline constexpr std::string_view kHeadCI = " ## cmdCI /:/ ";
inline constexpr std::string_view kHeadRA = " ## cmdRA /:/ ";
inline constexpr std::string_view kHeadSU = " ## cmdSU /:/ ";

// Command codes as they appear after the record mark.
namespace cmd {
inline constexpr std::string_view LI = "cmdLI";
inline constexpr std::string_view PM = "cmdPM";
inline constexpr std::string_view AB = "cmdAB";
inline constexpr std::string_view DB = "cmdDB";
inline constexpr std::string_view CO = "cmdCO";
inline constexpr std::string_view CM = "cmdCM";
inline constexpr std::string_view CE = "cmdCE";
inline constexpr std::string_view CI = "cmdCI";
inline constexpr std::string_view RA = "cmdRA";
inline constexpr std::string_view SU = "cmdSU";
} // namespace cmd

// Reply codes, in the order the client's dispatcher tests them.
namespace reply {
inline constexpr std::string_view LI = "+LI";
inline constexpr std::string_view RU = "+RU";
inline constexpr std::string_view SO = "+SO";
inline constexpr std::string_view BL = "+BL";
inline constexpr std::string_view OM = "+OM";
inline constexpr std::string_view PM = "+PM";
inline constexpr std::string_view LOn = "+LOn";
inline constexpr std::string_view LOff = "+LOff";
inline constexpr std::string_view CI = "+CI";
inline constexpr std::string_view CDet = "+CDet";
inline constexpr std::string_view CO = "+CO";
inline constexpr std::string_view CE = "+CE";
inline constexpr std::string_view CM = "+CM";
inline constexpr std::string_view FR = "+FR";
inline constexpr std::string_view FA = "+FA";
inline constexpr std::string_view SU = "+SU";
inline constexpr std::string_view UNO = "+UNO";
inline constexpr std::string_view UNV = "+UNV";
} // namespace reply

// Field values of some replies.
namespace answer {
inline constexpr std::string_view kLoginTrue = "Login=True";
inline constexpr std::string_view kLoginFalse = "Login=False";
inline constexpr std::string_view kClientUpgrade = "CUgd";
inline constexpr std::string_view kSignUpDone = "RS";
inline constexpr std::string_view kSignUpNameTaken = "UE";
inline constexpr std::string_view kSignUpDisabled = "RNE";
inline constexpr std::string_view kSignUpInvalid = "IN";
inline constexpr std::string_view kFileSent = "SF";
inline constexpr std::string_view kFileUserOffline = "UO";
inline constexpr std::string_view kFileDeclined = "FD";
inline constexpr std::string_view kBuddyOnline = "n";
inline constexpr std::string_view kBuddyOffline = "f";
inline constexpr std::string_view kRoomFull = "ConfFull";
} // namespace answer

using Fields = std::vector<std::string>;
// Fields read in place: each views the text it was split from.
using FieldViews = std::vector<std::string_view>;

// True when `field`, written between any two separators, reads back as
// exactly that one field: it holds no separator, and neither its start nor its
// end completes one with the space that opens or closes its neighbours.
[[nodiscard]] bool isSealedField(std::string_view field);

// Splits like the classic string Split: an empty input gives no pieces, and
// empty pieces between two separators are kept.
[[nodiscard]] Fields split(std::string_view text, std::string_view separator);

// The same into `pieces`, reusing its strings' storage: no allocation once
// they have grown to the usual field sizes.
void splitInto(std::string_view text, std::string_view separator, Fields& pieces);
// The same as views into `text`, which must outlive them.
void splitInto(std::string_view text, std::string_view separator, FieldViews& pieces);

// Joins with a separator between pieces.
[[nodiscard]] std::string join(const Fields& pieces, std::string_view separator);

// head + fields joined with " /:/ ". Nothing is appended after the last field.
[[nodiscard]] std::string buildCommand(std::string_view head,
                                       std::initializer_list<std::string_view> fields);

// " ## " + code + (" /$/ " + field) for each field.
// Where `separator` next starts in `text`, at or after `from`; npos when
// nowhere. Every separator is a space, one or two marks, a space: looking
// for its first mark, which most text lacks, stops far less often than
// looking for the space that every separator starts with.
[[nodiscard]] std::size_t findSeparator(std::string_view text, std::string_view separator,
                                        std::size_t from = 0);

[[nodiscard]] std::string buildReply(std::string_view code,
                                     std::initializer_list<std::string_view> fields);
// The same record, appended to `out`.
void appendReply(std::string& out, std::string_view code,
                 std::initializer_list<std::string_view> fields);
[[nodiscard]] std::string buildReply(std::string_view code, const Fields& fields);

// Cuts one received batch into records: split on " ## ", piece 0 dropped, each
// later piece split on `fieldSeparator` (field 0 is the code). No state is
// kept between batches: a record cut by the network is not reassembled.
[[nodiscard]] std::vector<Fields> splitBatch(std::string_view batch,
                                             std::string_view fieldSeparator = kReplyFieldSep);

// Calls `onRecord(fields)` for each record in arrival order, without holding
// every record of the batch at once.
template <typename OnRecord>
void forEachRecord(std::string_view batch, std::string_view fieldSeparator, OnRecord&& onRecord) {
    std::size_t pos = findSeparator(batch, kRecordMark);
    while (pos != std::string_view::npos) {
        const std::size_t start = pos + kRecordMark.size();
        const std::size_t next = findSeparator(batch, kRecordMark, start);
        const std::string_view piece = batch.substr(
            start, next == std::string_view::npos ? std::string_view::npos : next - start);
        Fields fields = split(piece, fieldSeparator);
        onRecord(fields);
        pos = next;
    }
}

} // namespace velmora::protocol
