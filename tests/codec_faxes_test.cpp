// Files of fax data: CALS, raw fax and its wrappers, WinFax. Files made by hand, damage, and what is written.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "imaging/codecs/fax_encoder.h"
#include "imaging/load.h"
#include "imaging/save.h"
#include "support/fixtures.h"

namespace quillmark::tests {
namespace {

using namespace imaging;
using Bytes = std::vector<std::uint8_t>;

constexpr Rgba kBlack{0, 0, 0, 255}, kWhite{255, 255, 255, 255};
// Two rows of eight pixels: white, then black from the second pixel on. Group 4: V0; horizontal with white 1,
// black 7; end of block.
const Bytes kTwoRows{0b10010001, 0b11000110, 0b00000000, 0b00100000, 0b00000010};
// Sixteen pixels by four rows: white, black, every other pixel, fours.
const Bytes kGroup3{0x00, 0x1a, 0x80, 0x04, 0xd4, 0x17, 0x00, 0x11, 0xd0, 0xe8,
                    0x74, 0x3a, 0x1d, 0x0e, 0x87, 0x43, 0xa0, 0x01, 0xb7, 0x6c};
const Bytes kGroup3Low{0x00, 0x58, 0x01, 0x20, 0x2b, 0xe8, 0x00, 0x88, 0x0b, 0x17,
                       0x2e, 0x5c, 0xb8, 0x70, 0xe1, 0xc2, 0x05, 0x80, 0xed, 0x36};
constexpr std::string_view kFours =
    "................\n################\n.#.#.#.#.#.#.#.#\n....####....####\n";

Result<Outcome> open(const Bytes& bytes, const char* name, int page = 1) {
    RowSink sink;
    LoadOptions options;
    options.page = page;
    return load(memory_source(bytes), name, options, sink);
}

Result<ImageInfo> info(const Bytes& bytes, const char* name, int page = 1) {
    ReadOptions options;
    options.page = page;
    return read_info(memory_source(bytes), name, options);
}

std::string drawn(const Bitmap& bitmap) {
    std::string text;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) text += bitmap.pixel(x, y) == kBlack ? '#' : '.';
        text += '\n';
    }
    return text;
}

std::string drawn(const Result<Outcome>& outcome) {
    return outcome ? drawn(outcome->bitmap) : std::string{outcome.error().where.text()};
}

// For pages that are too large to be printed.
testing::AssertionResult shows(const Result<Outcome>& outcome, const Bitmap& wanted) {
    if (!outcome) return testing::AssertionFailure() << outcome.error().where.text();
    if (drawn(outcome->bitmap) == drawn(wanted)) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "other pixels, " << outcome->bitmap.width() << "x" << outcome->bitmap.height();
}

Bytes bytes_of(std::string_view text) { return {text.begin(), text.end()}; }

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Records of 128 bytes, blanks after the last one.
Bytes cals(const std::vector<std::string>& records, const Bytes& data = kTwoRows) {
    Bytes file;
    for (std::string record : records) {
        record.resize(128, ' ');
        file = file + bytes_of(record);
    }
    file.resize(2048, ' ');
    return file + data;
}

// A page of rows that differ, and its pixels.
Bitmap page(int width, int height) {
    Bitmap bitmap = pattern(width, height, 1);
    bitmap.set_palette({kWhite, kBlack});
    return bitmap;
}

// Lines of writing, as it were: long white runs, few black ones.
Bitmap text_page(int width, int height) {
    Bitmap bitmap = page(width, height);
    bitmap.clear_rows(0, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 40 + y % 7; x + 40 < width && y % 9 > 2; x += 37 + y % 9)
            bitmap.writable_row(y)[static_cast<std::size_t>(x) / 8] = static_cast<std::uint8_t>(x * 5 + y);
    }
    return bitmap;
}

Bytes coded(const Bitmap& bitmap, fax::Layout layout, bool closed = true) {
    layout.width = bitmap.width();
    fax::Encoder encoder{layout};
    for (int y = 0; y < bitmap.height(); ++y) encoder.add_row(bitmap.row(y));
    encoder.finish(closed);
    return encoder.bytes();
}

