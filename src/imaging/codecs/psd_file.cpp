#include "imaging/codecs/psd_file.h"

#include <algorithm>

namespace quillmark::imaging::codecs {
namespace {

constexpr std::uint32_t kSignature = 0x38425053;  // 8BPS
constexpr std::int64_t kMapSize = 768;
constexpr std::int64_t kStampHeader = 28;
constexpr std::int64_t kMaxBlock = 16 << 20;  // of a profile or an EXIF block

Result<void> check_variant(const PsdFile& file) {
    const bool bilevel = file.mode == PsdMode::bilevel, deep = file.depth == 32;
    if (file.depth != 1 && file.depth != 8 && file.depth != 16 && !deep)
        return Error{Fault::malformed, "depth"};
    if ((file.depth == 1) != bilevel) return Error{Fault::malformed, "depth of this colour mode"};
    switch (file.mode) {
        case PsdMode::bilevel:
        case PsdMode::gray:
        case PsdMode::rgb: break;
        case PsdMode::indexed:
            if (file.depth != 8) return Error{Fault::malformed, "depth of this colour mode"};
            break;
        case PsdMode::cmyk:
        case PsdMode::channels:
        case PsdMode::duotone:
        case PsdMode::lab:
            if (deep) return Error{Fault::unsupported, "32 bits a channel in this colour mode"};
            break;
        default: return Error{Fault::malformed, "colour mode"};
    }
    if (file.channels < file.colours()) return Error{Fault::malformed, "channels"};
    return {};
}

Result<void> read_header(ByteReader& in, PsdFile& file, const Limits& limits) {
    if (in.u32be() != kSignature)
        return Error{in.failed() ? Fault::truncated : Fault::malformed, "signature"};
    file.version = in.u16be();
    in.skip(6);
    file.channels = in.u16be();
    const std::int64_t height = in.u32be(), width = in.u32be();
    file.depth = in.u16be();
    const unsigned mode = in.u16be();
    if (in.failed()) return Error{Fault::truncated, "header"};
    if (file.version != 1 && file.version != 2) return Error{Fault::malformed, "version"};
    if (file.channels < 1 || file.channels > 56) return Error{Fault::malformed, "channels"};
    file.mode = static_cast<PsdMode>(std::min(mode, 255U));
    if (const auto variant = check_variant(file); !variant) return variant.error();
    if (const auto size = Bitmap::check_size(width, height, file.bits(), limits); !size) return size.error();
    file.width = static_cast<int>(width);
    file.height = static_cast<int>(height);
    return {};
}

// All reds, then all greens, then all blues.
Palette read_map(ByteReader in) {
    Palette palette(kMapSize / 3);
    for (const auto member : {&Rgba::r, &Rgba::g, &Rgba::b}) {
        for (Rgba& entry : palette) entry.*member = in.u8();
    }
    return palette;
}

SharedBytes block_of(ByteReader data) {
    if (data.size() < 8 || data.size() > kMaxBlock) return {};
    return std::make_shared<const std::vector<std::uint8_t>>(
        data.bytes(static_cast<std::size_t>(data.size())));
}

double fixed_dpi(std::uint32_t value) {
    const double dpi = value / 65536.0;
    return dpi >= 1 && dpi < 32768 ? dpi : 0;
}

void take_resolution(ByteReader data, PsdFile& file) {
    if (data.size() < 12) return;
    // The units that follow each figure are for display: the figure itself is always per inch.
    file.metadata.resolution.x = fixed_dpi(data.u32be());
    data.skip(4);
    file.metadata.resolution.y = fixed_dpi(data.u32be());
}

void take_stamp(ByteReader data, std::int64_t at, bool swapped, PsdFile& file) {
    if (file.stamp_size > 0 || data.size() <= kStampHeader + 3 || data.u32be() != 1) return;
    data.seek(kStampHeader);
    if (data.u16be() != 0xFFD8) return;
    file.stamp_at = at + kStampHeader;
    file.stamp_size = data.size() - kStampHeader;
    file.stamp_swapped = swapped;
}

void take_resource(unsigned id, const ByteReader& data, std::int64_t at, PsdFile& file) {
    ByteReader bytes = data;
    switch (id) {
        case kPsdResolution: take_resolution(data, file); break;
        case kPsdCaption: {
            const auto text = bytes.bytes(bytes.u8());
            file.metadata.comment = text_from_bytes(text.data(), text.size());
            break;
        }
        case kPsdOldStamp:
        case kPsdStamp: take_stamp(data, at, id == kPsdOldStamp, file); break;
        case kPsdProfile: file.metadata.icc = block_of(data); break;
        case kPsdExif: file.metadata.exif = block_of(data); break;
        case kPsdUsedColours:
            if (const std::size_t used = bytes.u16be(); used >= 1 && used < file.palette.size())
                file.palette.resize(used);
            break;
        case kPsdVersion:
            bytes.skip(4);
            file.merged = bytes.u8() != 0 || bytes.failed();
            break;
        default: break;
    }
}

// Blocks of signature, number, padded name, size and padded data. Any four letters serve as signature: other
// writers have their own.
void read_resources(const ByteReader& file_bytes, std::int64_t begin, std::int64_t size, PsdFile& file) {
    ByteReader in = file_bytes.sub(begin, size);
    while (in.remaining() >= 12) {
        in.skip(4);
        const unsigned id = in.u16be();
        const int name = in.u8();
        in.skip(name + (name % 2 == 0 ? 1 : 0));
        const std::int64_t length = in.u32be();
        if (in.failed() || length > in.remaining()) return;
        take_resource(id, in.sub(in.position(), length), begin + in.position(), file);
        in.skip(std::min(length + length % 2, in.remaining()));
    }
}

// The first word of the list of layers: how many there are, negative when the first channel behind the
// colours is the merged picture's transparency. Deep documents keep the list in a tagged block of its own.
int layer_count(ByteReader in, bool wide) {
    const auto length = [&] { return wide ? in.u64be() : in.u32be(); };
    if (length() > 0) return in.i16be();
    in.skip(in.u32be());  // the mask that all layers share
    constexpr std::uint32_t kLr16 = 0x4C723136, kLr32 = 0x4C723332;
    in.skip(4);
    const std::uint32_t tag = in.u32be();
    if (tag != kLr16 && tag != kLr32) return 0;
    return length() > 0 ? in.i16be() : 0;
}

bool can_hold_alpha(const PsdFile& file) {
    return file.depth > 1 && file.mode != PsdMode::indexed && file.mode != PsdMode::channels &&
           file.channels > file.colours();
}

}  // namespace

int PsdFile::colours() const {
    switch (mode) {
        case PsdMode::rgb:
        case PsdMode::lab: return 3;
        case PsdMode::cmyk: return 4;
        case PsdMode::channels: return channels >= 3 ? 3 : 1;
        default: return 1;
    }
}

int PsdFile::bits() const {
    if (depth == 1) return 1;
    if (alpha) return 32;
    if (colours() > 1) return 24;
    return depth == 16 ? 16 : 8;
}

Result<PsdFile> read_psd(ByteReader& in, const Limits& limits) {
    PsdFile file;
    if (const auto header = read_header(in, file, limits); !header) return header.error();
    const std::int64_t map = in.u32be();
    if (in.failed() || map > in.remaining()) return Error{Fault::truncated, "colours"};
    if (file.mode == PsdMode::indexed) {
        if (map < kMapSize) return Error{Fault::malformed, "colours"};
        file.palette = read_map(in);
    }
    in.skip(map);
    const std::int64_t resources = in.u32be();
    if (in.failed() || resources > in.remaining()) return Error{Fault::truncated, "resources"};
    read_resources(in, in.position(), resources, file);
    // A profile of inks says nothing of the colours that they are turned into.
    if (file.mode != PsdMode::rgb && file.mode != PsdMode::gray && file.mode != PsdMode::indexed)
        file.metadata.icc.reset();
    in.skip(resources);
    const std::uint64_t layers = file.version == 2 ? in.u64be() : in.u32be();
    if (in.failed() || layers > static_cast<std::uint64_t>(in.remaining()))
        return Error{Fault::truncated, "layers"};
    const auto list = static_cast<std::int64_t>(layers);
    file.alpha = can_hold_alpha(file) && layer_count(in.sub(in.position(), list), file.version == 2) < 0;
    if (file.alpha) {
        const auto size = Bitmap::check_size(file.width, file.height, file.bits(), limits);
        if (!size) return size.error();
    }
    in.skip(list);
    const unsigned packing = in.u16be();
    if (in.failed()) return Error{Fault::truncated, "pixels"};
    if (packing > 3) return Error{Fault::malformed, "compression"};
    file.packing = static_cast<PsdPacking>(packing);
    file.pixels_at = in.position();
    return file;
}

}  // namespace quillmark::imaging::codecs
