#include "tool/values/option_values.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace tintwell::tool {
namespace {

TEST(OptionValues, RealNumbersAreTakenWholeFiniteAndInRange) {
    EXPECT_EQ(parseReal("0.1", 0, 10, "percent"), 0.1);
    EXPECT_EQ(parseReal("1e1", 0, 10, "percent"), 10.0);
    EXPECT_EQ(parseReal("-0", 0, 10, "percent"), 0.0);
    for (const char* const text : {"", " 1", "1 ", "1%", "1,5", "0x1", "nan", "inf", "-inf",
                                   "1e999", "10.0001", "-0.1", "--", "1e-999999999999x"}) {
        EXPECT_THROW(parseReal(text, 0, 10, "percent"), std::invalid_argument) << text;
    }
    try {
        parseReal("11", 0, 10, "percent");
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "'11' is out of range; give a number between 0 and 10 (percent)");
    }
}

TEST(OptionValues, FrameRanges) {
    struct Case {
        const char* text;
        std::int64_t first;
        std::int64_t last;
    };

    for (const Case& good : {Case{"0-0", 0, 0}, Case{"7", 7, 7}, Case{"5-120", 5, 120},
                             Case{"5-", 5, media::FrameSpan::kGreatest}, Case{"-5", 0, 5}}) {
        const media::FrameSpan range = parseFrameRange(good.text);
        EXPECT_EQ(range.toEnd, std::string(good.text) == "5-");
        EXPECT_EQ(frameRangeText(parseFrameRange(frameRangeText(range))), frameRangeText(range));
        EXPECT_EQ(range.first, good.first) << good.text;
        EXPECT_EQ(range.last, good.last) << good.text;
    }
    for (const char* const text :
         {"", "-", "--5", "9-3", "1-2-3", "a-b", "1.5", "1 - 2", "1--2", "99999999999999999999",
          "0-9223372036854775807", "2147483647", "4-2147483648", "2147483647-"}) {
        EXPECT_THROW(parseFrameRange(text), std::invalid_argument) << text;
    }
}

TEST(OptionValues, EncoderOptionsSplitAtTheFirstEqualsSign) {
    const KeyValue option = parseKeyValue("x264-params=keyint=1:ref=2");
    EXPECT_EQ(option.key, "x264-params");
    EXPECT_EQ(option.value, "keyint=1:ref=2");
    EXPECT_EQ(parseKeyValue("tune=").value, "");
    EXPECT_THROW(parseKeyValue("preset"), std::invalid_argument);
    EXPECT_THROW(parseKeyValue("=slow"), std::invalid_argument);
}

TEST(OptionValues, FrameRates) {
    for (const char* const text : {"25", "23.976", "30000/1001"}) {
        EXPECT_EQ(parseFrameRate(text), text);
    }
    for (const char* const text : {"", "0", "-25", "25/0", "/25", "25/", "1/2/3", "inf", "pal"}) {
        EXPECT_THROW(parseFrameRate(text), std::invalid_argument) << text;
    }
}

TEST(OptionValues, Times) {
    EXPECT_EQ(parseTime("12.5"), 12.5);
    EXPECT_DOUBLE_EQ(parseTime("1:02.04"), 62.04);
    EXPECT_EQ(parseTime("75:00"), 4500.0);
    EXPECT_DOUBLE_EQ(parseTime("1:00:00.000001"), 3600.000001);
    for (const char* const text :
         {"", ":", "1:", ":1", "soon", "1:2:3:4", "1:75", "1:60:00", "1.5:00", "12,5", "1e3", "nan",
          "inf", "0x1", " 1", "1s", "-1", "1:-2", "99999999999"}) {
        EXPECT_THROW(parseTime(text), std::invalid_argument) << text;
    }
}

} // namespace
} // namespace tintwell::tool
