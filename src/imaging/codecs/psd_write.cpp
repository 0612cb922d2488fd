#include "imaging/codecs/psd_write.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "imaging/codecs/exif.h"
#include "imaging/codecs/packbits.h"
#include "imaging/codecs/psd_file.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kMaxSide = 30'000;
constexpr std::size_t kMaxCaption = 255;

PsdFile layout_of(const Bitmap& bitmap) {
    PsdFile file;
    file.width = bitmap.width();
    file.height = bitmap.height();
    file.depth = bitmap.layout() == Layout::bit1 ? 1 : 8;
    file.channels = 1;
    switch (bitmap.layout()) {
        case Layout::bit1: file.mode = PsdMode::bilevel; break;
        case Layout::index8:
            file.mode = bitmap.palette() == gray_palette(256) ? PsdMode::gray : PsdMode::indexed;
            break;
        default: file.channels = 3;
    }
    return file;
}

void put_resource(unsigned id, std::span<const std::uint8_t> data, ByteWriter& out) {
    out.write({reinterpret_cast<const std::uint8_t*>("8BIM"), 4});
    out.u16be(id);
    out.u16be(0);  // no name
    out.u32be(static_cast<std::uint32_t>(data.size()));
    out.write(data);
    out.zeros(data.size() % 2);
}

void put_resolution(Resolution dpi, MemoryWriter& out) {
    if (dpi.x <= 0 && dpi.y <= 0) return;
    for (const double value : {dpi.x > 0 ? dpi.x : dpi.y, dpi.y > 0 ? dpi.y : dpi.x}) {
        out.u32be(static_cast<std::uint32_t>(std::llround(std::clamp(value, 0.0, 32767.0) * 65536)));
        out.u16be(1);  // shown per inch, lengths in inches
        out.u16be(1);
    }
}

void put_resources(const Metadata& metadata, ByteWriter& out) {
    MemoryWriter blocks;
    MemoryWriter resolution;
    put_resolution(metadata.resolution, resolution);
    if (resolution.size() > 0) put_resource(kPsdResolution, resolution.bytes(), blocks);
    if (const auto& text = metadata.comment; !text.empty() && text.size() <= kMaxCaption) {
        std::vector<std::uint8_t> caption{static_cast<std::uint8_t>(text.size())};
        caption.insert(caption.end(), text.begin(), text.end());
        put_resource(kPsdCaption, caption, blocks);
    }
    if (metadata.icc) put_resource(kPsdProfile, *metadata.icc, blocks);
    if (metadata.exif) {
        const auto exif = exif_for_saving(*metadata.exif, metadata.orientation);
        if (!exif.empty()) put_resource(kPsdExif, exif, blocks);
    }
    out.u32be(static_cast<std::uint32_t>(blocks.size()));
    out.write(blocks.bytes());
}

void put_header(const PsdFile& file, const Bitmap& bitmap, ByteWriter& out) {
    out.write({reinterpret_cast<const std::uint8_t*>("8BPS"), 4});
    out.u16be(1);
    out.zeros(6);
    out.u16be(static_cast<std::uint32_t>(file.channels));
    out.u32be(static_cast<std::uint32_t>(file.height));
    out.u32be(static_cast<std::uint32_t>(file.width));
    out.u16be(static_cast<std::uint32_t>(file.depth));
    out.u16be(static_cast<std::uint32_t>(file.mode));
    if (file.mode == PsdMode::indexed) {
        out.u32be(768);
        for (const auto member : {&Rgba::r, &Rgba::g, &Rgba::b}) {
            for (std::size_t i = 0; i < 256; ++i)
                out.u8(i < bitmap.palette().size() ? bitmap.palette()[i].*member : 0);
        }
    } else {
        out.u32be(0);
    }
    put_resources(bitmap.metadata(), out);
    out.u32be(0);  // no layers
    out.u16be(static_cast<std::uint32_t>(PsdPacking::runs));
}

int brightness(const Palette& palette, std::size_t index) {
    return index < palette.size() ? palette[index].r * 2 + palette[index].g * 5 + palette[index].b : 0;
}

// One row of one channel.
class ChannelRows {
  public:
    explicit ChannelRows(const Bitmap& bitmap) : bitmap_{bitmap} {
        const bool ink_is_1 = brightness(bitmap.palette(), 0) > brightness(bitmap.palette(), 1);
        flip_ = bitmap.layout() == Layout::bit1 && !ink_is_1 ? 0xFF : 0;
    }

    void get(int y, std::size_t channel, std::span<std::uint8_t> out) const {
        const auto row = bitmap_.row(y);
        if (bitmap_.layout() == Layout::rgb24) {
            const std::uint8_t* in = row.data() + channel;
            for (std::size_t x = 0; x < out.size(); ++x) out[x] = in[x * 3];
            return;
        }
        for (std::size_t i = 0; i < out.size(); ++i) out[i] = row[i] ^ flip_;
        if (const int used = bitmap_.width() % 8; bitmap_.layout() == Layout::bit1 && used != 0)
            out.back() &= static_cast<std::uint8_t>(0xFF00U >> used);
    }

  private:
    const Bitmap& bitmap_;
    std::uint8_t flip_ = 0;
};

// The rows of all channels one after the other, and how long each one became.
Result<std::vector<std::size_t>> put_rows(const PsdFile& file, const Bitmap& bitmap, ByteWriter& out,
                                          const WriteOptions& options) {
    const ChannelRows source{bitmap};
    std::vector<std::size_t> sizes;
    const std::int64_t total = std::int64_t{file.channels} * file.height;
    for (std::size_t channel = 0; channel < static_cast<std::size_t>(file.channels); ++channel) {
        const bool done = pack_rows(
            file.height, file.row_bytes(),
            [&](int y, std::span<std::uint8_t> row) { source.get(y, channel, row); },
            [&](std::span<const std::uint8_t> packed) {
                out.write(packed);
                sizes.push_back(packed.size());
                const auto count = static_cast<std::int64_t>(sizes.size());
                return !out.failed() &&
                       (count % 64 != 0 || !options.progress || options.progress(count, total));
            });
        if (!done) return out.failed() ? Error{Fault::io, "pixels"} : Error{Fault::cancelled, "pixels"};
    }
    return sizes;
}

}  // namespace

Result<void> encode_psd(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    const PsdFile file = layout_of(bitmap);
    if (file.width > kMaxSide || file.height > kMaxSide) return Error{Fault::too_large, "width or height"};
    put_header(file, bitmap, out);
    const std::int64_t table = out.position();
    out.zeros(static_cast<std::size_t>(file.channels) * static_cast<std::size_t>(file.height) * 2);
    const auto sizes = put_rows(file, bitmap, out, options);
    if (!sizes) return sizes.error();
    const std::int64_t end = out.position();
    out.seek(table);
    for (const std::size_t size : *sizes) out.u16be(static_cast<std::uint32_t>(size));
    out.seek(end);
    return {};
}

}  // namespace quillmark::imaging::codecs
