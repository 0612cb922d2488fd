// The formats and depths that the save dialogs list.
#pragma once

#include <QString>
#include <cstdint>
#include <span>

namespace quillmark::files {

/// A row of the list: a format code with the depths it is listed at, one entry each; none: one entry for any
/// depth.
struct SaveFormat {
    std::uint8_t code;
    std::span<const std::uint8_t> bits;
};

/// In the order of the list. Entries are numbered from 1 through all rows.
std::span<const SaveFormat> SaveFormatTable();

/// The list entry of a format at a depth; 0 when it is not listed.
std::uint8_t SaveFormatIndex(std::uint8_t format, std::uint8_t bits);

/// What the list calls a format.
QString save_format_name(std::uint8_t code);

}  // namespace quillmark::files
