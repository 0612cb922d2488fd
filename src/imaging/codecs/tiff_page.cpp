// Tags as in TIFF revision 6.0 and its technical notes.
#include "imaging/codecs/tiff_page.h"

#include <algorithm>
#include <cmath>

namespace quillmark::imaging::tiff {
namespace {

constexpr int kMaxSamples = 64;
constexpr std::uint16_t kMaxSubDirectories = 16;

int tag16(TIFF* tiff, std::uint32_t tag, int fallback) {
    std::uint16_t value = 0;
    return TIFFGetField(tiff, tag, &value) ? value : fallback;
}

std::uint32_t tag32(TIFF* tiff, std::uint32_t tag, std::uint32_t fallback) {
    std::uint32_t value = 0;
    return TIFFGetField(tiff, tag, &value) ? value : fallback;
}

Resolution read_resolution(TIFF* tiff) {
    float x = 0, y = 0;
    TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x);
    TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y);
    const int unit = tag16(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    if (unit == RESUNIT_NONE) return {};  // only a shape of pixels, no size
    const double scale = unit == RESUNIT_CENTIMETER ? 2.54 : 1.0;
    const auto sane = [scale](double value) {
        value *= scale;
        return std::isfinite(value) && value >= 0.5 && value < 100'000 ? value : 0.0;
    };
    Resolution resolution{sane(x), sane(y)};
    if (resolution.x == 0) resolution.x = resolution.y;
    if (resolution.y == 0) resolution.y = resolution.x;
    return resolution;
}

Palette read_palette(TIFF* tiff, int bits) {
    std::uint16_t *r = nullptr, *g = nullptr, *b = nullptr;
    if (bits > 16 || !TIFFGetField(tiff, TIFFTAG_COLORMAP, &r, &g, &b) || !r || !g || !b) return {};
    const std::size_t count = std::size_t{1} << bits;
    // Some writers stored 8-bit levels in the 16-bit table.
    const auto small = [count](const std::uint16_t* v) {
        return std::all_of(v, v + count, [](auto x) { return x < 256; });
    };
    const int shift = small(r) && small(g) && small(b) ? 0 : 8;
    const auto level = [shift](std::uint16_t v) { return static_cast<std::uint8_t>(v >> shift); };
    Palette palette(count);
    for (std::size_t i = 0; i < count; ++i) palette[i] = {level(r[i]), level(g[i]), level(b[i]), 255};
    return palette;
}

// Samples that carry colour under a photometric interpretation; 0 when it says nothing.
int color_samples_of(int photometric) {
    switch (photometric) {
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_PALETTE:
        case PHOTOMETRIC_MASK:
        case PHOTOMETRIC_LOGL: return 1;
        case PHOTOMETRIC_RGB:
        case PHOTOMETRIC_YCBCR:
        case PHOTOMETRIC_CIELAB:
        case PHOTOMETRIC_ICCLAB:
        case PHOTOMETRIC_ITULAB:
        case PHOTOMETRIC_LOGLUV: return 3;
        case PHOTOMETRIC_SEPARATED: return 4;
        default: return 0;
    }
}

// Files without the tag, and those whose tag contradicts the number of samples (raw camera mosaics too), are
// taken by the number of samples.
void settle_photometric(TIFF* tiff, Page& page) {
    const int fallback = page.samples >= 3 ? PHOTOMETRIC_RGB
                         : page.bits == 1  ? PHOTOMETRIC_MINISWHITE
                                           : PHOTOMETRIC_MINISBLACK;
    page.photometric = tag16(tiff, TIFFTAG_PHOTOMETRIC, fallback);
    page.color_samples = color_samples_of(page.photometric);
    const bool inks = page.photometric == PHOTOMETRIC_SEPARATED && page.samples == 3;
    if (page.color_samples == 0 || (page.color_samples > page.samples && !inks)) {
        page.photometric = page.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
        page.color_samples = color_samples_of(page.photometric);
    }
    page.color_samples = std::min(page.color_samples, page.samples);
}

// Whether the first sample after the colours is alpha. Many writers leave a single further sample undeclared;
// it is taken as alpha, as most programs do.
void settle_alpha(TIFF* tiff, Page& page) {
    if (page.samples <= page.color_samples) return;
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    const bool declared = TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds) && count > 0;
    const int kind = declared && kinds ? kinds[0] : EXTRASAMPLE_UNSPECIFIED;
    page.associated = kind == EXTRASAMPLE_ASSOCALPHA;
    page.alpha_guessed = kind == EXTRASAMPLE_UNSPECIFIED && page.samples == page.color_samples + 1;
    page.alpha = page.associated || kind == EXTRASAMPLE_UNASSALPHA || page.alpha_guessed;
}

