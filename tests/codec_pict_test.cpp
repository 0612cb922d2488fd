// Macintosh pictures: both versions, every raster, streams, several rasters, damage, and what is written.
#include <gtest/gtest.h>

#include "imaging/codecs/quicktime_video.h"
#include "imaging/load.h"
#include "imaging/save.h"
#include "imaging/threads.h"
#include "support/fixtures.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes& operator+=(Bytes& to, const Bytes& more) {
    to.insert(to.end(), more.begin(), more.end());
    return to;
}

Bytes words(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values)
        bytes += Bytes{static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
    return bytes;
}

Bytes v2(int width, int height, const Bytes& opcodes, int before = 512, bool end = true) {
    Bytes file(static_cast<std::size_t>(before));
    file += words({0, 0, 0, height, width, 0x0011, 0x02FF, 0x0C00, -2, 0, 144, 0, 144, 0});
    file += words({0, 0, height, width, 0, 0});
    file += opcodes;
    if (opcodes.size() % 2) file += Bytes{0};
    if (end) file += words({0x00FF});
    return file;
}

struct Map {
    int width, height, row_bytes, depth, pack_type = 0, components = 1;
};

Bytes rectangle(int left, int top, int width, int height) {
    return words({top, left, top + height, left + width});
}

// A pixel map's opcode up to its rows.
Bytes map_head(const Map& map, const Bytes& source, const Bytes& target, const Bytes& colours = {}) {
    const bool direct = map.depth > 8;
    Bytes bytes = direct ? words({0x9A, 0, 0xFF}) : words({0x98});
    bytes += words({map.row_bytes | 0x8000});
    bytes += rectangle(0, 0, map.width, map.height);
    bytes += words({0, map.pack_type, 0, 0, 72, 0, 72, 0, direct ? 16 : 0, map.depth, map.components, 8, 0, 0,
                    0, 0, 0, 0});
    if (!direct) {
        const int entries = static_cast<int>(colours.size() / 3);
        bytes += words({0, 0, 0, entries - 1});
        for (int i = 0; i < entries; ++i) {
            const auto at = static_cast<std::size_t>(i) * 3;
            bytes += words({i, colours[at] * 257, colours[at + 1] * 257, colours[at + 2] * 257});
        }
    }
    bytes += source;
    bytes += target;
    return bytes += words({0}), bytes;
}

Bytes map_of(const Map& map, const Bytes& rows, const Bytes& colours = {}) {
    const Bytes whole = rectangle(0, 0, map.width, map.height);
    Bytes bytes = map_head(map, whole, whole, colours);
    return bytes += rows, bytes;
}

Result<Outcome> open(const Bytes& bytes) {
    RowSink sink;
    return load(memory_source(bytes), "x.pct", {}, sink);
}

std::vector<Rgba> pixels_of(const Bitmap& bitmap) {
    std::vector<Rgba> pixels;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) pixels.push_back(bitmap.pixel(x, y));
    }
    return pixels;
}

constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255};

Bytes bitmap_opcode(int op, int width, int row_bytes, const Bytes& rows) {
    Bytes bytes = words({op, row_bytes});
    for (int i = 0; i < 3; ++i) bytes += rectangle(0, 0, width, 1);
    bytes += words({0});
    return bytes += rows, bytes;
}

Bytes version_1(const Bytes& opcodes) {
    Bytes file(512);
    file += words({0, 0, 0, 1, 3, 0x1101});
    file += opcodes;
    return file += Bytes{0xFF}, file;
}

