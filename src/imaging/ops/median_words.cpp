// Exact medians of 16-bit greys. Up to a size the bits of many medians are searched side by side; larger
// windows slide a histogram along each row (T. S. Huang, G. J. Yang and G. Y. Tang, 1979), in three levels so
// that finding the middle takes a few steps.
#include <algorithm>

#include "imaging/ops/median.h"
#include "imaging/ops/neighbourhood.h"
#include "imaging/ops/vector_choice.h"

namespace quillmark::imaging {
namespace {

using Word = std::uint16_t;

constexpr int kSearchRadius = 8;   // from where on sliding is faster than searching
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

class SlidingHistogram {
  public:
    explicit SlidingHistogram(int samples) : half_{samples / 2}, bins_{kAll} {}
    explicit operator bool() const { return static_cast<bool>(bins_); }

    void clear() {
        std::fill_n(bins_.data(), kAll, Word{0});
        below_ = coarse_ = 0;
    }
    void add(Word level) { change(level, 1); }
    void remove(Word level) { change(level, -1); }

    Word median() {
        const Word* coarse = bins_.data();
        while (below_ > half_) below_ -= coarse[--coarse_];
        while (below_ + coarse[coarse_] <= half_) below_ += coarse[coarse_++];
        int below = below_;
        const int middle = step(kMiddle, coarse_ << 4, below);
        return static_cast<Word>(step(kFine, middle << 4, below));
    }

  private:
    // 256 bins of 256 levels, 4096 of 16, 65536 of one.
    static constexpr std::size_t kMiddle = 256, kFine = kMiddle + 4096, kAll = kFine + 65536;

    void change(Word level, int by) {
        Word* bins = bins_.data();
        for (const std::size_t bin : {std::size_t{level} >> 8, kMiddle + (level >> 4), kFine + level})
            bins[bin] = static_cast<Word>(bins[bin] + by);
        if (level >> 8 < coarse_) below_ += by;
    }
    int step(std::size_t level, int bin, int& below) const {
        const Word* bins = bins_.data() + level;
        while (below + bins[bin] <= half_) below += bins[bin++];
        return bin;
    }

    int half_;  // samples below the median at most
    Scratch<Word> bins_;
    int coarse_ = 0;
    int below_ = 0;  // samples in the coarse bins before coarse_
};

}  // namespace

bool median_of_words(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    PaddedRows<Word> rows{in, 1, radius};
    if (!rows) return false;
    if (radius <= kSearchRadius) {
        search_rows(in, out, first, last, radius, rows);
        return true;
    }
    SlidingHistogram histogram{(2 * radius + 1) * (2 * radius + 1)};
    if (!histogram) return false;
    for (int y = first; y < last; ++y) {
        rows.move_to(y);
        histogram.clear();
        for (int dy = -radius; dy <= radius; ++dy)
            for (int x = -radius; x < radius; ++x) histogram.add(rows.row(dy)[x]);
        Word* to = writable_samples<Word>(out, y);
        for (int x = 0; x < in.width(); ++x) {
            for (int dy = -radius; dy <= radius; ++dy) histogram.add(rows.row(dy)[x + radius]);
            to[x] = histogram.median();
            for (int dy = -radius; dy <= radius; ++dy) histogram.remove(rows.row(dy)[x - radius]);
        }
    }
    return true;
}

}  // namespace quillmark::imaging
