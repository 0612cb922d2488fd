// IOCA: every way to store samples, documents of many images, damage, and what is written.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "imaging/codecs/fax_encoder.h"
#include "imaging/load.h"
#include "imaging/save.h"
#include "support/fixtures.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::uint8_t low(std::size_t value) { return static_cast<std::uint8_t>(value); }
std::uint8_t high(std::size_t value) { return static_cast<std::uint8_t>(value >> 8); }

Bytes field(int code, const Bytes& data) {
    return Bytes{low(static_cast<std::size_t>(code)), low(data.size())} + data;
}
Bytes long_field(int code, const Bytes& data) {
    return Bytes{0xFE, low(static_cast<std::size_t>(code)), high(data.size()), low(data.size())} + data;
}
Bytes pixels(const Bytes& data) { return long_field(0x92, data); }
Bytes band(int number, const Bytes& data) {
    return long_field(0x9C, Bytes{static_cast<std::uint8_t>(number), 0, 0} + data);
}

const Bytes kBegin{0x70, 0, 0x91, 1, 0xFF}, kEnd{0x93, 0, 0x71, 0};

Bytes size_field(int width, int height) {
    return field(0x94, {0, 0x07, 0xD0, 0x0B, 0xB8, high(static_cast<std::size_t>(width)),
                        low(static_cast<std::size_t>(width)), high(static_cast<std::size_t>(height)),
                        low(static_cast<std::size_t>(height))});
}

/// A segment: its size, and everything between that and its end.
Bytes segment(int width, int height, const Bytes& content) {
    return kBegin + size_field(width, height) + content + kEnd;
}
Bytes coding(int compression, int rows = 1, int order = 0) {
    return field(0x95, {low(static_cast<std::size_t>(compression)), low(static_cast<std::size_t>(rows)),
                        low(static_cast<std::size_t>(order))});
}
Bytes bits(int count) { return field(0x96, {low(static_cast<std::size_t>(count))}); }
Bytes structure(int flags, int format, const Bytes& sizes) {
    return field(
        0x9B,
        Bytes{low(static_cast<std::size_t>(flags)), low(static_cast<std::size_t>(format)), 0, 0, 0} + sizes);
}
Bytes tile(int x, int y, int width, int height, const Bytes& content) {
    const auto u32 = [](int v) {
        return Bytes{0, 0, high(static_cast<std::size_t>(v)), low(static_cast<std::size_t>(v))};
    };
    return field(0x8C, {}) + field(0xB5, u32(x) + u32(y)) + field(0xB6, u32(width) + u32(height) + Bytes{1}) +
           content + field(0x8D, {});
}

/// A structured field as in files for printers, or without the byte before it.
Bytes structured(int id, const Bytes& data, bool printer = true, int flags = 0) {
    const std::size_t size = data.size() + 8;
    return (printer ? Bytes{0x5A} : Bytes{}) +
           Bytes{high(size),
                 low(size),
                 0xD3,
                 high(static_cast<std::size_t>(id)),
                 low(static_cast<std::size_t>(id)),
                 low(static_cast<std::size_t>(flags)),
                 0,
                 0} +
           data;
}

Result<Outcome> open(const Bytes& bytes, int page = 1) {
    RowSink sink;
    LoadOptions options;
    options.page = page;
    return load(memory_source(bytes), "x.ica", options, sink);
}

/// Black or white pixels as rows of '#' and '.'; other colours as hexadecimal numbers.
std::string picture(const Result<Outcome>& outcome) {
    if (!outcome)
        return std::string{fault_name(outcome.error().fault)} + ": " +
               std::string{outcome.error().where.text()};
    std::string text;
    for (int y = 0; y < outcome->bitmap.height(); ++y) {
        for (int x = 0; x < outcome->bitmap.width(); ++x) {
            const Rgba c = outcome->bitmap.pixel(x, y);
            const unsigned value = c.r * 65536U + c.g * 256U + c.b;
            char hex[8];
            std::snprintf(hex, sizeof hex, "%06x ", value);
            text += value == 0 ? "#" : value == 0xFFFFFF ? "." : hex;
        }
        text += '|';
    }
    return text;
}

