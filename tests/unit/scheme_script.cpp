// Scheme scripts and scheme sets through the public interface.
#include <gtest/gtest.h>

#include <ymdshow/CoderScheme.h>

#include "fakes/Journal.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

namespace {

using namespace std::string_literals;
using namespace ymdshow;

std::string Names(const CCoderScheme::Scheme& scheme) {
    std::string names;
    for (const FilterInfo* info : scheme.listFilter) {
        names += (names.empty() ? "" : ",") + fakes::Narrow(info->strName);
    }
    return names;
}

/// All of a scheme set: "mov=a,b mp4=a".
std::string Describe(CCoderScheme& set) {
    std::string text;
    for (const std::string& type : set.GetSchemeTypes()) {
        CCoderScheme::Scheme* scheme = nullptr;
        EXPECT_TRUE(set.FindScheme(type, &scheme));
        text += (text.empty() ? "" : " ") + type + "=" + Names(*scheme);
    }
    return text;
}

/// The last load: its failure by number and what it passed over, such as "1 Filter[1] 4:5 "a"; ":
/// the kind's number, the place and what the reason begins to quote.
std::string Report(const CCoderScheme& set) {
    const SchemeLoadReport& report = set.GetLoadReport();
    std::ostringstream text;
    if (!report.failureReason.empty()) {
        text << "failure " << static_cast<int>(report.failure) << " " << report.line << ":"
             << report.column;
    }
    for (const SchemeLoadReport::Entry& entry : report.entries) {
        const std::size_t quote = std::min(entry.reason.find(L'"'), entry.reason.size());
        text << static_cast<int>(entry.kind) << " " << fakes::Narrow(entry.place) << " "
             << entry.line << ":" << entry.column << " "
             << fakes::Narrow(entry.reason.substr(quote, 9)) << "; ";
    }
    return text.str();
}

/// The first filter of a type.
const FilterInfo& FilterOf(CCoderScheme& set, const std::string& type) {
    CCoderScheme::Scheme* scheme = nullptr;
    const bool found = set.FindScheme(type, &scheme) && !scheme->listFilter.empty();
    return found ? *scheme->listFilter.front() : throw std::runtime_error("no filter of " + type);
}

/// A filter object; `more` is appended to its members.
std::string Filter(const std::string& name, const std::string& more = "") {
    return R"({"Name":")" + name + R"(","CLSID":"{11111111-2222-3333-4444-555555555555}")" + more +
           "}";
}

/// A script with one scheme.
std::string Script(const std::string& type, const std::string& filters,
                   const std::string& shared = "") {
    return R"({"Filter":[)" + shared + R"(],"Schemes":[{"Type":")" + type + R"(","Filters":[)" +
           filters + "]}]}";
}

/// What a script makes of an empty set.
CCoderScheme Loaded(const std::string& script) {
    CCoderScheme set;
    EXPECT_TRUE(set.LoadSchemeByScript(script, 0)) << script.substr(0, 200);
    return set;
}

/// Loads a file of these bytes, whose name is not ASCII.
bool LoadFile(CCoderScheme& set, const std::string& bytes, int replace = 0) {
    const std::string process = std::to_string(GetCurrentProcessId()) + ".json";
    const std::filesystem::path path = L"方案" + std::wstring(process.begin(), process.end());
    std::ofstream(path, std::ios::binary) << bytes;
    const bool loaded = set.LoadScheme(path.wstring(), replace);
    EXPECT_EQ(CCoderScheme().LoadScheme("\xB7\xBD\xB0\xB8" + process, 0), loaded);
    std::filesystem::remove(path);
    return loaded;
}

const std::string onlyOne = R"(,"IsOnlyOne":true)";
const std::string a = Filter("a");
const std::string ref = R"({"Name":"a"})";

TEST(SchemeScript, KeepsIgnoresAndSkipsByItsRules) {
    const std::pair<std::string, std::string> cases[] = {
        {Script(" AVI ;\tmkv\\r\\n", a), "avi=a mkv=a"},
        {Script(";mp4", a), ""},
        {Script("mp4; ;avi;", a), "avi=a mp4=a"}, // a blank name is no end
        {Script("mp4;mp4", a + "," + Filter("b", onlyOne)), "mp4=a,b,a"},
        {Script("x", Filter("b") + "," + ref + R"(,{"Name":"A"},)" + a, a), "x=b,a,a"},
        {R"({"Schemes":[{"Type":"y","Filters":[]}],"Schemes":[{"Type":"x","Filters":[]}]})", "x="},
        {"{\"Filter\":{\"k\":" + a + R"(},"Schemes":[{"Type":"x","Filters":[{"Name":"a"}]}]})",
         "x="},
        {"// one\n{ /* two */ \"Schemes\" : [ ] /* \" */ } // three\n] text behind", ""}};
    for (const auto& [script, expected] : cases) {
        CCoderScheme set = Loaded(script);
        EXPECT_EQ(Describe(set), expected) << script;
    }
}

TEST(SchemeScript, RefusesWhatIsNoScript) {
    const std::string many = "/* \xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\n \xC3\xA4 ";
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"failure 3 0:0", {"", "\xFF\xFE", "\xFF\xFE\0\0{\0"s, "\xEF\xBB\xBF"}},
        {"failure 4 2:4", {many + "\xFF */ {\"Schemes\":[]}"}},
        {"failure 5 2:7", {many + "*/ }"}},
        {"failure 5 1:1", {"\0{\"Schemes\":[]}"s}},
        {"failure 5 1:15", {R"({"Schemes":[1,]})"}},
        {"failure 5 1:12", {R"({"Schemes":"\ud800"})"}},
        {"failure 6 0:0", {many + R"(*/ {"Filter":[]})", "[]", R"({"Schemes":{}})"}}};
    CCoderScheme set = Loaded(Script("mp4;mov", a));
    for (const auto& [failure, scripts] : cases) {
        for (const std::string& bytes : scripts) {
            EXPECT_FALSE(LoadFile(set, bytes, 0) || LoadFile(set, bytes, 1)) << bytes;
            EXPECT_EQ(Report(set), failure) << bytes;
            EXPECT_EQ(Describe(set), "mov=a mp4=a") << bytes;
        }
    }
    EXPECT_FALSE(set.LoadScheme(""s, 0));
    EXPECT_EQ(Report(set), "failure 1 0:0");
    EXPECT_FALSE(set.LoadScheme(L"no such file.json"s, 0));
    EXPECT_EQ(Report(set), "failure 2 0:0");
}

