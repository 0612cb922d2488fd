#include "imaging/ops/resize.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <new>
#include <numbers>
#include <vector>

#include "imaging/ops/geometry.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/resize_rows.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 4;
constexpr int kOne = 1 << 14;  // what the integer weights of a pixel add up to

// --- weights ---

/// What each target pixel of one direction takes: taps source pixels from first[i] on.
struct Kernel {
    int taps = 0;
    std::vector<int> first;
    std::vector<float> weights;
    std::vector<std::int16_t> whole_weights;  ///< for 8-bit samples
};

double sinc(double x) { return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); }

// The weight of source pixel j at a target pixel that covers [low, high) of the source.
double weight_of(ResizeFilter filter, int j, double low, double high) {
    const double reduction = std::max(high - low, 1.0);
    const double distance = std::abs(j + 0.5 - (low + high) / 2) / reduction;
    if (filter == ResizeFilter::lanczos) return distance < 3 ? sinc(distance) * sinc(distance / 3) : 0;
    if (high - low > 1) return std::max(0.0, std::min(j + 1.0, high) - std::max<double>(j, low));
    return std::max(0.0, 1 - distance);
}

double reach_of(ResizeFilter filter, double scale) {
    if (filter == ResizeFilter::lanczos) return 3 * std::max(scale, 1.0);
    return scale > 1 ? scale / 2 : 1;
}

struct Spread {
    int first = 0;
    std::vector<double> weights;  // adding up to 1
};

// The weights of target pixel i; those beyond the edge go to the edge's pixel.
Spread spread_of(ResizeFilter filter, int i, double scale, int source) {
    const double low = i * scale, high = low + scale, centre = (low + high) / 2;
    const double reach = reach_of(filter, scale);
    const auto from = static_cast<int>(std::floor(centre - reach)),
               to = static_cast<int>(std::ceil(centre + reach));
    Spread spread;
    spread.first = std::clamp(from, 0, source - 1);
    spread.weights.resize(static_cast<std::size_t>(std::clamp(to, spread.first + 1, source) - spread.first));
    double total = 0;
    for (int j = from; j < to; ++j) {
        const int at = std::clamp(j - spread.first, 0, static_cast<int>(spread.weights.size()) - 1);
        const double weight = weight_of(filter, j, low, high);
        spread.weights[static_cast<std::size_t>(at)] += weight;
        total += weight;
    }
    for (double& weight : spread.weights) weight /= total;
    return spread;
}

Kernel make_kernel(ResizeFilter filter, int source, int target) {
    const double scale = static_cast<double>(source) / target;
    Kernel kernel;
    // Exact pixel borders need a tap less than this at some places, never one more.
    const int most = std::min(static_cast<int>(std::ceil(2 * reach_of(filter, scale))) + 1, source);
    kernel.taps = (most + kTapGroup - 1) / kTapGroup * kTapGroup;
    const auto taps = static_cast<std::size_t>(kernel.taps);
    kernel.first.reserve(static_cast<std::size_t>(target));
    kernel.weights.resize(taps * static_cast<std::size_t>(target));
    kernel.whole_weights.resize(kernel.weights.size());
    for (int i = 0; i < target; ++i) {
        const Spread spread = spread_of(filter, i, scale, source);
        // Near the end the taps begin earlier, so that none lies beyond it (but for the filling ones of a
        // source that is shorter than they are).
        const int first = std::min(spread.first, std::max(0, source - kernel.taps));
        kernel.first.push_back(first);
        const std::size_t at =
            taps * static_cast<std::size_t>(i) + static_cast<std::size_t>(spread.first - first);
        // Rounding the running sum and not each weight: they add up exactly, however many.
        double sum = 0;
        int given = 0;
        for (std::size_t k = 0; k < spread.weights.size(); ++k) {
            sum += spread.weights[k];
            const auto so_far = static_cast<int>(std::lround(sum * kOne));
            kernel.weights[at + k] = static_cast<float>(spread.weights[k]);
            kernel.whole_weights[at + k] = static_cast<std::int16_t>(so_far - given);
            given = so_far;
        }
    }
    return kernel;
}

struct Plan {
    const Bitmap& in;
    Kernel across, down;
};

// How many taps of target row y count; the others fill up.
int taps_of(const Plan& plan, int y) {
    return std::min(plan.down.taps, plan.in.height() - plan.down.first[static_cast<std::size_t>(y)]);
}

// --- 8-bit samples ---

class ByteRows {
  public:
    explicit ByteRows(const Plan& plan)
        : plan_{plan},
          channels_{level_form(plan.in).channels},
          row_(plan.in.row_bytes() + kRowSlack),
          sources_(static_cast<std::size_t>(plan.down.taps)) {}

