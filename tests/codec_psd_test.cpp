// Photoshop documents: every colour mode and packing, resources, damage, and what is written.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>

#include "imaging/load.h"
#include "imaging/save.h"
#include "imaging/threads.h"
#include "support/fixtures.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Document {
    int channels = 1, width = 1, height = 1, depth = 8, mode = 1, packing = 0, version = 1;
    Bytes colours{}, resources{}, layers{}, pixels{};
};

Bytes file_of(const Document& d) {
    MemoryWriter out;
    const auto section = [&](const Bytes& bytes, bool wide = false) {
        if (wide) out.u32be(0);
        out.u32be(static_cast<std::uint32_t>(bytes.size()));
        out.write(bytes);
    };
    out.u32be(0x38425053);
    out.u16be(static_cast<std::uint32_t>(d.version));
    out.zeros(6);
    out.u16be(static_cast<std::uint32_t>(d.channels));
    out.u32be(static_cast<std::uint32_t>(d.height));
    out.u32be(static_cast<std::uint32_t>(d.width));
    out.u16be(static_cast<std::uint32_t>(d.depth));
    out.u16be(static_cast<std::uint32_t>(d.mode));
    section(d.colours);
    section(d.resources);
    section(d.layers, d.version == 2);
    out.u16be(static_cast<std::uint32_t>(d.packing));
    out.write(d.pixels);
    return out.bytes();
}

Bytes resource(int id, const Bytes& data) {
    MemoryWriter out;
    out.u32be(0x3842494D);
    out.u16be(static_cast<std::uint32_t>(id));
    out.u16be(0x0141);  // a name of one letter
    out.u32be(static_cast<std::uint32_t>(data.size()));
    out.write(data);
    out.zeros(data.size() % 2);
    return out.bytes();
}

Bytes deflated(const Bytes& bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    Bytes out(size);
    compress(out.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()));
    out.resize(size);
    return out;
}

Result<Outcome> open(const Bytes& bytes) {
    RowSink sink;
    return load(memory_source(bytes), "x.psd", {}, sink);
}

std::vector<Rgba> pixels_of(const Result<Outcome>& outcome) {
    std::vector<Rgba> pixels;
    for (int y = 0; outcome && y < outcome->bitmap.height(); ++y) {
        for (int x = 0; x < outcome->bitmap.width(); ++x) pixels.push_back(outcome->bitmap.pixel(x, y));
    }
    return pixels;
}

constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255};

Bytes colours_of(std::initializer_list<Rgba> colours) {
    Bytes map(768);
    std::size_t i = 0;
    for (const Rgba c : colours) map[i] = c.r, map[256 + i] = c.g, map[512 + i] = c.b, ++i;
    return map;
}

