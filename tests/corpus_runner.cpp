// Tries the codecs on a corpus of real files: quillmark_corpus_runner [--only FORMAT] [--save FOLDER]
// [--all].
//
// The corpus is a folder with manifest.tsv (tab separated, header line; its columns are named below), the
// files and reference pictures as PNG. It is not part of the source tree: the environment variable
// QUILLMARK_CORPUS names it, else it is looked for at the place that CMake was given. Every file is tried in
// a child process, so that a crash or a hang is one failure and not the end of the run. Exit status 0 when
// every file did what the manifest expects.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "imaging/convert_depth.h"
#include "imaging/load.h"
#include "support/png_reference.h"

namespace {

namespace fs = std::filesystem;
using namespace quillmark::imaging;
using quillmark::tests::RgbaPicture;

/// The corpus's names of the formats that we read.
constexpr std::string_view kFormats[] = {"bmp", "png",  "jpeg", "gif",       "tiff", "pcx",
                                         "tga", "ico",  "cur",  "sunraster", "msp",  "macpaint",
                                         "gem", "ioca", "psd",  "pict",      "cals", "fax"};

constexpr int kTolerance = 2;  // per channel, for what is not bit-exact by nature
constexpr unsigned kSeconds = 20;

/// Files whose reference we do not follow to the last bit, each with its reason.
struct Exception {
    std::string_view file;
    int tolerance;
    std::string_view reason;
    bool other_sides = false;
};
constexpr int kAnyPixels = 255;
const std::vector<Exception> kExceptions{
    {"rsi_bmp_v5_with_icc.ico", kAnyPixels,
     "the reference takes bytes of the colour profile for the mask; there is no mask"},
    {"gen_rle1.ras", kAnyPixels, "its writer lost the last three columns: they are not in the file"},
    {"gm_input_16rle.tga", kAnyPixels,
     "the reference is upside down and fully transparent; its sibling files show the picture upright"},
    {"pil_200x32_la_bl_raw.tga", kAnyPixels,
     "grey with alpha; the reference takes its 16 bits for 5-5-5 colours"},
    {"pil_200x32_la_tl_raw.tga", kAnyPixels,
     "grey with alpha; the reference takes its 16 bits for 5-5-5 colours"},
    {"pil_la.tga", kAnyPixels, "grey with alpha; the reference takes its 16 bits for 5-5-5 colours"},
    {"rst_flower-rgb-planar-24.tif", kAnyPixels,
     "the reference begins with the second pixel; the 8-bit sibling agrees with us"},
    {"pst_4x4_32bit_rgb.psd", kAnyPixels,
     "the reference shows linear light as it is stored; with its gamma the unmixed colours are those of the "
     "16-bit sibling"},
    {"tm_rgb-multichannel-no-transparency.psd", kAnyPixels,
     "the reference takes the fourth channel for transparency; the file says that it is none"},
    {"rst_g3test.g3", kAnyPixels,
     "the reference is of another file, without the first row of this one, and takes the seven codes that "
     "close "
     "the page for rows",
     true},
};

enum class Expectation { ok, questionable, error };

/// One line of the manifest.
struct Entry {
    std::string format, path, reference, note;
    int width = 0, height = 0;
    Expectation expectation = Expectation::ok;

    bool says(std::string_view text) const { return note.find(text) != std::string::npos; }
    bool visual_only() const { return reference.find(".visual.png") != std::string::npos; }
};

/// What the child found out, as it travels through the pipe.
struct Finding {
    bool failed = true;
    bool decoded = false;
    int difference = -1;  // largest per channel; -1: not compared
    char text[160] = {};

    void fail(const std::string& why) {
        failed = true;
        note(why);
    }
    // A questionable file may be shown differently, as long as it neither crashes nor contradicts itself.
    void disagree(const Entry& entry, const std::string& why) {
        failed = entry.expectation != Expectation::questionable;
        note(why);
    }
    void note(const std::string& what) { std::snprintf(text, sizeof text, "%s", what.c_str()); }
};

struct Options {
    fs::path corpus;
    std::string only;
    std::string save;
    bool all = false;  // also lines for files that did as expected
};

std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1) {
        fields.push_back(line.substr(start, tab - start));
    }
    fields.push_back(line.substr(start));
    return fields;
}

