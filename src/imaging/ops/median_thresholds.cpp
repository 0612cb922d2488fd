// Exact medians of large windows, tile by tile: a window's median is the least level at or below which half
// of its samples lie. How many lie at or below a level is a box sum, cheap for a whole tile at once; a search
// that halves the levels asks only where medians of the tile are, and neighbouring medians are close to each
// other.
#include <algorithm>
#include <array>

#include "imaging/ops/levels.h"
#include "imaging/ops/median.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

using Byte = std::uint8_t;

constexpr int kTileWidth = 128;
constexpr int kSmallRadius = 7;  // up to here the samples of a window can be counted in a byte

// Counts per column of a tile's window rows how many samples are at or below a threshold.
struct AddCounts {
    [[gnu::always_inline]] static void run(Byte* __restrict counts, const Byte* __restrict entering,
                                           Byte threshold, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i)
            counts[i] = static_cast<Byte>(counts[i] + (entering[i] <= threshold ? 1 : 0));
    }
};

struct MoveCounts {
    [[gnu::always_inline]] static void run(Byte* __restrict counts, const Byte* __restrict entering,
                                           const Byte* __restrict leaving, Byte threshold,
                                           std::size_t width) {
        for (std::size_t i = 0; i < width; ++i)
            counts[i] = static_cast<Byte>(counts[i] + (entering[i] <= threshold ? 1 : 0) -
                                          (leaving[i] <= threshold ? 1 : 0));
    }
};

// What a threshold did: whether samples stayed at the low mark, and whether some rose above the threshold.
struct Marks {
    Byte stayed = 0, rose = 0;
};

template <typename Sum>
[[gnu::always_inline]] inline void raise_row(const Sum* __restrict sums, Sum half, Byte low, Byte risen,
                                             Byte* __restrict result, Marks& marks) {
    Byte stayed = 0, rose = 0;
    for (std::size_t i = 0; i < kTileWidth; ++i) {
        const Byte least = sums[i] < half ? risen : Byte{0};
        const Byte now = result[i] < least ? least : result[i];
        result[i] = now;
        stayed |= now == low ? Byte{255} : Byte{0};
        rose |= now == risen ? Byte{255} : Byte{0};
    }
    marks.stayed |= stayed, marks.rose |= rose;
}

// Sums of 7 to 15 columns out of sums of two and four.
template <int kWindow>
struct RaiseSmall {
    [[gnu::always_inline]] static void run(const Byte* __restrict counts, Byte* __restrict twos,
                                           Byte* __restrict fours, Byte* __restrict sums, Byte half, Byte low,
                                           Byte risen, Byte* __restrict result, Marks* marks) {
        constexpr std::size_t kWidth = kTileWidth + 16;
        for (std::size_t i = 0; i < kWidth; ++i) twos[i] = static_cast<Byte>(counts[i] + counts[i + 1]);
        for (std::size_t i = 0; i < kWidth; ++i) fours[i] = static_cast<Byte>(twos[i] + twos[i + 2]);
        for (std::size_t i = 0; i < kTileWidth; ++i) {
            Byte sum = static_cast<Byte>(fours[i] + counts[i + kWindow - 1]);
            if constexpr (kWindow >= 9) sum = static_cast<Byte>(sum + fours[i + 4]);
            if constexpr (kWindow >= 13) sum = static_cast<Byte>(sum + fours[i + 8]);
            if constexpr (kWindow % 4 == 3) sum = static_cast<Byte>(sum + twos[i + kWindow - 3]);
            sums[i] = sum;
        }
        raise_row<Byte>(sums, half, low, risen, result, *marks);
    }
};

struct RaiseLarge {
    [[gnu::always_inline]] static void run(const std::uint16_t* __restrict sums, std::uint16_t half, Byte low,
                                           Byte risen, Byte* __restrict result, Marks* marks) {
        raise_row<std::uint16_t>(sums, half, low, risen, result, *marks);
    }
};

class TileMedian {
  public:
    TileMedian(int radius, int height)
        : radius_{radius},
          half_{static_cast<std::uint16_t>((2 * radius + 1) * (2 * radius + 1) / 2 + 1)},
          stride_{static_cast<std::size_t>(kTileWidth + 2 * radius)},
          samples_{stride_ * static_cast<std::size_t>(height + 2 * radius)},
          result_{static_cast<std::size_t>(kTileWidth) * static_cast<std::size_t>(height)} {}
    explicit operator bool() const { return samples_ && result_; }

    // Works out the medians of one channel for height rows of pixels from (left, top) on.
    void run(const Bitmap& in, int channels, int channel, int left, int top, int height) {
        load(in, channels, channel, left, top, height);
        height_ = height;
        const std::size_t all = stride_ * static_cast<std::size_t>(height + 2 * radius_);
        const auto [low, high] = std::minmax_element(samples_.data(), samples_.data() + all);
        std::fill_n(result_.data(), static_cast<std::size_t>(kTileWidth * height), *low);
        search(*low, *high);
    }
    const Byte* row(int y) const { return result_.data() + static_cast<std::size_t>(y * kTileWidth); }

