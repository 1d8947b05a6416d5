#include "unit/scheme_support.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>

#include <ymlib/Log.h>

namespace {

using namespace scheme_tests;
using ymdshow::CCoderScheme;
using ymdshow::FilterInfo;

const std::string onlyOne = R"(,"IsOnlyOne":true)";

TEST(SchemeScript, KeepsIgnoresAndSkipsByItsRules) {
    const std::string a = Filter("a");
    const std::string b = Filter("b");
    const std::string ref = R"({"Name":"a"})";
    const struct {
        const char* what;
        std::string script;
        std::string expected;
    } cases[] = {
        {"names are trimmed and lower-cased", Script(" AVI ;\tmkv\\r\\n", a), "avi=a mkv=a"},
        {"an empty name ends the list", Script("mp4;;avi", a), "mp4=a"},
        {"nothing behind a first separator", Script(";mp4", a), ""},
        {"a last separator adds nothing", Script("mp4;", a), "mp4=a"},
        {"a blank name is no end", Script("mp4; ;avi", a), "avi=a mp4=a"},
        {"blank text has no names", Script(" \\t", a), ""},
        {"a type twice merges with itself", Script("mp4;mp4", a + "," + Filter("b", onlyOne)),
         "mp4=a,b,a"},
        {"inline and by reference", Script("x", b + "," + ref, a), "x=b,a"},
        {"a reference forward is unknown", Script("x", ref + "," + a), "x=a"},
        {"an entry without a name", Script("x", R"({"CLSID":"{}"},5,"a",[],null,)" + a), "x=a"},
        {"a name that is no string", Script("x", R"({"Name":5,"CLSID":"{}"})"), "x="},
        {"a class that is no string", Script("x", R"({"Name":"a","CLSID":5},)" + ref), "x="},
        {"shared entries without name or class",
         Script("x", R"({"Name":"n"},{"Name":"a"})", R"({"Name":"n"},{"CLSID":"{}"},7,)" + a),
         "x=a"},
        {"twice", Script("x", ref + "," + ref, a), "x=a,a"},
        {"only one", Script("x", ref + "," + ref, Filter("a", onlyOne)), "x=a"},
        {"names are case-sensitive", Script("x", R"({"Name":"A"},)" + ref, a), "x=a"},
        {"an empty list", Script("x", ""), "x="},
        {"the key of a duplicated member that stands last",
         R"({"Schemes":[],"Schemes":[{"Type":"x","Filters":[]}]})", "x="},
        {"schemes without type or list",
         R"({"Schemes":[{"Filters":[]},{"Type":"a"},{"Type":"b","Filters":{}},{"Type":5,"Filters":[]},7,{"Type":"c","Filters":[]}]})",
         "c="},
        {"shared filters that are no array",
         R"({"Filter":{"Name":"a"},"Schemes":[{"Type":"x","Filters":[]}]})", "x="},
        {"comments", "// one\n{ /* two */ \"Schemes\" : [ ] /* \" */ } // three", ""},
        {"text behind the document", R"({"Schemes":[]} rest)", ""},
    };
    for (const auto& test : cases) {
        CCoderScheme set;
        EXPECT_TRUE(set.LoadSchemeByScript(test.script, 0)) << test.what;
        EXPECT_EQ(Describe(set), test.expected) << test.what;
    }
}

TEST(SchemeScript, RefusesWhatIsNoScript) {
    using Failure = ymdshow::SchemeLoadReport::Failure;
    const std::pair<const char*, Failure> cases[] = {{"", Failure::EmptyScript},
                                                     {"{", Failure::Syntax},
                                                     {R"({"Schemes":[1,]})", Failure::Syntax},
                                                     {R"({"Schemes":[)", Failure::Syntax},
                                                     {R"({"Schemes":"\ud800"})", Failure::Syntax},
                                                     {"[]", Failure::NoSchemes},
                                                     {"5", Failure::NoSchemes},
                                                     {R"("Schemes")", Failure::NoSchemes},
                                                     {R"({"Schemes":{}})", Failure::NoSchemes},
                                                     {R"({"schemes":[]})", Failure::NoSchemes}};
    CCoderScheme set = Loaded(Script("mp4", Filter("a")));
    for (const auto& [script, failure] : cases) {
        EXPECT_FALSE(set.LoadSchemeByScript(std::string(script), 1)) << script;
        EXPECT_EQ(set.GetLoadReport().failure, failure) << script;
        EXPECT_FALSE(set.GetLoadReport().failureReason.empty()) << script;
        EXPECT_EQ(Describe(set), "mp4=a") << script;
    }
}

TEST(SchemeScript, ReadsEveryFieldAndKeepsTheDefaults) {
    const auto facts = [](const FilterInfo& info) {
        wchar_t guids[3][39] = {};
        StringFromGUID2(info.clsid, guids[0], 39);
        StringFromGUID2(info.clsidCategory, guids[1], 39);
        StringFromGUID2(info.clsidDMOCategory, guids[2], 39);
        const std::vector<bool> flags{info.bCache, info.bTryReplace, info.bOnlyOne,
                                      info.bHasCategory, info.bHasDMOCategory};
        return std::tuple(info.strName, std::wstring(guids[0]), info.strPath, info.nType, flags,
                          std::wstring(guids[1]), std::wstring(guids[2]));
    };
    CCoderScheme set = Loaded(Script(
        "x", Filter("plain") + "," +
                 Filter("full", R"(,"Path":"filters\\a.ax","Type":" Render\t","IsTryReplace":1,
                             "IsOnlyOne":"yes","IsCache":false,
                             "CategoryCLSID":"{083863F1-70DE-11d0-BD40-00A0C911CE86}",
                             "DMOCategoryClsid":"DMOCATEGORY_AUDIO_EFFECT")")));
    ASSERT_NE(FilterOf(set, "x", 1), nullptr);
    const std::wstring any = L"{11111111-2222-3333-4444-555555555555}";
    const std::wstring none = L"{00000000-0000-0000-0000-000000000000}";
    EXPECT_EQ(facts(*FilterOf(set, "x", 0)),
              std::tuple(L"plain", any, L"", 0, std::vector{true, false, false, false, false}, none,
                         none));
    EXPECT_EQ(facts(*FilterOf(set, "x", 1)), std::tuple(L"full", any, L"filters\\a.ax", 4,
                                                        std::vector{false, true, true, true, true},
                                                        L"{083863F1-70DE-11D0-BD40-00A0C911CE86}",
                                                        L"{F3602B3F-0592-48DF-A4CD-674721E7EBEB}"));
}

/// What a filter with one more member is read as.
FilterInfo Read(const std::string& key, const std::string& value) {
    CCoderScheme set;
    EXPECT_TRUE(set.LoadSchemeByScript(Script("x", Filter("a", ",\"" + key + "\":" + value)), 0));
    const FilterInfo* info = FilterOf(set, "x");
    EXPECT_NE(info, nullptr) << value;
    return info ? *info : FilterInfo();
}

TEST(SchemeScript, ConvertsFlagsRolesAndGuids) {
    for (const char* value : {"true", "-1", "0.5", "\"false\"", "[0]", "{\"a\":0}", "null"}) {
        EXPECT_TRUE(Read("IsCache", value).bCache) << value; // null: the default counts
    }
    for (const char* value : {"false", "0", "0.0", "\"\"", "[]", "{}"}) {
        EXPECT_FALSE(Read("IsCache", value).bCache) << value;
    }
    const std::pair<const char*, int> roles[] = {
        {"source", 1}, {"TransForm", 2}, {"\\r\\n render \\t", 4}, {"renderer", 0},
        {"", 0},       {"sou rce", 0},   {"\\u3000source", 0}};
    for (const auto& [type, role] : roles) {
        EXPECT_EQ(Read("Type", std::string("\"") + type + "\"").nType, role) << type;
    }
    // Known names stand for their categories; everything else is the system's to convert.
    const std::pair<const char*, const wchar_t*> categories[] = {
        {"DMOCATEGORY_AUDIO_DECODER", L"{57F2DB8B-E6BB-4513-9D43-DCD2A6593125}"},
        {"DMOCATEGORY_VIDEO_DECODER", L"{4A69B442-28BE-4991-969C-B500ADF5D8A8}"},
        {"DMOCATEGORY_AUDIO_EFFECT", L"{F3602B3F-0592-48DF-A4CD-674721E7EBEB}"},
        {"DMOCATEGORY_AUDIO_ENCODER", L"{33D9A761-90C8-11D0-BD43-00A0C911CE86}"},
        {"DMOCATEGORY_VIDEO_EFFECT", L"{D990EE14-776C-4723-BE46-3DA2F56F10B9}"},
        {"DMOCATEGORY_VIDEO_ENCODER", L"{33D9A760-90C8-11D0-BD43-00A0C911CE86}"},
        {"DMOCATEGORY_AUDIO_CAPTURE_EFFECT", L"{F665AABA-3E09-4920-AA5F-219811148F09}"},
        {"{F665AABA-3E09-4920-aa5f-219811148F00}", L"{F665AABA-3E09-4920-AA5F-219811148F00}"},
        {"dmocategory_audio_decoder", L"dmocategory_audio_decoder"},
        {"DMOCATEGORY_AUDIO_DECODERS", L"DMOCATEGORY_AUDIO_DECODERS"},
        {"{F665AABA-3E09-4920-AA5F-21981114}", L"{F665AABA-3E09-4920-AA5F-21981114}"},
        {"{F665AABA-3E09-4920-AA5F-219811148F0Z}", L"{F665AABA-3E09-4920-AA5F-219811148F0Z}"},
        {"", L""},
    };
    for (const auto& [text, guid] : categories) {
        const FilterInfo info = Read("DMOCategoryClsid", std::string("\"") + text + "\"");
        GUID expected{};
        CLSIDFromString(guid, &expected);
        EXPECT_TRUE(info.bHasDMOCategory) << text;
        EXPECT_TRUE(IsEqualGUID(info.clsidDMOCategory, expected)) << text;
    }
}

TEST(SchemeScript, LogsUnknownReferencesAlone) {
    std::vector<std::wstring> records;
    const unsigned sink = ymlib::CLoger::GetLoger()->AddSink([&](const ymlib::LogRecord& record) {
        const std::string function = record.function;
        records.push_back(std::to_wstring(record.level) + L" " +
                          std::wstring(function.begin(), function.end()) + L": " + record.text);
    });
    CCoderScheme set;
    EXPECT_TRUE(set.LoadSchemeByScript(
        Script("x;;y",
               R"({"Name":"lost %s"},{"CLSID":"{}"},{"Name":"a","CLSID":7},7,)" +
                   Filter("b", R"(,"Type":"none")"),
               R"({"Name":"a"},)" + Filter("b") + "," + Filter("b")),
        0));
    EXPECT_FALSE(set.LoadSchemeByScript("{", 0));
    EXPECT_FALSE(set.LoadScheme(std::wstring(L"no such file"), 0));
    ymlib::CLoger::GetLoger()->RemoveSink(sink);
    EXPECT_EQ(records, (std::vector<std::wstring>{
                           L"8 ymdshow::CCoderScheme::LoadSchemeByScript: "
                           L"Load Filter Info Failed, Has No Enougth Value : lost %s"}));
}

TEST(SchemeSet, MergesOrReplacesWhatIsThere) {
    const std::string once = Filter("once", onlyOne);
    const std::string first = Script("mp4;mov", Filter("a") + "," + once);
    // "once" stands in the list before: left out. "new" does not: both of its
    // appearances in the merged list would have been cut while it was built.
    const std::string second =
        Script("mp4", R"({"Name":"a"},{"Name":"once"},)" + Filter("new", onlyOne));
    CCoderScheme set = Loaded(first);
    CCoderScheme::Scheme* scheme = nullptr;
    ASSERT_TRUE(set.FindScheme("mp4", &scheme));
    ASSERT_TRUE(set.LoadSchemeByScript(second, 0));
    EXPECT_EQ(Describe(set), "mov=a,once mp4=a,once,a,new");
    ASSERT_TRUE(set.LoadSchemeByScript(second, -1));
    EXPECT_EQ(Describe(set), "mov=a,once mp4=a,once,new");
    EXPECT_EQ(Names(*scheme), "a,once,new") << "the pointer stays valid, and current";

    // The first description of a name wins across scripts.
    ASSERT_TRUE(set.LoadSchemeByScript(
        Script("y", R"({"Name":"a"})", Filter("a", R"(,"Type":"render")")), 1));
    EXPECT_EQ(FilterOf(set, "y")->nType, 0);
    EXPECT_EQ(FilterOf(set, "y"), FilterOf(set, "mp4"));
}

TEST(SchemeSet, MergesLongListsByTheSameRules) {
    // Beyond the length up to which lists are walked.
    std::string filters;
    std::string expected;
    for (int i = 0; i < 40; ++i) {
        const std::string name = std::string("f").append(std::to_string(i));
        filters += Filter(name, i % 2 == 0 ? onlyOne : "") + ",";
        expected += name + ",";
    }
    filters.pop_back();
    const std::string script = Script("x", filters + ",{\"Name\":\"f4\"},{\"Name\":\"f5\"}");
    CCoderScheme set = Loaded(script);
    EXPECT_EQ(Describe(set), "x=" + expected + "f5");
    for (int i = 1; i < 40; i += 2) {
        expected += (i == 1 ? "f5,f" : "f") + std::to_string(i) + ",";
    }
    ASSERT_TRUE(set.LoadSchemeByScript(script, 0));
    EXPECT_EQ(Describe(set), "x=" + expected + "f5");
}

TEST(SchemeSet, FindsExactly) {
    CCoderScheme set;
    CCoderScheme::Scheme* const stale = reinterpret_cast<CCoderScheme::Scheme*>(8);
    CCoderScheme::Scheme* out = stale;
    EXPECT_FALSE(set.FindScheme("mp4", &out));
    EXPECT_EQ(out, nullptr);
    ASSERT_TRUE(set.LoadSchemeByScript(Script("mp4; ;\xD2\xF4\xC0\xD6", Filter("a")), 0));
    EXPECT_TRUE(set.FindScheme("mp4", nullptr));
    EXPECT_TRUE(set.FindScheme(L"mp4", &out));
    EXPECT_TRUE(set.FindScheme(std::wstring(L"音乐"), &out));
    ASSERT_NE(out, nullptr);
    for (const char* type : {"MP4", " mp4", "mp", "mp4;"}) {
        out = stale;
        EXPECT_FALSE(set.FindScheme(type, &out)) << type;
        EXPECT_EQ(out, nullptr) << type;
    }
    out = stale; // an empty name is refused before anything else
    EXPECT_FALSE(set.FindScheme("", &out));
    EXPECT_FALSE(set.FindScheme(L"", &out));
    EXPECT_EQ(out, stale);
}

TEST(SchemeSet, ConfiguresOneListFromSeveral) {
    CCoderScheme set = Loaded(Script("mp4", Filter("a") + "," + Filter("one", onlyOne)));
    ASSERT_TRUE(
        set.LoadSchemeByScript(Script("all", R"({"Name":"one"},{"Name":"a"},)" + Filter("b")), 0));
    CCoderScheme::Scheme out;
    EXPECT_TRUE(set.ConfigScheme(std::vector<std::string>{}, out));
    EXPECT_EQ(Names(out), "");
    EXPECT_TRUE(set.ConfigScheme(std::vector<std::string>{"mp4", "none", "", "MP4", "all"}, out));
    EXPECT_EQ(Names(out), "a,one,a,b");
    EXPECT_TRUE(set.ConfigScheme(std::vector<std::wstring>{L"all", L"none"}, out));
    EXPECT_EQ(Names(out), "a,one,a,b,a,b");

    CCoderScheme::Scheme* own = nullptr; // a list merged into itself
    ASSERT_TRUE(set.FindScheme("mp4", &own));
    EXPECT_TRUE(set.ConfigScheme(std::vector<std::string>{"mp4"}, *own));
    EXPECT_EQ(Names(*own), "a,one,a");
}

TEST(SchemeSet, CopiesShareEntriesAndNothingElse) {
    auto first = std::make_unique<CCoderScheme>();
    ASSERT_TRUE(first->LoadSchemeByScript(Script("mp4;mov", Filter("a")), 0));
    CCoderScheme copy(*first);
    CCoderScheme assigned;
    ASSERT_TRUE(assigned.LoadSchemeByScript(Script("old", Filter("gone")), 0));
    assigned = copy;
    assigned = *&assigned;
    EXPECT_EQ(FilterOf(copy, "mp4"), FilterOf(*first, "mp4"));

    ASSERT_TRUE(copy.LoadSchemeByScript(Script("mp4", Filter("b")), 0));
    ASSERT_TRUE(first->LoadSchemeByScript(Script("mov", Filter("c")), 1));
    EXPECT_EQ(Describe(*first), "mov=c mp4=a");
    EXPECT_EQ(Describe(copy), "mov=a mp4=a,b");
    EXPECT_EQ(Describe(assigned), "mov=a mp4=a");

    first->UnloadScheme();
    EXPECT_EQ(Describe(*first), "");
    EXPECT_EQ(Describe(copy), "mov=a mp4=a,b");
    EXPECT_TRUE(first->LoadSchemeByScript(Script("mp4", Filter("a", onlyOne)), 0));
    EXPECT_TRUE(FilterOf(*first, "mp4")->bOnlyOne);
    EXPECT_FALSE(FilterOf(copy, "mp4")->bOnlyOne) << "an entry read anew is another one";
    first.reset();
    copy.UnloadScheme();
    copy.UnloadModules();
    EXPECT_EQ(Describe(assigned), "mov=a mp4=a");
}

} // namespace