Bytes saved(const Bitmap& bitmap, int code) {
    MemoryWriter out;
    SaveOptions options;
    options.format_code = code;
    EXPECT_TRUE(save(bitmap, out, options)) << code;
    return out.bytes();
}

TEST(Cals, turns_the_page_as_its_angles_say) {
    // The two rows as they are to be shown, for each pair of directions.
    struct {
        const char* angles;
        std::string_view shown;
    } const cases[] = {
        {"000,270", "........\n.#######\n"},
        {"180,270", "........\n#######.\n"},
        {"180,090", "#######.\n........\n"},
        {"000,090", ".#######\n........\n"},
        {"270,000", "..\n.#\n.#\n.#\n.#\n.#\n.#\n.#\n"},
        {"270,180", "..\n#.\n#.\n#.\n#.\n#.\n#.\n#.\n"},
        {"090,180", "#.\n#.\n#.\n#.\n#.\n#.\n#.\n..\n"},
        {"090,000", ".#\n.#\n.#\n.#\n.#\n.#\n.#\n..\n"},
        {"000,180", "........\n.#######\n"},  // not at right angles: as stored
        {"045,135", "........\n.#######\n"},
    };
    for (const auto& [angles, shown] : cases) {
        const auto file =
            cals({"srcdocid: x", "rtype: 1", std::string{"rorient: "} + angles, "rpelcnt: 000008,000002"});
        EXPECT_EQ(drawn(open(file, "x.cal")), shown) << angles;
    }
}

TEST(Cals, headers_as_writers_leave_them) {
    struct {
        const char* name;
        std::vector<std::string> records;
        double dpi;
    } const cases[] = {
        {"keys in another order", {"rorient: 000,270", "rpelcnt: 000008,000002", "rdensty: 0300"}, 300},
        {"no blank, capitals", {"VERSION: MIL-STD-1840", "RPELCNT:8,2", "RTYPE:1", "RDENSTY:400"}, 400},
        {"no density", {"srcdocid: NONE", "rpelcnt: 8 , 2", "rdensty: NONE"}, 200},
        {"density 0", {"srcdocid: NONE", "rpelcnt: 000008,000002", "rdensty: 0000"}, 200},
        {"line ends", {"srcdocid: NONE\r\n", "\r\nrpelcnt: 000008,000002\r\n", "rtype: 1\r\n"}, 200},
        {"shifted",
         {"    srcdoc: NONE", "x rtype: 1", "x rorient: 000,270", "x rpelcnt: 000008,000002"},
         200},
    };
    for (const auto& [name, records, dpi] : cases) {
        const auto read = open(cals(records), "x.bin");
        EXPECT_EQ(drawn(read), "........\n.#######\n") << name;
        if (!read) continue;
        EXPECT_EQ(read->bitmap.metadata().resolution, (Resolution{dpi, dpi})) << name;
        EXPECT_EQ(read->format_code, 50);
    }
}

TEST(Cals, refuses_what_makes_no_sense) {
    struct {
        const char* name;
        Bytes file;
        Fault fault;
    } const cases[] = {
        {"type 2", cals({"srcdocid: x", "rtype: 2", "rpelcnt: 000008,000002"}), Fault::unsupported},
        {"another type", cals({"srcdocid: x", "rtype: 7", "rpelcnt: 000008,000002"}), Fault::malformed},
        {"no sides", cals({"srcdocid: x", "rtype: 1"}), Fault::malformed},
        {"no number", cals({"srcdocid: x", "rpelcnt: 0000a8,000002"}), Fault::malformed},
        {"seven digits", cals({"srcdocid: x", "rpelcnt: 0000008,000002"}), Fault::malformed},
        {"no width", cals({"srcdocid: x", "rpelcnt: 000000,000002"}), Fault::malformed},
        {"no data", cals({"srcdocid: x", "rpelcnt: 000008,000002"}, {}), Fault::truncated},
        {"no row", cals({"srcdocid: x", "rpelcnt: 000008,000002"}, {0, 0, 0}), Fault::truncated},
    };
    for (const auto& [name, file, fault] : cases) {
        const auto read = open(file, "x.cal");
        ASSERT_FALSE(read) << name;
        EXPECT_EQ(read.error().fault, fault) << name;
    }
}

