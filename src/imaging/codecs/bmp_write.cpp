// Writing BMP files, bottom-up and uncompressed.
#include <algorithm>
#include <cmath>
#include <limits>

#include "imaging/codecs/dib.h"
#include "imaging/convert_depth.h"
#include "imaging/swizzle.h"

namespace quillmark::imaging {
namespace {

constexpr int kOs2Code = 14;
constexpr std::uint32_t kFileHeader = 14;
constexpr int kChunk = 256 << 10;

// 5 and 6 bits as 8, by which pixels of 5-5-5 files are told from 5-6-5 ones.
constexpr int scale(int value, int max) { return (value * 255 + max / 2) / max; }

// Whether a green value of 16-bit colour can come from 5 bits, widened by scaling or by repeating its top
// bits.
std::array<bool, 256> five_bit_levels() {
    std::array<bool, 256> known{};
    for (int v = 0; v < 32; ++v) {
        known[static_cast<std::size_t>(scale(v, 31))] = true;
        known[static_cast<std::size_t>(v << 3 | v >> 2)] = true;
    }
    return known;
}

bool fits_555(const Bitmap& bitmap) {
    if (bitmap.layout() != Layout::rgb24) return false;
    const auto known = five_bit_levels();
    for (int y = 0; y < bitmap.height(); ++y) {
        const auto row = bitmap.row(y);
        for (std::size_t at = 1; at < row.size(); at += 3) {
            if (!known[row[at]]) return false;
        }
    }
    return true;
}

// What the headers of one file say.
struct Plan {
    bool os2 = false, is_565 = false;
    int bits = 0;
    std::uint32_t info_header = 40;
    std::uint32_t mask_bytes = 0;  // behind the header
    std::uint32_t palette_entries = 0;
    std::uint32_t stride = 0;
    std::uint64_t image_bytes = 0;