std::wstring Text(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return text;
}

/// What a filter with one more member is read as: role, flags that are set, and the rest.
std::wstring Read(const std::string& key, const std::string& value) {
    CCoderScheme set = Loaded(Script("x", Filter("f", ",\"" + key + "\":" + value)));
    const FilterInfo& info = FilterOf(set, "x");
    EXPECT_EQ(Text(info.clsid), L"{11111111-2222-3333-4444-555555555555}");
    return std::to_wstring(info.nType) + info.strPath + (info.bCache ? L" cache" : L"") +
           (info.bTryReplace ? L" replace" : L"") + (info.bOnlyOne ? L" once" : L"") +
           (info.bHasCategory ? L" in " + Text(info.clsidCategory) : L"") +
           (info.bHasDMOCategory ? L" DMO " + Text(info.clsidDMOCategory) : L"");
}

TEST(SchemeScript, ReadsEveryFieldAndKeepsTheDefaults) {
    for (const char* value : {"true", "-1", "0.5", "\"false\"", "[0]", "{\"a\":0}", "null"}) {
        EXPECT_EQ(Read("IsCache", value), L"0 cache") << value; // null: the default counts
    }
    for (const char* value : {"false", "0", "0.0", "\"\"", "[]", "{}"}) {
        EXPECT_EQ(Read("IsCache", value), L"0") << value;
    }
    const std::pair<const char*, const wchar_t*> roles[] = {
        {"source", L"1 cache"},   {"TransForm", L"2 cache"}, {"\\r\\n render \\t", L"4 cache"},
        {"renderer", L"0 cache"}, {"", L"0 cache"},          {"\\u3000source", L"0 cache"}};
    for (const auto& [type, role] : roles) {
        EXPECT_EQ(Read("Type", "\""s + type + "\""), role) << type;
    }
    EXPECT_EQ(Read("Path", R"("filters\\a.ax")"), L"0filters\\a.ax cache");
    EXPECT_EQ(Read("IsTryReplace", "1"), L"0 cache replace");
    EXPECT_EQ(Read("IsOnlyOne", "\"yes\""), L"0 cache once");
    EXPECT_EQ(Read("CategoryCLSID", "\"{083863F1-70DE-11d0-BD40-00A0C911CE86}\""),
              L"0 cache in {083863F1-70DE-11D0-BD40-00A0C911CE86}");
    const std::pair<std::string, std::wstring> categories[] = {
        {"DMOCATEGORY_AUDIO_DECODER", L"{57F2DB8B-E6BB-4513-9D43-DCD2A6593125}"},
        {"DMOCATEGORY_VIDEO_DECODER", L"{4A69B442-28BE-4991-969C-B500ADF5D8A8}"},
        {"DMOCATEGORY_AUDIO_EFFECT", L"{F3602B3F-0592-48DF-A4CD-674721E7EBEB}"},
        {"DMOCATEGORY_AUDIO_ENCODER", L"{33D9A761-90C8-11D0-BD43-00A0C911CE86}"},
        {"DMOCATEGORY_VIDEO_EFFECT", L"{D990EE14-776C-4723-BE46-3DA2F56F10B9}"},
        {"DMOCATEGORY_VIDEO_ENCODER", L"{33D9A760-90C8-11D0-BD43-00A0C911CE86}"},
        {"DMOCATEGORY_AUDIO_CAPTURE_EFFECT", L"{F665AABA-3E09-4920-AA5F-219811148F09}"},
        {"{f665aaba-3E09-4920-AA5F-219811148F00}", L"{F665AABA-3E09-4920-AA5F-219811148F00}"},
        {"DMOCATEGORY_AUDIO_DECODERS", L"{00000000-0000-0000-0000-000000000000}"}};
    for (const auto& [text, guid] : categories) {
        EXPECT_EQ(Read("DMOCategoryClsid", "\"" + text + "\""), L"0 cache DMO " + guid) << text;
    }
}

