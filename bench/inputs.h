// What the benchmarks open: procedural pictures, written by the codec libraries or by a few lines of our own,
// so that neither the codecs under test nor files from elsewhere are needed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quillmark::bench {

inline constexpr int kWidth = 6000, kHeight = 4000;              // 24 megapixels
inline constexpr int kPageWidth = 10'200, kPageHeight = 13'200;  // an E-size drawing at 300 dpi

/// Rows of R, G, B without padding.
struct Picture {
    int width, height;
    std::vector<std::uint8_t> rgb;
};

/// Gradients, shaded discs and sensor noise: the hard case for run-length and dictionary coders.
Picture landscape(int width, int height);

/// 1 bit a pixel, 1 is black, rows padded to bytes: lines of text-like marks.
std::vector<std::uint8_t> page(int width, int height);

/// Writers of the input files. False when the file could not be written.
bool write_bmp(const std::string& path, const Picture& picture);
bool write_tga(const std::string& path, const Picture& picture, bool packed);
bool write_sun(const std::string& path, const Picture& picture, bool packed);
bool write_pcx(const std::string& path, const Picture& picture);
bool write_gif(const std::string& path, const Picture& picture);
bool write_jpeg(const std::string& path, const Picture& picture, int quality);
bool write_png(const std::string& path, const Picture& picture);
/// compression: libtiff's number, e.g. COMPRESSION_LZW.
bool write_tiff(const std::string& path, const Picture& picture, int compression);
bool write_g4(const std::string& path, int width, int height, const std::vector<std::uint8_t>& bits);

}  // namespace quillmark::bench
