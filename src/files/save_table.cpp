#include "files/save_table.h"

#include <algorithm>

#include "text/messages.h"

namespace quillmark::files {
namespace {

using Bits = std::uint8_t;
constexpr Bits kColourFirst[] = {24, 8};
constexpr Bits kPng[] = {1, 8, 24};
constexpr Bits kPlain[] = {1, 4, 8, 24};
constexpr Bits kPhotoshop[] = {1, 8, 24};
constexpr Bits kSun[] = {1, 4, 8, 24, 32};
constexpr Bits kTarga[] = {8, 16, 24, 32};
constexpr Bits kTiff[] = {2, 3, 4, 5, 6, 7, 8, 16, 24, 32};
constexpr Bits kBmp[] = {1, 4, 8, 16, 24, 32};
constexpr Bits kMetafile[] = {8, 24};
constexpr Bits kWordPerfect[] = {1, 4, 8};
constexpr std::uint8_t kAnymap = 99;

const SaveFormat kFormats[] = {
    {20, kColourFirst}, {26, {}},           {10, kColourFirst}, {50, {}},     {75, kPng},  {66, {}},
    {16, {}},           {80, kColourFirst}, {52, {}},           {71, {}},     {77, {}},    {56, kPlain},
    {51, {}},           {kAnymap, {}},      {53, {}},           {14, kPlain}, {1, kPlain}, {76, kPhotoshop},
    {55, kSun},         {4, kTarga},        {25, {}},           {3, kTiff},   {6, kBmp},   {69, {}},
    {15, kMetafile},    {54, kWordPerfect},
};

}  // namespace

std::span<const SaveFormat> SaveFormatTable() { return kFormats; }

std::uint8_t SaveFormatIndex(std::uint8_t format, std::uint8_t bits) {
    std::size_t entry = 1;
    for (const SaveFormat& row : kFormats) {
        if (row.code == format) {
            if (row.bits.empty()) return static_cast<std::uint8_t>(entry);
            const auto found = std::ranges::find(row.bits, bits);
            if (found == row.bits.end()) return 0;
            return static_cast<std::uint8_t>(entry + static_cast<std::size_t>(found - row.bits.begin()));
        }
        entry += std::max<std::size_t>(row.bits.size(), 1);
    }
    return 0;
}

QString save_format_name(std::uint8_t code) {
    if (code == kAnymap) return QStringLiteral("Portable Anymap");
    const std::string_view name = text::format_name(code);
    return QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
}

}  // namespace quillmark::files