void settle_gray(Page& page) {
    if (page.alpha) {
        page.kind = Kind::gray_alpha;
        page.bitmap_bits = 32;
    } else if (page.bits > 8) {
        page.kind = Kind::gray16;
        page.bitmap_bits = page.bits == 12 ? 12 : 16;
    } else {
        page.kind = page.bits == 1 && page.samples == 1 ? Kind::bilevel : Kind::index;
        page.bitmap_bits = page.bits;
    }
    if (page.bitmap_bits == 1) {
        constexpr Rgba kWhite{255, 255, 255, 255}, kBlack{0, 0, 0, 255};
        page.palette = page.white_is_zero() ? Palette{kWhite, kBlack} : Palette{kBlack, kWhite};
    }
}

void settle_palette(TIFF* tiff, Page& page) {
    page.palette = read_palette(tiff, page.bits);
    if (page.palette.empty()) {  // no table: the indices are all there is
        page.photometric = PHOTOMETRIC_MINISBLACK;
        return settle_gray(page);
    }
    if (page.alpha && page.bits <= 8) {
        page.kind = Kind::palette_alpha;
        page.bitmap_bits = 32;
        return;
    }
    page.kind = page.bits > 8                         ? Kind::deep_palette
                : page.bits == 1 && page.samples == 1 ? Kind::bilevel
                                                      : Kind::index;
    page.bitmap_bits = page.bits > 8 ? 24 : page.bits;
}

// YCbCr that libjpeg turns into RGB by itself arrives as plain RGB rows.
bool jpeg_gives_rgb(const Page& page) {
    return page.compression == COMPRESSION_JPEG && page.photometric == PHOTOMETRIC_YCBCR && !page.separate &&
           page.bits == 8 && page.samples == 3;
}

Result<void> settle_kind(TIFF* tiff, Page& page) {
    settle_alpha(tiff, page);
    page.bitmap_bits = 24;
    if (jpeg_gives_rgb(page)) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        page.kind = Kind::rgb;
        return {};
    }
    if (page.compression == COMPRESSION_OJPEG) {
        page.kind = Kind::converted;
        return {};
    }
    switch (page.photometric) {
        case PHOTOMETRIC_MINISWHITE:
        case PHOTOMETRIC_MINISBLACK:
        case PHOTOMETRIC_MASK: settle_gray(page); break;
        case PHOTOMETRIC_PALETTE: settle_palette(tiff, page); break;
        case PHOTOMETRIC_RGB:
            page.kind = page.alpha ? Kind::rgb_alpha : Kind::rgb;
            if (page.alpha) page.bitmap_bits = 32;
            break;
        case PHOTOMETRIC_SEPARATED:
            if (tag16(tiff, TIFFTAG_INKSET, INKSET_CMYK) != INKSET_CMYK && page.samples != 4) {
                return Error{Fault::unsupported, "TIFF with inks other than CMYK"};
            }
            page.kind = Kind::cmyk;
            break;
        case PHOTOMETRIC_CIELAB:
        case PHOTOMETRIC_ICCLAB: page.kind = Kind::lab; break;
        case PHOTOMETRIC_YCBCR:
        case PHOTOMETRIC_LOGL:
        case PHOTOMETRIC_LOGLUV: page.kind = Kind::converted; break;
        default: return Error{Fault::unsupported, "TIFF photometric interpretation"};
    }
    return {};
}

