// GEM images: packets, palettes, true colour, damage, and what is written.
#include <gtest/gtest.h>

#include <algorithm>

#include "imaging/load.h"
#include "imaging/save.h"
#include "support/fixtures.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255};

// extension: the bytes between the eight words of every header and the pixels.
Bytes gem(int planes, int width, int height, const Bytes& extension, const Bytes& pixels, int pattern = 2) {
    Bytes file;
    for (const int value :
         {1, 8 + static_cast<int>(extension.size() / 2), planes, pattern, 85, 170, width, height}) {
        file.push_back(static_cast<std::uint8_t>(value >> 8));
        file.push_back(static_cast<std::uint8_t>(value));
    }
    file.insert(file.end(), extension.begin(), extension.end());
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
}

Bytes tagged(std::string_view tag, const std::vector<int>& words) {
    Bytes bytes(tag.begin(), tag.end());
    for (const int value : words) {
        bytes.push_back(static_cast<std::uint8_t>(value >> 8));
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
    return bytes;
}

Result<Outcome> open(const Bytes& bytes) {
    RowSink sink;
    return load(memory_source(bytes), "x.img", {}, sink);
}

std::vector<Rgba> pixels_of(const Bitmap& bitmap) {
    std::vector<Rgba> pixels;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) pixels.push_back(bitmap.pixel(x, y));
    }
    return pixels;
}