    void make(int y, std::uint8_t* out) {
        const auto at = static_cast<std::size_t>(y);
        const int taps = taps_of(plan_, y);
        for (int k = 0; k < plan_.down.taps; ++k)
            sources_[static_cast<std::size_t>(k)] =
                plan_.in.row(plan_.down.first[at] + std::min(k, taps - 1)).data();
        const std::int16_t* weights = &plan_.down.whole_weights[at * sources_.size()];
        int used = plan_.down.taps;
        while (used > 2 && weights[used - 1] == 0 && weights[used - 2] == 0) used -= 2;
        blend_rows(sources_.data(), weights, used, row_.data(), plan_.in.row_bytes());
        blend_columns(row_.data(), plan_.across.first.data(), plan_.across.whole_weights.data(),
                      plan_.across.taps, channels_, out, static_cast<int>(plan_.across.first.size()));
    }

  private:
    const Plan& plan_;
    int channels_;
    std::vector<std::int16_t> row_;
    std::vector<const std::uint8_t*> sources_;
};

// --- 16-bit greys, and colours weighted by alpha: floating point between the directions ---

using Four = float __attribute__((vector_size(16)));
using FourBytes = std::uint8_t __attribute__((vector_size(4)));

template <int Channels>
class FloatRows {
  public:
    explicit FloatRows(const Plan& plan)
        : plan_{plan}, row_(static_cast<std::size_t>(plan.in.width() + kTapGroup) * Channels) {}

    void make(int y, std::uint8_t* out) {
        std::ranges::fill(row_, 0.0F);
        const auto at = static_cast<std::size_t>(y);
        const float* weights = &plan_.down.weights[at * static_cast<std::size_t>(plan_.down.taps)];
        for (int k = 0; k < taps_of(plan_, y); ++k)
            if (weights[k] != 0) add(plan_.down.first[at] + k, weights[k]);
        const auto taps = static_cast<std::size_t>(plan_.across.taps);
        for (std::size_t x = 0; x < plan_.across.first.size(); ++x) {
            const float* from = &row_[static_cast<std::size_t>(plan_.across.first[x]) * Channels];
            const float* across = &plan_.across.weights[x * taps];
            // A row may end before its last taps do; their weights are 0.
            put(Channels == 1 ? sum_words(from, across, taps) : sum_pixels(from, across, taps), x, out);
        }
    }

  private:
    static Four load(const float* from) {
        Four four;
        std::memcpy(&four, from, sizeof four);
        return four;
    }
    // Four taps at a time.
    static Four sum_words(const float* from, const float* across, std::size_t taps) {
        Four sum{};
        for (std::size_t k = 0; k < taps; k += kTapGroup) sum += load(across + k) * load(from + k);
        return Four{sum[0] + sum[1] + (sum[2] + sum[3])};
    }
    static Four sum_pixels(const float* from, const float* across, std::size_t taps) {
        Four sum{};
        for (std::size_t k = 0; k < taps; ++k) sum += across[k] * load(from + k * 4);
        return sum;
    }

    void add(int y, float weight) {
        if constexpr (Channels == 1) {
            const auto row = plan_.in.row16(y);
            for (std::size_t i = 0; i < row.size(); ++i) row_[i] += weight * row[i];
        } else {
            const auto row = plan_.in.row(y);
            for (std::size_t i = 0; i < row.size(); i += 4) {
                FourBytes bytes;
                std::memcpy(&bytes, &row[i], sizeof bytes);
                Four pixel = __builtin_convertvector(bytes, Four);
                const float cover = weight * pixel[3];
                pixel[3] = 1;
                const Four sum = load(&row_[i]) + cover * pixel;
                std::memcpy(&row_[i], &sum, sizeof sum);
            }
        }
    }

    void put(const Four& sum, std::size_t x, std::uint8_t* out) const {
        const auto rounded = [](float value, float top) { return std::clamp(value + 0.5F, 0.0F, top); };
        if constexpr (Channels == 1) {
            const auto top = static_cast<float>((1 << plan_.in.bits()) - 1);
            const auto level = static_cast<std::uint16_t>(rounded(sum[0], top));
            std::memcpy(out + x * 2, &level, sizeof level);
        } else {
            const auto alpha = static_cast<std::uint8_t>(rounded(sum[3], 255));
            for (std::size_t c = 0; c < 3; ++c)
                out[x * 4 + c] = alpha ? static_cast<std::uint8_t>(rounded(sum[c] / sum[3], 255)) : 0;
            out[x * 4 + 3] = alpha;
        }
    }

    const Plan& plan_;
    std::vector<float> row_;
};

template <typename Rows>
Result<void> fill_rows(const Plan& plan, Bitmap& out, const Context& context) {
    return parallel_rows(out.height(), kRowGrain, context, [&](int first, int last) {
        Rows rows{plan};
        for (int y = first; y < last; ++y) rows.make(y, out.writable_row(y).data());
    });
}

Result<void> halve(const Bitmap& in, Bitmap& out, const Context& context) {
    return parallel_rows(out.height(), kRowGrain, context, [&](int first, int last) {
        for (int y = first; y < last; ++y)
            halve_rgb24(in.row(2 * y).data(), in.row(2 * y + 1).data(), out.writable_row(y).data(),
                        out.width());
    });
}

