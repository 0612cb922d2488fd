#include "imaging/ops/histogram.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "imaging/buffer.h"
#include "imaging/ops/fetch_ahead.h"
#include "imaging/ops/index_rows.h"
#include "imaging/ops/luminance.h"
#include "imaging/ops/row_loop.h"

namespace quillmark::imaging {
namespace {

constexpr int kRowGrain = 16;
constexpr std::size_t kBlock = 16;         // pixels between two requests for memory
constexpr std::size_t kSomePixels = 2048;  // whose luminances wait in the nearest cache

using Levels = std::vector<std::int64_t>;

// Counts samples of one channel. Several tables take turns, so that an equal neighbour does not wait for the
// store before it.
template <typename Sample>
class Tally {
  public:
    explicit Tally(std::size_t levels) : last_{levels - 1}, counts_(levels * kLanes) {}

    // count samples, every step-th from in on. Samples beyond the last level count as the last.
    template <std::size_t step>
    void add(const Sample* in, std::size_t count) {
        std::uint32_t* const counts = counts_.data();
        const std::size_t levels = last_ + 1;
        for (; count >= kBlock; count -= kBlock, in += kBlock * step) {
            fetch_ahead(in);
            for (std::size_t i = 0; i < kBlock; ++i) ++counts[i % kLanes * levels + level_of(in[i * step])];
        }
        for (; count > 0; --count, in += step) ++counts[level_of(*in)];
    }

    void add_to(Levels& total) const {
        const std::uint32_t* lane = counts_.data();
        for (std::size_t i = 0; i < kLanes; ++i, lane += last_ + 1)
            for (std::size_t level = 0; level <= last_; ++level) total[level] += lane[level];
    }

  private:
    static constexpr std::size_t kLanes = sizeof(Sample) == 1 ? 4 : 2;  // wide tables are to fit a cache too

    std::size_t level_of(Sample sample) const {
        if constexpr (sizeof(Sample) == 1) return sample;
        return std::min<std::size_t>(sample, last_);
    }

