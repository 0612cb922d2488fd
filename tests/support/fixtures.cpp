#include "support/fixtures.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>

#include "imaging/codecs/fax_encoder.h"
#include "imaging/save.h"
#include "text/paths.h"

namespace quillmark::tests {
namespace {

using namespace imaging;

constexpr int kWidth = 37;  // odd, so that rows end inside bytes, words and blocks
constexpr int kHeight = 23;

// A container of pages: magic number, a table of offsets that ends with 0, and the pages themselves.
std::vector<std::uint8_t> multi_page_pcx(const std::vector<std::uint8_t>& page) {
    MemoryWriter out;
    const std::uint32_t first = 4 + 3 * 4;
    out.u32le(987'654'321);
    out.u32le(first);
    out.u32le(first + static_cast<std::uint32_t>(page.size()));
    out.u32le(0);
    out.write(page);
    out.write(page);
    return out.bytes();
}

std::vector<Fixture> fixtures_of(std::string_view id) {
    for (const Codec* codec : all_codecs()) {
        if (codec_id(*codec) == id) return encoded_fixtures(*codec);
    }
    return {};
}

// A bitmap file without its file header.
std::vector<std::uint8_t> bare_dib(const std::vector<std::uint8_t>& bmp) {
    return {bmp.begin() + 14, bmp.end()};
}

// Whether a bitmap file is one that icons hold: a 40-byte header, not packed.
bool fits_icon(const std::vector<std::uint8_t>& bmp) {
    return bmp.size() > 54 && bmp[14] == 40 && bmp[30] == 0;
}

// The header's height counts the colours and the mask that follows them.
std::vector<std::uint8_t> dib_with_mask(const std::vector<std::uint8_t>& bmp) {
    auto dib = bare_dib(bmp);
    dib[8] = 2 * kHeight;
    dib.resize(dib.size() + static_cast<std::size_t>((kWidth + 31) / 32 * 4 * kHeight), 0x5A);
    return dib;
}

// kind: 1 icon, 2 cursor. Two entries that share their data.
std::vector<std::uint8_t> icon(int kind, const std::vector<std::uint8_t>& image) {
    MemoryWriter out;
    const std::uint32_t first = 6 + 2 * 16;
    out.u16le(0);
    out.u16le(static_cast<std::uint32_t>(kind));
    out.u16le(2);
    for (int entry = 0; entry < 2; ++entry) {
        for (const int value : {kWidth, kHeight, 0, 0}) out.u8(value);
        out.u16le(1);
        out.u16le(kind == 1 ? 24 : 1);
        out.u32le(static_cast<std::uint32_t>(image.size()));
        out.u32le(first);
    }
    out.write(image);
    return out.bytes();
}

std::vector<Fixture> icon_fixtures(int kind) {
    std::vector<Fixture> made;
    for (const Fixture& bmp : fixtures_of("bmp")) {
        if (fits_icon(bmp.bytes))
            made.push_back({"icon of " + bmp.name, icon(kind, dib_with_mask(bmp.bytes))});
    }
    for (const Fixture& png : fixtures_of("png"))
        made.push_back({"icon of PNG, " + png.name, icon(kind, png.bytes)});
    return made;
}

// Two frames of 16 colours, the second interlaced. Codes of constant width: a clear code before the table can
// grow.
std::vector<std::uint8_t> animated_gif() {
    MemoryWriter out;
    out.write(std::array<std::uint8_t, 6>{'G', 'I', 'F', '8', '9', 'a'});
    out.u16le(kWidth);
    out.u16le(kHeight);
    for (const int value : {0xF3, 0, 0}) out.u8(value);
    for (int i = 0; i < 48; ++i) out.u8(i * 5);
    for (const int flags : {0x00, 0x40}) {
        out.write(std::array<std::uint8_t, 8>{'!', 0xF9, 4, 1, 10, 0, 3, 0});
        out.u8(',');
        out.u32le(0);
        out.u16le(kWidth);
        out.u16le(kHeight);
        out.u8(flags);
        out.u8(7);  // codes of 8 bits: 128 clears, 129 ends
        for (int y = 0; y < kHeight; ++y) {
            out.u8(kWidth + 1);
            out.u8(128);
            for (int x = 0; x < kWidth; ++x) out.u8((x + y) % 16);
        }
        for (const int value : {1, 129, 0}) out.u8(value);
    }
    out.u8(';');
    return out.bytes();
}

std::vector<std::uint8_t> plain_msp() {
    MemoryWriter out;
    out.write(std::array<std::uint8_t, 4>{'D', 'a', 'n', 'M'});
    out.u16le(kWidth);
    out.u16le(kHeight);
    out.zeros(24);
    for (int i = 0; i < (kWidth + 7) / 8 * kHeight; ++i) out.u8(i * 37);
    return out.bytes();
}

// Version 2 without a wrapper, rows of runs and plain bytes in turn.
std::vector<std::uint8_t> bare_macpaint() {
    constexpr int kRowBytes = 72, kRows = 720;
    MemoryWriter out;
    out.u32be(2);
    for (int i = 0; i < 304; ++i) out.u8(i * 5);
    out.zeros(204);
    for (int y = 0; y < kRows; ++y) {
        out.u8(257 - kRowBytes / 2);
        out.u8(y);
        out.u8(kRowBytes / 2 - 1);
        for (int i = 0; i < kRowBytes / 2; ++i) out.u8(i * y);
    }
    return out.bytes();
}

// Rows that use every kind of packet; extension holds the words behind the fixed ones.
std::vector<std::uint8_t> gem(int planes, int line_bytes, const std::vector<std::uint8_t>& extension) {
    MemoryWriter out;
    for (const int value :
         {1, 8 + static_cast<int>(extension.size() / 2), planes, 3, 372, 372, kWidth, kHeight})
        out.u16be(static_cast<std::uint32_t>(value));
    out.write(extension);
    for (int y = 0; y < kHeight; y += 2) {
        for (const int value : {0, 0, 0xFF, 2}) out.u8(value);
        for (int line = 0; line < (planes <= 15 ? planes : 1); ++line) {
            int left = line_bytes;
            for (; left >= 12; left -= 12) {
                // a pattern, plain bytes, bytes of the row above, black and white
                for (const int value : {0, 1, y, 7, 9, 0x80, 3, y, line, left, 0, 0, 2, 2, 0x81})
                    out.u8(value);
            }
            if (left > 0) out.u8(left);
        }
    }
    return out.bytes();
}

std::vector<Fixture> gem_fixtures() {
    constexpr int kPlane = (kWidth + 7) / 8, kRounded = (kWidth + 15) / 16 * 16;
    std::vector<std::uint8_t> atari{'S', 'T', 'T', 'T', 0, 16};
    for (int i = 0; i < 16; ++i) atari.insert(atari.end(), {static_cast<std::uint8_t>(i), 0x7F});
    return {{"4 planes, Atari's colours", gem(4, kPlane, atari)},
            {"7 planes", gem(7, kPlane, {})},
            {"15 planes", gem(15, kPlane, {'T', 'I', 'M', 'G', 0, 3, 0, 5, 0, 5, 0, 5})},
            {"16 bits", gem(16, kWidth * 2, {})},
            {"24 bits", gem(24, kRounded * 3, {})},
            {"32 bits", gem(32, kWidth * 4, {})}};
}

// A document of two images, their data split inside of codes and field headers.
std::vector<std::uint8_t> ioca_document(const std::vector<std::uint8_t>& segment) {
    MemoryWriter out;
    const auto field = [&](std::uint32_t id, std::span<const std::uint8_t> data) {
        out.u8(0x5A);
        out.u16be(static_cast<std::uint32_t>(data.size() + 8));
        out.u8(0xD3);
        out.u16be(id);
        out.zeros(3);
        out.write(data);
    };
    field(0xA8A8, {});
    for (int image = 0; image < 2; ++image) {
        field(0xA8FB, {});
        field(0xA6FB, std::array<std::uint8_t, 9>{0, 0x0B, 0xB8, 0x0B, 0xB8, 0, kWidth, 0, kHeight});
        const std::size_t half = segment.size() / 2;
        field(0xEEFB, std::span{segment}.first(half));
        field(0xEEFB, std::span{segment}.subspan(half));
        field(0xA9FB, {});
    }
    field(0xA9A8, {});
    return out.bytes();
}

// Two tiles: one of three 8-bit bands, one of packed bits.
std::vector<std::uint8_t> ioca_tiles() {
    MemoryWriter out;
    const auto bytes = [&](std::initializer_list<int> values) {
        for (const int value : values) out.u8(value);
    };
    bytes({0x70, 0, 0x91, 1, 0xFF, 0x94, 9, 0, 7, 0xD0, 7, 0xD0, 0, 16, 0, 4});
    bytes({0x8C, 0, 0xB5, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0xB6, 9, 0, 0, 0, 8, 0, 0, 0, 4, 1, 0x95, 2, 3, 1});
    bytes({0x98, 4, 3, 8, 8, 8, 0x9B, 8, 0, 1, 0, 0, 0, 8, 8, 8});
    for (int band = 1; band <= 3; ++band) {
        bytes({0xFE, 0x9C, 0, 35, band, 0, 0});
        for (int i = 0; i < 32; ++i) out.u8(i * 8 / band);
    }
    bytes({0x8D, 0, 0x8C, 0, 0xB5, 8, 0, 0, 0, 8, 0, 0, 0, 0, 0xB6, 9, 0, 0, 0, 8, 0, 0, 0, 4, 1});
    bytes({0x95, 2, 3, 1, 0x96, 1, 1, 0xFE, 0x92, 0, 4, 0x0F, 0xF0, 0x55, 0xAA, 0x8D, 0, 0x93, 0, 0x71, 0});
    return out.bytes();
}

// Tiles of 8 by 1 black pixels, each in another compression: PackBits, LZW, run lines, one colour.
std::vector<std::uint8_t> ioca_compressions() {
    MemoryWriter out;
    const std::vector<std::vector<std::uint8_t>> tiles{{0x0C, 0xFE, 0x92, 0, 2, 0, 0xFF},
                                                       {0x0D, 0xFE, 0x92, 0, 4, 0x80, 0x3F, 0xE0, 0x20},
                                                       {0x06, 0xFE, 0x92, 0, 7, 0, 1, 0, 3, 0xFE, 0x7F, 0xF0},
                                                       {0x20}};
    out.write(std::array<std::uint8_t, 16>{0x70, 0, 0x91, 1, 0xFF, 0x94, 9, 0, 7, 0xD0, 7, 0xD0, 0, 8, 0, 4});
    for (std::size_t y = 0; y < tiles.size(); ++y) {
        out.write(std::array<std::uint8_t, 11>{0x8C, 0, 0xB5, 8, 0, 0, 0, 0, 0, 0, 0});
        out.u8(static_cast<int>(y));
        out.write(std::array<std::uint8_t, 11>{0xB6, 9, 0, 0, 0, 8, 0, 0, 0, 1, 1});
        out.write(std::array<std::uint8_t, 3>{0x96, 1, 1});
        out.write(std::array<std::uint8_t, 5>{0x95, 3, tiles[y][0], 1, 0});
        out.write(std::span{tiles[y]}.subspan(1));
        out.write(std::array<std::uint8_t, 2>{0x8D, 0});
    }
    out.write(std::array<std::uint8_t, 4>{0x93, 0, 0x71, 0});
    return out.bytes();
}

// JPEG data as they are, or four times as the bands of one tile.
std::vector<std::uint8_t> ioca_jpeg(const std::vector<std::uint8_t>& jpeg, bool bands) {
    MemoryWriter out;
    const auto data = [&](int code, std::initializer_list<int> header) {
        out.u8(0xFE);
        out.u8(code);
        out.u16be(static_cast<std::uint32_t>(jpeg.size() + header.size()));
        for (const int value : header) out.u8(value);
        out.write(jpeg);
    };
    out.write(std::array<std::uint8_t, 12>{0x70, 0, 0x91, 1, 0xFF, 0x94, 9, 0, 7, 0xD0, 7, 0xD0});
    out.write(std::array<std::uint8_t, 8>{0, kWidth, 0, kHeight, 0x95, 2, 0x83, 0xFE});
    if (bands) {
        out.write(std::array<std::uint8_t, 12>{0x8C, 0, 0xB5, 8, 0, 0, 0, 0, 0, 0, 0, 0});
        out.write(std::array<std::uint8_t, 11>{0xB6, 9, 0, 0, 0, kWidth, 0, 0, 0, kHeight, 1});
        out.write(std::array<std::uint8_t, 7>{0x98, 5, 4, 8, 8, 8, 8});
        for (int band = 1; band <= 4; ++band) data(0x9C, {band, 0, 0});
        out.write(std::array<std::uint8_t, 2>{0x8D, 0});
    } else {
        data(0x92, {});
    }
    out.write(std::array<std::uint8_t, 4>{0x93, 0, 0x71, 0});
    return out.bytes();
}

std::vector<Fixture> ioca_fixtures() {
    std::vector<Fixture> made{{"tiles and bands", ioca_tiles()}, {"compressions", ioca_compressions()}};
    for (const Fixture& jpeg : fixtures_of("jpeg")) {
        made.push_back({"JPEG, " + jpeg.name, ioca_jpeg(jpeg.bytes, false)});
        if (jpeg.name.ends_with(" 8 bits"))
            made.push_back({"JPEG bands, " + jpeg.name, ioca_jpeg(jpeg.bytes, true)});
    }
    for (const Fixture& segment : fixtures_of("ioca"))
        made.push_back({"document of " + segment.name, ioca_document(segment.bytes)});
    return made;
}

// A picture of one QuickTime image, without the application's 512 bytes in front.
std::vector<std::uint8_t> quicktime_pict(const std::vector<std::uint8_t>& jpeg) {
    MemoryWriter out;
    const auto u16 = [&](std::initializer_list<int> values) {
        for (const int value : values) out.u16be(static_cast<std::uint32_t>(value));
    };
    u16({0, 0, 0, kHeight, kWidth, 0x0011, 0x02FF, 0x8200});
    out.u32be(static_cast<std::uint32_t>(68 + 86 + jpeg.size()));
    u16({0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0x4000, 0});  // version and an identity matrix
    out.zeros(4 + 8);
    u16({0, 0, 0, kHeight, kWidth, 0, 0, 0, 0});
    out.u32be(86);
    out.write(std::array<std::uint8_t, 4>{'j', 'p', 'e', 'g'});
    out.zeros(24);
    u16({kWidth, kHeight, 72, 0, 72, 0});
    out.u32be(static_cast<std::uint32_t>(jpeg.size()));
    out.zeros(34);
    u16({24, 0xFFFF});
    out.write(jpeg);
    out.zeros(jpeg.size() % 2);
    u16({0x00FF});
    return out.bytes();
}

std::vector<Fixture> pict_fixtures() {
    std::vector<Fixture> made;
    for (const Fixture& file : fixtures_of("pict"))
        made.push_back({"bare, " + file.name, {file.bytes.begin() + 512, file.bytes.end()}});
    for (const Fixture& jpeg : fixtures_of("jpeg"))
        made.push_back({"QuickTime, " + jpeg.name, quicktime_pict(jpeg.bytes)});
    return made;
}

// Rows of fax data; the picture is as wide as asked for.
std::vector<std::uint8_t> fax_page(const fax::Layout& layout, int rows) {
    fax::Encoder encoder{layout};
    std::vector<std::uint8_t> row(static_cast<std::size_t>(layout.width + 7) / 8);
    for (int y = 0; y < rows; ++y) {
        row[static_cast<std::size_t>(y * 5) % row.size()] ^= static_cast<std::uint8_t>(y * 29 + 4);
        encoder.add_row(row);
    }
    encoder.finish(true);
    return encoder.bytes();
}

// Two pages that differ in width; each row is a record of its own.
std::vector<std::uint8_t> structured_fax() {
    MemoryWriter out;
    for (const char c : std::string_view{"Sfff\1\0\0\0\2\0\x14\0\0\0\0\0\0\0\0\0", 20}) out.u8(c);
    for (const int width : {kWidth, 2 * kWidth}) {
        for (const int value : {254, 16, 1, 0, 0, 0, width, 0}) out.u8(value);
        out.zeros(10);
        for (int y = 0; y < kHeight; ++y) {
            const auto row = fax_page({fax::Coding::aligned_rows, width, true}, 1);
            out.u8(static_cast<int>(row.size()));
            out.write(row);
        }
        for (const int value : {219, 255, 0, 255, 1, 7}) out.u8(value);  // blank rows, a lost one, other data
    }
    out.u16le(254);
    return out.bytes();
}

// Pages behind the header of a fax program (text, then zeros).
std::vector<std::uint8_t> wrapped_fax(std::string_view text, std::size_t header, const fax::Layout& layout,
                                      int rows) {
    MemoryWriter out;
    for (const char c : text) out.u8(c);
    out.zeros(header - text.size());
    for (int page = 0; page < 2; ++page) out.write(fax_page(layout, rows));
    return out.bytes();
}

std::vector<Fixture> fax_fixtures() {
    using fax::Coding;
    return {{"structured", structured_fax()},
            {"Quick Link", wrapped_fax({"QLIIFAX\0", 8}, 1536, {Coding::group3, kWidth, true}, kHeight)},
            {"QFAX", wrapped_fax("QFAX", 64, {Coding::group3_2d, kWidth}, kHeight)},
            {"group 4", fax_page({Coding::group4, 1728}, 40)}};
}

std::vector<Fixture> handmade_fixtures(const Codec& codec) {
    const std::string id = codec_id(codec);
    if (id == "ico") return icon_fixtures(1);
    if (id == "cur") return icon_fixtures(2);
    if (id == "ioca") return ioca_fixtures();
    if (id == "gif") return {{"two frames", animated_gif()}};
    if (id == "pict") return pict_fixtures();
    if (id == "msp") return {{"version 1", plain_msp()}};
    if (id == "macpaint") return {{"without a wrapper", bare_macpaint()}};
    if (id == "gem") return gem_fixtures();
    if (id == "rawfax") return fax_fixtures();
    if (id == "winfax") return {{"group 3", wrapped_fax("WF", 64, {fax::Coding::group3, 1728, true}, 30)}};
    std::vector<Fixture> made;
    if (id == "dib") {
        for (const Fixture& bmp : fixtures_of("bmp"))
            made.push_back({"without file header, " + bmp.name, bare_dib(bmp.bytes)});
    }
    if (id == "dcx") {
        for (const Fixture& page : fixtures_of("pcx"))
            made.push_back({"pages of " + page.name, multi_page_pcx(page.bytes)});
    }
    return made;
}

}  // namespace

std::string codec_id(const Codec& codec) {
    std::string id = text::lower_ascii(codec.name);
    std::erase_if(id, [](char c) { return (c < 'a' || c > 'z') && (c < '0' || c > '9'); });
    return id;
}

Bitmap pattern(int width, int height, int bits) {
    auto bitmap = Bitmap::create(width, height, bits, Limits{});
    if (!bitmap) return {};
    const int mask = bits < 8 && bits > 1 ? (1 << bits) - 1 : 255;
    for (int y = 0; y < height; ++y) {
        const auto row = bitmap->writable_row(y);
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::size_t value = y % 3 == 0 ? i / 9 * 41 : i * 7 + static_cast<std::size_t>(y) * 31;
            row[i] = static_cast<std::uint8_t>(value & static_cast<std::size_t>(mask));
        }
    }
    return *bitmap;
}