TEST(SchemeSet, MergesOrReplacesWhatIsThere) {
    CCoderScheme set = Loaded(Script("mp4;mov", a + "," + Filter("once", onlyOne)));
    // "once" stands in the list before: left out. "new" does not.
    const std::string second =
        Script("mp4", R"({"Name":"a"},{"Name":"once"},)" + Filter("new", onlyOne));
    CCoderScheme::Scheme* scheme = nullptr;
    ASSERT_TRUE(set.FindScheme("mp4", &scheme));
    ASSERT_TRUE(set.LoadSchemeByScript(second, 0));
    EXPECT_EQ(Describe(set), "mov=a,once mp4=a,once,a,new");
    ASSERT_TRUE(LoadFile(set, second, -1));
    EXPECT_EQ(Describe(set), "mov=a,once mp4=a,once,new");
    EXPECT_EQ(Names(*scheme), "a,once,new") << "the pointer stays valid, and current";
    ASSERT_TRUE(set.LoadSchemeByScript(Script("mp4;y", ref, Filter("a", onlyOne)), 2));
    EXPECT_EQ(Describe(set), "mov=a,once mp4=a y=a");
    EXPECT_EQ(&FilterOf(set, "y"), &FilterOf(set, "mp4")) << "the first description counts";
}

TEST(SchemeSet, FindsExactlyAndConfiguresOneListFromSeveral) {
    CCoderScheme set = Loaded(Script("mp4; ;\xD2\xF4\xC0\xD6", a + "," + Filter("one", onlyOne)));
    ASSERT_TRUE(
        set.LoadSchemeByScript(Script("all", R"({"Name":"one"},{"Name":"a"},)" + Filter("b")), 0));
    CCoderScheme::Scheme* const stale = reinterpret_cast<CCoderScheme::Scheme*>(8);
    CCoderScheme::Scheme* out = stale;
    EXPECT_TRUE(set.FindScheme(L"音乐", &out));
    EXPECT_EQ(Names(*out), "a,one");
    for (const char* type : {"MP4", " mp4", "mp", "mp4;"}) {
        out = stale;
        EXPECT_FALSE(set.FindScheme(type, &out)) << type;
        EXPECT_EQ(out, nullptr) << type;
    }
    out = stale; // an empty name is refused before anything else
    EXPECT_FALSE(set.FindScheme("", &out) || set.FindScheme(L"", &out));
    EXPECT_EQ(out, stale);

    CCoderScheme::Scheme merged;
    EXPECT_TRUE(set.ConfigScheme(std::vector{"mp4"s, "none"s, ""s, "MP4"s, "all"s}, merged));
    EXPECT_EQ(Names(merged), "a,one,a,b");
    EXPECT_TRUE(set.ConfigScheme(std::vector{L"all"s, L"none"s}, merged));
    EXPECT_EQ(Names(merged), "a,one,a,b,a,b");
    ASSERT_TRUE(set.FindScheme("mp4", &out)); // a list merged into itself
    EXPECT_TRUE(set.ConfigScheme(std::vector{"mp4"s}, *out));
    EXPECT_EQ(Names(*out), "a,one,a");
}

