// Puts the rows of IOCA's blocks, bands and tiles in their places of a bitmap.
#pragma once

#include <vector>

#include "imaging/codec.h"
#include "imaging/codecs/ioca_content.h"

namespace quillmark::imaging::codecs {

class IocaPainter {
  public:
    /// rows: how many rows all blocks and bands will bring, for the progress.
    IocaPainter(Bitmap& bitmap, RowSink& sink, std::int64_t rows)
        : bitmap_{bitmap}, sink_{sink}, total_{rows} {}

    /// White, for what no tile covers.
    void clear();
    /// Fills the block with one colour, or with what its bands are painted over.
    void fill(const IocaBlock& block, Rgba colour);

    /// Row y of the block as its data have it: packed samples; all of a pixel together, or those of one band
    /// (0 for the first). Bands come in their order. False: stop.
    bool samples(const IocaBlock& block, int band, int y, const std::uint8_t* packed);
    /// Row y as the bitmap has it (not for packed bits).
    bool finished(const IocaBlock& block, int y, std::span<const std::uint8_t> row);
    /// The last band is done: what needs all of them is worked out.
    void finish_bands(const IocaBlock& block);
    /// Tells the sink of rows that it has not heard of. False: stop.
    bool report();

  private:
    struct Target {
        std::span<std::uint8_t> row;  // from the block's left edge on, or all of it for packed bits
        std::size_t pixels = 0;
    };
    Target target(const IocaBlock& block, int y);
    bool arrived(const IocaBlock& block, int y);
    void colour_row(const IocaSamples& samples, const std::uint8_t* in, std::span<std::uint8_t> out) const;
    static void band_row(const IocaSamples& samples, int band, const std::uint8_t* in,
                         std::span<std::uint8_t> out);

    Bitmap& bitmap_;
    RowSink& sink_;
    std::int64_t done_ = 0, total_;
    int first_ = 0, last_ = 0;  // rows to be reported
    std::vector<std::uint8_t> values_;
};

}  // namespace quillmark::imaging::codecs