Bytes fax_codes(fax::Coding coding, int width, const std::vector<Bytes>& rows, bool low_first = false) {
    fax::Encoder encoder{{coding, width, low_first}};
    for (const Bytes& row : rows) encoder.add_row(row);
    encoder.finish(true);
    return encoder.bytes();
}

// 12 pixels a row; the padding of four is white.
const std::vector<Bytes> kRows{{0x0F, 0x00}, {0xAA, 0xA0}, {0xFF, 0xF0}};
const char* const kPicture = "....####....|#.#.#.#.#.#.|############|";

TEST(Ioca, ReadsEveryCompression) {
    const struct {
        const char* name;
        Bytes content;
    } cases[] = {
        {"none", coding(3) + pixels({0x0F, 0, 0xAA, 0xA0, 0xFF, 0xF0})},
        {"nothing said", pixels({0x0F, 0, 0xAA, 0xA0, 0xFF, 0xF0})},
        {"in pieces", coding(3) + pixels({0x0F, 0, 0xAA}) + pixels({0xA0}) + pixels({0xFF, 0xF0})},
        {"lowest bit first", coding(3, 1, 1) + pixels({0xF0, 0, 0x55, 0x05, 0xFF, 0x0F})},
        {"bottom up", coding(3, 3) + pixels({0xFF, 0xF0, 0, 0, 0xAA, 0xA0, 0, 0, 0x0F, 0, 0, 0})},
        {"bit stream", coding(3, 4) + pixels({0x0F, 0x0A, 0xAA, 0xFF, 0xF0})},
        {"PackBits", coding(12) + pixels({3, 0x0F, 0, 0xAA, 0xA0, 0x80, 1, 0xFF, 0xF0})},
        // Codes 256, 0F, 00, AA, A0, FF, F0, 257 of 9 bits each.
        {"LZW", coding(13) + pixels({0x80, 0x03, 0xC0, 0x0A, 0xA5, 0x03, 0xFD, 0xE1, 0x01})},
        {"G3", coding(0x80) + pixels(fax_codes(fax::Coding::group3, 16, kRows))},
        {"G3, lowest bit first",
         coding(0x80, 1, 1) + pixels(fax_codes(fax::Coding::group3, 16, kRows, true))},
        {"aligned MH", coding(9) + pixels(fax_codes(fax::Coding::aligned_rows, 16, kRows))},
        {"MR", coding(0x81) + pixels(fax_codes(fax::Coding::group3_2d, 16, kRows))},
        {"G4", coding(0x82) + pixels(fax_codes(fax::Coding::group4, 16, kRows))},
        {"G4 without padding", coding(0x82, 4) + pixels(fax_codes(fax::Coding::group4, 12, kRows))},
        // Whites of 4, blacks of 4, end; ones of either colour; whites of 0, blacks of 12.
        {"run lines", coding(6) + pixels({0, 1, 0, 2,    0x33, 0xFF, 0, 2, 0, 8,    0xFE, 0,   0,
                                          0, 0, 0, 0x0F, 0xFF, 0,    3, 0, 3, 0xFE, 0x83, 0xFF})},
    };
    for (const auto& [name, content] : cases) {
        const auto outcome = open(segment(12, 3, content));
        EXPECT_EQ(picture(outcome), kPicture) << name;
        ASSERT_TRUE(outcome) << name;
        EXPECT_EQ(outcome->bitmap.bits(), 1) << name;
        EXPECT_EQ(outcome->rows_shown, 3) << name;
        EXPECT_EQ(outcome->bitmap.metadata().resolution, (Resolution{200, 300})) << name;
    }
}

TEST(Ioca, FaxRowsMayBeCodedWithoutTheirPadding) {
    const Bitmap bitmap = tests::pattern(203, 60, 1);
    std::vector<Bytes> rows;
    for (int y = 0; y < 60; ++y) rows.emplace_back(bitmap.row(y).begin(), bitmap.row(y).end());
    for (auto& row : rows) row.back() &= 0xE0;
    const std::pair<int, fax::Coding> kinds[] = {
        {0x80, fax::Coding::group3}, {0x81, fax::Coding::group3_2d}, {0x82, fax::Coding::group4}};
    for (const auto& [number, kind] : kinds) {
        for (const int width : {203, 208}) {
            const auto outcome =
                open(segment(203, 60, coding(number) + pixels(fax_codes(kind, width, rows))));
            ASSERT_TRUE(outcome) << number << " " << width;
            EXPECT_EQ(outcome->rows_shown, 60);
            for (int y = 0; y < 60; ++y)
                ASSERT_TRUE(std::ranges::equal(outcome->bitmap.row(y), rows[static_cast<std::size_t>(y)]))
                    << number << " " << width << " row " << y;
        }
    }
}

