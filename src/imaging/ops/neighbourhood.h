// What filters share whose results depend on the pixels around: bands of rows, and rows with repeated
// borders.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>

#include "imaging/bitmap.h"
#include "imaging/ops/context.h"

namespace quillmark::imaging {

/// Row y as samples: bytes, or words of a wide image.
template <typename T>
const T* samples(const Bitmap& bitmap, int y) {
    return reinterpret_cast<const T*>(bitmap.row(y).data());
}
template <typename T>
T* writable_samples(Bitmap& bitmap, int y) {
    return reinterpret_cast<T*>(bitmap.writable_row(y).data());
}

/// Copies the alpha of rows [first, last) where there is alpha; both images have one size and layout.
void keep_alpha(const Bitmap& in, Bitmap& out, int first, int last);

/// Writes rows [first, last) of out from in, both level images of one form; false when memory is short.
using FilterBand = std::function<bool(const Bitmap& in, Bitmap& out, int first, int last)>;

/// Rows that belong together: groups of size rows, the first of which begins offset rows before the image.
struct RowGroups {
    int size = 1;
    int offset = 0;
    int of(int row) const { return (row + offset) / size; }
    /// The first row of a group, or count where that comes earlier.
    int start(int group, int count) const {
        return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{group} * size - offset, 0, count));
    }
};

/// The level image of bitmap filtered by bands of whole groups of rows (grain groups or more) on several
/// threads. Alpha, whatever the band makes of it, stays as it was. Faults: too_large, out_of_memory,
/// cancelled.
Result<Bitmap> filter_bands(const Bitmap& bitmap, int grain, const Context& context, const FilterBand& band,
                            RowGroups groups = {});

/// Room for count samples, with some to spare for vectors that read or write beyond the end.
template <typename T>
class Scratch {
  public:
    explicit Scratch(std::size_t count) : buffer_{Buffer::allocate((count + kSpare) * sizeof(T))} {}
    explicit operator bool() const { return static_cast<bool>(buffer_); }
    T* data() { return reinterpret_cast<T*>(buffer_.data()); }
    const T* data() const { return reinterpret_cast<const T*>(buffer_.data()); }

  private:
    static constexpr std::size_t kSpare = 64;
    Buffer buffer_;
};

/// Repeats the first and the last pixel of a row of count samples radius times before and behind it.
template <typename T>
void repeat_borders(T* row, std::size_t count, std::size_t channels, std::size_t radius) {
    for (std::size_t i = 0; i < radius * channels; ++i) {
        row[-1 - static_cast<std::ptrdiff_t>(i)] = row[channels - 1 - i % channels];
        row[count + i] = row[count - channels + i % channels];
    }
}

/// A window of 2 radius + 1 rows that moves down an image, each with its border pixels repeated radius times.
template <typename T>
class PaddedRows {
  public:
    PaddedRows(const Bitmap& bitmap, int channels, int radius)
        : bitmap_{bitmap},
          radius_{radius},
          channels_{static_cast<std::size_t>(channels)},
          count_{static_cast<std::size_t>(bitmap.width()) * channels_},
          margin_{static_cast<std::size_t>(radius) * channels_},
          stride_{count_ + 2 * margin_},
          rows_{stride_ * (2 * static_cast<std::size_t>(radius) + 1)} {}
    explicit operator bool() const { return static_cast<bool>(rows_); }

    /// Centres the window on row y; y grows from call to call.
    void move_to(int y) {
        centre_ = y;
        const int last = std::min(y + radius_, bitmap_.height() - 1);
        for (loaded_ = std::max(loaded_, std::max(y - radius_, 0)); loaded_ <= last; ++loaded_) load(loaded_);
    }

    /// The row dy below the centre: its first pixel; radius pixels lie before it and behind its last.
    const T* row(int dy) const {
        return rows_.data() + slot(std::clamp(centre_ + dy, 0, bitmap_.height() - 1));
    }
    /// Samples of a row without and with its margins.
    std::size_t count() const { return count_; }
    std::size_t padded_count() const { return stride_; }
    std::size_t margin() const { return margin_; }

  private:
    std::size_t slot(int y) const {
        return static_cast<std::size_t>(y % (2 * radius_ + 1)) * stride_ + margin_;
    }
    void load(int y) {
        T* row = rows_.data() + slot(y);
        std::memcpy(row, samples<T>(bitmap_, y), count_ * sizeof(T));
        repeat_borders(row, count_, channels_, static_cast<std::size_t>(radius_));
    }

    const Bitmap& bitmap_;
    int radius_;
    std::size_t channels_, count_, margin_, stride_;
    Scratch<T> rows_;
    int centre_ = 0;
    int loaded_ = 0;  // the first row not in the window yet
};

}  // namespace quillmark::imaging