TEST(SchemeSet, CopiesShareEntriesAndNothingElse) {
    auto first = std::make_unique<CCoderScheme>(Loaded(Script("mp4;mov", a + ",5")));
    CCoderScheme copy(*first);
    CCoderScheme assigned = Loaded(Script("old", Filter("gone")));
    assigned = copy;
    EXPECT_EQ(&FilterOf(copy, "mp4"), &FilterOf(*first, "mp4"));
    EXPECT_EQ(Report(copy), Report(*first));
    EXPECT_EQ(Report(assigned), Report(*first));

    ASSERT_TRUE(copy.LoadSchemeByScript(Script("mp4", Filter("b")), 0));
    ASSERT_TRUE(first->LoadSchemeByScript(Script("mov", Filter("c")), 1));
    EXPECT_EQ(Describe(*first), "mov=c mp4=a");
    first->UnloadScheme();
    EXPECT_EQ(Describe(*first), "");
    EXPECT_EQ(Describe(copy), "mov=a mp4=a,b");
    EXPECT_TRUE(first->LoadSchemeByScript(Script("mp4", Filter("a", onlyOne)), 0));
    EXPECT_NE(FilterOf(*first, "mp4").bOnlyOne, FilterOf(copy, "mp4").bOnlyOne) << "another one";
    first.reset();
    copy.UnloadScheme();
    EXPECT_TRUE(assigned.LoadSchemeByScript(Script("x", ref), 0));
    EXPECT_EQ(Describe(assigned), "mov=a mp4=a x=a");
}

