#include "imaging/codecs/pict_write.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "imaging/codecs/packbits.h"

namespace quillmark::imaging::codecs {
namespace {

constexpr int kMostBytes = 0x7FFF, kMostUnits = 32'767;
constexpr int kUnpackedBelow = 8;  // rows shorter than this are never packed

struct Plan {
    int width = 0, height = 0, depth = 0, row_bytes = 0;
    int frame_width = 0, frame_height = 0;
    std::uint32_t dpi_x = 0, dpi_y = 0;  // 16.16
    bool plain_bits = false;             // 1 bit, white and black, ink is 1
    std::uint8_t flip = 0;

    bool packed() const { return row_bytes >= kUnpackedBelow; }
    std::size_t unpacked() const {
        return static_cast<std::size_t>(depth == 32 && packed() ? width * 3 : row_bytes);
    }
};

int row_bytes_for(int width, int depth) {
    const std::int64_t bytes =
        depth == 32 ? std::int64_t{width} * 4 : (std::int64_t{width} * depth + 15) / 16 * 2;
    if (bytes > kMostBytes) return kMostBytes + 1;
    // Between 200 and 250 readers disagree on the width of the counts.
    return depth < 32 && bytes > 200 && bytes <= 250 ? 252 : static_cast<int>(bytes);
}

Plan plan_for(const Bitmap& bitmap) {
    Plan plan;
    plan.width = bitmap.width();
    plan.height = bitmap.height();
    plan.depth = bitmap.layout() == Layout::rgb24 ? 32 : bitmap.bits();
    plan.row_bytes = row_bytes_for(plan.width, plan.depth);
    const Resolution dpi = bitmap.metadata().resolution;
    const auto usable = [](double value) { return value >= 1 && value <= 10'000 ? value : 72.0; };
    plan.dpi_x = static_cast<std::uint32_t>(std::llround(usable(dpi.x) * 65536));
    plan.dpi_y = static_cast<std::uint32_t>(std::llround(usable(dpi.y) * 65536));
    const auto units = [](int pixels, double per_inch) {
        return std::max(1, static_cast<int>(std::lround(pixels * 72.0 / per_inch)));
    };
    plan.frame_width = units(plan.width, usable(dpi.x));
    plan.frame_height = units(plan.height, usable(dpi.y));
    constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255};
    if (plan.depth == 1) {
        const bool inverted = bitmap.palette() == Palette{kBlack, kWhite};
        plan.plain_bits = inverted || bitmap.palette() == Palette{kWhite, kBlack};
        plan.flip = inverted ? 0xFF : 0;
    }
    return plan;
}

void u16(ByteWriter& out, std::initializer_list<int> values) {
    for (const int value : values) out.u16be(static_cast<std::uint32_t>(value) & 0xFFFF);
}

void put_header(const Plan& plan, ByteWriter& out) {
    out.zeros(512);
    u16(out, {0, 0, 0, plan.frame_height, plan.frame_width});  // the size is filled in at the end
    u16(out, {0x0011, 0x02FF, 0x0C00, 0xFFFE, 0});
    out.u32be(plan.dpi_x);
    out.u32be(plan.dpi_y);
    u16(out, {0, 0, plan.height, plan.width, 0, 0});
    u16(out, {0x001E});  // black ink, white paper
    u16(out, {0x0001, 10, 0, 0, plan.frame_height, plan.frame_width});
}

void put_table(const Bitmap& bitmap, ByteWriter& out) {
    const std::size_t entries = std::size_t{1} << bitmap.bits();
    out.u32be(0);
    u16(out, {0, static_cast<int>(entries) - 1});
    for (std::size_t i = 0; i < entries; ++i) {
        const Rgba c = i < bitmap.palette().size() ? bitmap.palette()[i] : Rgba{};
        u16(out, {static_cast<int>(i), c.r * 257, c.g * 257, c.b * 257});
    }
}

void put_raster_header(const Plan& plan, const Bitmap& bitmap, ByteWriter& out) {
    const bool direct = plan.depth == 32;
    u16(out, {direct ? 0x009A : plan.packed() ? 0x0098 : 0x0090});
    if (direct) out.u32be(0xFF);  // where the pixels were in memory once
    u16(out, {plan.plain_bits ? plan.row_bytes : plan.row_bytes | 0x8000, 0, 0, plan.height, plan.width});
    if (!plan.plain_bits) {
        u16(out, {0, direct ? 4 : 0});
        out.u32be(0);
        out.u32be(plan.dpi_x);
        out.u32be(plan.dpi_y);
        u16(out, {direct ? 16 : 0, plan.depth, direct ? 3 : 1, direct ? 8 : plan.depth});
        out.zeros(12);
        if (!direct) put_table(bitmap, out);
    }
    u16(out, {0, 0, plan.height, plan.width});
    u16(out, {0, 0, plan.frame_height, plan.frame_width});
    u16(out, {0});
}

// Rows as they are packed: planes of R, G, B; or chunks of X, R, G, B when too short for packing.
void put_direct(const Plan& plan, std::span<const std::uint8_t> row, std::span<std::uint8_t> out) {
    const auto width = static_cast<std::size_t>(plan.width);
    if (!plan.packed()) {
        for (std::size_t x = 0; x < width; ++x) std::copy_n(&row[x * 3], 3, &out[x * 4 + 1]);
        return;
    }
    for (std::size_t x = 0; x < width; ++x) {
        out[x] = row[x * 3], out[width + x] = row[x * 3 + 1], out[width * 2 + x] = row[x * 3 + 2];
    }
}

void make_row(const Plan& plan, const Bitmap& bitmap, int y, std::span<std::uint8_t> out) {
    const auto row = bitmap.row(y);
    switch (plan.depth) {
        case 32: put_direct(plan, row, out); break;
        case 1:
            std::ranges::fill(out, std::uint8_t{0});
            for (std::size_t i = 0; i < row.size(); ++i) out[i] = row[i] ^ plan.flip;
            if (plan.width % 8) out[row.size() - 1] &= static_cast<std::uint8_t>(0xFF00U >> (plan.width % 8));
            break;
        case 4:
            std::ranges::fill(out, std::uint8_t{0});
            for (std::size_t x = 0; x < row.size(); ++x)
                out[x / 2] |= static_cast<std::uint8_t>((row[x] & 15) << (x % 2 ? 0 : 4));
            break;
        default:
            std::ranges::fill(out.subspan(row.size()), std::uint8_t{0});
            std::memcpy(out.data(), row.data(), row.size());
    }
}

bool put_rows(const Plan& plan, const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    int done = 0;
    const auto go_on = [&] {
        ++done;
        return !out.failed() && (done % 64 != 0 || !options.progress || options.progress(done, plan.height));
    };
    if (!plan.packed()) {
        std::vector<std::uint8_t> row(plan.unpacked());
        for (int y = 0; y < plan.height; ++y) {
            make_row(plan, bitmap, y, row);
            out.write(row);
            if (!go_on()) return false;
        }
        return true;
    }
    return pack_rows(
        plan.height, plan.unpacked(),
        [&](int y, std::span<std::uint8_t> row) { make_row(plan, bitmap, y, row); },
        [&](std::span<const std::uint8_t> packed) {
            const auto count = static_cast<std::uint32_t>(packed.size());
            if (plan.row_bytes > 250) {
                out.u16be(count);
            } else {
                out.u8(static_cast<int>(count));
            }
            out.write(packed);
            return go_on();
        });
}

}  // namespace

Result<void> encode_pict(const Bitmap& bitmap, ByteWriter& out, const WriteOptions& options) {
    const Plan plan = plan_for(bitmap);
    if (plan.row_bytes > kMostBytes) return Error{Fault::too_large, "width"};
    if (plan.width > kMostUnits || plan.height > kMostUnits || plan.frame_width > kMostUnits ||
        plan.frame_height > kMostUnits)
        return Error{Fault::too_large, "width or height"};
    put_header(plan, out);
    put_raster_header(plan, bitmap, out);
    if (!put_rows(plan, bitmap, out, options))
        return out.failed() ? Error{Fault::io, "pixels"} : Error{Fault::cancelled, "pixels"};
    out.zeros(static_cast<std::size_t>(out.position() % 2));  // opcodes begin at even places
    u16(out, {0x00FF});
    const std::int64_t end = out.position();
    out.seek(512);
    out.u16be(static_cast<std::uint32_t>(end - 512) & 0xFFFF);
    out.seek(end);
    return {};
}

}  // namespace quillmark::imaging::codecs
