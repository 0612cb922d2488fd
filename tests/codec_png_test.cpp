// PNG: depths, transparency, interlacing, damage, and that writing loses nothing.
#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>
#include <array>
#include <functional>

#include "imaging/load.h"
#include "imaging/save.h"
#include "support/fixtures.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Spec {
    int width, height, depth, colour;
    bool interlaced = false;
    std::vector<png_color> palette = {};
    std::function<void(png_structp, png_infop)> extra = {};
};

// A file with pixel bytes that look like noise, written by the library itself.
Bytes make_png(
    const Spec& spec, const std::function<int(int)>& byte_at = [](int i) { return i * 37 + i / 7; }) {
    Bytes file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &file,
        [](png_structp p, png_bytep data, std::size_t size) {
            auto& to = *static_cast<Bytes*>(png_get_io_ptr(p));
            to.insert(to.end(), data, data + size);
        },
        [](png_structp) {});
    png_set_IHDR(png, info, static_cast<png_uint_32>(spec.width), static_cast<png_uint_32>(spec.height),
                 spec.depth, spec.colour, spec.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, 0, 0);
    if (!spec.palette.empty())
        png_set_PLTE(png, info, spec.palette.data(), static_cast<int>(spec.palette.size()));
    if (spec.extra) spec.extra(png, info);
    png_write_info(png, info);
    const std::size_t row_bytes = png_get_rowbytes(png, info);
    Bytes pixels(row_bytes * static_cast<std::size_t>(spec.height));
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<std::uint8_t>(byte_at(static_cast<int>(i)));
    std::vector<png_bytep> rows;
    for (int y = 0; y < spec.height; ++y)
        rows.push_back(pixels.data() + row_bytes * static_cast<std::size_t>(y));
    png_write_image(png, rows.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

Result<Outcome> decode(const Bytes& file) {
    RowSink sink;
    LoadOptions options;
    options.apply_orientation = false;
    return load(memory_source(std::span{file}), "x.png", options, sink);
}

int info_bits(const Bytes& file) {
    const auto info = read_info(memory_source(std::span{file}), "x.png", ReadOptions{});
    return info ? info->bits : 0;
}

void expect_same_pixels(const Bitmap& a, const Bitmap& b) {
    ASSERT_EQ(a.width(), b.width());
    ASSERT_EQ(a.height(), b.height());
    ASSERT_EQ(a.bits(), b.bits());
    // The bits behind the last pixel of a 1-bit row mean nothing.
    const std::size_t whole_bytes = a.bits() == 1 ? static_cast<std::size_t>(a.width()) / 8 : a.row_bytes();
    for (int y = 0; y < a.height(); ++y) {
        ASSERT_TRUE(std::ranges::equal(a.row(y).first(whole_bytes), b.row(y).first(whole_bytes)))
            << "row " << y;
        for (int x = static_cast<int>(whole_bytes) * 8; x < a.width() && a.bits() == 1; ++x) {
            ASSERT_EQ(a.pixel(x, y), b.pixel(x, y)) << "row " << y;
        }
    }
}

struct Variant {
    int depth, colour, bits;
    Layout layout;
};
constexpr std::array kVariants{Variant{1, PNG_COLOR_TYPE_GRAY, 1, Layout::bit1},
                               Variant{2, PNG_COLOR_TYPE_GRAY, 2, Layout::index8},
                               Variant{4, PNG_COLOR_TYPE_GRAY, 4, Layout::index8},
                               Variant{8, PNG_COLOR_TYPE_GRAY, 8, Layout::index8},
                               Variant{16, PNG_COLOR_TYPE_GRAY, 16, Layout::gray16},
                               Variant{8, PNG_COLOR_TYPE_RGB, 24, Layout::rgb24},
                               Variant{16, PNG_COLOR_TYPE_RGB, 24, Layout::rgb24},
                               Variant{8, PNG_COLOR_TYPE_GRAY_ALPHA, 32, Layout::rgba32},
                               Variant{16, PNG_COLOR_TYPE_RGB_ALPHA, 32, Layout::rgba32}};

TEST(PngTest, EveryVariantHasItsDepthAndInterlacingChangesNothing) {
    for (const Variant& v : kVariants) {
        for (int width = 1; width <= 17; width += width < 9 ? 1 : 4) {
            for (int height = 1; height <= 9; ++height) {
                SCOPED_TRACE(testing::Message()
                             << v.depth << " bits, type " << v.colour << ", " << width << "x" << height);
                const auto plain = decode(make_png({width, height, v.depth, v.colour}));
                const Bytes interlaced_file = make_png({width, height, v.depth, v.colour, true});
                const auto interlaced = decode(interlaced_file);
                ASSERT_TRUE(plain && interlaced);
                EXPECT_EQ(plain->bitmap.layout(), v.layout);
                EXPECT_EQ(plain->bitmap.bits(), v.bits);
                EXPECT_EQ(info_bits(interlaced_file), v.bits);
                EXPECT_EQ(plain->rows_shown, height);
                EXPECT_EQ(interlaced->rows_shown, height);
                EXPECT_TRUE(interlaced->warnings.empty());
                expect_same_pixels(plain->bitmap, interlaced->bitmap);
            }
        }
    }
}

TEST(PngTest, SixteenBitSamplesKeepTheirValueInGreyAndAreRoundedInColour) {
    const auto byte_at = [](int i) { return i % 2 ? 0x80 : 0x12; };  // 0x1280 is 18.43 of 255
    const auto gray = decode(make_png({3, 1, 16, PNG_COLOR_TYPE_GRAY}, byte_at));
    const auto rgb = decode(make_png({3, 1, 16, PNG_COLOR_TYPE_RGB}, byte_at));
    ASSERT_TRUE(gray && rgb);
    EXPECT_EQ(gray->bitmap.row16(0)[1], 0x1280);
    EXPECT_EQ(rgb->bitmap.row(0)[4], 18);
}

TEST(PngTest, PaletteKeepsItsEntriesAndTransparency) {
    const png_byte alpha[] = {0, 128};
    const Bytes file =
        make_png({5,
                  2,
                  4,
                  PNG_COLOR_TYPE_PALETTE,
                  false,
                  {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}},
                  [&](png_structp png, png_infop info) { png_set_tRNS(png, info, alpha, 2, nullptr); }},
                 [](int) { return 0x12; });
    const auto outcome = decode(file);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->bitmap.bits(), 4);
    EXPECT_EQ(outcome->bitmap.palette(), (Palette{{1, 2, 3, 0}, {4, 5, 6, 128}, {7, 8, 9, 255}}));
    EXPECT_EQ(outcome->bitmap.pixel(0, 0), (Rgba{4, 5, 6, 128}));
    EXPECT_EQ(outcome->bitmap.pixel(1, 1), (Rgba{7, 8, 9, 255}));
}

