// Small valid files of every format, for tests that damage them and as seeds for fuzzing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "imaging/codec.h"

namespace quillmark::tests {

struct Fixture {
    std::string name;
    std::vector<std::uint8_t> bytes;
};

/// The codec's name in lower case without blanks: its folder of test files, its word in test names
/// ("sunraster").
std::string codec_id(const imaging::Codec& codec);

/// A bitmap with runs, edges and many values at bits per pixel (1 to 8, 16, 24, 32).
imaging::Bitmap pattern(int width, int height, int bits);

/// Whether both hold the same bytes, depth and palette; two empty ones do.
bool same(const imaging::Bitmap& a, const imaging::Bitmap& b);

/// A small bitmap in every format code and depth that the codec writes. An encoder that refuses gives empty
/// bytes.
std::vector<Fixture> encoded_fixtures(const imaging::Codec& codec);

/// Those, containers made by hand for formats that we only read, and the files in folder/<codec name in lower
/// case>.
std::vector<Fixture> all_fixtures(const imaging::Codec& codec, const std::string& folder);

}  // namespace quillmark::tests
