// Targa: orders, maps, depths, alpha, stamp and comment, damage, and what is written.
#include <gtest/gtest.h>

#include <numeric>

#include "imaging/load.h"
#include "imaging/save.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Head {
    int type = 2, width = 1, height = 1, depth = 24, descriptor = 0x20;
    int map_first = 0, map_length = 0, map_bits = 0;
};

void u16(Bytes& file, int value) {
    file.push_back(static_cast<std::uint8_t>(value)), file.push_back(static_cast<std::uint8_t>(value >> 8));
}

Bytes tga(const Head& h, const Bytes& body) {
    Bytes file{0, static_cast<std::uint8_t>(h.map_bits > 0), static_cast<std::uint8_t>(h.type)};
    u16(file, h.map_first), u16(file, h.map_length), file.push_back(static_cast<std::uint8_t>(h.map_bits));
    u16(file, 0), u16(file, 0), u16(file, h.width), u16(file, h.height);
    file.push_back(static_cast<std::uint8_t>(h.depth)),
        file.push_back(static_cast<std::uint8_t>(h.descriptor));
    file.insert(file.end(), body.begin(), body.end());
    return file;
}

// Adds an extension area (with a stamp when there is one) and the footer.
Bytes with_extension(Bytes file, int attribute_type, const Bytes& stamp = {}) {
    const auto put32 = [](Bytes& to, std::size_t at, std::size_t value) {
        for (std::size_t i = 0; i < 4; ++i) to[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    };
    Bytes area(495), footer(26);
    area[0] = 495 & 255, area[1] = 495 >> 8;
    std::string_view comment = "A comment";
    std::copy(comment.begin(), comment.end(), area.begin() + 43);
    area[494] = static_cast<std::uint8_t>(attribute_type);
    if (!stamp.empty()) put32(area, 486, file.size());
    file.insert(file.end(), stamp.begin(), stamp.end());
    put32(footer, 0, file.size());
    std::string_view signature = "TRUEVISION-XFILE.";
    std::copy(signature.begin(), signature.end(), footer.begin() + 8);
    file.insert(file.end(), area.begin(), area.end());
    file.insert(file.end(), footer.begin(), footer.end());
    return file;
}

Result<Outcome> open(const Bytes& bytes) {
    RowSink sink;
    return load(memory_source(bytes), "x.tga", {}, sink);
}

std::vector<Rgba> pixels_of(const Bitmap& bitmap) {
    std::vector<Rgba> pixels;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) pixels.push_back(bitmap.pixel(x, y));
    }
    return pixels;
}

constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255};

