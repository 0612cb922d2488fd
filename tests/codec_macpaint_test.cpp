// MacPaint: where the picture begins, packets, damage, and what is written.
#include <gtest/gtest.h>

#include <algorithm>

#include "imaging/load.h"
#include "imaging/save.h"
#include "support/fixtures.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255};
constexpr int kRows = 720;

void append(Bytes& to, const Bytes& more) { to.insert(to.end(), more.begin(), more.end()); }

// Row y holds the byte y in each of its places.
Bytes rows(int count) {
    Bytes packed;
    for (int y = 0; y < count; ++y) append(packed, {257 - 72, static_cast<std::uint8_t>(y)});
    return packed;
}

Bytes bare(const Bytes& packed) {
    Bytes file(512);
    file[3] = 2;
    for (std::size_t i = 4; i < 308; ++i) file[i] = static_cast<std::uint8_t>(i * 3);
    append(file, packed);
    return file;
}

Bytes wrapped(const Bytes& fork) {
    Bytes file(128);
    file[1] = 1, file[2] = 'p';
    const std::string_view type = "PNTGMPNT";
    std::copy(type.begin(), type.end(), file.begin() + 65);
    file[85] = static_cast<std::uint8_t>(fork.size() >> 8), file[86] = static_cast<std::uint8_t>(fork.size());
    append(file, fork);
    return file;
}

Result<Outcome> open(const Bytes& bytes, std::string_view name = "x.mac") {
    RowSink sink;
    return load(memory_source(bytes), name, {}, sink);
}

void expect_numbered_rows(const Result<Outcome>& outcome, const char* name) {
    ASSERT_TRUE(outcome) << name << ": " << outcome.error().where.text();
    const Bitmap& bitmap = outcome->bitmap;
    ASSERT_EQ(bitmap.width(), 576) << name;
    ASSERT_EQ(bitmap.height(), kRows) << name;
    EXPECT_EQ(outcome->rows_shown, kRows) << name;
    for (int y = 0; y < kRows; ++y) {
        ASSERT_TRUE(std::ranges::all_of(bitmap.row(y), [&](int byte) { return byte == (y & 255); }))
            << name << ", row " << y;
    }
    EXPECT_EQ(bitmap.pixel(0, 0x80), kBlack) << name;
    EXPECT_EQ(bitmap.pixel(1, 0x80), kWhite) << name;
}

TEST(MacPaint, FindsThePicture) {
    Bytes behind(128, 0x20);
    append(behind, bare(rows(kRows)));
    Bytes zeros(128);
    append(zeros, bare(rows(kRows)));
    expect_numbered_rows(open(bare(rows(kRows))), "bare");
    expect_numbered_rows(open(bare(rows(kRows)), "unnamed"), "without an extension");
    expect_numbered_rows(open(wrapped(bare(rows(kRows))), "x.bin"), "wrapped");
    expect_numbered_rows(open(behind), "behind 128 other bytes");
    expect_numbered_rows(open(zeros), "behind 128 zeros");
    EXPECT_FALSE(open(Bytes(8192))) << "zeros are no picture";
    EXPECT_FALSE(open(bare({})));
}

TEST(MacPaint, TheForkEndsThePicture) {
    Bytes file = wrapped(bare(rows(100)));
    append(file, rows(700));
    const auto outcome = open(file);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->rows_shown, 100);
    EXPECT_EQ(outcome->bitmap.pixel(0, 719), kWhite);
}

TEST(MacPaint, UnpacksWhateverWritersPack) {
    struct Case {
        const char* name;
        Bytes first;  // stands for the first two rows, all 0
    };
    const std::vector<Case> cases{
        {"plain bytes and runs", {257 - 70, 0, 1, 0, 0, 257 - 72, 0}},
        {"control byte 128 is nothing", {0x80, 257 - 72, 0, 0x80, 257 - 72, 0}},
        {"control byte 128 is a run of 129", {257 - 15, 0, 0x80, 0}},
        {"packets across rows", {257 - 128, 0, 257 - 16, 0}},
    };
    const Bytes all = rows(kRows);
    for (const Case& c : cases) {
        Bytes packed = c.first;
        packed.insert(packed.end(), all.begin() + 4, all.end());
        const auto outcome = open(bare(packed));
        ASSERT_TRUE(outcome) << c.name << ": " << outcome.error().where.text();
        EXPECT_EQ(outcome->rows_shown, kRows) << c.name;
        for (int y = 0; y < kRows; ++y) {
            const int want = y < 2 ? 0 : y & 255;
            ASSERT_TRUE(std::ranges::all_of(outcome->bitmap.row(y), [&](int byte) { return byte == want; }))
                << c.name << ", row " << y;
        }
    }
}

