#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>

#include "imaging/load.h"
#include "imaging/save.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A TIFF file of one or more directories, written by hand. Values are SHORT or LONG by their tag.
class TiffBuilder {
  public:
    using Tags = std::map<int, std::vector<std::uint32_t>>;

    explicit TiffBuilder(bool big_endian = false) : big_endian_{big_endian} {
        bytes = big_endian ? Bytes{'M', 'M', 0, 42} : Bytes{'I', 'I', 42, 0};
        put32(0);
    }
    std::uint32_t data(const Bytes& block) {
        const auto at = static_cast<std::uint32_t>(bytes.size());
        bytes.insert(bytes.end(), block.begin(), block.end());
        if (bytes.size() % 2) bytes.push_back(0);
        return at;
    }
    std::uint32_t rational(std::uint32_t numerator, std::uint32_t denominator) {
        const auto at = static_cast<std::uint32_t>(bytes.size());
        put32(numerator), put32(denominator);
        return at;
    }
    /// Appends a directory and links it to the one before; returns its place.
    std::uint32_t directory(const Tags& tags, bool linked = true) {
        std::map<int, std::uint32_t> places;
        for (const auto& [tag, values] : tags) {
            if (fits_inline(tag, values.size()) || tag == 282 || tag == 283) continue;
            places[tag] = static_cast<std::uint32_t>(bytes.size());
            for (const std::uint32_t value : values) is_short(tag) ? put16(value) : put32(value);
            if (bytes.size() % 4) put16(0);
        }
        const auto at = static_cast<std::uint32_t>(bytes.size());
        if (linked) patch32(link_, at);
        put16(static_cast<std::uint32_t>(tags.size()));
        for (const auto& [tag, values] : tags) {
            const bool rational_tag = tag == 282 || tag == 283;
            put16(static_cast<std::uint32_t>(tag));
            put16(rational_tag ? 5 : is_short(tag) ? 3 : 4);
            put32(static_cast<std::uint32_t>(values.size()));
            if (places.contains(tag))
                put32(places[tag]);
            else if (is_short(tag))
                put16(values[0]), put16(values.size() > 1 ? values[1] : 0);
            else
                put32(values[0]);
        }
        if (linked) link_ = bytes.size();
        put32(0);
        return at;
    }
    void put16(std::uint32_t v) {
        const auto low = static_cast<std::uint8_t>(v), high = static_cast<std::uint8_t>(v >> 8);
        if (big_endian_)
            bytes.insert(bytes.end(), {high, low});
        else
            bytes.insert(bytes.end(), {low, high});
    }
    void put32(std::uint32_t v) {
        if (big_endian_)
            put16(v >> 16), put16(v);
        else
            put16(v), put16(v >> 16);
    }
    Bytes bytes;

  private:
    static bool fits_inline(int tag, std::size_t count) { return count < 2 || (is_short(tag) && count == 2); }
    static bool is_short(int tag) {
        return tag == 320 || tag == 258 || tag == 338 || tag == 339 || tag == 259 || tag == 262 ||
               tag == 274 || tag == 277 || tag == 284 || tag == 296 || tag == 266;
    }
    void patch32(std::size_t at, std::uint32_t v) {
        const std::size_t end = bytes.size();
        put32(v);
        std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(end), bytes.end(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(at));
        bytes.resize(end);
    }
    bool big_endian_;
    std::size_t link_ = 4;
};

// Tags of an image with one strip or one strip a plane.
TiffBuilder::Tags tags_for(std::uint32_t width, std::uint32_t height, std::uint32_t bits,
                           std::uint32_t samples, std::uint32_t photometric,
                           const std::vector<std::uint32_t>& strips, std::uint32_t strip_bytes) {
    return {{256, {width}},
            {257, {height}},
            {258, std::vector<std::uint32_t>(samples, bits)},
            {259, {1}},
            {262, {photometric}},
            {273, strips},
            {277, {samples}},
            {278, {height}},
            {279, std::vector<std::uint32_t>(strips.size(), strip_bytes)}};
}

Bytes single(std::uint32_t width, std::uint32_t bits, std::uint32_t samples, std::uint32_t photometric,
             const Bytes& row, const TiffBuilder::Tags& more = {}, bool big_endian = false) {
    TiffBuilder tiff{big_endian};
    const std::uint32_t strip = tiff.data(row);
    auto tags =
        tags_for(width, 1, bits, samples, photometric, {strip}, static_cast<std::uint32_t>(row.size()));
    tags.insert(more.begin(), more.end());
    tiff.directory(tags);
    return tiff.bytes;
}

