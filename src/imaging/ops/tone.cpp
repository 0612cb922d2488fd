// Brightness, contrast, gamma and their kin: operations that give every level of a channel a new value,
// wherever the pixel lies.
#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "imaging/ops/index_rows.h"
#include "imaging/ops/level_table.h"
#include "imaging/ops/levels.h"
#include "imaging/ops/luminance.h"
#include "imaging/ops/operation.h"
#include "imaging/ops/row_loop.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 16;
constexpr int kWhole = 1000;  // tenths of a percent in the whole

using Arguments = std::span<const int>;
using Counts = std::vector<std::int64_t>;

// The new value of a level of a channel, kRed to kBlue; greys ask for kRed.
using NewLevel = std::function<int(int channel, int level)>;

// White's level.
int full_level(const Bitmap& bitmap) {
    return bitmap.layout() == Layout::gray16 ? (1 << bitmap.bits()) - 1 : 255;
}

// The same pixels with colour(entry) for every palette entry. Pixels whose index has no entry show black:
// where black changes, the palette gets the entries that it lacks.
template <typename Colour>
Bitmap with_palette(const Bitmap& bitmap, Colour colour) {
    Palette palette = bitmap.palette();
    if (colour(Rgba{}) != Rgba{}) palette.resize(std::max(palette.size(), std::size_t{1} << bitmap.bits()));
    for (Rgba& entry : palette) entry = colour(entry);
    Bitmap result = bitmap;
    result.set_palette(std::move(palette));
    return result;
}

// rows(in, out, y) for every row of a new bitmap like the level image of bitmap.
template <typename Rows>
Result<Bitmap> by_rows(const Bitmap& bitmap, const Context& context, Rows rows) {
    auto in = level_image(bitmap, context.limits, context.progress);
    if (!in) return in;
    auto result = blank_like(*in, context.limits);
    if (!result) return result;
    const auto done = parallel_rows(in->height(), kRowGrain, context, [&](int first, int last) {
        for (int y = first; y < last; ++y) rows(*in, *result, y);
    });
    if (!done) return done.error();
    return result;
}

Result<Bitmap> remapped_wide(const Bitmap& bitmap, const Context& context, const NewLevel& value) {
    std::vector<std::uint16_t> table(65536);  // samples beyond white, of less than 16 bits, count as white
    const auto full = static_cast<std::size_t>(full_level(bitmap));
    for (std::size_t level = 0; level < table.size(); ++level)
        table[level] =
            level <= full ? static_cast<std::uint16_t>(value(kRed, static_cast<int>(level))) : table[full];
    return by_rows(bitmap, context, [&table](const Bitmap& in, Bitmap& out, int y) {
        std::ranges::transform(in.row16(y), out.writable_row16(y).begin(),
                               [values = table.data()](std::uint16_t level) { return values[level]; });
    });
}

RgbTables tables_of(const NewLevel& value) {
    RgbTables tables;
    for (int channel = kRed; channel <= kBlue; ++channel) {
        LevelTable& table = tables[static_cast<std::size_t>(channel - kRed)];
        for (int level = 0; level < 256; ++level)
            table[static_cast<std::size_t>(level)] = static_cast<std::uint8_t>(value(channel, level));
    }
    return tables;
}

// Every sample replaced by its new value: in the palette where there is one. Alpha stays.
Result<Bitmap> remapped(const Bitmap& bitmap, const Context& context, const NewLevel& value) {
    if (bitmap.layout() == Layout::gray16) return remapped_wide(bitmap, context, value);
    const RgbTables tables = tables_of(value);
    if (has_palette(bitmap)) {
        return with_palette(bitmap, [&tables](Rgba c) {
            return Rgba{tables[0][c.r], tables[1][c.g], tables[2][c.b], c.a};
        });
    }
    const auto map = bitmap.layout() == Layout::rgba32 ? map_rgba : map_rgb;
    return by_rows(bitmap, context, [&](const Bitmap& in, Bitmap& out, int y) {
        map(in.row(y).data(), out.writable_row(y).data(), static_cast<std::size_t>(in.width()), tables);
    });
}