TEST(Ioca, IbmMmrBeginsWithAOneDimensionalRow) {
    // White 4, black 4, white 8; three times what the row above has; two end-of-line codes.
    const Bytes bare{0xB7, 0x3E, 0x00, 0x30, 0x01, 0x80};
    // The same with an end-of-line code and its tag before either row.
    const Bytes framed{0x00, 0x1D, 0xB9, 0x80, 0x0B, 0x80, 0x0C, 0x00, 0x60};
    for (const Bytes& codes : {bare, framed})
        EXPECT_EQ(picture(open(segment(16, 2, coding(1) + pixels(codes)))),
                  "....####........|....####........|");
}

TEST(Ioca, ReadsEveryKindOfSamples) {
    const struct {
        const char* name;
        int width, height;
        Bytes content;
        int depth;
        const char* want;
    } cases[] = {
        {"2 bits of grey", 4, 1, bits(2) + pixels({0b00011011}), 2, "#555555 aaaaaa .|"},
        {"4 bits of grey", 3, 1, bits(4) + pixels({0x0F, 0x80}), 4, "#.888888 |"},
        {"8 bits of grey", 3, 1, bits(8) + pixels({0, 255, 7}), 8, "#.070707 |"},
        {"subtractive grey", 2, 1, bits(8) + structure(0x80, 1, {8}) + pixels({255, 5}), 8, "#fafafa |"},
        {"grey coded", 4, 1, bits(2) + structure(0x40, 1, {2}) + pixels({0b00011110}), 2,
         "#555555 aaaaaa .|"},
        {"RGB", 2, 1, bits(24) + structure(0, 1, {8, 8, 8}) + pixels({1, 2, 3, 0, 0, 0}), 24, "010203 #|"},
        {"RGB of 4 bits each", 1, 1, bits(12) + structure(0, 1, {4, 4, 4}) + pixels({0x12, 0x30}), 24,
         "112233 |"},
        {"YCrCb", 2, 1, structure(0, 2, {8, 8, 8}) + pixels({76, 255, 85, 255, 128, 128}), 24, "fe0000 .|"},
        {"YCbCr", 2, 1, structure(0, 0x12, {8, 8, 8}) + pixels({76, 85, 255, 0, 128, 128}), 24, "fe0000 #|"},
        {"CMYK", 3, 1, structure(0, 4, {8, 8, 8, 8}) + pixels({0, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 255}), 24,
         ".00ffff #|"},
        {"subtractive CMYK", 1, 1, structure(0x80, 4, {8, 8, 8, 8}) + pixels({0, 255, 255, 255}), 24,
         "00ffff |"},
        {"CMYK of a bit each", 2, 1, structure(0, 4, {1, 1, 1, 1}) + pixels({0b10000001}), 24, "00ffff #|"},
        {"RGB bands", 2, 1,
         field(0x98, {3, 8, 8, 8}) + band(1, {1, 4}) + band(2, {2, 5}) + band(3, {3}) + band(3, {6}), 24,
         "010203 040506 |"},
        {"YCbCr bands", 1, 1,
         field(0x98, {3, 8, 8, 8}) + structure(0, 0x12, {8, 8, 8}) + band(1, {76}) + band(2, {85}) +
             band(3, {255}),
         24, "fe0000 |"},
        {"CMYK bands, one of them empty", 2, 1,
         field(0x98, {4, 8, 8, 8, 8}) + structure(0, 4, {8, 8, 8, 8}) + band(1, {255, 0}) + band(2, {}) +
             band(3, {0, 0}) + band(4, {0, 255}),
         24, "00ffff #|"},
        {"tiles of bits, off the byte", 12, 2,
         tile(0, 0, 5, 2, pixels({0xF8, 0xF8})) + tile(5, 0, 7, 2, coding(3) + pixels({0xAA, 0x54})), 1,
         "######.#.#.#|#####.#.#.#.|"},
        {"tiles of two kinds", 2, 1,
         tile(0, 0, 1, 1, bits(8) + pixels({9})) + tile(1, 0, 1, 1, bits(1) + pixels({0x80})), 24,
         "090909 #|"},
        {"a tile that sticks out, and no tile", 3, 2, tile(1, 1, 9, 9, bits(8) + pixels(Bytes(81, 0))), 8,
         "...|.##|"},
        {"a solid tile", 2, 1,
         tile(0, 0, 1, 1, coding(0x20) + bits(24) + field(0xB7, {1, 0, 0, 0, 8, 8, 8, 0, 1, 2, 3})) +
             tile(1, 0, 1, 1, bits(24) + pixels({0, 0, 0})),
         24, "010203 #|"},
    };
    for (const auto& c : cases) {
        const Bytes file = segment(c.width, c.height, c.content);
        const auto outcome = open(file);
        EXPECT_EQ(picture(outcome), c.want) << c.name;
        ASSERT_TRUE(outcome) << c.name;
        EXPECT_EQ(outcome->bitmap.bits(), c.depth) << c.name;
        EXPECT_EQ(outcome->rows_shown, c.height) << c.name;
        EXPECT_EQ(read_info(memory_source(file), "x.ica", {})->bits, c.depth) << c.name;
    }
}