TEST(SchemeText, LiteralsAreCodePage936OrUtf8) {
    const std::tuple<std::string, std::wstring, std::string> cases[] = {
        // what stands in quotes, the filter's name, the file type
        {"\xD5\x5C", L"誠", "\xD5\x5C"}, // second bytes: a backslash, also before the quote,
        {"\xD5\x5C\xD5\x5Cn", L"誠誠n", "\xD5\x5C\xD5\x5Cn"},
        {"\xD5\x7B\xD5\x7D\xD5\x5B\xD5\x5D", L"調諁誟誡", "\xD5\x7B\xD5\x7D\xD5\x5B\xD5\x5D"},
        {"\xD5\x5C\\\\u4e2d\\\"\xD5\x5C", L"誠\\u4e2d\"誠", "\xD5\x5C\\u4e2d\"\xD5\x5C"},
        {"\xD5\x41", L"誂", "\xD5\x61"},                       // lower-cased byte by byte, kept
        {"\xD5\x5C\\u4e2d\\n", L"誠中\n", "\xD5\x5C\xD6\xD0"}, // escapes amidst such bytes
        {"\\uD6D0\xD6\xD0\\u0041", L"\xD6D0中A", "?\xD6\xD0\x61"},
        {"\xD6\xD0\\u00e4\\u0041", L"中\u00E4\x41", "\xD6\xD0?\x61"},
        {"\\u4e2d\\u9646", L"中陆", "\xD6\xD0\xC2\xBD"},
        {"\x80\xFE", L"", "\x80\xFE"}, // a lead byte at the end: no text in any encoding
        {"\x81 \\u4e2d", L"", ""},
        {"\xE8\xA7\xA3\xC3\xA4\\\"", L"解\u00E4\"", "\xE8\xA7\xA3\xC3\xA4\""}, // UTF-8
        {"\xE8\xA7\xA3\\u4e2d", L"解中", "\xBD\xE2\xD6\xD0"},
        {"\xC2\xBD", L"\u00BD", "\xC2\xBD"}, // also a character of 936, but surely UTF-8
        {"\xE8\xA7\xA3\xD6\xD0", L"", "\xE8\xA7\xA3\xD6\xD0"}, // neither
        {"\xF0\x9F\x98\x80", L"", "\xF0\x9F\x98\x80"}, // decodes to nothing beyond three bytes
        {"\\udc00", L"\xDC00", "?"},
        {"a\\u0000b", L"a\0b"s, "a\0b"s}};
    for (const auto& [literal, name, type] : cases) {
        // Behind the name stands a member, lost when the literal did not end where it should.
        const std::string path = ",\"Path\":\"\xD6\xD0\x81\x5C\"";
        CCoderScheme set = Loaded("/*/ \" *//* */" + Script("x", Filter(literal, path)));
        EXPECT_EQ(FilterOf(set, "x").strName, name) << testing::PrintToString(literal);
        EXPECT_EQ(FilterOf(set, "x").strPath, L"中乗") << testing::PrintToString(literal);
        set = Loaded(Script(literal, ""));
        EXPECT_EQ(Describe(set), type.empty() ? "" : type + "=");
    }
}

std::string Utf16(std::wstring text, bool isSwapped) {
    text.insert(0, 1, L'\xFEFF');
    for (wchar_t& c : text) {
        c = isSwapped ? static_cast<wchar_t>(c << 8 | c >> 8) : c;
    }
    return {reinterpret_cast<const char*>(text.data()), 2 * text.size()};
}

