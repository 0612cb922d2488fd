#include "imaging/metadata.h"

namespace quillmark::imaging {
namespace {

// Length of the valid UTF-8 sequence at data, 0 when there is none. Overlong forms and surrogates do not
// count.
std::size_t utf8_sequence(const std::uint8_t* data, std::size_t size) {
    const std::uint8_t lead = data[0];
    const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead >= 0x80 && (lead < 0xC2 || lead > 0xF4)) return 0;
    if (length > size) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((data[i] & 0xC0) != 0x80) return 0;
    }
    if (lead == 0xE0 && data[1] < 0xA0) return 0;
    if (lead == 0xED && data[1] >= 0xA0) return 0;
    if (lead == 0xF0 && data[1] < 0x90) return 0;
    if (lead == 0xF4 && data[1] >= 0x90) return 0;
    return length;
}

bool is_utf8(const std::uint8_t* data, std::size_t size) {
    for (std::size_t at = 0; at < size;) {
        const std::size_t length = utf8_sequence(data + at, size - at);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

}  // namespace

Orientation orientation_from_tag(int value) {
    return value >= 1 && value <= 8 ? static_cast<Orientation>(value) : Orientation::normal;
}

bool swaps_sides(Orientation orientation) { return static_cast<int>(orientation) >= 5; }

std::string text_from_bytes(const std::uint8_t* data, std::size_t size) {
    const bool utf8 = is_utf8(data, size);
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        const std::uint8_t c = data[i];
        const bool control =
            (c < 0x20 && c != '\n' && c != '\t') || c == 0x7F || (!utf8 && c >= 0x80 && c < 0xA0);
        if (control) continue;
        if (utf8 || c < 0x80) {
            text.push_back(static_cast<char>(c));
        } else {
            text.push_back(static_cast<char>(0xC0 | c >> 6));
            text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return text;
}

}  // namespace quillmark::imaging