TEST(PngTest, TransparentColourIsComparedAtFullDepth) {
    const auto with_key = [](png_uint_16 value) {
        return [value](png_structp png, png_infop info) {
            png_color_16 key{0, value, value, value, value};
            png_set_tRNS(png, info, nullptr, 0, &key);
        };
    };
    struct Case {
        int depth, colour;
        png_uint_16 key;
        int near;  // differs from the key in its lowest bit only
    };
    for (const Case& c :
         {Case{16, PNG_COLOR_TYPE_RGB, 0x4241, 0x4240}, Case{16, PNG_COLOR_TYPE_GRAY, 0x4241, 0x4240},
          Case{8, PNG_COLOR_TYPE_RGB, 0x41, 0x40}, Case{8, PNG_COLOR_TYPE_GRAY, 0x41, 0x40}}) {
        SCOPED_TRACE(testing::Message() << c.depth << " bits, type " << c.colour);
        const int samples = c.colour == PNG_COLOR_TYPE_RGB ? 3 : 1, bytes = c.depth / 8;
        const Bytes file = make_png({2, 1, c.depth, c.colour, false, {}, with_key(c.key)}, [&](int i) {
            const int value = i / (samples * bytes) == 0 ? c.key : c.near;
            return bytes == 2 && i % 2 == 0 ? value >> 8 : value & 0xFF;
        });
        const auto outcome = decode(file);
        ASSERT_TRUE(outcome);
        EXPECT_EQ(outcome->bitmap.bits(), 32);
        EXPECT_EQ(info_bits(file), 32);
        EXPECT_EQ(outcome->bitmap.pixel(0, 0).a, 0);
        EXPECT_EQ(outcome->bitmap.pixel(1, 0).a, 255);
    }
}