TEST(Targa, ReadsEveryPixelKind) {
    struct Case {
        const char* name;
        Bytes file;
        int bits;
        std::vector<Rgba> want;
    };
    const Bytes map24{0, 0, 255, 255, 0, 0};  // red, blue
    Bytes map_and_pixel = map24;
    map_and_pixel.insert(map_and_pixel.end(), {255, 0, 0});
    const std::vector<Case> cases{
        {"grey", tga({3, 2, 1, 8}, {0, 255}), 8, {kBlack, kWhite}},
        {"black and white, rows of whole bytes",
         tga({3, 9, 1, 1, 0x20}, {0x80, 0xFF}),
         1,
         {kWhite, kBlack, kBlack, kBlack, kBlack, kBlack, kBlack, kBlack, kWhite}},
        {"black and white, right to left", tga({3, 3, 1, 1, 0x30}, {0x9F}), 1, {kBlack, kBlack, kWhite}},
        {"a map of grey levels", tga({1, 2, 1, 8, 0x20, 0, 2, 8}, {0, 255, 1, 0}), 8, {kWhite, kBlack}},
        {"grey with alpha", tga({3, 2, 1, 16, 0x28}, {0, 128, 255, 255}), 32, {{0, 0, 0, 128}, kWhite}},
        {"15 bits", tga({2, 2, 1, 15}, {0x00, 0xFC, 0x1F, 0x00}), 16, {kRed, kBlue}},
        {"16 bits", tga({2, 2, 1, 16}, {0x00, 0x7C, 0x1F, 0x80}), 16, {kRed, kBlue}},
        {"16 bits with alpha",
         tga({2, 2, 1, 16, 0x21}, {0x00, 0xFC, 0x1F, 0x00}),
         32,
         {kRed, {0, 0, 255, 0}}},
        {"16 bits, alpha never set", tga({2, 2, 1, 16, 0x21}, {0x00, 0x7C, 0x1F, 0x00}), 32, {kRed, kBlue}},
        {"32 bits", tga({2, 2, 1, 32, 0x28}, {0, 0, 255, 255, 255, 0, 0, 7}), 32, {kRed, {0, 0, 255, 7}}},
        {"32 bits, alpha unstated but there",
         tga({2, 2, 1, 32}, {0, 0, 255, 255, 255, 0, 0, 7}),
         32,
         {kRed, {0, 0, 255, 7}}},
        {"32 bits, alpha void", tga({2, 2, 1, 32, 0x28}, {0, 0, 255, 0, 255, 0, 0, 0}), 32, {kRed, kBlue}},
        {"alpha disowned", with_extension(tga({2, 1, 1, 32, 0x28}, {0, 0, 255, 7}), 0), 32, {kRed}},
        {"alpha premultiplied",
         with_extension(tga({2, 1, 1, 32, 0x28}, {0, 0, 64, 128}), 4),
         32,
         {{128, 0, 0, 128}}},
        {"a map in a true-colour file", tga({2, 1, 1, 24, 0x20, 0, 2, 24}, map_and_pixel), 24, {kBlue}},
        {"map of 24 bits from index 5",
         tga({1, 3, 1, 8, 0x20, 5, 2, 24}, {0, 0, 255, 255, 0, 0, 5, 6, 9}),
         8,
         {kRed, kBlue, kRed}},
        {"map of 16 bits",
         tga({1, 2, 1, 8, 0x20, 0, 2, 16}, {0x00, 0x7C, 0x1F, 0x00, 1, 0}),
         8,
         {kBlue, kRed}},
        {"map of 32 bits",
         tga({1, 2, 1, 8, 0x28, 0, 2, 32}, {0, 0, 255, 255, 255, 0, 0, 9, 1, 0}),
         8,
         {{0, 0, 255, 9}, kRed}},
        {"indices of 16 bits",
         tga({1, 2, 1, 16, 0x20, 300, 2, 24}, {0, 0, 255, 255, 0, 0, 0x2D, 1, 0x2C, 1}),
         24,
         {kBlue, kRed}},
        {"runs across rows", tga({10, 1, 3, 24}, {0x81, 0, 0, 255, 0, 255, 0, 0}), 24, {kRed, kRed, kBlue}},
        {"indexed runs",
         tga({9, 3, 1, 8, 0x20, 0, 2, 24}, {0, 0, 255, 255, 0, 0, 0x81, 1, 0, 0}),
         8,
         {kBlue, kBlue, kRed}},
    };
    for (const Case& c : cases) {
        const auto outcome = open(c.file);
        ASSERT_TRUE(outcome) << c.name;
        EXPECT_EQ(pixels_of(outcome->bitmap), c.want) << c.name;
        EXPECT_EQ(outcome->bitmap.bits(), c.bits) << c.name;
        EXPECT_EQ(read_info(memory_source(c.file), "x.tga", {})->bits, c.bits) << c.name;
    }
}

TEST(Targa, PutsRowsAndColumnsInTheirPlace) {
    struct Case {
        int descriptor;
        Bytes want;
    };
    // Stored 0 to 9: two columns, five rows.
    const Case cases[]{{0x20, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}}, {0x00, {8, 9, 6, 7, 4, 5, 2, 3, 0, 1}},
                       {0x30, {1, 0, 3, 2, 5, 4, 7, 6, 9, 8}}, {0x60, {0, 1, 6, 7, 2, 3, 8, 9, 4, 5}},
                       {0xA0, {0, 1, 4, 5, 6, 7, 8, 9, 2, 3}}, {0x40, {4, 5, 8, 9, 2, 3, 6, 7, 0, 1}}};
    Bytes stored(10), packed{9};
    std::iota(stored.begin(), stored.end(), std::uint8_t{0});
    packed.insert(packed.end(), stored.begin(), stored.end());
    for (const Case& c : cases) {
        for (const bool runs : {false, true}) {
            const auto outcome = open(tga({runs ? 11 : 3, 2, 5, 8, c.descriptor}, runs ? packed : stored));
            ASSERT_TRUE(outcome);
            Bytes got;
            for (int y = 0; y < 5; ++y)
                got.insert(got.end(), outcome->bitmap.row(y).begin(), outcome->bitmap.row(y).end());
            EXPECT_EQ(got, c.want) << std::hex << c.descriptor;
        }
    }
}

