// BMP and DIB: what sets the many variants apart, and what damaged files still show.
#include <gtest/gtest.h>

#include "imaging/load.h"
#include "imaging/save.h"
#include "support/fixtures.h"

namespace quillmark::tests {
namespace {

using namespace imaging;
using Bytes = std::vector<std::uint8_t>;

constexpr Rgba kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255}, kWhite{255, 255, 255}, kBlack{};

Result<Outcome> open(const Bytes& bytes, int page = 1, std::string_view name = "a.bmp") {
    RowSink sink;
    LoadOptions options;
    options.page = page;
    const auto source = memory_source(std::span{bytes});
    auto outcome = load(source, name, options, sink);
    const auto info = read_info(source, name, options);
    if (outcome && info) {
        EXPECT_EQ(info->bits, outcome->bitmap.bits());
        EXPECT_EQ(info->width, outcome->bitmap.width());
        EXPECT_EQ(info->height, outcome->bitmap.height());
        EXPECT_EQ(info->format_code, outcome->format_code);
    }
    EXPECT_TRUE(info || !outcome) << "info refuses what decode shows";
    return outcome;
}

// A file header, an info header of any size and what follows; fields beyond the header's size are left out.
struct Spec {
    std::uint32_t header = 40;
    int width = 2, height = 2;
    std::uint32_t bits = 8, compression = 0, colours = 0;
    Bytes extra{};  // masks, palette
    Bytes pixels{};
    int bits_at = -1;  // -1: where the pixels are
    std::uint32_t file_size = 0;
    Bytes tail_of_header{};  // from byte 40 on
};

Bytes build(const Spec& spec) {
    MemoryWriter header;
    header.u32le(spec.header);
    if (spec.header == 12) {
        header.u16le(static_cast<std::uint32_t>(spec.width));
        header.u16le(static_cast<std::uint32_t>(spec.height));
    } else {
        header.u32le(static_cast<std::uint32_t>(spec.width));
        header.u32le(static_cast<std::uint32_t>(spec.height));
    }
    header.u16le(1);
    header.u16le(spec.bits);
    header.u32le(spec.compression);
    header.zeros(12);
    header.u32le(spec.colours);
    header.u32le(0);
    Bytes info = header.bytes();
    if (spec.header != 12) info.insert(info.end(), spec.tail_of_header.begin(), spec.tail_of_header.end());
    info.resize(spec.header);
    MemoryWriter out;
    out.u8('B');
    out.u8('M');
    out.u32le(spec.file_size);
    out.u32le(0);
    const auto real = static_cast<int>(14 + spec.header + spec.extra.size());
    out.u32le(static_cast<std::uint32_t>(spec.bits_at < 0 ? real : spec.bits_at));
    out.write(info);
    out.write(spec.extra);
    out.write(spec.pixels);
    return out.bytes();
}

Bytes palette(std::size_t entry_bytes, std::size_t count) {
    Bytes bytes;
    for (const Rgba c : {kRed, kGreen, kBlue, kWhite}) {
        bytes.insert(bytes.end(), {c.b, c.g, c.r});
        if (entry_bytes == 4) bytes.push_back(0);
    }
    bytes.resize(entry_bytes * count);
    return bytes;
}

const Bytes kTwoByTwo = {2, 3, 0, 0, 0, 1, 0, 0};  // bottom row blue white, top row red green

void expect_two_by_two(const Result<Outcome>& outcome) {
    ASSERT_TRUE(outcome) << outcome.error().where.text();
    const Bitmap& bitmap = outcome->bitmap;
    ASSERT_EQ(bitmap.width(), 2);
    ASSERT_EQ(bitmap.height(), 2);
    EXPECT_EQ(bitmap.pixel(0, 0), kRed);
    EXPECT_EQ(bitmap.pixel(1, 0), kGreen);
    EXPECT_EQ(bitmap.pixel(0, 1), kBlue);
    EXPECT_EQ(bitmap.pixel(1, 1), kWhite);
}

TEST(Bmp, sides_whose_product_overflows_are_refused) {
    for (const std::uint32_t bits : {1, 8, 24, 32, 64}) {
        const Bytes file =
            build({.width = 0x7FFF'FFF0, .height = 0x7FFF'FFF1, .bits = bits, .pixels = Bytes(100)});
        const auto source = memory_source(std::span<const std::uint8_t>{file});
        RowSink sink;
        EXPECT_FALSE(read_info(source, "a.bmp", ReadOptions{})) << bits;
        EXPECT_FALSE(load(source, "a.bmp", LoadOptions{}, sink)) << bits;
    }
}

TEST(Bmp, what_is_written_reads_back) {
    const Codec* codec = codec_for_format(6);
    ASSERT_NE(codec, nullptr);
    int tried = 0;
    for (const FormatCode& format : codec->formats) {
        for (const int depth : format.write_depths) {
            SCOPED_TRACE(testing::Message() << "format " << format.code << ", " << depth << " bits");
            Bitmap bitmap = pattern(37, 23, depth);
            bitmap.metadata().resolution = {300, 150};
            if (depth == 16) {  // only colours that 5-6-5 knows
                for (int y = 0; y < bitmap.height(); ++y) {
                    for (std::uint8_t& v : bitmap.writable_row(y)) v = v < 128 ? 0 : 255;
                }
                bitmap.writable_row(0)[1] = 130;  // 32 of 63: no 5-bit level
            }
            MemoryWriter out;
            SaveOptions options;
            options.format_code = format.code;
            options.bits = depth;
            ASSERT_TRUE(save(bitmap, out, options));
            const auto outcome = open(out.bytes());
            ASSERT_TRUE(outcome) << outcome.error().where.text();
            EXPECT_EQ(outcome->format_code, format.code);
            EXPECT_EQ(outcome->bitmap.bits(), depth);
            const double dpi = format.code == 6 ? 300 : 0;  // the header of OS/2 1.x has no place for it
            EXPECT_NEAR(outcome->bitmap.metadata().resolution.x, dpi, 0.02);
            for (int y = 0; y < bitmap.height(); ++y) {
                for (int x = 0; x < bitmap.width(); ++x)
                    ASSERT_EQ(outcome->bitmap.pixel(x, y), bitmap.pixel(x, y)) << x << ", " << y;
            }
            ++tried;
        }
    }
    EXPECT_EQ(tried, 10);
}

TEST(Bmp, five_five_five_needs_no_masks) {
    Bitmap bitmap = pattern(8, 4, 16);
    for (int y = 0; y < 4; ++y) {
        for (std::uint8_t& v : bitmap.writable_row(y)) v = static_cast<std::uint8_t>((v >> 3) << 3 | v >> 5);
    }
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 6;
    ASSERT_TRUE(save(bitmap, out, options));
    EXPECT_EQ(out.bytes()[30], 0) << "compression";
    const auto outcome = open(out.bytes());
    ASSERT_TRUE(outcome);
    EXPECT_NEAR(outcome->bitmap.pixel(3, 2).g, bitmap.pixel(3, 2).g, 1);
}

TEST(Bmp, sixteen_bits_are_grey_or_colour_as_the_format_means_them) {
    struct Case {
        int format_code;
        int from_gray_12, from_gray_16, from_colour_16;
    };
    constexpr Case kCases[] = {{6, 8, 8, 16},    {14, 8, 8, 24},  {4, 8, 8, 16}, {10, 8, 8, 24},
                               {75, 16, 16, 24}, {3, 16, 16, 24}, {11, 8, 8, 24}};
    const auto gray12 = Bitmap::create(4, 4, 12, {}, true), gray16 = Bitmap::create(4, 4, 16, {}, true),
               colour16 = Bitmap::create(4, 4, 16, {});
    for (const auto& [code, from_gray_12, from_gray_16, from_colour_16] : kCases) {
        SCOPED_TRACE(code);
        EXPECT_EQ(save_depth(*gray12, code, 0), from_gray_12);
        EXPECT_EQ(save_depth(*gray16, code, 0), from_gray_16);
        EXPECT_EQ(save_depth(*colour16, code, 0), from_colour_16);
    }
}

TEST(Bmp, header_sizes_and_families) {
    const struct {
        std::uint32_t header, file_size;
        int format_code;
    } cases[] = {{12, 0, 14}, {16, 0, 74}, {24, 0, 74}, {40, 0, 6},  {40, 54, 74}, {48, 0, 74},
                 {52, 0, 6},  {56, 0, 6},  {64, 0, 74}, {108, 0, 6}, {124, 0, 6}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.header << " bytes, size field " << c.file_size);
        const auto outcome = open(build({.header = c.header,
                                         .extra = palette(c.header == 12 ? 3 : 4, 256),
                                         .pixels = kTwoByTwo,
                                         .file_size = c.file_size}));
        expect_two_by_two(outcome);
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->format_code, c.format_code);
    }
}

