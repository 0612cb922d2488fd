#include "imaging/codecs/fax_encoder.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace quillmark::imaging::fax {
namespace {

constexpr int kEndOfLine = 1;
constexpr int kLongestMakeUp = 2560;
constexpr std::size_t kClosing = 4;

std::uint8_t reversed(std::uint8_t byte) {
    unsigned bits = byte;
    bits = (bits & 0x55U) << 1 | (bits >> 1 & 0x55U);
    bits = (bits & 0x33U) << 2 | (bits >> 2 & 0x33U);
    return static_cast<std::uint8_t>((bits & 0x0FU) << 4 | bits >> 4);
}

const ModeCode& code_of(int mode) {
    for (const ModeCode& code : mode_codes())
        if (code.mode == mode) return code;
    return mode_codes().front();
}

// The codes of the seven vertical modes, by distance + 3.
const ModeCode& vertical_code(int distance) {
    static const std::array<ModeCode, 7> codes = [] {
        std::array<ModeCode, 7> found{};
        int distance_of = -3;
        for (ModeCode& code : found) code = code_of(vertical + distance_of++);
        return found;
    }();
    return *(codes.begin() + 3 + distance);
}

// 64 pixels from bit x of a row on, the first in the top bit; zeros past the row's end.
std::uint64_t pixels_at(std::span<const std::uint8_t> row, std::size_t byte) {
    std::uint64_t word = 0;
    if (byte + 8 <= row.size()) {
        std::memcpy(&word, row.data() + byte, 8);
        return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
    }
    for (std::size_t i = 0; i < 8; ++i) word = word << 8 | (byte + i < row.size() ? row[byte + i] : 0U);
    return word;
}

}  // namespace

Encoder::Encoder(const Layout& layout, int k)
    : layout_{layout}, k_{k}, above_(static_cast<std::size_t>(layout.width) + kClosing + 2, layout.width) {
    changes_.reserve(above_.size());
}

void Encoder::put(std::uint32_t code, int length) {
    held_ = held_ << length | code;
    count_ += length;
    while (count_ >= 8) {
        count_ -= 8;
        const auto byte = static_cast<std::uint8_t>(held_ >> count_);
        bytes_.push_back(layout_.lowest_bit_first ? reversed(byte) : byte);
    }
}

void Encoder::put_run(bool black, int run) {
    const auto codes = black ? black_codes() : white_codes();
    const auto entry = [&](int pixels) {
        const auto at = static_cast<std::size_t>(pixels < 64 ? pixels : 63 + pixels / 64);
        put(codes[at].code, codes[at].length);
    };
    for (; run >= kLongestMakeUp + 64; run -= kLongestMakeUp) entry(kLongestMakeUp);
    if (run >= 64) entry(run / 64 * 64);
    entry(run % 64);
}

void Encoder::put_end_of_line(bool one_dimensional) {
    if (layout_.whole_bytes) put(0, (8 - (count_ + kEndOfLineBits) % 8) % 8);
    put(kEndOfLine, kEndOfLineBits);
    if (layout_.coding == Coding::group3_2d) put(one_dimensional ? 1 : 0, 1);
}

// Where the colour changes, whole words of one colour at a step.
void Encoder::find_changes(std::span<const std::uint8_t> row) {
    changes_.clear();
    std::uint64_t colour = 0;  // all bits of the colour of the pixel before
    for (std::size_t byte = 0; byte * 8 < static_cast<std::size_t>(layout_.width); byte += 8) {
        std::uint64_t different = pixels_at(row, byte) ^ colour;
        while (different != 0) {
            const int ahead = std::countl_zero(different);
            const int x = static_cast<int>(byte * 8) + ahead;
            if (x >= layout_.width) break;
            changes_.push_back(x);
            colour = ~colour;
            // The pixels from here on are compared with the new colour.
            different = ~different & ~std::uint64_t{0} >> ahead;
        }
    }
    changes_.insert(changes_.end(), kClosing, layout_.width);
}

void Encoder::encode_runs() {
    bool black = false;
    int x = 0;
    for (std::size_t i = 0; x < layout_.width; ++i, black = !black) {
        put_run(black, changes_[i] - x);
        x = changes_[i];
    }
}

void Encoder::encode_2d() {
    const int width = layout_.width;
    bool black = false;
    int a0 = -1;
    std::size_t a = 0, b = 0;  // the next changes: in this row, and above to the opposite colour
    while (a0 < width) {
        const int a1 = changes_[a];
        while (b >= 2 && above_[b - 2] > a0) b -= 2;
        while (above_[b] <= a0 && above_[b] < width) b += 2;
        const int b1 = above_[b], b2 = above_[b + 1];
        if (b2 < a1) {
            const ModeCode& code = code_of(pass);
            put(code.code, code.length);
            a0 = b2;
        } else if (a1 - b1 >= -3 && a1 - b1 <= 3) {
            const ModeCode& code = vertical_code(a1 - b1);
            put(code.code, code.length);
            a0 = a1;
            black = !black;
            ++a;
            b = b > 0 ? b - 1 : b + 1;
        } else {
            const ModeCode& code = code_of(horizontal);
            const int a2 = changes_[a + 1];
            put(code.code, code.length);
            put_run(black, a1 - std::max(a0, 0));
            put_run(!black, a2 - a1);
            a0 = a2;
            a += 2;
        }
    }
}

void Encoder::add_row(std::span<const std::uint8_t> row) {
    find_changes(row);
    const bool one_dimensional = layout_.coding != Coding::group4 &&
                                 (layout_.coding != Coding::group3_2d || until_one_dimensional_ == 0);
    if (layout_.coding == Coding::group3 || layout_.coding == Coding::group3_2d)
        put_end_of_line(one_dimensional);
    until_one_dimensional_ = one_dimensional ? k_ - 1 : until_one_dimensional_ - 1;
    one_dimensional ? encode_runs() : encode_2d();
    if (layout_.coding == Coding::aligned_rows && count_ > 0) put(0, 8 - count_);
    std::swap(above_, changes_);
}

void Encoder::finish(bool return_to_control) {
    const bool ends = layout_.coding == Coding::group4 || return_to_control;
    const int codes = !ends ? 0 : layout_.coding == Coding::group4 ? 2 : 6;
    for (int i = 0; i < codes; ++i) put_end_of_line(true);
    if (count_ > 0) put(0, 8 - count_);
}

}  // namespace quillmark::imaging::fax
