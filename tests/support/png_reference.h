// Reference pictures for tests: PNG read and written by libpng itself, so that our own codec never judges
// itself.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quillmark::tests {

/// Four bytes R, G, B, A a pixel, rows without padding; 16-bit samples are rounded to 8.
struct RgbaPicture {
    int width = 0;
    int height = 0;
    bool has_alpha = false;  ///< the file has an alpha channel or a transparent colour
    std::vector<std::uint8_t> pixels;
};

/// Nothing when the file is missing or damaged. Gamma and colour profiles are not applied.
std::optional<RgbaPicture> read_png(const std::string& path);

/// False when the file could not be written.
bool write_png(const std::string& path, const RgbaPicture& picture);

/// The largest difference of any channel between pictures of equal sides. Alpha counts where the reference
/// has it; the colour of pixels that are transparent in both cannot be seen and does not count.
int largest_difference(const RgbaPicture& actual, const RgbaPicture& reference);

}  // namespace quillmark::tests
