// Exact medians of large windows, tile by tile: a window's median is the least level at or below which half
// of its samples lie. How many lie at or below a level is a box sum, cheap for a whole tile at once; a search
// that halves the levels asks only where medians of the tile are, and neighbouring medians are close to each
// other.
#include <algorithm>
#include <utility>

#include "imaging/ops/levels.h"
#include "imaging/ops/median.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

using Byte = std::uint8_t;

constexpr std::size_t kTileWidth = 128;
constexpr std::size_t kChunk = 16;  // rows between two looks at a row: more than a store takes to arrive

// One threshold for a whole tile.
struct Pass {
    const Byte* samples;  // stride x (rows + window - 1), and a row of 255 before them
    std::size_t stride, rows, window;
    Byte* counts;        // stride x (chunk + 1): per column, how many of a window's rows are at or below
    Byte *twos, *fours;  // stride x chunk: sums of counts side by side
    // Those of larger windows, stride x chunk each.
    std::uint16_t *powers, *next_powers, *sums;
    Byte* result;  // tile width x rows
    std::uint16_t half;
    Byte threshold, low;
};

// What a threshold did: whether results stayed at the low mark, and whether some rose above the threshold.
struct Marks {
    Byte stayed = 0, rose = 0;
};

[[gnu::always_inline]] inline void count_first_rows(const Pass& pass, Byte* __restrict counts) {
    for (std::size_t i = 0; i < pass.stride; ++i) counts[i] = 0;
    for (std::size_t y = 0; y + 1 < pass.window; ++y) {
        const Byte* __restrict row = pass.samples + y * pass.stride;
        for (std::size_t i = 0; i < pass.stride; ++i)
            counts[i] = static_cast<Byte>(counts[i] + (row[i] <= pass.threshold ? 1 : 0));
    }
}

// The counts of one row of windows out of those of the row above.
[[gnu::always_inline]] inline void count_row(const Pass& pass, std::size_t y, const Byte* __restrict above,
                                             Byte* __restrict counts) {
    const Byte* __restrict entering = pass.samples + (y + pass.window - 1) * pass.stride;
    const Byte* __restrict leaving = pass.samples + y * pass.stride - pass.stride;
    for (std::size_t i = 0; i < pass.stride; ++i)
        counts[i] = static_cast<Byte>(above[i] + (entering[i] <= pass.threshold ? 1 : 0) -
                                      (leaving[i] <= pass.threshold ? 1 : 0));
}

// A result whose window has fewer than half of its samples at or below the threshold rises to the level above
// it.
template <typename Sum>
[[gnu::always_inline]] inline void raise(Sum sum, Sum half, Byte low, Byte risen, Byte& result, Byte& stayed,
                                         Byte& rose) {
    const Byte least = sum < half ? risen : Byte{0};
    const Byte now = result < least ? least : result;
    result = now;
    stayed = static_cast<Byte>(stayed | (now == low ? 255 : 0));
    rose = static_cast<Byte>(rose | (now == risen ? 255 : 0));
}

template <typename Sum>
[[gnu::always_inline]] inline void add_shifted(const Sum* __restrict in, std::size_t shift,
                                               Sum* __restrict out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<Sum>(in[i] + in[i + shift]);
}

// Windows of 7 to 15 pixels: sums in bytes, out of sums of two and four columns.
template <int kWindow>
struct SmallWindows {
    [[gnu::always_inline]] static void raise_rows(const Pass& pass, std::size_t first, std::size_t rows,
                                                  Marks& marks) {
        const std::size_t stride = pass.stride;
        add_shifted(pass.counts, 1, pass.twos, rows * stride);
        add_shifted(pass.twos, 2, pass.fours, rows * stride);
        for (std::size_t y = 0; y < rows; ++y) {
            const std::size_t at = y * stride;
            raise_row(pass.counts + at, pass.twos + at, pass.fours + at, pass, (first + y) * kTileWidth,
                      marks);
        }
    }

    [[gnu::always_inline]] static void raise_row(const Byte* __restrict ones, const Byte* __restrict twos,
                                                 const Byte* __restrict fours, const Pass& pass,
                                                 std::size_t at, Marks& marks) {
        Byte* __restrict result = pass.result + at;
        const auto half = static_cast<Byte>(pass.half), risen = static_cast<Byte>(pass.threshold + 1);
        const Byte low = pass.low;
        Byte stayed = 0, rose = 0;
        for (std::size_t i = 0; i < kTileWidth; ++i) {
            Byte sum = static_cast<Byte>(fours[i] + ones[i + kWindow - 1]);
            if constexpr (kWindow >= 9) sum = static_cast<Byte>(sum + fours[i + 4]);
            if constexpr (kWindow >= 13) sum = static_cast<Byte>(sum + fours[i + 8]);
            if constexpr (kWindow % 4 == 3) sum = static_cast<Byte>(sum + twos[i + kWindow - 3]);
            raise(sum, half, low, risen, result[i], stayed, rose);
        }
        marks.stayed |= stayed, marks.rose |= rose;
    }
};

