#include "imaging/codecs/tiff_encode.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "imaging/codecs/fax_encoder.h"
#include "imaging/codecs/tiff_handle.h"

namespace quillmark::imaging::tiff {
namespace {

constexpr std::size_t kStripBytes = 64 << 10;
constexpr std::int64_t kClassicLimit = 4'000'000'000;  // offsets have 32 bits

bool is_dark(const Rgba& c) { return c.r * 2 + c.g * 5 + c.b < 8 * 128; }

// What is stored of one bitmap row, and how.
struct Plan {
    int bits = 8, samples = 1, photometric = PHOTOMETRIC_MINISBLACK;
    bool inverted = false;  // 1 bit: the file's polarity is not the palette's
    std::size_t row_bytes = 0;
};

// How our own coder writes the rows; nothing where they are not fax data.
std::optional<fax::Coding> fax_coding(int compression) {
    switch (compression) {
        case COMPRESSION_CCITTRLE: return fax::Coding::aligned_rows;
        case COMPRESSION_CCITTFAX3: return fax::Coding::group3;
        case COMPRESSION_CCITTFAX4: return fax::Coding::group4;
        default: return {};
    }
}

bool is_gray_ramp(const Bitmap& bitmap) { return bitmap.palette() == gray_palette(1 << bitmap.bits()); }

bool is_black_and_white(const Palette& palette) {
    const auto pure = [](const Rgba& c) { return c.r == c.g && c.g == c.b && (c.r == 0 || c.r == 255); };
    return palette.size() == 2 && pure(palette[0]) && pure(palette[1]) && palette[0].r != palette[1].r;
}

void plan_bilevel(const Bitmap& bitmap, int compression, Plan& plan) {
    Palette palette = bitmap.palette();
    palette.resize(2);
    const bool zero_is_dark = is_dark(palette[0]) && !is_dark(palette[1]);
    if (fax_coding(compression)) {  // runs begin white, and readers expect white to be 0
        plan.photometric = PHOTOMETRIC_MINISWHITE;
        plan.inverted = zero_is_dark;
    } else if (is_black_and_white(palette)) {
        plan.photometric = zero_is_dark ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_MINISWHITE;
    } else {
        plan.photometric = PHOTOMETRIC_PALETTE;
    }
}

Plan plan_for(const Bitmap& bitmap, int compression) {
    Plan plan;
    switch (bitmap.layout()) {
        case Layout::bit1:
            plan.bits = 1;
            plan_bilevel(bitmap, compression, plan);
            break;
        case Layout::index8:
            plan.bits = bitmap.bits();
            if (!is_gray_ramp(bitmap)) plan.photometric = PHOTOMETRIC_PALETTE;
            break;
        case Layout::gray16: plan.bits = bitmap.bits(); break;
        case Layout::rgb24:
            plan.samples = 3;
            plan.photometric = PHOTOMETRIC_RGB;
            break;
        case Layout::rgba32:
            plan.samples = 4;
            plan.photometric = PHOTOMETRIC_RGB;
            break;
    }
    const auto row_bits =
        static_cast<std::size_t>(bitmap.width()) * static_cast<std::size_t>(plan.bits * plan.samples);
    plan.row_bytes = (row_bits + 7) / 8;
    return plan;
}

// Samples as bit fields, the first in the most significant bits.
template <typename Sample>
void pack(std::span<const Sample> in, int bits, std::uint8_t* out) {
    std::uint32_t held = 0;
    int have = 0;
    const std::uint32_t mask = (1u << bits) - 1;
    for (const Sample sample : in) {
        held = held << bits | (sample & mask);
        for (have += bits; have >= 8; have -= 8) *out++ = static_cast<std::uint8_t>(held >> (have - 8));
    }
    if (have > 0) *out = static_cast<std::uint8_t>(held << (8 - have));
}

void store_row(const Bitmap& bitmap, const Plan& plan, int y, std::uint8_t* out) {
    const auto row = bitmap.row(y);
    if (bitmap.layout() == Layout::index8 && plan.bits < 8)
        return pack(row.first(static_cast<std::size_t>(bitmap.width())), plan.bits, out);
    if (bitmap.layout() == Layout::gray16 && plan.bits < 16) return pack(bitmap.row16(y), plan.bits, out);
    std::memcpy(out, row.data(), plan.row_bytes);
    if (plan.inverted)
        std::for_each_n(out, plan.row_bytes,
                        [](std::uint8_t& byte) { byte = static_cast<std::uint8_t>(~byte); });
}

void set_palette(TIFF* tiff, const Bitmap& bitmap, int bits) {
    std::array<std::array<std::uint16_t, 256>, 3> map{};
    const std::size_t count = std::min(bitmap.palette().size(), std::size_t{1} << bits);
    for (std::size_t i = 0; i < count; ++i) {
        const Rgba& c = bitmap.palette()[i];
        map[0][i] = static_cast<std::uint16_t>(c.r * 257);
        map[1][i] = static_cast<std::uint16_t>(c.g * 257);
        map[2][i] = static_cast<std::uint16_t>(c.b * 257);
    }
    TIFFSetField(tiff, TIFFTAG_COLORMAP, map[0].data(), map[1].data(), map[2].data());
}

void set_metadata(TIFF* tiff, const Metadata& metadata) {
    const Resolution& resolution = metadata.resolution;
    if (resolution.x > 0 && resolution.y > 0) {
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, resolution.x);
        TIFFSetField(tiff, TIFFTAG_YRESOLUTION, resolution.y);
        TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    }
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, static_cast<int>(metadata.orientation));
    if (metadata.icc && !metadata.icc->empty()) {
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(metadata.icc->size()),
                     metadata.icc->data());
    }
    if (!metadata.comment.empty()) TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, metadata.comment.c_str());
}

