// The file types that the open and conversion dialogs list.
#pragma once

#include <QString>
#include <cstdint>
#include <span>

namespace quillmark::files {

struct FilterEntry {
    const char* description;
    const char* pattern;
    const char*
        remembered;  ///< the extension that stores this entry's index as the format memory; may be empty
};

/// 28 entries; the last is empty.
std::span<const FilterEntry> OpenFilterTable();

/// "description|pattern|description|pattern|..." over all entries.
QString open_filter_text();

/// The filter index that the last three characters of a name select; 0 when none matches. Case matters.
std::int16_t remembered_filter(const QString& name);

}  // namespace quillmark::files
