// Exact medians of 16-bit greys. Up to a size the bits of many medians are searched side by side; larger
// windows slide a histogram along each row (T. S. Huang, G. J. Yang and G. Y. Tang, 1979). Several rows go
// together: what their windows share is counted once (after B. Weiss, Fast median and bilateral filtering,
// 2006).
#include <algorithm>
#include <array>
#include <utility>

#include "imaging/ops/median.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

using Word = std::uint16_t;

constexpr int kSearchRadius = 3;   // beyond it sliding is faster than searching
constexpr int kManyRadius = 16;    // from here on more rows go together
constexpr std::size_t kLanes = 8;  // a vector of the baseline
using Lanes = Word __attribute__((vector_size(kLanes * sizeof(Word))));

// Medians of 8 neighbouring pixels, bit by bit from the highest: a bit is set where at most half of the
// samples lie below the level that it makes.
struct SearchRow {
    [[gnu::always_inline]] static void run(const Word* const* rows, int size, int bits, Word* out,
                                           std::size_t count) {
        for (std::size_t x = 0; x < count; x += kLanes) {
            const Lanes found = search(rows, size, bits, x);
            std::memcpy(out + x, &found, std::min(kLanes, count - x) * sizeof(Word));
        }
    }

    [[gnu::always_inline]] static Lanes search(const Word* const* rows, int size, int bits, std::size_t x) {
        const auto half = static_cast<Word>(size * size / 2);
        Lanes found{};
        for (int bit = bits - 1; bit >= 0; --bit) {
            const auto mark = static_cast<Word>(1U << bit);
            const Lanes level = found | mark;
            Lanes below{};
            for (int dy = 0; dy < size; ++dy) {
                const Word* row = rows[dy] + x;
                for (int dx = 0; dx < size; ++dx) {
                    Lanes samples;
                    std::memcpy(&samples, row + dx, sizeof samples);
                    below -= static_cast<Lanes>(samples < level);  // true is -1
                }
            }
            const auto set = static_cast<Lanes>(below <= half);
            found = (level & set) | (found & ~set);
        }
        return found;
    }
};

void search_rows(const Bitmap& in, Bitmap& out, int first, int last, int radius, PaddedRows<Word>& rows) {
    const Word* window[2 * kSearchRadius + 1];
    for (int y = first; y < last; ++y) {
        rows.move_to(y);
        for (int dy = -radius; dy <= radius; ++dy) window[dy + radius] = rows.row(dy) - radius;
        run_widest<SearchRow, const Word* const*, int, int, Word*, std::size_t>(
            window, 2 * radius + 1, in.bits(), writable_samples<Word>(out, y), rows.count());
    }
}

// The windows of kRows rows, one below the other. Row by row of them: those that all of them have go to the
// shared histogram, the others to the windows' own.
template <int kRows>
class SlidingWindows {
  public:
    explicit SlidingWindows(const Bitmap& in, int radius)
        : in_{in},
          radius_{radius},
          half_{(2 * radius + 1) * (2 * radius + 1) / 2},
          rows_{in, 1, radius + kRows},
          bins_{(kRows + 1) * kAll} {}
    explicit operator bool() const { return rows_ && bins_; }

    // The medians of rows [y, y + kRows), of which those before last are written.
    void run(Bitmap& out, int y, int last) {
        rows_.move_to(y);
        std::fill_n(bins_.data(), (kRows + 1) * kAll, Word{0});
        mark_ = below_ = Lanes{};
        for (int x = -radius_; x < radius_; ++x) slide<false>(x, 0);
        for (int x = 0; x < in_.width(); ++x) {
            if (x == 0)
                slide<false>(radius_, 0);
            else
                slide<true>(x + radius_, x - radius_ - 1);
            std::array<Word, kLanes> marks, belows;
            std::memcpy(marks.data(), &mark_, sizeof mark_);
            std::memcpy(belows.data(), &below_, sizeof below_);
            for (int w = 0; w < std::min(kRows, last - y); ++w) {
                const auto at = static_cast<std::size_t>(w);
                writable_samples<Word>(out, y + w)[x] = median(own(w), marks[at], belows[at]);
            }
            std::memcpy(&mark_, marks.data(), sizeof mark_);
            std::memcpy(&below_, belows.data(), sizeof below_);
        }
    }

