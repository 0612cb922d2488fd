// What an IOCA image segment says of its image: sizes, how samples are stored and coded, tiles and bands.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "imaging/bitmap.h"
#include "imaging/metadata.h"
#include "imaging/result.h"

namespace quillmark::imaging::codecs {

/// Codes of the self-defining fields.
namespace ioca_code {
inline constexpr unsigned kBeginSegment = 0x70, kEndSegment = 0x71, kBeginContent = 0x91, kEndContent = 0x93,
                          kImageSize = 0x94, kEncoding = 0x95, kSampleSize = 0x96, kBands = 0x98,
                          kStructure = 0x9B, kBeginTile = 0x8C, kEndTile = 0x8D, kBeginMask = 0x8E,
                          kEndMask = 0x8F, kTilePosition = 0xB5, kTileSize = 0xB6, kTileColour = 0xB7,
                          kImageData = 0xFE92, kBandData = 0xFE9C, kIncludeTile = 0xFEB8;
}  // namespace ioca_code

/// Compressions by their number in the file.
enum class IocaCompression : std::uint8_t {
    ibm_mmr = 0x01,
    none = 0x03,
    run_lines = 0x06,
    aligned_mh = 0x09,
    packbits = 0x0C,
    lzw = 0x0D,
    solid = 0x20,
    group3 = 0x80,
    group3_2d = 0x81,
    group4 = 0x82,
    jpeg = 0x83,
};

/// How rows follow one another.
enum class IocaRows : std::uint8_t {
    bytes = 1,        ///< each padded to 8 bits
    bottom_up = 3,    ///< each padded to 32 bits, the lowest first
    bit_stream = 4,   ///< not padded
    external = 0xFE,  ///< as the compression has it
};

struct IocaEncoding {
    std::uint8_t number = 3;  ///< as in the file: perhaps none that we know
    IocaRows rows = IocaRows::bytes;
    bool lowest_bit_first = false;

    IocaCompression compression() const { return static_cast<IocaCompression>(number); }
};

enum class IocaColour : std::uint8_t { gray, rgb, ycbcr, ycrcb, cmyk };

/// What the samples of a pixel mean.
struct IocaSamples {
    IocaColour colour = IocaColour::gray;
    int count = 1;               ///< samples a pixel, 1 to 4
    std::array<int, 4> bits{1};  ///< of each sample, 1 to 8
    bool inverted = false;       ///< intensity falls as values rise; not for bilevel images
    bool gray_coded = false;     ///< neighbouring values differ in one bit
    int pixel_bits() const { return bits[0] + bits[1] + bits[2] + bits[3]; }
    bool bilevel() const { return count == 1 && bits[0] == 1; }
};

/// Data that may come in pieces; one piece is used where it lies.
class IocaData {
  public:
    void add(std::span<const std::uint8_t> piece);
    std::span<const std::uint8_t> bytes() const { return pieces_ > 1 ? std::span{joined_} : single_; }

  private:
    std::span<const std::uint8_t> single_;
    std::vector<std::uint8_t> joined_;
    int pieces_ = 0;
};

/// A rectangle of pixels coded by itself: a tile, or the whole image.
struct IocaBlock {
    std::int64_t x = 0, y = 0, width = 0, height = 0;
    IocaEncoding encoding;
    IocaSamples samples;
    Rgba colour{0, 0, 0, 255};  ///< of a solid tile
    IocaData data;
    std::vector<IocaData> bands;  ///< one for each sample, when they are stored apart
};

struct IocaContent {
    std::int64_t width = 0, height = 0;  ///< 0: not stated
    Resolution resolution;
    bool tiled = false;
    std::vector<IocaBlock> blocks;
    std::vector<Place> warnings;
};

/// Dots per inch from a unit base (0: per 10 inches, 1: per 10 centimetres, 2: only a ratio) and its counts.
Resolution ioca_resolution(int unit_base, int x, int y);

/// Reads the first image of a segment. The blocks refer to the segment's bytes. Faults: malformed, truncated
/// (no pixel data), unsupported.
Result<IocaContent> parse_ioca(std::span<const std::uint8_t> segment);

}  // namespace quillmark::imaging::codecs
