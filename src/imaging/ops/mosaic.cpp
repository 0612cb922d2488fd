// Blocks of one colour.
#include <algorithm>
#include <array>
#include <cstring>

#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/smoothing.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

template <typename T>
struct SumRow {
    [[gnu::always_inline]] static void run(std::uint32_t* __restrict sums, const T* __restrict row,
                                           std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) sums[i] += row[i];
    }
};

// The mean of each block along one row of column sums over `rows` rows, as a row of pixels.
template <typename T, int kChannels>
void block_row(const std::uint32_t* sums, RowGroups groups, int width, int rows, T* out) {
    for (int block = 0, from = 0; from < width; ++block) {
        const int to = groups.start(block + 1, width);
        const std::uint64_t pixels = static_cast<std::uint64_t>(to - from) * static_cast<std::uint64_t>(rows);
        std::array<std::uint64_t, kChannels> total{};
        for (int x = from; x < to; ++x)
            for (std::size_t c = 0; c < kChannels; ++c)
                total[c] += sums[static_cast<std::size_t>(x) * kChannels + c];
        std::array<T, kChannels> mean;
        for (std::size_t c = 0; c < kChannels; ++c)
            mean[c] = static_cast<T>((total[c] + pixels / 2) / pixels);
        for (int x = from; x < to; ++x)
            std::memcpy(out + static_cast<std::size_t>(x) * kChannels, mean.data(), sizeof mean);
        from = to;
    }
}

template <typename T, int kChannels>
bool mosaic_rows(const Bitmap& in, Bitmap& out, int first, int last, RowGroups columns) {
    const std::size_t count = static_cast<std::size_t>(in.width()) * kChannels;
    Scratch<std::uint32_t> sums{count};
    if (!sums) return false;
    std::fill_n(sums.data(), count, 0U);
    for (int y = first; y < last; ++y) run_widest<SumRow<T>>(sums.data(), samples<T>(in, y), count);
    block_row<T, kChannels>(sums.data(), columns, in.width(), last - first, writable_samples<T>(out, first));
    for (int y = first + 1; y < last; ++y)
        std::memcpy(writable_samples<T>(out, y), samples<T>(out, first), count * sizeof(T));
    return true;
}

template <typename T, int kChannels>
bool mosaic_band(const Bitmap& in, Bitmap& out, int first, int last, RowGroups rows, RowGroups columns) {
    for (int block = rows.of(first), from = first; from < last; ++block) {
        const int to = rows.start(block + 1, last);
        if (!mosaic_rows<T, kChannels>(in, out, from, to, columns)) return false;
        from = to;
    }
    return true;
}

}  // namespace

Result<Bitmap> mosaic(const Bitmap& bitmap, std::span<const int> size, const Context& context) {
    if (size[0] == 1) return bitmap;
    const RowGroups rows{size[0], context.origin_y % size[0]}, columns{size[0], context.origin_x % size[0]};
    const auto band = [&](const Bitmap& in, Bitmap& out, int first, int last) {
        switch (in.layout()) {
            case Layout::gray16: return mosaic_band<std::uint16_t, 1>(in, out, first, last, rows, columns);
            case Layout::rgb24: return mosaic_band<std::uint8_t, 3>(in, out, first, last, rows, columns);
            case Layout::rgba32: return mosaic_band<std::uint8_t, 4>(in, out, first, last, rows, columns);
            default: return mosaic_band<std::uint8_t, 1>(in, out, first, last, rows, columns);
        }
    };
    return filter_bands(bitmap, 1, context, band, rows);
}

}  // namespace quillmark::imaging
