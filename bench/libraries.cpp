// Reading and writing through libjpeg, libpng and libtiff alone. The files are our own, so the libraries'
// default error handlers (which end the program) are enough.
#include "libraries.h"

#include <cstdio>

#include <jpeglib.h>
#include <png.h>
#include <tiffio.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "inputs.h"

namespace quillmark::bench {
namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using Tiff = std::unique_ptr<TIFF, CloseTiff>;

void set_tiff_header(TIFF* tiff, int width, int height, int bits, int samples, int photometric,
                     int compression) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    // Strips of 64 KB are what common writers choose; a fax page is one strip.
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, bits == 1 ? height : std::max(1, 65'536 / (width * samples)));
}

bool write_scanlines(TIFF* tiff, const std::uint8_t* pixels, int height, std::size_t stride) {
    for (int y = 0; y < height; ++y) {
        auto* const row = const_cast<std::uint8_t*>(pixels + static_cast<std::size_t>(y) * stride);
        if (TIFFWriteScanline(tiff, row, static_cast<std::uint32_t>(y), 0) < 0) return false;
    }
    return true;
}

}  // namespace

bool library_jpeg(const std::string& path, std::span<std::uint8_t> pixels) {
    const File file{std::fopen(path.c_str(), "rb")};
    if (!file) return false;
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_stdio_src(&jpeg, file.get());
    jpeg_read_header(&jpeg, TRUE);
    jpeg_start_decompress(&jpeg);
    const std::size_t stride =
        static_cast<std::size_t>(jpeg.output_width) * static_cast<std::size_t>(jpeg.output_components);
    const bool fits = stride * jpeg.output_height <= pixels.size();
    while (fits && jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW row = pixels.data() + jpeg.output_scanline * stride;
        jpeg_read_scanlines(&jpeg, &row, 1);
    }
    jpeg_destroy_decompress(&jpeg);
    return fits;
}

bool library_png(const std::string& path, std::span<std::uint8_t> pixels) {
    const File file{std::fopen(path.c_str(), "rb")};
    if (!file) return false;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file.get());
    png_read_info(png, info);
    const std::size_t stride = png_get_rowbytes(png, info);
    const std::size_t height = png_get_image_height(png, info);
    const bool fits = stride * height <= pixels.size();
    for (std::size_t y = 0; fits && y < height; ++y) png_read_row(png, pixels.data() + y * stride, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return fits;
}

bool library_tiff(const std::string& path, std::span<std::uint8_t> pixels) {
    const Tiff tiff{TIFFOpen(path.c_str(), "rm")};  // m: without mapping the file, as we read it
    if (!tiff) return false;
    std::size_t at = 0;
    for (std::uint32_t strip = 0; strip < TIFFNumberOfStrips(tiff.get()); ++strip) {
        const auto room = static_cast<tmsize_t>(pixels.size() - at);
        const tmsize_t got = TIFFReadEncodedStrip(tiff.get(), strip, pixels.data() + at, room);
        if (got <= 0) return false;
        at += static_cast<std::size_t>(got);
    }
    return true;
}

bool write_jpeg(const std::string& path, const Picture& picture, int quality) {
    const File file{std::fopen(path.c_str(), "wb")};
    if (!file) return false;
    jpeg_compress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, file.get());
    jpeg.image_width = static_cast<JDIMENSION>(picture.width);
    jpeg.image_height = static_cast<JDIMENSION>(picture.height);
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, quality, TRUE);
    jpeg_start_compress(&jpeg, TRUE);
    while (jpeg.next_scanline < jpeg.image_height) {
        auto* row = const_cast<JSAMPROW>(picture.rgb.data() +
                                         static_cast<std::size_t>(jpeg.next_scanline) * jpeg.image_width * 3);
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    return true;
}

bool write_png(const std::string& path, const Picture& picture) {
    const File file{std::fopen(path.c_str(), "wb")};
    if (!file) return false;
    constexpr int kQuick = 1;  // the level changes the size by a few per cent and the decode hardly at all
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file.get());
    png_set_compression_level(png, kQuick);
    png_set_filter(png, 0, PNG_FILTER_PAETH | PNG_FILTER_SUB);
    png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height),
                 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    const std::size_t stride = static_cast<std::size_t>(picture.width) * 3;
    for (int y = 0; y < picture.height; ++y)
        png_write_row(png, picture.rgb.data() + static_cast<std::size_t>(y) * stride);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

bool write_tiff(const std::string& path, const Picture& picture, int compression) {
    const Tiff tiff{TIFFOpen(path.c_str(), "w")};
    if (!tiff) return false;
    set_tiff_header(tiff.get(), picture.width, picture.height, 8, 3, PHOTOMETRIC_RGB, compression);
    return write_scanlines(tiff.get(), picture.rgb.data(), picture.height,
                           static_cast<std::size_t>(picture.width) * 3);
}

bool write_g4(const std::string& path, int width, int height, const std::vector<std::uint8_t>& bits) {
    const Tiff tiff{TIFFOpen(path.c_str(), "w")};
    if (!tiff) return false;
    set_tiff_header(tiff.get(), width, height, 1, 1, PHOTOMETRIC_MINISWHITE, COMPRESSION_CCITTFAX4);
    return write_scanlines(tiff.get(), bits.data(), height, static_cast<std::size_t>(width + 7) / 8);
}

}  // namespace quillmark::bench