// The same where 8-bit samples need no table: shift says for them what value says for all.
Result<Bitmap> shifted(const Bitmap& bitmap, const Context& context, const LevelShift& shift,
                       const NewLevel& value) {
    if (bitmap.layout() != Layout::rgb24 && bitmap.layout() != Layout::rgba32)
        return remapped(bitmap, context, value);
    const std::size_t step = bitmap.layout() == Layout::rgba32 ? 4 : 3;
    return by_rows(bitmap, context, [&](const Bitmap& in, Bitmap& out, int y) {
        shift_levels(in.row(y).data(), out.writable_row(y).data(), in.row_bytes(), step, shift);
    });
}

// What was counted of a channel of a bitmap like this one.
Result<const Counts*> counts_of(const Bitmap& bitmap, const Context& context, int channel) {
    const auto levels = static_cast<std::size_t>(full_level(bitmap)) + 1;
    const Counts* const counts =
        context.statistics ? &context.statistics->levels[static_cast<std::size_t>(channel)] : nullptr;
    if (!counts || counts->size() != levels) return Error{Fault::bad_parameter, "statistics"};
    return counts;
}

// --- brightness and contrast ---

Result<Bitmap> run_intensity(const Bitmap& bitmap, Arguments arguments, const Context& context) {
    const int full = full_level(bitmap);
    const auto add = static_cast<int>(std::lround(static_cast<double>(arguments[0]) * full / kWhole));
    if (add == 0) return bitmap;
    LevelShift shift;
    if (add > 0) shift.high = static_cast<std::uint8_t>(255 - add);
    if (add < 0) shift.low = static_cast<std::uint8_t>(-add);
    shift.add = static_cast<std::uint8_t>(add);
    return shifted(bitmap, context, shift, [=](int, int level) { return std::clamp(level + add, 0, full); });
}

// level moved away from the pivot, given in 256ths of a level, or towards it: below 0, change shrinks the
// distance to (1000 + change) / 1000 of what it was; above 0 it divides it by (1000 - change) / 1000. At 1000
// nothing is left between black and white but the pivot itself.
int sloped(int level, int full, std::int64_t pivot, int change) {
    const std::int64_t distance = std::int64_t{256} * level - pivot;
    if (change == kWhole) return distance > 0 ? full : distance < 0 ? 0 : level;
    const std::int64_t numerator = change < 0 ? kWhole + change : kWhole;
    const std::int64_t denominator = change > 0 ? kWhole - change : kWhole;
    const std::int64_t scaled = distance * numerator + denominator * (pivot + 128);
    return static_cast<int>(
        std::min<std::int64_t>(std::max<std::int64_t>(scaled, 0) / (256 * denominator), full));
}

Result<Bitmap> steepened(const Bitmap& bitmap, const Context& context, std::int64_t pivot, int change) {
    if (change == 0) return bitmap;
    return remapped(bitmap, context, [=, full = full_level(bitmap)](int, int level) {
        return sloped(level, full, pivot, change);
    });
}

Result<Bitmap> run_contrast(const Bitmap& bitmap, Arguments arguments, const Context& context) {
    return steepened(bitmap, context, std::int64_t{128} * full_level(bitmap), arguments[0]);
}

Result<Bitmap> run_histo_contrast(const Bitmap& bitmap, Arguments arguments, const Context& context) {
    const auto counts = counts_of(bitmap, context, kMaster);
    if (!counts) return counts.error();
    std::int64_t pixels = 0, sum = 0;
    for (std::size_t level = 0; level < (*counts)->size(); ++level) {
        pixels += (**counts)[level];
        sum += (**counts)[level] * static_cast<std::int64_t>(level);
    }
    if (pixels == 0) return bitmap;
    return steepened(bitmap, context, (256 * sum + pixels / 2) / pixels, arguments[0]);
}

// --- gamma, steps and negatives ---