TEST(Bmp, pixels_where_they_really_are) {
    Bytes gap = palette(4, 256);
    gap.resize(gap.size() + 30);
    const std::pair<const char*, Spec> cases[] = {
        {"offset 0", {.extra = palette(4, 256), .pixels = kTwoByTwo, .bits_at = 0}},
        {"offset inside the palette", {.extra = palette(4, 256), .pixels = kTwoByTwo, .bits_at = 60}},
        {"gap after the palette", {.extra = gap, .pixels = kTwoByTwo}},
        {"short palette of OS/2 1.x", {.header = 12, .extra = palette(3, 4), .pixels = kTwoByTwo}},
        {"fewer colours", {.colours = 4, .extra = palette(4, 4), .pixels = kTwoByTwo}},
        {"more colours than indices", {.colours = 300, .extra = palette(4, 300), .pixels = kTwoByTwo}},
        {"three bytes an entry", {.extra = palette(3, 256), .pixels = kTwoByTwo}},
        {"rows without padding", {.extra = palette(4, 256), .pixels = {2, 3, 0, 1}}},
        {"last row without padding", {.extra = palette(4, 256), .pixels = {2, 3, 0, 0, 0, 1}}},
        {"top-down", {.height = -2, .extra = palette(4, 256), .pixels = {0, 1, 0, 0, 2, 3, 0, 0}}},
        {"2 bits", {.bits = 2, .extra = palette(4, 4), .pixels = {0xB0, 0, 0, 0, 0x10, 0, 0, 0}}},
        {"palette of true colour is skipped",
         {.bits = 24,
          .colours = 4,
          .extra = palette(4, 4),
          .pixels = {255, 0, 0, 255, 255, 255, 0, 0, 0, 0, 255, 0, 255, 0, 0, 0},
          .bits_at = 0}},
    };
    for (const auto& [name, spec] : cases) {
        SCOPED_TRACE(name);
        expect_two_by_two(open(build(spec)));
    }
}

