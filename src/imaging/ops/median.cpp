// Exact medians of small windows by exchange networks, all samples of a row side by side.
#include "imaging/ops/median.h"

#include "imaging/ops/levels.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/smoothing.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

template <typename T>
[[gnu::always_inline]] inline T lesser(T a, T b) {
    return a < b ? a : b;
}
template <typename T>
[[gnu::always_inline]] inline T greater(T a, T b) {
    return a < b ? b : a;
}
// Afterwards a <= b.
template <typename T>
[[gnu::always_inline]] inline void exchange(T& a, T& b) {
    const T low = lesser(a, b);
    b = greater(a, b);
    a = low;
}

template <typename T>
struct SortColumns3 {
    [[gnu::always_inline]] static void run(const T* __restrict above, const T* __restrict centre,
                                           const T* __restrict below, T* __restrict sorted,
                                           std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            T a = above[i], b = centre[i], c = below[i];
            exchange(a, b), exchange(b, c), exchange(a, b);
            sorted[i] = a, sorted[count + i] = b, sorted[2 * count + i] = c;
        }
    }
};

// The median of nine is the median of three: the greatest of the lows, the median of the middles, the least
// of the highs of three sorted columns.
template <typename T>
struct Median3 {
    [[gnu::always_inline]] static void run(const T* __restrict lows, const T* __restrict middles,
                                           const T* __restrict highs, std::size_t step, T* __restrict out,
                                           std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            T low = greater(greater(lows[i], lows[i + step]), lows[i + 2 * step]);
            T a = middles[i], middle = middles[i + step], c = middles[i + 2 * step];
            T high = lesser(lesser(highs[i], highs[i + step]), highs[i + 2 * step]);
            exchange(a, middle), middle = greater(a, lesser(middle, c));
            exchange(low, middle);
            out[i] = greater(low, lesser(middle, high));
        }
    }
};

template <typename T>
[[gnu::always_inline]] inline void sort5(T& a, T& b, T& c, T& d, T& e) {
    exchange(a, b), exchange(d, e), exchange(c, e), exchange(c, d), exchange(a, d);
    exchange(a, c), exchange(b, e), exchange(b, d), exchange(b, c);
}

template <typename T>
struct SortColumns5 {
    [[gnu::always_inline]] static void run(const T* __restrict r0, const T* __restrict r1,
                                           const T* __restrict r2, const T* __restrict r3,
                                           const T* __restrict r4, T* __restrict sorted, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            T a = r0[i], b = r1[i], c = r2[i], d = r3[i], e = r4[i];
            sort5(a, b, c, d, e);
            sorted[i] = a, sorted[count + i] = b, sorted[2 * count + i] = c;
            sorted[3 * count + i] = d, sorted[4 * count + i] = e;
        }
    }
};