TEST(PngTest, TruncatedFilesShowWhatThereIs) {
    for (const bool interlaced : {false, true}) {
        const Bytes whole = make_png({64, 64, 8, PNG_COLOR_TYPE_RGB, interlaced}, [](int i) {
            return static_cast<int>(static_cast<unsigned>(i) * 2654435761U >> 13);
        });
        const auto reference = decode(whole);
        ASSERT_TRUE(reference);
        Bytes file = whole;
        file.resize(whole.size() * 2 / 3);
        const auto outcome = decode(file);
        ASSERT_TRUE(outcome);
        EXPECT_GT(outcome->rows_shown, 8);
        EXPECT_LT(outcome->rows_shown, 64);
        EXPECT_FALSE(outcome->warnings.empty());
        if (!interlaced) {
            EXPECT_TRUE(std::ranges::equal(outcome->bitmap.row(outcome->rows_shown - 1),
                                           reference->bitmap.row(outcome->rows_shown - 1)));
            EXPECT_TRUE(std::ranges::all_of(outcome->bitmap.row(63), [](int v) { return v == 0; }));
        }
    }
}

TEST(PngTest, WrongChecksumOfThePixelsWarnsAndOfTheHeaderRefuses) {
    Bytes file = make_png({8, 8, 8, PNG_COLOR_TYPE_GRAY});
    Bytes bad_pixels = file, bad_header = file;
    bad_pixels[file.size() - 12 - 1] ^= 1;  // the last IDAT's checksum stands before the 12 bytes of IEND
    bad_header[29] ^= 1;
    const auto outcome = decode(bad_pixels);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->rows_shown, 8);
    EXPECT_EQ(outcome->warnings.size(), 1U);
    const auto refused = decode(bad_header);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().fault, Fault::malformed);
}

TEST(PngTest, WritingKeepsPixelsPaletteAndMetadata) {
    int written = 0;
    for (const int bits : {1, 2, 4, 8, 24, 32}) {
        SCOPED_TRACE(bits);
        Bitmap bitmap = tests::pattern(37, 21, bits);
        if (bits <= 8) {
            Palette palette = bitmap.palette();
            palette.back() = {200, 30, 40, 99};
            bitmap.set_palette(palette);
        }
        Metadata& metadata = bitmap.metadata();
        metadata.resolution = {300, 150};
        metadata.comment = "gr\xC3\xBC\xC3\x9F";
        MemoryWriter out;
        SaveOptions options;
        options.format_code = 75;
        ASSERT_TRUE(save(bitmap, out, options));
        const auto back = decode(out.bytes());
        ASSERT_TRUE(back);
        expect_same_pixels(bitmap, back->bitmap);
        EXPECT_EQ(back->bitmap.palette(), bitmap.palette());
        EXPECT_NEAR(back->bitmap.metadata().resolution.x, 300, 0.02);
        EXPECT_NEAR(back->bitmap.metadata().resolution.y, 150, 0.02);
        EXPECT_EQ(back->bitmap.metadata().comment, metadata.comment);
        ++written;
    }
    EXPECT_EQ(written, 6);
}

TEST(PngTest, StoppingCancels) {
    struct Stop final : RowSink {
        bool rows(const Bitmap&, int, int, std::int64_t, std::int64_t) override { return false; }
    } stop;
    const Bytes file = make_png({8, 200, 8, PNG_COLOR_TYPE_GRAY});
    const auto outcome = load(memory_source(std::span{file}), "x.png", LoadOptions{}, stop);
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().fault, Fault::cancelled);
}

}  // namespace
}  // namespace quillmark::imaging