TEST(Gem, ReadsEveryPacket) {
    struct Case {
        const char* name;
        int width, height;
        Bytes packets;
        Bytes want;  // the rows' bytes
        int pattern = 2;
    };
    Bytes long_literal{0x80, 0}, long_row;
    for (int i = 0; i < 256; ++i) long_row.push_back(static_cast<std::uint8_t>(i));
    long_literal.insert(long_literal.end(), long_row.begin(), long_row.end());
    const std::vector<Case> cases{
        {"black and white runs", 32, 1, {0x81, 0x02, 0x81}, {0xFF, 0, 0, 0xFF}},
        {"plain bytes", 24, 1, {0x80, 3, 1, 2, 3}, {1, 2, 3}},
        {"256 plain bytes", 2048, 1, long_literal, long_row},
        {"a pattern of 2", 32, 1, {0, 2, 0xAA, 0x55}, {0xAA, 0x55, 0xAA, 0x55}},
        {"a pattern of 1", 24, 1, {0, 3, 0x5A}, {0x5A, 0x5A, 0x5A}, 1},
        {"a pattern of 8", 72, 1, {0, 1, 1, 2, 3, 4, 5, 6, 7, 8, 0x81}, {1, 2, 3, 4, 5, 6, 7, 8, 0xFF}, 8},
        {"a row three times", 8, 4, {0, 0, 0xFF, 3, 0x80, 1, 7, 0x81}, {7, 7, 7, 0xFF}},
        {"repeats end with the picture", 8, 2, {0, 0, 0xFF, 9, 0x80, 1, 7}, {7, 7}},
        {"none times is once", 8, 2, {0, 0, 0xFF, 0, 0x80, 1, 7, 1}, {7, 0}},
        {"bytes of the row above", 24, 2, {0x80, 3, 1, 2, 3, 0x81, 0, 0, 1}, {1, 2, 3, 0xFF, 2, 3}},
        {"too long a run is cut", 16, 2, {0x84, 0x80, 2, 1, 2}, {0xFF, 0xFF, 1, 2}},
        {"too long a pattern is cut", 24, 2, {0, 2, 1, 2, 3}, {1, 2, 1, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        const auto outcome = open(gem(1, c.width, c.height, {}, c.packets, c.pattern));
        ASSERT_TRUE(outcome) << c.name << ": " << outcome.error().where.text();
        Bytes rows;
        for (int y = 0; y < c.height; ++y)
            rows.insert(rows.end(), outcome->bitmap.row(y).begin(), outcome->bitmap.row(y).end());
        EXPECT_EQ(rows, c.want) << c.name;
        EXPECT_EQ(outcome->rows_shown, c.height) << c.name;
        EXPECT_EQ(outcome->bitmap.palette(), (Palette{kWhite, kBlack})) << c.name;
        EXPECT_NEAR(outcome->bitmap.metadata().resolution.x, 298.8, 0.1);
        EXPECT_NEAR(outcome->bitmap.metadata().resolution.y, 149.4, 0.1);
    }
}

TEST(Gem, FindsTheColours) {
    // Planes of one byte a row: the pixels hold 0, 1, 2, 3 and so on.
    const Bytes two{0x80, 1, 0x50, 0x80, 1, 0x30}, four{0x80, 1, 0x55, 0x80, 1, 0x33, 0x80, 1, 0x0F, 0x01};
    Bytes eight(two);
    for (int i = 0; i < 6; ++i) eight.push_back(1);
    std::vector<int> ximg{0, 0, 0, 0, 1000, 0, 0, 0, 0, 1015, 500, 500, 500};
    std::vector<int> atari{16, 0x777, 0x700, 0x007, 0x234}, late{16, 0xFFF, 0xF00, 0x080, 0x008};
    atari.resize(17), late.resize(17);
    std::vector<int> hyper{0x80, 0x000, 0x700, 0x007, 0x777};
    hyper.resize(17);
    const std::vector<int> bare{1000, 0, 0, 0, 0, 1000, 0, 0, 0, 1000, 1000, 1000};
    struct Case {
        const char* name;
        int planes;
        Bytes extension, pixels;
        std::vector<Rgba> want;
    };
    const std::vector<Case> cases{
        {"XIMG", 2, tagged("XIMG", ximg), two, {kBlack, kRed, kBlue, {128, 128, 128, 255}}},
        {"three bits a colour", 4, tagged("STTT", atari), four, {kWhite, kRed, kBlue, {72, 109, 145, 255}}},
        {"four bits a colour",
         4,
         tagged("STTT", late),
         four,
         {kWhite, kRed, {0, 17, 0, 255}, {0, 0, 17, 255}}},
        {"words behind 80", 4, tagged("", hyper), four, {kBlack, kRed, kBlue, kWhite}},
        {"thousandths without a tag", 2, tagged("", bare), two, {kRed, kBlue, kBlack, kWhite}},
        {"2 planes", 2, {}, two, {kWhite, kRed, {0, 255, 0, 255}, kBlack}},
        {"3 planes",
         3,
         {},
         {0x80, 1, 0x55, 0x80, 1, 0x33, 0x80, 1, 0x0F},
         {kWhite, {0, 255, 255, 255}, {255, 0, 255, 255}, {255, 255, 0, 255}}},
        {"4 planes", 4, {}, four, {kWhite, kRed, {0, 255, 0, 255}, {255, 255, 0, 255}}},
        {"8 planes are grey",
         8,
         {},
         eight,
         {kWhite, {127, 127, 127, 255}, {191, 191, 191, 255}, {63, 63, 63, 255}}},
        {"8 planes of a ramp",
         8,
         tagged("", {1}),
         eight,
         {kBlack, {1, 1, 1, 255}, {2, 2, 2, 255}, {3, 3, 3, 255}}},
        {"1 plane with colours",
         1,
         tagged("XIMG", {0, 1000, 0, 0, 0, 0, 1000}),
         {0x80, 1, 0x50},
         {kRed, kBlue, kRed, kBlue}},
        {"1 plane with one colour",
         1,
         tagged("XIMG", {0, 1000, 0, 0, 1000, 0, 0}),
         {0x80, 1, 0x50},
         {kWhite, kBlack, kWhite, kBlack}},
    };
    for (const Case& c : cases) {
        const auto outcome = open(gem(c.planes, 4, 1, c.extension, c.pixels));
        ASSERT_TRUE(outcome) << c.name << ": " << outcome.error().where.text();
        EXPECT_EQ(pixels_of(outcome->bitmap), c.want) << c.name;
        EXPECT_EQ(outcome->bitmap.bits(), c.planes) << c.name;
        EXPECT_EQ(outcome->bitmap.palette().size(), std::size_t{1} << c.planes) << c.name;
    }
}

TEST(Gem, SaysThatColoursAreOfAnotherModel) {
    for (const int model : {0, 1}) {
        const auto outcome = open(gem(1, 8, 1, tagged("XIMG", {model, 0, 0, 0, 1000, 1000, 1000}), {1}));
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->warnings.size(), static_cast<std::size_t>(model));
    }
}

TEST(Gem, ReadsTrueColour) {
    Bytes planes;
    for (int plane = 0; plane < 15; ++plane) {
        // red (planes 10 to 14) in pixel 0, blue (0 to 4) in pixel 1
        const int bits = plane >= 10 ? 0x80 : plane < 5 ? 0x40 : 0;
        planes.insert(planes.end(), {0x80, 1, static_cast<std::uint8_t>(bits)});
    }
    const Bytes rgb{0x80, 6, 255, 0, 0, 0, 0, 255};
    Bytes rounded(rgb);
    rounded.push_back(42);
    struct Case {
        const char* name;
        int planes, bits;
        Bytes extension, packets;
    };
    const std::vector<Case> cases{
        {"15 planes", 15, 16, tagged("TIMG", {3, 5, 5, 5}), planes},
        {"16 bits", 16, 16, {}, {0x80, 4, 0xF8, 0x00, 0x00, 0x1F}},
        {"24 bits, 16 pixels a row", 24, 24, {}, rounded},
        {"24 bits, exact rows", 24, 24, {}, rgb},
        {"32 bits", 32, 24, {}, {0x80, 8, 9, 255, 0, 0, 9, 0, 0, 255}},
        {"counts of pixels", 24, 24, tagged("", {3}), {0x80, 2, 0, 0, 255, 255, 0, 0}},
    };
    for (const Case& c : cases) {
        Bytes two_rows = c.packets;
        two_rows.insert(two_rows.end(), c.packets.begin(), c.packets.end());
        const auto outcome = open(gem(c.planes, 2, 2, c.extension, two_rows));
        ASSERT_TRUE(outcome) << c.name << ": " << outcome.error().where.text();
        EXPECT_EQ(pixels_of(outcome->bitmap), (std::vector<Rgba>{kRed, kBlue, kRed, kBlue})) << c.name;
        EXPECT_EQ(outcome->bitmap.bits(), c.bits) << c.name;
        EXPECT_EQ(outcome->rows_shown, 2) << c.name;
    }
}

TEST(Gem, ShowsWhatADamagedFileHolds) {
    const auto cut = open(gem(1, 16, 3, {}, {0x82, 0x81}));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->rows_shown, 2);
    EXPECT_EQ(cut->rows_declared, 3);
    EXPECT_EQ(cut->bitmap.pixel(0, 1), kBlack);
    EXPECT_EQ(cut->bitmap.pixel(8, 1), kWhite);
    EXPECT_EQ(cut->bitmap.pixel(0, 2), kWhite);
    EXPECT_EQ(open(gem(1, 16, 3, {}, {0x81})).error().fault, Fault::truncated);
}

