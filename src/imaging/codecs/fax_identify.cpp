// Judges fax data by decoding their beginning.
#include <algorithm>
#include <array>

#include "imaging/codecs/fax_pages.h"

namespace quillmark::imaging::fax {
namespace {

constexpr std::size_t kProbed = 64 << 10;
constexpr int kProbedRows = 200;
constexpr int kTriedRows = 4000;
constexpr int kFewRows = 3;        // agreeing ones where a header says that this is a fax
constexpr int kSureRows = 10;      // agreeing ones are no accident
constexpr int kCleanRows = 20;     // without end-of-line codes
constexpr int kPageEnd = 5;        // end-of-line codes without a row between them; six are written
constexpr std::size_t kTail = 64;  // bytes that may follow a page too short to be told by its rows
constexpr std::size_t kCleanBytes = 256;
constexpr std::size_t kManyBytes = 2048;  // free of errors: dithered pages have few rows in them
constexpr int kCutRow = 64;               // bits that the last row of cut data may leave

/// Widths of fax machines and what follows from them at other resolutions, the usual ones first.
constexpr int kWidths[] = {1728, 2048, 2432, 1216, 864, 2592, 3456, 3072, 4096, 3648, 4864, 5184, 6144, 7296};

std::span<const std::uint8_t> beginning(std::span<const std::uint8_t> data) {
    return data.first(std::min(data.size(), kProbed));
}

// One way to read the data, and how many of its one-dimensional rows have the same width.
struct Vote {
    bool lowest_bit_first = false, tagged = false;
    int width = 0, rows = 0, agreeing = 0;
    int first = 0;          // pixels before the first end-of-line code; 0: none, -1: no row
    std::int64_t left = 0;  // bits behind the page end; 0: that was not seen

    bool begins_well() const { return first == 0 || first == width; }
    // Few rows have to be all that there is, without an exception.
    bool is_short_page() const {
        const bool whole = left > 0 ? left < static_cast<std::int64_t>(kTail) * 8 : agreeing >= kFewRows;
        return whole && agreeing > 0 && agreeing == rows;
    }
    bool believable(Evidence evidence) const {
        if (width < 1 || agreeing * 10 < rows * 7) return false;
        switch (evidence) {
            case Evidence::header: return agreeing >= kFewRows || is_short_page();
            case Evidence::beginning: return begins_well() && (agreeing >= kSureRows || is_short_page());
            case Evidence::scan:
                return agreeing >= kCleanRows && std::ranges::find(kWidths, width) != std::end(kWidths);
        }
        return false;
    }
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
    int ends = 0;
    while (known < sums.size() && vote.left == 0 && find_end_of_line(bits)) {
        const bool one_dimensional = !tagged || bits.peek(1) != 0;
        if (tagged) bits.skip(1);
        if (bits.peek(kEndOfLineBits - 1) == 0 && !bits.at_end()) {
            if (vote.rows > 0 && ++ends == kPageEnd) vote.left = std::max<std::int64_t>(1, bits.left());
            continue;
        }
        ends = 0;
        if (one_dimensional && !bits.at_end()) {
            const int sum = sum_of_runs(bits);
            if (bits.left() < kCutRow && known > 0 && sum != sums[0]) break;  // cut off
            ++vote.rows;
            if (sum > 0) sums[known++] = sum;
        }
    }
    vote.width = most_common({sums.data(), known}, vote.agreeing);
    return vote;
}

// How the beginning decodes: errors, page ends and the end of what there is end it.
struct Trial {
    int rows = 0;
    bool ink = false;
    bool varied = false;  // not the same bits again and again: they would fit by accident
    bool clean = false;   // ended by no error
    bool whole = false;   // a page of group 4, and nothing behind it
};

Trial try_decoder(Decoder& decoder, Coding coding, int most_rows) {
    Trial trial;
    std::int64_t left = decoder.bits_left(), before = 0;  // before: bits of the row before
    Decoder::Row row = Decoder::Row::good;
    while (trial.rows < most_rows && (row = decoder.skip()) == Decoder::Row::good) {
        ++trial.rows;
        trial.ink = trial.ink || !decoder.blank();
        const std::int64_t bits = left - decoder.bits_left();
        trial.varied = trial.varied || (before > 0 && bits != before);
        left -= bits, before = bits;
    }
    trial.clean = row != Decoder::Row::damaged || decoder.bits_left() < kCutRow;
    trial.whole = coding == Coding::group4 && row == Decoder::Row::end && trial.ink &&
                  decoder.bits_left() > 0 && decoder.bits_left() < static_cast<std::int64_t>(kTail) * 8;
    return trial;
}

Trial try_layout(std::span<const std::uint8_t> data, const Layout& layout, int most_rows) {
    Decoder decoder{beginning(data), layout};
    return try_decoder(decoder, layout.coding, most_rows);
}

Layout layout_of(const Vote& vote) {
    return {vote.tagged ? Coding::group3_2d : Coding::group3, vote.width, vote.lowest_bit_first};
}

// Large rows: few of them, but no error in many bytes.
bool begins_cleanly(std::span<const std::uint8_t> data, const Vote& vote) {
    if (vote.agreeing < 1 || vote.agreeing < vote.rows || !vote.begins_well() || data.size() < kManyBytes)
        return false;
    const Trial trial = try_layout(data, layout_of(vote), kProbedRows);
    return trial.clean && trial.ink;
}

std::optional<Vote> best_vote(std::span<const std::uint8_t> data, Evidence evidence) {
    std::optional<Vote> best;
    for (const bool tagged : {false, true}) {
        for (const bool lowest_bit_first : {false, true}) {
            const Vote next = vote(data, lowest_bit_first, tagged);
            const bool believable =
                next.believable(evidence) || (evidence == Evidence::beginning && begins_cleanly(data, next));
            if (believable && (!best || next.agreeing > best->agreeing)) best = next;
        }
    }
    return best;
}

bool decodes(const Trial& trial, std::span<const std::uint8_t> data, int least_rows) {
    if (!trial.clean || !trial.ink || !trial.varied) return false;
    return trial.rows >= least_rows ? data.size() >= kCleanBytes
                                    : trial.rows >= kFewRows && data.size() >= kManyBytes;
}

}  // namespace

std::optional<Layout> identify_group3(std::span<const std::uint8_t> data, Evidence evidence) {
    const auto vote = best_vote(data, evidence);
    if (!vote) return {};
    return layout_of(*vote);
}

std::optional<std::size_t> find_group4(std::span<const std::uint8_t> data, const Layout& layout,
                                       std::size_t searched, int rows) {
    constexpr int kMore = 4;
    Decoder decoder{{}, layout};
    for (std::size_t offset = 0; offset < std::min(searched, data.size()); ++offset) {
        const auto rest = data.subspan(offset);
        decoder.restart(beginning(rest));
        if (decodes(try_decoder(decoder, layout.coding, rows * kMore), rest, rows)) return offset;
    }
    return {};
}

std::optional<Layout> identify(std::span<const std::uint8_t> data) {
    if (const auto layout = identify_group3(data, Evidence::beginning)) return layout;
    for (const Coding coding : {Coding::group4, Coding::aligned_rows, Coding::rows}) {
        for (const int width : kWidths) {
            for (const bool lowest_bit_first : {false, true}) {
                const Layout layout{coding, width, lowest_bit_first};
                const Trial trial = try_layout(data, layout, kTriedRows);
                if (trial.whole || decodes(trial, data, kCleanRows)) return layout;
            }
        }
    }
    return {};
}

}  // namespace quillmark::imaging::fax
