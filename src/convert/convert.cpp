// quillmark-convert convert: one file into another format.
#include <algorithm>
#include <cstdio>
#include <span>
#include <string>

#include "convert/commands.h"
#include "convert/operations.h"
#include "convert/watch.h"
#include "imaging/load.h"
#include "imaging/save.h"
#include "text/messages.h"
#include "text/paths.h"

namespace quillmark::convert {
namespace {

using imaging::Codec;
using imaging::Error;
using imaging::Fault;
using imaging::FormatCode;
using imaging::Outcome;
using imaging::Result;
using imaging::Transfer;

struct Job {
    std::string in, out;
    int page = 1;
    int format_code = 0;
    int bits = 0;
    int quality = 85;
    Operations operations;
};

bool writes(const FormatCode& format, int bits) {
    if (bits == 0) return !format.write_depths.empty();
    return std::ranges::find(format.write_depths, bits) != format.write_depths.end();
}

std::string listed_depths(const FormatCode& format) {
    std::string list;
    for (const int depth : format.write_depths) list += (list.empty() ? "" : ", ") + std::to_string(depth);
    return list;
}

std::string writable_extensions() {
    std::string list;
    for (const Codec* codec : imaging::all_codecs()) {
        if (!std::ranges::any_of(codec->formats, [](const FormatCode& format) { return writes(format, 0); }))
            continue;
        for (const std::string_view extension : codec->extensions) list += " ." + std::string{extension};
    }
    return list;
}

// The first format code of the extension's codec that writes the depth: codecs list the most common one
// first.
Parsed<int> format_from_extension(const std::string& out, int bits) {
    const std::string extension = text::extension_of(out);
    const Codec* codec = imaging::codec_for_extension(extension);
    const FormatCode* first = nullptr;
    for (const FormatCode& format : codec ? codec->formats : std::span<const FormatCode>{}) {
        if (writes(format, bits)) return {format.code, ""};
        if (!first && writes(format, 0)) first = &format;
    }
    if (first)
        return {{},
                "." + extension + " is not written at " + std::to_string(bits) + " bits, but at " +
                    listed_depths(*first)};
    const std::string named = extension.empty() ? "a name without extension says no format"
                                                : "files named ." + extension + " cannot be written";
    return {{}, named + "; those that can:" + writable_extensions()};
}

Parsed<int> format_from_code(int code, int bits) {
    const FormatCode* format = imaging::find_format(code);
    if (!format || !writes(*format, 0)) {
        return {{},
                "format code " + std::to_string(code) + " cannot be written; see " + std::string{kProgram} +
                    " formats"};
    }
    if (writes(*format, bits)) return {code, ""};
    return {{},
            "format code " + std::to_string(code) + " is not written at " + std::to_string(bits) +
                " bits, but at " + listed_depths(*format)};
}

Parsed<Job> job_from(const Arguments& arguments) {
    if (arguments.files.size() != 2) return {{}, "it takes two file names, IN and OUT"};
    const auto page = number_option(arguments, "page", 1, 32'767, 1);
    const auto bits = number_option(arguments, "bits", 1, 32, 0);
    const auto quality = number_option(arguments, "quality", 1, 100, imaging::WriteOptions{}.quality);
    const auto code = number_option(arguments, "format", 1, 32'767, 0);
    for (const auto* number : {&page, &bits, &quality, &code}) {
        if (!number->value) return {{}, number->problem};
    }
    const std::string& out = arguments.files[1];
    const auto format = *code.value != 0 ? format_from_code(*code.value, *bits.value)
                                         : format_from_extension(out, *bits.value);
    if (!format.value) return {{}, format.problem};
    auto operations = operations_from(arguments);
    if (!operations.value) return {{}, operations.problem};
    return {Job{arguments.files[0], out, *page.value, *format.value, *bits.value, *quality.value,
                std::move(*operations.value)},
            ""};
}

Result<Outcome> read(const Job& job, Progress& progress) {
    progress.stage("reading");
    imaging::LoadOptions options;
    options.page = job.page;
    const auto info = imaging::read_info(job.in, options);
    if (!info) return info.error();
    if (job.page > info->pages) return Error{Fault::no_page, "page"};
    return imaging::load(job.in, options, progress);
}

Result<imaging::Bitmap> operate(const Job& job, const imaging::Bitmap& bitmap, Progress& progress) {
    if (job.operations.steps.empty()) return bitmap;
    progress.stage("working");
    // Bars may be drawn by one thread only; the working threads ask whether to stop.
    return apply_all(job.operations, bitmap, [](std::int64_t, std::int64_t) { return !stop_requested(); });
}

Result<void> write(const Job& job, const imaging::Bitmap& bitmap, Progress& progress) {
    if (stop_requested()) return Error{Fault::cancelled, "before writing"};
    progress.stage("writing");
    imaging::SaveOptions options;
    options.format_code = job.format_code;
    options.bits = job.bits;
    options.quality = job.quality;
    options.progress = [&](std::int64_t done, std::int64_t total) { return progress.step(done, total); };
    return imaging::save(bitmap, job.out, options);
}

// Says what a damaged file did not deliver: the picture is written, but all is not well.
int report_warnings(const Job& job, const Outcome& outcome) {
    for (const imaging::Place& warning : outcome.warnings) {
        std::fprintf(stderr, "%s: %s: warning: %s\n", kProgram.data(), job.in.c_str(),
                     std::string{warning.text()}.c_str());
    }
    if (outcome.rows_shown == outcome.rows_declared) return kWell;
    std::fprintf(stderr, "%s: %s: only %d of %d rows could be read\n", kProgram.data(), job.in.c_str(),
                 outcome.rows_shown, outcome.rows_declared);
    return report_failure(job.in, Error{Fault::truncated, "rows"});
}

int run(const Command& command, const Arguments& arguments) {
    const auto job = job_from(arguments);
    if (!job.value) return misused(command, job.problem);
    watch_for_stop();
    Result<Outcome> outcome = Error{Fault::cancelled, ""};
    Result<imaging::Bitmap> picture = Error{Fault::cancelled, ""};
    Result<void> written;
    {
        Progress progress;
        outcome = read(*job.value, progress);
        if (outcome) picture = operate(*job.value, outcome->bitmap, progress);
        if (picture) written = write(*job.value, *picture, progress);
    }
    if (!outcome) return report_failure(job.value->in, outcome.error());
    if (!picture) return report_failure(job.value->in, picture.error());
    if (!written) return report_failure(job.value->out, written.error(), Transfer::writing);
    return report_warnings(*job.value, *outcome);
}

constexpr Option kOptions[] = {
    {"bits", "N", "bits per pixel of OUT (default: what keeps most of the picture)"},
    {"page", "N", "take page N of IN (default 1)"},
    {"quality", "Q", "1 (smallest) to 100 (best) for formats that lose detail (default 85)"},
    {"op", "NAME[=A,B]", "apply an operation; may be repeated, applied in order; see ops"},
    {"region", "X,Y,W,H", "operations act inside this rectangle only"},
    {"ellipse", "X,Y,W,H", "the same, inside the ellipse in this rectangle"},
    {"format", "CODE", "write this format code whatever OUT is called; see formats"},
};

}  // namespace

extern const Command kConvert{
    "convert",
    "IN OUT",
    "write a picture in another format",
    "The extension of OUT decides the format unless --format does. OUT appears only when it is\n"
    "complete: after a failure or Ctrl+C a file of that name is as it was before.\n"
    "\n"
    "A damaged IN is converted as far as it can be read; the exit status is then 1, and standard\n"
    "error says how much is missing.\n"
    "\n"
    "Examples:\n"
    "  quillmark-convert convert scan.tif scan.png\n"
    "  quillmark-convert convert photo.png photo.jpg --quality 90\n"
    "  quillmark-convert convert fax.tif page3.bmp --page 3 --bits 1\n"
    "  quillmark-convert convert a.png b.png --op Rotate=9000 --op GammaCorrect=150\n",
    kOptions,
    run};

}  // namespace quillmark::convert
