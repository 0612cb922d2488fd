#include "text/paths.h"

namespace quillmark::text {

std::string directory_of(std::string_view path) {
    const auto slash = path.rfind(kSeparator);
    return slash == std::string_view::npos ? std::string{} : std::string{path.substr(0, slash)};
}

std::string file_name_of(std::string_view path) {
    const auto slash = path.rfind(kSeparator);
    return std::string{slash == std::string_view::npos ? path : path.substr(slash + 1)};
}

std::string extension_of(std::string_view path) {
    const std::string name = file_name_of(path);
    const auto dot = name.rfind('.');
    return dot == std::string::npos ? std::string{} : name.substr(dot + 1);
}

std::string_view last(std::string_view text, std::size_t count) {
    return text.size() > count ? text.substr(text.size() - count) : text;
}

std::string with_separator(std::string path) {
    if (path.empty() || path.back() != kSeparator) path += kSeparator;
    return path;
}

std::string lower_ascii(std::string_view text) {
    std::string lower{text};
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

}  // namespace quillmark::text
