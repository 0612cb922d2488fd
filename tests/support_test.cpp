// The tools of the tests are tested too: a comparer that sees nothing would let everything pass.
#include <gtest/gtest.h>

#include "support/child.h"
#include "support/png_reference.h"
#include "support/run_program.h"

namespace quillmark::tests {
namespace {

RgbaPicture two_pixels(std::uint8_t blue, std::uint8_t alpha) {
    return {2, 1, alpha < 255, {1, 2, 3, 255, 4, 5, blue, alpha}};
}

TEST(PngReference, round_trip_and_differences) {
    const ScratchFolder folder;
    ASSERT_TRUE(write_png(folder.path("a.png"), two_pixels(6, 128)));
    const auto read = read_png(folder.path("a.png"));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->pixels, two_pixels(6, 128).pixels);
    EXPECT_EQ(largest_difference(*read, two_pixels(6, 128)), 0);
    EXPECT_EQ(largest_difference(two_pixels(16, 128), *read), 10) << "the last pixel counts";
    EXPECT_EQ(largest_difference(two_pixels(6, 28), *read), 100) << "alpha counts when the reference has it";
    EXPECT_EQ(largest_difference(two_pixels(6, 128), two_pixels(6, 255)), 0) << "and does not otherwise";
    EXPECT_EQ(largest_difference(two_pixels(200, 0), two_pixels(6, 0)), 0) << "invisible colour";
}

TEST(PngReference, damaged_file) {
    const ScratchFolder folder;
    ASSERT_TRUE(write_png(folder.path("a.png"), two_pixels(6, 128)));
    write_file(folder.path("b.png"), read_file(folder.path("a.png")).substr(0, 45));
    EXPECT_FALSE(read_png(folder.path("b.png")));
    EXPECT_FALSE(read_png(folder.path("missing.png")));
}

TEST(Child, reports_failures_crashes_and_hangs) {
    const ChildReport fine = run_in_child([](ChildLog& log) { log.trying("one"); });
    EXPECT_EQ(fine.attempts, 1);
    EXPECT_TRUE(fine.failures.empty());
    const ChildReport noted = run_in_child([](ChildLog& log) { log.trying("one"), log.fail("why"); });
    EXPECT_EQ(noted.failures, std::vector<std::string>{"one: why"});
    const ChildReport crash = run_in_child([](ChildLog& log) { log.trying("two"), std::abort(); });
    ASSERT_EQ(crash.failures.size(), 1U);
    EXPECT_TRUE(crash.failures[0].starts_with("two: crashed")) << crash.failures[0];
    const ChildReport hang = run_in_child([](ChildLog& log) {
        log.trying("three");
        for (volatile unsigned i = 0;;) i = i + 1;
    });
    EXPECT_EQ(hang.failures, std::vector<std::string>{"three: took more than a second"});
}

}  // namespace
}  // namespace quillmark::tests
