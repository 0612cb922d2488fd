// What a Macintosh picture holds: its frame, and every raster with where its rows lie. Read by walking the
// opcodes. Source: Inside Macintosh: Imaging With QuickDraw, appendix A; QuickTime's image descriptions.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "imaging/codec.h"
#include "imaging/codecs/pict_draw.h"

namespace quillmark::imaging::codecs {

struct PictRect {
    int top = 0, left = 0, bottom = 0, right = 0;
    int width() const { return right - left; }
    int height() const { return bottom - top; }
    bool empty() const { return width() <= 0 || height() <= 0; }
};

/// One picture inside the picture: packed rows, or a stream of QuickTime.
struct PictRaster {
    PictRect source, target;   ///< the part that is shown, in pixels, and where, in units of the frame
    int mode = 0;              ///< how it meets what is there: 0 replaces, 1 paints what is not white
    std::int64_t data_at = 0;  ///< offset of the first row or of the stream

    // Rows
    PictRect bounds;
    int row_bytes = 0;
    int depth = 1;  ///< bits a pixel as stored: 1, 2, 4, 8, 16, 32
    int pack_type = 0;
    int components = 1;
    int count_bytes = 0;  ///< of the byte count before each row; 0: rows are not packed
    Palette palette;
    Resolution resolution;

    // QuickTime
    std::uint32_t stream = 0;  ///< its four letters; 0: rows
    std::int64_t data_size = 0;
    int stream_width = 0, stream_height = 0, stream_depth = 0;

    int bits = 0;  ///< per pixel, once decoded

    bool planar() const { return depth == 32 && count_bytes > 0 && pack_type != 2; }
    /// Bytes of a row once it is unpacked.
    std::size_t unpacked() const;
};

struct PictFile {
    std::int64_t begin = 0;  ///< offset of the picture in the file
    PictRect frame;
    Resolution resolution;
    std::vector<PictRaster> rasters;
    std::vector<PictShape> shapes;
    bool drawing = false;     ///< has commands that draw
    bool simplified = false;  ///< some of them have no shape here: text, round corners, regions
    bool finished = false;    ///< the end opcode was reached
    bool unknown_stream = false;

    /// The picture is nothing but its one raster.
    bool single() const;
    // The result's size; the scale is that of pixels to units of the frame.
    int width = 0, height = 0, bits = 24;
    double scale = 1;
};

/// Where the picture begins in a file that starts with head: behind 512 bytes of the application's own, at
/// once, or behind a MacBinary header too; -1 when there is none.
std::int64_t find_pict(std::span<const std::uint8_t> head);

/// Faults: truncated, malformed, unsupported (nothing that can be shown, or an unknown stream), too_large.
Result<PictFile> read_pict(const ByteReader& in, const Limits& limits);

}  // namespace quillmark::imaging::codecs