TEST(Pict, ReadsEveryRaster) {
    struct Case {
        const char* name;
        Bytes file;
        int bits;
        std::vector<Rgba> want;
    };
    Bytes old = bitmap_opcode(0x90, 3, 2, {0x40, 0});
    old.erase(old.begin());  // opcodes of one byte
    Bytes named = words({0xA1, 5, 3, 0x4142, 0x4300});
    named += map_of({2, 1, 2, 8}, {1, 0}, {255, 0, 0, 0, 0, 255});
    const std::vector<Case> cases{
        {"version 1", version_1(old), 1, {kWhite, kBlack, kWhite}},
        {"without 512 bytes in front",
         v2(3, 1, bitmap_opcode(0x90, 3, 2, {0x40, 0}), 0),
         1,
         {kWhite, kBlack, kWhite}},
        {"in a MacBinary wrapper",
         v2(3, 1, bitmap_opcode(0x90, 3, 2, {0x40, 0}), 640),
         1,
         {kWhite, kBlack, kWhite}},
        {"packed bits", v2(3, 1, bitmap_opcode(0x98, 3, 8, {2, 0xF9, 0x40})), 1, {kWhite, kBlack, kWhite}},
        {"behind a comment", v2(2, 1, named), 8, {kBlue, kRed}},
        {"2 bits",
         v2(3, 1, map_of({3, 1, 2, 2}, {0x18, 0}, {0, 0, 0, 255, 0, 0, 0, 0, 255})),
         2,
         {kBlack, kRed, kBlue}},
        {"4 bits", v2(2, 1, map_of({2, 1, 2, 4}, {0x10, 0}, {255, 0, 0, 0, 0, 255})), 4, {kBlue, kRed}},
        {"16 bits plain", v2(2, 1, map_of({2, 1, 4, 16, 1, 3}, {0x7C, 0, 0, 0x1F})), 16, {kRed, kBlue}},
        {"16 bits in words",
         v2(4, 1, map_of({4, 1, 8, 16, 3, 3}, {6, 0xFE, 0x7C, 0, 0, 0, 0x1F})),
         16,
         {kRed, kRed, kRed, kBlue}},
        {"32 bits plain", v2(1, 1, map_of({1, 1, 4, 32, 0, 3}, {9, 255, 0, 0})), 24, {kRed}},
        {"32 bits without the fourth",
         v2(2, 1, map_of({2, 1, 8, 32, 2, 3}, {255, 0, 0, 0, 0, 255})),
         24,
         {kRed, kBlue}},
        {"planes", v2(2, 1, map_of({2, 1, 8, 32, 4, 3}, {7, 5, 255, 0, 0, 0, 0, 255})), 24, {kRed, kBlue}},
        {"planes with a fourth",
         v2(2, 1, map_of({2, 1, 8, 32, 4, 4}, {9, 255, 0, 5, 255, 0, 0, 0, 0, 255})),
         24,
         {kRed, kBlue}},
    };
    for (const Case& c : cases) {
        const auto outcome = open(c.file);
        ASSERT_TRUE(outcome) << c.name << ": " << outcome.error().where.text();
        EXPECT_EQ(pixels_of(outcome->bitmap), c.want) << c.name;
        EXPECT_EQ(outcome->bitmap.bits(), c.bits) << c.name;
        EXPECT_EQ(outcome->rows_shown, outcome->rows_declared) << c.name;
        EXPECT_EQ(read_info(memory_source(c.file), "x.pct", {})->bits, c.bits) << c.name;
    }
}

// Rows of 201 to 250 bytes: some writers count them with one byte, others with two.
TEST(Pict, FindsOutHowRowsAreCounted) {
    const Bytes colours{255, 255, 255, 255, 0, 0};
    for (const int row_bytes : {220, 280}) {
        for (const bool wide : {false, true}) {
            Bytes rows;
            for (int y = 0; y < 3; ++y) {
                rows += wide ? Bytes{0, 6} : Bytes{6};
                rows += Bytes{0x81, 1, 0, 0, static_cast<std::uint8_t>(257 - (row_bytes - 129)), 1};
            }
            if (row_bytes > 257) {  // two runs for the rest
                rows.clear();
                for (int y = 0; y < 3; ++y) {
                    rows += wide ? Bytes{0, 8} : Bytes{8};
                    rows +=
                        Bytes{0x81, 1, 0, 0, 0x81, 1, static_cast<std::uint8_t>(257 - (row_bytes - 257)), 1};
                }
            }
            const auto outcome = open(v2(row_bytes, 3, map_of({row_bytes, 3, row_bytes, 8}, rows, colours)));
            ASSERT_TRUE(outcome) << row_bytes << wide;
            EXPECT_EQ(outcome->rows_shown, 3);
            EXPECT_EQ(outcome->bitmap.pixel(128, 2), kWhite) << row_bytes << wide;
            EXPECT_EQ(outcome->bitmap.pixel(129, 2), kRed) << row_bytes << wide;
            EXPECT_TRUE(outcome->warnings.empty());
        }
    }
}