TEST(Cals, shows_the_rows_that_are_there) {
    const auto read = open(cals({"srcdocid: x", "rpelcnt: 000008,000900"}), "x.cal");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->rows_shown, 2);
    EXPECT_EQ(read->rows_declared, 900);
    EXPECT_FALSE(read->warnings.empty());
    EXPECT_EQ(read->bitmap.pixel(1, 1), kBlack);
    EXPECT_EQ(read->bitmap.pixel(1, 899), kWhite);
}

TEST(Cals, keeps_resolution_notes_and_colours) {
    for (const bool black_first : {false, true}) {
        Bitmap bitmap = page(1729, 31);
        bitmap.set_palette(black_first ? Palette{kBlack, kWhite} : Palette{kWhite, kBlack});
        bitmap.metadata().resolution = {399.6, 399.6};
        bitmap.metadata().comment = "plan 7";
        const Bytes file = saved(bitmap, 50);
        const auto read = open(file, "x.cal");
        ASSERT_TRUE(read);
        EXPECT_TRUE(shows(read, bitmap));
        EXPECT_EQ(read->bitmap.metadata().resolution, (Resolution{400, 400}));
        EXPECT_EQ(read->bitmap.metadata().comment, "plan 7");
        EXPECT_EQ((std::string{file.begin() + 8 * 128, file.begin() + 8 * 128 + 22}),
                  "rpelcnt: 001729,000031");
    }
}

TEST(RawFax, finds_out_how_rows_are_coded) {
    EXPECT_EQ(drawn(open(kGroup3, "x.g3")), kFours);
    EXPECT_EQ(drawn(open(kGroup3Low, "x.bin")), kFours);
    using fax::Coding;
    const Bitmap wide = page(1728, 60), odd = page(203, 60);
    struct {
        const char* name;
        const Bitmap& bitmap;
        fax::Layout layout;
        int code;
    } const cases[] = {
        {"1-D", odd, {Coding::group3}, 77},
        {"1-D, whole bytes", odd, {Coding::group3, 0, false, true}, 77},
        {"1-D, low bit first", odd, {Coding::group3, 0, true}, 77},
        {"2-D", odd, {Coding::group3_2d}, 78},
        {"2-D, low bit first, whole bytes", odd, {Coding::group3_2d, 0, true, true}, 78},
        {"group 4", wide, {Coding::group4}, 79},
        {"group 4, low bit first", wide, {Coding::group4, 0, true}, 79},
        {"rows", wide, {Coding::rows}, 77},
        {"rows on bytes, low bit first", wide, {Coding::aligned_rows, 0, true}, 77},
    };
    for (const auto& [name, bitmap, layout, code] : cases) {
        for (const bool closed : {true, false}) {
            const Bytes file = coded(bitmap, layout, closed);
            const auto read = open(file, "x.fax");
            EXPECT_TRUE(shows(read, bitmap)) << name << closed;
            if (!read) continue;
            EXPECT_EQ(read->format_code, code) << name;
            EXPECT_EQ(read->rows_shown, bitmap.height()) << name;
            EXPECT_TRUE(read->warnings.empty()) << name;
        }
    }
}

TEST(RawFax, pages_follow_each_other) {
    using fax::Coding;
    for (const fax::Layout& layout : {fax::Layout{Coding::group3}, fax::Layout{Coding::group3_2d, 0, true},
                                      fax::Layout{Coding::group4}}) {
        const Bitmap pages[] = {page(1728, 60), page(1728, 25), page(1728, 31)};
        Bytes file;
        for (const Bitmap& bitmap : pages) file = file + coded(bitmap, layout);
        file.resize(file.size() + 500);  // zeros are no page
        for (int i = 0; i < 3; ++i) {
            const auto facts = info(file, "x.fax", i + 1);
            ASSERT_TRUE(facts);
            EXPECT_EQ(facts->pages, 3);
            EXPECT_EQ(facts->page, i + 1);
            EXPECT_EQ(facts->resolution, (Resolution{204, 98}));
            EXPECT_TRUE(shows(open(file, "x.fax", i + 1), pages[i])) << i;
        }
    }
}

