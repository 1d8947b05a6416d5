#include <gtest/gtest.h>

#include <string>

#include <ymlib/Json.h>

namespace ymlib {
namespace {

using namespace std::string_literals;

TEST(YmlibJson, IsSureUtf8) {
    const auto isSure = [](const std::string& text) { return isSureUtf8(Json::Value(text)); };
    EXPECT_TRUE(isSure(""));
    EXPECT_TRUE(isSure("a zero \0 and \xc3\xa9"s));
    EXPECT_FALSE(isSure("a zero \0 and \xff"s));
    for (const char* text :
         {"plain\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
          "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf", "\xe4\xb8\xad\xe6\x96\x87"}) {
        EXPECT_TRUE(isSure(text)) << testing::PrintToString(text);
    }
    for (const char* text : {// code page 936, a continuation alone
                             "\xd6\xd0\xce\xc4", "\x80", "\xbf",
                             // overlong
                             "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf",
                             // surrogates, too high
                             "\xed\xa0\x80", "\xed\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80",
                             "\xf8\x88\x80\x80\x80", "\xff",
                             // cut off, interrupted
                             "\xc3", "\xe4\xb8", "\xf0\x9f\x98", "good\xc3\xa9then\xc3", "\xc3z",
                             "\xe4\xb8z", "\xf0\x9f\x98z", "\xe4z\xad"}) {
        EXPECT_FALSE(isSure(text)) << testing::PrintToString(text);
    }
    for (const Json::ValueType type : {Json::nullValue, Json::intValue, Json::booleanValue,
                                       Json::arrayValue, Json::objectValue}) {
        EXPECT_FALSE(isSureUtf8(Json::Value(type)));
    }
}

} // namespace
} // namespace ymlib
