// Exact medians of 16-bit greys by a histogram that slides along each row (T. S. Huang, G. J. Yang and G. Y.
// Tang, 1979), in three levels so that finding the middle takes a few steps.
#include <algorithm>

#include "imaging/ops/median.h"
#include "imaging/ops/neighbourhood.h"

namespace quillmark::imaging {
namespace {

using Word = std::uint16_t;

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

bool median_by_histogram(const Bitmap& in, Bitmap& out, int first, int last, int radius) {
    PaddedRows<Word> rows{in, 1, radius};
    SlidingHistogram histogram{(2 * radius + 1) * (2 * radius + 1)};
    if (!rows || !histogram) return false;
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
