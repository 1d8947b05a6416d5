#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <ymlib/Json.h>

namespace ymlib {
namespace {

using namespace std::string_literals;

std::vector<std::string> Words(const char* text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

TEST(YmlibJson, IsSureUtf8) {
    const auto isSure = [](const std::string& text) { return isSureUtf8(Json::Value(text)); };
    EXPECT_TRUE(isSure(""));
    EXPECT_TRUE(isSure("a zero \0 and \xc3\xa9"s));
    EXPECT_FALSE(isSure("a zero \0 and \xff"s));
    for (const std::string& word : Words("plain\x7f \xc2\x80 \xdf\xbf \xe0\xa0\x80 \xed\x9f\xbf "
                                         "\xee\x80\x80 \xef\xbf\xbf \xf0\x90\x80\x80 "
                                         "\xf4\x8f\xbf\xbf \xe4\xb8\xad\xe6\x96\x87")) {
        EXPECT_TRUE(isSure(word)) << testing::PrintToString(word);
    }
    for (const std::string& word :
         Words("\xd6\xd0\xce\xc4 "                                // code page 936
               "\x80 \xbf "                                       // a continuation alone
               "\xc0\x80 \xc1\xbf \xe0\x9f\xbf \xf0\x8f\xbf\xbf " // overlong
               "\xed\xa0\x80 \xed\xbf\xbf "                       // surrogates
               "\xf4\x90\x80\x80 \xf5\x80\x80\x80 \xf8\x88\x80\x80\x80 \xff " // too high
               "\xc3 \xe4\xb8 \xf0\x9f\x98 "                                  // cut off
               "\xc3z \xe4\xb8z \xf0\x9f\x98z \xe4z\xad "                     // interrupted
               "good\xc3\xa9then\xc3")) {
        EXPECT_FALSE(isSure(word)) << testing::PrintToString(word);
    }
    for (const Json::ValueType type : {Json::nullValue, Json::intValue, Json::booleanValue,
                                       Json::arrayValue, Json::objectValue}) {
        EXPECT_FALSE(isSureUtf8(Json::Value(type)));
    }
}

} // namespace
} // namespace ymlib