Bytes jpeg_of(int side, int depth, std::uint8_t value) {
    Bitmap bitmap = *Bitmap::create(side, side, depth, {});
    for (int y = 0; y < side; ++y) {
        for (auto& byte : bitmap.writable_row(y)) byte = value;
    }
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 10, options.bits = depth, options.quality = 100;
    EXPECT_TRUE(save(bitmap, out, options));
    return out.bytes();
}

TEST(Ioca, JpegDataBringTheirOwnSize) {
    const auto whole = open(segment(4, 4, coding(0x83, 0xFE) + bits(24) + pixels(jpeg_of(20, 24, 77))));
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->bitmap.width(), 20);
    EXPECT_EQ(whole->bitmap.pixel(19, 19), (Rgba{77, 77, 77, 255}));
    EXPECT_EQ(whole->bitmap.metadata().resolution, (Resolution{200, 300}));
    EXPECT_EQ(whole->format_code, 71);

    // A tile of four bands, as colour printers get it: cyan and half of black.
    const Bytes none = jpeg_of(16, 8, 0);
    const Bytes bands = field(0x98, {4, 8, 8, 8, 8}) + structure(0, 4, {8, 8, 8, 8}) +
                        band(1, jpeg_of(16, 8, 255)) + band(2, none) + band(3, none) +
                        band(4, jpeg_of(16, 8, 128));
    const auto tiled = open(segment(16, 16, tile(0, 0, 16, 16, coding(0x83, 0xFE) + bits(32) + bands)));
    ASSERT_TRUE(tiled);
    EXPECT_EQ(tiled->bitmap.pixel(15, 15), (Rgba{0, 127, 127, 255}));
    EXPECT_EQ(open(segment(8, 8, tile(0, 0, 8, 8, coding(0x83) + pixels(jpeg_of(200, 8, 1))))).error().fault,
              Fault::malformed);
}

TEST(Ioca, RowsAreCountedWhenTheHeightIsNotStated) {
    for (const int compression : {3, 0x80, 0x81, 0x82, 6}) {
        Bytes data{0x0F, 0, 0xAA, 0xA0, 0xFF, 0xF0};
        if (compression == 6) data = {0, 1, 0, 2, 0x33, 0xFF, 0, 3, 0, 3, 0xFE, 0x83, 0xFF};
        if (compression >= 0x80) {
            const fax::Coding kinds[] = {fax::Coding::group3, fax::Coding::group3_2d, fax::Coding::group4};
            data = fax_codes(kinds[compression - 0x80], 16, kRows);
        }
        const auto outcome = open(segment(12, 0, coding(compression) + pixels(data)));
        ASSERT_TRUE(outcome) << compression;
        EXPECT_EQ(outcome->bitmap.height(), 3) << compression;
        EXPECT_EQ(outcome->rows_shown, 3) << compression;
    }
}

