#include "imaging/codecs/png_header.h"

#include <libdeflate.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "imaging/codecs/exif.h"

namespace quillmark::imaging::codecs {
namespace {

using Bytes = std::vector<std::uint8_t>;
using View = std::span<const std::uint8_t>;

constexpr int kMaxChunks = 100'000;
constexpr std::uint32_t kMaxAncillary = 16 << 20;  // larger chunks are passed over
constexpr std::size_t kMaxInflated = 16 << 20;

constexpr std::uint32_t type(const char (&name)[5]) {
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<std::uint8_t>(name[i]);
    return code;
}

bool is_critical(std::uint32_t chunk) { return (chunk & 0x20000000U) == 0; }

std::uint32_t be32(View bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 |
           std::uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
}

struct Chunk {
    std::uint32_t size = 0, type = 0;
    std::int64_t at = 0;  // position of its data
};

// The chunk at a position; nothing at the end of the file.
std::optional<Chunk> chunk_at(const ByteReader& in, std::int64_t position) {
    std::array<std::uint8_t, 8> head{};
    if (position + 8 > in.size() || in.source()->read_at(in.base() + position, head) < head.size()) return {};
    return Chunk{be32(head, 0), be32(head, 4), position + 8};
}

std::int64_t behind(const Chunk& chunk) { return chunk.at + chunk.size + 4; }

// The data of a chunk whose checksum is right.
std::optional<Bytes> checked_data(const ByteReader& in, const Chunk& chunk) {
    ByteReader part = in.sub(chunk.at - 4);
    const Bytes bytes = part.bytes(std::size_t{chunk.size} + 4);
    const std::uint32_t stored = part.u32be();
    if (part.failed() || libdeflate_crc32(0, bytes.data(), bytes.size()) != stored) return {};
    return Bytes(bytes.begin() + 4, bytes.end());
}

Bytes inflated(View packed) {
    const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> inflater{
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor};
    Bytes out;
    for (std::size_t room = 4096; inflater && room <= kMaxInflated; room *= 8) {
        out.resize(room);
        std::size_t size = 0;
        const auto result =
            libdeflate_zlib_decompress(inflater.get(), packed.data(), packed.size(), out.data(), room, &size);
        if (result == LIBDEFLATE_INSUFFICIENT_SPACE) continue;
        out.resize(result == LIBDEFLATE_SUCCESS ? size : 0);
        return out;
    }
    return {};
}

// Splits off the text up to its zero byte.
std::string_view take_text(View& bytes) {
    const auto end = std::ranges::find(bytes, std::uint8_t{0});
    const auto size = static_cast<std::size_t>(end - bytes.begin());
    const std::string_view text{reinterpret_cast<const char*>(bytes.data()), size};
    bytes = bytes.subspan(std::min(size + 1, bytes.size()));
    return text;
}

// Keeps the text that describes the picture best: a comment, else a description.
class TextChooser {
  public:
    explicit TextChooser(std::string& comment) : comment_{comment}, rank_{comment.empty() ? 0 : 2} {}

    void offer(std::string_view keyword, View text) {
        const int rank = keyword == "Comment" ? 2 : keyword == "Description" ? 1 : 0;
        if (rank <= rank_ || text.empty()) return;
        comment_ = text_from_bytes(text.data(), text.size());
        rank_ = rank;
    }

    void take(std::uint32_t chunk, View data) {
        const std::string_view keyword = take_text(data);
        if (chunk == type("tEXt")) return offer(keyword, data);
        if (chunk == type("zTXt")) {
            if (data.size() > 1) offer(keyword, inflated(data.subspan(1)));
            return;
        }
        if (data.size() < 2) return;
        const bool packed = data[0] != 0;
        data = data.subspan(2);
        take_text(data);  // language
        take_text(data);  // translated keyword
        if (packed)
            offer(keyword, inflated(data));
        else
            offer(keyword, data);
    }