TEST(Targa, StampAndComment) {
    const Bytes image = tga({2, 2, 2, 24}, Bytes(12, 9));
    const auto file = [&](const Bytes& stamp) { return memory_source(with_extension(image, 0, stamp)); };
    const std::vector<Rgba> want{kRed, kBlue};
    for (const Bytes& sides : {Bytes{2, 1}, Bytes{2, 0, 1, 0}}) {
        Bytes stamp = sides;
        stamp.insert(stamp.end(), {0, 0, 255, 255, 0, 0});
        EXPECT_TRUE(read_info(file(stamp), "x.tga", {})->has_stamp);
        const auto outcome = load_stamp(file(stamp), "x.tga", {});
        ASSERT_TRUE(outcome);
        EXPECT_EQ(pixels_of(outcome->bitmap), want);
    }
    EXPECT_FALSE(read_info(file({255, 255, 0}), "x.tga", {})->has_stamp) << "does not fit";
    EXPECT_EQ(load_stamp(memory_source(image), "x.tga", {}).error().fault, Fault::no_stamp);
    EXPECT_EQ(open(with_extension(image, 0))->bitmap.metadata().comment, "A comment");
}

TEST(Targa, RefusesAndSurvives) {
    EXPECT_EQ(open(tga({2, 20000, 20000, 24}, Bytes(200))).error().fault, Fault::truncated);
    EXPECT_EQ(open(tga({10, 20000, 20000, 24}, Bytes(200, 0xFF))).error().fault, Fault::truncated);
    EXPECT_EQ(open(tga({2, 65535, 65535, 24}, Bytes(200))).error().fault, Fault::too_large);
    for (const Head& h : {Head{.type = 0}, Head{.type = 33}, Head{.width = 0}, Head{.depth = 17},
                          Head{.descriptor = 0xE0}, Head{.type = 1, .depth = 8}}) {
        EXPECT_EQ(open(tga(h, Bytes(50))).error().fault, Fault::unknown_format);
    }
    const auto cut = open(tga({2, 1, 3, 24, 0}, {0, 0, 255, 0, 0, 255}));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->rows_shown, 2);
    EXPECT_EQ(pixels_of(cut->bitmap), (std::vector<Rgba>{kBlack, kRed, kRed}))
        << "the last stored row is the top one";
}

TEST(Targa, WrittenFilesReadBackTheSame) {
    for (const int bits : {8, 16, 24, 32}) {
        for (const bool coloured : {false, true}) {
            Bitmap bitmap = *Bitmap::create(13, 7, bits, {});
            for (int y = 0; y < 7; ++y) {
                std::uint8_t v = static_cast<std::uint8_t>(y * 41);
                for (auto& byte : bitmap.writable_row(y)) {
                    v += 29;
                    byte = bits == 16 ? static_cast<std::uint8_t>((v & 0xF8) | v >> 5) : v;
                }
            }
            if (bits == 8 && coloured) bitmap.set_palette({kRed, kBlue, {1, 2, 3, 4}});
            MemoryWriter out;
            SaveOptions options;
            options.format_code = 4, options.bits = bits;
            ASSERT_TRUE(save(bitmap, out, options));
            const auto back = open(out.bytes());
            ASSERT_TRUE(back);
            EXPECT_EQ(back->bitmap.bits(), bits);
            for (int y = 0; y < 7; ++y) {
                for (int x = 0; x < 13; ++x) {
                    const bool outside =
                        bits == 8 && coloured && bitmap.row(y)[static_cast<std::size_t>(x)] > 2;
                    if (!outside) {
                        ASSERT_EQ(back->bitmap.pixel(x, y), bitmap.pixel(x, y)) << bits;
                    }
                }
            }
        }
    }
}

}  // namespace
}  // namespace quillmark::imaging