TEST(Ioca, FindsEveryImageOfAFile) {
    const Bytes one = segment(8, 1, pixels({0x80})), two = segment(8, 1, pixels({0x01}));
    const Bytes open_ended = kBegin + size_field(8, 1) + Bytes{0xFE, 0x92, 0, 0, 0x01};
    const Bytes descriptor{0, 0x0B, 0xB8, 0x0B, 0xB8, 0, 8, 0, 1};
    const auto split = [](const Bytes& s) {
        return structured(0xEEFB, {s.begin(), s.begin() + 3}) + structured(0xEEEE, {1, 2}) +
               structured(0xEEFB, {s.begin() + 3, s.end()});
    };
    const auto image = [&](const Bytes& s) {
        return structured(0xA8FB, {}) + structured(0xA6FB, descriptor) + split(s) + structured(0xA9FB, {});
    };
    const Bytes two_padded = two + Bytes{9, 9, 3};
    const struct {
        const char* name;
        Bytes file;
        double dots;
    } cases[] = {
        {"segments", one + two, 200},
        {"junk at the end", one + two + Bytes{0x93, 0, 0x71, 0, 0x93, 0, 0x71, 0, 1, 2}, 200},
        {"no end", one + Bytes(two.begin(), two.end() - 4), 200},
        {"no stated length", one + open_ended, 200},
        {"no stated length, but an end", one + open_ended + kEnd, 200},
        {"fields for printers", structured(0xA8A8, {}) + image(one) + image(two) + structured(0xA9A8, {}),
         300},
        {"extended and padded fields",
         structured(0xA8FB, {}, false) + structured(0xEEFB, Bytes{2, 9} + one, false, 0x80) +
             structured(0xA8FB, {}, false) + structured(0xEEFB, two_padded, false, 0x08),
         200},
    };
    for (const auto& c : cases) {
        const auto info = read_info(memory_source(c.file), "x", {});
        ASSERT_TRUE(info) << c.name;
        EXPECT_EQ(info->pages, 2) << c.name;
        EXPECT_EQ(info->resolution.x, c.dots) << c.name;
        EXPECT_EQ(picture(open(c.file)), "#.......|") << c.name;
        EXPECT_EQ(picture(open(c.file, 2)), ".......#|") << c.name;
        EXPECT_EQ(picture(open(c.file, 9)), ".......#|") << c.name;
    }
}

TEST(Ioca, FixturesShowEveryCompression) {
    const Codec* codec = codec_for_format(71);
    int found = 0;
    for (const auto& fixture : tests::all_fixtures(*codec, "")) {
        const auto outcome = open(fixture.bytes);
        ASSERT_TRUE(outcome) << fixture.name;
        EXPECT_EQ(outcome->rows_shown, outcome->rows_declared) << fixture.name;
        if (fixture.name == "compressions") {
            EXPECT_EQ(picture(outcome), "########|########|########|########|");
            ++found;
        }
        found += fixture.name.starts_with("JPEG bands");
    }
    EXPECT_EQ(found, 2);
}

