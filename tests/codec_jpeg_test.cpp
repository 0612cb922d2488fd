// JPEG: metadata both ways, stamps in every coding, reduced decoding, damage, refused variants; EXIF blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "imaging/codecs/exif.h"
#include "imaging/load.h"
#include "imaging/save.h"

namespace quillmark::imaging {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bitmap gradient(int width, int height, bool gray = false) {
    auto bitmap = Bitmap::create(width, height, gray ? 8 : 24, Limits{});
    const int step = gray ? 1 : 3;
    for (int y = 0; y < height; ++y) {
        const auto row = bitmap->writable_row(y);
        for (int i = 0; i < static_cast<int>(row.size()); ++i) {
            const int x = i / step;
            row[static_cast<std::size_t>(i)] =
                static_cast<std::uint8_t>(i % step == 2 ? 128 : (x * 2 + y * (1 + i % step)) % 200 + 20);
        }
    }
    return *bitmap;
}

Bytes encode(const Bitmap& bitmap, int quality = 95) {
    MemoryWriter out;
    SaveOptions options;
    options.format_code = 10;
    options.quality = quality;
    EXPECT_TRUE(save(bitmap, out, options));
    return out.bytes();
}

Result<Outcome> decode(const Bytes& file, int reduce = 1) {
    RowSink sink;
    LoadOptions options;
    options.reduce = reduce;
    options.apply_orientation = false;
    return load(memory_source(std::span{file}), "x.jpg", options, sink);
}

Result<ImageInfo> info(const Bytes& file) {
    return read_info(memory_source(std::span{file}), "x.jpg", ReadOptions{});
}
Result<Outcome> stamp(const Bytes& file) {
    return load_stamp(memory_source(std::span{file}), "x.jpg", LoadOptions{});
}

Bytes text(std::string_view name) { return {name.begin(), name.end()}; }
void append(Bytes& to, const Bytes& more) { to.insert(to.end(), more.begin(), more.end()); }

// The file with one more segment at its beginning.
Bytes with_segment(Bytes file, int marker, const Bytes& payload) {
    const std::size_t size = payload.size() + 2;
    Bytes segment{0xFF, static_cast<std::uint8_t>(marker), static_cast<std::uint8_t>(size >> 8),
                  static_cast<std::uint8_t>(size)};
    append(segment, payload);
    file.insert(file.begin() + 2, segment.begin(), segment.end());
    return file;
}

// An EXIF block: orientation, 72 dpi, and a JPEG stamp in the second directory.
class ExifBuilder {
  public:
    explicit ExifBuilder(bool big_endian) : big_{big_endian} {}

    Bytes build(int orientation, const Bytes& jpeg) {
        block_ = text(big_ ? "MM" : "II");
        u16(42), u32(8);
        u16(4);
        entry(0x112, 3, static_cast<std::uint32_t>(orientation));
        entry(0x11A, 5, 104), entry(0x11B, 5, 104), entry(0x128, 3, 2);
        u32(jpeg.empty() ? 0 : 62);
        u16(3);  // the second directory, at 62
        entry(0x103, 3, 6), entry(0x201, 4, 112), entry(0x202, 4, static_cast<std::uint32_t>(jpeg.size()));
        u32(0);
        u32(72), u32(1);
        append(block_, jpeg);
        return block_;
    }

  private:
    void u16(unsigned v) {
        const auto high = static_cast<std::uint8_t>(v >> 8), low = static_cast<std::uint8_t>(v);
        append(block_, big_ ? Bytes{high, low} : Bytes{low, high});
    }
    void u32(std::uint32_t v) { big_ ? (u16(v >> 16), u16(v & 0xFFFF)) : (u16(v & 0xFFFF), u16(v >> 16)); }
    void entry(unsigned tag, unsigned type, std::uint32_t value) {
        u16(tag), u16(type), u32(1);
        if (type == 3)
            u16(value), u16(0);
        else
            u32(value);
    }