  private:
    // 4096 bins of 16 levels, 65536 of one.
    static constexpr std::size_t kFine = 4096, kAll = kFine + 65536;
    static_assert(kRows <= static_cast<int>(kLanes));

    const Word* shared() const { return bins_.data(); }
    Word* own(int window) { return bins_.data() + static_cast<std::size_t>(window + 1) * kAll; }

    // A sample that windows [first, last) have comes or goes; first 0 and last kRows: the shared histogram.
    template <int kFirst, int kLast, int kBy>
    void change(Word level) {
        const std::size_t bin = level >> 4;
        constexpr bool kShared = kFirst == 0 && kLast == kRows;
        for (int w = kFirst; w < std::min(kLast, kShared ? kFirst + 1 : kRows); ++w) {
            Word* bins = own(w);
            if constexpr (kShared) bins = bins_.data();
            bins[bin] = static_cast<Word>(bins[bin] + kBy);
            bins[kFine + level] = static_cast<Word>(bins[kFine + level] + kBy);
        }
        const Lanes lane{0, 1, 2, 3, 4, 5, 6, 7};
        auto before = static_cast<Lanes>(mark_ > static_cast<Word>(bin));  // true is -1
        if constexpr (!kShared) before &= static_cast<Lanes>((lane >= Word{kFirst}) & (lane < Word{kLast}));
        below_ = kBy > 0 ? below_ - before : below_ + before;
    }

    template <int kFirst, int kLast, bool kLeaving>
    void change_row(int dy, int entering, int leaving) {
        const Word* const row = rows_.row(dy);
        change<kFirst, kLast, 1>(row[entering]);
        if constexpr (kLeaving) change<kFirst, kLast, -1>(row[leaving]);
    }

    // Column `entering` comes to all windows; kLeaving: column `leaving` goes.
    template <bool kLeaving>
    void slide(int entering, int leaving) {
        for (int dy = kRows - 1 - radius_; dy <= radius_; ++dy)
            change_row<0, kRows, kLeaving>(dy, entering, leaving);
        const auto rim = [&]<int kStep>(std::integral_constant<int, kStep>) {
            change_row<0, kStep, kLeaving>(kStep - 1 - radius_, entering, leaving);
            change_row<kStep, kRows, kLeaving>(radius_ + kStep, entering, leaving);
        };
        [&]<int... kSteps>(std::integer_sequence<int, kSteps...>) {
            (rim(std::integral_constant<int, kSteps + 1>{}), ...);
        }
        (std::make_integer_sequence<int, kRows - 1>{});
    }

    // mark: the bin of 16 levels that holds the median; below: the samples in the bins before it.
    Word median(const Word* own_bins, Word& mark, Word& below) const {
        const Word* const all = shared();
        std::size_t bin = mark;
        int before = below;
        const auto count = [&](std::size_t at) { return all[at] + own_bins[at]; };
        while (before > half_) --bin, before -= count(bin);
        for (int here = count(bin); before + here <= half_; here = count(bin)) before += here, ++bin;
        mark = static_cast<Word>(bin), below = static_cast<Word>(before);
        std::size_t level = bin << 4;
        for (int here = count(kFine + level); before + here <= half_; here = count(kFine + level))
            before += here, ++level;
        return static_cast<Word>(level);
    }

    const Bitmap& in_;
    int radius_, half_;  // samples below the median at most
    PaddedRows<Word> rows_;
    Scratch<Word> bins_;
    Lanes mark_{}, below_{};
};

template <int kRows>
bool slide_rows(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    SlidingWindows<kRows> windows{in, radius};
    if (!windows) return false;
    for (int y = first; y < last; y += kRows) windows.run(out, y, last);
    return true;
}

}  // namespace

bool median_of_words(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    if (radius >= kManyRadius) return slide_rows<8>(in, out, first, last, radius);
    if (radius > kSearchRadius) return slide_rows<4>(in, out, first, last, radius);
    PaddedRows<Word> rows{in, 1, radius};
    if (!rows) return false;
    search_rows(in, out, first, last, radius, rows);
    return true;
}

}  // namespace quillmark::imaging
