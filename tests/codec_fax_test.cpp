// Fax coding: known streams, round trips, libtiff as the other opinion, damage.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <bit>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "imaging/codecs/fax_encoder.h"

namespace quillmark::tests {
namespace {

using namespace imaging::fax;
using Bytes = std::vector<std::uint8_t>;
using Rows = std::vector<Bytes>;

struct Kind {
    const char* name;
    Coding coding;
    int compression, options;
};
const Kind kKinds[] = {{"rows", Coding::aligned_rows, COMPRESSION_CCITTRLE, 0},
                       {"group 3", Coding::group3, COMPRESSION_CCITTFAX3, 0},
                       {"group 3 2-D", Coding::group3_2d, COMPRESSION_CCITTFAX3, GROUP3OPT_2DENCODING},
                       {"group 4", Coding::group4, COMPRESSION_CCITTFAX4, 0}};

Rows page(int width, int height, int density, unsigned seed) {
    std::mt19937 random{seed};
    Rows rows(static_cast<std::size_t>(height), Bytes(static_cast<std::size_t>((width + 7) / 8)));
    for (auto& row : rows) {
        // Rows resemble the one above, as those of documents do.
        if (&row != rows.data() && random() % 3) row = *(&row - 1);
        bool black = false;
        for (int x = 0; x < width; ++x) {
            if (random() % static_cast<unsigned>(density) == 0) black = !black;
            if (random() % 4 == 0) continue;
            const auto bit = static_cast<std::uint8_t>(0x80U >> x % 8);
            auto& byte = row[static_cast<std::size_t>(x) / 8];
            byte = static_cast<std::uint8_t>(black ? byte | bit : byte & ~bit);
        }
    }
    return rows;
}

Bytes encode(const Rows& rows, const Layout& layout, bool closed = false) {
    Encoder encoder{layout};
    for (const Bytes& row : rows) encoder.add_row(row);
    encoder.finish(closed);
    return encoder.bytes();
}

Rows decode(const Bytes& data, const Layout& layout, std::size_t most, int* damaged = nullptr) {
    Decoder decoder{data, layout};
    Rows rows;
    while (rows.size() < most) {
        Bytes row(static_cast<std::size_t>((layout.width + 7) / 8), 0xEE);
        if (decoder.next(row) == Decoder::Row::end) break;
        rows.push_back(row);
    }
    if (damaged) *damaged = decoder.damaged_rows();
    return rows;
}

// The four rows of the known streams: white, black, every other pixel, fours.
const Rows kKnown{{0x00, 0x00}, {0xFF, 0xFF}, {0x55, 0x55}, {0x0F, 0x0F}};

TEST(Fax, known_streams) {
    struct {
        const char* name;
        Layout layout;
        Bytes data;
    } const cases[] = {
        {"group 4", {Coding::group4, 16, false}, {0x93, 0x50, 0x5d, 0x94, 0x39, 0x43, 0x94,
                                                  0x39, 0x43, 0x94, 0x39, 0x43, 0x84, 0xa2,
                                                  0xc6, 0x2c, 0x60, 0x02, 0x00, 0x20}},
        {"group 3", {Coding::group3, 16, false}, {0x00, 0x1a, 0x80, 0x04, 0xd4, 0x17, 0x00,
                                                  0x11, 0xd0, 0xe8, 0x74, 0x3a, 0x1d, 0x0e,
                                                  0x87, 0x43, 0xa0, 0x01, 0xb7, 0x6c}},
        {"group 3, low bit first", {Coding::group3, 16, true}, {0x00, 0x58, 0x01, 0x20, 0x2b, 0xe8, 0x00,
                                                                0x88, 0x0b, 0x17, 0x2e, 0x5c, 0xb8, 0x70,
                                                                0xe1, 0xc2, 0x05, 0x80, 0xed, 0x36}},
        {"group 3, aligned", {Coding::group3, 16, false}, {0x00, 0x01, 0xa8, 0x00, 0x01, 0x35, 0x05, 0xc0,
                                                           0x01, 0x1d, 0x0e, 0x87, 0x43, 0xa1, 0xd0, 0xe8,
                                                           0x74, 0x3a, 0x00, 0x01, 0xb7, 0x6c}},
        {"group 3 2-D", {Coding::group3_2d, 16, false}, {0x00, 0x1d, 0x40, 0x02, 0x26, 0xa0, 0xb8, 0x00,
                                                         0xc7, 0x43, 0xa1, 0xd0, 0xe8, 0x74, 0x3a, 0x1d,
                                                         0x0e, 0x80, 0x04, 0x2c, 0x62, 0xc6}},
        {"group 3 2-D, aligned",
         {Coding::group3_2d, 16, false},
         {0x00, 0x01, 0xd4, 0x00, 0x01, 0x13, 0x50, 0x5c, 0x00, 0x01, 0x8e, 0x87, 0x43,
          0xa1, 0xd0, 0xe8, 0x74, 0x3a, 0x1d, 0x00, 0x01, 0x0b, 0x18, 0xb1, 0x80}},
    };
    for (const auto& [name, layout, data] : cases) {
        int damaged = 0;
        EXPECT_EQ(decode(data, layout, 9, &damaged), kKnown) << name;
        EXPECT_EQ(damaged, 0) << name;
        const bool framed = layout.coding != Coding::group4;
        EXPECT_TRUE(!framed || has_end_of_line(data, layout.lowest_bit_first)) << name;
    }
    EXPECT_EQ(encode(kKnown, {Coding::group4, 16, false}), cases[0].data);
    EXPECT_EQ(encode(kKnown, {Coding::group3, 16, false}), cases[1].data);
    EXPECT_EQ(encode(kKnown, {Coding::group3, 16, true}), cases[2].data);
}

TEST(Fax, what_is_written_reads_back) {
    int cases = 0;
    for (const Kind& kind : kKinds) {
        for (const int width : {1, 7, 8, 63, 64, 65, 1728, 2700, 9001}) {
            for (const int density : {2, 20, 4000}) {
                for (const bool low_first : {false, true}) {
                    const Layout layout{kind.coding, width, low_first};
                    const Rows rows = page(width, 23, density, static_cast<unsigned>(width + density));
                    EXPECT_EQ(decode(encode(rows, layout, true), layout, 23), rows)
                        << kind.name << " " << width << " " << density;
                    ++cases;
                }
            }
        }
    }
    EXPECT_EQ(cases, 4 * 9 * 3 * 2);
}

// A TIFF file in memory, for libtiff to write and to read.
struct Memory {
    Bytes data;
    std::size_t at = 0;
};

TIFF* open_memory(Memory& memory, const char* mode) {
    memory.at = 0;
    const auto self = [](thandle_t handle) -> Memory& { return *static_cast<Memory*>(handle); };
    static const auto memory_of = self;
    return TIFFClientOpen(
        "memory", mode, &memory,
        [](thandle_t handle, void* out, tmsize_t size) {
            Memory& m = memory_of(handle);
            const std::size_t count =
                std::min(static_cast<std::size_t>(size), m.data.size() - std::min(m.at, m.data.size()));
            if (count > 0) std::memcpy(out, m.data.data() + m.at, count);
            m.at += count;
            return static_cast<tmsize_t>(count);
        },
        [](thandle_t handle, void* in, tmsize_t size) {
            Memory& m = memory_of(handle);
            const auto count = static_cast<std::size_t>(size);
            if (m.data.size() < m.at + count) m.data.resize(m.at + count);
            std::memcpy(m.data.data() + m.at, in, count);
            m.at += count;
            return size;
        },
        [](thandle_t handle, toff_t offset, int whence) {
            Memory& m = memory_of(handle);
            m.at = static_cast<std::size_t>(offset) + (whence == SEEK_CUR   ? m.at
                                                       : whence == SEEK_END ? m.data.size()
                                                                            : 0);
            return static_cast<toff_t>(m.at);
        },
        [](thandle_t) { return 0; },
        [](thandle_t handle) { return static_cast<toff_t>(memory_of(handle).data.size()); }, nullptr,
        nullptr);
}

void set_tags(TIFF* tiff, const Kind& kind, int width, std::size_t height) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<int>(height));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<int>(height));
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, kind.compression);
    if (kind.options) TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, kind.options);
}

