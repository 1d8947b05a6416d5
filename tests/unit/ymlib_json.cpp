#include <gtest/gtest.h>

#include <ymlib/Json.h>

namespace {

using namespace std::string_literals;

TEST(YmlibJson, IsSureUtf8) {
    for (const std::string& text : {""s, "plain\x7f zero \0 and \xc3\xa9"s, "\xc2\x80"s,
                                    "\xdf\xbf"s, "\xe0\xa0\x80"s, "\xed\x9f\xbf"s, "\xee\x80\x80"s,
                                    "\xef\xbf\xbf"s, "\xf0\x90\x80\x80"s, "\xf4\x8f\xbf\xbf"s}) {
        EXPECT_TRUE(ymlib::isSureUtf8(text)) << testing::PrintToString(text);
    }
    for (const Json::Value& value : std::initializer_list<Json::Value>{
             // no text, a continuation alone, overlong
             Json::nullValue, 1, Json::arrayValue, "\0\xff"s, "\x80", "\xc1\xbf", "\xe0\x9f\xbf",
             "\xf0\x8f\xbf\xbf",
             // surrogates, too high
             "\xed\xa0\x80", "\xed\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff",
             // cut off, interrupted
             "\xc3", "\xe4\xb8", "\xf0\x9f\x98", "good\xc3\xa9then\xc3", "\xc3z", "\xe4\xb8z",
             "\xf0\x9f\x98z", "\xe4z\xad"}) {
        EXPECT_FALSE(ymlib::isSureUtf8(value)) << testing::PrintToString(value.toStyledString());
    }
}

} // namespace
