// quillmark-convert as a program: output, exit status, and what it leaves in the folder.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "convert/json.h"
#include "imaging/load.h"
#include "imaging/ops/operation.h"
#include "imaging/save.h"
#include "support/fixtures.h"
#include "support/run_program.h"

namespace quillmark::tests {
namespace {

using namespace imaging;

constexpr int kBmp = 6;
constexpr int kWell = 0, kFailed = 1, kMisused = 2;

ProgramRun run(const std::vector<std::string>& arguments) {
    return run_program(QUILLMARK_CONVERT, arguments);
}

bool contains(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

void save_bmp(const std::string& path, int width, int height, int bits) {
    SaveOptions options;
    options.format_code = kBmp;
    options.bits = bits;
    const auto saved = save(pattern(width, height, bits), path, options);
    ASSERT_TRUE(saved) << saved.error().where.text();
}

// The first extension of every codec that writes.
std::vector<std::string> written_extensions() {
    std::vector<std::string> names;
    for (const Codec* codec : all_codecs()) {
        const bool writes =
            std::ranges::any_of(codec->formats, [](const FormatCode& f) { return !f.write_depths.empty(); });
        if (writes) names.emplace_back(codec->extensions.front());
    }
    return names;
}

TEST(ConvertInfo, json_line) {
    const ScratchFolder folder;
    save_bmp(folder.path("a.bmp"), 37, 23, 24);
    const ProgramRun result = run({"info", "--json", folder.path("a.bmp")});
    EXPECT_EQ(result.status, kWell) << result.err;
    const std::string size = std::to_string(read_file(folder.path("a.bmp")).size());
    EXPECT_EQ(result.out, "{\"file\":\"" + folder.path("a.bmp") +
                              "\",\"ok\":true,\"format_code\":6,\"format\":\"Microsoft Windows "
                              "Bitmap\",\"width\":37,\"height\":23,"
                              "\"bits\":24,\"pages\":1,\"bytes_memory\":2553,\"bytes_disk\":" +
                              size + ",\"stamp\":false}\n");
}

TEST(ConvertInfo, halves_of_bytes_go_to_the_even_number) {
    const ScratchFolder folder;
    struct {
        int width, bytes;
    } const cases[] = {{4, 0}, {12, 2}, {20, 2}, {28, 4}, {29, 4}};
    for (const auto& [width, bytes] : cases) {
        save_bmp(folder.path("a.bmp"), width, 1, 1);
        const ProgramRun result = run({"info", "--json", folder.path("a.bmp")});
        EXPECT_TRUE(contains(result.out, "\"bytes_memory\":" + std::to_string(bytes) + ","))
            << width << ": " << result.out;
    }
}

TEST(ConvertInfo, goes_on_after_a_file_that_fails) {
    const ScratchFolder folder;
    save_bmp(folder.path("a.bmp"), 5, 5, 8);
    write_file(folder.path("noise"), "this is no picture");
    const ProgramRun result =
        run({"info", "--json", folder.path("gone"), folder.path("noise"), folder.path("a.bmp")});
    EXPECT_EQ(result.status, kFailed);
    EXPECT_EQ(std::ranges::count(result.out, '\n'), 3);
    EXPECT_TRUE(contains(result.out, "\"ok\":false,\"code\":20010,\"message\":\"File not found\""))
        << result.out;
    EXPECT_TRUE(contains(result.out, "\"code\":20009,\"message\":\"Invalid file format\"")) << result.out;
    EXPECT_TRUE(contains(result.out, "\"ok\":true")) << result.out;
    EXPECT_TRUE(contains(result.err, "error 20010: File not found")) << result.err;
}

TEST(ConvertInfo, page_that_does_not_exist) {
    const ScratchFolder folder;
    save_bmp(folder.path("a.bmp"), 5, 5, 8);
    EXPECT_EQ(run({"info", "--page", "2", folder.path("a.bmp")}).status, kFailed);
}

TEST(ConvertJson, strings_are_valid_utf8) {
    struct {
        std::string in, out;
    } const cases[] = {
        {"a\"\\\n\x01", R"("a\"\\\n\u0001")"},
        {"gr\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80", "\"gr\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80\""},
        {"\xFF.bmp", "\"\xEF\xBF\xBD.bmp\""},
        {"\xC0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},                  // overlong
        {"\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\""},  // a surrogate
        {"\xE2\x82", "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},                  // cut short
    };
    for (const auto& [in, out] : cases) EXPECT_EQ(convert::json_string(in), out);
}

TEST(ConvertFormats, one_line_for_each_code) {
    std::size_t codes = 0;
    for (const Codec* codec : all_codecs()) codes += codec->formats.size();
    ASSERT_GT(codes, all_codecs().size());
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(run({"formats"}).out, '\n')), codes + 1);
    const ProgramRun json = run({"formats", "--json"});
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(json.out, '\n')), codes);
    EXPECT_TRUE(contains(json.out, "\"name\":\"Microsoft Windows Bitmap\",\"codec\":\"BMP\"")) << json.out;
}

TEST(Convert, into_every_written_format) {
    const auto extensions = written_extensions();
    ASSERT_GE(extensions.size(), 5U);
    for (const std::string& extension : extensions) {
        const ScratchFolder folder;
        save_bmp(folder.path("in.bmp"), 37, 23, 24);
        const std::string out = folder.path("out." + extension);
        const ProgramRun result = run({"convert", folder.path("in.bmp"), out});
        EXPECT_EQ(result.status, kWell) << extension << ": " << result.err;
        EXPECT_EQ(result.err, "") << "progress belongs on terminals only";
        RowSink sink;
        const auto loaded = load(out, {}, sink);
        ASSERT_TRUE(loaded) << extension << ": " << loaded.error().where.text();
        const bool fixed_page = extension == "mac";
        EXPECT_EQ(loaded->bitmap.width(), fixed_page ? 576 : 37) << extension;
        EXPECT_EQ(loaded->bitmap.height(), fixed_page ? 720 : 23) << extension;
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.bmp", "out." + extension}));
    }
}

TEST(Convert, depth_and_format_code) {
    const ScratchFolder folder;
    save_bmp(folder.path("in.bmp"), 37, 23, 24);
    const ProgramRun result =
        run({"convert", "--bits=8", folder.path("in.bmp"), folder.path("out.dat"), "--format", "6"});
    ASSERT_EQ(result.status, kWell) << result.err;
    const auto info = read_info(folder.path("out.dat"), {});
    ASSERT_TRUE(info);
    EXPECT_EQ(info->bits, 8);
    EXPECT_EQ(info->format_code, kBmp);
}

TEST(Convert, refusals_name_what_is_possible) {
    const ScratchFolder folder;
    save_bmp(folder.path("in.bmp"), 5, 5, 24);
    const std::string in = folder.path("in.bmp");
    struct {
        std::vector<std::string> arguments;
        std::string_view says;
    } const cases[] = {
        {{"convert", in, folder.path("out.xyz")}, ".bmp"},
        {{"convert", in, folder.path("out")}, ".bmp"},
        {{"convert", in, folder.path("out.bmp"), "--bits", "13"}, "24"},
        {{"convert", in, folder.path("out.bmp"), "--format", "57"}, "formats"},
        {{"convert", in, folder.path("out.bmp"), "--quality", "101"}, "1 to 100"},
        {{"convert", in, folder.path("out.bmp"), "--page", "one"}, "whole number"},
        {{"convert", in, folder.path("out.bmp"), "--bits"}, "needs a value"},
        {{"convert", in}, "two file names"},
        {{"convert", "--depth", "8", in, folder.path("out.bmp")}, "--depth"},
        {{"info"}, "--help"},
        {{"formats", in}, "--help"},
        {{"explode"}, "explode"},
    };
    for (const auto& [arguments, says] : cases) {
        const ProgramRun result = run(arguments);
        EXPECT_EQ(result.status, kMisused) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(contains(result.err, says)) << result.err;
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.bmp"});
}

TEST(Convert, a_failure_leaves_the_target_alone) {
    const ScratchFolder folder;
    write_file(folder.path("in.bmp"), "BM, but no picture");
    write_file(folder.path("out.bmp"), "precious");
    const ProgramRun result = run({"convert", folder.path("in.bmp"), folder.path("out.bmp")});
    EXPECT_EQ(result.status, kFailed);
    EXPECT_TRUE(contains(result.err, "error 200")) << result.err;
    EXPECT_EQ(read_file(folder.path("out.bmp")), "precious");
    EXPECT_EQ(folder.names().size(), 2U);
    save_bmp(folder.path("good.bmp"), 5, 5, 24);
    EXPECT_EQ(run({"convert", folder.path("good.bmp"), folder.path("no/such/folder.bmp")}).status, kFailed);
}

TEST(Convert, a_damaged_file_gives_what_there_is_and_says_so) {
    const ScratchFolder folder;
    save_bmp(folder.path("whole.bmp"), 64, 64, 24);
    write_file(folder.path("in.bmp"), read_file(folder.path("whole.bmp")).substr(0, 6000));
    const ProgramRun result = run({"convert", folder.path("in.bmp"), folder.path("out.bmp")});
    EXPECT_EQ(result.status, kFailed);
    EXPECT_TRUE(contains(result.err, "of 64 rows")) << result.err;
    const auto info = read_info(folder.path("out.bmp"), {});
    ASSERT_TRUE(info);
    EXPECT_EQ(info->height, 64);
}

// Whatever moment the signal meets: a complete file, or none; and a stopped run says so.
TEST(Convert, interrupted) {
    const ScratchFolder folder;
    save_bmp(folder.path("in.bmp"), 3000, 3000, 24);
    bool stopped = false;
    for (int attempt = 0; attempt < 10 && !stopped; ++attempt) {
        Program program{QUILLMARK_CONVERT, {"convert", folder.path("in.bmp"), folder.path("out.png")}};
        while (program.running() && folder.names().size() < 2) usleep(500);
        program.send(SIGINT);
        const ProgramRun result = program.finish();
        if (result.status == kWell) {
            EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.bmp", "out.png"}));
            std::filesystem::remove(folder.path("out.png"));
        } else {
            EXPECT_EQ(result.status, kFailed) << "ended by the signal itself";
            EXPECT_TRUE(contains(result.err, "error 20029")) << result.err;
            EXPECT_EQ(folder.names(), std::vector<std::string>{"in.bmp"});
            stopped = true;
        }
    }
    EXPECT_TRUE(stopped) << "ten signals did not stop it once";
}

TEST(ConvertOps, operations_run_in_order_inside_the_region) {
    const ScratchFolder folder;
    save_bmp(folder.path("a.bmp"), 12, 8, 24);
    const ProgramRun turned = run({"convert", folder.path("a.bmp"), folder.path("b.bmp"), "--op",
                                   "Rotate=9000", "--op=Invert", "--region", "0,0,2,3"});
    ASSERT_EQ(turned.status, kWell) << turned.err;
    RowSink sink;
    const auto before = load(folder.path("a.bmp"), {}, sink);
    const auto after = load(folder.path("b.bmp"), {}, sink);
    ASSERT_TRUE(before && after);
    ASSERT_EQ(after->bitmap.width(), 8);
    for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 8; ++x) {
            Rgba expected = before->bitmap.pixel(y, 7 - x);
            if (x < 2 && y < 3)
                expected = {static_cast<std::uint8_t>(255 - expected.r),
                            static_cast<std::uint8_t>(255 - expected.g),
                            static_cast<std::uint8_t>(255 - expected.b), 255};
            ASSERT_EQ(after->bitmap.pixel(x, y), expected) << x << "," << y;
        }
    }
    EXPECT_EQ(run({"convert", folder.path("a.bmp"), folder.path("c.bmp"), "--op", "Grayscale=8", "--ellipse",
                   "1,1,4,4"})
                  .status,
              kWell);
}