TEST(Psd, ReadsEveryModeAndPacking) {
    struct Case {
        const char* name;
        Document document;
        int bits;
        std::vector<Rgba> want;
    };
    const Bytes negative_layers{0, 0, 0, 2, 0xFF, 0xFF};
    const std::vector<Case> cases{
        {"bitmap: ink is 1",
         {.width = 3, .depth = 1, .mode = 0, .pixels = {0x5F}},
         1,
         {kWhite, kBlack, kWhite}},
        {"grey", {.width = 2, .pixels = {7, 255}}, 8, {{7, 7, 7, 255}, kWhite}},
        {"grey 16", {.depth = 16, .pixels = {0xFF, 0xFF}}, 16, {kWhite}},
        {"grey 32",
         {.width = 3, .depth = 32, .pixels = {0x3F, 0x80, 0, 0, 0x3E, 0x80, 0, 0, 0xFF, 0xC0, 0, 0}},
         8,
         {kWhite, {137, 137, 137, 255}, kBlack}},  // 1, a quarter of the light, and no number
        {"indexed",
         {.width = 2, .mode = 2, .colours = colours_of({kRed, kBlue}), .pixels = {1, 0}},
         8,
         {kBlue, kRed}},
        {"RGB", {.channels = 3, .width = 2, .mode = 3, .pixels = {255, 0, 0, 0, 0, 255}}, 24, {kRed, kBlue}},
        {"RGB and a mask", {.channels = 4, .mode = 3, .pixels = {255, 0, 0, 9}}, 24, {kRed}},
        {"RGB with transparency",
         {.channels = 4, .mode = 3, .layers = negative_layers, .pixels = {255, 0, 0, 9}},
         32,
         {{255, 0, 0, 9}}},
        {"grey with transparency",
         {.channels = 2, .depth = 16, .layers = negative_layers, .pixels = {8, 1, 9, 1}},
         32,
         {{8, 8, 8, 9}}},
        {"RGB 16",
         {.channels = 3, .depth = 16, .mode = 3, .pixels = {255, 1, 7, 200, 0, 99}},
         24,
         {{255, 7, 0, 255}}},
        {"CMYK: half black",
         {.channels = 4, .mode = 4, .pixels = {255, 0, 255, 128}},
         24,
         {{128, 0, 128, 255}}},
        {"Lab white", {.channels = 3, .mode = 9, .pixels = {255, 128, 128}}, 24, {kWhite}},
        {"Lab black, 16 bits",
         {.channels = 3, .depth = 16, .mode = 9, .pixels = {0, 0, 128, 0, 128, 0}},
         24,
         {kBlack}},
        {"duotone as grey", {.mode = 8, .colours = {1, 2, 3}, .pixels = {7}}, 8, {{7, 7, 7, 255}}},
        {"inks", {.channels = 5, .mode = 7, .pixels = {255, 0, 0, 1, 2}}, 24, {kRed}},
        {"one ink", {.mode = 7, .pixels = {7}}, 8, {{7, 7, 7, 255}}},
        {"runs: a short row, a long row",
         {.width = 2, .height = 2, .packing = 1, .pixels = {0, 2, 0, 3, 0, 7, 253, 255, 0}},
         8,
         {{7, 7, 7, 255}, kBlack, kWhite, kWhite}},
        {"runs of the large document",
         {.width = 2, .packing = 1, .version = 2, .pixels = {0, 0, 0, 2, 255, 255}},
         8,
         {kWhite, kWhite}},
        {"deflated", {.channels = 3, .mode = 3, .packing = 2, .pixels = deflated({255, 0, 0})}, 24, {kRed}},
        {"differences",
         {.width = 3, .packing = 3, .pixels = deflated({250, 5, 1})},
         8,
         {{250, 250, 250, 255}, kWhite, kBlack}},
        {"differences of words",
         {.width = 2, .depth = 16, .packing = 3, .pixels = deflated({0, 255, 255, 0})},
         16,
         {kBlack, kWhite}},
    };
    for (const Case& c : cases) {
        const Bytes file = file_of(c.document);
        const auto outcome = open(file);
        ASSERT_TRUE(outcome) << c.name << ": " << outcome.error().where.text();
        EXPECT_EQ(pixels_of(outcome), c.want) << c.name;
        EXPECT_EQ(outcome->bitmap.bits(), c.bits) << c.name;
        EXPECT_EQ(outcome->rows_shown, outcome->rows_declared) << c.name;
        EXPECT_EQ(read_info(memory_source(file), "x.psd", {})->bits, c.bits) << c.name;
    }
}