TEST(Fax, libtiff_agrees_both_ways) {
    for (const Kind& kind : kKinds) {
        for (const int width : {33, 1728, 2481}) {
            const Rows rows = page(width, 60, 15, static_cast<unsigned>(width));
            const Layout layout{kind.coding, width, false};
            Memory ours, theirs;
            TIFF* tiff = open_memory(ours, "w");
            set_tags(tiff, kind, width, rows.size());
            Bytes coded = encode(rows, layout);
            ASSERT_GT(TIFFWriteRawStrip(tiff, 0, coded.data(), static_cast<tmsize_t>(coded.size())), 0);
            TIFFClose(tiff);
            tiff = open_memory(ours, "r");
            ASSERT_TRUE(tiff);
            for (std::size_t y = 0; y < rows.size(); ++y) {
                Bytes row(rows[y].size());
                ASSERT_EQ(TIFFReadScanline(tiff, row.data(), static_cast<std::uint32_t>(y)), 1);
                ASSERT_EQ(row, rows[y]) << kind.name << " row " << y;
            }
            TIFFClose(tiff);

            tiff = open_memory(theirs, "w");
            set_tags(tiff, kind, width, rows.size());
            for (std::size_t y = 0; y < rows.size(); ++y) {
                Bytes row = rows[y];
                ASSERT_EQ(TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y)), 1);
            }
            TIFFClose(tiff);
            tiff = open_memory(theirs, "r");
            Bytes raw(static_cast<std::size_t>(TIFFRawStripSize(tiff, 0)));
            ASSERT_GT(TIFFReadRawStrip(tiff, 0, raw.data(), static_cast<tmsize_t>(raw.size())), 0);
            TIFFClose(tiff);
            int damaged = 0;
            ASSERT_EQ(decode(raw, layout, rows.size(), &damaged), rows) << kind.name << " " << width;
            EXPECT_EQ(damaged, 0);
        }
    }
}