TEST(MacPaint, WhatIsMissingIsWhite) {
    Bytes packed = rows(300);
    append(packed, {5, 1, 2});
    const auto outcome = open(bare(packed));
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->rows_shown, 301);
    EXPECT_EQ(outcome->rows_declared, kRows);
    EXPECT_EQ(outcome->bitmap.row(300)[1], 2);
    EXPECT_EQ(outcome->bitmap.row(300)[2], 0);
    EXPECT_EQ(outcome->bitmap.pixel(575, 719), kWhite);
}

Bytes written(const Bitmap& bitmap) {
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 51;
    EXPECT_TRUE(save(bitmap, out, options));
    return out.bytes();
}

TEST(MacPaint, WritesAPageAtTheTopLeft) {
    for (const int width : {1, 7, 8, 37, 575, 576}) {
        const Bitmap bitmap = tests::pattern(width, width < 100 ? 23 : kRows, 1);
        const Bytes file = written(bitmap);
        const auto back = open(file);
        ASSERT_TRUE(back) << width;
        EXPECT_EQ(back->rows_shown, kRows);
        for (int y = 0; y < kRows; ++y) {
            for (int x = 0; x < 576; ++x) {
                const bool inside = x < bitmap.width() && y < bitmap.height();
                ASSERT_EQ(back->bitmap.pixel(x, y), inside ? bitmap.pixel(x, y) : kWhite) << width;
            }
        }
    }
}

// A checksum behind its bytes leaves no remainder; divided bit by bit here.
unsigned remainder(std::span<const std::uint8_t> bytes) {
    unsigned rest = 0;
    for (std::size_t bit = 0; bit < bytes.size() * 8 + 16; ++bit) {
        const unsigned next = bit / 8 < bytes.size() ? bytes[bit / 8] >> (7 - bit % 8) & 1U : 0;
        const bool out = (rest & 0x8000) != 0;
        rest = (rest << 1 | next) & 0xFFFF;
        if (out) rest ^= 0x1021;
    }
    return rest;
}

TEST(MacPaint, WritesAValidWrapper) {
    const Bytes file = written(tests::pattern(100, 100, 1));
    ASSERT_GT(file.size(), 640U);
    EXPECT_EQ(file.size() % 128, 0U);
    EXPECT_EQ(remainder(std::span{file}.first(126)), 0U);
    EXPECT_NE(remainder(std::span{file}.first(124)), 0U);
    const std::size_t fork = static_cast<std::size_t>(file[85]) << 8 | file[86];
    EXPECT_LE(128 + fork, file.size());
    EXPECT_GT(128 + fork + 128, file.size());
}

TEST(MacPaint, ReducesWhatDoesNotFit) {
    Bitmap bitmap = *Bitmap::create(1152, 720, 1, {});
    for (int y = 0; y < 720; ++y) std::ranges::fill(bitmap.writable_row(y).subspan(72), std::uint8_t{0xFF});
    const auto back = open(written(bitmap));
    ASSERT_TRUE(back);
    int black = 0;
    for (int y = 0; y < kRows; ++y) {
        for (int x = 0; x < 576; ++x) {
            const bool is_black = back->bitmap.pixel(x, y) == kBlack;
            black += is_black;
            EXPECT_TRUE(!is_black || (x < 288 && y < 360)) << x << ", " << y;
        }
    }
    EXPECT_EQ(black, 288 * 360);
}

TEST(MacPaint, ReducedPicturesKeepTheirInk) {
    constexpr Rgba kRed{255, 0, 0, 255}, kYellow{255, 255, 0, 255};
    const std::vector<std::pair<Palette, bool>> cases{{{kBlack, kWhite}, true},
                                                      {{kWhite, kBlack}, false},
                                                      {{kRed, kYellow}, true},
                                                      {{kYellow, kRed}, false}};
    for (const auto& [palette, first_is_ink] : cases) {
        Bitmap bitmap = *Bitmap::create(577, 721, 1, {});  // the first colour above, the second below
        bitmap.set_palette(palette);
        for (int y = 600; y < 721; ++y) std::ranges::fill(bitmap.writable_row(y), std::uint8_t{0xFF});
        const auto back = open(written(bitmap));
        ASSERT_TRUE(back);
        EXPECT_EQ(back->bitmap.pixel(10, 10) == kBlack, first_is_ink);
        EXPECT_EQ(back->bitmap.pixel(10, 700) == kBlack, !first_is_ink);
    }
    Bitmap blank = *Bitmap::create(2000, 2000, 1, {});
    EXPECT_EQ(open(written(blank))->bitmap.pixel(100, 100), kBlack);
    blank.set_palette({kWhite, kBlack});
    EXPECT_EQ(open(written(blank))->bitmap.pixel(100, 100), kWhite);
}

}  // namespace
}  // namespace quillmark::imaging
