#include "imaging/quantize.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "imaging/convert_depth.h"
#include "imaging/ops/dither.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kSide = 32;  // cells of the histogram: 5 bits a channel
constexpr int kCells = kSide * kSide * kSide;
constexpr int kRowGrain = 64;

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

// --- the palette ---

struct Cell {
    std::array<std::uint8_t, 3> channel;  // 0 to 31
    std::int64_t count;
};

// Pixels of some cells: how many, and the sums of their channels.
struct Mass {
    std::int64_t count = 0;
    std::array<std::int64_t, 3> sum{};

    void add(const Cell& cell) {
        count += cell.count;
        for (std::size_t c = 0; c < 3; ++c) sum[c] += cell.channel[c] * cell.count;
    }
    void add(const Mass& other) {
        count += other.count;
        for (std::size_t c = 0; c < 3; ++c) sum[c] += other.sum[c];
    }
    Mass without(const Mass& part) const {
        Mass rest{count - part.count, sum};
        for (std::size_t c = 0; c < 3; ++c) rest.sum[c] -= part.sum[c];
        return rest;
    }
    // The squared length of the mean, weighted. The more two parts of a box have of it together than the
    // box, the less they differ from their own means.
    double weight() const {
        double squares = 0;
        for (const std::int64_t s : sum) squares += static_cast<double>(s) * static_cast<double>(s);
        return count > 0 ? squares / static_cast<double>(count) : 0;
    }
};

struct Box {
    std::size_t first, last;  // cells [first, last)
    Mass mass;
    // The best cut: cells whose channel is below plane go to one part.
    std::size_t channel = 0;
    int plane = 0;
    double gain = 0;  // by how much it lessens the squared error; 0: a single cell
};

// A box with its best cut, tried across every channel at every plane.
Box measure(const std::vector<Cell>& cells, std::size_t first, std::size_t last) {
    Box box{.first = first, .last = last, .mass = {}};
    std::array<std::array<Mass, kSide>, 3> planes{};
    for (std::size_t i = first; i < last; ++i) {
        for (std::size_t c = 0; c < 3; ++c) planes[c][cells[i].channel[c]].add(cells[i]);
        box.mass.add(cells[i]);
    }
    for (std::size_t c = 0; c < 3; ++c) {
        Mass below;
        for (int plane = 1; plane < kSide; ++plane) {
            below.add(planes[c][static_cast<std::size_t>(plane - 1)]);
            const Mass above = box.mass.without(below);
            if (below.count == 0 || above.count == 0) continue;
            const double gain = below.weight() + above.weight() - box.mass.weight();
            if (gain > box.gain) box.channel = c, box.plane = plane, box.gain = gain;
        }
    }
    return box;
}

// Orders the cells of a box by its cut and gives the first one of the upper part.
std::size_t cut(std::vector<Cell>& cells, const Box& box) {
    const auto middle =
        std::stable_partition(cells.begin() + static_cast<std::ptrdiff_t>(box.first),
                              cells.begin() + static_cast<std::ptrdiff_t>(box.last),
                              [&](const Cell& cell) { return cell.channel[box.channel] < box.plane; });
    return static_cast<std::size_t>(middle - cells.begin());
}

Rgba mean_colour(const Mass& mass) {
    const auto mean = [&](std::size_t c) {
        // 0..31 back to 0..255.
        return static_cast<std::uint8_t>((mass.sum[c] * 255 + mass.count * 31 / 2) / (mass.count * 31));
    };
    return {mean(0), mean(1), mean(2), 255};
}

// Counts of all cells. Bands take turns with a few of them: one for each thread that is at work.
class CellCounts {
  public:
    using Counts = std::vector<std::uint32_t>;

    Counts take() {
        const std::scoped_lock lock{mutex_};
        if (free_.empty()) return Counts(kCells);
        Counts counts = std::move(free_.back());
        free_.pop_back();
        return counts;
    }
    void give_back(Counts counts) {
        const std::scoped_lock lock{mutex_};
        free_.push_back(std::move(counts));
    }
    // When nobody counts any more.
    std::int64_t total(int cell) const {
        std::int64_t sum = 0;
        for (const Counts& counts : free_) sum += counts[static_cast<std::size_t>(cell)];
        return sum;
    }

