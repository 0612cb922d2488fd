// Result codes and format codes against their texts: the ranges, the gaps, and that every code we produce has
// a text.
#include "text/messages.h"

#include <gtest/gtest.h>

#include "imaging/codec.h"
#include "imaging/result_codes.h"

namespace quillmark {
namespace {

using imaging::Error;
using imaging::Fault;
using imaging::Transfer;

TEST(ErrorMessage, ranges_and_gaps) {
    struct {
        int code;
        std::string text;
    } const cases[] = {
        {19'999, "Unexpected LEAD error #19999"},
        {20'000, "General failure"},
        {20'013, "Invalid parmameter passed"},
        {20'019, "Data CRC check error"},
        {20'020, "Unexpected LEAD error #20020"},
        {20'021, "Invalid QFactor specified"},
        {20'029, "Escape key pressed"},
        {20'030, "Internal Error - Call LEAD"},
        {20'045, "Internal Error - Call LEAD"},
        {20'062, "Internal Error - Call LEAD"},
        {20'063, "Fixed palette data not found"},
        {20'064, "Fixed palette data not found"},
        {20'065, "Stamp not found"},
        {20'066, "Unexpected LEAD error #20066"},
        {20'069, "Unexpected LEAD error #20069"},
        {20'070, "Invalid group 3 code"},
        {20'074, "Premature end-of-line code"},
        {20'077, "Premature end-of-line code"},
        {20'078, "Bad version number"},
        {20'090, "Twain operation was cancelled"},
        {20'091, "Unexpected LEAD error #20091"},
        {0, "Unexpected LEAD error #0"},
        {-7, "Unexpected LEAD error #-7"},
        {32'767, "Unexpected LEAD error #32767"},
    };
    for (const auto& [code, text] : cases) EXPECT_EQ(text::error_message(code), text) << code;
}

TEST(FormatName, shared_names_and_gaps) {
    struct {
        int code;
        std::string_view name;
    } const cases[] = {
        {1, "ZSoft PCX"},
        {5, "LEAD CMP"},
        {20, "LEAD CMP"},
        {11, "TIFF (compressed)"},
        {17, "TIFF (compressed)"},
        {27, "Fax - CCITT Group 3 1D"},
        {66, "Fax - CCITT Group 3 1D"},
        {30, "LEAD CMP - noloss"},
        {65, "LEAD - noloss"},
        {93, "MPEG"},
    };
    for (const auto& [code, name] : cases) EXPECT_EQ(text::format_name(code), name) << code;
    for (const auto& [first, last] :
         {std::pair{-3, 0}, {7, 8}, {12, 13}, {18, 19}, {31, 49}, {61, 61}, {84, 90}, {94, 120}}) {
        for (int code = first; code <= last; ++code) EXPECT_EQ(text::format_name(code), "") << code;
    }
    int named = 0;
    for (int code = 1; code <= 93; ++code) named += !text::format_name(code).empty();
    EXPECT_EQ(named, 60);
}

TEST(FormatName, every_codec_has_names) {
    constexpr int kLastNamed = 93;  // beyond it: numbers of our own for formats without a given one
    for (const imaging::Codec* codec : imaging::all_codecs()) {
        EXPECT_FALSE(codec->formats.empty()) << codec->name;
        for (const imaging::FormatCode& format : codec->formats) {
            EXPECT_EQ(text::format_name(format.code).empty(), format.code > kLastNamed)
                << codec->name << format.code;
        }
    }
}

TEST(ResultCode, every_fault_has_a_text) {
    constexpr auto kLast = static_cast<int>(Fault::cancelled);
    for (int fault = 0; fault <= kLast; ++fault) {
        for (const Transfer transfer : {Transfer::reading, Transfer::writing}) {
            const int code = imaging::result_code({static_cast<Fault>(fault), ""}, transfer);
            EXPECT_FALSE(text::error_message(code).starts_with("Unexpected")) << fault;
            EXPECT_GT(code, 20'000) << "fault " << fault << " has no code of its own";
        }
    }
}

TEST(ResultCode, reading_and_writing_differ) {
    EXPECT_EQ(text::error_message(imaging::result_code({Fault::io, ""}, Transfer::reading)),
              "Error reading file");
    EXPECT_EQ(text::error_message(imaging::result_code({Fault::io, ""}, Transfer::writing)),
              "Error writing file");
    EXPECT_EQ(imaging::result_code({Fault::no_stamp, ""}), 20'065);
}

}  // namespace
}  // namespace quillmark
