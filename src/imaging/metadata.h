// What travels with an image beside its pixels.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quillmark::imaging {

/// Dots per inch; 0 means unknown.
struct Resolution {
    double x = 0;
    double y = 0;
    friend bool operator==(const Resolution&, const Resolution&) = default;
};

/// How stored pixels are to be turned for display; the numbers are those of TIFF and EXIF tag 274.
enum class Orientation : std::uint8_t {
    normal = 1,
    mirrored = 2,  ///< left and right exchanged
    rotated_180 = 3,
    flipped = 4,        ///< top and bottom exchanged
    transposed = 5,     ///< rows and columns exchanged
    rotated_right = 6,  ///< a quarter turn clockwise is needed
    transversed = 7,    ///< mirrored along the other diagonal
    rotated_left = 8,   ///< a quarter turn counter-clockwise is needed
};

/// Orientation from its tag value; anything but 2 to 8 is normal.
Orientation orientation_from_tag(int value);
/// Whether showing it upright exchanges width and height.
bool swaps_sides(Orientation orientation);

/// Bulky blocks are shared between copies of a bitmap.
using SharedBytes = std::shared_ptr<const std::vector<std::uint8_t>>;

struct Metadata {
    Resolution resolution;
    Orientation orientation = Orientation::normal;  ///< still to be applied; normal once it has been
    SharedBytes icc;                                ///< colour profile as stored
    SharedBytes exif;                    ///< EXIF block, beginning with its TIFF header ("II" or "MM")
    std::string comment;                 ///< UTF-8, control characters removed
    int hot_spot_x = 0, hot_spot_y = 0;  ///< cursors only
};

/// Text from a file as UTF-8: bytes that are not valid UTF-8 are taken as Latin-1, control characters
/// dropped.
std::string text_from_bytes(const std::uint8_t* data, std::size_t size);

}  // namespace quillmark::imaging
