#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "text/numbers.h"
#include "text/paths.h"

namespace quillmark::text {
namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

TEST(Numbers, LeadingNumberIsReadLeniently) {
    const struct {
        const char* text;
        double value;
    } kCases[] = {
        {"", 0},
        {"   ", 0},
        {"abc", 0},
        {"-", 0},
        {"+", 0},
        {".", 0},
        {"12", 12},
        {"  12", 12},
        {"\t\n7", 7},
        {"-3.5", -3.5},
        {"+4", 4},
        {"+-4", 0},
        {"--4", 0},
        {"12abc", 12},
        {"1,234", 1},
        {"1.5.2", 1.5},
        {".5", 0.5},
        {"-.25", -0.25},
        {"5.", 5},
        {"1e3", 1000},
        {"1e", 1},
        {"1e+", 1},
        {"2E-2x", 0.02},
        {"150%", 150},
        {"&1 a", 0},
        {"0x10", 0},
        {"inf", 0},
        {"-nan", 0},
        {"infinity", 0},
        {"1e999", kLargest},
        {"-1e999", -kLargest},
        {"1e-999", 0},
        {"- 5", 0},
        {"12 34", 12},
        {"\xC2\xA0"
         "5",
         0},
    };
    for (const auto& c : kCases) EXPECT_EQ(leading_number(c.text), c.value) << '"' << c.text << '"';
    EXPECT_EQ(leading_number(std::string(400, '9')), kLargest);
    EXPECT_EQ(leading_number("0." + std::string(400, '0') + "1"), 0);
}

TEST(Numbers, HalvesGoToTheEvenNeighbour) {
    const struct {
        double value;
        std::int64_t rounded;
    } kCases[] = {{0.5, 0},
                  {1.5, 2},
                  {2.5, 2},
                  {-0.5, 0},
                  {-1.5, -2},
                  {-2.5, -2},
                  {2.4999, 2},
                  {2.51, 3},
                  {-2.51, -3},
                  {1e15 + 0.5, 1000000000000000},
                  {1e300, INT64_MAX},
                  {-1e300, INT64_MIN},
                  {9223372036854775808.0, INT64_MAX},
                  {-9223372036854775808.0, INT64_MIN},
                  {std::nan(""), 0}};
    for (const auto& c : kCases) EXPECT_EQ(round_half_even(c.value), c.rounded) << c.value;
}

TEST(Numbers, SixteenBitsClamp) {
    const struct {
        const char* text;
        int value;
    } kCases[] = {
        {"250", 250},       {"32767", 32767}, {"32767.5", 32767}, {"32768", 32767}, {"-32768", -32768},
        {"-40000", -32768}, {"1e99", 32767},  {"2.5", 2},         {"3.5", 4},       {"", 0}};
    for (const auto& c : kCases) EXPECT_EQ(int16_from_text(c.text), c.value) << c.text;
    EXPECT_EQ(to_int16(std::numeric_limits<double>::infinity()), 32767);
}

TEST(Numbers, ThousandsAreGroupedAndZeroPrintsNothing) {
    const struct {
        std::int64_t value;
        const char* text;
    } kCases[] = {{0, ""},
                  {7, "7"},
                  {-7, "-7"},
                  {999, "999"},
                  {-999, "-999"},
                  {1000, "1,000"},
                  {-1000, "-1,000"},
                  {70000, "70,000"},
                  {16777216, "16,777,216"},
                  {INT64_MIN, "-9,223,372,036,854,775,808"}};
    for (const auto& c : kCases) EXPECT_EQ(grouped(c.value), c.text);
}

TEST(Numbers, SingleTextIsShortAndReadsBack) {
    const struct {
        float value;
        const char* text;
    } kCases[] = {{0.0F, "0"},        {-0.0F, "0"},       {1.5F, "1.5"},   {-3.0F, "-3"},
                  {100.0F, "100"},    {0.1F, "0.1"},      {7.5F, "7.5"},   {12345.75F, "12345.75"},
                  {1e7F, "10000000"}, {1e-5F, "0.00001"}, {INFINITY, "0"}, {NAN, "0"}};
    for (const auto& c : kCases) EXPECT_EQ(single_text(c.value), c.text);
    for (const float value :
         {1.0F / 3, std::numeric_limits<float>::max(), -std::numeric_limits<float>::denorm_min()}) {
        EXPECT_EQ(static_cast<float>(leading_number(single_text(value))), value);
    }
}

TEST(Paths, PiecesOfAPath) {
    const struct {
        const char *path, *directory, *name, *extension;
    } kCases[] = {{"", "", "", ""},
                  {"cat.bmp", "", "cat.bmp", "bmp"},
                  {"/pics/cat.BMP", "/pics", "cat.BMP", "BMP"},
                  {"/cat", "", "cat", ""},
                  {"/pics/", "/pics", "", ""},
                  {"/pics.old/cat", "/pics.old", "cat", ""},
                  {"a/b.tar.gz", "a", "b.tar.gz", "gz"},
                  {"a/b.", "a", "b.", ""},
                  {"C:\\pics\\cat.bmp", "", "C:\\pics\\cat.bmp", "bmp"}};
    for (const auto& c : kCases) {
        EXPECT_EQ(directory_of(c.path), c.directory) << c.path;
        EXPECT_EQ(file_name_of(c.path), c.name) << c.path;
        EXPECT_EQ(extension_of(c.path), c.extension) << c.path;
    }
}

TEST(Paths, SmallHelpers) {
    EXPECT_EQ(last("scan0000000001", 10), "0000000001");
    EXPECT_EQ(last("short", 10), "short");
    EXPECT_EQ(with_separator("/pics"), "/pics/");
    EXPECT_EQ(with_separator("/pics/"), "/pics/");
    EXPECT_EQ(lower_ascii("ÄBC.Bmp"), "Äbc.bmp");
}

}  // namespace
}  // namespace quillmark::text