bool same(const Bitmap& a, const Bitmap& b) {
    if (a.empty() || b.empty()) return a.empty() && b.empty();
    if (a.width() != b.width() || a.height() != b.height() || a.bits() != b.bits()) return false;
    if (a.palette() != b.palette()) return false;
    for (int y = 0; y < a.height(); ++y)
        if (!std::ranges::equal(a.row(y), b.row(y))) return false;
    return true;
}

std::vector<Fixture> encoded_fixtures(const Codec& codec) {
    std::vector<Fixture> made;
    for (const FormatCode& format : codec.formats) {
        for (const int depth : format.write_depths) {
            MemoryWriter out;
            SaveOptions options;
            options.format_code = format.code;
            options.bits = depth;
            const bool written = static_cast<bool>(save(pattern(kWidth, kHeight, depth), out, options));
            const std::string name =
                "format " + std::to_string(format.code) + ", " + std::to_string(depth) + " bits";
            made.push_back({name, written ? out.bytes() : std::vector<std::uint8_t>{}});
        }
    }
    return made;
}

std::vector<Fixture> all_fixtures(const Codec& codec, const std::string& folder) {
    std::vector<Fixture> found = encoded_fixtures(codec);
    std::ranges::move(handmade_fixtures(codec), std::back_inserter(found));
    std::error_code none;
    const std::filesystem::path own = std::filesystem::path{folder} / codec_id(codec);
    for (const auto& entry : std::filesystem::directory_iterator{own, none}) {
        std::ifstream file{entry.path(), std::ios::binary};
        found.push_back({entry.path().filename(), {std::istreambuf_iterator<char>{file}, {}}});
    }
    std::erase_if(found, [](const Fixture& fixture) { return fixture.bytes.empty(); });
    std::ranges::sort(found, {}, &Fixture::name);
    return found;
}

}  // namespace quillmark::tests