TEST(Ioca, SaysWhatIsDamagedOrNotSupported) {
    const auto cut = open(segment(8, 4, pixels({1, 2})));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->rows_shown, 2);
    EXPECT_EQ(cut->warnings.size(), 1U);
    const Bytes codes = fax_codes(fax::Coding::group4, 16, kRows);
    const auto fax = open(segment(16, 9, coding(0x82) + pixels(codes)));
    ASSERT_TRUE(fax);
    EXPECT_EQ(fax->rows_shown, 3);
    EXPECT_EQ(fax->rows_declared, 9);
    // The second tile has no data; rows are counted down to it.
    const auto tiles = open(segment(8, 4, tile(0, 0, 8, 2, pixels({1, 2})) + tile(0, 2, 8, 2, {})));
    ASSERT_TRUE(tiles);
    EXPECT_EQ(tiles->rows_shown, 2);

    const auto error = [](const Bytes& content, int width = 8) {
        return picture(open(segment(width, 8, content)));
    };
    EXPECT_EQ(error(coding(0x0A) + pixels({1})), "unsupported: ABIC compression");
    EXPECT_EQ(error(coding(0x84) + pixels({1})), "unsupported: JBIG2 compression");
    EXPECT_EQ(error(coding(0x77) + pixels({1})), "unsupported: compression");
    EXPECT_EQ(error(bits(16) + pixels({1, 2})), "unsupported: bits per sample");
    EXPECT_EQ(error(pixels({1}), 0), "malformed: width is not stated");
    EXPECT_EQ(error({}), "truncated: pixels");
    EXPECT_EQ(error(coding(0x82) + pixels({0, 0})), "malformed: fax data");
    EXPECT_EQ(error(field(0x98, {3, 8, 8, 8}) + band(4, {1})), "malformed: number of bands");
    std::vector<Bytes> many(100, tile(0, 0, 30'000, 30'000, pixels({1})));
    Bytes covering;
    for (const Bytes& t : many) covering = covering + t;
    EXPECT_EQ(error(covering), "malformed: tiles cover too much");
    EXPECT_EQ(picture(open(structured(0xA8A8, {}) + structured(0xEE7B, {1}))), "unsupported: IM image");
    EXPECT_EQ(picture(open(structured(0xA8A8, {}) + structured(0xA9A8, {}))),
              "malformed: no image in the document");
}

// Found by fuzzing: bands of grey under a structure that names three samples and gives sizes of none.
TEST(Ioca, StructuresWithoutSizesSayNothing) {
    const Bytes content = structure(0, 0x12, {}) + field(0x98, {1, 8}) + band(1, {7});
    EXPECT_EQ(picture(open(segment(1, 1, content))), "070707 |");
    const Bytes two = structure(0, 0x12, {8, 8}) + pixels({7, 7});
    EXPECT_EQ(picture(open(segment(1, 1, two))), "malformed: samples of a pixel");
}

TEST(Ioca, PackedBytesMatchAKnownStream) {
    // 45 times A, then B: strings that grow by one, the last one cut by the end.
    Bytes stream;
    unsigned held = 0, have = 0;
    const auto put = [&](unsigned code) {
        held = held << 9 | code;
        for (have += 9; have >= 8; have -= 8) stream.push_back(static_cast<std::uint8_t>(held >> (have - 8)));
    };
    for (const unsigned code : {256U, 65U, 258U, 259U, 260U, 261U, 262U, 263U, 264U, 265U, 66U, 257U, 0U})
        put(code);
    const auto outcome = open(segment(46, 1, bits(8) + coding(13) + pixels(stream)));
    ASSERT_TRUE(outcome);
    for (int x = 0; x < 46; ++x) EXPECT_EQ(outcome->bitmap.pixel(x, 0).r, x < 45 ? 65 : 66) << x;
}

TEST(Ioca, WrittenFilesReadBackTheSame) {
    for (const int width : {1, 7, 8, 12, 65, 1728}) {
        for (const bool ink_is_zero : {false, true}) {
            Bitmap bitmap = tests::pattern(width, 150, 1);
            const Rgba black{0, 0, 0, 255}, white{255, 255, 255, 255};
            bitmap.set_palette(ink_is_zero ? Palette{black, white} : Palette{white, black});
            bitmap.metadata().resolution = {204, 98};
            MemoryWriter out;
            SaveOptions options;
            options.format_code = 71;
            ASSERT_TRUE(save(bitmap, out, options));
            const auto back = open(out.bytes());
            ASSERT_TRUE(back) << width;
            EXPECT_EQ(back->rows_shown, 150);
            EXPECT_EQ(back->format_code, 71);
            EXPECT_EQ(back->bitmap.metadata().resolution, (Resolution{204, 98}));
            for (int y = 0; y < 150; ++y) {
                for (int x = 0; x < width; ++x)
                    ASSERT_EQ(back->bitmap.pixel(x, y), bitmap.pixel(x, y)) << width << " " << x << " " << y;
            }
        }
    }
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 71;
    EXPECT_EQ(save(tests::pattern(32'768, 1, 1), out, options).error().fault, Fault::too_large);
    EXPECT_TRUE(out.bytes().empty());
}

}  // namespace
}  // namespace quillmark::imaging
