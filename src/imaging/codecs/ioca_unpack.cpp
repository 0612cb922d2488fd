// The byte-wise compressions of IOCA. Source: TIFF 6.0, sections 9 (PackBits) and 13 (LZW).
#include <algorithm>
#include <array>
#include <cstring>

#include "imaging/codecs/fax_decoder.h"
#include "imaging/codecs/ioca_plane.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr unsigned kClear = 256, kEndOfData = 257, kFirstCode = 258, kMaxCodes = 4096;

// Strings stand in the output already: the table holds only where.
struct Entry {
    std::size_t at = 0;
    std::size_t length = 0;
};

}  // namespace

std::size_t unpack_lzw(std::span<const std::uint8_t> data, std::span<std::uint8_t> out) {
    std::array<Entry, kMaxCodes> table;
    fax::BitReader bits{data, false};
    std::size_t done = 0;
    unsigned next = kFirstCode;
    Entry previous;
    while (done < out.size()) {
        // Codes grow one code early.
        const int width = next < 511 ? 9 : next < 1023 ? 10 : next < 2047 ? 11 : 12;
        const unsigned code = bits.peek(width);
        if (bits.at_end() || code == kEndOfData) break;
        bits.skip(width);
        if (code == kClear) {
            next = kFirstCode;
            previous = {};
            continue;
        }
        Entry string{done, 1};
        if (code < kClear) {
            out[done] = static_cast<std::uint8_t>(code);
        } else {
            const bool known = code < next;
            if (!known && (code != next || previous.length == 0)) break;
            const Entry& from = known ? table[code] : previous;
            string.length = std::min(from.length + (known ? 0 : 1), out.size() - done);
            // Byte by byte: an unknown string overlaps itself.
            for (std::size_t i = 0; i < string.length; ++i) out[done + i] = out[from.at + i];
        }
        if (previous.length > 0 && next < kMaxCodes) table[next++] = {previous.at, previous.length + 1};
        done += string.length;
        previous = string;
    }
    return done;
}

std::size_t unpack_packbits(std::span<const std::uint8_t> data, std::span<std::uint8_t> out) {
    std::size_t at = 0, done = 0;
    while (at < data.size() && done < out.size()) {
        const unsigned control = data[at++];
        if (control == 128) continue;
        const bool run = control > 128;
        const std::size_t room = out.size() - done;
        if (run) {
            if (at == data.size()) break;
            const std::size_t count = std::min<std::size_t>(257 - control, room);
            std::memset(out.data() + done, data[at++], count);
            done += count;
        } else {
            const std::size_t count = std::min({std::size_t{control} + 1, room, data.size() - at});
            std::memcpy(out.data() + done, data.data() + at, count);
            at += count;
            done += count;
        }
    }
    return done;
}

}  // namespace quillmark::imaging::codecs
