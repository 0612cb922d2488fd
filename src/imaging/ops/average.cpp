// Box means by running sums: down the columns, then along the row, whatever the size of the window.
#include <type_traits>

#include "imaging/ops/levels.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/smoothing.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

// Sums over 255 rows fit in the next wider type, those over 255 x 255 pixels in 32 bits.
template <typename T>
using ColumnSum = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;

template <typename T>
struct AddRow {
    [[gnu::always_inline]] static void run(ColumnSum<T>* __restrict sums, const T* __restrict row,
                                           std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) sums[i] = static_cast<ColumnSum<T>>(sums[i] + row[i]);
    }
};

template <typename T>
struct MoveDown {
    [[gnu::always_inline]] static void run(ColumnSum<T>* __restrict sums, const T* __restrict entering,
                                           const T* __restrict leaving, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            sums[i] = static_cast<ColumnSum<T>>(sums[i] + entering[i] - leaving[i]);
    }
};

// Exact division by an odd number of samples, as a product with its reciprocal.
struct Reciprocal {
    explicit Reciprocal(std::uint32_t divisor) : half{divisor / 2} {
        while ((divisor >> shift) > 1) ++shift;
        // The error of the factor, below divisor, stays without effect for quotients up to 256, because
        // 256 divisor^2 < 2^(32 + shift).
        factor = static_cast<std::uint32_t>((std::uint64_t{1} << (32 + shift)) / divisor + 1);
        wide_factor = (std::uint64_t{1} << 48) / divisor + 1;  // the same for quotients up to 65536
    }
    std::uint32_t half, factor = 0;
    int shift = 0;
    std::uint64_t wide_factor = 0;
};

template <typename T>
struct Divide {
    [[gnu::always_inline]] static void run(const std::uint32_t* __restrict sums, Reciprocal by,
                                           T* __restrict out, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t rounded = sums[i] + by.half;
            if constexpr (sizeof(T) == 1)
                out[i] = static_cast<T>(
                    static_cast<std::uint32_t>(std::uint64_t{rounded} * by.factor >> 32) >> by.shift);
            else
                out[i] = static_cast<T>(rounded * by.wide_factor >> 48);
        }
    }
};

using FourWords = std::uint16_t __attribute__((vector_size(8)));
using FourSums = std::uint32_t __attribute__((vector_size(16)));

FourSums four(const std::uint16_t* at) {
    FourWords words;
    std::memcpy(&words, at, sizeof words);
    return __builtin_convertvector(words, FourSums);
}

// Sums of `window` pixels along a row of padded column sums; a pixel's channels run side by side in one
// vector, of which three channels leave the last lane to the next pixel.
template <std::size_t kChannels>
void sum_along(const std::uint16_t* columns, std::size_t window, std::size_t width, std::uint32_t* sums) {
    FourSums sum{};
    for (std::size_t x = 0; x + 1 < window; ++x) sum += four(columns + x * kChannels);
    const std::uint16_t* entering = columns + (window - 1) * kChannels;
    for (std::size_t x = 0; x < width; ++x) {
        sum += four(entering + x * kChannels);
        std::memcpy(sums + x * kChannels, &sum, sizeof sum);
        sum -= four(columns + x * kChannels);
    }
}

template <typename Column>
void sum_along_gray(const Column* columns, std::size_t window, std::size_t width, std::uint32_t* sums) {
    std::uint32_t sum = 0;
    for (std::size_t x = 0; x + 1 < window; ++x) sum += columns[x];
    for (std::size_t x = 0; x < width; ++x) {
        sum += columns[x + window - 1];
        sums[x] = sum;
        sum -= columns[x];
    }
}

template <typename T>
bool average_band(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    const auto channels = static_cast<std::size_t>(level_form(in).channels);
    const auto width = static_cast<std::size_t>(in.width());
    const auto reach = static_cast<std::size_t>(radius);
    const std::size_t count = width * channels, window = 2 * reach + 1;
    Scratch<ColumnSum<T>> padded{count + 2 * reach * channels};
    Scratch<std::uint32_t> sums{count};
    if (!padded || !sums) return false;
    ColumnSum<T>* columns = padded.data() + reach * channels;
    const auto row = [&](int y) { return samples<T>(in, std::clamp(y, 0, in.height() - 1)); };
    std::fill_n(columns, count, ColumnSum<T>{0});
    for (int y = first - radius; y <= first + radius; ++y) run_widest<AddRow<T>>(columns, row(y), count);
    const Reciprocal by{static_cast<std::uint32_t>(window * window)};
    for (int y = first; y < last; ++y) {
        if (y > first) run_widest<MoveDown<T>>(columns, row(y + radius), row(y - radius - 1), count);
        repeat_borders(columns, count, channels, reach);
        if constexpr (sizeof(T) == 1) {
            if (channels == 3) sum_along<3>(padded.data(), window, width, sums.data());
            if (channels == 4) sum_along<4>(padded.data(), window, width, sums.data());
        }
        if (channels == 1) sum_along_gray(padded.data(), window, width, sums.data());
        run_widest<Divide<T>>(static_cast<const std::uint32_t*>(sums.data()), by, writable_samples<T>(out, y),
                              count);
    }
    return true;
}

}  // namespace

Result<Bitmap> average(const Bitmap& bitmap, std::span<const int> size, const Context& context) {
    const int radius = window_radius(size[0]);
    if (radius == 0) return bitmap;
    // A band begins with the sum of a whole window's rows, so it should be taller than that.
    return filter_bands(
        bitmap, 4 * radius, context, [radius](const Bitmap& in, Bitmap& out, int first, int last) {
            return level_form(in).wide ? average_band<std::uint16_t>(in, out, first, last, radius)
                                       : average_band<std::uint8_t>(in, out, first, last, radius);
        });
}

}  // namespace quillmark::imaging
