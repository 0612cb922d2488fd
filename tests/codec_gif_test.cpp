#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>

#include "imaging/load.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Straightforward LZW, to decode against. late_clear: the full table stays in use instead of being cleared.
Bytes lzw_encode(const Bytes& indices, int min_size, bool late_clear = false) {
    Bytes packed;
    std::uint32_t held = 0;
    int have = 0;
    const auto emit = [&](std::uint32_t code, int width) {
        held |= code << have;
        for (have += width; have >= 8; have -= 8, held >>= 8)
            packed.push_back(static_cast<std::uint8_t>(held));
    };
    const std::uint32_t clear = 1u << min_size;
    std::map<std::string, std::uint32_t> table;
    int width = 0;
    std::uint32_t next = 0;
    const auto reset = [&] {
        emit(clear, width ? width : min_size + 1);
        table.clear();
        for (std::uint32_t i = 0; i < clear; ++i) table[std::string(1, static_cast<char>(i))] = i;
        width = min_size + 1;
        next = clear + 2;
    };
    reset();
    std::string string;
    for (const std::uint8_t index : indices) {
        const std::string longer = string + static_cast<char>(index);
        if (table.contains(longer)) {
            string = longer;
            continue;
        }
        emit(table[string], width);
        if (next < 4096) {
            if (next == 1u << width && width < 12) ++width;
            table[longer] = next++;
        } else if (!late_clear) {
            reset();
        }
        string.assign(1, static_cast<char>(index));
    }
    emit(table[string], width);
    if (next == 1u << width && width < 12) ++width;
    emit(clear + 1, width);
    if (have > 0) packed.push_back(static_cast<std::uint8_t>(held));
    Bytes blocks{static_cast<std::uint8_t>(min_size)};
    for (std::size_t at = 0; at < packed.size(); at += 255) {
        const std::size_t size = std::min<std::size_t>(255, packed.size() - at);
        blocks.push_back(static_cast<std::uint8_t>(size));
        blocks.insert(blocks.end(), packed.begin() + static_cast<std::ptrdiff_t>(at),
                      packed.begin() + static_cast<std::ptrdiff_t>(at + size));
    }
    blocks.push_back(0);
    return blocks;
}

class GifBuilder {
  public:
    GifBuilder(int width, int height, int table_bits) {
        for (const char c : std::string{"GIF89a"}) bytes.push_back(static_cast<std::uint8_t>(c));
        word(width), word(height);
        bytes.push_back(static_cast<std::uint8_t>(table_bits ? 0x80 | (table_bits - 1) : 0));
        bytes.insert(bytes.end(), {0, 0});
        table(table_bits, 0);
    }
    GifBuilder& control(int disposal, int transparent) {
        bytes.insert(bytes.end(),
                     {0x21, 0xF9, 4, static_cast<std::uint8_t>(disposal << 2 | (transparent >= 0)), 0, 0,
                      static_cast<std::uint8_t>(std::max(transparent, 0)), 0});
        return *this;
    }
    GifBuilder& frame(int left, int top, int width, int height, const Bytes& indices, int min_size,
                      int flags = 0, bool late_clear = false) {
        bytes.push_back(0x2C);
        word(left), word(top), word(width), word(height);
        bytes.push_back(static_cast<std::uint8_t>(flags));
        if (flags & 0x80) table((flags & 7) + 1, 100);
        const Bytes data = lzw_encode(indices, min_size, late_clear);
        bytes.insert(bytes.end(), data.begin(), data.end());
        return *this;
    }
    GifBuilder& end() {
        bytes.push_back(0x3B);
        return *this;
    }
    Bytes bytes;

  private:
    void word(int value) {
        bytes.insert(bytes.end(), {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8)});
    }
    // Entry i is (i, i + 1, i + 2) plus base.
    void table(int bits, int base) {
        for (int i = 0; bits > 0 && i < 1 << bits; ++i) {
            for (int c = 0; c < 3; ++c) bytes.push_back(static_cast<std::uint8_t>(base + i + c));
        }
    }
};

