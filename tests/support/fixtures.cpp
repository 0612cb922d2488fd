#include "support/fixtures.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
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
    if (id == "gif") return {{"two frames", animated_gif()}};
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
