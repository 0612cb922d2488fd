// Judges fax data by decoding their beginning.
#include <algorithm>
#include <array>

#include "imaging/codecs/fax_pages.h"

namespace quillmark::imaging::fax {
namespace {

constexpr std::size_t kProbed = 64 << 10;
constexpr int kProbedRows = 200;
constexpr int kSureRows = 3;    // agreeing ones are no accident
constexpr int kCleanRows = 20;  // without end-of-line codes and a page end
constexpr std::size_t kCleanBytes = 256;
constexpr int kCutRow = 64;  // bits that the last row of cut data may leave

/// Widths of fax machines and what follows from them at other resolutions, the usual ones first.
constexpr int kWidths[] = {1728, 2048, 2432, 1216, 864, 2592, 3456, 3072, 4096, 3648, 4864, 5184, 6144, 7296};

std::span<const std::uint8_t> beginning(std::span<const std::uint8_t> data) {
    return data.first(std::min(data.size(), kProbed));
}

// One way to read the data, and how many of its one-dimensional rows have the same width.
struct Vote {
    bool lowest_bit_first = false, tagged = false;
    int width = 0, rows = 0, agreeing = 0;
    int first = 0;        // pixels before the first end-of-line code; 0: none, -1: no row
    bool closed = false;  // the page end was seen
    bool mixed = false;   // two-dimensional rows were seen

    bool believable() const {
        if (width < 1 || agreeing * 10 < rows * 7) return false;
        return agreeing >= kSureRows || (closed && agreeing == rows);
    }
    bool begins_well() const { return first == 0 || first == width; }
};

int most_common(std::span<int> sums, int& count) {
    std::ranges::sort(sums);
    int best = 0;
    count = 0;
    for (std::size_t i = 0, next = 0; i < sums.size(); i = next) {
        while (next < sums.size() && sums[next] == sums[i]) ++next;
        if (static_cast<int>(next - i) > count) count = static_cast<int>(next - i), best = sums[i];
    }
    return best;
}

bool find_end_of_line(BitReader& bits) {
    while (bits.peek(kEndOfLineBits - 1) != 0) {
        if (bits.at_end()) return false;
        bits.skip(1);
    }
    while (bits.peek(1) == 0) {
        if (bits.at_end()) return false;
        bits.skip(1);
    }
    bits.skip(1);
    return true;
}

Vote vote(std::span<const std::uint8_t> data, bool lowest_bit_first, bool tagged) {
    Vote vote{lowest_bit_first, tagged};
    BitReader bits{beginning(data), lowest_bit_first};
    vote.first = sum_of_runs(bits);
    std::array<int, kProbedRows> sums{};
    std::size_t known = 0;
    while (known < sums.size() && !vote.closed && find_end_of_line(bits)) {
        const bool one_dimensional = !tagged || bits.peek(1) != 0;
        if (tagged) bits.skip(1);
        if (bits.peek(kEndOfLineBits - 1) == 0) {
            vote.closed = vote.rows > 0 && !bits.at_end();
        } else if (!one_dimensional) {
            vote.mixed = true;
        } else if (!bits.at_end()) {
            const int sum = sum_of_runs(bits);
            if (bits.at_end() && data.size() > kProbed) break;  // a row cut by us
            ++vote.rows;
            if (sum > 0) sums[known++] = sum;
        }
    }
    vote.width = most_common({sums.data(), known}, vote.agreeing);
    return vote;
}

std::optional<Vote> best_vote(std::span<const std::uint8_t> data) {
    std::optional<Vote> best;
    for (const bool tagged : {false, true}) {
        for (const bool lowest_bit_first : {false, true}) {
            const Vote next = vote(data, lowest_bit_first, tagged);
            if (next.believable() && (!best || next.agreeing > best->agreeing)) best = next;
        }
    }
    return best;
}

Layout layout_of(const Vote& vote) {
    return {vote.tagged ? Coding::group3_2d : Coding::group3, vote.width, vote.lowest_bit_first};
}

// Whether the beginning decodes without an error, up to the page end or the end of what there is.
bool decodes(std::span<const std::uint8_t> data, const Layout& layout, int least_rows) {
    const auto probed = beginning(data);
    Decoder decoder{probed, layout};
    int rows = 0;
    bool ink = false, cut = false;
    Decoder::Row row = Decoder::Row::good;
    while (rows < kProbedRows * 20 && (row = decoder.skip()) == Decoder::Row::good) {
        ++rows;
        ink = ink || !decoder.blank();
    }
    if (row == Decoder::Row::damaged) {
        cut = decoder.bits_left() < kCutRow;
        if (!cut) return false;
    }
    const bool closed = layout.coding == Coding::group4 && row == Decoder::Row::end && decoder.begin_page();
    if (!ink) return false;
    return (rows >= 1 && closed) || (rows >= least_rows && probed.size() >= kCleanBytes);
}

}  // namespace

std::optional<Layout> identify_group3(std::span<const std::uint8_t> data) {
    const auto vote = best_vote(data);
    if (!vote) return {};
    return layout_of(*vote);
}

bool fits_group4(std::span<const std::uint8_t> data, const Layout& layout, int rows) {
    return decodes(data, layout, rows);
}

std::optional<Layout> identify(std::span<const std::uint8_t> data) {
    const auto vote = best_vote(data);
    if (vote && vote->begins_well()) return layout_of(*vote);
    for (const Coding coding : {Coding::group4, Coding::aligned_rows, Coding::rows}) {
        for (const int width : kWidths) {
            for (const bool lowest_bit_first : {false, true}) {
                const Layout layout{coding, width, lowest_bit_first};
                if (decodes(data, layout, kCleanRows)) return layout;
            }
        }
    }
    return {};
}

}  // namespace quillmark::imaging::fax