Result<Outcome> decode(const Bytes& bytes, int page = 1) {
    RowSink sink;
    LoadOptions options;
    options.page = page;
    return load(memory_source(std::span{bytes}), "a.gif", options, sink);
}

ImageInfo info_of(const Bytes& bytes, int page = 1) {
    ReadOptions options;
    options.page = page;
    const auto info = read_info(memory_source(std::span{bytes}), "a.gif", options);
    return info ? *info : ImageInfo{};
}

Rgba entry(int index, int base = 0) {
    const auto level = [&](int c) { return static_cast<std::uint8_t>(base + index + c); };
    return {level(0), level(1), level(2), 255};
}

struct LzwCase {
    const char* name;
    int bits, width, height, spread;  // spread: how many different indices; 1 gives the longest strings
    bool late_clear;
};

class GifLzw : public testing::TestWithParam<LzwCase> {};

TEST_P(GifLzw, GivesBackWhatWasEncoded) {
    const LzwCase& c = GetParam();
    std::mt19937 random{7};
    Bytes indices(static_cast<std::size_t>(c.width) * static_cast<std::size_t>(c.height));
    for (auto& index : indices) index = static_cast<std::uint8_t>(random() % static_cast<unsigned>(c.spread));
    const Bytes file = GifBuilder{c.width, c.height, c.bits}
                           .frame(0, 0, c.width, c.height, indices, std::max(c.bits, 2), 0, c.late_clear)
                           .end()
                           .bytes;
    const auto outcome = decode(file);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.bits(), c.bits);
    EXPECT_EQ(info_of(file).bits, c.bits);
    EXPECT_EQ(outcome->rows_shown, c.height);
    EXPECT_TRUE(outcome->warnings.empty());
    for (int y = 0; y < c.height; ++y) {
        for (int x = 0; x < c.width; ++x) {
            ASSERT_EQ(outcome->bitmap.pixel(x, y), entry(indices[static_cast<std::size_t>(y * c.width + x)]))
                << x << ' ' << y;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Pictures, GifLzw,
                         testing::Values(LzwCase{"one_pixel", 1, 1, 1, 2, false},
                                         LzwCase{"packed", 1, 37, 41, 2, false},
                                         LzwCase{"seven_bits", 7, 61, 33, 128, false},
                                         LzwCase{"noise", 8, 300, 200, 256, false},
                                         LzwCase{"late_clear", 8, 300, 200, 256, true},
                                         LzwCase{"long_strings", 8, 300, 200, 1, false},
                                         LzwCase{"runs_and_late_clear", 4, 300, 300, 3, true},
                                         LzwCase{"few_colours", 2, 300, 300, 3, false}),
                         [](const auto& tested) { return tested.param.name; });

TEST(Gif, InterlacedRowsComeToTheirPlaces) {
    constexpr std::array<std::uint8_t, 11> kOrder{0, 8, 4, 2, 6, 10, 1, 3, 5, 7, 9};
    const auto outcome = decode(
        GifBuilder{1, 11, 4}.frame(0, 0, 1, 11, Bytes(kOrder.begin(), kOrder.end()), 4, 0x40).end().bytes);
    ASSERT_TRUE(outcome);
    for (int y = 0; y < 11; ++y) EXPECT_EQ(outcome->bitmap.pixel(0, y), entry(y));
}

TEST(Gif, TransparencyOfOneFrameStaysInThePalette) {
    const auto outcome = decode(GifBuilder{3, 1, 2}.control(0, 2).frame(1, 0, 2, 1, {1, 2}, 2).end().bytes);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.layout(), Layout::index8);
    EXPECT_EQ(outcome->bitmap.pixel(0, 0).a, 0);  // the frame does not reach it
    EXPECT_EQ(outcome->bitmap.pixel(1, 0), entry(1));
    EXPECT_EQ(outcome->bitmap.pixel(2, 0).a, 0);
}

