// Sun raster: the variants that sample files do not show, damage, and what is written.
#include <gtest/gtest.h>

#include "imaging/load.h"
#include "imaging/save.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes sun(int width, int height, int depth, int type, const Bytes& map, const Bytes& pixels) {
    Bytes file;
    const std::uint32_t fields[] = {0x59A66A95,
                                    static_cast<std::uint32_t>(width),
                                    static_cast<std::uint32_t>(height),
                                    static_cast<std::uint32_t>(depth),
                                    0,
                                    static_cast<std::uint32_t>(type),
                                    map.empty() ? 0U : 1U,
                                    static_cast<std::uint32_t>(map.size())};
    for (const auto f : fields) {
        for (int shift = 24; shift >= 0; shift -= 8) file.push_back(static_cast<std::uint8_t>(f >> shift));
    }
    file.insert(file.end(), map.begin(), map.end());
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
}

Result<Outcome> open(const Bytes& bytes) {
    RowSink sink;
    return load(memory_source(bytes), "x.ras", {}, sink);
}

std::vector<Rgba> pixels_of(const Result<Outcome>& outcome) {
    std::vector<Rgba> pixels;
    for (int y = 0; outcome && y < outcome->bitmap.height(); ++y) {
        for (int x = 0; x < outcome->bitmap.width(); ++x) pixels.push_back(outcome->bitmap.pixel(x, y));
    }
    return pixels;
}

constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255};

TEST(SunRaster, ReadsEveryVariant) {
    struct Case {
        const char* name;
        Bytes file;
        int bits;
        std::vector<Rgba> want;
    };
    const std::vector<Case> cases{
        {"1 bit: ink is 1", sun(3, 1, 1, 1, {}, {0x40, 0}), 1, {kWhite, kBlack, kWhite}},
        {"1 bit with map", sun(2, 1, 1, 1, {255, 0, 0, 0, 0, 255}, {0x40, 0}), 1, {kRed, kBlue}},
        {"4 bits with map", sun(3, 1, 4, 1, {0, 255, 0, 0, 0, 0}, {0x10, 0x10}), 4, {kRed, kBlack, kRed}},
        {"8 bits, old type, padded", sun(1, 2, 8, 0, {}, {255, 9, 0, 9}), 8, {kWhite, kBlack}},
        {"8 bits without padding", sun(1, 2, 8, 1, {}, {255, 0}), 8, {kWhite, kBlack}},
        {"16 bits 5-6-5", sun(2, 1, 16, 1, {}, {0x00, 0xF8, 0x1F, 0x00}), 16, {kRed, kBlue}},
        {"24 bits", sun(1, 1, 24, 1, {}, {0, 0, 255, 0}), 24, {kRed}},
        {"24 bits in RGB order", sun(1, 1, 24, 3, {}, {255, 0, 0, 0}), 24, {kRed}},
        {"32 bits, padding first", sun(2, 1, 32, 1, {}, {7, 0, 0, 255, 9, 255, 0, 0}), 24, {kRed, kBlue}},
        {"32 bits in RGB order", sun(1, 1, 32, 3, {}, {7, 255, 0, 0}), 24, {kRed}},
        {"runs across rows", sun(2, 2, 8, 2, {}, {0x80, 2, 255, 0}), 8, {kWhite, kWhite, kWhite, kBlack}},
        {"an escaped 80", sun(2, 1, 8, 2, {}, {0x80, 0, 0}), 8, {{128, 128, 128, 255}, kBlack}},
        {"runs over padding", sun(1, 2, 8, 2, {}, {255, 0x80, 1, 0, 0}), 8, {kWhite, kBlack}},
    };
    for (const Case& c : cases) {
        const auto outcome = open(c.file);
        ASSERT_TRUE(outcome) << c.name;
        EXPECT_EQ(pixels_of(outcome), c.want) << c.name;
        EXPECT_EQ(outcome->bitmap.bits(), c.bits) << c.name;
        EXPECT_EQ(outcome->rows_shown, outcome->rows_declared) << c.name;
        EXPECT_EQ(read_info(memory_source(c.file), "x.ras", {})->bits, c.bits) << c.name;
    }
}

TEST(SunRaster, ShowsWhatADamagedFileHolds) {
    const auto cut = open(sun(2, 3, 8, 1, {}, {255, 255, 255, 255}));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->rows_shown, 2);
    EXPECT_EQ(cut->bitmap.pixel(1, 2), kBlack);
    EXPECT_EQ(cut->warnings.size(), 1U);
    EXPECT_EQ(open(sun(20000, 20000, 24, 2, {}, Bytes(100, 0x80))).error().fault, Fault::truncated);
    EXPECT_EQ(open(sun(65535, 65535, 24, 1, {}, Bytes(100))).error().fault, Fault::too_large);
    EXPECT_EQ(open(sun(2, 2, 8, 4, {}, Bytes(8))).error().fault, Fault::unsupported);
    EXPECT_EQ(open(sun(2, 2, 7, 1, {}, Bytes(8))).error().fault, Fault::malformed);
    EXPECT_EQ(open(sun(2, 2, 8, 1, {}, {})).error().fault, Fault::truncated);
}

TEST(SunRaster, WrittenFilesReadBackTheSame) {
    for (const int bits : {1, 4, 8, 24, 32}) {
        for (const int width : {1, 7, 8, 17, 100}) {
            Bitmap bitmap = *Bitmap::create(width, 5, bits, {});
            for (int y = 0; y < 5; ++y) {
                std::uint8_t v = static_cast<std::uint8_t>(y * 41);
                for (auto& byte : bitmap.writable_row(y))
                    byte = static_cast<std::uint8_t>((v += 29) & (bits == 4 ? 15 : 255));
            }
            for (const bool coloured : {false, true}) {
                if (coloured && bits <= 8) {
                    Palette palette(std::size_t{1} << bits, kRed);
                    palette.back() = kBlue;
                    bitmap.set_palette(palette);
                }
                MemoryWriter out;
                SaveOptions options;
                options.format_code = 55, options.bits = bits;
                ASSERT_TRUE(save(bitmap, out, options));
                const auto back = open(out.bytes());
                ASSERT_TRUE(back) << bits;
                EXPECT_EQ(back->bitmap.bits(), bits == 4 ? 8 : bits == 32 ? 24 : bits);
                for (int y = 0; y < 5; ++y) {
                    for (int x = 0; x < width; ++x) {
                        Rgba want = bitmap.pixel(x, y);
                        want.a = 255;
                        ASSERT_EQ(back->bitmap.pixel(x, y), want) << bits << " bits, width " << width;
                    }
                }
            }
        }
    }
}

}  // namespace
}  // namespace quillmark::imaging