  private:
    void load(const Bitmap& in, int channels, int channel, int left, int top, int height) {
        std::array<int, kTileWidth + 2 * 63> offsets;
        for (std::size_t i = 0; i < stride_; ++i)
            offsets[i] =
                std::clamp(left - radius_ + static_cast<int>(i), 0, in.width() - 1) * channels + channel;
        for (int y = 0; y < height + 2 * radius_; ++y) {
            const Byte* from = in.row(std::clamp(top - radius_ + y, 0, in.height() - 1)).data();
            Byte* to = sample_row(y);
            for (std::size_t i = 0; i < stride_; ++i) to[i] = from[offsets[i]];
        }
    }

    // Some medians lie within [low, high]: those whose result is low so far.
    void search(int low, int high) {
        if (low == high) return;
        const int middle = (low + high) / 2;
        const Marks marks = raise(static_cast<Byte>(middle), static_cast<Byte>(low));
        if (marks.stayed) search(low, middle);
        if (marks.rose) search(middle + 1, high);
    }

    // Raises the results whose windows have fewer than half of their samples at or below the threshold to the
    // level above it.
    Marks raise(Byte threshold, Byte low) {
        counts_.fill(0);
        for (int y = 0; y < 2 * radius_ + 1; ++y)
            run_widest<AddCounts>(counts_.data(), sample_row(y), threshold, stride_);
        Marks marks;
        const auto risen = static_cast<Byte>(threshold + 1);
        for (int y = 0; y < height_; ++y) {
            if (y > 0)
                run_widest<MoveCounts>(counts_.data(), sample_row(y + 2 * radius_), sample_row(y - 1),
                                       threshold, stride_);
            raise_one(result_.data() + static_cast<std::size_t>(y * kTileWidth), low, risen, marks);
        }
        return marks;
    }

    void raise_one(Byte* result, Byte low, Byte risen, Marks& marks) {
        switch (radius_) {
            case 3: return raise_small<7>(result, low, risen, marks);
            case 4: return raise_small<9>(result, low, risen, marks);
            case 5: return raise_small<11>(result, low, risen, marks);
            case 6: return raise_small<13>(result, low, risen, marks);
            case 7: return raise_small<15>(result, low, risen, marks);
            default: break;
        }
        // Differences of running totals, which may wrap around.
        std::uint16_t total = 0;
        totals_[0] = 0;
        for (std::size_t i = 0; i < stride_; ++i)
            totals_[i + 1] = total = static_cast<std::uint16_t>(total + counts_[i]);
        const auto window = static_cast<std::size_t>(2 * radius_ + 1);
        for (std::size_t i = 0; i < kTileWidth; ++i)
            sums_[i] = static_cast<std::uint16_t>(totals_[i + window] - totals_[i]);
        run_widest<RaiseLarge>(static_cast<const std::uint16_t*>(sums_.data()), half_, low, risen, result,
                               &marks);
    }

    template <int kWindow>
    void raise_small(Byte* result, Byte low, Byte risen, Marks& marks) {
        run_widest<RaiseSmall<kWindow>>(static_cast<const Byte*>(counts_.data()), twos_.data(), fours_.data(),
                                        byte_sums_.data(), static_cast<Byte>(half_), low, risen, result,
                                        &marks);
    }

    Byte* sample_row(int y) { return samples_.data() + static_cast<std::size_t>(y) * stride_; }

    static constexpr std::size_t kMost = kTileWidth + 2 * 63 + 64;
    int radius_;
    std::uint16_t half_;
    std::size_t stride_;
    Scratch<Byte> samples_, result_;
    int height_ = 0;
    std::array<Byte, kMost> counts_{}, twos_{}, fours_{}, byte_sums_{};
    std::array<std::uint16_t, kMost> totals_{}, sums_{};
};

}  // namespace

bool median_by_thresholds(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    const int channels = level_form(in).channels;
    const int height = radius <= kSmallRadius ? kMedianBand : 2 * kMedianBand;
    TileMedian tile{radius, height};
    if (!tile) return false;
    for (int top = first; top < last; top += height) {
        const int rows = std::min(height, last - top);
        for (int left = 0; left < in.width(); left += kTileWidth) {
            const int columns = std::min(kTileWidth, in.width() - left);
            for (int channel = 0; channel < std::min(channels, 3); ++channel) {
                tile.run(in, channels, channel, left, top, rows);
                for (int y = 0; y < rows; ++y) {
                    Byte* to = out.writable_row(top + y).data() + left * channels + channel;
                    for (int x = 0; x < columns; ++x) to[x * channels] = tile.row(y)[x];
                }
            }
        }
    }
    return true;
}

}  // namespace quillmark::imaging
