// The self-defining fields of an image segment. Source: IOCA reference of the AFP Consortium.
#include "imaging/codecs/ioca_content.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace quillmark::imaging::codecs {
namespace {

using namespace ioca_code;

constexpr std::size_t kMaxTiles = 65'536;
constexpr std::size_t kMaxBands = 4;

struct Field {
    unsigned code = 0;
    std::span<const std::uint8_t> data;

    unsigned u8(std::size_t at) const { return at < data.size() ? data[at] : 0; }
    unsigned u16(std::size_t at) const { return u8(at) << 8 | u8(at + 1); }
    std::int64_t u32(std::size_t at) const { return std::int64_t{u16(at)} << 16 | u16(at + 2); }
};

// Walks the fields; data that the segment's end cuts keep what is there.
class Fields {
  public:
    explicit Fields(std::span<const std::uint8_t> segment) : left_{segment} {}

    bool next(Field& field) {
        if (left_.size() < 2) return false;
        const bool is_long = left_[0] == 0xFE;
        const std::size_t header = is_long ? 4 : 2;
        if (left_.size() < header) return false;
        field.code = is_long ? 0xFE00U | left_[1] : left_[0];
        std::size_t length = is_long ? std::size_t{left_[2]} << 8 | left_[3] : left_[1];
        left_ = left_.subspan(header);
        if (field.code == kImageData && length == 0 && !followed_by_field()) length = open_end();
        field.data = left_.first(std::min(length, left_.size()));
        left_ = left_.subspan(field.data.size());
        return true;
    }

  private:
    bool followed_by_field() const { return left_.empty() || left_[0] == 0xFE || left_[0] == kEndContent; }

    // Some writers leave the length of the data open: they reach to the fields that end the image, or to the
    // end.
    std::size_t open_end() const {
        constexpr std::uint8_t kEnds[] = {kEndContent, 0, kEndSegment, 0};
        std::size_t size = left_.size();
        while (size >= sizeof kEnds &&
               std::memcmp(left_.data() + size - sizeof kEnds, kEnds, sizeof kEnds) == 0)
            size -= sizeof kEnds;
        return size;
    }

    std::span<const std::uint8_t> left_;
};

IocaColour colour_of(unsigned format) {
    switch (format) {
        case 0x01: return IocaColour::rgb;
        case 0x02: return IocaColour::ycrcb;
        case 0x04: return IocaColour::cmyk;
        default: return IocaColour::ycbcr;
    }
}

int samples_of(IocaColour colour) {
    if (colour == IocaColour::gray) return 1;
    return colour == IocaColour::cmyk ? 4 : 3;
}

std::uint8_t byte_of(unsigned value) { return static_cast<std::uint8_t>(value); }

// Collects what the fields say; a tile begins with what was said before it.
class Parser {
  public:
    // False when nothing more is wanted.
    bool take(const Field& field) {
        if (in_mask_ && field.code != kEndMask) return true;
        switch (field.code) {
            case kBeginContent: return !content_seen_ && (content_seen_ = true);
            case kEndContent:
            case kEndSegment: return !content_seen_;
            case kImageSize: image_size(field); break;
            case kBeginTile: return begin_tile();
            case kEndTile: in_tile_ = false; break;
            case kBeginMask:
                in_mask_ = true;
                content_.warnings.push_back("transparency mask of a tile");
                break;
            case kEndMask: in_mask_ = false; break;
            case kIncludeTile: content_.warnings.push_back("tile from a resource"); break;
            default: block_field(field);
        }
        return true;
    }

    Result<IocaContent> finish() {
        if (error_) return *error_;
        if (!content_seen_) return Error{Fault::malformed, "no image content"};
        // A tile without sides is one that the file's end cut off.
        std::erase_if(content_.blocks,
                      [](const IocaBlock& tile) { return tile.width == 0 || tile.height == 0; });
        if (content_.tiled && content_.blocks.empty()) return Error{Fault::truncated, "tiles"};
        if (!content_.tiled) content_.blocks.push_back(std::move(defaults_));
        for (IocaBlock& block : content_.blocks) {
            if (const auto settled = settle(block); !settled) return settled.error();
        }
        if (!content_.tiled) {
            content_.blocks[0].width = content_.width;
            content_.blocks[0].height = content_.height;
        }
        return std::move(content_);
    }

  private:
    IocaBlock& block() { return in_tile_ ? content_.blocks.back() : defaults_; }

    void image_size(const Field& field) {
        content_.resolution = ioca_resolution(static_cast<int>(field.u8(0)), static_cast<int>(field.u16(1)),
                                              static_cast<int>(field.u16(3)));
        content_.width = field.u16(5);
        content_.height = field.u16(7);
    }

    bool begin_tile() {
        if (content_.blocks.size() == kMaxTiles) {
            error_ = Error{Fault::too_large, "number of tiles"};
            return false;
        }
        content_.tiled = in_tile_ = content_seen_ = true;
        IocaBlock& tile = content_.blocks.emplace_back();
        tile.encoding = defaults_.encoding;
        tile.samples = defaults_.samples;
        tile.colour = defaults_.colour;
        tile.bands.resize(defaults_.bands.size());
        return true;
    }