bool bits_are_usable(const Page& page) {
    if (page.floating) return page.bits == 16 || page.bits == 24 || page.bits == 32 || page.bits == 64;
    return (page.bits >= 1 && page.bits <= 32) || page.bits == 64;
}

Result<void> read_shape(TIFF* tiff, Page& page) {
    page.tiled = TIFFIsTiled(tiff) != 0;
    if (page.tiled) {
        page.tile_width = tag32(tiff, TIFFTAG_TILEWIDTH, 0);
        page.tile_height = tag32(tiff, TIFFTAG_TILELENGTH, 0);
        if (page.tile_width == 0 || page.tile_height == 0) return Error{Fault::malformed, "TIFF tile size"};
        if (page.tile_width > 1'000'000 || page.tile_height > 1'000'000)
            return Error{Fault::too_large, "TIFF tile size"};
    } else {
        page.rows_per_strip = std::clamp(tag32(tiff, TIFFTAG_ROWSPERSTRIP, page.height), 1u, page.height);
    }
    return {};
}

bool is_reduced(TIFF* tiff) {
    if (tag32(tiff, TIFFTAG_SUBFILETYPE, 0) & FILETYPE_REDUCEDIMAGE) return true;
    return tag16(tiff, TIFFTAG_OSUBFILETYPE, 0) == OFILETYPE_REDUCEDIMAGE;
}

bool is_mask(TIFF* tiff) { return (tag32(tiff, TIFFTAG_SUBFILETYPE, 0) & FILETYPE_MASK) != 0; }

std::vector<std::uint64_t> sub_directories(TIFF* tiff) {
    std::uint16_t count = 0;
    std::uint64_t* offsets = nullptr;
    if (!TIFFGetField(tiff, TIFFTAG_SUBIFD, &count, &offsets) || !offsets) return {};
    return {offsets, offsets + std::min(count, kMaxSubDirectories)};
}

}  // namespace

bool Page::white_is_zero() const { return photometric == PHOTOMETRIC_MINISWHITE; }

bool Page::stored_as_bitmap() const {
    if (floating || separate) return false;
    switch (kind) {
        case Kind::bilevel: return true;
        case Kind::index: return bits == 8 && samples == 1 && !white_is_zero();
        case Kind::gray16: return bits == 16 && samples == 1 && !white_is_zero();
        case Kind::rgb: return bits == 8 && samples == 3;
        case Kind::rgb_alpha: return bits == 8 && samples == 4 && !associated;
        default: return false;
    }
}

