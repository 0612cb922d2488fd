// Pieces of path names.
#pragma once

#include <string>
#include <string_view>

namespace quillmark::text {

/// The separator of this platform's paths.
inline constexpr char kSeparator = '/';

/// Everything before the last separator, without it; empty when there is none.
std::string directory_of(std::string_view path);
/// Everything after the last separator.
std::string file_name_of(std::string_view path);
/// What follows the last dot of the file name, as spelled; empty when there is none.
std::string extension_of(std::string_view path);
/// The last count bytes, or all of a shorter text.
std::string_view last(std::string_view text, std::size_t count);
/// Appends the separator unless the text already ends in one.
std::string with_separator(std::string path);
/// ASCII letters lower-cased; every other byte, UTF-8 included, unchanged.
std::string lower_ascii(std::string_view text);

}  // namespace quillmark::text