std::vector<Entry> read_manifest(const fs::path& path) {
    std::ifstream file{path};
    std::string line;
    std::getline(file, line);
    std::map<std::string, std::size_t> column;
    for (const std::string& name : split(line)) column.emplace(name, column.size());
    std::vector<Entry> entries;
    while (std::getline(file, line)) {
        auto fields = split(line);
        fields.resize(column.size());
        Entry entry;
        entry.format = fields[column["format"]];
        entry.path = fields[column["path"]];
        entry.reference = fields[column["reference"]];
        entry.note = fields[column["note"]];
        entry.width = std::atoi(fields[column["width"]].c_str());
        entry.height = std::atoi(fields[column["height"]].c_str());
        const std::string& expected = fields[column["expectation"]];
        entry.expectation = expected == "error" ? Expectation::error
                            : expected == "ok"  ? Expectation::ok
                                                : Expectation::questionable;
        entries.push_back(std::move(entry));
    }
    return entries;
}

const Exception* exception_for(const Entry& entry) {
    const std::string name = fs::path{entry.path}.filename();
    const auto found = std::ranges::find(kExceptions, name, &Exception::file);
    return found == kExceptions.end() ? nullptr : &*found;
}

RgbaPicture picture_of(const Bitmap& bitmap) {
    RgbaPicture picture{bitmap.width(), bitmap.height(), bitmap.has_alpha(), {}};
    const std::size_t row = static_cast<std::size_t>(bitmap.width()) * 4;
    picture.pixels.resize(row * static_cast<std::size_t>(bitmap.height()));
    for (int y = 0; y < bitmap.height(); ++y) {
        row_to_rgba(bitmap, y, 0, std::span{picture.pixels}.subspan(static_cast<std::size_t>(y) * row, row));
    }
    return picture;
}

void compare(const Entry& entry, const RgbaPicture& actual, const Options& options, Finding& finding) {
    const auto expected = quillmark::tests::read_png(options.corpus / entry.reference);
    if (!expected) return finding.fail("reference cannot be read");
    const Exception* exception = exception_for(entry);
    if (exception && exception->other_sides) return finding.note(std::string{exception->reason});
    if (expected->width != actual.width || expected->height != actual.height) {
        return finding.disagree(entry, "is " + std::to_string(actual.width) + "x" +
                                           std::to_string(actual.height) + ", reference " +
                                           std::to_string(expected->width) + "x" +
                                           std::to_string(expected->height));
    }
    finding.difference = largest_difference(actual, *expected);
    if (finding.difference > (exception ? exception->tolerance : kTolerance))
        finding.disagree(entry, "differs by " + std::to_string(finding.difference));
}

// What info says must be what decoding gives.
void check_info(const Entry& entry, const fs::path& file, const LoadOptions& options, const Outcome& outcome,
                Finding& finding) {
    const auto info = read_info(file, options);
    if (!info) return finding.fail("decodes, but has no info: " + std::string{info.error().where.text()});
    const Bitmap& bitmap = outcome.bitmap;
    if (info->width != bitmap.width() || info->height != bitmap.height() || info->bits != bitmap.bits()) {
        return finding.fail("info says " + std::to_string(info->width) + "x" + std::to_string(info->height) +
                            "x" + std::to_string(info->bits) + ", decoded " + std::to_string(bitmap.width()) +
                            "x" + std::to_string(bitmap.height()) + "x" + std::to_string(bitmap.bits()));
    }
    if (info->format_code != outcome.format_code) finding.fail("info and outcome name different formats");
}

void judge_picture(const Entry& entry, const fs::path& file, const LoadOptions& load_options,
                   const Options& options, const Outcome& outcome, Finding& finding) {
    const bool partial = outcome.rows_shown < outcome.rows_declared;
    if (entry.expectation == Expectation::error) {
        if (!(partial && entry.says("partial picture"))) finding.fail("opened, an error was expected");
        return;
    }
    const RgbaPicture actual = picture_of(outcome.bitmap);
    if (!options.save.empty()) {
        quillmark::tests::write_png(fs::path{options.save} / (file.filename().string() + ".png"), actual);
    }
    check_info(entry, file, load_options, outcome, finding);
    if (finding.failed) return;
    if (entry.visual_only() || entry.reference.empty()) {
        if (actual.width != entry.width || actual.height != entry.height)
            finding.disagree(entry, "has other sides than declared");
        return;
    }
    compare(entry, actual, options, finding);
    if (finding.failed && partial) {
        finding.fail(std::string{finding.text} + "; rows " + std::to_string(outcome.rows_shown) + " of " +
                     std::to_string(outcome.rows_declared));
    }
}