Result<Page> read_page(TIFF* tiff, const Limits& limits) {
    Page page;
    page.width = tag32(tiff, TIFFTAG_IMAGEWIDTH, 0);
    page.height = tag32(tiff, TIFFTAG_IMAGELENGTH, 0);
    if (page.width == 0 || page.height == 0) return Error{Fault::malformed, "TIFF width or height"};
    page.bits = tag16(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    page.samples = tag16(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    if (page.samples < 1 || page.samples > kMaxSamples)
        return Error{Fault::unsupported, "TIFF samples per pixel"};
    const int format = tag16(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    if (format == SAMPLEFORMAT_COMPLEXINT || format == SAMPLEFORMAT_COMPLEXIEEEFP) {
        return Error{Fault::unsupported, "TIFF with complex numbers"};
    }
    page.floating = format == SAMPLEFORMAT_IEEEFP;
    if (!bits_are_usable(page)) return Error{Fault::unsupported, "TIFF bits per sample"};
    page.separate =
        page.samples > 1 && tag16(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
    page.compression = tag16(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (!TIFFIsCODECConfigured(static_cast<std::uint16_t>(page.compression)))
        return Error{Fault::unsupported, "TIFF compression"};
    if (page.compression == COMPRESSION_CCITTFAX3) page.fax_options = tag32(tiff, TIFFTAG_GROUP3OPTIONS, 0);
    settle_photometric(tiff, page);
    if (const auto shape = read_shape(tiff, page); !shape) return shape.error();
    if (const auto kind = settle_kind(tiff, page); !kind) return kind.error();
    const auto size =
        Bitmap::check_size(page.width, page.height, page.gray() ? 12 : page.bitmap_bits, limits);
    if (!size) return size.error();
    page.resolution = read_resolution(tiff);
    page.orientation = orientation_from_tag(tag16(tiff, TIFFTAG_ORIENTATION, 1));
    return page;
}

int Page::format_code() const {
    switch (compression) {
        case COMPRESSION_NONE: return 3;
        case COMPRESSION_CCITTRLE:
        case COMPRESSION_CCITTRLEW: return 25;
        case COMPRESSION_CCITTFAX3: return (fax_options & GROUP3OPT_2DENCODING) ? 28 : 27;
        case COMPRESSION_CCITTFAX4: return 29;
        case COMPRESSION_JPEG:
        case COMPRESSION_OJPEG: return 22;
        default: return 11;
    }
}

std::string_view Page::compression_name() const {
    switch (compression) {
        case COMPRESSION_NONE: return "";
        case COMPRESSION_CCITTRLE:
        case COMPRESSION_CCITTRLEW: return "CCITT RLE";
        case COMPRESSION_CCITTFAX3: return format_code() == 28 ? "CCITT G3 2-D" : "CCITT G3 1-D";
        case COMPRESSION_CCITTFAX4: return "CCITT G4";
        case COMPRESSION_LZW: return "LZW";
        case COMPRESSION_OJPEG:
        case COMPRESSION_JPEG: return "JPEG";
        case COMPRESSION_NEXT: return "NeXT";
        case COMPRESSION_PACKBITS: return "PackBits";
        case COMPRESSION_THUNDERSCAN: return "ThunderScan";
        case COMPRESSION_PIXARLOG: return "PixarLog";
        case COMPRESSION_DEFLATE:
        case COMPRESSION_ADOBE_DEFLATE: return "Deflate";
        case COMPRESSION_JBIG: return "JBIG";
        case COMPRESSION_SGILOG:
        case COMPRESSION_SGILOG24: return "SGILog";
        case COMPRESSION_LERC: return "LERC";
        case COMPRESSION_LZMA: return "LZMA";
        case COMPRESSION_ZSTD: return "Zstandard";
        case COMPRESSION_WEBP: return "WebP";
        default: return "other";
    }
}

Chain read_chain(TIFF* tiff, const Limits& limits) {
    Chain chain;
    const std::uint64_t first = TIFFCurrentDirOffset(tiff);
    std::vector<std::uint64_t> children = sub_directories(tiff);
    int directories = 0;
    do {
        const std::uint64_t offset = TIFFCurrentDirOffset(tiff);
        if (is_reduced(tiff)) {
            if (chain.stamp == 0) chain.stamp = offset;
        } else if (!is_mask(tiff)) {
            chain.pages.push_back(offset);
        }
    } while (++directories < limits.max_pages && TIFFReadDirectory(tiff));
    if (chain.pages.empty()) {  // a lone reduced image is the picture
        chain.pages.push_back(first);
        if (chain.stamp == first) chain.stamp = 0;
    }
    for (const std::uint64_t offset : children) {
        if (chain.stamp != 0) break;
        if (offset != 0 && TIFFSetSubDirectory(tiff, offset) && is_reduced(tiff)) chain.stamp = offset;
    }
    return chain;
}

}  // namespace quillmark::imaging::tiff