TEST(Pict, ComposesSeveralRasters) {
    // A red pixel left, and right of it two blue ones in the room of one: the finest decides the scale.
    const Bytes red{255, 0, 0, 0, 0, 0}, blue{0, 0, 255, 0, 0, 0};
    Bytes opcodes = map_head({1, 1, 2, 8}, rectangle(0, 0, 1, 1), rectangle(0, 0, 1, 1), red);
    opcodes += Bytes{0, 0};
    opcodes += map_head({2, 1, 2, 8}, rectangle(0, 0, 2, 1), rectangle(1, 0, 1, 1), blue);
    opcodes += Bytes{0, 1};
    const auto outcome = open(v2(3, 1, opcodes));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.width(), 6);
    EXPECT_EQ(outcome->bitmap.height(), 2);
    const std::vector<Rgba> row{kRed, kRed, kBlue, kBlack, kWhite, kWhite};
    std::vector<Rgba> want = row;
    want.insert(want.end(), row.begin(), row.end());
    EXPECT_EQ(pixels_of(outcome->bitmap), want);
}

TEST(Pict, DrawsShapes) {
    const auto drawn = [](const Bytes& opcodes) {
        const auto outcome = open(v2(6, 4, opcodes));
        std::string picture;
        if (!outcome) return picture;
        for (const Rgba c : pixels_of(outcome->bitmap)) picture += c == kWhite ? '.' : c == kRed ? 'r' : '#';
        return picture;
    };
    const Bytes red = words({0x1A, -1, 0, 0});
    const auto with = [](Bytes first, const Bytes& more) { return first += more, first; };
    EXPECT_EQ(drawn(words({0x31, 1, 1, 3, 4})),
              "......"
              ".###.."
              ".###.."
              "......");
    EXPECT_EQ(drawn(with(red, words({0x30, 0, 0, 4, 6}))),
              "rrrrrr"
              "r....r"
              "r....r"
              "rrrrrr");
    // Filled, then inverted in the same place; a line; a polygon; an oval without its corners.
    EXPECT_EQ(drawn(words({0x31, 1, 1, 3, 4, 0x3B})), std::string(24, '.'));
    EXPECT_EQ(drawn(words({0x20, 2, 1, 2, 4})),
              "............"
              ".####.......");
    EXPECT_EQ(drawn(words({0x71, 26, 0, 0, 4, 6, 0, 0, 0, 3, 4, 3, 4, 0})), "###...###...###...###...");
    const std::string oval = drawn(words({0x51, 0, 0, 4, 6}));
    EXPECT_EQ(oval.substr(0, 1) + oval.substr(7, 4), ".####");
    // The quarter from the right to the bottom.
    const std::string quarter = drawn(words({0x61, -4, -6, 4, 6, 90, 90}));
    EXPECT_EQ(quarter.substr(0, 6) + quarter.substr(18, 6), "#########...");
    const std::string gone = drawn(words({0x31, 0, 0, 4, 6, 0x32, 0, 0, 4, 3}));
    EXPECT_EQ(gone, "...###...###...###...###");
}

TEST(Pict, ShowsThePartThatIsMeant) {
    const Bytes colours{255, 0, 0, 0, 0, 255};
    Bytes opcodes = map_head({12, 1, 2, 1}, rectangle(3, 0, 5, 1), rectangle(0, 0, 5, 1), colours);
    opcodes += Bytes{0x15, 0x50};  // 0001 0101 0101
    const auto outcome = open(v2(5, 1, opcodes));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(pixels_of(outcome->bitmap), (std::vector<Rgba>{kBlue, kRed, kBlue, kRed, kBlue}));
}

TEST(Pict, ShowsWhatADamagedFileHolds) {
    const Bytes gray{0, 0, 0, 255, 255, 255};
    const auto cut = open(v2(2, 3, map_of({2, 3, 2, 8}, {1, 1, 1, 1}, gray), 512, false));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->rows_shown, 2);
    EXPECT_EQ(cut->bitmap.pixel(1, 2), kBlack);
    EXPECT_FALSE(cut->warnings.empty());
    EXPECT_EQ(open(v2(9, 9, {})).error().fault, Fault::unsupported);
    EXPECT_EQ(open(v2(9, 9, {}, 512, false)).error().fault, Fault::truncated);
    EXPECT_EQ(open(v2(30'000, 1, map_of({30'000, 30'000, 30'000, 8}, Bytes(8), gray))).error().fault,
              Fault::truncated);
}