Result<Outcome> decode(const Bytes& bytes, int page = 1) {
    RowSink sink;
    LoadOptions options;
    options.page = page;
    options.apply_orientation = false;
    return load(memory_source(std::span{bytes}), "a.tif", options, sink);
}

Result<ImageInfo> info_of(const Bytes& bytes, int page = 1) {
    ReadOptions options;
    options.page = page;
    options.apply_orientation = false;
    return read_info(memory_source(std::span{bytes}), "a.tif", options);
}

// --- samples
// ---------------------------------------------------------------------------------------------------

struct SampleCase {
    const char* name;
    Bytes file;
    int bits;                          // of the bitmap
    std::vector<std::uint32_t> words;  // gray16: expected samples
    std::vector<Rgba> colors;          // others: expected pixels
};

Rgba gray(int level) {
    const auto v = static_cast<std::uint8_t>(level);
    return {v, v, v, 255};
}

Bytes floats(std::initializer_list<float> values) {
    Bytes bytes(values.size() * 4);
    std::memcpy(bytes.data(), values.begin(), bytes.size());
    return bytes;
}

std::vector<std::uint32_t> color_map(int bits) {  // entry i: (i * 256, i * 512, 0)
    const std::uint32_t count = 1u << bits;
    std::vector<std::uint32_t> map(count * 3, 0);
    for (std::uint32_t i = 0; i < count; ++i) map[i] = i << 8, map[count + i] = i << 9 & 0xFFFF;
    return map;
}

std::vector<SampleCase> sample_cases() {
    return {
        {"black_is_zero", single(3, 1, 1, 1, {0b10100000}), 1, {}, {gray(255), gray(0), gray(255)}},
        {"white_is_zero", single(3, 1, 1, 0, {0b10100000}), 1, {}, {gray(0), gray(255), gray(0)}},
        {"reversed_bits",
         single(3, 1, 1, 1, {0b00000101}, {{266, {2}}}),
         1,
         {},
         {gray(255), gray(0), gray(255)}},
        {"gray_3", single(3, 3, 1, 1, {0b00011101, 0b10000000}), 3, {}, {gray(0), gray(255), gray(109)}},
        {"gray_8_white_is_zero", single(2, 8, 1, 0, {0, 200}), 8, {}, {gray(255), gray(55)}},
        {"gray_10", single(2, 10, 1, 1, {0xFF, 0xC0, 0x10}), 16, {65535, 64}, {}},
        {"gray_12", single(2, 12, 1, 1, {0x12, 0x3F, 0xFF}), 12, {0x123, 0xFFF}, {}},
        {"gray_12_white_is_zero", single(2, 12, 1, 0, {0x12, 0x3F, 0xFF}), 12, {0xEDC, 0}, {}},
        {"gray_16_big_endian",
         single(2, 16, 1, 1, {0x12, 0x34, 0xFF, 0xFE}, {}, true),
         16,
         {0x1234, 0xFFFE},
         {}},
        {"gray_32", single(1, 32, 1, 1, {0, 0, 0x34, 0x12}), 16, {0x1234}, {}},
        {"float_unit_range",
         single(3, 32, 1, 1, floats({0.0f, 0.5f, 1.0f}), {{339, {3}}}),
         16,
         {0, 32768, 65535},
         {}},
        {"float_wide_range",
         single(3, 32, 1, 1, floats({-10.0f, 0.0f, 10.0f}), {{339, {3}}}),
         16,
         {0, 32768, 65535},
         {}},
        {"half_float", single(2, 16, 1, 1, {0x00, 0x38, 0x00, 0x3C}, {{339, {3}}}), 16, {32768, 65535}, {}},
        {"palette_3",
         single(2, 3, 1, 3, {0b01011100}, {{320, color_map(3)}}),
         3,
         {},
         {{2, 4, 0, 255}, {7, 14, 0, 255}}},
        {"palette_12",
         single(2, 12, 1, 3, {0x01, 0x20, 0x05}, {{320, color_map(12)}}),
         24,
         {},
         {{18, 36, 0, 255}, {5, 10, 0, 255}}},
        {"rgb_4", single(1, 4, 3, 2, {0xF0, 0x80}), 24, {}, {{255, 0, 136, 255}}},
        {"rgb_16",
         single(1, 16, 3, 2, {0xFF, 0xFF, 0x80, 0x00, 0x00, 0x80}, {}, false),
         24,
         {},
         {{255, 0, 128, 255}}},
        {"rgb_alpha", single(1, 8, 4, 2, {10, 20, 30, 40}, {{338, {2}}}), 32, {}, {{10, 20, 30, 40}}},
        {"rgb_premultiplied",
         single(1, 8, 4, 2, {10, 20, 30, 51}, {{338, {1}}}),
         32,
         {},
         {{50, 100, 150, 51}}},
        {"rgb_unspecified", single(1, 8, 4, 2, {10, 20, 30, 40}, {{338, {0}}}), 32, {}, {{10, 20, 30, 40}}},
        {"rgb_undeclared", single(1, 8, 4, 2, {10, 20, 30, 40}), 32, {}, {{10, 20, 30, 40}}},
        {"rgb_unspecified_zero",
         single(1, 8, 4, 2, {10, 20, 30, 0}, {{338, {0}}}),
         32,
         {},
         {{10, 20, 30, 255}}},
        {"rgb_and_two_more", single(1, 8, 5, 2, {10, 20, 30, 40, 50}), 24, {}, {{10, 20, 30, 255}}},
        {"palette_alpha",
         single(2, 4, 2, 3, {0x3F, 0x51}, {{320, color_map(4)}}),
         32,
         {},
         {{3, 6, 0, 255}, {5, 10, 0, 17}}},
        {"gray_unspecified", single(1, 8, 2, 1, {10, 40}, {{338, {0}}}), 32, {}, {{10, 10, 10, 40}}},
        {"gray_alpha", single(1, 8, 2, 1, {10, 40}, {{338, {2}}}), 32, {}, {{10, 10, 10, 40}}},
        {"cmyk", single(1, 8, 4, 5, {255, 0, 128, 51}), 24, {}, {{0, 204, 102, 255}}},
        {"lab_white", single(1, 8, 3, 8, {255, 0, 0}), 24, {}, {gray(255)}},
    };
}