// Windows of any size: sums of 2, 4, 8 ... columns, of which those that make up the size are added.
struct LargeWindows {
    [[gnu::always_inline]] static void raise_rows(const Pass& pass, std::size_t first, std::size_t rows,
                                                  Marks& marks) {
        const std::size_t count = rows * pass.stride;
        std::uint16_t *power = pass.powers, *next = pass.next_powers;
        widen(pass.counts, power, pass.sums, count);
        std::size_t covered = 1;
        for (std::size_t columns = 2; columns <= pass.window; columns *= 2) {
            add_shifted(power, columns / 2, next, count);
            std::swap(power, next);
            if (!(pass.window & columns)) continue;
            add(power + covered, pass.sums, count);
            covered += columns;
        }
        for (std::size_t y = 0; y < rows; ++y)
            raise_row(pass.sums + y * pass.stride, pass, (first + y) * kTileWidth, marks);
    }

    [[gnu::always_inline]] static void widen(const Byte* __restrict counts, std::uint16_t* __restrict power,
                                             std::uint16_t* __restrict sums, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) power[i] = sums[i] = counts[i];
    }

    [[gnu::always_inline]] static void add(const std::uint16_t* __restrict in, std::uint16_t* __restrict sums,
                                           std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) sums[i] = static_cast<std::uint16_t>(sums[i] + in[i]);
    }

    [[gnu::always_inline]] static void raise_row(const std::uint16_t* __restrict sums, const Pass& pass,
                                                 std::size_t at, Marks& marks) {
        Byte* __restrict result = pass.result + at;
        const auto risen = static_cast<Byte>(pass.threshold + 1);
        const std::uint16_t half = pass.half;
        const Byte low = pass.low;
        Byte stayed = 0, rose = 0;
        for (std::size_t i = 0; i < kTileWidth; ++i)
            raise(sums[i], half, low, risen, result[i], stayed, rose);
        marks.stayed |= stayed, marks.rose |= rose;
    }
};

template <typename Windows>
struct Raise {
    [[gnu::always_inline]] static void run(const Pass& pass, Marks& marks) {
        const std::size_t stride = pass.stride;
        Byte* const above = pass.counts + kChunk * stride;  // the counts of the row above the chunk
        count_first_rows(pass, above);
        for (std::size_t first = 0; first < pass.rows; first += kChunk) {
            const std::size_t rows = std::min(kChunk, pass.rows - first);
            for (std::size_t y = 0; y < rows; ++y) {
                Byte* const counts = pass.counts + y * stride;
                count_row(pass, first + y, y == 0 ? above : counts - stride, counts);
            }
            Windows::raise_rows(pass, first, rows, marks);
            std::memcpy(above, pass.counts + (rows - 1) * stride, stride);
        }
    }
};

struct Extremes {
    [[gnu::always_inline]] static void run(const Byte* __restrict samples, std::size_t count, Byte& low,
                                           Byte& high) {
        Byte least = 255, greatest = 0;
        for (std::size_t i = 0; i < count; ++i) {
            least = samples[i] < least ? samples[i] : least;
            greatest = samples[i] > greatest ? samples[i] : greatest;
        }
        low = least, high = greatest;
    }
};

template <int kChannels>
void take_channel(const Byte* from, Byte* to, int count) {
    for (int i = 0; i < count; ++i) to[i] = from[i * kChannels];
}

template <int kChannels>
void put_channel(const Byte* from, Byte* to, int count) {
    for (int i = 0; i < count; ++i) to[i * kChannels] = from[i];
}

class TileMedian {
  public:
    TileMedian(const Bitmap& in, int radius, int height)
        : in_{in},
          radius_{radius},
          stride_{(kTileWidth + 2 * static_cast<std::size_t>(radius) + 15) / 16 * 16},
          samples_{stride_ * static_cast<std::size_t>(height + 2 * radius + 1)},
          result_{kTileWidth * static_cast<std::size_t>(height)},
          counts_{stride_ * (kChunk + 1)},
          twos_{stride_ * kChunk},
          fours_{stride_ * kChunk},
          powers_{stride_ * kChunk},
          next_powers_{stride_ * kChunk},
          sums_{stride_ * kChunk} {}
    explicit operator bool() const {
        return samples_ && result_ && counts_ && twos_ && fours_ && powers_ && next_powers_ && sums_;
    }

