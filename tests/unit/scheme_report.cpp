#include "unit/scheme_support.h"

#include <gtest/gtest.h>

namespace {

using namespace scheme_tests;
using ymdshow::CCoderScheme;
using ymdshow::SchemeLoadReport;
using Kind = SchemeLoadReport::Kind;

struct Expected {
    Kind kind;
    const wchar_t* place;
    std::size_t line;
    std::size_t column;
    const wchar_t* quoted; ///< stands in the reason
};

void ExpectEntries(const SchemeLoadReport& report, const std::vector<Expected>& expected) {
    ASSERT_EQ(report.entries.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const SchemeLoadReport::Entry& entry = report.entries[i];
        EXPECT_EQ(entry.kind, expected[i].kind) << i;
        EXPECT_EQ(entry.place, expected[i].place) << i;
        EXPECT_EQ(std::pair(entry.line, entry.column),
                  std::pair(expected[i].line, expected[i].column))
            << i;
        EXPECT_NE(entry.reason.find(expected[i].quoted), std::wstring::npos) << i;
    }
}

TEST(SchemeReport, NamesEachFaultWithItsPlace) {
    const char script[] = R"({ "Extra": 1, "": 2,
  "Filter": [
    {"Name": "a", "CLSID": "{11111111-2222-3333-4444-555555555555}", "IsOnlyOne": true},
    {"Name": "a", "CLSID": "{11111111-2222-3333-4444-555555555555}"},
    {"Name": "nothing"}, {"CLSID": ""}, 7,
    {"Name": "b", "CLSID": "{oops}", "Type": "renderer", "Path": 5, "IsOnlyone": true,
     "DMOCategoryClsid": "DMOCATEGORY_OTHER", "CategoryCLSID": "x"}
  ],
  "Schemes": [
    {"Type": "mp4;;avi", "Filters": [{"Name": "a"}, {"Name": "a"}, {"Name": "c"}]},
    {"Type": " ", "Filters": [{"Name": "a", "Type": "render"}, {"Name": "d", "CLSID": 1}]},
    {"Filters": []}, {"Type": "x"}, {"Type": "y", "Filters": [], "Note": 1}, null
  ]
})";
    CCoderScheme set = Loaded(script);
    const SchemeLoadReport& report = set.GetLoadReport();
    EXPECT_EQ(report.failure, SchemeLoadReport::Failure::None);
    EXPECT_EQ(report.omitted, 0u);
    const std::vector<Expected> expected{
        {Kind::UnknownKey, L"\"\"", 1, 19, L"key"},
        {Kind::UnknownKey, L"Extra", 1, 12, L"key"},
        {Kind::DuplicateName, L"Filter[1]", 4, 5, L"\"a\""},
        {Kind::IgnoredFilter, L"Filter[2]", 5, 5, L"CLSID"},
        {Kind::IgnoredFilter, L"Filter[3]", 5, 26, L"Name"},
        {Kind::IgnoredFilter, L"Filter[4]", 5, 41, L"object"},
        {Kind::UnknownKey, L"Filter[5].IsOnlyone", 6, 82, L"key"},
        {Kind::WrongType, L"Filter[5].Path", 6, 66, L"string"},
        {Kind::UnknownRole, L"Filter[5].Type", 6, 46, L"\"renderer\""},
        {Kind::MalformedGuid, L"Filter[5].CategoryCLSID", 7, 64, L"\"x\""},
        {Kind::MalformedGuid, L"Filter[5].DMOCategoryClsid", 7, 26, L"OTHER"},
        {Kind::MalformedGuid, L"Filter[5].CLSID", 6, 28, L"\"{oops}\""},
        {Kind::RepeatedFilter, L"Schemes[0].Filters[1]", 10, 53, L"\"a\""},
        {Kind::UnknownReference, L"Schemes[0].Filters[2]", 10, 68, L"\"c\""},
        {Kind::CutTypeList, L"Schemes[0].Type", 10, 14, L"\"mp4;;avi\""},
        {Kind::DuplicateName, L"Schemes[1].Filters[0]", 11, 31, L"\"a\""},
        {Kind::WrongType, L"Schemes[1].Filters[1].CLSID", 11, 87, L"string"},
        {Kind::IgnoredFilter, L"Schemes[1].Filters[1]", 11, 64, L"CLSID"},
        {Kind::IgnoredScheme, L"Schemes[1].Type", 11, 14, L"type"},
        {Kind::IgnoredScheme, L"Schemes[2]", 12, 5, L"Type"},
        {Kind::IgnoredScheme, L"Schemes[3]", 12, 22, L"Filters"},
        {Kind::UnknownKey, L"Schemes[4].Note", 12, 74, L"key"},
        {Kind::IgnoredScheme, L"Schemes[5]", 12, 78, L"object"}};
    ExpectEntries(report, expected);
}

TEST(SchemeReport, CountsInTheTextAsItWasGiven) {
    // A literal before the fault is rewritten for the reader; characters of two bytes
    // count once; each kind of line end counts.
    const std::string head =
        "{\r\n\"Schemes\":\r[/*\xD5\x5C*/{\"Type\":\"\xD5\x5C\xD5\x5C\\u4e2d\",";
    CCoderScheme set = Loaded(head + "\"Filters\":[],\"\xD5\x5C\":1}]\n}");
    ExpectEntries(set.GetLoadReport(), {{Kind::UnknownKey, L"Schemes[0].誠", 3, 43, L"key"}});
    EXPECT_FALSE(set.LoadSchemeByScript(head + "]", 0));
    EXPECT_EQ(set.GetLoadReport().line, 3u);
    EXPECT_EQ(set.GetLoadReport().column, 26u);

    const TempFile file(L"report.json", "\xEF\xBB\xBF{\"Schemes\":[/*\xE4\xB8\xAD*/ 5\n]}");
    ASSERT_TRUE(set.LoadScheme(file.Path(), 0));
    ExpectEntries(set.GetLoadReport(), {{Kind::IgnoredScheme, L"Schemes[0]", 1, 19, L"object"}});
}

TEST(SchemeReport, IsThatOfTheLastLoadAndBounded) {
    std::string filters;
    for (std::size_t i = 0; i < SchemeLoadReport::maxEntries + 3; ++i) {
        filters += "7,";
    }
    CCoderScheme set = Loaded(Script("x", filters + "{\"Name\":\"lost\"}"));
    EXPECT_EQ(set.GetLoadReport().entries.size(), SchemeLoadReport::maxEntries);
    EXPECT_EQ(set.GetLoadReport().omitted, 4u);
    EXPECT_EQ(set.GetLoadReport().entries.back().column, // two characters an entry
              Script("x", "").find("]}]}") + 2 * SchemeLoadReport::maxEntries - 1);

    const std::wstring longName(300, L'n');
    ASSERT_TRUE(
        set.LoadSchemeByScript(Script("x", "{\"Name\":\"" + std::string(300, 'n') + "\"}"), 0));
    ASSERT_EQ(set.GetLoadReport().entries.size(), 1u);
    EXPECT_EQ(set.GetLoadReport().omitted, 0u);
    EXPECT_LT(set.GetLoadReport().entries[0].reason.size(), 200u);

    const CCoderScheme copy(set);
    EXPECT_EQ(copy.GetLoadReport().entries.size(), 1u);
    ASSERT_TRUE(set.LoadSchemeByScript("{\"Schemes\":[]}", 0));
    EXPECT_TRUE(set.GetLoadReport().entries.empty());
}

} // namespace
