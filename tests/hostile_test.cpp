// Every codec against damaged files: truncated at each place, header bytes replaced, and headers that declare
// far more than the file holds. Whatever happens, a call ends in an outcome or an error.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "imaging/load.h"
#include "support/child.h"
#include "support/fixtures.h"
#include "support/hostile_headers.h"

namespace quillmark::tests {
namespace {

using namespace imaging;

constexpr std::size_t kHeader = 256;
constexpr std::int64_t kBombKilobytes = 64 * 1024;
constexpr int kLastPage = 32'000;

// Checks what a codec reports while it decodes.
class StrictSink final : public RowSink {
  public:
    explicit StrictSink(ChildLog& log) : log_{log} {}
    void begin(const Bitmap& bitmap) override { height_ = bitmap.height(); }
    bool rows(const Bitmap& bitmap, int first, int last, std::int64_t done, std::int64_t total) override {
        if (first < 0 || first > last || last > height_) log_.fail("reports rows that do not exist");
        if (done < 0 || done > total) log_.fail("reports more done than there is");
        return true;
    }

  private:
    ChildLog& log_;
    int height_ = 0;
};

void check_outcome(ChildLog& log, const Result<ImageInfo>& info, const Outcome& outcome) {
    const Bitmap& bitmap = outcome.bitmap;
    if (bitmap.empty()) return log.fail("an outcome without pixels");
    if (outcome.rows_shown < 1 || outcome.rows_shown > outcome.rows_declared)
        log.fail("shows more or fewer rows than there are");
    if (outcome.rows_declared != bitmap.height()) log.fail("declares other rows than the bitmap has");
    if (!info) return;
    if (info->width != bitmap.width() || info->height != bitmap.height() || info->bits != bitmap.bits()) {
        log.fail("info and bitmap disagree");
    }
    if (info->pages < 1 || info->page < 1 || info->page > info->pages) log.fail("pages are counted wrongly");
}

void decode_once(ChildLog& log, const Codec& codec, const std::vector<std::uint8_t>& bytes, int page) {
    const ByteReader reader{memory_source(std::span{bytes})};
    ReadOptions options;
    options.page = page;
    StrictSink sink{log};
    codec.probe(std::span{bytes}.first(std::min<std::size_t>(bytes.size(), 4096)));
    const auto info = codec.info(reader, options);
    const auto outcome = codec.decode(reader, options, sink);
    if (outcome) check_outcome(log, info, *outcome);
    if (codec.stamp) {
        const auto stamp = codec.stamp(reader, options);
        if (stamp && stamp->bitmap.empty()) log.fail("a stamp without pixels");
    }
}

void decode(ChildLog& log, const Codec& codec, const std::vector<std::uint8_t>& bytes,
            const std::string& what) {
    log.trying(what);
    decode_once(log, codec, bytes, 1);
    if (codec.pages == Pages::many) decode_once(log, codec, bytes, kLastPage);
}

void truncate_everywhere(ChildLog& log, const Codec& codec, const Fixture& fixture) {
    const std::size_t size = fixture.bytes.size();
    const std::size_t stride = std::max<std::size_t>(1, (size - std::min(size, kHeader)) / 64);
    for (std::size_t length = 0; length < size; length += length < kHeader ? 1 : stride) {
        const std::vector<std::uint8_t> cut{fixture.bytes.begin(),
                                            fixture.bytes.begin() + static_cast<std::ptrdiff_t>(length)};
        decode(log, codec, cut, fixture.name + " cut after " + std::to_string(length) + " bytes");
    }
}

void replace_everywhere(ChildLog& log, const Codec& codec, const Fixture& fixture) {
    std::vector<std::uint8_t> bytes = fixture.bytes;
    for (std::size_t at = 0; at < std::min(bytes.size(), kHeader); ++at) {
        for (const int value : {0, 1, 127, 128, 255}) {
            bytes[at] = static_cast<std::uint8_t>(value);
            decode(log, codec, bytes,
                   fixture.name + " with byte " + std::to_string(at) + " set to " + std::to_string(value));
        }
        bytes[at] = fixture.bytes[at];
    }
}

void expect_clean(const ChildReport& report) {
    EXPECT_GT(report.attempts, 0) << "nothing was tried";
    for (const std::string& failure : report.failures) ADD_FAILURE() << failure;
}

class Hostile : public testing::TestWithParam<const Codec*> {};

TEST_P(Hostile, fixtures_are_valid) {
    const Codec& codec = *GetParam();
    for (const Fixture& fixture : encoded_fixtures(codec))
        EXPECT_FALSE(fixture.bytes.empty()) << fixture.name;
    const auto fixtures = all_fixtures(codec, QUILLMARK_TEST_DATA);
    ASSERT_FALSE(fixtures.empty());
    for (const Fixture& fixture : fixtures) {
        RowSink sink;
        const auto outcome = codec.decode(ByteReader{memory_source(std::span{fixture.bytes})}, {}, sink);
        ASSERT_TRUE(outcome) << fixture.name << ": " << outcome.error().where.text();
        EXPECT_EQ(outcome->rows_shown, outcome->rows_declared) << fixture.name;
    }
}

TEST_P(Hostile, truncated_files) {
    expect_clean(run_in_child([](ChildLog& log) {
        for (const Fixture& fixture : all_fixtures(*GetParam(), QUILLMARK_TEST_DATA))
            truncate_everywhere(log, *GetParam(), fixture);
    }));
}

TEST_P(Hostile, replaced_header_bytes) {
    expect_clean(run_in_child([](ChildLog& log) {
        for (const Fixture& fixture : all_fixtures(*GetParam(), QUILLMARK_TEST_DATA))
            replace_everywhere(log, *GetParam(), fixture);
    }));
}

// Each bomb in a child of its own: the memory of one must not hide in the memory of another.
TEST_P(Hostile, bombs) {
    int tried = 0;
    for (const std::uint32_t side : {65'535U, 20'000U}) {
        for (const Bomb& bomb : bombs(side)) {
            if (bomb.codec != codec_id(*GetParam())) continue;
            ++tried;
            expect_clean(run_in_child([&](ChildLog& log) {
                log.trying(bomb.name + ", side " + std::to_string(side));
                RowSink sink;
                const ByteReader reader{memory_source(std::span{bomb.bytes})};
                static_cast<void>(GetParam()->info(reader, {}));
                if (GetParam()->decode(reader, {}, sink)) log.fail("opened");
                const std::int64_t grown = log.grown_kilobytes();
                if (memory_can_be_measured() && grown > kBombKilobytes)
                    log.fail("touched " + std::to_string(grown) + " KB");
            }));
        }
    }
    EXPECT_GT(tried, 0) << "no bomb for this codec";
}

INSTANTIATE_TEST_SUITE_P(Codecs, Hostile, testing::ValuesIn(all_codecs().begin(), all_codecs().end()),
                         [](const auto& param) { return codec_id(*param.param); });

}  // namespace
}  // namespace quillmark::tests