Bytes words(std::initializer_list<std::uint32_t> values) {
    MemoryWriter out;
    for (const std::uint32_t value : values) out.u32le(value);
    return out.bytes();
}

TEST(Bmp, colour_masks) {
    const struct {
        const char* name;
        std::uint32_t bits, compression;
        Bytes masks;
        std::uint32_t pixel;
        Rgba expected;
        int loaded_bits;
    } cases[] = {
        {"5-5-5", 16, 0, {}, 0x7FE0, {255, 255, 0}, 16},
        {"5-6-5", 16, 3, words({0xF800, 0x07E0, 0x001F}), 0x8410, {132, 130, 132}, 16},
        {"3-1-0", 16, 3, words({0x00E0, 0x0010, 0}), 0x0030, {36, 255, 0}, 16},
        {"4-4-4-4", 16, 6, words({0x0F00, 0x00F0, 0x000F, 0xF000}), 0x8F0A, {255, 0, 170, 136}, 32},
        {"fourth byte ignored", 32, 0, {}, 0x7F0000FF, {0, 0, 255}, 24},
        {"reversed bytes", 32, 3, words({0x0000FF00, 0x00FF0000, 0xFF000000}), 0x03020100, {1, 2, 3}, 24},
        {"10 bits a channel",
         32,
         3,
         words({0x3FF00000, 0x000FFC00, 0x000003FF}),
         0x3FF80000,
         {255, 128, 0},
         24},
        {"alpha",
         32,
         6,
         words({0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000}),
         0x80010203,
         {1, 2, 3, 128},
         32},
        {"alpha 0 everywhere is no alpha",
         32,
         6,
         words({0xFF0000, 0xFF00, 0xFF, 0xFF000000}),
         0x010203,
         {1, 2, 3},
         32},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto outcome = open(build({.width = 1,
                                         .height = 1,
                                         .bits = c.bits,
                                         .compression = c.compression,
                                         .extra = c.masks,
                                         .pixels = words({c.pixel})}));
        ASSERT_TRUE(outcome) << outcome.error().where.text();
        EXPECT_EQ(outcome->bitmap.pixel(0, 0), c.expected);
        EXPECT_EQ(outcome->bitmap.bits(), c.loaded_bits);
    }
    for (const Bytes& masks : {words({0xF800, 0xFFE0, 0x001F}), words({0x8801, 0x07E0, 0x001E})}) {
        const auto outcome = open(build({.bits = 16, .compression = 3, .extra = masks, .pixels = Bytes(8)}));
        ASSERT_FALSE(outcome) << "overlapping or torn masks";
        EXPECT_EQ(outcome.error().fault, Fault::malformed);
    }
}

