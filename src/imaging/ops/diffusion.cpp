#include "imaging/ops/diffusion.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <thread>

#include "imaging/convert_depth.h"
#include "imaging/ops/grayscale.h"
#include "imaging/ops/index_rows.h"
#include "imaging/ops/nearest_colour.h"
#include "imaging/threads.h"

namespace quillmark::imaging {
namespace {

constexpr int kBlock = 128;   // pixels that a row goes ahead at a time; a multiple of 8
constexpr int kTogether = 3;  // rows that one thread works on in turns, pixel by pixel: each waits for its
                              // left neighbour's error, so one row alone leaves the processor idle
constexpr int kMargin = 3;    // pixels beyond both ends of a row, always without error
constexpr int kDepth = 3;     // rows below that an error reaches

// How the error is shared: to the next two pixels, and to pixels -3 to 3 of the rows below.
struct Weights {
    int divisor;
    std::array<int, 2> right;
    std::array<std::array<int, 7>, kDepth> below;
};

constexpr Weights kFloydSteinberg{16, {7, 0}, {{{0, 0, 3, 5, 1, 0, 0}}}};
constexpr Weights kStucki{42, {8, 4}, {{{0, 2, 4, 8, 4, 2, 0}, {0, 1, 2, 4, 2, 1, 0}}}};
constexpr Weights kBurkes{32, {8, 4}, {{{0, 2, 4, 8, 4, 2, 0}}}};
constexpr Weights kSierra{32, {5, 3}, {{{0, 2, 4, 5, 4, 2, 0}, {0, 0, 2, 3, 2, 0, 0}}}};
constexpr Weights kStevensonArce{
    200, {0, 32}, {{{12, 0, 26, 0, 30, 0, 16}, {0, 12, 0, 26, 0, 12, 0}, {5, 0, 12, 0, 12, 0, 5}}}};
constexpr Weights kJarvis{48, {7, 5}, {{{0, 3, 5, 7, 5, 3, 0}, {0, 1, 3, 5, 3, 1, 0}}}};

constexpr int weight_sum(const Weights& w) {
    int sum = w.right[0] + w.right[1];
    for (const auto& row : w.below)
        for (const int weight : row) sum += weight;
    return sum;
}
static_assert(weight_sum(kFloydSteinberg) == 16 && weight_sum(kStucki) == 42 && weight_sum(kBurkes) == 32 &&
              weight_sum(kSierra) == 32 && weight_sum(kStevensonArce) == 200 && weight_sum(kJarvis) == 48);

// Levels and errors in units of 1 / divisor: at most 2 x 255 x divisor either way.
template <const Weights& W>
using Scaled = std::conditional_t<W.divisor <= 48, std::int16_t, std::int32_t>;

// sum / divisor rounded down, for sums from -256 divisor on.
template <const Weights& W>
int whole(int sum) {
    if constexpr ((W.divisor & (W.divisor - 1)) == 0) return sum / W.divisor - (sum % W.divisor < 0);
    return static_cast<int>(static_cast<unsigned>(sum + 256 * W.divisor) / W.divisor) - 256;
}

// Onto a palette of greys: one channel, every level's entry known.
struct GreyChoice {
    static constexpr int kChannels = 1;
    std::array<std::uint8_t, 256> index;
    std::array<std::int16_t, 256> error;

    explicit GreyChoice(const Palette& palette) : index{nearest_greys(palette)} {
        for (std::size_t v = 0; v < 256; ++v)
            error[v] = static_cast<std::int16_t>(static_cast<int>(v) - palette[index[v]].r);
    }
    std::uint8_t operator()(const std::array<int, 1>& want, std::array<int, 1>& off) const {
        const auto at = static_cast<std::uint8_t>(want[0]);
        off[0] = error[at];
        return index[at];
    }
};

struct ColourChoice {
    static constexpr int kChannels = 3;
    std::array<std::uint8_t, NearestColour::kCells> by_cell;
    std::array<Rgba, 256> colours{};

    explicit ColourChoice(const Palette& palette) : by_cell{NearestColour{palette}.by_cell()} {
        std::ranges::copy(palette, colours.begin());
    }
    std::uint8_t operator()(const std::array<int, 3>& want, std::array<int, 3>& off) const {
        const int cell = NearestColour::cell_of(want[0], want[1], want[2]);
        const std::uint8_t index = by_cell.data()[cell];  // levels are clamped: no further check in this loop
        const Rgba& got = colours[index];
        off = {want[0] - got.r, want[1] - got.g, want[2] - got.b};
        return index;
    }
};

// The levels of pixels, one or three channels.
template <int Channels>
class Levels {
  public:
    explicit Levels(const Bitmap& bitmap) : bitmap_{bitmap}, table_{luminance_of(bitmap.palette())} {}
    void get(int y, int first, std::span<std::uint8_t> out) const {
        if constexpr (Channels == 1)
            luminance_row(bitmap_, y, first, out, table_);
        else
            row_to_rgb(bitmap_, y, first, out);
    }