TEST(Gif, PageIsTheScreenAfterItsFrame) {
    GifBuilder gif{4, 1, 2};
    gif.control(0, -1).frame(0, 0, 4, 1, {0, 1, 2, 3}, 2);  // 1: kept
    gif.control(3, -1).frame(0, 0, 2, 1, {3, 3}, 2);        // 2: taken back
    gif.control(2, 1).frame(1, 0, 2, 1, {1, 0}, 2, 0);      // 3: leaves a hole
    gif.control(0, -1).frame(3, 0, 1, 1, {0}, 2, 0x80);     // 4: a table of its own
    gif.end();
    const Rgba none{0, 0, 0, 0};
    const std::vector<std::vector<Rgba>> expected = {
        {entry(0), entry(1), entry(2), entry(3)},
        {entry(3), entry(3), entry(2), entry(3)},
        {entry(0), entry(1), entry(0), entry(3)},
        {entry(0), none, none, entry(0, 100)},
    };
    for (int page = 1; page <= 4; ++page) {
        const auto outcome = decode(gif.bytes, page);
        ASSERT_TRUE(outcome);
        const ImageInfo info = info_of(gif.bytes, page);
        EXPECT_EQ(info.pages, 4);
        EXPECT_EQ(info.page, page);
        EXPECT_EQ(info.bits, outcome->bitmap.bits());
        EXPECT_EQ(outcome->bitmap.bits(), page < 4 ? 2 : 32);
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(outcome->bitmap.pixel(x, 0),
                      expected[static_cast<std::size_t>(page - 1)][static_cast<std::size_t>(x)])
                << page << ' ' << x;
    }
    EXPECT_EQ(info_of(gif.bytes, 32000).page, 4);
}

TEST(Gif, IndexBeyondTheTableIsItsFirstColour) {
    const auto outcome = decode(GifBuilder{2, 1, 2}.frame(0, 0, 2, 1, {200, 3}, 8).end().bytes);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.row(0)[0], 0);
    EXPECT_EQ(outcome->bitmap.row(0)[1], 3);
}

TEST(Gif, ScreenGrowsToHoldTheFirstFrame) {
    const auto outcome = decode(GifBuilder{0, 0, 2}.frame(0, 0, 2, 2, {0, 1, 2, 3}, 2).end().bytes);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.width(), 2);
    EXPECT_EQ(outcome->bitmap.height(), 2);
}

TEST(Gif, CutFileShowsTheRowsItHas) {
    Bytes indices(100 * 100);
    std::mt19937 random{3};
    for (auto& index : indices) index = static_cast<std::uint8_t>(random());
    Bytes file = GifBuilder{100, 100, 8}.frame(0, 0, 100, 100, indices, 8).end().bytes;
    file.resize(file.size() / 2);
    const auto outcome = decode(file);
    ASSERT_TRUE(outcome);
    EXPECT_GT(outcome->rows_shown, 30);
    EXPECT_LT(outcome->rows_shown, 60);
    EXPECT_FALSE(outcome->warnings.empty());
    EXPECT_EQ(outcome->bitmap.pixel(50, 20), entry(indices[2050]));
    EXPECT_EQ(outcome->bitmap.row(99)[50], 0);
}

TEST(Gif, RefusesWhatCannotBeShown) {
    const Bytes huge = GifBuilder{20'000, 20'000, 8}.frame(0, 0, 20'000, 20'000, {1, 2, 3}, 8).end().bytes;
    const Bytes too_large = GifBuilder{65'535, 65'535, 8}.frame(0, 0, 65'535, 65'535, {1}, 8).end().bytes;
    const Bytes no_frame = GifBuilder{5, 5, 8}.end().bytes;
    Bytes bad_size = GifBuilder{1, 1, 0}.frame(0, 0, 1, 1, {0}, 2).end().bytes;
    bad_size[13 + 10] = 12;
    const auto fault_of = [](const Bytes& bytes) {
        const auto outcome = decode(bytes);
        return outcome ? std::string{"none"} : std::string{fault_name(outcome.error().fault)};
    };
    EXPECT_EQ(fault_of(huge), fault_name(Fault::truncated));
    EXPECT_EQ(fault_of(too_large), fault_name(Fault::too_large));
    EXPECT_EQ(fault_of(no_frame), fault_name(Fault::truncated));
    EXPECT_EQ(fault_of(bad_size), fault_name(Fault::malformed));
}

}  // namespace
}  // namespace quillmark::imaging