TEST(RawFax, a_damaged_row_is_counted_and_the_rest_is_shown) {
    const Bitmap bitmap = page(203, 60);
    Bytes file = coded(bitmap, {fax::Coding::group3});
    file[file.size() / 2] ^= 0xFF;
    file[file.size() / 2 + 1] ^= 0xFF;
    const auto read = open(file, "x.fax");
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->warnings.empty());
    EXPECT_NEAR(read->bitmap.height(), 60, 3);
    const std::string shown = drawn(read->bitmap), whole = drawn(bitmap);
    EXPECT_EQ(shown.substr(0, 204 * 20), whole.substr(0, 204 * 20));
    EXPECT_EQ(shown.substr(shown.size() - 204 * 20), whole.substr(whole.size() - 204 * 20));
}

TEST(RawFax, other_files_are_no_fax) {
    Bytes noise(5000);
    unsigned value = 1;
    for (auto& byte : noise) byte = static_cast<std::uint8_t>((value = value * 1103515245 + 12345) >> 16);
    Bytes zeros_first(512);
    zeros_first = zeros_first + noise;
    const std::pair<const char*, Bytes> cases[] = {
        {"noise", noise},
        {"zeros and noise", zeros_first},
        {"zeros", Bytes(5000)},
        {"ones", Bytes(5000, 0xFF)},
        {"text", bytes_of(std::string(400, 'a') + "The quick brown fox jumps over the lazy dog\n")},
        {"nearly a row", {0x00, 0x1A, 0x80, 0x00}},
    };
    for (const auto& [name, file] : cases) {
        for (const char* file_name : {"x.dat", "x.g3", "x.fxs"}) {
            const auto read = open(file, file_name);
            // Another format without a signature may still take it.
            const Codec* codec = read ? codec_for_format(read->format_code) : nullptr;
            EXPECT_TRUE(!codec || (codec->name != "Raw fax" && codec->name != "WinFax"))
                << name << " as " << file_name;
            EXPECT_TRUE(read || read.error().fault == Fault::unknown_format) << name << " as " << file_name;
        }
    }
}

TEST(FaxWrappers, are_read_through) {
    using fax::Coding;
    const Bitmap bitmap = page(216, 40);
    const Bytes high = coded(bitmap, {Coding::group3}), low = coded(bitmap, {Coding::group3, 0, true, true});
    Bytes digifax = bytes_of(std::string{"\0PC Research, Inc", 17});
    digifax.resize(64);
    digifax[24] = 2;
    Bytes qfx = bytes_of(std::string{"QLIIFAX\0", 8});
    qfx.resize(1536);
    qfx[8] = 2, qfx[16] = 2;
    Bytes brooktrout{0xBB, 0x01, 0x00, 0x01, 0, 0, 200};
    brooktrout.resize(128);
    Bytes qfax = bytes_of("QFAX0.07");
    qfax.resize(64);
    struct {
        const char* name;
        Bytes file;
        int pages;
        Resolution resolution;
    } const cases[] = {
        {"Digifax", digifax + high + high, 2, {204, 98}},
        {"Quick Link", qfx + low + low, 2, {200, 100}},
        {"Brooktrout", brooktrout + high, 1, {200, 200}},
        {"QFAX", qfax + low, 1, {0, 0}},
    };
    for (const auto& [name, file, pages, resolution] : cases) {
        const auto facts = info(file, "x.bin", pages);
        ASSERT_TRUE(facts) << name;
        EXPECT_EQ(facts->pages, pages) << name;
        EXPECT_EQ(facts->format_code, 66) << name;
        EXPECT_EQ(facts->resolution, resolution) << name;
        EXPECT_TRUE(shows(open(file, "x.bin", pages), bitmap)) << name;
    }
    const auto iff = open(bytes_of("FORM....FAX3...."), "x.bin");
    ASSERT_FALSE(iff);
    EXPECT_EQ(iff.error().fault, Fault::unsupported);
}

