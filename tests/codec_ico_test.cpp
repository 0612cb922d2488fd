// Icons and cursors: page order, masks, and directories that lie.
#include <gtest/gtest.h>

#include "imaging/load.h"

namespace quillmark::tests {
namespace {

using namespace imaging;
using Bytes = std::vector<std::uint8_t>;

Bytes dib(int width, int height_field, std::uint32_t bits, const Bytes& colours, const Bytes& rows) {
    MemoryWriter out;
    out.u32le(40);
    out.u32le(static_cast<std::uint32_t>(width));
    out.u32le(static_cast<std::uint32_t>(height_field));
    out.u16le(1);
    out.u16le(bits);
    out.zeros(16);
    out.u32le(static_cast<std::uint32_t>(colours.size() / 4));
    out.u32le(0);
    out.write(colours);
    out.write(rows);
    return out.bytes();
}

struct Image {
    int width, height;  // as listed
    Bytes data;
    std::uint32_t size = 0;  // 0: the true one
};

Bytes icon(std::uint32_t type, const std::vector<Image>& images) {
    MemoryWriter out;
    out.u16le(0);
    out.u16le(type);
    out.u16le(static_cast<std::uint32_t>(images.size()));
    auto at = static_cast<std::uint32_t>(6 + 16 * images.size());
    for (const Image& image : images) {
        out.u8(image.width);
        out.u8(image.height);
        out.u16le(0);
        out.u16le(3);  // hot spot of cursors
        out.u16le(4);
        out.u32le(image.size ? image.size : static_cast<std::uint32_t>(image.data.size()));
        out.u32le(at);
        at += static_cast<std::uint32_t>(image.data.size());
    }
    for (const Image& image : images) out.write(image.data);
    return out.bytes();
}

Result<Outcome> open(const Bytes& bytes, int page = 1) {
    RowSink sink;
    LoadOptions options;
    options.page = page;
    const auto source = memory_source(std::span{bytes});
    auto outcome = load(source, "a", options, sink);
    const auto info = read_info(source, "a", options);
    if (outcome && info) {
        EXPECT_EQ(info->bits, outcome->bitmap.bits());
        EXPECT_EQ(info->height, outcome->bitmap.height());
        EXPECT_EQ(info->format_code, outcome->format_code);
    }
    return outcome;
}

const Bytes kColours = {0, 0, 0, 0, 0, 0, 255, 0, 255, 255, 255, 0, 0, 255, 0, 0};  // black red white green

// 2 x 2, 8 bits: red green over white black; then a mask.
Bytes indexed(const Bytes& mask) {
    Bytes rows = {2, 0, 0, 0, 1, 3, 0, 0};
    rows.insert(rows.end(), mask.begin(), mask.end());
    return dib(2, 4, 8, kColours, rows);
}

Bytes solid(int side, std::uint32_t bits) {
    const auto row = (static_cast<std::size_t>(side) * bits + 31) / 32 * 4;
    Bytes rows(row * static_cast<std::size_t>(side), 0xFF);
    rows.resize(rows.size() + 4 * static_cast<std::size_t>(side));
    return dib(side, 2 * side, bits, bits <= 8 ? kColours : Bytes{}, rows);
}

TEST(Ico, largest_and_deepest_comes_first) {
    const Bytes file = icon(
        1, {{8, 8, solid(8, 24)}, {16, 16, solid(16, 8)}, {16, 16, solid(16, 24)}, {4, 4, solid(4, 24)}});
    const int expected[] = {16 * 100 + 24, 8 * 100 + 24, 16 * 100 + 8, 4 * 100 + 24};
    for (int page = 1; page <= 4; ++page) {
        const auto outcome = open(file, page);
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->bitmap.width() * 100 + outcome->bitmap.bits(), expected[page - 1])
            << "page " << page;
    }
    ReadOptions last;
    last.page = 32'000;
    const auto info = read_info(memory_source(std::span{file}), "a", last);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->pages, 4);
    EXPECT_EQ(info->page, 4);
    EXPECT_EQ(info->width, 4);
}

