#include "imaging/quantize.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <numeric>
#include <vector>

#include "imaging/convert_depth.h"
#include "imaging/ops/dither.h"
#include "imaging/threads.h"

namespace quillmark::imaging {
namespace {

constexpr int kSide = 32;  // cells of the histogram: 5 bits a channel
constexpr int kCells = kSide * kSide * kSide;

int cell_of(int r, int g, int b) { return (r >> 3) << 10 | (g >> 3) << 5 | b >> 3; }

// --- the colours themselves ---

// Different colours in order of appearance, as long as they are few.
class FewColours {
  public:
    explicit FewColours(int limit) : limit_{static_cast<std::size_t>(limit)} { slots_.fill(kFree); }

    // False when it is one more than the limit.
    bool add(std::uint32_t colour) {
        // Multiplicative hashing (Knuth); at most 256 of 1024 slots are taken.
        std::size_t slot = colour * 2'654'435'761U >> 22;
        while (slots_[slot] != kFree && slots_[slot] != colour) slot = (slot + 1) % slots_.size();
        if (slots_[slot] == colour) return true;
        if (colours_.size() == limit_) return false;
        slots_[slot] = colour;
        colours_.push_back(colour);
        return true;
    }
    const std::vector<std::uint32_t>& colours() const { return colours_; }