    // The medians of one channel: the pixels from (left, top) on, a tile wide and rows high, into out.
    template <int kChannels>
    void run(int channel, int left, int top, int rows, Bitmap& out) {
        std::fill_n(samples_.data(), stride_, Byte{255});
        for (int y = 0; y < rows + 2 * radius_; ++y)
            load_row<kChannels>(in_.row(std::clamp(top - radius_ + y, 0, in_.height() - 1)).data() + channel,
                                left - radius_, samples_.data() + stride_ * static_cast<std::size_t>(y + 1));
        search_tile(static_cast<std::size_t>(rows));
        const int columns = std::min(static_cast<int>(kTileWidth), in_.width() - left);
        for (int y = 0; y < rows; ++y)
            put_channel<kChannels>(result_.data() + static_cast<std::size_t>(y) * kTileWidth,
                                   out.writable_row(top + y).data() + left * kChannels + channel, columns);
    }

  private:
    // One row of the tile from pixel `left` on, the border pixels repeated.
    template <int kChannels>
    void load_row(const Byte* row, int left, Byte* to) const {
        const int count = static_cast<int>(stride_), width = in_.width();
        const int before = std::clamp(-left, 0, count), behind = std::clamp(width - left, before, count);
        std::fill_n(to, before, row[0]);
        take_channel<kChannels>(row + (left + before) * kChannels, to + before, behind - before);
        std::fill(to + behind, to + count, row[(width - 1) * kChannels]);
    }

    void search_tile(std::size_t rows) {
        const auto window = 2 * static_cast<std::size_t>(radius_) + 1;
        pass_ = {.samples = samples_.data() + stride_,
                 .stride = stride_,
                 .rows = rows,
                 .window = window,
                 .counts = counts_.data(),
                 .twos = twos_.data(),
                 .fours = fours_.data(),
                 .powers = powers_.data(),
                 .next_powers = next_powers_.data(),
                 .sums = sums_.data(),
                 .result = result_.data(),
                 .half = static_cast<std::uint16_t>(window * window / 2 + 1),
                 .threshold = 0,
                 .low = 0};
        Byte low = 0, high = 0;
        run_widest<Extremes, const Byte*, std::size_t, Byte&, Byte&>(
            pass_.samples, stride_ * (rows + window - 1), low, high);
        std::fill_n(result_.data(), kTileWidth * rows, low);
        search(low, high);
    }

    // Some medians lie within [low, high]: those whose result is low so far.
    void search(int low, int high) {
        if (low == high) return;
        const int middle = (low + high) / 2;
        pass_.threshold = static_cast<Byte>(middle);
        pass_.low = static_cast<Byte>(low);
        const Marks marks = raise_tile();
        if (marks.stayed) search(low, middle);
        if (marks.rose) search(middle + 1, high);
    }

    Marks raise_tile() const {
        Marks marks;
        switch (radius_) {
            case 3: run_widest<Raise<SmallWindows<7>>, const Pass&, Marks&>(pass_, marks); break;
            case 4: run_widest<Raise<SmallWindows<9>>, const Pass&, Marks&>(pass_, marks); break;
            case 5: run_widest<Raise<SmallWindows<11>>, const Pass&, Marks&>(pass_, marks); break;
            case 6: run_widest<Raise<SmallWindows<13>>, const Pass&, Marks&>(pass_, marks); break;
            case 7: run_widest<Raise<SmallWindows<15>>, const Pass&, Marks&>(pass_, marks); break;
            default: run_widest<Raise<LargeWindows>, const Pass&, Marks&>(pass_, marks); break;
        }
        return marks;
    }

    const Bitmap& in_;
    int radius_;
    std::size_t stride_;
    Scratch<Byte> samples_, result_, counts_, twos_, fours_;
    Scratch<std::uint16_t> powers_, next_powers_, sums_;
    Pass pass_{};
};

template <int kChannels>
bool median_tiles(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    TileMedian tile{in, radius, kMedianBand};
    if (!tile) return false;
    for (int top = first; top < last; top += kMedianBand)
        for (int left = 0; left < in.width(); left += static_cast<int>(kTileWidth))
            for (int channel = 0; channel < std::min(kChannels, 3); ++channel)
                tile.run<kChannels>(channel, left, top, std::min(kMedianBand, last - top), out);
    return true;
}

}  // namespace

bool median_by_thresholds(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    switch (level_form(in).channels) {
        case 3: return median_tiles<3>(in, out, first, last, radius);
        case 4: return median_tiles<4>(in, out, first, last, radius);
        default: return median_tiles<1>(in, out, first, last, radius);
    }
}

}  // namespace quillmark::imaging
