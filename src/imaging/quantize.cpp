#include "imaging/quantize.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

#include "imaging/convert_depth.h"

namespace quillmark::imaging {
namespace {

constexpr int kCells = 32 * 32 * 32;  // 5 bits a channel

int cell_of(int r, int g, int b) { return (r >> 3) << 10 | (g >> 3) << 5 | b >> 3; }

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
    std::array<int, 3> low{31, 31, 31}, high{0, 0, 0};
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

// Sorts the box along its widest channel and finds where half of its pixels lie on each side.
std::size_t split_point(std::vector<Cell>& cells, const Box& box) {
    const auto channel = static_cast<std::size_t>(box.widest);
    std::sort(cells.begin() + static_cast<std::ptrdiff_t>(box.first),
              cells.begin() + static_cast<std::ptrdiff_t>(box.last),
              [channel](const Cell& a, const Cell& b) { return a.channel[channel] < b.channel[channel]; });
    std::int64_t seen = 0;
    for (std::size_t i = box.first; i + 1 < box.last; ++i) {
        seen += cells[i].count;
        if (seen * 2 >= box.count) return i + 1;
    }
    return box.last - 1;
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

// The nearest palette entry for every cell, worked out when first asked for.
class Nearest {
  public:
    explicit Nearest(const Palette& palette) : palette_{palette}, cache_(kCells, -1) {}

    int operator()(int r, int g, int b) {
        std::int16_t& known = cache_[static_cast<std::size_t>(cell_of(r, g, b))];
        if (known < 0) known = static_cast<std::int16_t>(search(r | 4, g | 4, b | 4));
        return known;
    }

    // Without the cell's rounding: for palettes that hold the exact colour.
    int search(int r, int g, int b) const {
        int best = 0, best_distance = std::numeric_limits<int>::max();
        for (std::size_t i = 0; i < palette_.size(); ++i) {
            const int dr = palette_[i].r - r, dg = palette_[i].g - g, db = palette_[i].b - b;
            const int distance = dr * dr + dg * dg + db * db;
            if (distance < best_distance) best = static_cast<int>(i), best_distance = distance;
        }
        return best;
    }

  private:
    const Palette& palette_;
    std::vector<std::int16_t> cache_;
};

class IndexWriter {
  public:
    IndexWriter(std::span<std::uint8_t> row, bool packed) : row_{row}, packed_{packed} {
        if (packed) std::ranges::fill(row, std::uint8_t{0});
    }
    void put(int x, int index) {
        const auto at = static_cast<std::size_t>(x);
        if (!packed_)
            row_[at] = static_cast<std::uint8_t>(index);
        else if (index)
            row_[at / 8] = static_cast<std::uint8_t>(row_[at / 8] | 0x80U >> (at % 8));
    }

  private:
    std::span<std::uint8_t> row_;
    bool packed_;
};

// One row of error diffusion; error and next hold sixteenths for 3 channels, with a margin of one pixel.
void diffuse_row(std::span<const std::uint8_t> rgb, std::vector<int>& error, std::vector<int>& next,
                 const Palette& palette, Nearest& nearest, IndexWriter out) {
    const int width = static_cast<int>(rgb.size() / 3);
    std::ranges::fill(next, 0);
    for (int x = 0; x < width; ++x) {
        const std::size_t at = static_cast<std::size_t>(x) * 3, e = at + 3;
        std::array<int, 3> want{};
        for (std::size_t c = 0; c < 3; ++c)
            want[c] = std::clamp(rgb[at + c] + (error[e + c] + 8) / 16, 0, 255);
        const int index = nearest(want[0], want[1], want[2]);
        const Rgba& got = palette[static_cast<std::size_t>(index)];
        const std::array<int, 3> have{got.r, got.g, got.b};
        for (std::size_t c = 0; c < 3; ++c) {
            const int off = want[c] - have[c];
            error[e + 3 + c] += off * 7;
            next[e - 3 + c] += off * 3;
            next[e + c] += off * 5;
            next[e + 3 + c] += off;
        }
        out.put(x, index);
    }
}

}  // namespace

Palette exact_palette(const Bitmap& bitmap, int limit) {
    std::unordered_map<std::uint32_t, int> seen;
    Palette palette;
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(bitmap.width()) * 3);
    std::uint32_t previous = ~0U;
    for (int y = 0; y < bitmap.height(); ++y) {
        row_to_rgb(bitmap, y, 0, rgb);
        for (std::size_t at = 0; at < rgb.size(); at += 3) {
            const std::uint32_t key = static_cast<std::uint32_t>(rgb[at]) << 16 |
                                      static_cast<std::uint32_t>(rgb[at + 1]) << 8 | rgb[at + 2];
            if (key == previous) continue;
            previous = key;
            if (!seen.try_emplace(key, 0).second) continue;
            if (static_cast<int>(palette.size()) == limit) return {};
            palette.push_back({rgb[at], rgb[at + 1], rgb[at + 2], 255});
        }
    }
    return palette;
}

Palette optimised_palette(const Bitmap& bitmap, int count) {
    std::vector<std::int64_t> histogram(kCells);
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(bitmap.width()) * 3);
    for (int y = 0; y < bitmap.height(); ++y) {
        row_to_rgb(bitmap, y, 0, rgb);
        for (std::size_t at = 0; at < rgb.size(); at += 3)
            ++histogram[static_cast<std::size_t>(cell_of(rgb[at], rgb[at + 1], rgb[at + 2]))];
    }
    std::vector<Cell> cells;
    for (int i = 0; i < kCells; ++i) {
        const std::int64_t n = histogram[static_cast<std::size_t>(i)];
        if (n > 0)
            cells.push_back({{static_cast<std::uint8_t>(i >> 10), static_cast<std::uint8_t>(i >> 5 & 31),
                              static_cast<std::uint8_t>(i & 31)},
                             n});
    }
    std::vector<Box> boxes{measure(cells, 0, cells.size())};
    while (static_cast<int>(boxes.size()) < count) {
        const auto weight = [](const Box& box) { return box.count * box.extent; };
        const auto widest = std::ranges::max_element(boxes, {}, weight);
        if (widest->extent == 0) break;
        const Box box = *widest;
        const std::size_t middle = split_point(cells, box);
        *widest = measure(cells, box.first, middle);
        boxes.push_back(measure(cells, middle, box.last));
    }
    Palette palette;
    for (const Box& box : boxes) palette.push_back(mean_colour(cells, box));
    return palette;
}

Result<Bitmap> map_to_palette(const Bitmap& bitmap, const Palette& palette, int bits, bool diffuse,
                              const Limits& limits) {
    auto result = Bitmap::create_unfilled(bitmap.width(), bitmap.height(), bits, limits);
    if (!result) return result;
    result->metadata() = bitmap.metadata();
    result->set_palette(palette);
    Nearest nearest{palette};
    const auto width = static_cast<std::size_t>(bitmap.width());
    std::vector<std::uint8_t> rgb(width * 3);
    std::vector<int> error(width * 3 + 6), next(width * 3 + 6);
    for (int y = 0; y < bitmap.height(); ++y) {
        row_to_rgb(bitmap, y, 0, rgb);
        IndexWriter out{result->writable_row(y), result->layout() == Layout::bit1};
        if (diffuse) {
            diffuse_row(rgb, error, next, palette, nearest, out);
            error.swap(next);
            continue;
        }
        for (int x = 0; x < bitmap.width(); ++x) {
            const std::size_t at = static_cast<std::size_t>(x) * 3;
            out.put(x, nearest.search(rgb[at], rgb[at + 1], rgb[at + 2]));
        }
    }
    return result;
}

}  // namespace quillmark::imaging