TEST(FaxWrappers, structured_files) {
    const auto record = [](std::string_view row) {
        Bitmap bitmap = *Bitmap::create(8, 1, 1, Limits{});
        for (std::size_t x = 0; x < 8; ++x)
            if (row[x] == '#') bitmap.writable_row(0)[0] |= static_cast<std::uint8_t>(0x80U >> x);
        return coded(bitmap, {fax::Coding::aligned_rows, 8, true}, false);
    };
    Bytes header = bytes_of(std::string{"Sfff\1\0\0\0\2\0\x14\0\0\0\0\0\0\0\0\0", 20});
    const Bytes page_header{254, 16, 1, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0};
    const Bytes first = record(".#######"), second = record("##....##");
    const Bytes file = header + page_header + Bytes{static_cast<std::uint8_t>(first.size())} + first +
                       Bytes{218, 255, 2, 9, 9, 0, static_cast<std::uint8_t>(second.size() + 1), 0} + second +
                       Bytes{0, 255, 0} + page_header + Bytes{static_cast<std::uint8_t>(second.size())} +
                       second + Bytes{254, 0};
    EXPECT_EQ(drawn(open(file, "x.sff")), ".#######\n........\n........\n##....##\n##....##\n");
    EXPECT_EQ(drawn(open(file, "x.bin", 2)), "##....##\n");
    const auto facts = info(file, "x.sff");
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->pages, 2);
    EXPECT_EQ(facts->resolution, (Resolution{204, 196}));
}

TEST(WinFax, pages_are_found_behind_an_unknown_header) {
    Bytes header(300, 0x55);
    const Bitmap bitmap = text_page(1728, 230);
    for (const fax::Layout& layout :
         {fax::Layout{fax::Coding::group3, 0, true}, fax::Layout{fax::Coding::group4}}) {
        const Bytes one = coded(bitmap, layout);
        const Bytes file = header + one + one;
        const auto read = open(file, "x.fxs", 2);
        EXPECT_TRUE(shows(read, bitmap));
        ASSERT_TRUE(read);
        EXPECT_EQ(read->format_code, layout.coding == fax::Coding::group4 ? 70 : 69);
        EXPECT_FALSE(read->warnings.empty()) << "says that pages were found by scanning";
        EXPECT_EQ(info(file, "x.fxs")->pages, 2);
    }
}

TEST(Faxes, what_is_written_reads_back) {
    int cases = 0;
    for (const int code : {25, 27, 50, 66, 69, 77, 78}) {
        for (const auto& [width, height] :
             {std::pair{1, 1}, {1, 37}, {65, 3}, {1728, 5}, {3000, 300}, {5001, 20}}) {
            const Bitmap bitmap = page(width, height);
            const auto read = open(saved(bitmap, code), "x.fax");
            EXPECT_TRUE(shows(read, bitmap)) << code << " " << width << "x" << height;
            if (!read) continue;
            EXPECT_EQ(read->bitmap.bits(), 1);
            EXPECT_EQ(read->format_code, code == 69 ? 27 : code);
            ++cases;
        }
    }
    EXPECT_EQ(cases, 7 * 6);
}

TEST(Faxes, the_header_says_how_far_apart_rows_are) {
    Bitmap bitmap = page(203, 20);
    for (const auto& [given, read] : {std::pair{Resolution{}, Resolution{204, 196}},
                                      {Resolution{204, 98}, Resolution{204, 98}},
                                      {Resolution{100, 100}, Resolution{204, 196}}}) {
        bitmap.metadata().resolution = given;
        EXPECT_EQ(info(saved(bitmap, 66), "x.fax")->resolution, read);
    }
}

}  // namespace
}  // namespace quillmark::tests