    Bytes block_;
    bool big_;
};

Bytes exif_segment(const Bytes& block) {
    Bytes payload = text({"Exif\0\0", 6});
    append(payload, block);
    return payload;
}

TEST(ExifTest, BothByteOrdersGiveOrientationResolutionAndStamp) {
    const Bytes jpeg = encode(gradient(40, 20));
    for (const bool big : {false, true}) {
        SCOPED_TRACE(big);
        const Bytes block = ExifBuilder{big}.build(6, jpeg);
        const ExifFacts facts = read_exif(block);
        EXPECT_EQ(facts.orientation, Orientation::rotated_right);
        EXPECT_EQ(facts.resolution, (Resolution{72, 72}));
        ASSERT_TRUE(facts.stamp);
        EXPECT_EQ(facts.stamp->size, jpeg.size());

        const Bytes saved = exif_for_saving(block, Orientation::normal);
        EXPECT_EQ(read_exif(saved).orientation, Orientation::normal);
        EXPECT_EQ(read_exif(saved).resolution, (Resolution{72, 72}));
        EXPECT_FALSE(read_exif(saved).stamp);
        EXPECT_LT(saved.size(), block.size());
    }
}

TEST(ExifTest, DamagedBlocksAreHarmless) {
    const Bytes block = ExifBuilder{false}.build(6, encode(gradient(8, 8)));
    for (std::size_t size = 0; size < 120; ++size) {
        const Bytes part(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(size < 112 && read_exif(part).stamp);
        exif_for_saving(part, Orientation::normal);
    }
    for (std::size_t at = 0; at < 112; ++at) {
        for (const int value : {0, 1, 127, 128, 255}) {
            Bytes changed = block;
            changed[at] = static_cast<std::uint8_t>(value);
            const auto facts = read_exif(changed);
            EXPECT_TRUE(!facts.stamp || facts.stamp->offset + facts.stamp->size <= changed.size());
            exif_for_saving(changed, Orientation::normal);
        }
    }
}

TEST(JpegTest, ColoursAndGreysComeBack) {
    struct Case {
        bool gray;
        int quality, tolerance;
    };
    for (const Case& c : {Case{true, 95, 6}, Case{false, 95, 8}, Case{false, 75, 40}}) {
        const Bitmap bitmap = gradient(83, 61, c.gray);
        const auto back = decode(encode(bitmap, c.quality));
        ASSERT_TRUE(back);
        EXPECT_EQ(back->bitmap.bits(), c.gray ? 8 : 24);
        EXPECT_EQ(back->rows_shown, 61);
        std::int64_t difference = 0, count = 0;
        for (int y = 0; y < 61; ++y) {
            const auto a = bitmap.row(y), b = back->bitmap.row(y);
            for (std::size_t i = 0; i < a.size(); ++i) difference += std::abs(a[i] - b[i]), ++count;
        }
        EXPECT_LT(difference, count * c.tolerance);
    }
}

TEST(JpegTest, ColourResolutionFollowsQuality) {
    const Bytes full = encode(gradient(16, 16), 90), half = encode(gradient(16, 16), 89);
    const auto luma_factors = [](const Bytes& file) {
        const Bytes frame{0xFF, 0xC0};
        const auto at = std::ranges::search(file, frame).begin();
        return at == file.end() ? 0 : static_cast<int>(at[11]);
    };
    EXPECT_EQ(luma_factors(full), 0x11);
    EXPECT_EQ(luma_factors(half), 0x22);
}

TEST(JpegTest, MetadataSurvivesSaving) {
    Bitmap bitmap = gradient(20, 10);
    Metadata& metadata = bitmap.metadata();
    metadata.resolution = {300, 200};
    metadata.comment = "a comment";
    Bytes profile(150'000);
    for (std::size_t i = 0; i < profile.size(); ++i) profile[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    metadata.icc = std::make_shared<const Bytes>(profile);
    metadata.exif = std::make_shared<const Bytes>(ExifBuilder{true}.build(6, encode(gradient(10, 5))));
    const Bytes file = encode(bitmap);
    const auto back = decode(file);
    ASSERT_TRUE(back);
    const Metadata& got = back->bitmap.metadata();
    EXPECT_EQ(got.resolution, metadata.resolution);
    EXPECT_EQ(got.comment, metadata.comment);
    ASSERT_TRUE(got.icc && got.exif);
    EXPECT_EQ(*got.icc, profile);
    EXPECT_EQ(got.orientation, Orientation::normal);
    EXPECT_FALSE(info(file)->has_stamp);
}

TEST(JpegTest, OrientationIsAppliedOnLoadAndToTheStamp) {
    const Bytes thumb = encode(gradient(40, 20));
    const Bytes file =
        with_segment(encode(gradient(80, 40)), 0xE1, exif_segment(ExifBuilder{false}.build(6, thumb)));
    const auto facts = info(file);
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->width, 40);
    EXPECT_EQ(facts->height, 80);
    RowSink sink;
    const auto upright = load(memory_source(std::span{file}), "x.jpg", LoadOptions{}, sink);
    ASSERT_TRUE(upright);
    EXPECT_EQ(upright->bitmap.width(), 40);
    const auto small = stamp(file);
    ASSERT_TRUE(small);
    EXPECT_EQ(small->bitmap.width(), 20);
    EXPECT_EQ(small->bitmap.height(), 40);
}

// Four pixels that differ, in each coding that a stamp can have.
TEST(JpegTest, StampsInEveryCoding) {
    const Bytes image = encode(gradient(64, 64));
    const Bytes thumb = encode(gradient(16, 16));
    Bytes rgb{2, 2, 255, 0, 0, 0, 255, 0, 0, 0, 255, 9, 9, 9};
    Bytes palette = text({"JFXX\0\x11\2\2", 8});
    Bytes entries(768);
    entries[3] = 255, entries[7] = 255, entries[11] = 255;  // 1 red, 2 green, 3 blue
    append(palette, entries);
    append(palette, {1, 2, 3, 0});
    Bytes jfxx_rgb = text({"JFXX\0\x13", 6});
    append(jfxx_rgb, rgb);
    Bytes jfxx_jpeg = text({"JFXX\0\x10", 6});
    append(jfxx_jpeg, thumb);
    Bytes photoshop =
        text({"Photoshop 3.0\0"
              "8BIM\x04\x0C\0\0",
              22});
    const std::size_t size = thumb.size() + 28;
    append(photoshop,
           {0, 0, static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size), 0, 0, 0, 1});
    append(photoshop, Bytes(24));
    append(photoshop, thumb);
    Bytes jfif = text({"JFIF\0\1\2\0\0\1\0\1", 12});
    append(jfif, rgb);

    struct Case {
        const char* name;
        int marker;
        const Bytes& payload;
        int side;
    };
    for (const Case& c : {Case{"JFXX palette", 0xE0, palette, 2}, Case{"JFXX RGB", 0xE0, jfxx_rgb, 2},
                          Case{"JFXX JPEG", 0xE0, jfxx_jpeg, 16}, Case{"Photoshop", 0xED, photoshop, 16},
                          Case{"JFIF", 0xE0, jfif, 2}}) {
        SCOPED_TRACE(c.name);
        const Bytes file = with_segment(image, c.marker, c.payload);
        EXPECT_TRUE(info(file)->has_stamp);
        const auto small = stamp(file);
        ASSERT_TRUE(small);
        EXPECT_EQ(small->bitmap.width(), c.side);
        EXPECT_EQ(small->bitmap.height(), c.side);
        if (c.side == 2) {
            EXPECT_EQ(small->bitmap.pixel(0, 0), (Rgba{255, 0, 0, 255}));
            EXPECT_EQ(small->bitmap.pixel(0, 1), (Rgba{0, 0, 255, 255}));
        }
    }
    EXPECT_FALSE(info(image)->has_stamp);
    EXPECT_EQ(stamp(image).error().fault, Fault::no_stamp);
}

TEST(JpegTest, StampOfAnotherShapeIsPassedOver) {
    const Bytes file = with_segment(encode(gradient(80, 40)), 0xE1,
                                    exif_segment(ExifBuilder{false}.build(1, encode(gradient(40, 40)))));
    EXPECT_FALSE(info(file)->has_stamp);
}

TEST(JpegTest, ReducedDecoding) {
    const Bytes file = encode(gradient(101, 50));
    for (const int reduce : {2, 4, 8}) {
        const auto small = decode(file, reduce);
        ASSERT_TRUE(small);
        EXPECT_EQ(small->bitmap.width(), (101 + reduce - 1) / reduce);
        EXPECT_EQ(small->bitmap.height(), (50 + reduce - 1) / reduce);
        EXPECT_EQ(small->rows_declared, small->bitmap.height());
    }
}

TEST(JpegTest, TruncationCountsTheRowsThatWereThere) {
    const Bytes whole = encode(gradient(256, 256));
    const auto reference = decode(whole);
    int before = 0;
    for (const int percent : {50, 70, 90}) {
        Bytes file = whole;
        file.resize(whole.size() * static_cast<std::size_t>(percent) / 100);
        const auto outcome = decode(file);
        ASSERT_TRUE(outcome);
        EXPECT_GT(outcome->rows_shown, before);
        EXPECT_LT(outcome->rows_shown, 256);
        EXPECT_FALSE(outcome->warnings.empty());
        for (int y = 0; y < outcome->rows_shown; ++y) {
            ASSERT_TRUE(std::ranges::equal(outcome->bitmap.row(y), reference->bitmap.row(y)))
                << percent << " " << y;
        }
        EXPECT_TRUE(
            std::ranges::all_of(outcome->bitmap.row(outcome->rows_shown), [](int v) { return v == 0; }));
        before = outcome->rows_shown;
    }
    Bytes no_end = whole;
    no_end.resize(whole.size() - 2);  // only the end marker is missing: nothing is lost
    const auto outcome = decode(no_end);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->rows_shown, 256);
    EXPECT_TRUE(outcome->warnings.empty());
}

// Between two scans, a second frame header that declares more sides and components than there is memory for.
TEST(JpegTest, SecondFrameHeaderChangesNothing) {
    Bytes file{0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0};
    append(file, Bytes(64, 1));
    const auto frame = [](int side, int components) {
        Bytes header{0xFF, 0xC0, 0, 17, 8};
        for (int i = 0; i < 2; ++i)
            append(header, {static_cast<std::uint8_t>(side >> 8), static_cast<std::uint8_t>(side)});
        append(header, {static_cast<std::uint8_t>(components), 1, 0x11, 0, 2, 0x11, 0, 3, 0x11, 0});
        return header;
    };
    append(file, frame(16, 3));
    for (const std::uint8_t table : {0x00, 0x10}) {  // a single code of one bit: no difference, end of block
        append(file, {0xFF, 0xC4, 0, 20, table, 1});
        append(file, Bytes(16, 0));
    }
    append(file, {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0, 0x00});  // four blocks of the first component
    append(file, frame(0x1700, 37));
    append(file, {0xFF, 0xD9});
    const auto outcome = decode(file);
    ASSERT_TRUE(outcome) << outcome.error().where.text();
    EXPECT_EQ(outcome->bitmap.width(), 16);
    EXPECT_EQ(outcome->bitmap.height(), 16);
    EXPECT_EQ(outcome->bitmap.pixel(15, 14), (Rgba{128, 128, 128, 255}));
    EXPECT_FALSE(outcome->warnings.empty());
}

TEST(JpegTest, VariantsBeyondUsAreRefusedByName) {
    const Bytes file = encode(gradient(16, 16));
    const Bytes marker{0xFF, 0xC0};
    const auto at = static_cast<std::size_t>(std::ranges::search(file, marker).begin() - file.begin());
    ASSERT_LT(at + 9, file.size());
    const auto refused = [&](std::size_t offset, int value) {
        Bytes changed = file;
        changed[at + offset] = static_cast<std::uint8_t>(value);
        const auto outcome = decode(changed);
        EXPECT_FALSE(outcome);
        EXPECT_EQ(info(changed).error().fault, Fault::unsupported);
        return outcome.error();
    };
    EXPECT_EQ(refused(1, 0xC3).where.text(), "lossless JPEG");
    EXPECT_EQ(refused(4, 12).where.text(), "12-bit JPEG");
    EXPECT_EQ(refused(1, 0xC5).where.text(), "hierarchical JPEG");
}

}  // namespace
}  // namespace quillmark::imaging
