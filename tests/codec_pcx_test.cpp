// PCX and DCX: every combination of bits and planes, palettes in their odd places, runs, pages, damage,
// writing.
#include <gtest/gtest.h>

#include <random>

#include "imaging/load.h"
#include "imaging/save.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Head {
    int width, height, bits, planes, line;
    int encoding = 0, version = 5, dpi_x = 0, dpi_y = 0;
    Bytes colours{};
};

Bytes pcx(const Head& h, const Bytes& body) {
    Bytes file(128);
    const auto put = [&](std::size_t at, int value) {
        file[at] = static_cast<std::uint8_t>(value), file[at + 1] = static_cast<std::uint8_t>(value >> 8);
    };
    file[0] = 10, file[1] = static_cast<std::uint8_t>(h.version),
    file[2] = static_cast<std::uint8_t>(h.encoding), file[3] = static_cast<std::uint8_t>(h.bits);
    put(8, h.width - 1), put(10, h.height - 1), put(12, h.dpi_x), put(14, h.dpi_y), put(66, h.line);
    std::copy(h.colours.begin(), h.colours.end(), file.begin() + 16);
    file[65] = static_cast<std::uint8_t>(h.planes);
    file.insert(file.end(), body.begin(), body.end());
    return file;
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The mark and 256 colours: red, blue, then greys of one level.
Bytes palette(std::uint8_t top) {
    Bytes bytes(769, 1);
    bytes[0] = 0x0C;
    bytes[1] = top, bytes[2] = bytes[3] = 0, bytes[4] = bytes[5] = 0, bytes[6] = top;
    return bytes;
}

Result<Outcome> open(const Bytes& bytes, int page = 1) {
    RowSink sink;
    LoadOptions options;
    options.page = page;
    return load(memory_source(bytes), "x.pcx", options, sink);
}

std::vector<Rgba> pixels_of(const Bitmap& bitmap) {
    std::vector<Rgba> pixels;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) pixels.push_back(bitmap.pixel(x, y));
    }
    return pixels;
}

constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255},
    kGreen{0, 255, 0, 255};

TEST(Pcx, ReadsEveryVariant) {
    struct Case {
        const char* name;
        Bytes file;
        int bits;
        std::vector<Rgba> want;
    };
    const Bytes four{0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255};  // black, red, green, blue
    const Bytes data{0, 1, 0, 0};
    const std::vector<Case> cases{
        {"1 bit ignores its palette",
         pcx({3, 1, 1, 1, 2, 0, 5, 0, 0, four}, {0x40, 0}),
         1,
         {kBlack, kWhite, kBlack}},
        {"2 planes",
         pcx({4, 1, 1, 2, 2, 0, 5, 0, 0, four}, {0x50, 0, 0x30, 0}),
         2,
         {kBlack, kRed, kGreen, kBlue}},
        {"2 bits", pcx({4, 1, 2, 1, 2, 0, 5, 0, 0, four}, {0x1B, 0}), 2, {kBlack, kRed, kGreen, kBlue}},
        {"3 planes, no palette in version 3",
         pcx({2, 1, 1, 3, 2, 0, 3}, {0x40, 0, 0x40, 0, 0x40, 0}),
         3,
         {kBlack, {128, 128, 128, 255}}},
        {"4 planes",
         pcx({2, 1, 1, 4, 2, 0, 5, 0, 0, four}, {0x40, 0, 0x40, 0, 0, 0, 0, 0}),
         4,
         {kBlack, kBlue}},
        {"4 bits", pcx({3, 1, 4, 1, 2, 0, 5, 0, 0, four}, {0x01, 0x30}), 4, {kBlack, kRed, kBlue}},
        {"8 bits, palette at the end",
         pcx({2, 2, 8, 1, 2}, data) + palette(255),
         8,
         {kRed, kBlue, kRed, kRed}},
        {"8 bits, palette behind a gap",
         pcx({2, 2, 8, 1, 2}, data) + Bytes{9, 9} + palette(255),
         8,
         {kRed, kBlue, kRed, kRed}},
        {"8 bits, bytes after the palette",
         pcx({2, 2, 8, 1, 2}, data) + palette(255) + Bytes(5),
         8,
         {kRed, kBlue, kRed, kRed}},
        {"8 bits, 6-bit colours", pcx({2, 2, 8, 1, 2}, data) + palette(63), 8, {kRed, kBlue, kRed, kRed}},
        {"8 bits without palette", pcx({2, 1, 8, 1, 2}, {0, 255}), 8, {kBlack, kWhite}},
        {"24 bits", pcx({2, 1, 8, 3, 2}, {255, 0, 0, 0, 0, 255}), 24, {kRed, kBlue}},
        {"32 bits", pcx({2, 1, 8, 4, 2}, {255, 0, 0, 0, 0, 255, 9, 255}), 32, {{255, 0, 0, 9}, kBlue}},
        {"32 bits, alpha void", pcx({2, 1, 8, 4, 2}, {255, 0, 0, 0, 0, 255, 0, 0}), 32, {kRed, kBlue}},
        {"a run across planes and rows",
         pcx({2, 2, 8, 3, 2, 1}, {0xCB, 255, 0}),
         24,
         {kWhite, kWhite, kWhite, {255, 255, 0, 255}}},
        {"an empty run", pcx({2, 1, 8, 1, 2, 1}, {0xC0, 77, 0xC1, 255, 0}), 8, {kWhite, kBlack}},
    };
    for (const Case& c : cases) {
        const auto outcome = open(c.file);
        ASSERT_TRUE(outcome) << c.name;
        EXPECT_EQ(pixels_of(outcome->bitmap), c.want) << c.name;
        EXPECT_EQ(outcome->bitmap.bits(), c.bits) << c.name;
        EXPECT_EQ(outcome->rows_shown, outcome->rows_declared) << c.name;
        EXPECT_EQ(read_info(memory_source(c.file), "x.pcx", {})->bits, c.bits) << c.name;
    }
}