TEST(Fax, a_damaged_line_costs_no_more_than_it_must) {
    const Rows rows = page(1728, 40, 30, 5);
    for (const Coding coding : {Coding::group3, Coding::group3_2d}) {
        const Layout layout{coding, 1728, false};
        Bytes data = encode(rows, layout, true);
        const std::size_t third = encode({rows.begin(), rows.begin() + 20}, layout).size();
        data[third + 6] ^= 0x5A;
        data[third + 7] ^= 0xA5;
        int damaged = 0;
        const Rows read = decode(data, layout, 40, &damaged);
        EXPECT_GE(damaged, 1);
        EXPECT_LE(damaged, 6);
        ASSERT_GE(read.size(), 38U);
        EXPECT_TRUE(std::equal(rows.begin(), rows.begin() + 20, read.begin()));
        EXPECT_EQ(read.back(), rows.back()) << "the rows after it are whole again";
    }
}

TEST(Fax, the_page_ends_where_it_says) {
    for (const Kind& kind : kKinds) {
        if (kind.coding == Coding::aligned_rows) continue;
        const Layout layout{kind.coding, 200, false};
        const Rows rows = page(200, 12, 9, 3);
        Bytes data = encode(rows, layout, true);
        data.insert(data.end(), 40, 0);
        int damaged = 0;
        EXPECT_EQ(decode(data, layout, 100, &damaged), rows) << kind.name;
        EXPECT_EQ(damaged, 0) << kind.name;
    }
}

TEST(Fax, uncompressed_mode) {
    // Extension 0000001 111; 01 (white, black), 1 (black), 000001 (five whites), 0000001 and 0: back to white
    // with nothing more; then the row's end straight below the one above.
    const Bytes data{0b00000011, 0b11011000, 0b00100000, 0b01010000};
    const Rows rows = decode(data, {Coding::group4, 12, false}, 1);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0], (Bytes{0b01100000, 0}));
}

TEST(Fax, any_bytes_end_soon_and_stay_inside) {
    std::mt19937 random{7};
    for (int round = 0; round < 400; ++round) {
        Bytes data(random() % 300);
        for (auto& byte : data) byte = static_cast<std::uint8_t>(random() % 5 ? random() : 0);
        const int width = static_cast<int>(1 + random() % 90);
        for (const Coding coding :
             {Coding::rows, Coding::aligned_rows, Coding::group3, Coding::group3_2d, Coding::group4}) {
            const Rows rows = decode(data, {coding, width, round % 2 == 0}, 5000);
            EXPECT_LE(rows.size(), data.size() * 8 + 1);
            for (const Bytes& row : rows) {
                // No pixel is set past the width.
                const unsigned spare =
                    static_cast<unsigned>(row.size() * 8 - static_cast<std::size_t>(width));
                EXPECT_EQ(row.back() & ((1U << spare) - 1), 0U);
            }
        }
    }
}

}  // namespace
}  // namespace quillmark::tests
