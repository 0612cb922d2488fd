// Device-independent bitmaps: the header, palette and pixels that BMP files, icons, cursors and the clipboard
// share. Sources: the Windows and OS/2 bitmap structures as documented by Microsoft and IBM; odd variants as
// bmpsuite collects them.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "imaging/codec.h"
#include "imaging/codecs/row_stream.h"

namespace quillmark::imaging {

enum class DibPacking : std::uint8_t { none, bitfields, rle8, rle4, rle24, huffman, jpeg, png };

/// A DIB header, checked: sides are positive, bits fit the packing, masks are contiguous.
struct DibHeader {
    int header_bytes = 0;  ///< 12: OS/2 1.x; 16 to 124: all others
    bool os2 = false;      ///< OS/2 2.x rather than Windows
    int width = 0, height = 0;
    bool top_down = false;  ///< the first row stored is the top one
    int bits = 0;           ///< stored bits per pixel: 1, 2, 4, 8, 16, 24, 32 or 64; 0 for JPEG and PNG
    DibPacking packing = DibPacking::none;
    std::array<std::uint32_t, 4> masks{};  ///< red, green, blue, alpha of 16 and 32 bits; 0: no such channel
    bool keep_alpha = false;  ///< alpha that is 0 everywhere stays so instead of being taken as missing
    std::int64_t palette_at = 0;
    int palette_entries = 0;
    int palette_entry_bytes = 4;
    std::int64_t headers_end = 0;  ///< after header, masks and palette as declared
    std::int64_t bits_at = 0;
    std::int64_t image_bytes = 0;  ///< as declared; 0: unknown
    std::int64_t profile_at = 0, profile_bytes = 0;
    Resolution resolution;

    /// Bytes from row to row of uncompressed pixels.
    std::int64_t row_stride() const { return (static_cast<std::int64_t>(width) * bits + 31) / 32 * 4; }
    /// Bytes of a row that hold pixels.
    std::int64_t row_bytes() const { return (static_cast<std::int64_t>(width) * bits + 7) / 8; }
};

/// What surrounds a header; positions count from the reader's start.
struct DibPlace {
    std::int64_t header_at = 0;
    std::int64_t bits_at = 0;           ///< where the pixels start; 0: right after the palette
    std::uint32_t file_size_field = 0;  ///< of the file header; tells some OS/2 files from Windows ones
};

/// Reads and checks a header. Faults: truncated, malformed, unsupported.
Result<DibHeader> read_dib_header(ByteReader in, const DibPlace& place);

/// Bits per pixel of the bitmap that decode_dib makes; 0 for embedded JPEG and PNG.
int loaded_bits(const DibHeader& header);
/// The packing as a literal for ImageInfo; empty when there is none.
std::string_view compression_name(const DibHeader& header);
/// 14 for OS/2 1.x, 74 for OS/2 2.x, 6 for Windows.
int dib_format_code(const DibHeader& header);

/// Header facts, with those of the stream for embedded JPEG and PNG.
Result<ImageInfo> dib_info(const ByteReader& in, const DibHeader& header, const ReadOptions& options);

/// Decodes the pixels. A 32-bit picture whose alpha is 0 everywhere is shown opaque.
/// Faults: truncated (not one row), malformed, unsupported, too_large, out_of_memory, cancelled.
Result<Outcome> decode_dib(const ByteReader& in, const DibHeader& header, const ReadOptions& options,
                           RowSink& sink);

/// Writes a whole BMP file: OS/2 1.x for format code 14, Windows otherwise. The header is the 40-byte one,
/// for 32 bits the 108-byte one with an alpha mask; 16 bits become 5-5-5 when that loses nothing, else 5-6-5.
/// Faults: too_large (a side over 65,535 for OS/2 1.x, a file over 4 GB), cancelled, io.
Result<void> encode_bmp(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options);

namespace dib {

// The parts of decode_dib; the readers return the number of rows decoded, counted in file order.

/// Rows are stored bottom-up unless the header says otherwise.
inline codecs::RowOrder row_order(const DibHeader& header) { return {header.height, !header.top_down}; }

/// Whether a file with uncompressed pixels (none, bitfields) ends before its last one.
bool rows_are_short(const ByteReader& in, const DibHeader& header);
Result<int> read_raw_rows(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink);
/// RLE8, RLE4 and RLE24. bitmap starts as zeros: pixels that the runs leave out keep index 0.
Result<int> read_rle_rows(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink);
Result<int> read_huffman_rows(const ByteReader& in, const DibHeader& header, Bitmap& bitmap, RowSink& sink);

}  // namespace dib
}  // namespace quillmark::imaging