  private:
    std::mutex mutex_;
    std::vector<Counts> free_;
};

// The cells that have pixels.
Result<std::vector<Cell>> histogram(const Bitmap& bitmap, const Progress& progress) {
    CellCounts all;
    const auto counted = parallel_rows(bitmap.height(), kRowGrain, progress, [&](int first, int last) {
        auto count = all.take();
        std::vector<std::uint8_t> rgb(static_cast<std::size_t>(bitmap.width()) * 3);
        for (int y = first; y < last; ++y) {
            row_to_rgb(bitmap, y, 0, rgb);
            for (std::size_t at = 0; at < rgb.size(); at += 3)
                ++count[static_cast<std::size_t>(cell_of(rgb[at], rgb[at + 1], rgb[at + 2]))];
        }
        all.give_back(std::move(count));
    });
    if (!counted) return counted.error();
    std::vector<Cell> cells;
    for (int i = 0; i < kCells; ++i) {
        const std::int64_t total = all.total(i);
        if (total > 0)
            cells.push_back({{static_cast<std::uint8_t>(i >> 10), static_cast<std::uint8_t>(i >> 5 & 31),
                              static_cast<std::uint8_t>(i & 31)},
                             total});
    }
    return cells;
}

}  // namespace

Result<Palette> exact_palette(const Bitmap& bitmap, int limit, const Progress& progress) {
    // Parts of the image count by themselves; joined in their order, they give the order of the whole.
    constexpr int kRows = 64;
    const int parts = (bitmap.height() + kRows - 1) / kRows;
    std::vector<FewColours> found(static_cast<std::size_t>(parts), FewColours{limit});
    std::atomic<bool> too_many{false};
    const auto searched = parallel_rows(parts, 1, progress, [&](int first, int last) {
        std::vector<std::uint8_t> rgb(static_cast<std::size_t>(bitmap.width()) * 3);
        for (int y = first * kRows; y < std::min(last * kRows, bitmap.height()) && !too_many; ++y) {
            row_to_rgb(bitmap, y, 0, rgb);
            if (!add_row(rgb, found[static_cast<std::size_t>(y / kRows)])) too_many = true;
        }
    });
    if (!searched) return searched.error();
    FewColours all{limit};
    for (const FewColours& part : found)
        for (const std::uint32_t colour : part.colours()) too_many = too_many || !all.add(colour);
    if (too_many) return Palette{};
    Palette palette;
    for (const std::uint32_t colour : all.colours()) {
        palette.push_back({static_cast<std::uint8_t>(colour >> 16), static_cast<std::uint8_t>(colour >> 8),
                           static_cast<std::uint8_t>(colour), 255});
    }
    return palette;
}

Result<Palette> optimised_palette(const Bitmap& bitmap, int count, const Progress& progress) {
    auto counted = histogram(bitmap, progress);
    if (!counted) return counted.error();
    std::vector<Cell>& cells = *counted;
    std::vector<Box> boxes{measure(cells, 0, cells.size())};
    while (static_cast<int>(boxes.size()) < count) {
        const auto best = std::ranges::max_element(boxes, {}, &Box::gain);
        if (best->gain <= 0) break;
        const Box box = *best;
        const std::size_t middle = cut(cells, box);
        *best = measure(cells, box.first, middle);
        boxes.push_back(measure(cells, middle, box.last));
    }
    Palette palette;
    for (const Box& box : boxes) palette.push_back(mean_colour(box.mass));
    return palette;
}

Result<Bitmap> map_to_palette(const Bitmap& bitmap, const Palette& palette, int bits, bool diffuse,
                              const Limits& limits, const Progress& progress) {
    Context context;
    context.limits = limits;
    context.progress = progress;
    return dithered(bitmap, palette, bits, diffuse ? Dither::floyd_steinberg : Dither::none, context);
}

}  // namespace quillmark::imaging