TEST(Gem, LeavesOtherFilesAlone) {
    const Bytes good = gem(1, 16, 1, {}, {0x82});
    ASSERT_TRUE(open(good));
    const std::vector<std::pair<std::size_t, int>> changes{{1, 4}, {3, 7}, {5, 9},   {5, 0},  {7, 0},
                                                           {7, 9}, {9, 3}, {11, 19}, {13, 0}, {15, 0}};
    for (const auto& [at, value] : changes) {
        Bytes other = good;
        other[at] = static_cast<std::uint8_t>(value);
        EXPECT_FALSE(open(other)) << "byte " << at << " is " << value;
    }
    EXPECT_FALSE(open(gem(1, 16, 9, {}, {0x80, 9, 1, 2, 3, 4, 5, 6, 7, 8, 9}))) << "packets across rows";
}

Bytes written(const Bitmap& bitmap) {
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 52;
    EXPECT_TRUE(save(bitmap, out, options));
    return out.bytes();
}

TEST(Gem, WrittenFilesReadBackTheSame) {
    for (const int bits : {1, 4, 8}) {
        for (const int width : {1, 7, 8, 17, 100, 2100}) {
            Bitmap bitmap = tests::pattern(width, 23, bits);
            for (const bool coloured : {false, true}) {
                if (coloured) {
                    Palette palette = bitmap.palette();
                    for (Rgba& entry : palette) entry.g = static_cast<std::uint8_t>(entry.g / 2 + 20);
                    bitmap.set_palette(palette);
                }
                const auto back = open(written(bitmap));
                ASSERT_TRUE(back) << bits << " bits, width " << width;
                EXPECT_EQ(back->bitmap.bits(), bits);
                EXPECT_EQ(back->rows_shown, 23);
                EXPECT_EQ(pixels_of(back->bitmap), pixels_of(bitmap)) << bits << " bits, width " << width;
            }
        }
    }
}

