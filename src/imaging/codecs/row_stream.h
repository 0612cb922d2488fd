// What formats with plain rows share: the order in which rows are stored, reading uncompressed rows on all
// threads, and the account of how many rows a damaged file delivered.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "imaging/codec.h"

namespace quillmark::imaging::codecs {

/// Where the stored rows belong.
struct RowOrder {
    int height = 0;
    bool bottom_up = false;
    int ways = 1;  ///< 2: even rows first, then odd ones; 4: every fourth row, four times

    /// The image row of a stored row, 0 <= stored < height.
    int target(int stored) const;
};

/// Tells the sink that stored rows [first, last) have arrived. False: stop.
bool report_rows(const RowOrder& order, const Bitmap& bitmap, int first, int last, RowSink& sink);

/// Turns one stored row into image row y.
using RowBody = std::function<void(const std::uint8_t* stored, int y)>;

/// Reads uncompressed rows of row_bytes each from the reader's position on and hands every one to body, on
/// several threads at once. Returns how many rows hold data, the last one perhaps in part (its rest is zero).
/// Faults: truncated (not one whole row), cancelled.
Result<int> read_raw_rows(const ByteReader& in, std::size_t row_bytes, const RowOrder& order,
                          const Bitmap& bitmap, RowSink& sink, const RowBody& body);

/// Delivers the next bytes of unpacked rows and says how many: fewer than asked for only at the end of the
/// data.
using RowFill = std::function<std::size_t(std::span<std::uint8_t> stored)>;

/// Reads packed rows of row_bytes each (unpacked) one after the other and hands every one to body. Returns
/// how many rows hold data, the last one perhaps in part (its rest is zero). Faults: truncated (no data),
/// cancelled.
Result<int> read_packed_rows(std::size_t row_bytes, const RowOrder& order, const Bitmap& bitmap,
                             RowSink& sink, const RowFill& fill, const RowBody& body);

/// Turns count pixels B,G,R into R,G,B.
using BgrSwap = void (*)(const std::uint8_t* in, std::uint8_t* out, std::size_t count);

/// The swap for whole rows of the bitmap: past the cache when the picture is too large for it.
BgrSwap bgr_swap_for(const Bitmap& bitmap);

/// A bitmap to decode into: zeroed without touching its pages when the data are known to be short.
Result<Bitmap> bitmap_for(int width, int height, int bits, const Limits& limits, bool data_short);

/// The outcome, with a warning when rows are missing.
Outcome outcome_of(Bitmap bitmap, int format_code, int rows_shown);

/// Makes the first rows stored of an rgba32 bitmap opaque; the others stay untouched.
void make_opaque(Bitmap& bitmap, const RowOrder& order, int rows);
/// The same when their alpha is 0 everywhere: writers that do not know of alpha leave it so. True when it
/// did.
bool make_opaque_if_invisible(Bitmap& bitmap, const RowOrder& order, int rows);

}  // namespace quillmark::imaging::codecs
