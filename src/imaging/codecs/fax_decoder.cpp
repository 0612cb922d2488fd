#include "imaging/codecs/fax_decoder.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace quillmark::imaging::fax {
namespace {

constexpr int kWidest = 1'000'000;
constexpr std::uint32_t kUncompressedRuns = 0x00F;  // 12 bits: the extension of one-dimensional rows
constexpr std::uint32_t kEndOfBlock = 0x001001;     // 24 bits
constexpr int kClosing = 4;  // entries behind the last change, so that looking for b1 and b2 needs no check

std::uint64_t reverse_bits_in_bytes(std::uint64_t word) {
    word = (word & 0x5555555555555555U) << 1 | (word >> 1 & 0x5555555555555555U);
    word = (word & 0x3333333333333333U) << 2 | (word >> 2 & 0x3333333333333333U);
    return (word & 0x0F0F0F0F0F0F0F0FU) << 4 | (word >> 4 & 0x0F0F0F0F0F0F0F0FU);
}

// Sets pixels [first, last) of a packed row to black.
void paint_black(std::span<std::uint8_t> row, int first, int last) {
    const auto begin = static_cast<std::size_t>(first / 8), end = static_cast<std::size_t>(last / 8);
    const auto head = static_cast<std::uint8_t>(0xFF >> first % 8);
    const auto tail = static_cast<std::uint8_t>(~(0xFF >> last % 8));
    if (begin == end) {
        row[begin] |= head & tail;
        return;
    }
    row[begin] |= head;
    std::memset(row.data() + begin + 1, 0xFF, end - begin - 1);
    if (tail != 0) row[end] |= tail;
}

}  // namespace

void BitReader::fill() {
    if (at_ + 8 <= data_.size()) {
        std::uint64_t word = 0;
        std::memcpy(&word, data_.data() + at_, sizeof word);
        if (reversed_) word = reverse_bits_in_bytes(word);
        if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
        held_ |= count_ < 64 ? word >> count_ : 0;
        const int bytes = (63 - count_) / 8;
        at_ += static_cast<std::size_t>(bytes);
        count_ += bytes * 8;
        // Only whole bytes were taken: what the word holds beyond them comes again.
        held_ &= ~std::uint64_t{0} << (64 - count_);
        return;
    }
    for (; count_ <= 56; count_ += 8) {
        std::uint64_t byte = 0;
        if (at_ < data_.size()) {
            byte = data_[at_++];
            if (reversed_) byte = reverse_bits_in_bytes(byte);
        } else {
            padding_ += 8;
        }
        held_ |= byte << (56 - count_);
    }
}

Decoder::Decoder(std::span<const std::uint8_t> data, const Layout& layout)
    : bits_{data, layout.lowest_bit_first},
      layout_{layout},
      above_(static_cast<std::size_t>(layout.width) + kClosing + 2, layout.width),
      changes_(above_.size(), layout.width) {}

// A change at the place of the one before takes that back: no pixel lies between them.
inline void Decoder::add_change(int x) {
    if (count_ > 0 && changes_[count_ - 1] == x)
        --count_;
    else
        changes_[count_++] = x;
}

void Decoder::close_row() {
    for (std::size_t i = 0; i < kClosing; ++i) changes_[count_ + i] = layout_.width;
}

void Decoder::paint(std::span<std::uint8_t> row) const {
    std::ranges::fill(row, std::uint8_t{0});
    for (std::size_t i = 0; i < count_; i += 2) {
        const int first = changes_[i], last = i + 1 < count_ ? changes_[i + 1] : layout_.width;
        if (first < last) paint_black(row, first, last);
    }
}

// The next complete run, or -1 when no code matches or the data end.
inline int Decoder::next_run(bool black) {
    const RunLookup& table = black ? kBlackLookup : kWhiteLookup;
    int total = 0;
    for (;;) {
        const RunLookup::Entry entry = table[bits_.peek(RunLookup::kBits)];
        if (entry.length == 0 || bits_.at_end()) return -1;
        bits_.skip(entry.length);
        total += entry.value;
        if (entry.value < 64) return total;
        if (total > layout_.width) return -1;
    }
}