TEST(Psd, RefusesWhatContradictsItself) {
    const auto fault = [](const Document& document) { return open(file_of(document)).error().fault; };
    EXPECT_EQ(fault({.channels = 2, .mode = 3, .pixels = Bytes(8)}), Fault::malformed);
    EXPECT_EQ(fault({.depth = 1, .mode = 1, .pixels = Bytes(8)}), Fault::malformed);
    EXPECT_EQ(fault({.mode = 5, .pixels = Bytes(8)}), Fault::malformed);
    EXPECT_EQ(fault({.depth = 32, .mode = 8, .pixels = Bytes(8)}), Fault::unsupported);
    EXPECT_EQ(fault({.mode = 2, .colours = Bytes(30), .pixels = Bytes(8)}), Fault::malformed);
    EXPECT_EQ(fault({.packing = 4, .pixels = Bytes(8)}), Fault::malformed);
    EXPECT_EQ(fault({.width = 66'000, .pixels = Bytes(8)}), Fault::too_large);
    // All reds and half of the greens: no row has its colours.
    EXPECT_EQ(fault({.channels = 3, .width = 2, .height = 2, .mode = 3, .pixels = Bytes(6)}),
              Fault::truncated);
}

TEST(Psd, ShowsTheRowsThatEveryChannelHas) {
    const auto raw =
        open(file_of({.channels = 3, .width = 2, .height = 3, .mode = 3, .pixels = Bytes(17, 255)}));
    ASSERT_TRUE(raw);
    EXPECT_EQ(raw->rows_shown, 2);
    EXPECT_EQ(raw->bitmap.pixel(1, 1), kWhite);
    EXPECT_EQ(raw->bitmap.pixel(0, 2), kBlack);
    // Counts that lead beyond the data.
    const auto runs =
        open(file_of({.width = 2, .height = 3, .packing = 1, .pixels = {0, 2, 0, 2, 0, 2, 255, 9, 255, 9}}));
    ASSERT_TRUE(runs);
    EXPECT_EQ(runs->rows_shown, 2);
    EXPECT_EQ(runs->warnings.size(), 1U);
}

TEST(Psd, CarriesResolutionCaptionProfileAndStamp) {
    MemoryWriter jpeg;
    SaveOptions options;
    options.format_code = 10;
    Bitmap small = *Bitmap::create(8, 8, 24, {});
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) small.writable_row(y)[static_cast<std::size_t>(x) * 3] = 250;
    }
    ASSERT_TRUE(save(small, jpeg, options));
    Bytes stamp(28);
    stamp[3] = 1;
    stamp.insert(stamp.end(), jpeg.bytes().begin(), jpeg.bytes().end());
    for (const bool old : {false, true}) {
        Bytes resources = resource(1005, {0, 150, 0, 0, 0, 1, 0, 1, 1, 44, 0, 0, 0, 1, 0, 1});
        for (const Bytes& more : {resource(1008, {2, 'H', 'i'}), resource(old ? 1033 : 1036, stamp)})
            resources.insert(resources.end(), more.begin(), more.end());
        const Bytes file = file_of({.resources = resources, .pixels = {7}});
        const auto outcome = open(file);
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->bitmap.metadata().resolution, (Resolution{150, 300}));
        EXPECT_EQ(outcome->bitmap.metadata().comment, "Hi");
        EXPECT_TRUE(read_info(memory_source(file), "x.psd", {})->has_stamp);
        const auto shown = load_stamp(memory_source(file), "x.psd", {});
        ASSERT_TRUE(shown);
        const Rgba pixel = shown->bitmap.pixel(3, 3);
        EXPECT_NEAR(old ? pixel.b : pixel.r, 250, 6);
        EXPECT_NEAR(old ? pixel.r : pixel.b, 0, 6);
    }
    EXPECT_EQ(load_stamp(memory_source(file_of({.pixels = {7}})), "x.psd", {}).error().fault,
              Fault::no_stamp);
}

TEST(Psd, WrittenFilesReadBackTheSame) {
    for (const int bits : {1, 8, 24}) {
        for (const int width : {1, 2, 7, 8, 17, 130, 400}) {
            for (const int threads : {1, 2, 7}) {
                set_thread_count(threads);
                Bitmap bitmap = tests::pattern(width, 37, bits);
                if (bits == 8 && width % 2) {
                    Palette palette(256, kRed);
                    palette[3] = kBlue;
                    bitmap.set_palette(palette);
                }
                bitmap.metadata().resolution = {200, 100};
                bitmap.metadata().comment = "a caption";
                bitmap.metadata().icc = std::make_shared<const Bytes>(Bytes(129, 7));
                MemoryWriter out;
                SaveOptions options;
                options.format_code = 76, options.bits = bits;
                ASSERT_TRUE(save(bitmap, out, options));
                const auto back = open(out.bytes());
                ASSERT_TRUE(back);
                EXPECT_EQ(pixels_of(back), pixels_of(Outcome{bitmap, 0, 0, 0, {}}))
                    << bits << ", width " << width;
                EXPECT_EQ(back->bitmap.bits(), bits);
                EXPECT_EQ(back->bitmap.metadata().resolution, (Resolution{200, 100}));
                EXPECT_EQ(back->bitmap.metadata().comment, "a caption");
                EXPECT_EQ(back->bitmap.metadata().icc ? *back->bitmap.metadata().icc : Bytes{},
                          bits == 1 ? Bytes{} : Bytes(129, 7));
            }
        }
    }
    set_thread_count(0);
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 76;
    EXPECT_EQ(save(*Bitmap::create(30'001, 1, 1, {}), out, options).error().fault, Fault::too_large);
}

}  // namespace
}  // namespace quillmark::imaging