  private:
    static constexpr std::uint32_t kFree = ~0U;
    std::size_t limit_;
    std::array<std::uint32_t, 1024> slots_;
    std::vector<std::uint32_t> colours_;
};

// Adds the colours of a row; false when they are too many.
bool add_row(std::span<const std::uint8_t> rgb, FewColours& colours) {
    std::uint32_t previous = ~0U;
    for (std::size_t at = 0; at < rgb.size(); at += 3) {
        const std::uint32_t colour = static_cast<std::uint32_t>(rgb[at]) << 16 |
                                     static_cast<std::uint32_t>(rgb[at + 1]) << 8 | rgb[at + 2];
        if (colour != previous && !colours.add(colour)) return false;
        previous = colour;
    }
    return true;
}

// --- median cut ---

struct Cell {
    std::array<std::uint8_t, 3> channel;  // 0 to 31
    std::int64_t count;
};

struct Box {
    std::size_t first, last;  // cells [first, last)
    std::int64_t count;
    int widest;  // channel with the greatest extent
    int extent;
};

Box measure(const std::vector<Cell>& cells, std::size_t first, std::size_t last) {
    std::array<int, 3> low{kSide - 1, kSide - 1, kSide - 1}, high{0, 0, 0};
    Box box{first, last, 0, 0, 0};
    for (std::size_t i = first; i < last; ++i) {
        box.count += cells[i].count;
        for (std::size_t c = 0; c < 3; ++c) {
            low[c] = std::min<int>(low[c], cells[i].channel[c]);
            high[c] = std::max<int>(high[c], cells[i].channel[c]);
        }
    }
    for (int c = 0; c < 3; ++c) {
        const auto at = static_cast<std::size_t>(c);
        if (high[at] - low[at] > box.extent) box.extent = high[at] - low[at], box.widest = c;
    }
    return box;
}

// Cuts a box of two cells or more across its widest channel, as near to half of its pixels as a plane can,
// and gives the place of the cut: cells before it lie below the plane.
std::size_t cut(std::vector<Cell>& cells, const Box& box) {
    const auto channel = static_cast<std::size_t>(box.widest);
    const auto begin = cells.begin() + static_cast<std::ptrdiff_t>(box.first),
               end = cells.begin() + static_cast<std::ptrdiff_t>(box.last);
    std::array<std::int64_t, kSide> planes{};
    int low = kSide, high = 0;
    for (auto cell = begin; cell != end; ++cell) {
        const int at = cell->channel[channel];
        planes[static_cast<std::size_t>(at)] += cell->count;
        low = std::min(low, at), high = std::max(high, at);
    }
    int plane = low + 1;
    std::int64_t below = planes[static_cast<std::size_t>(low)];
    while (plane < high && below * 2 < box.count) below += planes[static_cast<std::size_t>(plane++)];
    const auto middle =
        std::stable_partition(begin, end, [&](const Cell& cell) { return cell.channel[channel] < plane; });
    return static_cast<std::size_t>(middle - cells.begin());
}

Rgba mean_colour(const std::vector<Cell>& cells, const Box& box) {
    std::array<std::int64_t, 3> sum{};
    for (std::size_t i = box.first; i < box.last; ++i) {
        for (std::size_t c = 0; c < 3; ++c) sum[c] += cells[i].channel[c] * cells[i].count;
    }
    const auto mean = [&](std::size_t c) {
        // 0..31 back to 0..255.
        return static_cast<std::uint8_t>((sum[c] * 255 + box.count * 31 / 2) / (box.count * 31));
    };
    return {mean(0), mean(1), mean(2), 255};
}

// The cells that have pixels.
std::vector<Cell> histogram(const Bitmap& bitmap) {
    constexpr int kRows = 16;
    const int workers = std::min(thread_count(), (bitmap.height() - 1) / kRows + 1);
    std::vector<std::vector<std::uint32_t>> counts(static_cast<std::size_t>(workers));
    std::atomic<int> next{0};
    parallel_bands(workers, 1, [&](int worker, int) {
        auto& count = counts[static_cast<std::size_t>(worker)];
        count.resize(kCells);
        std::vector<std::uint8_t> rgb(static_cast<std::size_t>(bitmap.width()) * 3);
        for (int row = next.fetch_add(kRows); row < bitmap.height(); row = next.fetch_add(kRows)) {
            for (int y = row; y < std::min(row + kRows, bitmap.height()); ++y) {
                row_to_rgb(bitmap, y, 0, rgb);
                for (std::size_t at = 0; at < rgb.size(); at += 3)
                    ++count[static_cast<std::size_t>(cell_of(rgb[at], rgb[at + 1], rgb[at + 2]))];
            }
        }
    });
    std::vector<Cell> cells;
    for (int i = 0; i < kCells; ++i) {
        std::int64_t total = 0;
        for (const auto& count : counts) total += count.empty() ? 0 : count[static_cast<std::size_t>(i)];
        if (total > 0)
            cells.push_back({{static_cast<std::uint8_t>(i >> 10), static_cast<std::uint8_t>(i >> 5 & 31),
                              static_cast<std::uint8_t>(i & 31)},
                             total});
    }
    return cells;
}

}  // namespace

Palette exact_palette(const Bitmap& bitmap, int limit) {
    // Parts of the image count by themselves; joined in their order, they give the order of the whole.
    constexpr int kRows = 64;
    const int parts = (bitmap.height() + kRows - 1) / kRows;
    std::vector<FewColours> found(static_cast<std::size_t>(parts), FewColours{limit});
    std::atomic<bool> too_many{false};
    parallel_bands(parts, 1, [&](int first, int last) {
        std::vector<std::uint8_t> rgb(static_cast<std::size_t>(bitmap.width()) * 3);
        for (int y = first * kRows; y < std::min(last * kRows, bitmap.height()) && !too_many; ++y) {
            row_to_rgb(bitmap, y, 0, rgb);
            if (!add_row(rgb, found[static_cast<std::size_t>(y / kRows)])) too_many = true;
        }
    });
    FewColours all{limit};
    for (const FewColours& part : found)
        for (const std::uint32_t colour : part.colours()) too_many = too_many || !all.add(colour);
    if (too_many) return {};
    Palette palette;
    for (const std::uint32_t colour : all.colours()) {
        palette.push_back({static_cast<std::uint8_t>(colour >> 16), static_cast<std::uint8_t>(colour >> 8),
                           static_cast<std::uint8_t>(colour), 255});
    }
    return palette;
}

Palette optimised_palette(const Bitmap& bitmap, int count) {
    std::vector<Cell> cells = histogram(bitmap);
    std::vector<Box> boxes{measure(cells, 0, cells.size())};
    while (static_cast<int>(boxes.size()) < count) {
        const auto weight = [](const Box& box) { return box.count * box.extent; };
        const auto widest = std::ranges::max_element(boxes, {}, weight);
        if (widest->extent == 0) break;
        const Box box = *widest;
        const std::size_t middle = cut(cells, box);
        *widest = measure(cells, box.first, middle);
        boxes.push_back(measure(cells, middle, box.last));
    }
    Palette palette;
    for (const Box& box : boxes) palette.push_back(mean_colour(cells, box));
    return palette;
}

Result<Bitmap> map_to_palette(const Bitmap& bitmap, const Palette& palette, int bits, bool diffuse,
                              const Limits& limits) {
    Context context;
    context.limits = limits;
    return dithered(bitmap, palette, bits, diffuse ? Dither::floyd_steinberg : Dither::none, context);
}

}  // namespace quillmark::imaging