TEST(ConvertOps, what_makes_no_sense_is_refused_with_the_reason) {
    const ScratchFolder folder;
    save_bmp(folder.path("a.bmp"), 5, 5, 24);
    struct {
        std::vector<std::string> options;
        std::string_view reason;
    } const cases[] = {
        {{"--op", "Sparkle"}, "no operation"},
        {{"--op", "Intensity=5000"}, "from -1000 to 1000"},
        {{"--op", "Intensity=1,2"}, "1 values at most"},
        {{"--op", "Grayscale=9"}, "one of 8"},
        {{"--op", "Invert", "--region", "1,2,3"}, "x,y,width,height"},
        {{"--op", "Invert", "--region", "1,2,3,0"}, "x,y,width,height"},
        {{"--op", "Invert", "--region", "1,1,3,3", "--ellipse", "1,1,3,3"}, "enough"},
        {{"--region", "1,2,3,4"}, "no --op"},
    };
    for (const auto& [options, reason] : cases) {
        std::vector<std::string> words{"convert", folder.path("a.bmp"), folder.path("b.bmp")};
        words.insert(words.end(), options.begin(), options.end());
        const ProgramRun result = run(words);
        EXPECT_EQ(result.status, kMisused) << options[1];
        EXPECT_TRUE(contains(result.err, reason)) << result.err;
    }
    EXPECT_EQ(folder.names().size(), 1U);
}

TEST(ConvertOps, the_list_names_every_operation) {
    const std::string text = run({"ops"}).out, json = run({"ops", "--json"}).out;
    int listed = 0;
    for (const Operation* operation : all_operations()) {
        EXPECT_TRUE(contains(text, std::string{operation->name})) << operation->name;
        EXPECT_TRUE(contains(json, "{\"name\":\"" + std::string{operation->name} + "\"")) << operation->name;
        ++listed;
    }
    EXPECT_GE(listed, 28);
}

TEST(ConvertHelp, every_command_explains_itself) {
    const std::string overview = run({"--help"}).out;
    for (const std::string command : {"info", "convert", "formats", "ops"}) {
        EXPECT_TRUE(contains(overview, command));
        const ProgramRun help = run({command, "--help"});
        EXPECT_EQ(help.status, kWell);
        EXPECT_TRUE(contains(help.out, "usage: quillmark-convert " + command)) << help.out;
    }
    EXPECT_EQ(run({}).status, kMisused);
}

}  // namespace
}  // namespace quillmark::tests
