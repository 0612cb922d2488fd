#include "support/png_reference.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace quillmark::tests {
namespace {

constexpr png_uint_32 kMaxSide = 100'000;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// libpng reports errors by longjmp: this structure outlives the jump, the function that jumps owns nothing.
struct Reading {
    png_structp png = nullptr;
    png_infop info = nullptr;
    RgbaPicture picture;
    std::vector<png_bytep> rows;
};

void prepare(Reading& reading) {
    png_read_info(reading.png, reading.info);
    RgbaPicture& picture = reading.picture;
    const png_uint_32 width = png_get_image_width(reading.png, reading.info);
    const png_uint_32 height = png_get_image_height(reading.png, reading.info);
    if (width > kMaxSide || height > kMaxSide) png_error(reading.png, "too large");
    picture.width = static_cast<int>(width);
    picture.height = static_cast<int>(height);
    picture.has_alpha = (png_get_color_type(reading.png, reading.info) & PNG_COLOR_MASK_ALPHA) != 0 ||
                        png_get_valid(reading.png, reading.info, PNG_INFO_tRNS) != 0;
    png_set_expand(reading.png);
    png_set_scale_16(reading.png);
    png_set_gray_to_rgb(reading.png);
    png_set_add_alpha(reading.png, 255, PNG_FILLER_AFTER);
    png_set_interlace_handling(reading.png);
    png_read_update_info(reading.png, reading.info);
    picture.pixels.resize(std::size_t{width} * height * 4);
    for (png_uint_32 y = 0; y < height; ++y)
        reading.rows.push_back(picture.pixels.data() + std::size_t{y} * width * 4);
}

bool read_all(Reading& reading, std::FILE* file) {
    if (setjmp(png_jmpbuf(reading.png))) return false;
    png_init_io(reading.png, file);
    prepare(reading);
    png_read_image(reading.png, reading.rows.data());
    png_read_end(reading.png, nullptr);
    return true;
}

void keep_quiet(png_structp, png_const_charp) {}

}  // namespace

std::optional<RgbaPicture> read_png(const std::string& path) {
    const std::unique_ptr<std::FILE, CloseFile> file{std::fopen(path.c_str(), "rb")};
    if (!file) return {};
    Reading reading;
    reading.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, keep_quiet);
    reading.info = png_create_info_struct(reading.png);
    const bool complete = read_all(reading, file.get());
    png_destroy_read_struct(&reading.png, &reading.info, nullptr);
    if (!complete) return {};
    return std::move(reading.picture);
}

bool write_png(const std::string& path, const RgbaPicture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGBA;
    return png_image_write_to_file(&image, path.c_str(), 0, picture.pixels.data(), 0, nullptr) != 0;
}

int largest_difference(const RgbaPicture& actual, const RgbaPicture& reference) {
    int largest = 0;
    for (std::size_t i = 0; i < reference.pixels.size(); i += 4) {
        const std::uint8_t* a = actual.pixels.data() + i;
        const std::uint8_t* b = reference.pixels.data() + i;
        if (reference.has_alpha) {
            largest = std::max(largest, std::abs(a[3] - b[3]));
            if (a[3] == 0 && b[3] == 0) continue;
        }
        for (int c = 0; c < 3; ++c) largest = std::max(largest, std::abs(a[c] - b[c]));
    }
    return largest;
}

}  // namespace quillmark::tests