class TiffSamples : public testing::TestWithParam<SampleCase> {};

TEST_P(TiffSamples, BecomePixels) {
    const SampleCase& c = GetParam();
    const auto outcome = decode(c.file);
    ASSERT_TRUE(outcome) << outcome.error().where.text();
    const auto info = info_of(c.file);
    ASSERT_TRUE(info);
    EXPECT_EQ(outcome->bitmap.bits(), c.bits);
    EXPECT_EQ(info->bits, c.bits);
    EXPECT_EQ(info->format_code, 3);
    ASSERT_FALSE(c.words.empty() && c.colors.empty());
    for (std::size_t x = 0; x < c.words.size(); ++x) EXPECT_EQ(outcome->bitmap.row16(0)[x], c.words[x]) << x;
    for (std::size_t x = 0; x < c.colors.size(); ++x) {
        EXPECT_EQ(outcome->bitmap.pixel(static_cast<int>(x), 0), c.colors[x]) << x;
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, TiffSamples, testing::ValuesIn(sample_cases()),
                         [](const auto& tested) { return tested.param.name; });

TEST(Tiff, SeparatePlanesAreJoined) {
    TiffBuilder tiff;
    const std::uint32_t r = tiff.data({1, 2}), g = tiff.data({3, 4}), b = tiff.data({5, 6});
    auto tags = tags_for(1, 2, 8, 3, 2, {r, g, b}, 2);
    tags[284] = {2};
    tiff.directory(tags);
    const auto outcome = decode(tiff.bytes);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.pixel(0, 0), (Rgba{1, 3, 5, 255}));
    EXPECT_EQ(outcome->bitmap.pixel(0, 1), (Rgba{2, 4, 6, 255}));
}

TEST(Tiff, TilesAreClippedToTheImage) {
    TiffBuilder tiff;
    std::vector<std::uint32_t> offsets;
    for (std::uint8_t t = 1; t <= 4; ++t) offsets.push_back(tiff.data(Bytes(256, t)));
    tiff.directory({{256, {20}},
                    {257, {17}},
                    {258, {8}},
                    {259, {1}},
                    {262, {1}},
                    {277, {1}},
                    {322, {16}},
                    {323, {16}},
                    {324, offsets},
                    {325, std::vector<std::uint32_t>(4, 256)}});
    const auto outcome = decode(tiff.bytes);
    ASSERT_TRUE(outcome);
    const Bitmap& bitmap = outcome->bitmap;
    EXPECT_EQ(bitmap.row(15)[15], 1);
    EXPECT_EQ(bitmap.row(15)[16], 2);
    EXPECT_EQ(bitmap.row(16)[0], 3);
    EXPECT_EQ(bitmap.row(16)[19], 4);
}

// --- directories
// -----------------------------------------------------------------------------------------------