  private:
    const Bitmap& bitmap_;
    LevelTable table_;
};

// What one row is at: the block's sums from the rows above, and the errors of the two pixels on the left.
template <const Weights& W, int Channels>
struct Row {
    int y = 0;
    std::int16_t* error = nullptr;                    // of pixel 0; margins on both sides
    std::array<const std::int16_t*, kDepth> above{};  // errors of the rows above, of pixel 0
    std::array<std::array<int, Channels>, 2> left{};  // errors of the last pixel and the one before
    alignas(32) std::array<std::uint8_t, kBlock * Channels> level;
    alignas(32) std::array<Scaled<W>, kBlock * Channels> sum;  // level, rounding and errors from above
    std::array<std::uint8_t, kBlock> index;
};

// Errors that come from above, for a block that begins at pixel first.
template <const Weights& W, int Channels>
void gather(Row<W, Channels>& row, int first, int count) {
    const int samples = count * Channels;
    for (int i = 0; i < samples; ++i) {
        row.sum[static_cast<std::size_t>(i)] =
            static_cast<Scaled<W>>(row.level[static_cast<std::size_t>(i)] * W.divisor + W.divisor / 2);
    }
    Scaled<W>* const sum = row.sum.data();
    const auto add = [&]<std::size_t Tap>(std::integral_constant<std::size_t, Tap>) {
        constexpr int kWeight = W.below[Tap / 7][Tap % 7], kAside = static_cast<int>(Tap % 7) - 3;
        if constexpr (kWeight != 0) {
            const std::int16_t* from = row.above[Tap / 7] + (first - kAside) * Channels;
            for (int i = 0; i < samples; ++i) sum[i] = static_cast<Scaled<W>>(sum[i] + from[i] * kWeight);
        }
    };
    [&]<std::size_t... Taps>(std::index_sequence<Taps...>) {
        (add(std::integral_constant<std::size_t, Taps>{}), ...);
    }
    (std::make_index_sequence<7 * kDepth>{});
}

// Pixels [from, to) of the blocks of Count rows, in turns. firsts: where the blocks begin.
template <std::size_t Count, const Weights& W, typename Choice>
void choose(std::span<Row<W, Choice::kChannels>* const, Count> rows, const std::array<int, kTogether>& firsts,
            int from, int to, const Choice& choice) {
    constexpr int kChannels = Choice::kChannels;
    std::array<std::array<std::array<int, kChannels>, 2>, Count> left;
    std::array<const Scaled<W>*, Count> sum;
    std::array<std::int16_t*, Count> error;
    std::array<std::uint8_t*, Count> index;
    for (std::size_t r = 0; r < Count; ++r) {
        left[r] = rows[r]->left;
        sum[r] = rows[r]->sum.data();
        error[r] = rows[r]->error + firsts[r] * kChannels;
        index[r] = rows[r]->index.data();
    }
    for (int x = from; x < to; ++x) {
        for (std::size_t r = 0; r < Count; ++r) {
            std::array<int, kChannels> want, off;
            for (std::size_t c = 0; c < kChannels; ++c) {
                const int value = whole<W>(sum[r][x * kChannels + static_cast<int>(c)] +
                                           left[r][0][c] * W.right[0] + left[r][1][c] * W.right[1]);
                want[c] = std::clamp(value, 0, 255);
            }
            index[r][x] = choice(want, off);
            left[r][1] = left[r][0];
            left[r][0] = off;
            for (std::size_t c = 0; c < kChannels; ++c)
                error[r][x * kChannels + static_cast<int>(c)] = static_cast<std::int16_t>(off[c]);
        }
    }
    for (std::size_t r = 0; r < Count; ++r) rows[r]->left = left[r];
}

// The whole job: groups of kTogether rows, taken by the threads in order. A row stays two blocks behind the
// one above it, so that the errors it gathers are complete.
template <const Weights& W, typename Choice>
class Diffusion {
    static constexpr int kChannels = Choice::kChannels;
    using State = Row<W, kChannels>;

  public:
    Diffusion(const Bitmap& bitmap, Bitmap& result, const Context& context)
        : levels_{bitmap},
          result_{result},
          context_{context},
          choice_{result.palette()},
          width_{bitmap.width()},
          height_{bitmap.height()},
          blocks_{(width_ + kBlock - 1) / kBlock},
          groups_{(height_ + kTogether - 1) / kTogether} {}

    Result<void> run() {
        const int threads = std::min(thread_count(), groups_);
        slots_ = threads * kTogether + kDepth;  // rows at work and those that they look back on
        pitch_ = static_cast<std::size_t>(width_ + 2 * kMargin) * kChannels;
        errors_ =
            Buffer::allocate_zeroed(pitch_ * static_cast<std::size_t>(slots_ + 1) * sizeof(std::int16_t));
        progress_ = Buffer::allocate_zeroed(static_cast<std::size_t>(groups_) * sizeof(int));
        if (!errors_ || !progress_) return Error{Fault::out_of_memory, "rows of errors"};
        parallel_bands(threads, 1, [&](int, int) { work(); });
        if (stopped_) return Error{Fault::cancelled, "stopped"};
        return {};
    }