TEST(Pict, DecodesVideoFrames) {
    const auto shown = [](auto decode, const Bytes& frame, int rows) {
        Bitmap bitmap = *Bitmap::create(8, 4, 24, {});
        EXPECT_EQ(decode(frame, bitmap), rows);
        std::string picture;
        for (int x = 0; x < 8; ++x) {
            const Rgba c = bitmap.pixel(x, 1);
            picture += c == kRed ? 'r' : c == kBlue ? 'b' : c == kWhite ? 'w' : c == kBlack ? '.' : '?';
        }
        return picture;
    };
    // One colour; two colours and what lies between them; blocks left out; sixteen colours.
    EXPECT_EQ(shown(codecs::decode_road_pizza, {0xE1, 0, 0, 0, 0xA1, 0x7C, 0}, 4), "rrrrrrrr");
    EXPECT_EQ(shown(codecs::decode_road_pizza,
                    {0xE1, 0, 0, 0, 0x80, 0xC0, 0x7C, 0, 0, 0x1F, 0, 0b11000001, 0, 0}, 4),
              "....rbb?");
    Bytes sixteen{0xE1, 0, 0, 0};
    for (int i = 0; i < 16; ++i) sixteen += i % 2 ? Bytes{0x7C, 0} : Bytes{0, 0x1F};
    EXPECT_EQ(shown(codecs::decode_road_pizza, sixteen, 4), "brbr....");
    EXPECT_EQ(shown(codecs::decode_road_pizza, {0xE1, 0, 0, 0}, 0), "........");
    // A strip with two grey vectors: white and black halves; one block of a vector, one of four.
    Bytes strip = words({0x2600, 8, 0xFF00, 0xFF00, 0x2400, 12, -1, -1, 0, 0, 0x3000, 13, 0x4000, 0});
    strip += Bytes{0, 0, 1, 0, 1};
    Bytes cinepak = words({0, 0, 8, 4, 1, 0x1000, static_cast<int>(strip.size()) + 12, 0, 0, 4, 8});
    cinepak += strip;
    EXPECT_EQ(shown(codecs::decode_cinepak, cinepak, 4), "ww..ww..");
    cinepak.erase(cinepak.end() - 6, cinepak.end());
    EXPECT_EQ(shown(codecs::decode_cinepak, cinepak, 0), "........");
}

TEST(Pict, WrittenFilesReadBackTheSame) {
    for (const int bits : {1, 4, 8, 24}) {
        for (const int width : {1, 2, 3, 7, 17, 64, 220, 251, 255, 300, 450}) {
            for (const int threads : {1, 7}) {
                set_thread_count(threads);
                Bitmap bitmap = tests::pattern(width, 37, bits);
                if (bits <= 8 && width % 2) {
                    Palette palette(std::size_t{1} << bits, kRed);
                    palette[1] = kBlue;
                    bitmap.set_palette(palette);
                }
                bitmap.metadata().resolution = {300, 150};
                MemoryWriter out;
                SaveOptions options;
                options.format_code = 56, options.bits = bits;
                ASSERT_TRUE(save(bitmap, out, options));
                const auto back = open(out.bytes());
                ASSERT_TRUE(back) << bits << ", width " << width;
                EXPECT_EQ(pixels_of(back->bitmap), pixels_of(bitmap)) << bits << ", width " << width;
                EXPECT_EQ(back->bitmap.bits(), bits);
                EXPECT_EQ(back->bitmap.metadata().resolution, (Resolution{300, 150}));
                EXPECT_TRUE(back->warnings.empty());
            }
        }
    }
    set_thread_count(0);
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 56;
    EXPECT_EQ(save(*Bitmap::create(8192, 1, 24, {}), out, options).error().fault, Fault::too_large);
}

}  // namespace
}  // namespace quillmark::imaging
