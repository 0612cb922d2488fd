#include "imaging/codecs/gem_palette.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "imaging/codecs/bilevel.h"

namespace quillmark::imaging::codecs {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kExtension = 16;  // behind the eight words that every header has
constexpr std::size_t kTagged = 22;     // colours behind a tag and a word
constexpr unsigned kThousand = 1000;    // full intensity of the workstation

unsigned word(Bytes header, std::size_t at) {
    return at + 2 <= header.size() ? static_cast<unsigned>(header[at] << 8 | header[at + 1]) : 0;
}

bool tagged(Bytes header, std::string_view tag) {
    return header.size() >= kTagged && std::ranges::equal(header.subspan(kExtension, tag.size()), tag);
}

std::uint8_t from_thousand(unsigned value) {
    return static_cast<std::uint8_t>((std::min(value, kThousand) * 255 + 500) / kThousand);
}

// Three words a colour.
std::optional<Palette> thousandths(Bytes header, std::size_t at, std::size_t count) {
    if (header.size() < at + count * 6) return std::nullopt;
    Palette palette(count);
    for (Rgba& entry : palette) {
        entry.r = from_thousand(word(header, at));
        entry.g = from_thousand(word(header, at + 2));
        entry.b = from_thousand(word(header, at + 4));
        at += 6;
    }
    return palette;
}

// Some headers hold such colours without a tag: their length and their values tell.
std::optional<Palette> untagged_thousandths(Bytes header, int planes) {
    constexpr std::array<std::size_t, 3> kStarts{kExtension, kExtension + 2, kTagged};
    constexpr unsigned kHighest = 1023;
    const std::size_t count = std::size_t{1} << planes;
    for (const std::size_t at : kStarts) {
        if (planes == 1 || header.size() != at + count * 6) continue;
        unsigned highest = 0;
        for (std::size_t i = at; i < header.size(); i += 2) highest = std::max(highest, word(header, i));
        if (highest > 255 && highest <= kHighest) return thousandths(header, at, count);
    }
    return std::nullopt;
}

// Words 0RGB of the Atari's video chip: three bits a colour, or four on later machines, where the top bit of
// each is the lowest in weight.
std::optional<Palette> hardware_words(Bytes header, std::size_t at, std::size_t count) {
    if (header.size() < at + count * 2) return std::nullopt;
    bool four_bits = false;
    for (std::size_t i = 0; i < count; ++i) four_bits |= (word(header, at + i * 2) & 0x888) != 0;
    const auto level = [&](unsigned nibble) {
        const unsigned low = nibble & 7;
        return static_cast<std::uint8_t>(four_bits ? (low << 1 | (nibble >> 3 & 1)) * 17 : low * 255 / 7);
    };
    Palette palette(count);
    for (Rgba& entry : palette) {
        const unsigned value = word(header, at);
        entry = {level(value >> 8), level(value >> 4), level(value), 255};
        at += 2;
    }
    return palette;
}

std::optional<Palette> stored_palette(Bytes header, int planes) {
    constexpr unsigned kHyperPaint = 0x80;
    const std::size_t count = std::size_t{1} << planes;
    if (tagged(header, "XIMG")) return thousandths(header, kTagged, count);
    if (tagged(header, "STTT"))
        return hardware_words(header, kTagged, std::min<std::size_t>(count, word(header, kTagged - 2)));
    if (word(header, kExtension) == kHyperPaint && planes <= 4)
        return hardware_words(header, kExtension + 2, count);
    return untagged_thousandths(header, planes);
}

Palette from_rgb(std::span<const std::uint32_t> colours) {
    Palette palette;
    for (const std::uint32_t rgb : colours) {
        palette.push_back({static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
                           static_cast<std::uint8_t>(rgb), 255});
    }
    return palette;
}

// Greys whose first plane weighs most, white first.
Palette mirrored_grays(int planes) {
    const unsigned last = (1U << planes) - 1;
    Palette palette;
    for (unsigned i = 0; i <= last; ++i) {
        unsigned mirrored = 0;
        for (int bit = 0; bit < planes; ++bit) mirrored = mirrored << 1 | ((last - i) >> bit & 1);
        const auto gray = static_cast<std::uint8_t>(mirrored * 255 / last);
        palette.push_back({gray, gray, gray, 255});
    }
    return palette;
}

Palette default_palette(Bytes header, int planes) {
    constexpr std::uint32_t kTwo[] = {0xFFFFFF, 0xFF0000, 0x00FF00, 0x000000};
    constexpr std::uint32_t kThree[] = {0xFFFFFF, 0x00FFFF, 0xFF00FF, 0xFFFF00,
                                        0x0000FF, 0x00FF00, 0xFF0000, 0x000000};
    constexpr std::uint32_t kFour[] = {0xFFFFFF, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF,
                                       0x00FFFF, 0xAAAAAA, 0x555555, 0xAA0000, 0x00AA00, 0xAAAA00,
                                       0x0000AA, 0xAA00AA, 0x00AAAA, 0x000000};
    constexpr std::size_t kNineWords = 18;
    if (planes == 1) return paper_and_ink();
    if (header.size() == kNineWords && word(header, kExtension) == 1) return gray_palette(1 << planes);
    switch (planes) {
        case 2: return from_rgb(kTwo);
        case 3: return from_rgb(kThree);
        case 4: return from_rgb(kFour);
        default: return mirrored_grays(planes);
    }
}

}  // namespace

bool gem_has_tag(Bytes header) {
    return tagged(header, "XIMG") || tagged(header, "STTT") || tagged(header, "TIMG");
}

bool gem_has_other_model(Bytes header) { return tagged(header, "XIMG") && word(header, kTagged - 2) != 0; }

Palette gem_palette(Bytes header, int planes) {
    const auto stored = stored_palette(header, planes);
    const bool useless = !stored || stored->empty() ||
                         (planes == 1 && (stored->size() < 2 || stored->front() == stored->back()));
    if (useless) return default_palette(header, planes);
    Palette palette = *stored;
    palette.resize(std::size_t{1} << planes);
    return palette;
}

}  // namespace quillmark::imaging::codecs