Result<void> resample(const Bitmap& in, Bitmap& out, ResizeFilter filter, const Context& context) {
    const bool half = in.width() == 2 * out.width() && in.height() == 2 * out.height();
    if (half && filter == ResizeFilter::area && in.layout() == Layout::rgb24) return halve(in, out, context);
    const Plan plan{in, make_kernel(filter, in.width(), out.width()),
                    make_kernel(filter, in.height(), out.height())};
    if (in.layout() == Layout::gray16) return fill_rows<FloatRows<1>>(plan, out, context);
    if (in.layout() == Layout::rgba32) return fill_rows<FloatRows<4>>(plan, out, context);
    return fill_rows<ByteRows>(plan, out, context);
}

// --- plain ---

// The source pixel under the centre of target pixel i.
int under(int i, int source, int target) {
    return static_cast<int>((2 * std::int64_t{i} + 1) * source / (2 * std::int64_t{target}));
}

template <std::size_t Size>
void pick(const std::uint8_t* in, const std::vector<int>& columns, std::uint8_t* out) {
    for (const int x : columns) {
        std::memcpy(out, in + static_cast<std::size_t>(x) * Size, Size);
        out += Size;
    }
}

void pick_bits(const std::uint8_t* in, const std::vector<int>& columns, std::uint8_t* out) {
    for (std::size_t x = 0; x < columns.size(); x += 8) {
        unsigned bits = 0;
        for (std::size_t i = 0; i < std::min<std::size_t>(8, columns.size() - x); ++i) {
            const int from = columns[x + i];
            bits |= (static_cast<unsigned>(in[from / 8]) >> (7 - from % 8) & 1U) << (7 - i);
        }
        out[x / 8] = static_cast<std::uint8_t>(bits);
    }
}

void pick_row(const Bitmap& in, int y, const std::vector<int>& columns, std::uint8_t* out) {
    const std::uint8_t* row = in.row(y).data();
    if (in.layout() == Layout::bit1) return pick_bits(row, columns, out);
    switch (pixel_bytes(in.layout())) {
        case 1: return pick<1>(row, columns, out);
        case 2: return pick<2>(row, columns, out);
        case 3: return pick<3>(row, columns, out);
        default: return pick<4>(row, columns, out);
    }
}

Result<void> pick_rows(const Bitmap& in, Bitmap& out, const Context& context) {
    std::vector<int> columns(static_cast<std::size_t>(out.width()));
    for (int x = 0; x < out.width(); ++x)
        columns[static_cast<std::size_t>(x)] = under(x, in.width(), out.width());
    return parallel_rows(out.height(), kRowGrain, context, [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            const int from = under(y, in.height(), out.height());
            const auto row = out.writable_row(y);
            if (y > first && from == under(y - 1, in.height(), out.height()))
                std::memcpy(row.data(), out.row(y - 1).data(), row.size());
            else
                pick_row(in, from, columns, row.data());
        }
    });
}

}  // namespace

Result<Bitmap> resize(const Bitmap& bitmap, int width, int height, ResizeFilter filter,
                      const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (width == bitmap.width() && height == bitmap.height()) return bitmap;
    const bool plain = filter == ResizeFilter::plain;
    if (!plain && bitmap.bits() < 8) {  // asked before the promotion: a result that cannot be costs nothing
        const auto fits = Bitmap::check_size(width, height, 8, context.limits);
        if (!fits) return fits.error();
    }
    const auto source = plain ? bitmap : level_image(bitmap, context.limits, context.progress);
    if (!source) return source.error();
    auto result = blank_like(*source, width, height, context.limits);
    if (!result) return result;
    const auto done =
        plain ? pick_rows(*source, *result, context) : resample(*source, *result, filter, context);
    if (!done) return done.error();
    return result;
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

namespace {

constexpr int kMostPixels = 1'000'000;
constexpr std::array<Choice, 3> kFilters{Choice{0, "plain"}, Choice{1, "resample"}, Choice{2, "area"}};
constexpr std::array<Parameter, 3> kSize{
    Parameter{.name = "width", .unit = "pixels", .low = 1, .high = kMostPixels, .initial = 1, .strict = true},
    Parameter{
        .name = "height", .unit = "pixels", .low = 1, .high = kMostPixels, .initial = 1, .strict = true},
    Parameter{.name = "flags", .unit = "", .low = 0, .high = 2, .initial = 0, .choices = kFilters}};

}  // namespace

std::span<const Operation> resize_operations() {
    static constexpr std::array<Operation, 1> kOperations{
        Operation{.name = "Size",
                  .what = "brings the image to another width and height",
                  .parameters = kSize,
                  .scope = Scope::whole,
                  .run = [](const Bitmap& bitmap, std::span<const int> a, const Context& context) {
                      return resize(bitmap, a[0], a[1], static_cast<ResizeFilter>(a[2]), context);
                  }}};
    return kOperations;
}

}  // namespace quillmark::imaging