bool Decoder::decode_runs() {
    bool black = false;
    for (int x = 0; x < layout_.width; black = !black) {
        const int run = next_run(black);
        if (run < 0 && bits_.peek(kEndOfLineBits) == kUncompressedRuns) {
            bits_.skip(kEndOfLineBits);
            if (!uncompressed(x, black)) return false;
            black = !black;
            continue;
        }
        if (run < 0 || run > layout_.width - x) return false;
        x += run;
        add_change(x);
    }
    return true;
}

// Pixels one by one, for data that runs would only blow up: 1 to 5 bits a group, closed by seven bits and
// more.
bool Decoder::uncompressed(int& at, bool& black) {
    const auto put = [&](int whites, bool then_black) {
        if (whites + then_black > layout_.width - at) return false;
        if (whites > 0 && black) add_change(at), black = false;
        at += whites;
        if (then_black) {
            if (!black) add_change(at), black = true;
            ++at;
        }
        return true;
    };
    while (!bits_.at_end()) {
        const int zeros = std::countl_zero(bits_.peek(32));
        if (zeros < 5) {
            bits_.skip(zeros + 1);
            if (!put(zeros, true)) return false;
        } else if (zeros == 5) {
            bits_.skip(6);
            if (!put(5, false)) return false;
        } else {
            if (zeros > 10) return false;
            bits_.skip(zeros + 1);
            const bool next_black = bits_.peek(1) != 0;
            bits_.skip(1);
            if (!put(zeros - 6, false)) return false;
            if (black != next_black) add_change(at), black = next_black;
            return true;
        }
    }
    return false;
}

bool Decoder::decode_2d() {
    const int width = layout_.width;
    bool black = false;
    int a0 = -1;         // the last change; -1 stands for the imaginary white pixel before the row
    std::size_t at = 0;  // in above_: the first change right of a0 to the opposite colour
    while (a0 < width) {
        // Going left can need one change that was passed already.
        while (at >= 2 && above_[at - 2] > a0) at -= 2;
        while (above_[at] <= a0 && above_[at] < width) at += 2;
        const ModeLookup::Entry entry = kModeLookup[bits_.peek(ModeLookup::kBits)];
        if (entry.length == 0 || bits_.at_end()) return false;
        bits_.skip(entry.length);
        if (entry.value <= vertical + 3) {
            const int a1 = above_[at] + entry.value;
            if (a1 < std::max(a0, 0) || a1 > width) return false;
            add_change(a1);
            a0 = a1;
            black = !black;
            at = at > 0 ? at - 1 : at + 1;
        } else if (entry.value == pass) {
            a0 = above_[at + 1];
        } else if (entry.value == horizontal) {
            const int first = next_run(black);
            const int second = first < 0 ? -1 : next_run(!black);
            a0 = std::max(a0, 0);
            if (second < 0 || first > width - a0 || second > width - a0 - first) return false;
            add_change(a0 + first);
            a0 += first + second;
            add_change(a0);
            // Two empty runs move nothing: a row of them would never end.
            if (first + second == 0 && a0 < width) return false;
        } else {
            if (bits_.peek(3) != 7) return false;
            bits_.skip(3);
            a0 = std::max(a0, 0);
            const bool before = black;
            if (!uncompressed(a0, black)) return false;
            if (black != before) at = at > 0 ? at - 1 : at + 1;
        }
    }
    return true;
}

bool Decoder::at_end_of_line() { return bits_.peek(kEndOfLineBits - 1) == 0 && !bits_.at_end(); }

// Takes an end-of-line code and the zeros that may fill the space before it.
bool Decoder::take_end_of_line() {
    if (!at_end_of_line()) return false;
    for (;;) {
        const std::uint32_t ahead = bits_.peek(32);
        if (ahead != 0) {
            bits_.skip(std::countl_zero(ahead) + 1);
            return true;
        }
        bits_.skip(32);
        if (bits_.at_end()) return false;
    }
}

bool Decoder::find_end_of_line() {
    while (!bits_.at_end()) {
        if (at_end_of_line()) return true;
        // Behind the last one among the bits that are not zeros enough.
        bits_.skip(1);
    }
    return false;
}

int Decoder::skip_end_of_lines(bool& one_dimensional) {
    int codes = 0;
    while (take_end_of_line()) {
        ++codes;
        if (layout_.coding != Coding::group3_2d && layout_.coding != Coding::ibm_mmr) continue;
        one_dimensional = bits_.peek(1) != 0;
        bits_.skip(1);
    }
    return codes;
}