    std::size_t last_;
    std::vector<std::uint32_t> counts_;
};

// Calls start() for a number of rows at a time, each(work, y, run) for the pixels in them that count, and
// finish(work) for what start() gave; finish alone is called by one thread at a time.
template <typename Start, typename Each, typename Finish>
Result<void> for_pixels(const Bitmap& bitmap, const Region* region, const Context& context, Start start,
                        Each each, Finish finish) {
    const Rect whole{0, 0, bitmap.width(), bitmap.height()};
    const Region inside = region ? region->clipped(whole) : Region{};
    const Rect bounds = region ? inside.bounds() : whole;
    const Run row{0, bitmap.width()};
    std::mutex mutex;
    return parallel_rows(bounds.height, kRowGrain, context, [&](int first, int last) {
        auto work = start();
        for (int y = bounds.y + first; y < bounds.y + last; ++y) {
            for (const Run& run : region ? inside.row(y) : std::span{&row, 1}) each(work, y, run);
        }
        const std::scoped_lock lock{mutex};
        finish(work);
    });
}

// Bits set among [first, last) of a row of packed pixels.
std::int64_t ones(std::span<const std::uint8_t> row, int first, int last) {
    const auto from = static_cast<std::size_t>(first / 8), to = static_cast<std::size_t>(last / 8);
    const unsigned lead = 0xFFU >> (first % 8), trail = 0xFF00U >> (last % 8) & 0xFFU;
    if (from == to) return std::popcount(row[from] & lead & trail);
    std::int64_t count = std::popcount(row[from] & lead);
    if (trail) count += std::popcount(row[to] & trail);
    std::size_t at = from + 1;
    for (; at + 8 <= to; at += 8) {
        std::uint64_t word;
        std::memcpy(&word, &row[at], 8);
        count += std::popcount(word);
    }
    for (; at < to; ++at) count += std::popcount(row[at]);
    return count;
}

Result<Levels> count_bits(const Bitmap& bitmap, const Region* region, const Context& context) {
    Levels total(2);
    const auto counted = for_pixels(
        bitmap, region, context, [] { return std::array<std::int64_t, 2>{}; },
        [&](auto& counts, int y, const Run& run) {
            const std::int64_t set = ones(bitmap.row(y), run.first, run.last);
            counts[1] += set, counts[0] += run.last - run.first - set;
        },
        [&](const auto& counts) { total[0] += counts[0], total[1] += counts[1]; });
    if (!counted) return counted.error();
    return total;
}

// Pixels per sample of a bitmap with one sample a pixel: per index, or per level of 16-bit greys.
template <typename Sample>
Result<Levels> count_samples(const Bitmap& bitmap, const Region* region, const Context& context) {
    const std::size_t levels = sizeof(Sample) == 1 ? 256 : std::size_t{1} << bitmap.bits();
    Levels total(levels);
    const auto counted = for_pixels(
        bitmap, region, context, [&] { return Tally<Sample>{levels}; },
        [&](auto& tally, int y, const Run& run) {
            tally.template add<1>(reinterpret_cast<const Sample*>(bitmap.row(y).data()) + run.first,
                                  static_cast<std::size_t>(run.last - run.first));
        },
        [&](const auto& tally) { tally.add_to(total); });
    if (!counted) return counted.error();
    return total;
}

// Pixels per palette index, or per level of 16-bit greys.
Result<Levels> count_plain(const Bitmap& bitmap, const Region* region, const Context& context) {
    switch (bitmap.layout()) {
        case Layout::bit1: return count_bits(bitmap, region, context);
        case Layout::index8: return count_samples<std::uint8_t>(bitmap, region, context);
        default: return count_samples<std::uint16_t>(bitmap, region, context);
    }
}

bool asked(Channels channels, int channel) { return channels >> channel & 1U; }

Statistics from_palette(const Levels& indices, const Palette& palette, Channels channels) {
    Statistics statistics;
    for (int channel = kMaster; channel <= kBlue; ++channel) {
        if (!asked(channels, channel)) continue;
        Levels& levels = statistics.levels[static_cast<std::size_t>(channel)];
        levels.resize(256);
        for (std::size_t i = 0; i < indices.size(); ++i) {
            const Rgba colour = colour_of(palette, i);
            const std::uint8_t values[] = {luminance(colour.r, colour.g, colour.b), colour.r, colour.g,
                                           colour.b};
            levels[values[channel]] += indices[i];
        }
    }
    return statistics;
}

template <std::size_t step>
void add_luminances(Tally<std::uint8_t>& tally, const std::uint8_t* in, std::size_t count) {
    std::array<std::uint8_t, kSomePixels> some;
    while (count > 0) {
        const std::size_t now = std::min(count, some.size());
        luminance_row(in, some.data(), now, step);
        tally.add<1>(some.data(), now);
        in += now * step, count -= now;
    }
}

template <std::size_t step>
Result<Statistics> count_channels(const Bitmap& bitmap, const Region* region, Channels channels,
                                  const Context& context) {
    Statistics statistics;
    std::vector<int> wanted;
    for (int channel = kMaster; channel <= kBlue; ++channel) {
        if (!asked(channels, channel)) continue;
        statistics.levels[static_cast<std::size_t>(channel)].resize(256);
        wanted.push_back(channel);
    }
    const auto counted = for_pixels(
        bitmap, region, context, [&] { return std::vector(wanted.size(), Tally<std::uint8_t>{256}); },
        [&](auto& tallies, int y, const Run& run) {
            const std::uint8_t* const in = bitmap.row(y).data() + static_cast<std::size_t>(run.first) * step;
            const auto count = static_cast<std::size_t>(run.last - run.first);
            for (std::size_t i = 0; i < wanted.size(); ++i) {
                if (wanted[i] == kMaster)
                    add_luminances<step>(tallies[i], in, count);
                else
                    tallies[i].template add<step>(in + wanted[i] - kRed, count);
            }
        },
        [&](const auto& tallies) {
            for (std::size_t i = 0; i < wanted.size(); ++i)
                tallies[i].add_to(statistics.levels[static_cast<std::size_t>(wanted[i])]);
        });
    if (!counted) return counted.error();
    return statistics;
}

std::int64_t count_used(const Levels& counts) {
    return std::ranges::count_if(counts, [](std::int64_t pixels) { return pixels > 0; });
}

// Colours of a palette that pixels use; two equal entries are one colour.
std::int64_t count_entries(const Levels& indices, const Palette& palette) {
    std::vector<std::uint32_t> used;
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const Rgba colour = colour_of(palette, i);
        if (indices[i] > 0) used.push_back(colour.r << 16U | colour.g << 8U | colour.b);
    }
    std::sort(used.begin(), used.end());
    return std::unique(used.begin(), used.end()) - used.begin();
}

// One bit per 24-bit colour. Each working thread has a set of its own: waiting for one another at every pixel
// would cost more than joining them in the end.
class ColourSets {
  public:
    static constexpr std::size_t kWords = (std::size_t{1} << 24) / 64;