  private:
    // Errors of row y; those above the image, and what all rows start from, are 0.
    std::int16_t* errors_of(int y) {
        const int slot = y < 0 ? slots_ : y % slots_;
        return reinterpret_cast<std::int16_t*>(errors_.data()) + pitch_ * static_cast<std::size_t>(slot) +
               kMargin * kChannels;
    }

    // Blocks of the last row of a group that are done.
    std::atomic_ref<int> done(int group) {
        return std::atomic_ref<int>{reinterpret_cast<int*>(progress_.data())[group]};
    }

    void work() {
        std::array<State, kTogether> states;
        for (int group = next_.fetch_add(1); group < groups_ && !stopped_; group = next_.fetch_add(1)) {
            for (int r = 0; r < kTogether; ++r)
                start(states[static_cast<std::size_t>(r)], group * kTogether + r);
            const int rows = std::min(kTogether, height_ - group * kTogether);
            for (int step = 0; step < blocks_ + 2 * (rows - 1); ++step) {
                if (!wait_for(group - 1, std::min(step + 2, blocks_))) return;
                advance(states, rows, step);
                const int complete = step + 1 - 2 * (rows - 1);
                if (complete > 0) done(group).store(complete, std::memory_order_release);
            }
            report(rows);
        }
    }

    void start(State& state, int y) {
        state.y = y;
        state.left = {};
        state.error = errors_of(y);
        for (int d = 0; d < kDepth; ++d) state.above[static_cast<std::size_t>(d)] = errors_of(y - 1 - d);
    }

    // Until the group has done count blocks. False when all is to stop.
    bool wait_for(int group, int count) {
        if (group < 0) return !stopped_;
        for (int tries = 0; done(group).load(std::memory_order_acquire) < count; ++tries) {
            if (stopped_) return false;
            if (tries > 200) std::this_thread::yield();
        }
        return !stopped_;
    }

    // One block for every row of the group that has one to do.
    void advance(std::array<State, kTogether>& states, int rows, int step) {
        std::array<State*, kTogether> active{};
        std::array<int, kTogether> firsts{}, counts{};
        std::size_t n = 0;
        for (int r = 0; r < rows; ++r) {
            const int block = step - 2 * r;
            if (block < 0 || block >= blocks_) continue;
            State& state = states[static_cast<std::size_t>(r)];
            firsts[n] = block * kBlock;
            counts[n] = std::min(kBlock, width_ - firsts[n]);
            levels_.get(state.y, firsts[n],
                        std::span{state.level}.first(static_cast<std::size_t>(counts[n]) * kChannels));
            gather(state, firsts[n], counts[n]);
            active[n++] = &state;
        }
        const int common = n == kTogether ? *std::ranges::min_element(counts) : 0;
        if (common > 0)
            choose<kTogether, W>(std::span<State* const, kTogether>{active}, firsts, 0, common, choice_);
        for (std::size_t r = 0; r < n; ++r) {
            choose<1, W>(std::span<State* const, 1>{&active[r], 1}, {firsts[r]}, common, counts[r], choice_);
            put_indices(result_, active[r]->y, firsts[r],
                        std::span{active[r]->index}.first(static_cast<std::size_t>(counts[r])));
        }
    }

    void report(int rows) {
        const int now = rows_done_.fetch_add(rows) + rows, every = std::max(height_ / 128, 1);
        const bool due = now / every != (now - rows) / every || now == height_;
        if (context_.progress && due && !context_.progress(now, height_)) stopped_ = true;
    }

    Levels<kChannels> levels_;
    Bitmap& result_;
    const Context& context_;
    Choice choice_;
    int width_, height_, blocks_, groups_;
    int slots_ = 0;
    std::size_t pitch_ = 0;  // of a row of errors
    Buffer errors_, progress_;
    std::atomic<int> next_{0}, rows_done_{0};
    std::atomic<bool> stopped_{false};
};

template <const Weights& W>
Result<void> diffuse_by(const Bitmap& bitmap, Bitmap& result, const Context& context) {
    if (all_grey(result.palette())) return Diffusion<W, GreyChoice>{bitmap, result, context}.run();
    return Diffusion<W, ColourChoice>{bitmap, result, context}.run();
}

}  // namespace

Result<void> diffuse(const Bitmap& bitmap, Bitmap& result, Dither dither, const Context& context) {
    switch (dither) {
        case Dither::stucki: return diffuse_by<kStucki>(bitmap, result, context);
        case Dither::burkes: return diffuse_by<kBurkes>(bitmap, result, context);
        case Dither::sierra: return diffuse_by<kSierra>(bitmap, result, context);
        case Dither::stevenson_arce: return diffuse_by<kStevensonArce>(bitmap, result, context);
        case Dither::jarvis: return diffuse_by<kJarvis>(bitmap, result, context);
        default: return diffuse_by<kFloydSteinberg>(bitmap, result, context);
    }
}

}  // namespace quillmark::imaging