TEST(Pcx, ScreensOfTheColourAdapter) {
    Bytes pixels(80 * 200);
    pixels[0] = 0x1B;
    const auto first = [&](std::uint8_t background, std::uint8_t mode) {
        const auto outcome =
            open(pcx({320, 200, 2, 1, 80, 0, 5, 320, 200, {background, 0, 0, mode}}, pixels));
        return std::vector<Rgba>{outcome->bitmap.pixel(0, 0), outcome->bitmap.pixel(1, 0),
                                 outcome->bitmap.pixel(2, 0), outcome->bitmap.pixel(3, 0)};
    };
    EXPECT_EQ(first(0x10, 0x00),
              (std::vector<Rgba>{{0, 0, 170, 255}, {0, 170, 0, 255}, {170, 0, 0, 255}, {170, 85, 0, 255}}));
    EXPECT_EQ(first(0x00, 0xE0),
              (std::vector<Rgba>{kBlack, {85, 255, 255, 255}, {255, 85, 255, 255}, kWhite}));
}

TEST(Pcx, BelievesOnlySaneResolutions) {
    const auto resolution = [](int x, int y) {
        return read_info(memory_source(pcx({50, 60, 1, 1, 8, 0, 5, x, y}, Bytes(480))), "x.pcx", {})
            ->resolution;
    };
    EXPECT_EQ(resolution(300, 150), (Resolution{300, 150}));
    EXPECT_EQ(resolution(50, 60), Resolution{});
    EXPECT_EQ(resolution(640, 480), Resolution{});
    EXPECT_EQ(resolution(5, 5), Resolution{});
}

TEST(Pcx, RunsOfNoiseSurviveBothWays) {
    std::mt19937 random{7};
    for (const int spread : {2, 16, 256}) {
        for (const int width : {1, 2, 63, 64, 65, 71, 72, 73, 300, 4001}) {
            Bitmap bitmap = *Bitmap::create(width, 9, 24, {});
            for (int y = 0; y < 9; ++y) {
                // Values on both sides of C0, in short and long runs.
                for (auto& v : bitmap.writable_row(y))
                    v = static_cast<std::uint8_t>(0xC0 - spread / 2 +
                                                  static_cast<int>(random() % static_cast<unsigned>(spread)));
            }
            MemoryWriter out;
            SaveOptions options;
            options.format_code = 1;
            ASSERT_TRUE(save(bitmap, out, options));
            const auto back = open(out.bytes());
            ASSERT_TRUE(back);
            ASSERT_EQ(back->rows_shown, 9);
            for (int y = 0; y < 9; ++y)
                ASSERT_TRUE(std::ranges::equal(back->bitmap.row(y), bitmap.row(y))) << width << ' ' << spread;
        }
    }
}

