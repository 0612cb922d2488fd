#include "imaging/codecs/gif_lzw.h"

#include <algorithm>
#include <cstring>

namespace quillmark::imaging {
namespace {

void copy16(std::uint8_t* to, const std::uint8_t* from) {
    std::uint8_t block[16];
    std::memcpy(block, from, 16);
    std::memcpy(to, block, 16);
}

// May write up to 15 bytes too many. Strings lie before to; what is read beyond their end is overwritten
// later.
inline void copy_string(std::uint8_t* to, const std::uint8_t* from, std::uint32_t length) {
    copy16(to, from);
    for (std::uint32_t done = 16; done < length; done += 16) copy16(to + done, from + done);
}

}  // namespace

GifLzwDecoder::GifLzwDecoder(ByteReader in, std::int64_t total) : in_{std::move(in)}, total_{total} {
    min_size_ = in_.u8();
    if (in_.failed() || min_size_ < 1 || min_size_ > 11) return;
    pixels_ = Buffer::allocate(static_cast<std::size_t>(total) + kRoots + kSlop);
    if (!pixels_) return;
    for (std::size_t i = 0; i < kRoots; ++i) pixels_.data()[i] = static_cast<std::uint8_t>(i);
    staging_.resize(kStaging + 8);
    cursor_ = staged_end_ = staging_.data();
    // Roots of more than 8 bits stand for indices that no palette has.
    for (std::uint32_t i = 0; i < kTableSize; ++i) table_[i] = {i & 255, 1};
    clear_table();
    ready_ = true;
}

void GifLzwDecoder::clear_table() {
    width_ = min_size_ + 1;
    next_ = (1u << min_size_) + 2;
    previous_length_ = 0;
}

bool GifLzwDecoder::stage() {
    const auto left = static_cast<std::size_t>(staged_end_ - cursor_);
    std::memmove(staging_.data(), cursor_, left);
    std::uint8_t* end = staging_.data() + left;
    while (!input_ended_ && end + 255 <= staging_.data() + kStaging) {
        const std::size_t size = in_.u8();
        const std::size_t got = size ? in_.read({end, size}) : 0;
        end += got;
        input_ended_ = size == 0 || got < size;
    }
    const bool more = end > staging_.data() + left;
    cursor_ = staging_.data();
    staged_end_ = end;
    return more;
}

std::int64_t GifLzwDecoder::decode_to(std::int64_t wanted) {
    const auto goal =
        static_cast<std::uint32_t>(std::min(wanted, total_) + static_cast<std::int64_t>(kRoots));
    const std::uint32_t clear = 1u << min_size_;
    std::uint8_t* const base = pixels_.data();
    // Working copies: the loop's stores of bytes could otherwise alias the members.
    std::uint64_t bits = bits_;
    int have = have_, width = width_;
    std::uint32_t next = next_, previous_at = previous_at_, previous_length = previous_length_, out = out_;
    const std::uint8_t* in = cursor_;
    const std::uint8_t* in_end = staged_end_;
    while (out < goal && !finished_) {
        if (have < width) {
            if (in_end - in < 8) {
                cursor_ = in;
                stage();
                in = cursor_;
                in_end = staged_end_;
            }
            if (in_end - in >= 8) {
                std::uint64_t word = 0;
                std::memcpy(&word, in, 8);
                bits |= word << have;
                in += (63 - have) >> 3;
                have |= 56;
            } else {
                for (; have <= 56 && in < in_end; have += 8)
                    bits |= static_cast<std::uint64_t>(*in++) << have;
                if (have < width) {
                    finished_ = true;
                    break;
                }
            }
        }
        const auto code = static_cast<std::uint32_t>(bits & ((1u << width) - 1));
        bits >>= width;
        have -= width;
        if (code - clear < 2) [[unlikely]] {
            if (code != clear) {
                finished_ = true;
                break;
            }
            width = min_size_ + 1;
            next = clear + 2;
            previous_length = 0;
            continue;
        }
        if (previous_length != 0 && next < kTableSize) {
            // The previous string and the first index of this one follow each other in the output.
            table_[next++] = {previous_at, previous_length + 1};
            if (next == 1u << width && width < 12) ++width;
        }
        if (code >= next) [[unlikely]] {
            finished_ = true;
            break;
        }
        const Entry entry = table_[code];
        std::uint8_t* const to = base + out;
        if (entry.at + entry.length <= out) [[likely]]
            copy_string(to, base + entry.at, entry.length);
        else
            for (std::uint32_t i = 0; i < entry.length; ++i)
                to[i] = base[entry.at + i];  // its own first index ends it
        previous_at = out;
        previous_length = entry.length;
        out += entry.length;
    }
    bits_ = bits, have_ = have, width_ = width;
    next_ = next, previous_at_ = previous_at, previous_length_ = previous_length, out_ = out;
    cursor_ = in;
    return std::min<std::int64_t>(static_cast<std::int64_t>(out) - static_cast<std::int64_t>(kRoots), total_);
}

}  // namespace quillmark::imaging