// Sorting the rows of sorted columns keeps the columns sorted. In such a square of 25 the element at row i,
// column j has (i + 1) (j + 1) - 1 others at or below it and (5 - i) (5 - j) - 1 at or above it, so that only
// the 13 within the three middle anti-diagonals can be the median: 4 lows, 5 middles and 4 highs, whose
// median it is.
template <typename T>
struct Median5 {
    [[gnu::always_inline]] static void run(const T* __restrict sorted, std::size_t stride, std::size_t step,
                                           T* __restrict out, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            T m[5][5];
            for (std::size_t row = 0; row < 5; ++row) {
                for (std::size_t column = 0; column < 5; ++column)
                    m[row][column] = sorted[row * stride + column * step + i];
                sort5(m[row][0], m[row][1], m[row][2], m[row][3], m[row][4]);
            }
            out[i] = of_diagonals(m);
        }
    }

    [[gnu::always_inline]] static T of_diagonals(T (&m)[5][5]) {
        T l0 = m[0][3], l1 = m[1][2], l2 = m[2][1], l3 = m[3][0];
        T h0 = m[1][4], h1 = m[2][3], h2 = m[3][2], h3 = m[4][1];
        // The least low and the greatest high are the ends of the 13: drop them.
        exchange(l0, l1), exchange(l2, l3), exchange(l0, l2);
        exchange(h0, h1), exchange(h2, h3), exchange(h1, h3);
        T left[11] = {l1, l2, l3, h0, h1, h2, m[0][4], m[1][3], m[2][2], m[3][1], m[4][0]};
        // Of n that are left, the ends of any n / 2 + 2 lie on either side of the median: drop them too.
        drop_ends<7>(left, left[7]);
        drop_ends<6>(left + 1, left[8]);
        drop_ends<5>(left + 2, left[9]);
        drop_ends<4>(left + 3, left[10]);
        drop_ends<3>(left + 4, left[10]);
        return left[5];
    }

    // The least of count elements comes first; the greatest gives way to next.
    template <std::size_t kCount>
    [[gnu::always_inline]] static void drop_ends(T* elements, T next) {
        for (std::size_t i = 0; i < kCount / 2; ++i) exchange(elements[i], elements[kCount - 1 - i]);
        for (std::size_t i = 1; i <= (kCount - 1) / 2; ++i) exchange(elements[0], elements[i]);
        for (std::size_t i = kCount / 2; i + 1 < kCount; ++i) exchange(elements[i], elements[kCount - 1]);
        elements[kCount - 1] = next;
    }
};

template <typename T>
bool median3_band(const Bitmap& in, Bitmap& out, int first, int last) {
    const int channels = level_form(in).channels;
    PaddedRows<T> rows{in, channels, 1};
    Scratch<T> sorted{3 * rows.padded_count()};
    if (!rows || !sorted) return false;
    const std::size_t margin = rows.margin(), stride = rows.padded_count();
    for (int y = first; y < last; ++y) {
        rows.move_to(y);
        run_widest<SortColumns3<T>>(rows.row(-1) - margin, rows.row(0) - margin, rows.row(1) - margin,
                                    sorted.data(), stride);
        const T* lows = sorted.data();
        run_widest<Median3<T>>(lows, lows + stride, lows + 2 * stride, static_cast<std::size_t>(channels),
                               writable_samples<T>(out, y), rows.count());
    }
    return true;
}

template <typename T>
bool median5_band(const Bitmap& in, Bitmap& out, int first, int last) {
    const int channels = level_form(in).channels;
    PaddedRows<T> rows{in, channels, 2};
    Scratch<T> sorted{5 * rows.padded_count()};
    if (!rows || !sorted) return false;
    const std::size_t margin = rows.margin(), stride = rows.padded_count();
    for (int y = first; y < last; ++y) {
        rows.move_to(y);
        run_widest<SortColumns5<T>>(rows.row(-2) - margin, rows.row(-1) - margin, rows.row(0) - margin,
                                    rows.row(1) - margin, rows.row(2) - margin, sorted.data(), stride);
        run_widest<Median5<T>>(static_cast<const T*>(sorted.data()), stride,
                               static_cast<std::size_t>(channels), writable_samples<T>(out, y), rows.count());
    }
    return true;
}

template <typename T>
bool median_band(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    if (radius == 1) return median3_band<T>(in, out, first, last);
    if (radius == 2) return median5_band<T>(in, out, first, last);
    if constexpr (sizeof(T) == 1) return median_by_thresholds(in, out, first, last, radius);
    return median_of_words(in, out, first, last, radius);
}

}  // namespace

Result<Bitmap> median(const Bitmap& bitmap, std::span<const int> size, const Context& context) {
    const int radius = window_radius(size[0]);
    if (radius == 0) return bitmap;
    const bool slow = bitmap.layout() == Layout::gray16 && radius > 2;
    return filter_bands(bitmap, slow ? kMedianWordBand : kMedianBand, context,
                        [radius](const Bitmap& in, Bitmap& out, int first, int last) {
                            return level_form(in).wide
                                       ? median_band<std::uint16_t>(in, out, first, last, radius)
                                       : median_band<std::uint8_t>(in, out, first, last, radius);
                        });
}

}  // namespace quillmark::imaging