std::uint32_t rows_per_strip(const Bitmap& bitmap, const Plan& plan) {
    const std::size_t rows = std::max<std::size_t>(1, kStripBytes / plan.row_bytes);
    return static_cast<std::uint32_t>(std::min<std::size_t>(rows, static_cast<std::size_t>(bitmap.height())));
}

void set_tags(TIFF* tiff, const Bitmap& bitmap, const Plan& plan, int compression) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(bitmap.width()));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(bitmap.height()));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, plan.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, plan.samples);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, plan.photometric);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rows_per_strip(bitmap, plan));
    // Differences of palette indices do not compress better; those of levels do.
    if (compression == COMPRESSION_LZW && plan.bits == 8 && plan.photometric != PHOTOMETRIC_PALETTE) {
        TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    }
    if (plan.samples == 4) {
        const std::uint16_t alpha[] = {EXTRASAMPLE_UNASSALPHA};
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, alpha);
    }
    if (plan.photometric == PHOTOMETRIC_PALETTE) set_palette(tiff, bitmap, plan.bits);
    set_metadata(tiff, bitmap.metadata());
}

// Fax strips come from our own coder; libtiff copies what it encodes, even when there is nothing to encode.
bool write_strip(Handle& handle, std::uint32_t number, std::span<std::uint8_t> rows, const Plan& plan,
                 int width, int compression) {
    const auto size = static_cast<tmsize_t>(rows.size());
    if (compression == COMPRESSION_NONE)
        return TIFFWriteRawStrip(handle.get(), number, rows.data(), size) >= 0;
    const auto coding = fax_coding(compression);
    if (!coding) return TIFFWriteEncodedStrip(handle.get(), number, rows.data(), size) >= 0;
    fax::Encoder encoder{{*coding, width, false}};
    for (std::size_t at = 0; at < rows.size(); at += plan.row_bytes)
        encoder.add_row(rows.subspan(at, plan.row_bytes));
    encoder.finish(false);  // only group 4 closes its pages inside TIFF
    std::vector<std::uint8_t>& coded = encoder.bytes();
    return TIFFWriteRawStrip(handle.get(), number, coded.data(), static_cast<tmsize_t>(coded.size())) >= 0;
}

Result<void> write_strips(Handle& handle, const Bitmap& bitmap, const Plan& plan, int compression,
                          const WriteOptions& options) {
    const int step = static_cast<int>(rows_per_strip(bitmap, plan));
    std::vector<std::uint8_t> strip(plan.row_bytes * static_cast<std::size_t>(step));
    std::uint32_t number = 0;
    for (int y = 0; y < bitmap.height(); y += step, ++number) {
        const int end = std::min(bitmap.height(), y + step);
        for (int row = y; row < end; ++row)
            store_row(bitmap, plan, row, strip.data() + static_cast<std::size_t>(row - y) * plan.row_bytes);
        const std::size_t size = plan.row_bytes * static_cast<std::size_t>(end - y);
        if (!write_strip(handle, number, {strip.data(), size}, plan, bitmap.width(), compression))
            return Error{Fault::io, "writing TIFF strips"};
        if (options.progress && !options.progress(end, bitmap.height()))
            return Error{Fault::cancelled, "TIFF"};
    }
    return {};
}

}  // namespace

Result<void> encode_page(const Bitmap& bitmap, ByteWriter& out, int compression,
                         const WriteOptions& options) {
    if (fax_coding(compression) && bitmap.layout() != Layout::bit1)
        return Error{Fault::unsupported, "TIFF fax with more than 1 bit"};
    const Plan plan = plan_for(bitmap, compression);
    // LZW can grow what it cannot shrink by up to a half.
    const std::int64_t largest = static_cast<std::int64_t>(plan.row_bytes) * bitmap.height() *
                                 (compression == COMPRESSION_NONE ? 2 : 3) / 2;
    Handle handle{out, largest > kClassicLimit};
    if (!handle.get()) return Error{Fault::io, "starting a TIFF file"};
    set_tags(handle.get(), bitmap, plan, compression);
    const auto written = write_strips(handle, bitmap, plan, compression, options);
    const bool closed = handle.close();
    if (!written) return written.error();
    if (!closed || out.failed()) return Error{Fault::io, "writing a TIFF file"};
    return {};
}

}  // namespace quillmark::imaging::tiff