TEST(Gem, WritesEqualRowsOnce) {
    Bitmap bitmap = *Bitmap::create(64, 300, 1, {});
    bitmap.set_palette({kWhite, kBlack});
    bitmap.metadata().resolution = {300, 300};
    for (int y = 0; y < 300; ++y) std::ranges::fill(bitmap.writable_row(y), std::uint8_t{0xFF});
    const Bytes file = written(bitmap);
    EXPECT_EQ(file, (Bytes{0,  1, 0,  8, 0, 1,    0,   2,    0, 85, 0,    85, 0,
                           64, 1, 44, 0, 0, 0xFF, 255, 0x88, 0, 0,  0xFF, 45, 0x88}));
    const auto back = open(file);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->bitmap.pixel(63, 299), kBlack);
}

TEST(Gem, PacksPairsAndPlainBytes) {
    Bitmap bitmap = *Bitmap::create(14 * 8, 1, 1, {});
    bitmap.set_palette({kWhite, kBlack});
    const Bytes row{1, 2, 3, 0xA, 0xB, 0xA, 0xB, 0xA, 0xB, 0xA, 0xB, 0, 0, 7};
    std::ranges::copy(row, bitmap.writable_row(0).begin());
    const Bytes file = written(bitmap);
    ASSERT_GT(file.size(), 16U);
    EXPECT_EQ(Bytes(file.begin() + 16, file.end()), (Bytes{0x80, 3, 1, 2, 3, 0, 4, 0xA, 0xB, 2, 0x80, 1, 7}));
}

TEST(Gem, KeepsTheResolution) {
    for (const double dpi : {72.0, 300.0, 2400.0}) {
        Bitmap bitmap = tests::pattern(16, 2, 1);
        bitmap.metadata().resolution = {dpi, dpi};
        const auto back = open(written(bitmap));
        ASSERT_TRUE(back) << dpi;
        EXPECT_NEAR(back->bitmap.metadata().resolution.x, dpi, dpi / 25) << dpi;
    }
    for (const double dpi : {0.0, 1.0, 100000.0}) {
        Bitmap bitmap = tests::pattern(16, 2, 1);
        bitmap.metadata().resolution = {dpi, dpi};
        const auto back = open(written(bitmap));
        ASSERT_TRUE(back) << dpi;
        EXPECT_EQ(back->bitmap.metadata().resolution, Resolution{}) << dpi;
    }
}

}  // namespace
}  // namespace quillmark::imaging
