// What a run was asked for, what a case costs, and how both are told.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "imaging/bitmap.h"

namespace quillmark::bench {

struct Options {
    bool json = false;
    bool peers = false;
    int threads = 0;
    int pairs = 15;
    std::string filter;
    std::string self;  ///< this program, for children
};

struct Figures {
    std::string name;
    int threads = 0;
    double megapixels = 0, ms = 0, memcpy_ms = 0, ratio = 0, cold_ms = 0;
    std::string hash;
    std::optional<double> library_ms, ratio_library;
    std::string library_hash;
};

/// FNV-1a over the pixels of a buffer or bitmap.
std::string hash_of(std::span<const std::uint8_t> bytes);
std::string hash_of(const imaging::Bitmap& bitmap);

/// One line, as text or as a JSON object.
void print(const Figures& figures, const Options& options);

/// The cases of opening files (open_cases.cpp) and of operations (operation_cases.cpp): run those that the
/// options choose and return how many there were, or -1 after a failure.
int run_open_cases(const Options& options);
int run_operation_cases(const Options& options);
/// The child of the memory figures: opens one file and tells what it took.
int memory_of(const std::string& path);

}  // namespace quillmark::bench