    // A set that nobody works with; nullptr when memory is short.
    std::uint64_t* take() {
        const std::scoped_lock lock{mutex_};
        if (free_.empty()) {
            Buffer fresh = Buffer::allocate_zeroed(kWords * sizeof(std::uint64_t));
            if (!fresh) return nullptr;
            free_.push_back(reinterpret_cast<std::uint64_t*>(fresh.data()));
            all_.push_back(std::move(fresh));
        }
        std::uint64_t* const set = free_.back();
        free_.pop_back();
        return set;
    }

    void give_back(std::uint64_t* set) {
        const std::scoped_lock lock{mutex_};
        free_.push_back(set);
    }

    std::int64_t count() const {
        std::int64_t colours = 0;
        for (std::size_t i = 0; i < kWords; ++i) {
            std::uint64_t joined = 0;
            for (const std::uint64_t* set : free_) joined |= set[i];
            colours += std::popcount(joined);
        }
        return colours;
    }

  private:
    std::mutex mutex_;
    std::vector<Buffer> all_;
    std::vector<std::uint64_t*> free_;
};

// The bit is set whether it was or not: asking first costs a misguessed branch at every new colour.
template <std::size_t step>
void mark(std::uint64_t* set, const std::uint8_t* in, std::size_t count) {
    const auto mark_one = [set](const std::uint8_t* at) {
        const std::uint32_t colour = at[0] << 16U | at[1] << 8U | at[2];
        set[colour / 64] |= std::uint64_t{1} << colour % 64;
    };
    for (; count >= kBlock; count -= kBlock, in += kBlock * step) {
        fetch_ahead(in);
        for (std::size_t i = 0; i < kBlock; ++i) mark_one(in + i * step);
    }
    for (; count > 0; --count, in += step) mark_one(in);
}

template <std::size_t step>
Result<std::int64_t> count_marks(const Bitmap& bitmap, const Region* region, const Context& context) {
    ColourSets sets;
    bool short_of_memory = false;  // written under the loop's lock
    const auto counted = for_pixels(
        bitmap, region, context, [&] { return sets.take(); },
        [&](std::uint64_t* set, int y, const Run& run) {
            if (!set) return;
            mark<step>(set, bitmap.row(y).data() + static_cast<std::size_t>(run.first) * step,
                       static_cast<std::size_t>(run.last - run.first));
        },
        [&](std::uint64_t* set) {
            if (set)
                sets.give_back(set);
            else
                short_of_memory = true;
        });
    if (!counted) return counted.error();
    if (short_of_memory) return Error{Fault::out_of_memory, "counting colours"};
    return sets.count();
}

}  // namespace

Result<Statistics> gather_statistics(const Bitmap& bitmap, const Region* region, Channels channels,
                                     const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (bitmap.layout() == Layout::rgb24) return count_channels<3>(bitmap, region, channels, context);
    if (bitmap.layout() == Layout::rgba32) return count_channels<4>(bitmap, region, channels, context);
    const auto counts = count_plain(bitmap, region, context);
    if (!counts) return counts.error();
    if (bitmap.layout() != Layout::gray16) return from_palette(*counts, bitmap.palette(), channels);
    Statistics statistics;
    for (int channel = kMaster; channel <= kBlue; ++channel)
        if (asked(channels, channel)) statistics.levels[static_cast<std::size_t>(channel)] = *counts;
    return statistics;
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

Result<std::int64_t> count_colours(const Bitmap& bitmap, const Region* region, const Context& context) try {
    if (bitmap.empty()) return Error{Fault::malformed, "no image"};
    if (bitmap.layout() == Layout::rgb24) return count_marks<3>(bitmap, region, context);
    if (bitmap.layout() == Layout::rgba32) return count_marks<4>(bitmap, region, context);
    const auto counts = count_plain(bitmap, region, context);
    if (!counts) return counts.error();
    return bitmap.layout() == Layout::gray16 ? count_used(*counts) : count_entries(*counts, bitmap.palette());
} catch (const std::bad_alloc&) {
    return kOutOfMemory;
}

}  // namespace quillmark::imaging