TEST(Pcx, WrittenFilesReadBackTheSame) {
    for (const int bits : {1, 4, 8}) {
        for (const int width : {1, 7, 16, 21, 100}) {
            Bitmap bitmap = *Bitmap::create(width, 3, bits, {});
            bitmap.metadata().resolution = {300, 200};
            if (bits == 1) bitmap.set_palette({kWhite, kBlack});
            for (int y = 0; y < 3; ++y) {
                std::uint8_t v = static_cast<std::uint8_t>(y);
                for (auto& byte : bitmap.writable_row(y))
                    byte = static_cast<std::uint8_t>((v += 77) & (bits == 4 ? 15 : 255));
            }
            MemoryWriter out;
            SaveOptions options;
            options.format_code = 1;
            ASSERT_TRUE(save(bitmap, out, options));
            const auto back = open(out.bytes());
            ASSERT_TRUE(back);
            EXPECT_EQ(back->bitmap.bits(), bits);
            EXPECT_EQ(back->bitmap.metadata().resolution, (Resolution{300, 200}));
            EXPECT_EQ(pixels_of(back->bitmap), pixels_of(bitmap)) << bits << " bits, width " << width;
        }
    }
}

TEST(Pcx, DamageAndContradictions) {
    const auto cut = open(pcx({2, 3, 8, 1, 2}, {255, 255, 255, 255}));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->rows_shown, 2);
    EXPECT_EQ(open(pcx({20000, 20000, 8, 3, 20000, 1}, Bytes(72, 0xFF))).error().fault, Fault::truncated);
    EXPECT_EQ(open(pcx({2, 3, 8, 1, 2}, {})).error().fault, Fault::truncated);
    EXPECT_EQ(open(pcx({100, 3, 8, 1, 2, 1}, {0xFF, 9, 0xFF, 9})).error().fault, Fault::malformed)
        << "too few bytes per line, and too few data";
    EXPECT_EQ(open(pcx({2, 2, 8, 2, 2}, Bytes(8))).error().fault, Fault::unsupported);
}

TEST(Dcx, PagesEndWhereTheNextOneBegins) {
    const Bytes one = pcx({2, 2, 8, 1, 2}, {0, 1, 0, 0}) + palette(255),
                two = pcx({3, 1, 1, 1, 2}, {0x40, 0});
    // The table names the pages in the opposite order of the file, one of them twice, and one outside of it.
    Bytes file{0xB1, 0x68, 0xDE, 0x3A};
    const std::size_t start = 24;
    for (const std::size_t offset :
         {start + one.size(), start, std::size_t{0xFFFFFF}, start, std::size_t{0}}) {
        for (int shift = 0; shift < 32; shift += 8)
            file.push_back(static_cast<std::uint8_t>(offset >> shift));
    }
    file = file + one + two;
    LoadOptions options;
    for (const int page : {1, 2, 32000}) {
        options.page = page;
        const auto info = read_info(memory_source(file), "x.dcx", options);
        ASSERT_TRUE(info);
        EXPECT_EQ(info->pages, 2);
        EXPECT_EQ(info->page, std::min(page, 2));
        const auto outcome = open(file, page);
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->bitmap.bits(), page == 1 ? 1 : 8);
        EXPECT_EQ(outcome->bitmap.pixel(0, 0), page == 1 ? kBlack : kRed)
            << "a page's palette lies at its own end";
    }
    EXPECT_EQ(open({0xB1, 0x68, 0xDE, 0x3A, 0, 0, 0, 0}).error().fault, Fault::malformed);
}

}  // namespace
}  // namespace quillmark::imaging