// What stands before a row. False when the page ends.
bool Decoder::framing(bool& one_dimensional) {
    one_dimensional = layout_.coding != Coding::group4;
    switch (layout_.coding) {
        case Coding::group4:
            if (bits_.peek(2 * kEndOfLineBits) == kEndOfBlock) return false;
            break;
        case Coding::aligned_rows: bits_.align(); [[fallthrough]];
        case Coding::rows:
        case Coding::group3:
        case Coding::group3_2d: {
            const int codes = skip_end_of_lines(one_dimensional);
            if (codes > 1 && started_) return false;  // several in a row close the page
            break;
        }
        case Coding::ibm_mmr: {
            bool tag = false;  // says what the row's place says already
            if (skip_end_of_lines(tag) > 1 && started_) return false;
            one_dimensional = !started_;
            break;
        }
    }
    return !bits_.at_end();
}

Decoder::Row Decoder::damaged() {
    ++damaged_;
    switch (layout_.coding) {
        case Coding::rows:
        case Coding::ibm_mmr:
        case Coding::group4: ended_ = true; break;  // nothing marks where the next row begins
        case Coding::aligned_rows: bits_.skip(1); break;
        case Coding::group3:
        case Coding::group3_2d: ended_ = !find_end_of_line(); break;
    }
    wait_for_one_dimensional_ = layout_.coding == Coding::group3_2d;
    return Row::damaged;
}

// Says only how it differs from a row that is lost: the row above stands in.
void Decoder::repeat_above() {
    count_ = static_cast<std::size_t>(std::ranges::find(above_, layout_.width) - above_.begin());
    std::copy_n(above_.begin(), count_ + kClosing, changes_.begin());
}

Decoder::Row Decoder::decode_row() {
    if (becomes_above_) std::swap(above_, changes_);
    becomes_above_ = false;
    bool one_dimensional = true;
    if (ended_ || !framing(one_dimensional)) {
        ended_ = true;
        return Row::end;
    }
    started_ = true;
    if (wait_for_one_dimensional_ && !one_dimensional) {
        repeat_above();
        return damaged();
    }
    count_ = 0;
    const bool good = one_dimensional ? decode_runs() : decode_2d();
    close_row();
    if (!good) return damaged();
    wait_for_one_dimensional_ = false;
    becomes_above_ = true;
    return Row::good;
}

Decoder::Row Decoder::next(std::span<std::uint8_t> row) {
    const Row result = decode_row();
    if (result != Row::end) paint(row);
    return result;
}

bool Decoder::begin_page() {
    if (layout_.coding == Coding::group4) {
        if (bits_.peek(2 * kEndOfLineBits) != kEndOfBlock) return false;
        bits_.skip(2 * kEndOfLineBits);
        bits_.align();
    }
    reset();
    return !bits_.at_end();
}

void Decoder::reset() {
    started_ = ended_ = becomes_above_ = wait_for_one_dimensional_ = false;
    count_ = 0;
    std::fill_n(above_.begin(), kClosing + 2, layout_.width);
}

void Decoder::restart(std::span<const std::uint8_t> data) {
    bits_ = BitReader{data, layout_.lowest_bit_first};
    damaged_ = 0;
    reset();
}

int sum_of_runs(BitReader& bits) {
    int total = 0;
    bool black = false, inside = false;  // a run: a make-up code wants another one
    while (bits.peek(kEndOfLineBits - 1) != 0) {
        const RunLookup::Entry entry = (black ? kBlackLookup : kWhiteLookup)[bits.peek(RunLookup::kBits)];
        if (entry.length == 0) return -1;
        bits.skip(entry.length);
        total += entry.value;
        if (total > kWidest) return -1;
        inside = entry.value >= 64;
        if (!inside) black = !black;
    }
    return inside ? -1 : total;
}

bool has_end_of_line(std::span<const std::uint8_t> data, bool lowest_bit_first) {
    constexpr std::size_t kProbed = 4096;
    BitReader bits{data.first(std::min(data.size(), kProbed)), lowest_bit_first};
    while (!bits.at_end()) {
        const std::uint32_t ahead = bits.peek(kEndOfLineBits);
        if (ahead == 1) return true;
        bits.skip(1);
    }
    return false;
}

}  // namespace quillmark::imaging::fax
