#include "support/fixtures.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

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

// The same picture without its file header.
std::vector<std::uint8_t> headerless(const std::vector<std::uint8_t>& bmp) { return {bmp.begin() + 14, bmp.end()}; }

// A BMP's picture as the only image of an icon (type 1) or cursor (2), with an empty mask.
std::vector<std::uint8_t> icon_of(const std::vector<std::uint8_t>& bmp, int type) {
    std::vector<std::uint8_t> image = headerless(bmp);
    image[8] = 2 * kHeight;
    image.resize(image.size() + (kWidth + 31) / 32 * 4 * kHeight);
    MemoryWriter out;
    out.u16le(0);
    out.u16le(static_cast<std::uint32_t>(type));
    out.u16le(1);
    out.u8(kWidth);
    out.u8(kHeight);
    out.zeros(6);
    out.u32le(static_cast<std::uint32_t>(image.size()));
    out.u32le(22);
    out.write(image);
    return out.bytes();
}

std::vector<Fixture> made_from_bmp(const Codec& codec) {
    std::vector<Fixture> made;
    for (const Fixture& bmp : encoded_fixtures(*codec_for_format(6))) {
        if (!bmp.name.starts_with("format 6,")) continue;
        const auto bytes = codec.name == "DIB" ? headerless(bmp.bytes) : icon_of(bmp.bytes, codec.name == "CUR" ? 2 : 1);
        made.push_back({"from " + bmp.name, bytes});
    }
    return made;
}

std::vector<Fixture> handmade_fixtures(const Codec& codec) {
    std::vector<Fixture> made;
    if (codec.name == "DIB" || codec.name == "ICO" || codec.name == "CUR") return made_from_bmp(codec);
    if (codec.name != "DCX") return made;
    for (const Codec* other : all_codecs()) {
        if (other->name != "PCX") continue;
        for (Fixture& page : encoded_fixtures(*other))
            made.push_back({"pages of " + page.name, multi_page_pcx(page.bytes)});
    }
    return made;
}

}  // namespace

Bitmap pattern(int width, int height, int bits) {
    auto bitmap = Bitmap::create(width, height, bits, Limits {});
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
            made.push_back({name, written ? out.bytes() : std::vector<std::uint8_t> {}});
        }
    }
    return made;
}

std::vector<Fixture> all_fixtures(const Codec& codec, const std::string& folder) {
    std::vector<Fixture> found = encoded_fixtures(codec);
    std::ranges::move(handmade_fixtures(codec), std::back_inserter(found));
    std::error_code none;
    const std::filesystem::path own = std::filesystem::path {folder} / text::lower_ascii(codec.name);
    for (const auto& entry : std::filesystem::directory_iterator {own, none}) {
        std::ifstream file {entry.path(), std::ios::binary};
        found.push_back({entry.path().filename(), {std::istreambuf_iterator<char> {file}, {}}});
    }
    std::erase_if(found, [](const Fixture& fixture) { return fixture.bytes.empty(); });
    std::ranges::sort(found, {}, &Fixture::name);
    return found;
}

}  // namespace quillmark::tests
