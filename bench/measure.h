// How figures are taken: interleaved pairs, medians, the machine's own copy speed as the unit, memory of a
// child.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quillmark::bench {

double milliseconds(const std::function<void()>& work);
double median(std::vector<double> values);

/// "AMD ..., x86-64-v3": what a figure was taken on.
std::string processor();

/// Lets the system forget what it has cached of a file.
void forget(const std::string& path);

/// The most memory this process had resident at once, in kilobytes.
std::int64_t peak_kilobytes();

/// Runs a program with its output thrown away and returns its wall time in milliseconds; nothing when it
/// cannot be started or fails.
std::optional<double> run_program(const std::vector<std::string>& words);
/// Its output; empty when it cannot be started or fails.
std::string output_of(const std::vector<std::string>& words);

/// Copies bytes between two buffers that are warm.
class Copier {
  public:
    explicit Copier(std::size_t bytes) : from_(bytes, 1), to_(bytes, 2) {}
    double milliseconds();

  private:
    std::vector<std::uint8_t> from_, to_;
};

}  // namespace quillmark::bench