Result<Bitmap> run_gamma(const Bitmap& bitmap, Arguments arguments, const Context& context) {
    if (arguments[0] == 100) return bitmap;
    return remapped(
        bitmap, context, [full = full_level(bitmap), power = 100.0 / arguments[0]](int, int level) {
            return static_cast<int>(std::lround(full * std::pow(static_cast<double>(level) / full, power)));
        });
}

Result<Bitmap> run_posterize(const Bitmap& bitmap, Arguments arguments, const Context& context) {
    if (arguments[0] == 256) return bitmap;
    return remapped(bitmap, context, [full = full_level(bitmap), last = arguments[0] - 1](int, int level) {
        const int nearest = (2 * level * last + full) / (2 * full);
        return (2 * nearest * full + last) / (2 * last);
    });
}

Result<Bitmap> run_invert(const Bitmap& bitmap, Arguments, const Context& context) {
    return shifted(bitmap, context, {.flip = 255},
                   [full = full_level(bitmap)](int, int level) { return full - level; });
}

// --- by the histogram ---

// The levels by how many pixels are at or below them: 0 for the lowest in use, full for the highest. A
// channel with one level only stays as it is.
std::vector<int> equalised(const Counts& counts, int full) {
    std::vector<int> value(counts.size());
    std::int64_t pixels = 0, lowest = 0;
    for (const std::int64_t count : counts) {
        if (pixels == 0) lowest = count;
        pixels += count;
    }
    const std::int64_t others = pixels - lowest;
    std::int64_t below = 0;
    for (std::size_t level = 0; level < counts.size(); ++level) {
        below += counts[level];
        value[level] =
            others == 0 ? static_cast<int>(level)
                        : static_cast<int>((2 * std::max<std::int64_t>(below - lowest, 0) * full + others) /
                                           (2 * others));
    }
    return value;
}

Result<Bitmap> run_equalize(const Bitmap& bitmap, Arguments, const Context& context) {
    std::array<std::vector<int>, 3> values;
    for (int channel = kRed; channel <= kBlue; ++channel) {
        const auto counts = counts_of(bitmap, context, channel);
        if (!counts) return counts.error();
        values[static_cast<std::size_t>(channel - kRed)] = equalised(**counts, full_level(bitmap));
    }
    return remapped(bitmap, context, [&values](int channel, int level) {
        return values[static_cast<std::size_t>(channel - kRed)][static_cast<std::size_t>(level)];
    });
}

Result<Bitmap> run_stretch(const Bitmap& bitmap, Arguments, const Context& context) {
    const int full = full_level(bitmap);
    int lowest = full, highest = 0;
    for (int channel = kRed; channel <= kBlue; ++channel) {
        const auto counts = counts_of(bitmap, context, channel);
        if (!counts) return counts.error();
        for (int level = 0; level <= full; ++level) {
            if ((**counts)[static_cast<std::size_t>(level)] == 0) continue;
            lowest = std::min(lowest, level), highest = std::max(highest, level);
        }
    }
    const std::int64_t range = highest - lowest;
    if (range <= 0 || range == full) return bitmap;
    return remapped(bitmap, context, [=](int, int level) {
        const std::int64_t above = std::clamp(level, lowest, highest) - lowest;
        return static_cast<int>((2 * above * full + range) / (2 * range));
    });
}

// --- intensity detection ---

struct Interval {
    int low, high;
    bool holds(int level) const { return level >= low && level <= high; }
};

// Pixels of 3 or 4 bytes: white where the luminance lies in the interval, else black.
void detect_row(const Bitmap& in, Bitmap& out, int y, Interval interval) {
    constexpr std::size_t kSome = 2048;
    std::array<std::uint8_t, kSome> level;
    const std::size_t step = in.layout() == Layout::rgba32 ? 4 : 3;
    const auto width = static_cast<std::size_t>(in.width());
    for (std::size_t x = 0; x < width; x += kSome) {
        const std::size_t count = std::min(kSome, width - x);
        const std::uint8_t* const from = in.row(y).data() + x * step;
        std::uint8_t* const to = out.writable_row(y).data() + x * step;
        luminance_row(from, level.data(), count, step);
        for (std::size_t i = 0; i < count; ++i)
            level[i] = level[i] >= interval.low && level[i] <= interval.high ? 255 : 0;
        if (step == 3) {
            interleave_rgb(level.data(), level.data(), level.data(), to, count);
            continue;
        }
        for (std::size_t i = 0; i < count; ++i)
            to[i * 4] = to[i * 4 + 1] = to[i * 4 + 2] = level[i], to[i * 4 + 3] = from[i * 4 + 3];
    }
}

