// PackBits: known packets, limits, and that what is packed comes back.
#include "imaging/codecs/packbits.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace quillmark::imaging::codecs {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(PackBits, UnpacksKnownPackets) {
    const Bytes packed{0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0x80, 0xFD, 0xAA};
    Bytes out(10);
    const auto whole = unpack_bits(packed, out);
    EXPECT_EQ(whole.produced, 10U);
    EXPECT_EQ(whole.consumed, packed.size());
    EXPECT_EQ(out, (Bytes{0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA}));
    Bytes words(6);
    EXPECT_EQ(unpack_words(Bytes{0xFF, 1, 2, 0, 3, 4}, words).produced, 6U);
    EXPECT_EQ(words, (Bytes{1, 2, 1, 2, 3, 4}));
}

TEST(PackBits, StopsAtEitherEnd) {
    Bytes out(3, 9);
    EXPECT_EQ(unpack_bits(Bytes{0x81, 5}, out).produced, 3U);
    EXPECT_EQ(unpack_bits(Bytes{7, 1, 2}, out).produced, 2U);
    EXPECT_EQ(unpack_bits(Bytes{0xFF}, out).produced, 0U);
    EXPECT_EQ(unpack_bits(Bytes{}, out).produced, 0U);
    Bytes words(4);
    EXPECT_EQ(unpack_words(Bytes{0xFF, 1}, words).produced, 0U);
}

TEST(PackBits, PackedRowsComeBack) {
    std::mt19937 random{5};
    for (std::size_t size : {1, 2, 3, 7, 127, 128, 129, 130, 256, 257, 1000}) {
        for (const unsigned values : {1U, 2U, 3U, 256U}) {
            Bytes row(size);
            std::uint8_t value = 0;
            for (auto& byte : row) {
                if (random() % 4 < 3 || values == 256) value = static_cast<std::uint8_t>(random() % values);
                byte = value;
            }
            Bytes packed(packed_room(size)), back(size);
            const std::size_t used = pack_bits(row, packed.data());
            ASSERT_LE(used, packed.size());
            const auto got = unpack_bits(std::span{packed}.first(used), back);
            EXPECT_EQ(got.consumed, used);
            EXPECT_EQ(back, row) << size << " bytes of " << values << " values";
            if (values == 1) {
                EXPECT_EQ(used, size < 3 ? size + 1 : (size + 127) / 128 * 2);
            }
        }
    }
}

}  // namespace
}  // namespace quillmark::imaging::codecs
