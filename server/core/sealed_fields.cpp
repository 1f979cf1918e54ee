// Which fields of a command reach another client or the store, and whether
// they can be trusted to stay one field there.
#include "core/hub.h"

#include "core/names.h"

namespace velmora::server::core {

namespace p = protocol;

// Valid UTF-8 with no control characters: what a name or font may hold.
bool isCleanText(std::string_view text) {
    // Printable ASCII, the usual case, is checked in one pass the compiler
    // can widen.
    bool plain = true;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        plain &= byte >= 0x20 && byte < 0x7f;
    }
    if (plain) {
        return true;
    }
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x20 || lead == 0x7f) {
            return false;
        }
        const std::size_t length = lead < 0x80   ? 1
                                   : lead < 0xc2 ? 0
                                   : lead < 0xe0 ? 2
                                   : lead < 0xf0 ? 3
                                   : lead < 0xf5 ? 4
                                                 : 0;
        if (length == 0 || i + length > text.size()) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xc0) != 0x80) {
                return false;
            }
        }
        const auto second = length > 1 ? static_cast<unsigned char>(text[i + 1]) : 0;
        // Overlong forms, UTF-16 surrogates and code points past U+10FFFF.
        if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second >= 0xa0) ||
            (lead == 0xf0 && second < 0x90) || (lead == 0xf4 && second >= 0x90)) {
            return false;
        }
        if (lead == 0xc2 && second < 0xa0) { // C1 controls
            return false;
        }
        i += length;
    }
    return true;
}

namespace {
bool sealed(std::string_view field) {
    return p::isSealedField(field);
}

bool sealedName(std::string_view field) {
    return p::isSealedField(field) && isCleanText(field);
}

// The invitee list keeps its own " :/ " separators; every item is a name.
bool sealedNameList(std::string_view list) {
    const auto items = p::split(list, p::kNameListSep);
    for (std::size_t i = 0; i < items.size(); ++i) {
        // Element 0 stands before the first separator and may be empty.
        if ((i > 0 && items[i].empty()) || !isNameText(items[i])) {
            return false;
        }
    }
    return true;
}
} // namespace

bool fieldsAreSealed(Command command, const p::FieldViews& f) {
    switch (command) {
    case Command::PrivateMessage:
    case Command::RoomMessage:
        // user (already checked), recipient or room, text, font, size, style
        return sealedName(f[2]) && sealed(f[3]) && sealedName(f[4]) && sealed(f[5]) && sealed(f[6]);
    case Command::AddBuddy:
    case Command::FileOffer:
        // The offer's other fields are checked one by one: a bad file name
        // is refused with an answer, not counted as a violation.
        return sealedName(f[2]);
    case Command::FileAnswer:
        return sealedName(f[2]) && sealed(f[3]) && sealed(f[4]);
    case Command::Invite:
        return sealedName(f[2]) && sealedNameList(f[3]) && sealed(f[4]);
    default:
        return true; // the others relay nothing; a room's name passes the name rule
    }
}

} // namespace velmora::server::core