TEST(SchemeText, FilesComeInFourEncodings) {
    const std::string utf8 = Script("\xE9\x99\x86", Filter("\xE8\xAA\xA0\xE9\x99\x86"));
    const std::wstring utf16 = fakes::Widen(utf8);
    for (const std::string& file :
         {Script("\xC2\xBD", Filter("\xD5\x5C\xC2\xBD")), utf8, "\xEF\xBB\xBF" + utf8,
          Utf16(utf16, false), Utf16(utf16, true), Utf16(utf16 + L'\0' + L"rest", false),
          Utf16(utf16, false) + "x"}) {
        CCoderScheme set;
        ASSERT_TRUE(LoadFile(set, file)) << file;
        EXPECT_EQ(FilterOf(set, "\xC2\xBD").strName, L"誠陆") << file;
    }
    CCoderScheme set; // characters that the code page lacks, and a text longer than a buffer
    const std::string name = "\xED\x95\x9C\xD0\x9A\xF0\x9F\x98\x80" + std::string(100'000, 'n');
    const std::string lacking = Script("gr\xC3\xB6\xC3\x9F;mp4", Filter(name, ",\"x\":1"));
    ASSERT_TRUE(LoadFile(set, Utf16(fakes::Widen(lacking), false)));
    EXPECT_EQ(FilterOf(set, "mp4").strName, fakes::Widen(name));
    EXPECT_TRUE(set.FindScheme(L"größ", nullptr));
    EXPECT_EQ(Report(set), "9 Schemes[0].Filters[0].x 1:100123 ; 10 Schemes[0].Type 1:33 \"?\"; ");
}

TEST(SchemeReport, NamesEachFaultWithItsPlace) {
    CCoderScheme set = Loaded(R"({ "Extra": 1, "": 2,
  "Filter": [
    {"Name": "a", "CLSID": "{11111111-2222-3333-4444-555555555555}", "IsOnlyOne": true},
    {"Name": "a", "CLSID": "{11111111-2222-3333-4444-555555555555}"},
    {"Name": "nothing"}, {"CLSID": ""}, 7, {"Name": "e", "CLSID": 1},
    {"Name": "b", "CLSID": "{oops}", "Type": "renderer", "Path": 5, "IsOnlyone": true,
     "DMOCategoryClsid": "DMOCATEGORY_OTHER", "CategoryCLSID": "x"}
  ],
  "Schemes": [
    {"Type": "mp4;;avi", "Filters": [{"Name": "a"}, {"Name": "a"}, {"Name": "c"}, 5, {}]},
    {"Type": " ", "Filters": [{"Name": "a", "Type": "render"}, {"Name": "d", "CLSID": 1}]},
    {"Type": 5, "Filters": []}, {"Type": "x", "Filters": {}}, {"Filters": []}, {"Type": "x"},
    {"Type": "y", "Filters": [], "Note": 1}, null
  ], "$schema": "s"
})");
    EXPECT_EQ(Describe(set), "mp4=a y=");
    EXPECT_EQ(
        Report(set),
        R"(9 "" 1:19 ; 9 Extra 1:12 ; 1 Filter[1] 4:5 "a"; 0 Filter[2] 5:5 "CLSID"; )"
        R"(0 Filter[3] 5:26 "Name"; 0 Filter[4] 5:41 ; 8 Filter[5].CLSID 5:67 ; )"
        R"(0 Filter[5] 5:44 "CLSID" i; 9 Filter[6].IsOnlyone 6:82 ; 8 Filter[6].Path 6:66 ; )"
        R"(7 Filter[6].Type 6:46 "renderer; 6 Filter[6].CategoryCLSID 7:64 "x"; )"
        R"(6 Filter[6].DMOCategoryClsid 7:26 "DMOCATEG; 6 Filter[6].CLSID 6:28 "{oops}"; )"
        R"(3 Schemes[0].Filters[1] 10:53 "a"; 2 Schemes[0].Filters[2] 10:68 "c"; )"
        R"(0 Schemes[0].Filters[3] 10:83 ; 0 Schemes[0].Filters[4] 10:86 "Name"; )"
        R"(5 Schemes[0].Type 10:14 "mp4;;avi; 1 Schemes[1].Filters[0] 11:31 "a"; )"
        R"(8 Schemes[1].Filters[1].CLSID 11:87 ; 0 Schemes[1].Filters[1] 11:64 "CLSID" i; )"
        R"(4 Schemes[1].Type 11:14 ; 4 Schemes[2] 12:5 "Type" th; 4 Schemes[3] 12:33 "Filters"; )"
        R"(4 Schemes[4] 12:63 "Type" th; 4 Schemes[5] 12:80 "Filters"; )"
        R"(9 Schemes[6].Note 13:42 ; 4 Schemes[7] 13:46 ; )");
}