    void block_field(const Field& field) {
        IocaBlock& into = block();
        switch (field.code) {
            case kEncoding:
                into.encoding = {byte_of(field.u8(0)), static_cast<IocaRows>(field.u8(1)), field.u8(2) == 1};
                break;
            case kSampleSize: sample_size(into.samples, field); break;
            case kBands: bands(into, field); break;
            case kStructure: structure(into.samples, field); break;
            case kTilePosition: into.x = field.u32(0), into.y = field.u32(4); break;
            case kTileSize:
                into.width = field.u32(0), into.height = field.u32(4);
                if (field.u8(8) > 1) error_ = Error{Fault::unsupported, "tile of another resolution"};
                break;
            case kTileColour: tile_colour(into, field); break;
            case kImageData: into.data.add(field.data); break;
            case kBandData: band_data(into, field); break;
            default: break;
        }
    }

    // Only what no structure field has said: 24 bits without one can only be colour.
    static void sample_size(IocaSamples& samples, const Field& field) {
        const int bits = static_cast<int>(field.u8(0));
        if (samples.count > 1 && (bits == samples.pixel_bits() || bits == samples.bits[0])) return;
        samples.colour = bits == 24 ? IocaColour::rgb : bits == 32 ? IocaColour::cmyk : IocaColour::gray;
        samples.count = samples_of(samples.colour);
        samples.bits = {};
        for (int i = 0; i < samples.count; ++i)
            samples.bits[static_cast<std::size_t>(i)] = samples.count > 1 ? 8 : bits;
    }

    static void structure(IocaSamples& samples, const Field& field) {
        samples.inverted = (field.u8(0) & 0x80) != 0;
        samples.gray_coded = (field.u8(0) & 0x40) != 0;
        const IocaColour colour = colour_of(field.u8(1));
        std::array<int, 4> bits{};
        int count = 0;
        while (count < samples_of(colour) && field.u8(5 + static_cast<std::size_t>(count)) != 0) {
            const auto i = static_cast<std::size_t>(count++);
            bits[i] = static_cast<int>(field.u8(5 + i));
        }
        if (count == 0) return;
        samples.bits = bits;
        samples.count = count;
        samples.colour = count == 1 ? IocaColour::gray : colour;
    }

    void bands(IocaBlock& into, const Field& field) {
        const std::size_t count = field.u8(0);
        if (count == 0 || count > kMaxBands || count == 2) {
            error_ = Error{Fault::unsupported, "number of bands"};
            return;
        }
        into.bands.resize(count);
        IocaSamples& samples = into.samples;
        if (samples_of(samples.colour) != static_cast<int>(count)) {
            samples.colour = count == 1 ? IocaColour::gray : count == 3 ? IocaColour::rgb : IocaColour::cmyk;
        }
        samples.count = static_cast<int>(count);
        samples.bits = {};
        for (std::size_t i = 0; i < count; ++i) samples.bits[i] = static_cast<int>(field.u8(1 + i));
    }

    static void band_data(IocaBlock& into, const Field& field) {
        const std::size_t number = field.u8(0);
        if (number == 0 || number > kMaxBands || field.data.size() <= 3) return;
        if (into.bands.size() < number) into.bands.resize(number);
        into.bands[number - 1].add(field.data.subspan(3));
    }

    // A colour space, three reserved bytes, the sizes of four components, and the components.
    static void tile_colour(IocaBlock& into, const Field& field) {
        const auto value = [&](std::size_t i) { return byte_of(field.u8(8 + i)); };
        if (field.u8(0) == 0x01)
            into.colour = {value(0), value(1), value(2), 255};
        else if (field.u8(0) == 0x04)
            into.colour = {byte_of((255U - value(0)) * (255U - value(3)) / 255),
                           byte_of((255U - value(1)) * (255U - value(3)) / 255),
                           byte_of((255U - value(2)) * (255U - value(3)) / 255), 255};
    }

    static Result<void> settle(IocaBlock& block) {
        IocaSamples& samples = block.samples;
        if (!block.bands.empty() && block.bands.size() != static_cast<std::size_t>(samples.count))
            return Error{Fault::malformed, "number of bands"};
        if (block.encoding.compression() == IocaCompression::jpeg) {
            samples.bits = {8, 8, 8, 8};
            if (block.bands.empty()) return {};
        }
        if (samples.count != samples_of(samples.colour)) return Error{Fault::malformed, "samples of a pixel"};
        for (int i = 0; i < samples.count; ++i) {
            const int bits = samples.bits[static_cast<std::size_t>(i)];
            if (bits < 1 || bits > 8) return Error{Fault::unsupported, "bits per sample"};
        }
        return {};
    }

    IocaContent content_;
    IocaBlock defaults_;
    std::optional<Error> error_;
    bool content_seen_ = false, in_tile_ = false, in_mask_ = false;
};

}  // namespace

void IocaData::add(std::span<const std::uint8_t> piece) {
    if (piece.empty()) return;
    if (++pieces_ == 1) {
        single_ = piece;
        return;
    }
    if (pieces_ == 2) joined_.assign(single_.begin(), single_.end());
    joined_.insert(joined_.end(), piece.begin(), piece.end());
}

Resolution ioca_resolution(int unit_base, int x, int y) {
    const auto dots = [&](int count) {
        if (unit_base == 1) return count * 2.54 / 10;
        // Some writers count per inch.
        constexpr int kLeastPerTenInches = 350, kLeastPerInch = 72;
        return count < kLeastPerTenInches && count >= kLeastPerInch ? double(count) : count / 10.0;
    };
    if (unit_base > 1 || x == 0 || y == 0) return {};
    return {dots(x), dots(y)};
}

Result<IocaContent> parse_ioca(std::span<const std::uint8_t> segment) {
    Fields fields{segment};
    Parser parser;
    Field field;
    while (fields.next(field) && parser.take(field)) {
    }
    return parser.finish();
}

}  // namespace quillmark::imaging::codecs