TEST(Tiff, ReducedPagesAreTheStampAndMasksAreNoPages) {
    TiffBuilder tiff;
    const auto page = [&](std::uint32_t width, std::uint32_t kind) {
        const std::uint32_t strip = tiff.data(Bytes(width, static_cast<std::uint8_t>(width)));
        auto tags = tags_for(width, 1, 8, 1, 1, {strip}, width);
        tags[254] = {kind};
        tiff.directory(tags);
    };
    page(10, 0), page(4, 1), page(11, 4), page(12, 2);
    const auto info = info_of(tiff.bytes, 32000);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->pages, 2);
    EXPECT_EQ(info->page, 2);
    EXPECT_EQ(info->width, 12);
    EXPECT_TRUE(info->has_stamp);
    const auto second = decode(tiff.bytes, 2);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->bitmap.width(), 12);
    const auto stamp = load_stamp(memory_source(std::span{tiff.bytes}), "a.tif", LoadOptions{});
    ASSERT_TRUE(stamp);
    EXPECT_EQ(stamp->bitmap.width(), 4);
    EXPECT_EQ(stamp->bitmap.row(0)[0], 4);
}

TEST(Tiff, StampInASubDirectory) {
    TiffBuilder tiff;
    const std::uint32_t small = tiff.data({7, 7}), large = tiff.data(Bytes(8, 9));
    auto child = tags_for(2, 1, 8, 1, 1, {small}, 2);
    child[254] = {1};
    const std::uint32_t at = tiff.directory(child, false);
    auto tags = tags_for(8, 1, 8, 1, 1, {large}, 8);
    tags[330] = {at};
    tiff.directory(tags);
    const auto info = info_of(tiff.bytes);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->pages, 1);
    EXPECT_TRUE(info->has_stamp);
    const auto stamp = load_stamp(memory_source(std::span{tiff.bytes}), "a.tif", LoadOptions{});
    ASSERT_TRUE(stamp);
    EXPECT_EQ(stamp->bitmap.width(), 2);
}

TEST(Tiff, OrientationAndResolutionInCentimetres) {
    TiffBuilder tiff;
    const std::uint32_t strip = tiff.data({1, 2}), x = tiff.rational(100, 1), y = tiff.rational(50, 1);
    auto tags = tags_for(2, 1, 8, 1, 1, {strip}, 2);
    tags[274] = {6}, tags[282] = {x}, tags[283] = {y}, tags[296] = {3};
    tiff.directory(tags);
    const auto outcome = decode(tiff.bytes);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.metadata().orientation, Orientation::rotated_right);
    EXPECT_NEAR(outcome->bitmap.metadata().resolution.x, 254, 0.01);
    EXPECT_NEAR(outcome->bitmap.metadata().resolution.y, 127, 0.01);
}

// --- damage
// ----------------------------------------------------------------------------------------------------

TEST(Tiff, AStripThatIsMissingStaysEmpty) {
    TiffBuilder tiff;
    const std::uint32_t first = tiff.data({9, 9}), third = tiff.data({7, 7});
    auto tags = tags_for(2, 3, 8, 1, 1, {first, 1'000'000, third}, 2);
    tags[278] = {1};
    tiff.directory(tags);
    const auto outcome = decode(tiff.bytes);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->rows_declared, 3);
    EXPECT_EQ(outcome->rows_shown, 2);
    EXPECT_EQ(outcome->warnings.size(), 1u);
    EXPECT_EQ(outcome->bitmap.row(0)[0], 9);
    EXPECT_EQ(outcome->bitmap.row(1)[0], 0);
    EXPECT_EQ(outcome->bitmap.row(2)[1], 7);
}

TEST(Tiff, NothingToDecodeIsAnError) {
    for (const std::uint32_t compression : {1u, 4u, 5u, 7u, 8u, 32773u}) {
        TiffBuilder tiff;
        auto tags = tags_for(20'000, 20'000, compression == 4 ? 1 : 8, 1, 1, {2'000'000}, 400);
        tags[259] = {compression};
        tiff.directory(tags);
        const auto outcome = decode(tiff.bytes);
        ASSERT_FALSE(outcome) << compression;
        EXPECT_EQ(outcome.error().fault, Fault::truncated) << compression;
    }
    const auto huge = decode(single(400'000'000, 8, 3, 2, {0, 0, 0}));
    ASSERT_FALSE(huge);
    EXPECT_EQ(huge.error().fault, Fault::too_large);
}

// --- writing
// ---------------------------------------------------------------------------------------------------