TEST(Bmp, sixty_four_bits_are_linear_light) {
    const auto outcome =
        open(build({.width = 1, .height = 1, .bits = 64, .pixels = {0, 0x20, 0, 0x10, 0xFF, 0xFF, 0, 0x10}}));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.pixel(0, 0),
              (Rgba{0, 188, 255, 128}));  // below 0, a half, one; alpha stays linear
}

// Rows from the top, one digit a pixel.
std::string digits(const Bitmap& bitmap) {
    std::string text;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (const std::uint8_t index : bitmap.row(y)) text += static_cast<char>('0' + index);
        text += '/';
    }
    return text;
}

TEST(Bmp, run_lengths) {
    const struct {
        const char* name;
        std::uint32_t bits;
        Bytes stream;
        const char* expected;
        int rows_shown;
    } cases[] = {
        {"runs", 8, {3, 1, 1, 2, 0, 0, 4, 3, 0, 1}, "3333/1112/", 2},
        {"odd literals are padded", 8, {0, 3, 1, 2, 3, 9, 1, 4, 0, 0, 4, 5, 0, 1}, "5555/1234/", 2},
        {"moves leave index 0", 8, {1, 1, 0, 2, 1, 1, 2, 7, 0, 1}, "0077/1000/", 2},
        {"no end code", 8, {4, 1, 0, 0, 4, 2}, "2222/1111/", 2},
        {"no ends of rows", 8, {6, 1, 2, 2}, "1122/1111/", 2},
        {"cut", 8, {4, 1, 0, 0, 4}, "0000/1111/", 1},
        {"past the top", 8, {4, 1, 0, 2, 0, 200, 4, 2, 0, 1}, "0000/1111/", 2},
        {"nibbles alternate", 4, {4, 0x12, 0, 0, 3, 0x34, 0, 1}, "3430/1212/", 2},
        {"nibble literals", 4, {0, 3, 0x12, 0x30, 1, 0x40, 0, 0, 0, 1}, "0000/1234/", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto outcome = open(build({.width = 4,
                                         .bits = c.bits,
                                         .compression = c.bits == 8 ? 1U : 2U,
                                         .colours = 4,
                                         .extra = palette(4, 4),
                                         .pixels = c.stream}));
        ASSERT_TRUE(outcome) << outcome.error().where.text();
        EXPECT_EQ(digits(outcome->bitmap), c.expected);
        EXPECT_EQ(outcome->rows_shown, c.rows_shown);
    }
    EXPECT_FALSE(open(build({.compression = 1, .colours = 4, .extra = palette(4, 4), .pixels = {0, 1}})))
        << "nothing drawn";
}

TEST(Bmp, os2_run_lengths_and_huffman) {
    const auto rle24 =
        open(build({.header = 64, .bits = 24, .compression = 4, .pixels = {1,   255, 0, 0, 1, 255, 255, 255,
                                                                           0,   0,   0, 3, 0, 0,   255, 0,
                                                                           255, 0,   9, 9, 9, 0,   0,   1}}));
    expect_two_by_two(rle24);
    // End of line, white 2, black 3, white 3; end of line, white 0, black 8.
    const auto huffman = open(build({.header = 64,
                                     .width = 8,
                                     .bits = 1,
                                     .compression = 3,
                                     .colours = 2,
                                     .extra = palette(4, 2),
                                     .pixels = {0x00, 0x17, 0xA0, 0x00, 0x4D, 0x45, 0, 0}}));
    ASSERT_TRUE(huffman) << huffman.error().where.text();
    EXPECT_EQ(huffman->bitmap.row(1)[0], 0b00111000);
    EXPECT_EQ(huffman->bitmap.row(0)[0], 0xFF);
    EXPECT_EQ(huffman->bitmap.pixel(0, 0), kGreen);
}

TEST(Bmp, damaged_files) {
    Bytes whole = build({.width = 4, .height = 10, .extra = palette(4, 256), .pixels = Bytes(40, 1)});
    whole.resize(whole.size() - 16);
    const auto cut = open(whole);
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->rows_shown, 6);
    EXPECT_EQ(cut->rows_declared, 10);
    EXPECT_FALSE(cut->warnings.empty());
    EXPECT_EQ(cut->bitmap.pixel(0, 9), kGreen);

    const std::pair<Fault, Spec> refused[] = {
        {Fault::malformed, {.bits = 30'000, .pixels = Bytes(64)}},
        {Fault::malformed, {.width = -2, .extra = palette(4, 256), .pixels = Bytes(64)}},
        {Fault::malformed, {.height = 0, .extra = palette(4, 256), .pixels = Bytes(64)}},
        {Fault::malformed, {.compression = 9, .extra = palette(4, 256), .pixels = Bytes(64)}},
        {Fault::malformed, {.colours = 0x63680002, .extra = palette(4, 4), .pixels = Bytes(64)}},
        {Fault::malformed, {.bits = 0, .compression = 5, .pixels = Bytes(64)}},
        {Fault::unsupported, {.bits = 32, .compression = 11, .pixels = Bytes(64)}},
        {Fault::truncated, {.extra = palette(4, 256)}},
        {Fault::too_large, {.width = 70'000, .extra = palette(4, 256), .pixels = Bytes(64)}},
    };
    for (const auto& [fault, spec] : refused) {
        const auto outcome = open(build(spec));
        ASSERT_FALSE(outcome) << fault_name(fault);
        EXPECT_EQ(fault_name(outcome.error().fault), fault_name(fault));
    }
}

TEST(Bmp, colour_profile) {
    Bytes tail(84);
    const Bytes fields = words({0x4D424544});
    std::ranges::copy(fields, tail.begin() + 16);
    const Bytes place = words({124 + 8, 3});  // after the pixels, counted from the header
    std::ranges::copy(place, tail.begin() + 72);
    const auto outcome = open(build({.header = 124,
                                     .width = 1,
                                     .bits = 24,
                                     .pixels = {1, 2, 3, 0, 4, 5, 6, 0, 'i', 'c', 'c'},
                                     .tail_of_header = tail}));
    ASSERT_TRUE(outcome);
    ASSERT_TRUE(outcome->bitmap.metadata().icc);
    EXPECT_EQ(*outcome->bitmap.metadata().icc, (Bytes{'i', 'c', 'c'}));
}

TEST(Bmp, without_file_header) {
    Bytes bytes = build({.colours = 4, .extra = palette(4, 4), .pixels = kTwoByTwo});
    bytes.erase(bytes.begin(), bytes.begin() + 14);
    const auto outcome = open(bytes, 1, "picture.dib");
    expect_two_by_two(outcome);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->format_code, 9);
}

// One entry of an OS/2 array; positions count from the start of the file.
void array_entry(Bytes& file, const char* kind, std::uint32_t bits, int width, int height,
                 const Bytes& colours, const Bytes& pixels, bool last, bool in_array = true) {
    const std::size_t headers = (in_array ? 14U : 0U) + 26 + colours.size();
    MemoryWriter out;
    if (in_array) {
        out.u8('B');
        out.u8('A');
        out.u32le(40);
        out.u32le(last ? 0 : static_cast<std::uint32_t>(file.size() + headers + pixels.size()));
        out.u32le(0);
    }
    out.u8(static_cast<unsigned char>(kind[0]));
    out.u8(static_cast<unsigned char>(kind[1]));
    out.u32le(26);
    out.u16le(5);
    out.u16le(7);
    out.u32le(static_cast<std::uint32_t>(file.size() + headers));
    out.u32le(12);
    out.u16le(static_cast<std::uint32_t>(width));
    out.u16le(static_cast<std::uint32_t>(height));
    out.u16le(1);
    out.u16le(bits);
    out.write(colours);
    out.write(pixels);
    file.insert(file.end(), out.bytes().begin(), out.bytes().end());
}

TEST(Bmp, os2_array_entries_are_pages) {
    Bytes file;
    array_entry(file, "BM", 8, 2, 2, palette(3, 4), kTwoByTwo, false);
    // The lower half is the picture, the upper one the mask: rows from the bottom.
    array_entry(file, "PT", 1, 2, 4, palette(3, 2), {0x80, 0, 0, 0, 0x40, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0},
                true);
    expect_two_by_two(open(file));
    const auto pointer = open(file, 32'000);
    ASSERT_TRUE(pointer) << pointer.error().where.text();
    const Bitmap& bitmap = pointer->bitmap;
    ASSERT_EQ(bitmap.height(), 2);
    EXPECT_EQ(bitmap.pixel(0, 0).a, 0);
    EXPECT_EQ(bitmap.pixel(1, 0), kWhite);
    EXPECT_EQ(bitmap.pixel(0, 1), kWhite);
    EXPECT_EQ(bitmap.pixel(1, 1), kBlack);
    EXPECT_EQ(bitmap.metadata().hot_spot_y, 7);
    const auto info = read_info(memory_source(std::span{file}), "a.bmp", {});
    ASSERT_TRUE(info);
    EXPECT_EQ(info->pages, 2);
}

TEST(Bmp, os2_colour_icon) {
    const Bytes mask = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40, 0, 0, 0};
    MemoryWriter out;
    const auto header = [&](std::uint32_t bits, std::uint32_t height, std::uint32_t at,
                            const Bytes& colours) {
        out.u8('C');
        out.u8('I');
        out.u32le(26);
        out.u32le(0);
        out.u32le(at);
        out.u32le(12);
        out.u16le(2);
        out.u16le(height);
        out.u16le(1);
        out.u16le(bits);
        out.write(colours);
    };
    const std::uint32_t headers = 26 + 6 + 26 + 768;
    header(1, 4, headers, palette(3, 2));
    header(8, 2, headers + 16, palette(3, 256));
    out.write(mask);
    out.write(kTwoByTwo);
    const auto icon = open(out.bytes());
    ASSERT_TRUE(icon) << icon.error().where.text();
    EXPECT_EQ(icon->bitmap.bits(), 8) << "green is used by the masked pixel alone";
    EXPECT_EQ(icon->bitmap.pixel(0, 0), kRed);
    EXPECT_EQ(icon->bitmap.pixel(1, 0).a, 0);
    EXPECT_EQ(icon->bitmap.pixel(1, 1), kWhite);
}

TEST(Bmp, large_pictures_take_the_streaming_path) {
    Bitmap bitmap = pattern(2003, 1500, 24);  // over 8 MB, rows that end inside a vector
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 6;
    ASSERT_TRUE(save(bitmap, out, options));
    const auto outcome = open(out.bytes());
    ASSERT_TRUE(outcome);
    for (int y = 0; y < bitmap.height(); ++y)
        ASSERT_TRUE(std::ranges::equal(outcome->bitmap.row(y), bitmap.row(y))) << y;
}

TEST(Bmp, stopping) {
    struct Stop : RowSink {
        bool rows(const Bitmap&, int, int, std::int64_t, std::int64_t) override { return false; }
    } stop;
    const Bytes plain = build({.extra = palette(4, 256), .pixels = kTwoByTwo});
    const Bytes runs =
        build({.compression = 1, .colours = 4, .extra = palette(4, 4), .pixels = {2, 1, 0, 0, 2, 1}});
    for (const Bytes& bytes : {plain, runs}) {
        const auto outcome = load(memory_source(std::span{bytes}), "a.bmp", {}, stop);
        ASSERT_FALSE(outcome);
        EXPECT_EQ(outcome.error().fault, Fault::cancelled);
    }
}

}  // namespace
}  // namespace quillmark::tests
