// What a file format is to the rest of the system: one constant of type Codec, defined in
// codecs/<format>.cpp.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "imaging/bitmap.h"
#include "imaging/limits.h"
#include "imaging/output.h"
#include "imaging/result.h"
#include "imaging/source.h"

namespace quillmark::imaging {

/// One of the engine's format codes that a codec serves.
struct FormatCode {
    int code;                             ///< the engine's number, e.g. 6
    std::string_view variant;             ///< what sets it apart, e.g. "Windows 3, uncompressed"
    std::span<const int> write_depths{};  ///< bits per pixel it writes; empty: it is only read
    bool gray16 = false;                  ///< its 16 bits are grey levels; else they are 5-6-5 colour
    bool lossy = false;  ///< written pixels are not quite those given; WriteOptions::quality says how much
};

struct ReadOptions {
    Limits limits;
    int page = 1;                   ///< 1-based; beyond the last page means the last page
    bool apply_orientation = true;  ///< turn the pixels upright; off: pixels as stored
    int reduce = 1;                 ///< 1, 2, 4 or 8: a codec that can may decode at 1/reduce of each side
};

/// What can be known of a file without decoding it.
struct ImageInfo {
    int format_code = 0;
    int width = 0, height = 0;  ///< a codec gives them as stored; read_info turns them upright when asked to
    int bits = 0;               ///< bits per pixel as the image will be loaded: 1 to 8, 12, 16, 24, 32
    int pages = 1;
    int page = 1;  ///< the page these facts describe
    bool has_stamp = false;
    Resolution resolution;
    Orientation orientation = Orientation::normal;
    std::string_view compression;  ///< a literal, e.g. "RLE8"; empty when there is none
};

/// What decoding achieved.
struct Outcome {
    Bitmap bitmap;
    int format_code = 0;
    int rows_shown = 0;  ///< rows that hold decoded pixels (damaged files may deliver fewer than declared)
    int rows_declared = 0;
    std::vector<Place> warnings;
};

/// Hears of rows while they arrive, on the decoding thread; also the way to stop a decode.
class RowSink {
  public:
    virtual ~RowSink() = default;
    /// The bitmap that is about to be filled. It shares its pixels: read them only inside rows().
    virtual void begin(const Bitmap& bitmap) {}
    /// Rows [first, last) have new pixels; an interlaced or progressive file may report rows again.
    /// done of total is the progress of the whole decode. Returns false to stop: the codec then gives
    /// Fault::cancelled.
    virtual bool rows(const Bitmap& bitmap, int first, int last, std::int64_t done, std::int64_t total) {
        return true;
    }
};

struct WriteOptions {
    int format_code = 0;
    int quality = 85;  ///< 1 (smallest) to 100 (best); for lossy formats
    /// Called with done and total; returns false to stop.
    std::function<bool(std::int64_t, std::int64_t)> progress;
};

enum class Pages : std::uint8_t { one, many };

/// A file format. Everything anybody needs to know of it stands in this one constant.
struct Codec {
    std::string_view name;  ///< short and unique: "BMP"
    std::span<const FormatCode> formats;
    std::span<const std::string_view> extensions;  ///< lower case, without dot; the first is used for saving
    Pages pages;
    bool stamps;         ///< files of this format can hold a stamp
    bool has_signature;  ///< false: asked only when the file name's extension agrees
    /// Looks at the beginning of the file (up to 4096 bytes, fewer for short files); allocates nothing.
    bool (*probe)(std::span<const std::uint8_t> head);
    /// Reads headers only.
    Result<ImageInfo> (*info)(ByteReader in, const ReadOptions& options);
    /// Decodes one page at its native depth, pixels as stored (load turns them upright). Returns an Outcome
    /// with rows_shown < rows_declared for a damaged file that could be shown in part, and an Error when
    /// nothing could.
    Result<Outcome> (*decode)(ByteReader in, const ReadOptions& options, RowSink& sink);
    /// Decodes the stamp; nullptr when the format has none.
    Result<Outcome> (*stamp)(ByteReader in, const ReadOptions& options);
    /// Writes a bitmap whose depth is one of the format code's write_depths; nullptr: read only.
    Result<void> (*encode)(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options);
};

/// Every codec, in probing order: sure signatures first, weak ones last.
std::span<const Codec* const> all_codecs();
/// The codec that serves an engine format code, or nullptr.
const Codec* codec_for_format(int format_code);
/// The code's row in its codec, or nullptr.
const FormatCode* find_format(int format_code);
/// What people call a format: the program's name for the code, or the codec's own where the program has none.
std::string_view display_name(int format_code);
/// The codec that lists the extension (any case, without dot), or nullptr.
const Codec* codec_for_extension(std::string_view extension);

}  // namespace quillmark::imaging
