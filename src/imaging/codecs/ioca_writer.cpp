// Writes bare IOCA segments: one bilevel image in Group 3 codes.
// Source: IOCA reference of the AFP Consortium.
#include "imaging/codecs/ioca_writer.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "imaging/codecs/fax_encoder.h"
#include "imaging/codecs/ioca_content.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kMaxSide = 0x7FFF;
constexpr std::size_t kChunk = 8192;  // bytes of one image data field: what every receiver takes

int luma(const Rgba& colour) { return colour.r * 299 + colour.g * 587 + colour.b * 114; }

// Ink is 1, and ink is the darker colour.
bool ink_is_zero(const Palette& palette) { return palette.size() > 1 && luma(palette[0]) < luma(palette[1]); }

// Resolutions per 10 inches; a ratio of 1 when there is none.
void write_size(const Bitmap& bitmap, ByteWriter& out) {
    const Resolution& dots = bitmap.metadata().resolution;
    const auto per_ten_inches = [](double x) { return static_cast<std::uint32_t>(std::lround(x * 10)); };
    constexpr double kMost = kMaxSide / 10.0;
    const bool known = dots.x >= 35 && dots.x <= kMost && dots.y >= 35 && dots.y <= kMost;
    out.u8(ioca_code::kImageSize);
    out.u8(9);
    out.u8(known ? 0 : 2);
    out.u16be(known ? per_ten_inches(dots.x) : 1);
    out.u16be(known ? per_ten_inches(dots.y) : 1);
    out.u16be(static_cast<std::uint32_t>(bitmap.width()));
    out.u16be(static_cast<std::uint32_t>(bitmap.height()));
}

void write_data(std::span<const std::uint8_t> codes, ByteWriter& out) {
    while (!codes.empty()) {
        const std::size_t size = std::min(codes.size(), kChunk);
        out.u16be(ioca_code::kImageData);
        out.u16be(static_cast<std::uint32_t>(size));
        out.write(codes.first(size));
        codes = codes.subspan(size);
    }
}

}  // namespace

// Rows are coded with the padding that brings them to whole bytes; it is white.
Result<void> encode_ioca(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    if (bitmap.width() > kMaxSide || bitmap.height() > kMaxSide)
        return Error{Fault::too_large, "IOCA allows 32,767 pixels a side"};
    fax::Encoder encoder{{fax::Coding::group3, (bitmap.width() + 7) / 8 * 8, false}};
    const std::uint8_t flip = ink_is_zero(bitmap.palette()) ? 0xFF : 0;
    std::vector<std::uint8_t> row(bitmap.row_bytes());
    for (int y = 0; y < bitmap.height(); ++y) {
        std::ranges::transform(bitmap.row(y), row.begin(), [&](std::uint8_t byte) { return byte ^ flip; });
        if (bitmap.width() % 8) row.back() &= static_cast<std::uint8_t>(0xFF00U >> bitmap.width() % 8);
        encoder.add_row(row);
        if (y % 64 == 63 && options.progress && !options.progress(y + 1, bitmap.height()))
            return Error{Fault::cancelled, "pixels"};
    }
    encoder.finish(true);
    constexpr std::uint8_t kBegin[] = {0x70, 0, 0x91, 1, 0xFF};
    constexpr std::uint8_t kCoding[] = {0x95, 2, 0x80, 1, 0x96, 1, 1};  // G3 1-D, padded rows, 1 bit
    constexpr std::uint8_t kEnd[] = {0x93, 0, 0x71, 0};
    out.write(kBegin);
    write_size(bitmap, out);
    out.write(kCoding);
    write_data(encoder.bytes(), out);
    out.write(kEnd);
    if (out.failed()) return Error{Fault::io, "pixels"};
    return {};
}

}  // namespace quillmark::imaging::codecs
