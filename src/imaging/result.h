// Errors are values with a reason. Nothing in the library throws.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

namespace quillmark::imaging {

/// Why something did not work. The engine floor turns these into the program's result codes, once.
enum class Fault : std::uint8_t {
    truncated,       ///< the data end before anything can be shown
    malformed,       ///< the data contradict their format
    unknown_format,  ///< no codec recognises the content
    unsupported,     ///< a known format in a variant that is not supported
    too_large,       ///< beyond Limits
    out_of_memory,
    not_found,      ///< the file does not exist
    cannot_open,    ///< the file exists but cannot be opened (permission, directory, device)
    io,             ///< reading or writing failed half-way
    no_stamp,       ///< the file holds no stamp (thumbnail)
    no_page,        ///< the file has no such page
    bad_parameter,  ///< an operation was asked for something that it does not take
    cancelled,      ///< stopped by the user
};

/// Where it happened, as a literal: it cannot dangle and costs nothing to pass on.
class Place {
  public:
    template <std::size_t N>
    consteval Place(const char (&text)[N]) : text_{text, N - 1} {}
    constexpr std::string_view text() const { return text_; }

  private:
    std::string_view text_;
};

struct Error {
    Fault fault;
    Place where;
};

/// What an operation answers when it caught std::bad_alloc: small containers throw where large buffers give
/// an empty one.
inline constexpr Error kOutOfMemory{Fault::out_of_memory, "working memory"};

/// A value or the reason why there is none.
template <typename T>
class [[nodiscard]] Result {
  public:
    Result(T value) : content_{std::in_place_index<0>, std::move(value)} {}
    Result(Error error) : content_{std::in_place_index<1>, error} {}

    explicit operator bool() const { return content_.index() == 0; }
    T& operator*() { return std::get<0>(content_); }
    const T& operator*() const { return std::get<0>(content_); }
    T* operator->() { return &std::get<0>(content_); }
    const T* operator->() const { return &std::get<0>(content_); }
    const Error& error() const { return std::get<1>(content_); }

  private:
    std::variant<T, Error> content_;
};

/// Success, or the reason why not.
template <>
class [[nodiscard]] Result<void> {
  public:
    Result() = default;
    Result(Error error) : error_{error} {}

    explicit operator bool() const { return !error_; }
    const Error& error() const { return *error_; }

  private:
    std::optional<Error> error_;
};

/// One word per fault, for logs and machine-readable output ("truncated", "too large", ...).
std::string_view fault_name(Fault fault);

}  // namespace quillmark::imaging