TEST(Ico, masks) {
    const struct {
        const char* name;
        Bytes mask;  // bottom row first
        int bits;
        int clear_pixels;
    } cases[] = {
        {"nothing masked", {0, 0, 0, 0, 0, 0, 0, 0}, 8, 0},
        {"an index of its own", {0, 0, 0, 0, 0x40, 0, 0, 0}, 8, 1},
        {"missing", {}, 8, 0},
        {"only the lower row is there", {0x80, 0, 0, 0}, 8, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto outcome = open(icon(1, {{2, 2, indexed(c.mask)}}));
        ASSERT_TRUE(outcome) << outcome.error().where.text();
        EXPECT_EQ(outcome->bitmap.bits(), c.bits);
        int clear = 0;
        for (int i = 0; i < 4; ++i) clear += outcome->bitmap.pixel(i % 2, i / 2).a == 0;
        EXPECT_EQ(clear, c.clear_pixels);
        EXPECT_EQ(outcome->bitmap.pixel(0, 0), (Rgba{255, 0, 0}));
    }
    // Black is both masked and visible: the palette cannot tell.
    const Bytes shared = dib(2, 2, 1, {0, 0, 0, 0, 255, 255, 255, 0}, {0, 0, 0, 0, 0x40, 0, 0, 0});
    const auto outcome = open(icon(2, {{2, 1, shared}}));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->format_code, 92);
    EXPECT_EQ(outcome->bitmap.bits(), 32);
    EXPECT_EQ(outcome->bitmap.pixel(0, 0), (Rgba{0, 0, 0, 255}));
    EXPECT_EQ(outcome->bitmap.pixel(1, 0).a, 0);
    EXPECT_EQ(outcome->bitmap.metadata().hot_spot_x, 3);
    EXPECT_EQ(outcome->bitmap.metadata().hot_spot_y, 4);
}

TEST(Ico, alpha_wins_over_the_mask_unless_it_is_empty) {
    for (const std::uint8_t alpha : {std::uint8_t{128}, std::uint8_t{0}}) {
        const Bytes image = dib(1, 2, 32, {}, {1, 2, 3, alpha, 0x80, 0, 0, 0});
        const Bytes open_image = dib(1, 2, 32, {}, {1, 2, 3, alpha, 0, 0, 0, 0});
        const auto masked = open(icon(1, {{1, 1, image}})), opaque = open(icon(1, {{1, 1, open_image}}));
        ASSERT_TRUE(masked && opaque);
        EXPECT_EQ(opaque->bitmap.pixel(0, 0), (Rgba{3, 2, 1, alpha == 0 ? std::uint8_t{255} : alpha}));
        EXPECT_EQ(masked->bitmap.pixel(0, 0).a, 128)
            << "a picture that only inverts the screen shows at half strength";
    }
}

TEST(Ico, directories_that_lie) {
    const Bytes good = indexed({0, 0, 0, 0, 0x40, 0, 0, 0});
    Bytes bad = good;
    bad[14] = 77;  // bits per pixel
    const auto skipped = open(icon(1, {{2, 2, bad}, {2, 2, good}}));
    ASSERT_TRUE(skipped);
    EXPECT_EQ(skipped->bitmap.bits(), 8);
    EXPECT_FALSE(open(icon(1, {{2, 2, bad}})));

    const auto small_size = open(icon(1, {{99, 1, good, 8}}));
    ASSERT_TRUE(small_size) << "geometry and size come from the image";
    EXPECT_EQ(small_size->bitmap.pixel(1, 0).a, 0);

    const auto single = open(icon(1, {{2, 2, dib(2, 2, 8, kColours, {2, 0, 0, 0, 1, 3, 0, 0})}}));
    ASSERT_TRUE(single) << "height of the picture alone";
    EXPECT_EQ(single->bitmap.height(), 2);

    const auto cut = open(icon(1, {{4, 2, dib(4, 4, 8, kColours, {2, 0, 0, 0})}}));
    ASSERT_TRUE(cut);
    EXPECT_EQ(cut->rows_shown, 1);
    EXPECT_EQ(cut->rows_declared, 2);
}

}  // namespace
}  // namespace quillmark::tests