TEST(SchemeReport, CountsInTheTextAsItWasGiven) {
    // A literal before the fault is rewritten for the reader; characters of two bytes
    // count once; each kind of line end counts.
    const std::string head =
        "{\r\n\"Schemes\":\r[/*\xD5\x5C*/{\"Type\":\"\xD5\x5C\xD5\x5C\\u4e2d\",";
    const std::string emoji = "\"\\ud83d\\ude00\"";
    CCoderScheme set =
        Loaded(head + "\"Filters\":[],\"\xD5\x5C\":1},{\"Filters\":[],\"Type\":" + emoji +
               "}],\n/*\xE4\xB8\xAD\xE4\xB8\xAD*/\"Filter\":[{}," +
               Filter("n", ",\"Path\":" + emoji) + "]}");
    EXPECT_EQ(Report(set),
              "0 Filter[0] 4:17 \"Name\"; 10 Filter[1].Path 4:88 ; 9 Schemes[0].誠 3:43 ; "
              "10 Schemes[1].Type 3:67 \"?\"; 4 Schemes[1].Type 3:67 ; ");
    EXPECT_FALSE(set.LoadSchemeByScript(head + "]", 0));
    EXPECT_EQ(Report(set), "failure 5 3:26");
    ASSERT_TRUE(LoadFile(set, "\xEF\xBB\xBF{\"Schemes\":[/*\xE4\xB8\xAD*/ 5\n]}"));
    EXPECT_EQ(Report(set), "4 Schemes[0] 1:19 ; ");

    std::string filters = "{\"Name\":\"" + std::string(300, 'n') + "\"}";
    for (std::size_t i = 0; i < SchemeLoadReport::maxEntries + 3; ++i) {
        filters += ",7"; // two characters an entry
    }
    const SchemeLoadReport report = Loaded(Script("x", filters)).GetLoadReport();
    ASSERT_EQ(report.entries.size(), SchemeLoadReport::maxEntries);
    EXPECT_EQ(report.omitted, 4U);
    EXPECT_EQ(report.entries.back().column,
              report.entries[1].column + 2 * (SchemeLoadReport::maxEntries - 2));
    EXPECT_LT(report.entries[0].reason.size(), 200U);
}

TEST(HostileScript, NestedBeyondMeasureOrCutShortIsRefused) {
    CCoderScheme set;
    EXPECT_FALSE(
        set.LoadSchemeByScript(R"(/*[*/{"[":[],"Schemes":)" + std::string(1'000'000, '['), 0));
    EXPECT_EQ(Report(set), "failure 5 1:1023");
    const auto nested = [](std::size_t depth) {
        return "{\"Schemes\":" + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    EXPECT_FALSE(set.LoadSchemeByScript(nested(1000), 0));
    EXPECT_TRUE(set.LoadSchemeByScript(nested(999), 0));
    const std::string good =
        "// \xD5\x5C\n" + Script("mp4;\xD2\xF4", Filter("\xD5\x5C\\u4e2d") + "," + ref,
                                 Filter("a", ",\"Type\":\"\xE4\xB8\xAD\""));
    set = Loaded(good);
    for (std::size_t size = 1; size < good.size(); ++size) {
        EXPECT_FALSE(set.LoadSchemeByScript(good.substr(0, size), 0));
        EXPECT_TRUE(Report(set).starts_with("failure 5 ")) << size;
    }
}

TEST(HostileScript, ListsThatMultiplyAreBounded) {
    std::string types;
    std::string filters;
    for (int i = 0; i < 20000; ++i) {
        types += "t" + std::to_string(i) + ";";
        filters += ref + ",";
    } // 400 million list entries
    CCoderScheme set = Loaded(Script(types, filters + ref, a));
    EXPECT_EQ(set.GetSchemeTypes().size(), 202U);
    EXPECT_EQ(Report(set), "11 Schemes[0] 1:86 \"t202\"; ");
}

TEST(SchemeSamples, LoadWithoutAFault) {
    const std::string path = YMD_SAMPLES_DIR;
    CCoderScheme set; // the path is that of the host, under Wine
    EXPECT_TRUE(set.LoadScheme((path.front() == '/' ? "Z:" + path : path) + "/scheme.json", 0));
    EXPECT_EQ(Report(set), "");
}

} // namespace