Result<Bitmap> run_detect(const Bitmap& bitmap, Arguments arguments, const Context& context) {
    const Interval interval{arguments[0], arguments[1]};
    if (interval.low > interval.high) return Error{Fault::bad_parameter, "low above high"};
    if (bitmap.layout() == Layout::gray16) {
        return remapped(bitmap, context, [&](int, int level) {
            return interval.holds(level >> (bitmap.bits() - 8)) ? full_level(bitmap) : 0;
        });
    }
    if (has_palette(bitmap)) {
        return with_palette(bitmap, [&](Rgba c) {
            const std::uint8_t level = interval.holds(luminance(c.r, c.g, c.b)) ? 255 : 0;
            return Rgba{level, level, level, c.a};
        });
    }
    return by_rows(bitmap, context,
                   [&](const Bitmap& in, Bitmap& out, int y) { detect_row(in, out, y, interval); });
}

// --- the table ---

constexpr std::string_view kTenths = "tenths of a percent";
constexpr Channels kColours = 1U << kRed | 1U << kGreen | 1U << kBlue;

const Parameter kChange[] = {
    {.name = "change", .unit = kTenths, .low = -kWhole, .high = kWhole, .initial = 0, .identity = 0}};
const Parameter kGamma[] = {
    {.name = "gamma", .unit = "hundredths", .low = 10, .high = 1000, .initial = 100, .identity = 100}};
const Parameter kSteps[] = {
    {.name = "levels", .unit = "levels per channel", .low = 2, .high = 256, .initial = 4, .identity = 256}};
const Parameter kInterval[] = {
    {.name = "low", .unit = "levels of 255", .low = 0, .high = 255, .initial = 0},
    {.name = "high", .unit = "levels of 255", .low = 0, .high = 255, .initial = 255}};

const Operation kOperations[] = {
    {.name = "Intensity",
     .what = "Brighter or darker: adds a part of the full range to every channel",
     .parameters = kChange,
     .run = run_intensity},
    {.name = "Contrast",
     .what = "More or less contrast about the middle level; 1000 leaves black and white, -1000 one grey",
     .parameters = kChange,
     .run = run_contrast},
    {.name = "GammaCorrect",
     .what = "Gamma: above 100 brightens the middle levels, below darkens; black and white stay",
     .parameters = kGamma,
     .run = run_gamma},
    {.name = "HistoContrast",
     .what = "More or less contrast about the mean luminance of the image or region",
     .parameters = kChange,
     .statistics = 1U << kMaster,
     .run = run_histo_contrast},
    {.name = "HistoEqualize",
     .what = "Spreads the levels of each channel so that all are used alike",
     .parameters = {},
     .statistics = kColours,
     .run = run_equalize},
    {.name = "StretchIntensity",
     .what = "Stretches the levels in use to the full range, the same for all channels",
     .parameters = {},
     .statistics = kColours,
     .run = run_stretch},
    {.name = "IntensityDetect",
     .what = "White where the luminance lies in low to high, black elsewhere; low above high is refused",
     .parameters = kInterval,
     .run = run_detect},
    {.name = "Invert", .what = "The negative", .parameters = {}, .run = run_invert},
    {.name = "Posterize",
     .what = "Every channel to the nearest of evenly spaced levels, black and white among them",
     .parameters = kSteps,
     .run = run_posterize},
};

}  // namespace

std::span<const Operation> tone_operations() { return kOperations; }

}  // namespace quillmark::imaging
