// The pixel data of IOCA as rows of samples, whatever their compression (JPEG apart).
#pragma once

#include <functional>

#include "imaging/codecs/ioca_content.h"

namespace quillmark::imaging::codecs {

struct IocaPlane {
    std::span<const std::uint8_t> data;
    IocaEncoding encoding;
    int width = 0, height = 0;
    int bits = 1;  ///< of one pixel
};

struct IocaRowCount {
    int rows = 0;          ///< rows that hold data
    bool damaged = false;  ///< some of them hold damaged data
};

/// Takes row y: packed pixels, most significant bit first; bits past the width mean nothing. False: stop.
using IocaRow = std::function<bool(int y, const std::uint8_t* packed)>;

/// Whether the compression is one of those that are read. Faults: unsupported, with its name.
Result<void> check_ioca_encoding(const IocaEncoding& encoding);

/// Hands over row by row. Faults: truncated or malformed (not one good row), unsupported, out_of_memory,
/// cancelled.
Result<IocaRowCount> read_ioca_plane(const IocaPlane& plane, const IocaRow& row);

/// The height, from data whose height was not stated (plane.height is ignored). Faults: as above, too_large.
Result<int> count_ioca_rows(IocaPlane plane, const Limits& limits);

/// TIFF's LZW and PackBits. Fill out from its beginning and return the bytes delivered.
std::size_t unpack_lzw(std::span<const std::uint8_t> data, std::span<std::uint8_t> out);
std::size_t unpack_packbits(std::span<const std::uint8_t> data, std::span<std::uint8_t> out);

}  // namespace quillmark::imaging::codecs