Bitmap noise(int width, int height, int bits, bool is_gray) {
    Bitmap bitmap = *Bitmap::create(width, height, bits, Limits{}, is_gray);
    std::mt19937 random{static_cast<unsigned>(width * 7 + bits)};
    for (int y = 0; y < height; ++y) {
        if (bitmap.layout() == Layout::gray16) {
            for (auto& v : bitmap.writable_row16(y))
                v = static_cast<std::uint16_t>(random() & ((1u << bits) - 1));
        } else {
            const unsigned mask = bitmap.layout() == Layout::index8 ? (1u << bits) - 1 : 255;
            for (auto& v : bitmap.writable_row(y)) v = static_cast<std::uint8_t>(random() & mask);
        }
    }
    return bitmap;
}

void expect_same_pixels(const Bitmap& got, const Bitmap& wanted) {
    ASSERT_EQ(got.width(), wanted.width());
    ASSERT_EQ(got.height(), wanted.height());
    ASSERT_EQ(got.bits(), wanted.bits());
    ASSERT_EQ(got.layout(), wanted.layout());
    for (int y = 0; y < got.height(); ++y) {
        for (int x = 0; x < got.width(); ++x) ASSERT_EQ(got.pixel(x, y), wanted.pixel(x, y)) << x << ' ' << y;
        if (got.layout() == Layout::gray16) {
            ASSERT_TRUE(std::ranges::equal(got.row16(y), wanted.row16(y)));
        }
    }
}

void round_trip(const Bitmap& bitmap, int code) {
    SCOPED_TRACE(testing::Message() << "code " << code << ", " << bitmap.width() << " x " << bitmap.height()
                                    << ", " << bitmap.bits());
    MemoryWriter out;
    SaveOptions options;
    options.format_code = code;
    ASSERT_TRUE(save(bitmap, out, options));
    const auto outcome = decode(out.bytes());
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->format_code, code);
    EXPECT_EQ(outcome->rows_shown, bitmap.height());
    expect_same_pixels(outcome->bitmap, bitmap);
}

TEST(Tiff, RoundTripsOfEveryCodeDepthAndSize) {
    const Codec* codec = codec_for_extension("tif");
    ASSERT_NE(codec, nullptr);
    int trips = 0;
    for (const FormatCode& format : codec->formats) {
        for (const int bits : format.write_depths) {
            for (const auto& [width, height] : {std::pair{1, 1}, {7, 3}, {47, 33}, {1030, 90}}) {
                Bitmap bitmap = noise(width, height, bits, bits == 16);
                round_trip(bitmap, format.code);
                ++trips;
                if (bits > 8) continue;
                Palette palette = bitmap.palette();
                std::ranges::reverse(palette);
                if (bits > 1) palette[0] = {1, 2, 3, 255};
                bitmap.set_palette(palette);
                round_trip(bitmap, format.code);
            }
        }
    }
    EXPECT_EQ(trips, (11 + 5 + 3) * 4);
}

TEST(Tiff, MetadataIsWritten) {
    Bitmap bitmap = noise(5, 5, 24, false);
    bitmap.metadata().resolution = {300, 150};
    bitmap.metadata().comment = "a note";
    bitmap.metadata().icc = std::make_shared<const Bytes>(Bytes(200, 5));
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 11;
    ASSERT_TRUE(save(bitmap, out, options));
    const auto outcome = decode(out.bytes());
    ASSERT_TRUE(outcome);
    const Metadata& metadata = outcome->bitmap.metadata();
    EXPECT_EQ(metadata.resolution, (Resolution{300, 150}));
    EXPECT_EQ(metadata.comment, "a note");
    ASSERT_TRUE(metadata.icc);
    EXPECT_EQ(*metadata.icc, Bytes(200, 5));
}

TEST(Tiff, WritingStopsWhenAsked) {
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 3;
    options.progress = [](std::int64_t, std::int64_t) { return false; };
    const auto saved = save(noise(500, 500, 24, false), out, options);
    ASSERT_FALSE(saved);
    EXPECT_EQ(saved.error().fault, Fault::cancelled);
}

TEST(Tiff, ReadingStopsWhenAsked) {
    class Stop final : public RowSink {
        bool rows(const Bitmap&, int, int, std::int64_t, std::int64_t) override { return false; }
    } sink;
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 11;
    ASSERT_TRUE(save(noise(100, 300, 24, false), out, options));
    const auto outcome = load(memory_source(std::span{out.bytes()}), "a.tif", LoadOptions{}, sink);
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().fault, Fault::cancelled);
}

}  // namespace
}  // namespace quillmark::imaging