  private:
    std::string& comment_;
    int rank_;
};

void take_exif(Bytes data, Metadata& metadata) {
    if (metadata.exif || data.size() < 8) return;
    const ExifFacts facts = read_exif(data);
    metadata.orientation = facts.orientation;
    if (metadata.resolution == Resolution{}) metadata.resolution = facts.resolution;
    metadata.exif = std::make_shared<const Bytes>(std::move(data));
}

// Pixels per metre; other units only give the shape of a pixel.
void take_density(View data, Metadata& metadata) {
    if (data.size() != 9 || data[8] != 1) return;
    const auto dpi = [&](std::size_t at) { return std::round(be32(data, at) * 2.54) / 100; };
    const double x = dpi(0), y = dpi(4);
    if (x > 0 && y > 0 && x <= 100'000 && y <= 100'000) metadata.resolution = {x, y};
}

void take_profile(View data, Metadata& metadata) {
    take_text(data);
    if (metadata.icc || data.size() < 2 || data[0] != 0) return;
    Bytes profile = inflated(data.subspan(1));
    if (profile.size() >= 128) metadata.icc = std::make_shared<const Bytes>(std::move(profile));
}

// An ancillary chunk that belongs to the metadata; others are left alone.
void take_metadata(const ByteReader& in, const Chunk& chunk, TextChooser& texts, Metadata& metadata) {
    static constexpr std::array kWanted{type("pHYs"), type("iCCP"), type("eXIf"),
                                        type("tEXt"), type("zTXt"), type("iTXt")};
    if (chunk.size > kMaxAncillary || std::ranges::find(kWanted, chunk.type) == kWanted.end()) return;
    auto data = checked_data(in, chunk);
    if (!data) return;
    if (chunk.type == type("pHYs"))
        take_density(*data, metadata);
    else if (chunk.type == type("iCCP"))
        take_profile(*data, metadata);
    else if (chunk.type == type("eXIf"))
        take_exif(std::move(*data), metadata);
    else
        texts.take(chunk.type, *data);
}

bool depth_is_valid(PngColour colour, int depth) {
    switch (colour) {
        case PngColour::gray: return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
        case PngColour::palette: return depth == 1 || depth == 2 || depth == 4 || depth == 8;
        case PngColour::rgb:
        case PngColour::gray_alpha:
        case PngColour::rgb_alpha: return depth == 8 || depth == 16;
    }
    return false;
}

Result<void> take_image_header(View data, PngHeader& header) {
    if (data.size() != 13) return Error{Fault::malformed, "PNG header"};
    header.width = be32(data, 0);
    header.height = be32(data, 4);
    header.depth = data[8];
    header.colour = static_cast<PngColour>(data[9]);
    header.interlaced = data[12] == 1;
    if (header.width < 1 || header.height < 1) return Error{Fault::malformed, "PNG width or height"};
    if (!depth_is_valid(header.colour, header.depth))
        return Error{Fault::malformed, "PNG colour type or depth"};
    if (data[10] != 0 || data[11] != 0 || data[12] > 1) return Error{Fault::unsupported, "PNG method"};
    return {};
}

Result<void> take_palette(View data, PngHeader& header) {
    if (header.colour != PngColour::palette) return {};  // a suggestion for other displays
    if (!header.palette.empty()) return Error{Fault::malformed, "second PNG palette"};
    const std::size_t count = std::min<std::size_t>(data.size() / 3, std::size_t{1} << header.depth);
    if (count == 0 || data.size() % 3 != 0) return Error{Fault::malformed, "PNG palette"};
    for (std::size_t i = 0; i < count; ++i)
        header.palette.push_back({data[i * 3], data[i * 3 + 1], data[i * 3 + 2], 255});
    return {};
}

void take_transparency(View data, PngHeader& header) {
    const auto value = [&](std::size_t i) {
        return static_cast<std::uint16_t>(data[i * 2] << 8 | data[i * 2 + 1]);
    };
    if (header.colour == PngColour::palette) {
        const std::size_t count = std::min(data.size(), header.palette.size());
        for (std::size_t i = 0; i < count; ++i) header.palette[i].a = data[i];
    } else if (header.colour == PngColour::gray && data.size() == 2) {
        header.key = {value(0), value(0), value(0)};
    } else if (header.colour == PngColour::rgb && data.size() == 6) {
        header.key = {value(0), value(1), value(2)};
    }
}

Result<void> take_chunk(const ByteReader& in, const Chunk& chunk, TextChooser& texts, PngHeader& header) {
    if (chunk.type == type("PLTE")) {
        if (chunk.size > 768) return Error{Fault::malformed, "PNG palette"};
        const auto data = checked_data(in, chunk);
        return data ? take_palette(*data, header) : Error{Fault::malformed, "PNG palette checksum"};
    }
    if (chunk.type == type("tRNS") && chunk.size <= 768) {
        if (const auto data = checked_data(in, chunk)) take_transparency(*data, header);
        return {};
    }
    if (is_critical(chunk.type)) return Error{Fault::unsupported, "unknown critical PNG chunk"};
    take_metadata(in, chunk, texts, header.metadata);
    return {};
}

Result<void> check_first_chunk(const ByteReader& in, const std::optional<Chunk>& first, PngHeader& header) {
    if (!first) return Error{Fault::truncated, "PNG header"};
    if (first->type == type("CgBI")) return Error{Fault::unsupported, "PNG optimised for iOS"};
    if (first->type != type("IHDR") || first->size != 13) return Error{Fault::malformed, "PNG header"};
    if (behind(*first) > in.size()) return Error{Fault::truncated, "PNG header"};
    const auto data = checked_data(in, *first);
    if (!data) return Error{Fault::malformed, "PNG header checksum"};
    return take_image_header(*data, header);
}

}  // namespace

int PngHeader::channels() const {
    switch (colour) {
        case PngColour::gray:
        case PngColour::palette: return 1;
        case PngColour::gray_alpha: return 2;
        case PngColour::rgb: return 3;
        case PngColour::rgb_alpha: return 4;
    }
    return 0;
}

int PngHeader::bits() const {
    if (key || colour == PngColour::gray_alpha || colour == PngColour::rgb_alpha) return 32;
    return colour == PngColour::rgb ? 24 : depth;
}

Result<PngHeader> read_png_header(ByteReader in) {
    PngHeader header;
    std::array<std::uint8_t, 8> signature{};
    in.read(signature);
    if (in.failed() || signature != kPngSignature) return Error{Fault::malformed, "PNG signature"};
    auto chunk = chunk_at(in, 8);
    if (const auto checked = check_first_chunk(in, chunk, header); !checked) return checked.error();
    TextChooser texts{header.metadata.comment};
    for (int count = 0; count < kMaxChunks; ++count) {
        chunk = chunk_at(in, behind(*chunk));
        if (!chunk) return Error{Fault::truncated, "PNG chunks"};
        if (chunk->type == type("IEND")) return Error{Fault::malformed, "PNG without pixels"};
        if (chunk->type == type("IDAT")) {
            if (header.colour == PngColour::palette && header.palette.empty())
                return Error{Fault::malformed, "PNG palette"};
            header.data_at = chunk->at - 8;
            return header;
        }
        if (const auto taken = take_chunk(in, *chunk, texts, header); !taken) return taken.error();
    }
    return Error{Fault::malformed, "PNG chunks"};
}

void read_png_trailer(ByteReader in, const PngHeader& header, Metadata& metadata) {
    TextChooser texts{metadata.comment};
    std::int64_t at = header.data_at;
    for (int count = 0; count < kMaxChunks; ++count) {
        const auto chunk = chunk_at(in, at);
        if (!chunk || chunk->type == type("IEND")) return;
        take_metadata(in, *chunk, texts, metadata);
        at = behind(*chunk);
    }
}

}  // namespace quillmark::imaging::codecs
