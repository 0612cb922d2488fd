// Files of 200 bytes that declare enormous pictures, in every format.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillmark::tests {

struct Bomb {
    std::string_view codec;  ///< its codec_id
    std::string name;
    std::vector<std::uint8_t> bytes;
};

/// Bombs of all formats that declare side x side pixels, in colour, and as 1 bit where the format has it.
std::vector<Bomb> bombs(std::uint32_t side);

}  // namespace quillmark::tests
