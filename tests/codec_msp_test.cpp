// Microsoft Paint: both versions, damage, and what is written.
#include <gtest/gtest.h>

#include <algorithm>

#include "imaging/load.h"
#include "imaging/save.h"
#include "support/fixtures.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255};

Bytes msp(int version, int width, int height, const Bytes& rest) {
    Bytes file(32 + rest.size());
    std::ranges::copy(rest, file.begin() + 32);
    const std::string_view magic = version == 1 ? "DanM" : "LinS";
    std::copy(magic.begin(), magic.end(), file.begin());
    const auto put = [&](std::size_t word, int value) {
        file[word * 2] = static_cast<std::uint8_t>(value);
        file[word * 2 + 1] = static_cast<std::uint8_t>(value >> 8);
    };
    put(2, width);
    put(3, height);
    int sum = 0;
    for (std::size_t i = 0; i < 32; i += 2) sum ^= file[i] | file[i + 1] << 8;
    put(12, sum);
    return file;
}

Result<Outcome> open(const Bytes& bytes) {
    RowSink sink;
    return load(memory_source(bytes), "x.msp", {}, sink);
}

// One text per image: a row is '#' for black and '.' for white, rows end with '/'.
std::string drawing(const Bitmap& bitmap) {
    std::string text;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) text += bitmap.pixel(x, y) == kBlack ? '#' : '.';
        text += '/';
    }
    return text;
}

TEST(Msp, ReadsBothVersions) {
    struct Case {
        const char* name;
        Bytes file;
        std::string want;
        std::vector<std::string> warnings;
    };
    Bytes wrong_sum = msp(1, 4, 1, {0x50});
    wrong_sum[24] ^= 1;
    const std::vector<Case> cases{
        {"version 1: 1 is white", msp(1, 10, 2, {0x0F, 0x40, 0xFF, 0x80}), "####....#./.........#/", {}},
        {"a wrong sum", wrong_sum, "#.#./", {"checksum"}},
        {"a run", msp(2, 17, 1, {3, 0, 0, 3, 0xFE}), ".......#.......#./", {}},
        {"plain bytes", msp(2, 16, 1, {3, 0, 2, 0xF0, 0x0F}), "....########..../", {}},
        {"runs and plain bytes", msp(2, 24, 1, {5, 0, 0, 2, 0, 1, 0xFF}), "################......../", {}},
        {"a run of none", msp(2, 8, 1, {5, 0, 0, 0, 7, 1, 0x7F}), "#......./", {}},
        {"no data is white",
         msp(2, 8, 3, {2, 0, 0, 0, 2, 0, 1, 0, 1, 0xFE}),
         "########/......../.......#/",
         {}},
        {"a short row",
         msp(2, 16, 2, {2, 0, 2, 0, 1, 0, 1, 0}),
         "########......../########......../",
         {"row lengths"}},
        {"a long row", msp(2, 8, 2, {3, 0, 2, 0, 0, 2, 0, 1, 0xFE}), "########/.......#/", {"row lengths"}},
    };
    for (const Case& c : cases) {
        const auto outcome = open(c.file);
        ASSERT_TRUE(outcome) << c.name << ": " << outcome.error().where.text();
        EXPECT_EQ(drawing(outcome->bitmap), c.want) << c.name;
        EXPECT_EQ(outcome->rows_shown, outcome->rows_declared) << c.name;
        std::vector<std::string> warnings;
        for (const Place& warning : outcome->warnings) warnings.emplace_back(warning.text());
        EXPECT_EQ(warnings, c.warnings) << c.name;
    }
}

TEST(Msp, WhatIsMissingIsWhite) {
    const auto plain = open(msp(1, 16, 4, {0, 0, 0}));
    ASSERT_TRUE(plain);
    EXPECT_EQ(drawing(plain->bitmap), "################/########......../................/................/");
    EXPECT_EQ(plain->rows_shown, 2);
    const auto packed = open(msp(2, 16, 3, {3, 0, 3, 0, 3, 0, 0, 2, 0, 2, 0}));
    ASSERT_TRUE(packed);
    EXPECT_EQ(drawing(packed->bitmap), "################/########......../................/");
    EXPECT_EQ(packed->rows_shown, 2);
    EXPECT_EQ(packed->rows_declared, 3);
    EXPECT_EQ(open(msp(2, 16, 3, {3, 0, 3, 0})).error().fault, Fault::truncated);
    EXPECT_EQ(open(msp(1, 16, 3, {0})).error().fault, Fault::truncated);
    EXPECT_EQ(open(msp(1, 0, 3, {0})).error().fault, Fault::malformed);
}

Bytes written(const Bitmap& bitmap) {
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 53;
    EXPECT_TRUE(save(bitmap, out, options));
    return out.bytes();
}

TEST(Msp, WritesKnownBytes) {
    Bitmap bitmap = *Bitmap::create(24, 2, 1, {});
    bitmap.writable_row(0)[1] = 0x81;
    const Bytes got = written(bitmap), want = msp(2, 24, 2, {4, 0, 3, 0, 3, 0, 0x81, 0, 0, 3, 0});
    ASSERT_EQ(got.size(), want.size());
    EXPECT_TRUE(std::equal(got.begin(), got.begin() + 8, want.begin()));
    EXPECT_TRUE(std::equal(got.begin() + 28, got.end(), want.begin() + 28));
    int sum = 0;
    for (std::size_t i = 0; i < 32; i += 2) sum ^= got[i] | got[i + 1] << 8;
    EXPECT_EQ(sum, 0);
}

TEST(Msp, WrittenFilesReadBackTheSame) {
    for (const int width : {1, 7, 8, 17, 100, 2100, 17000}) {
        const Bitmap bitmap = tests::pattern(width, 23, 1);
        const auto back = open(written(bitmap));
        ASSERT_TRUE(back) << width;
        EXPECT_TRUE(back->warnings.empty()) << width;
        EXPECT_EQ(drawing(back->bitmap), drawing(bitmap)) << width;
    }
}

TEST(Msp, TheDarkerColourIsBlack) {
    constexpr Rgba kRed{255, 0, 0, 255}, kYellow{255, 255, 0, 255};
    Bitmap bitmap = *Bitmap::create(2, 1, 1, {});
    bitmap.writable_row(0)[0] = 0x40;
    const auto shown = [&](const Palette& palette) {
        bitmap.set_palette(palette);
        return drawing(open(written(bitmap))->bitmap);
    };
    EXPECT_EQ(shown({kRed, kYellow}), "#./");
    EXPECT_EQ(shown({kYellow, kRed}), ".#/");
    EXPECT_EQ(shown({kYellow, kYellow}), "../");
    EXPECT_EQ(shown({kRed, kRed}), "##/");
}

}  // namespace
}  // namespace quillmark::imaging
