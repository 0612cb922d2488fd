#include "imaging/ops/kernels.h"

#include <cmath>
#include <type_traits>

#include "imaging/ops/levels.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

// Weighted sums of bytes fit in 16 bits, which doubles the samples a vector holds.
template <typename T>
using Sum = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;

// Three rows of samples, each with a pixel to the left and right of what is worked on.
template <typename T>
struct Rows {
    const T *above, *centre, *below;
    std::ptrdiff_t step;  // samples from pixel to pixel
};

template <typename T>
[[gnu::always_inline]] inline Sum<T> weighted(const Rows<T>& rows, std::ptrdiff_t i, const Sum<T>* w) {
    using S = Sum<T>;
    const T *a = rows.above + i, *b = rows.centre + i, *c = rows.below + i;
    const std::ptrdiff_t d = rows.step;
    S sum = static_cast<S>(w[0] * a[-d]);
    sum = static_cast<S>(sum + static_cast<S>(w[1] * a[0]));
    sum = static_cast<S>(sum + static_cast<S>(w[2] * a[d]));
    sum = static_cast<S>(sum + static_cast<S>(w[3] * b[-d]));
    sum = static_cast<S>(sum + static_cast<S>(w[4] * b[0]));
    sum = static_cast<S>(sum + static_cast<S>(w[5] * b[d]));
    sum = static_cast<S>(sum + static_cast<S>(w[6] * c[-d]));
    sum = static_cast<S>(sum + static_cast<S>(w[7] * c[0]));
    return static_cast<S>(sum + static_cast<S>(w[8] * c[d]));
}

template <typename T>
struct Finish {
    int highest;
    int factor = 0;
    Base base = Base::pixel;
};

template <typename S>
[[gnu::always_inline]] inline S limited(S value, S highest) {
    return value < 0 ? S{0} : value > highest ? highest : value;
}

template <typename T>
struct ClampedRow {
    [[gnu::always_inline]] static void run(Rows<T> rows, Weights weights, Finish<T> finish, T* __restrict out,
                                           std::ptrdiff_t count) {
        Sum<T> w[9];
        for (std::size_t k = 0; k < 9; ++k) w[k] = weights[k];
        const auto highest = static_cast<Sum<T>>(finish.highest);
        for (std::ptrdiff_t i = 0; i < count; ++i)
            out[i] = static_cast<T>(limited(weighted(rows, i, w), highest));
    }
};

template <typename T>
struct AbsoluteRow {
    [[gnu::always_inline]] static void run(Rows<T> rows, Weights weights, Finish<T> finish, T* __restrict out,
                                           std::ptrdiff_t count) {
        Sum<T> w[9];
        for (std::size_t k = 0; k < 9; ++k) w[k] = weights[k];
        const auto highest = static_cast<Sum<T>>(finish.highest);
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const Sum<T> sum = weighted(rows, i, w);
            const auto opposite = static_cast<Sum<T>>(-sum);
            const Sum<T> size = sum < opposite ? opposite : sum;
            out[i] = static_cast<T>(size < highest ? size : highest);
        }
    }
};

template <typename T>
struct ScaledRow {
    [[gnu::always_inline]] static void run(Rows<T> rows, Weights weights, Finish<T> finish, T* __restrict out,
                                           std::ptrdiff_t count) {
        using Product = std::conditional_t<sizeof(T) == 1, std::int32_t, std::int64_t>;
        Sum<T> w[9];
        for (std::size_t k = 0; k < 9; ++k) w[k] = weights[k];
        const Product factor = finish.factor, highest = finish.highest;
        const Product middle = finish.base == Base::middle ? highest / 2 + 1 : 0;
        const Product pixel = finish.base == Base::middle ? 0 : 1;
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const Product change = (weighted(rows, i, w) * factor + 32768) >> 16;
            out[i] = static_cast<T>(limited<Product>(middle + pixel * rows.centre[i] + change, highest));
        }
    }
};

template <typename T>
struct LengthRow {
    [[gnu::always_inline]] static void run(Rows<T> rows, Sum<T> centre, Finish<T> finish, T* __restrict out,
                                           std::ptrdiff_t count) {
        using S = Sum<T>;
        using Real = std::conditional_t<sizeof(T) == 1, float, double>;
        const std::ptrdiff_t d = rows.step;
        const auto highest = static_cast<Real>(finish.highest);
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const T *a = rows.above + i, *b = rows.centre + i, *c = rows.below + i;
            const auto across =
                static_cast<S>(a[d] - a[-d] + static_cast<S>(centre * (b[d] - b[-d])) + c[d] - c[-d]);
            const auto down =
                static_cast<S>(c[-d] - a[-d] + static_cast<S>(centre * (c[0] - a[0])) + c[d] - a[d]);
            const Real x = across, y = down;
            const Real length = std::sqrt(x * x + y * y) + Real{0.5};
            out[i] = static_cast<T>(static_cast<std::int32_t>(length < highest ? length : highest));
        }
    }
};

template <typename T, template <typename> typename Row, typename Kernel>
bool kernel_band(const Bitmap& in, Bitmap& out, int first, int last, const Kernel& kernel, int factor,
                 Base base) {
    const int channels = level_form(in).channels;
    PaddedRows<T> rows{in, channels, 1};
    if (!rows) return false;
    const Finish<T> finish{sizeof(T) == 1 ? 255 : (1 << in.bits()) - 1, factor, base};
    for (int y = first; y < last; ++y) {
        rows.move_to(y);
        run_widest<Row<T>>(Rows<T>{rows.row(-1), rows.row(0), rows.row(1), channels}, kernel, finish,
                           writable_samples<T>(out, y), static_cast<std::ptrdiff_t>(rows.count()));
    }
    return true;
}

template <template <typename> typename Row, typename Kernel>
Result<Bitmap> run_kernel(const Bitmap& bitmap, const Kernel& kernel, int factor, Base base,
                          const Context& context) {
    return filter_bands(bitmap, 16, context, [&](const Bitmap& in, Bitmap& out, int first, int last) {
        return level_form(in).wide
                   ? kernel_band<std::uint16_t, Row>(in, out, first, last, kernel, factor, base)
                   : kernel_band<std::uint8_t, Row>(in, out, first, last, kernel, factor, base);
    });
}

}  // namespace

Result<Bitmap> clamped_kernel(const Bitmap& bitmap, const Weights& weights, const Context& context) {
    return run_kernel<ClampedRow>(bitmap, weights, 0, Base::pixel, context);
}

Result<Bitmap> absolute_kernel(const Bitmap& bitmap, const Weights& weights, const Context& context) {
    return run_kernel<AbsoluteRow>(bitmap, weights, 0, Base::pixel, context);
}

Result<Bitmap> scaled_kernel(const Bitmap& bitmap, const Weights& weights, int factor, Base base,
                             const Context& context) {
    return run_kernel<ScaledRow>(bitmap, weights, factor, base, context);
}

Result<Bitmap> gradient_length(const Bitmap& bitmap, int centre, const Context& context) {
    return run_kernel<LengthRow>(bitmap, static_cast<std::int16_t>(centre), 0, Base::pixel, context);
}

}  // namespace quillmark::imaging
