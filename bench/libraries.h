// The codec libraries by themselves: what a decode costs without us, into a buffer that is already warm.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace quillmark::bench {

/// Decodes a file into pixels (rows without padding). False when it does not fit or cannot be read.
using LibraryDecode = bool (*)(const std::string& path, std::span<std::uint8_t> pixels);

bool library_jpeg(const std::string& path, std::span<std::uint8_t> pixels);
bool library_png(const std::string& path, std::span<std::uint8_t> pixels);
bool library_tiff(const std::string& path, std::span<std::uint8_t> pixels);

}  // namespace quillmark::bench