    std::uint32_t bits_at() const {
        return kFileHeader + info_header + mask_bytes + palette_entries * (os2 ? 3U : 4U);
    }
};

Result<Plan> make_plan(const Bitmap& bitmap, int format_code) {
    Plan plan;
    plan.os2 = format_code == kOs2Code;
    plan.bits = bitmap.bits();
    if (plan.os2 && (bitmap.width() > 65'535 || bitmap.height() > 65'535))
        return Error{Fault::too_large, "width or height"};
    plan.is_565 = plan.bits == 16 && !fits_555(bitmap);
    plan.info_header = plan.os2 ? 12 : plan.bits == 32 ? 108 : 40;
    plan.mask_bytes = plan.is_565 ? 12 : 0;
    if (plan.bits <= 8) {
        const auto used = static_cast<std::uint32_t>(bitmap.palette().size());
        const std::uint32_t full = 1U << plan.bits;
        plan.palette_entries = plan.os2 ? full : std::clamp(used, 1U, full);
    }
    const std::int64_t stride = (static_cast<std::int64_t>(bitmap.width()) * plan.bits + 31) / 32 * 4;
    plan.image_bytes = static_cast<std::uint64_t>(stride * bitmap.height());
    if (plan.image_bytes + plan.bits_at() > std::numeric_limits<std::uint32_t>::max()) {
        return Error{Fault::too_large, "file size"};
    }
    plan.stride = static_cast<std::uint32_t>(stride);
    return plan;
}

std::uint32_t per_metre(double dpi) {
    return dpi > 0 && dpi < 1e6 ? static_cast<std::uint32_t>(std::lround(dpi / 0.0254)) : 0;
}

void write_core_header(const Bitmap& bitmap, const Plan& plan, ByteWriter& out) {
    out.u16le(static_cast<std::uint32_t>(bitmap.width()));
    out.u16le(static_cast<std::uint32_t>(bitmap.height()));
    out.u16le(1);
    out.u16le(static_cast<std::uint32_t>(plan.bits));
}

void write_windows_header(const Bitmap& bitmap, const Plan& plan, ByteWriter& out) {
    constexpr std::uint32_t kBitfields = 3;
    constexpr std::uint32_t kStandardRgb = 0x73524742;  // 'sRGB'
    const bool masked = plan.is_565 || plan.bits == 32;
    out.u32le(static_cast<std::uint32_t>(bitmap.width()));
    out.u32le(static_cast<std::uint32_t>(bitmap.height()));
    out.u16le(1);
    out.u16le(static_cast<std::uint32_t>(plan.bits));
    out.u32le(masked ? kBitfields : 0);
    out.u32le(static_cast<std::uint32_t>(plan.image_bytes));
    out.u32le(per_metre(bitmap.metadata().resolution.x));
    out.u32le(per_metre(bitmap.metadata().resolution.y));
    out.u32le(plan.palette_entries);
    out.u32le(0);
    if (plan.is_565) {
        for (const std::uint32_t mask : {0xF800U, 0x07E0U, 0x001FU}) out.u32le(mask);
    }
    if (plan.bits == 32) {
        for (const std::uint32_t mask : {0xFF0000U, 0xFF00U, 0xFFU, 0xFF000000U}) out.u32le(mask);
        out.u32le(kStandardRgb);
        out.zeros(36 + 12);  // endpoints and gamma, of no meaning for sRGB
    }
}

void write_headers(const Bitmap& bitmap, const Plan& plan, ByteWriter& out) {
    out.u8('B');
    out.u8('M');
    out.u32le(plan.bits_at() + static_cast<std::uint32_t>(plan.image_bytes));
    out.u32le(0);
    out.u32le(plan.bits_at());
    out.u32le(plan.info_header);
    plan.os2 ? write_core_header(bitmap, plan, out) : write_windows_header(bitmap, plan, out);
    for (std::uint32_t i = 0; i < plan.palette_entries; ++i) {
        const Rgba entry = i < bitmap.palette().size() ? bitmap.palette()[i] : Rgba{};
        out.u8(entry.b);
        out.u8(entry.g);
        out.u8(entry.r);
        if (!plan.os2) out.u8(0);
    }
}

void pack_nibbles(std::span<const std::uint8_t> in, std::uint8_t* out) {
    for (std::size_t x = 0; x < in.size(); x += 2) {
        const int low = x + 1 < in.size() ? in[x + 1] & 15 : 0;
        *out++ = static_cast<std::uint8_t>((in[x] & 15) << 4 | low);
    }
}

void pack_16(std::span<const std::uint8_t> rgb, std::uint8_t* out, bool is_565) {
    for (std::size_t at = 0; at + 2 < rgb.size(); at += 3, out += 2) {
        const unsigned r = rgb[at] >> 3, b = rgb[at + 2] >> 3;
        const unsigned pixel = is_565 ? r << 11 | static_cast<unsigned>(rgb[at + 1] >> 2) << 5 | b
                                      : r << 10 | static_cast<unsigned>(rgb[at + 1] >> 3) << 5 | b;
        out[0] = static_cast<std::uint8_t>(pixel);
        out[1] = static_cast<std::uint8_t>(pixel >> 8);
    }
}

// One row as stored; out holds plan.stride bytes, zeros at the end.
void pack_row(const Bitmap& bitmap, int y, const Plan& plan, std::vector<std::uint8_t>& rgb,
              std::uint8_t* out) {
    const auto row = bitmap.row(y);
    const auto width = static_cast<std::size_t>(bitmap.width());
    switch (plan.bits) {
        case 4: pack_nibbles(row, out); return;
        case 16:
            row_to_rgb(bitmap, y, 0, rgb);
            pack_16(rgb, out, plan.is_565);
            return;
        case 24: swap_rgb24(row.data(), out, width); return;
        case 32: swap_rgba32(row.data(), out, width); return;
        default: std::ranges::copy(row, out); return;
    }
}

}  // namespace

Result<void> encode_bmp(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    const auto plan = make_plan(bitmap, options.format_code);
    if (!plan) return plan.error();
    write_headers(bitmap, *plan, out);
    const int height = bitmap.height();
    const int step = std::clamp(kChunk / static_cast<int>(plan->stride), 1, height);
    std::vector<std::uint8_t> chunk(static_cast<std::size_t>(step) * plan->stride);
    std::vector<std::uint8_t> rgb(plan->bits == 16 ? static_cast<std::size_t>(bitmap.width()) * 3 : 0);
    for (int row = 0; row < height; row += step) {
        const int count = std::min(step, height - row);
        for (int i = 0; i < count; ++i) {
            pack_row(bitmap, height - 1 - row - i, *plan, rgb,
                     chunk.data() + static_cast<std::size_t>(i) * plan->stride);
        }
        out.write(std::span{chunk}.first(static_cast<std::size_t>(count) * plan->stride));
        if (out.failed()) return Error{Fault::io, "writing"};
        if (options.progress && !options.progress(row + count, height))
            return Error{Fault::cancelled, "bitmap"};
    }
    return {};
}

}  // namespace quillmark::imaging
