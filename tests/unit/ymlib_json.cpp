#include <gtest/gtest.h>

#include <string>

#include <ymlib/Json.h>

namespace ymlib {
namespace {

using namespace std::string_literals;

TEST(YmlibJson, IsSureUtf8) {
    const struct {
        std::string text;
        bool expected;
    } cases[] = {
        {"", true},
        {"plain \x7f", true},
        {"a zero \0 and \xc3\xa9"s, true},
        {"a zero \0 and \xff"s, false},
        {"\xc2\x80", true},
        {"\xdf\xbf", true},
        {"\xe0\xa0\x80", true},
        {"\xed\x9f\xbf", true},
        {"\xee\x80\x80", true},
        {"\xef\xbf\xbf", true},
        {"\xf0\x90\x80\x80", true},
        {"\xf4\x8f\xbf\xbf", true},
        {"\xe4\xb8\xad\xe6\x96\x87", true},
        {"\xd6\xd0\xce\xc4", false}, // code page 936
        {"\x80", false},             // continuation without a lead
        {"\xbf", false},             //
        {"\xc0\x80", false},         // overlong
        {"\xc1\xbf", false},         //
        {"\xe0\x9f\xbf", false},     //
        {"\xf0\x8f\xbf\xbf", false}, //
        {"\xed\xa0\x80", false},     // surrogates
        {"\xed\xbf\xbf", false},     //
        {"\xf4\x90\x80\x80", false}, // above U+10FFFF
        {"\xf5\x80\x80\x80", false}, //
        {"\xf8\x88\x80\x80\x80", false},
        {"\xff", false},
        {"\xc3", false},          // cut off
        {"\xe4\xb8", false},      //
        {"\xf0\x9f\x98", false},  //
        {"\xc3z", false},         // interrupted
        {"\xe4\xb8z", false},     //
        {"\xf0\x9f\x98z", false}, //
        {"\xe4z\xad", false},     //
        {"good \xc3\xa9 then \xc3", false},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(test.expected, isSureUtf8(Json::Value(test.text)))
            << testing::PrintToString(test.text);
    }
    for (const Json::Value& other :
         {Json::Value(), Json::Value(1), Json::Value(true), Json::Value(Json::arrayValue),
          Json::Value(Json::objectValue)}) {
        EXPECT_FALSE(isSureUtf8(other));
    }
}

} // namespace
} // namespace ymlib