Finding try_file(const Entry& entry, const Options& options) {
    Finding finding;
    finding.failed = false;
    const fs::path file = options.corpus / entry.path;
    LoadOptions load_options;
    load_options.apply_orientation = entry.says("orientation tag applied");
    RowSink sink;
    const auto outcome = load(file, load_options, sink);
    if (outcome) {
        finding.decoded = true;
        judge_picture(entry, file, load_options, options, *outcome, finding);
    } else {
        const std::string why =
            std::string{fault_name(outcome.error().fault)} + ": " + std::string{outcome.error().where.text()};
        finding.note(why);
        finding.failed = entry.expectation == Expectation::ok || outcome.error().fault == Fault::not_found;
    }
    return finding;
}

Finding try_in_child(const Entry& entry, const Options& options) {
    int ends[2];
    Finding finding;
    if (pipe(ends) != 0) return finding;
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        alarm(kSeconds);
        const Finding found = try_file(entry, options);
        _exit(write(ends[1], &found, sizeof found) == sizeof found ? 0 : 3);
    }
    close(ends[1]);
    const bool told = read(ends[0], &finding, sizeof finding) == sizeof finding;
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!told || !WIFEXITED(status)) {
        finding = Finding{};
        finding.fail(WIFSIGNALED(status) ? WTERMSIG(status) == SIGALRM
                                               ? "hangs"
                                               : std::string{"crashed: "} + strsignal(WTERMSIG(status))
                                         : "ended early");
    }
    return finding;
}

struct Count {
    int tried = 0, failed = 0, decoded = 0, exact = 0;
};

void print_finding(const Entry& entry, const Finding& finding) {
    std::printf("%s %-10s %s", finding.failed ? "FAIL" : "  ok", entry.format.c_str(),
                fs::path{entry.path}.filename().c_str());
    if (entry.expectation == Expectation::questionable) std::printf(" (questionable)");
    if (entry.expectation == Expectation::error) std::printf(" (error expected)");
    if (finding.difference >= 0) std::printf(" difference %d", finding.difference);
    if (finding.text[0]) std::printf(" - %s", finding.text);
    std::printf("\n");
}

int run(const Options& options) {
    std::map<std::string, Count> counts;
    Count total;
    for (const Entry& entry : read_manifest(options.corpus / "manifest.tsv")) {
        if (std::ranges::find(kFormats, entry.format) == std::end(kFormats)) continue;
        if (!options.only.empty() && options.only != entry.format) continue;
        const Finding finding = try_in_child(entry, options);
        for (Count* count : {&counts[entry.format], &total}) {
            ++count->tried;
            count->failed += finding.failed;
            count->decoded += finding.decoded;
            count->exact += finding.difference == 0;
        }
        if (finding.failed || options.all) print_finding(entry, finding);
    }
    for (const auto& [format, count] : counts) {
        std::printf("%-10s tried %3d, decoded %3d, bit-exact %3d, failed %3d\n", format.c_str(), count.tried,
                    count.decoded, count.exact, count.failed);
    }
    std::printf("%-10s tried %3d, decoded %3d, bit-exact %3d, failed %3d\n", "all", total.tried,
                total.decoded, total.exact, total.failed);
    if (total.tried == 0) std::printf("FAIL no file was tried in %s\n", options.corpus.c_str());
    return total.tried > 0 && total.failed == 0 ? 0 : 1;
}

int usage() {
    std::fprintf(stderr,
                 "usage: quillmark_corpus_runner [--only FORMAT] [--save FOLDER] [--all]\n"
                 "  --only FORMAT  only the files of one format (bmp, png, ...)\n"
                 "  --save FOLDER  write what was decoded as PNG files into an existing folder\n"
                 "  --all          print a line for every file, not only for failures\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--all") {
            options.all = true;
        } else if (argument == "--only" && i + 1 < argc) {
            options.only = argv[++i];
        } else if (argument == "--save" && i + 1 < argc) {
            options.save = argv[++i];
        } else {
            return usage();
        }
    }
    const char* named = std::getenv("QUILLMARK_CORPUS");
    options.corpus = named ? named : QUILLMARK_CORPUS_FOLDER;
    if (!named && !fs::exists(options.corpus / "manifest.tsv")) {
        std::printf("no corpus found (set QUILLMARK_CORPUS to its folder)\n");
        return 0;
    }
    return run(options);
}
