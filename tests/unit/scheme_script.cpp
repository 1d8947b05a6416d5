// Scheme scripts and scheme sets through the public interface.
#include <gtest/gtest.h>

#include <ymdshow/CoderScheme.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

#include <json/json.h>

namespace {

using namespace std::string_literals;
using ymdshow::CCoderScheme;
using ymdshow::SchemeLoadReport;

std::string Ascii(const std::wstring& wide) {
    std::string text;
    for (const wchar_t c : wide) {
        text += c < 0x80 ? static_cast<char>(c) : '?';
    }
    return text;
}

std::string Names(const CCoderScheme::Scheme& scheme) {
    std::string names;
    for (const ymdshow::FilterInfo* info : scheme.listFilter) {
        names += (names.empty() ? "" : ",") + Ascii(info->strName);
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

/// What the last load passed over, such as "1 Filter[1] 4:5 "a"; ": the kind's number, the place
/// and what the reason has in quotes.
std::string Faults(const CCoderScheme& set) {
    std::ostringstream text;
    for (const SchemeLoadReport::Entry& entry : set.GetLoadReport().entries) {
        const std::size_t quote = std::min(entry.reason.find(L'"'), entry.reason.size());
        text << static_cast<int>(entry.kind) << " " << Ascii(entry.place) << " " << entry.line
             << ":" << entry.column << " " << Ascii(entry.reason.substr(quote)) << "; ";
    }
    return text.str();
}

/// The first filter of a type.
const ymdshow::FilterInfo& FilterOf(CCoderScheme& set, const std::string& type) {
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
        {R"({"Filter":{"Name":"a"},"Schemes":[{"Type":"x","Filters":[]}]})", "x="},
        {"// one\n{ /* two */ \"Schemes\" : [ ] /* \" */ } // three", ""},
        {"{\"$schema\":\"s\",\"Schemes\":[/*]}*/{\"Type\":\"x\",\"Filters\":[" + Filter("\\\"]}") +
             "]}// ]\n]} text behind",
         "x=\"]}"}};
    for (const auto& [script, expected] : cases) {
        CCoderScheme set = Loaded(script);
        EXPECT_EQ(Describe(set), expected) << script;
    }
}

TEST(SchemeScript, RefusesWhatIsNoScriptAndUndoesIt) {
    using Failure = SchemeLoadReport::Failure;
    const std::string many = "/* \xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4\n \xC3\xA4 ";
    const std::string good = Script("new;mp4;mp4;mov", Filter("b"), Filter("c"));
    const std::tuple<std::string, Failure, std::size_t, std::size_t> cases[] = {
        {"", Failure::EmptyScript, 0, 0},
        {"\xFF\xFE", Failure::EmptyScript, 0, 0},
        {"\xFF\xFE\0\0{\0"s, Failure::EmptyScript, 0, 0},
        {"\xEF\xBB\xBF", Failure::EmptyScript, 0, 0},
        {many + "\xFF */ {\"Schemes\":[]}", Failure::Encoding, 2, 4},
        {many + "*/ }", Failure::Syntax, 2, 7},
        {many + "*/ {}", Failure::NoSchemes, 0, 0},
        {"\0{\"Schemes\":[]}"s, Failure::Syntax, 1, 1},
        {R"({"Schemes":[1,]})", Failure::Syntax, 1, 15},
        {R"({"Schemes":"\ud800"})", Failure::Syntax, 1, 12},
        {good.substr(0, good.size() - 2) + ",{\"Type\":}]}", Failure::Syntax, 1, 195},
        {"[]", Failure::NoSchemes, 0, 0},
        {R"({"Schemes":{}})", Failure::NoSchemes, 0, 0},
        {R"({"schemes":[]})", Failure::NoSchemes, 0, 0}};
    CCoderScheme set = Loaded(Script("mp4;mov", a));
    const SchemeLoadReport& report = set.GetLoadReport();
    for (const auto& [bytes, failure, line, column] : cases) {
        for (const int replace : {0, 1}) {
            EXPECT_FALSE(LoadFile(set, bytes, replace)) << bytes;
            EXPECT_EQ(std::tuple(report.failure, report.line, report.column),
                      std::tuple(failure, line, column))
                << bytes;
            EXPECT_FALSE(report.failureReason.empty()) << bytes;
            EXPECT_EQ(Describe(set), "mov=a mp4=a") << bytes;
        }
    }
    EXPECT_FALSE(set.LoadSchemeByScript("", 0));
    EXPECT_EQ(report.failure, Failure::EmptyScript);
    EXPECT_FALSE(set.LoadScheme(std::string(), 0));
    EXPECT_EQ(report.failure, Failure::NoPath);
    EXPECT_FALSE(set.LoadScheme(L"no such file.json"s, 0));
    EXPECT_EQ(report.failure, Failure::CannotOpen);
    EXPECT_FALSE(set.LoadScheme(L"."s, 0)); // a directory
    ASSERT_TRUE(set.LoadSchemeByScript(Script("x", R"({"Name":"b"},{"Name":"c"})"), 0));
    EXPECT_EQ(Describe(set), "mov=a mp4=a x=") << "their filters are forgotten, too";
}

std::wstring Text(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return text;
}

/// What a filter with one more member is read as: role, flags that are set, and the rest.
std::wstring Read(const std::string& key, const std::string& value) {
    CCoderScheme set = Loaded(Script("x", Filter("f", ",\"" + key + "\":" + value)));
    const ymdshow::FilterInfo& info = FilterOf(set, "x");
    EXPECT_EQ(Text(info.clsid), L"{11111111-2222-3333-4444-555555555555}");
    std::wstring text = std::to_wstring(info.nType) + info.strPath;
    text += info.bCache ? L" cache" : L"";
    text += info.bTryReplace ? L" replace" : L"";
    text += info.bOnlyOne ? L" once" : L"";
    text += info.bHasCategory ? L" in " + Text(info.clsidCategory) : L"";
    return text + (info.bHasDMOCategory ? L" DMO " + Text(info.clsidDMOCategory) : L"");
}

TEST(SchemeScript, ReadsEveryFieldAndKeepsTheDefaults) {
    EXPECT_EQ(Read("Path", R"("filters\\a.ax")"), L"0filters\\a.ax cache");
    EXPECT_EQ(Read("IsTryReplace", "1"), L"0 cache replace");
    EXPECT_EQ(Read("IsOnlyOne", "\"yes\""), L"0 cache once");
    EXPECT_EQ(Read("CategoryCLSID", "\"{083863F1-70DE-11d0-BD40-00A0C911CE86}\""),
              L"0 cache in {083863F1-70DE-11D0-BD40-00A0C911CE86}");
    for (const char* value : {"true", "-1", "0.5", "\"false\"", "[0]", "{\"a\":0}", "null"}) {
        EXPECT_EQ(Read("IsCache", value), L"0 cache") << value; // null: the default counts
    }
    for (const char* value : {"false", "0", "0.0", "\"\"", "[]", "{}"}) {
        EXPECT_EQ(Read("IsCache", value), L"0") << value;
    }
    const std::pair<std::string, const wchar_t*> roles[] = {
        {"source", L"1 cache"},   {"TransForm", L"2 cache"}, {"\\r\\n render \\t", L"4 cache"},
        {"renderer", L"0 cache"}, {"", L"0 cache"},          {"\\u3000source", L"0 cache"}};
    for (const auto& [type, role] : roles) {
        EXPECT_EQ(Read("Type", "\"" + type + "\""), role) << type;
    }
    const std::pair<std::string, std::wstring> categories[] = {
        {"DMOCATEGORY_AUDIO_DECODER", L"{57F2DB8B-E6BB-4513-9D43-DCD2A6593125}"},
        {"DMOCATEGORY_VIDEO_DECODER", L"{4A69B442-28BE-4991-969C-B500ADF5D8A8}"},
        {"DMOCATEGORY_AUDIO_EFFECT", L"{F3602B3F-0592-48DF-A4CD-674721E7EBEB}"},
        {"DMOCATEGORY_AUDIO_ENCODER", L"{33D9A761-90C8-11D0-BD43-00A0C911CE86}"},
        {"DMOCATEGORY_VIDEO_EFFECT", L"{D990EE14-776C-4723-BE46-3DA2F56F10B9}"},
        {"DMOCATEGORY_VIDEO_ENCODER", L"{33D9A760-90C8-11D0-BD43-00A0C911CE86}"},
        {"DMOCATEGORY_AUDIO_CAPTURE_EFFECT", L"{F665AABA-3E09-4920-AA5F-219811148F09}"},
        {"{f665aaba-3E09-4920-AA5F-219811148F00}", L"{F665AABA-3E09-4920-AA5F-219811148F00}"},
        {"dmocategory_audio_decoder", L"{00000000-0000-0000-0000-000000000000}"},
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
    ASSERT_TRUE(set.LoadSchemeByScript(Script("y", ref, Filter("a", R"(,"Type":"render")")), 1));
    EXPECT_EQ(&FilterOf(set, "y"), &FilterOf(set, "mp4")) << "the first description counts";
}

TEST(SchemeSet, MergesLongListsByTheSameRules) {
    std::string filters;
    std::string expected = "z=";
    std::string again = "f5";
    for (int i = 0; i < 40; ++i) {
        const std::string name = "f" + std::to_string(i);
        filters += Filter(name, i % 2 == 0 ? onlyOne : "") + ",";
        expected += name + ",";
        again += i % 2 == 0 ? "" : "," + name;
    }
    const std::string script = Script("z", filters + R"({"Name":"f4"},{"Name":"f5"})");
    CCoderScheme set = Loaded(script);
    EXPECT_EQ(Describe(set), expected + "f5");
    ASSERT_TRUE(set.LoadSchemeByScript(script, 0));
    EXPECT_EQ(Describe(set), expected + again + ",f5");
}

TEST(SchemeSet, FindsExactlyAndConfiguresOneListFromSeveral) {
    CCoderScheme set = Loaded(Script("mp4; ;\xD2\xF4\xC0\xD6", a + "," + Filter("one", onlyOne)));
    ASSERT_TRUE(
        set.LoadSchemeByScript(Script("all", R"({"Name":"one"},{"Name":"a"},)" + Filter("b")), 0));
    CCoderScheme::Scheme* const stale = reinterpret_cast<CCoderScheme::Scheme*>(8);
    CCoderScheme::Scheme* out = stale;
    EXPECT_TRUE(set.FindScheme("mp4", nullptr));
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
    EXPECT_TRUE(set.ConfigScheme(std::vector<std::string>{}, merged));
    EXPECT_TRUE(set.ConfigScheme(std::vector{"mp4"s, "none"s, ""s, "MP4"s, "all"s}, merged));
    EXPECT_EQ(Names(merged), "a,one,a,b");
    EXPECT_TRUE(set.ConfigScheme(std::vector{L"all"s, L"none"s}, merged));
    EXPECT_EQ(Names(merged), "a,one,a,b,a,b");
    ASSERT_TRUE(set.FindScheme("mp4", &out)); // a list merged into itself
    EXPECT_TRUE(set.ConfigScheme(std::vector{"mp4"s}, *out));
    EXPECT_EQ(Names(*out), "a,one,a");
}

TEST(SchemeSet, CopiesShareEntriesAndNothingElse) {
    auto first = std::make_unique<CCoderScheme>();
    ASSERT_TRUE(first->LoadSchemeByScript(Script("mp4;mov", a + ",5"), 0));
    CCoderScheme copy(*first);
    CCoderScheme assigned = Loaded(Script("old", Filter("gone")));
    assigned = copy;
    assigned = *&assigned;
    EXPECT_EQ(&FilterOf(copy, "mp4"), &FilterOf(*first, "mp4"));
    EXPECT_EQ(Faults(copy), Faults(*first));
    EXPECT_EQ(Faults(assigned), Faults(*first));

    ASSERT_TRUE(copy.LoadSchemeByScript(Script("mp4", Filter("b")), 0));
    ASSERT_TRUE(first->LoadSchemeByScript(Script("mov", Filter("c")), 1));
    EXPECT_EQ(Describe(*first), "mov=c mp4=a");
    first->UnloadScheme();
    EXPECT_EQ(Describe(*first), "");
    EXPECT_EQ(Describe(copy), "mov=a mp4=a,b");
    EXPECT_TRUE(first->LoadSchemeByScript(Script("mp4", Filter("a", onlyOne)), 0));
    EXPECT_TRUE(FilterOf(*first, "mp4").bOnlyOne) << "an entry read anew is another one";
    EXPECT_FALSE(FilterOf(copy, "mp4").bOnlyOne);
    first.reset();
    copy.UnloadScheme();
    EXPECT_EQ(Describe(assigned), "mov=a mp4=a");
}

TEST(SchemeText, LiteralsAreCodePage936OrUtf8) {
    const std::tuple<std::string, std::wstring, std::string> cases[] = {
        // what stands in quotes, the filter's name, the file type
        {"Plain", L"Plain", "plain"},
        {"\xBD\xE2\xC2\xEB\xC6\xF7", L"解码器", "\xBD\xE2\xC2\xEB\xC6\xF7"},
        {"\xD5\x5C", L"誠", "\xD5\x5C"}, // second bytes: a backslash, also before the quote,
        {"\xD5\x5C\xD5\x5Cn", L"誠誠n", "\xD5\x5C\xD5\x5Cn"},
        {"\xD5\x7B\xD5\x7D\xD5\x5B\xD5\x5D", L"調諁誟誡", "\xD5\x7B\xD5\x7D\xD5\x5B\xD5\x5D"},
        {"\xD5\x5C\\\\\\\"\xD5\x5C", L"誠\\\"誠", "\xD5\x5C\\\"\xD5\x5C"},
        {"\xD5\x41", L"誂", "\xD5\x61"},                       // lower-cased byte by byte, kept
        {"\xD5\x5C\\u4e2d\\n", L"誠中\n", "\xD5\x5C\xD6\xD0"}, // escapes amidst such bytes
        {"\\uD6D0\xD6\xD0\\u0041", L"\xD6D0中A", "?\xD6\xD0\x61"},
        {"\xD6\xD0\\u0041", L"中A", "\xD6\xD0\x61"},
        {"\\u4e2d\\u9646", L"中陆", "\xD6\xD0\xC2\xBD"},
        {"\x80\xFE", L"", "\x80\xFE"}, // a lead byte at the end: no text in any encoding
        {"\x81 \\u4e2d", L"", ""},
        {"\xE8\xA7\xA3\xC3\xA4", L"解\u00E4", "\xE8\xA7\xA3\xC3\xA4"}, // UTF-8
        {"\xE8\xA7\xA3\\u4e2d", L"解中", "\xBD\xE2\xD6\xD0"},
        {"\xC2\xBD", L"\u00BD", "\xC2\xBD"}, // also a character of 936, but surely UTF-8
        {"\xE8\xA7\xA3\xD6\xD0", L"", "\xE8\xA7\xA3\xD6\xD0"}, // neither
        {"\xF0\x9F\x98\x80", L"", "\xF0\x9F\x98\x80"}, // decodes to nothing beyond three bytes
        {"\\ud83d\\ude00", L"", ""},
        {"\\udc00", L"\xDC00", "?"},
        {"a\\u0000b", L"a\0b"s, "a\0b"s},
        {"\\ud800", L"(refused)", ""},
        {"\xD5\x5C\\ud800\\n", L"(refused)", ""},
        {"\xD5\x5C\\q", L"(refused)", ""}};
    for (const auto& [literal, name, type] : cases) {
        SCOPED_TRACE(testing::PrintToString(literal));
        CCoderScheme set;
        // Behind the name stands a member, lost when the literal did not end where it should.
        const std::string path = ",\"Path\":\"\xD6\xD0\x81\x5C\"";
        const bool loaded =
            set.LoadSchemeByScript("// \xD5\x5C\n" + Script("x", Filter(literal, path)), 0);
        EXPECT_EQ(loaded ? FilterOf(set, "x").strName : L"(refused)", name);
        EXPECT_EQ(loaded ? FilterOf(set, "x").strPath : L"中乗", L"中乗");
        CCoderScheme types;
        types.LoadSchemeByScript(Script(literal, ""), 0);
        EXPECT_EQ(Describe(types), type.empty() ? "" : type + "=");
    }
}

std::string Utf16(const std::wstring& text, bool bigEndian) {
    std::string bytes;
    for (const wchar_t c : L"\xFEFF" + text) {
        const char pair[] = {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
        bytes += {pair[bigEndian], pair[!bigEndian]};
    }
    return bytes;
}

TEST(SchemeText, FilesComeInFourEncodings) {
    const std::wstring wide = L"{\"Schemes\":[{\"Type\":\"陆\",\"Filters\":["
                              L"{\"Name\":\"誠陆\",\"CLSID\":\"{}\"}]}]}";
    const auto utf8 = std::filesystem::path(wide).u8string();
    const std::string bytes(utf8.begin(), utf8.end());
    for (const std::string& file :
         {"{\"Schemes\":[{\"Type\":\"\xC2\xBD\",\"Filters\":["
          "{\"Name\":\"\xD5\x5C\xC2\xBD\",\"CLSID\":\"{}\"}]}]}"s,
          bytes, "\xEF\xBB\xBF" + bytes, Utf16(wide, false), Utf16(wide, true),
          Utf16(wide + L'\0' + L"rest", false), Utf16(wide, false) + "x"}) {
        SCOPED_TRACE(testing::PrintToString(file));
        CCoderScheme set;
        ASSERT_TRUE(LoadFile(set, file));
        EXPECT_EQ(FilterOf(set, "\xC2\xBD").strName, L"誠陆");
    }
    CCoderScheme set; // characters that the code page lacks, and a text longer than a buffer
    const std::wstring name = L"한\xD83D\xDE00" + std::wstring(100'000, L'中');
    ASSERT_TRUE(
        LoadFile(set, Utf16(L"{\"Schemes\":[{\"Type\":\"größe;mp4\",\"Filters\":[{\"Name\":\"" +
                                name + L"\",\"CLSID\":\"\"}]}]}",
                            false)));
    EXPECT_EQ(FilterOf(set, "mp4").strName, name);
    EXPECT_TRUE(set.FindScheme(L"größe", nullptr));
    EXPECT_EQ(Faults(set),
              "6 Schemes[0].Filters[0].CLSID 1:100066 \"\"; 10 Schemes[0].Type 1:21 \"?\"; ");
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
  ]
})");
    EXPECT_EQ(Describe(set), "mp4=a y=");
    EXPECT_EQ(
        Faults(set),
        R"(9 "" 1:19 ; 9 Extra 1:12 ; 1 Filter[1] 4:5 "a"; 0 Filter[2] 5:5 "CLSID"; )"
        R"(0 Filter[3] 5:26 "Name"; 0 Filter[4] 5:41 ; 8 Filter[5].CLSID 5:67 ; )"
        R"(0 Filter[5] 5:44 "CLSID" is no string; 9 Filter[6].IsOnlyone 6:82 ; )"
        R"(8 Filter[6].Path 6:66 ; 7 Filter[6].Type 6:46 "renderer"; 6 Filter[6].CategoryCLSID 7:64 "x"; )"
        R"(6 Filter[6].DMOCategoryClsid 7:26 "DMOCATEGORY_OTHER"; 6 Filter[6].CLSID 6:28 "{oops}"; )"
        R"(3 Schemes[0].Filters[1] 10:53 "a"; 2 Schemes[0].Filters[2] 10:68 "c"; )"
        R"(0 Schemes[0].Filters[3] 10:83 ; 0 Schemes[0].Filters[4] 10:86 "Name"; )"
        R"(5 Schemes[0].Type 10:14 "mp4;;avi"; 1 Schemes[1].Filters[0] 11:31 "a"; )"
        R"(8 Schemes[1].Filters[1].CLSID 11:87 ; 0 Schemes[1].Filters[1] 11:64 "CLSID" is no string; )"
        R"(4 Schemes[1].Type 11:14 ; 4 Schemes[2] 12:5 "Type" that is a string; )"
        R"(4 Schemes[3] 12:33 "Filters" that is an array; 4 Schemes[4] 12:63 "Type" that is a string; )"
        R"(4 Schemes[5] 12:80 "Filters" that is an array; 9 Schemes[6].Note 13:42 ; 4 Schemes[7] 13:46 ; )");
}

TEST(SchemeReport, CountsInTheTextAsItWasGiven) {
    // A literal before the fault is rewritten for the reader; characters of two bytes
    // count once; each kind of line end counts.
    const std::string head =
        "{\r\n\"Schemes\":\r[/*\xD5\x5C*/{\"Type\":\"\xD5\x5C\xD5\x5C\\u4e2d\",";
    CCoderScheme set = Loaded(head + "\"Filters\":[],\"\xD5\x5C\":1}]\n}");
    EXPECT_EQ(Faults(set), "9 Schemes[0].? 3:43 ; ");
    EXPECT_FALSE(set.LoadSchemeByScript(head + "]", 0));
    EXPECT_EQ(set.GetLoadReport().line, 3u);
    EXPECT_EQ(set.GetLoadReport().column, 26u);
    EXPECT_EQ(Faults(set), "");
    ASSERT_TRUE(LoadFile(set, "\xEF\xBB\xBF{\"Schemes\":[/*\xE4\xB8\xAD*/ 5\n]}"));
    EXPECT_EQ(Faults(set), "4 Schemes[0] 1:19 ; ");

    // Two characters an entry.
    std::string filters;
    for (std::size_t i = 0; i < SchemeLoadReport::maxEntries + 3; ++i) {
        filters += "7,";
    }
    const std::string script =
        Script("x", filters + "{\"Name\":\"" + std::string(300, 'n') + "\"}");
    set = Loaded(script);
    EXPECT_EQ(set.GetLoadReport().entries.size(), SchemeLoadReport::maxEntries);
    EXPECT_EQ(set.GetLoadReport().omitted, 4U);
    EXPECT_EQ(set.GetLoadReport().entries.back().column,
              Script("x", "").find("]}]}") + 2 * SchemeLoadReport::maxEntries - 1);
    ASSERT_TRUE(
        set.LoadSchemeByScript(Script("x", "{\"Name\":\"" + std::string(300, 'n') + "\"}"), 0));
    EXPECT_EQ(set.GetLoadReport().omitted, 0U);
    EXPECT_LT(Faults(set).size(), 200U);
}

TEST(HostileScript, NestedBeyondMeasureIsRefused) {
    std::string objects;
    while (objects.size() < 4'000'000) {
        objects += "[{\"[\":";
    }
    const std::string deep =
        "{\"Schemes\":" + std::string(1000, '[') + std::string(1000, ']') + "}";
    const std::pair<std::string, std::size_t> cases[] = {
        {"/*[*/" + std::string(1'000'000, '['), 1006}, {objects, 500 * 6 + 1}, {deep, 1011}};
    for (const auto& [script, column] : cases) {
        CCoderScheme set;
        EXPECT_FALSE(set.LoadSchemeByScript(script, 0));
        EXPECT_EQ(set.GetLoadReport().failure, SchemeLoadReport::Failure::Syntax);
        EXPECT_EQ(set.GetLoadReport().column, column);
    }
    Loaded("{\"Schemes\":" + deep.substr(12, 1998) + "}"); // as deep as the reader goes
}

TEST(HostileScript, CutShortOrDamagedAnywhereLoadsOrFails) {
    const std::string good =
        "// \xD5\x5C\n" +
        Script("mp4;\xD2\xF4", Filter("\xD5\x5C\\u4e2d", ",\"IsOnlyOne\":1") + ",{\"Name\":\"a\"}",
               Filter("a", ",\"Type\":\"\xE4\xB8\xAD\""));
    Loaded(good);
    for (std::size_t at = 0; at < good.size(); ++at) {
        CCoderScheme set;
        EXPECT_FALSE(set.LoadSchemeByScript(good.substr(0, at), 0)) << at;
        EXPECT_EQ(Describe(set), "") << at;
        for (const char c : "\"\\/{}[],:\x81\xFF"s + '\0') {
            std::string damaged = good;
            damaged[at] = c;
            CCoderScheme other;
            const bool loaded = other.LoadSchemeByScript(damaged, 0);
            EXPECT_EQ(loaded, other.GetLoadReport().failureReason.empty()) << damaged;
            EXPECT_TRUE(loaded || Describe(other).empty()) << damaged;
        }
    }
}

TEST(HostileScript, ListsThatMultiplyAreBoundedAndLongTextsLoad) {
    std::string types;
    std::string filters;
    for (int i = 0; i < 20000; ++i) {
        types += "t" + std::to_string(i) + ";";
        filters += "{\"Name\":\"a\"},";
    }
    filters.pop_back(); // 400 million list entries
    CCoderScheme set = Loaded(Script(types, filters, Filter("a")));
    EXPECT_LT(set.GetSchemeTypes().size(), 300U);
    EXPECT_TRUE(set.FindScheme("t0", nullptr));
    EXPECT_EQ(Faults(set), "11 Schemes[0] 1:86 \"t202\"; ");

    const std::string name(20'000'000, '\xD6');
    CCoderScheme large =
        Loaded("/*" + std::string(80'000'000, '*') + "*/" + Script("x", Filter(name)));
    EXPECT_TRUE(FilterOf(large, "x").strName == std::wstring(10'000'000, L'种'));
}

TEST(SchemeSamples, LoadWithoutAFaultAndTheSchemaNamesTheKeys) {
    const std::string path = YMD_SAMPLES_DIR;
    const std::filesystem::path samples = path.front() == '/' ? "Z:" + path : path; // under Wine
    CCoderScheme set;
    ASSERT_TRUE(set.LoadScheme((samples / "scheme.json").wstring(), 0));
    EXPECT_FALSE(set.GetSchemeTypes().empty());
    EXPECT_EQ(Faults(set), "");
    Json::Value schema;
    std::ifstream(samples / "scheme.schema.json") >> schema;
    for (const std::string& key : schema["definitions"]["filter"]["properties"].getMemberNames()) {
        EXPECT_EQ(Faults(Loaded(Script("x", "{\"" + key + "\":null}"))).find("Key"),
                  std::string::npos);
    }
}

} // namespace
