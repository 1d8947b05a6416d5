#include "unit/scheme_support.h"

#include <gtest/gtest.h>

#include <json/json.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

namespace {

using namespace scheme_tests;
using ymdshow::CCoderScheme;
using ymdshow::SchemeLoadReport;

/// A draft-07 validator of the keywords that the script's schema uses. Any other fails,
/// so that none is passed over.
class Schema {
public:
    explicit Schema(Json::Value root) : m_root(std::move(root)) {}

    const Json::Value& Root() const { return m_root; }
    bool Accepts(const Json::Value& value) const { return Accepts(m_root, value); }

private:
    bool Accepts(const Json::Value& schema, const Json::Value& value) const {
        if (schema.isMember("$ref")) { // stands alone in draft-07
            const std::string path = schema["$ref"].asString();
            const std::string name = path.substr(path.rfind('/') + 1);
            EXPECT_EQ(path, "#/definitions/" + name);
            return Accepts(m_root["definitions"][name], value);
        }
        const auto keywords = schema.getMemberNames();
        return std::all_of(keywords.begin(), keywords.end(),
                           [&](const auto& keyword) { return Check(schema, keyword, value); });
    }

    bool Check(const Json::Value& schema, const std::string& keyword,
               const Json::Value& value) const {
        const Json::Value& rule = schema[keyword];
        const auto isOneOf = [&rule](auto fits) {
            return std::any_of(rule.begin(), rule.end(), fits);
        };
        if (keyword == "type") {
            return rule == "object"   ? value.isObject()
                   : rule == "array"  ? value.isArray()
                   : rule == "string" ? value.isString()
                                      : rule == "boolean" && value.isBool();
        }
        if (keyword == "enum") {
            return isOneOf([&](const auto& option) { return option == value; });
        }
        if (keyword == "pattern") {
            return !value.isString() ||
                   std::regex_search(value.asString(), std::regex(rule.asString()));
        }
        if (keyword == "anyOf") {
            return isOneOf([&](const auto& option) { return Accepts(option, value); });
        }
        if (keyword == "items") {
            return !value.isArray() ||
                   std::all_of(value.begin(), value.end(),
                               [&](const auto& item) { return Accepts(rule, item); });
        }
        if (keyword == "required") {
            return !value.isObject() ||
                   !isOneOf([&](const auto& key) { return !value.isMember(key.asString()); });
        }
        if (keyword == "properties" || keyword == "additionalProperties") {
            const auto keys = value.isObject() ? value.getMemberNames() : Json::Value::Members();
            return std::all_of(keys.begin(), keys.end(), [&](const auto& key) {
                const Json::Value& known = schema["properties"];
                return keyword == "properties"
                           ? !known.isMember(key) || Accepts(known[key], value[key])
                           : known.isMember(key);
            });
        }
        const std::string notes = "$schema title description default definitions";
        EXPECT_NE(notes.find(keyword), notes.npos) << "not known to this validator: " << keyword;
        return true;
    }

    Json::Value m_root;
};

std::filesystem::path SamplesDirectory() {
    const std::string path = YMD_SAMPLES_DIR;
    return path.front() == '/' ? "Z:" + path : path; // cross-built, run under Wine
}

Json::Value Parse(const std::string& text) {
    Json::Value root;
    std::istringstream(text) >> root;
    return root;
}

Json::Value ParseFile(const std::filesystem::path& path) {
    Json::Value root;
    std::ifstream(path, std::ios::binary) >> root;
    return root;
}

Schema ScriptSchema() {
    return Schema(ParseFile(SamplesDirectory() / "scheme.schema.json"));
}

bool LoadsWithoutAFault(const std::string& script) {
    CCoderScheme set;
    return set.LoadSchemeByScript(script, 0) && set.GetLoadReport().entries.empty();
}

TEST(SchemeSamples, LoadWithoutAFaultAndFitTheSchema) {
    const Schema schema = ScriptSchema();
    int samples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(SamplesDirectory())) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() != ".json" || name == "scheme.schema.json") {
            continue;
        }
        ++samples;
        CCoderScheme set;
        EXPECT_TRUE(set.LoadScheme(entry.path().wstring(), 0)) << name;
        EXPECT_FALSE(set.GetSchemeTypes().empty()) << name;
        for (const SchemeLoadReport::Entry& fault : set.GetLoadReport().entries) {
            ADD_FAILURE() << name << ":" << fault.line << ": "
                          << testing::PrintToString(fault.reason);
        }
        EXPECT_TRUE(schema.Accepts(ParseFile(entry.path()))) << name;
    }
    EXPECT_GE(samples, 1);
}

TEST(SchemeSchema, RefusesWhatTheLoaderPassesOver) {
    const Schema schema = ScriptSchema();
    const std::string good[] = {
        R"({"Schemes":[]})", Script("mp4; mov;", Filter("a") + R"(,{"Name":"a"})"),
        Script("mp4",
               Filter("a", R"(,"DMOCategoryClsid":"{11111111-2222-3333-4444-555555555555}")"))};
    const std::string bad[] = {
        R"({"Filter":[]})",
        R"({"Schemes":{}})",
        R"({"Schemes":[],"Scheme":[]})",
        R"({"Schemes":[{"Type":"x"}]})",
        R"({"Schemes":[{"Filters":[]}]})",
        R"({"Schemes":[{"Type":"x","Filters":[],"Name":"y"}]})",
        Script("mp4;;mov", ""),
        Script(" ", ""),
        Script("x", "5"),
        Script("x", R"({"CLSID":"{}"})"),
        Script("x", Filter("a", R"(,"Type":"renderer")")),
        Script("x", Filter("a", R"(,"Type":4)")),
        Script("x", Filter("a", R"(,"Cache":true)")),
        Script("x", Filter("a", R"(,"CategoryCLSID":"x")")),
        Script("x", Filter("a", R"(,"DMOCategoryClsid":"dmocategory_audio_decoder")")),
        Script("x", "", R"({"Name":"a"})"),
        Script("x", R"({"Name":"a","CLSID":"{11111111-2222-3333-4444-55555555555}"})")};
    for (const std::string& script : good) {
        EXPECT_TRUE(LoadsWithoutAFault(script)) << script;
        EXPECT_TRUE(schema.Accepts(Parse(script))) << script;
    }
    for (const std::string& script : bad) {
        EXPECT_FALSE(LoadsWithoutAFault(script)) << script;
        EXPECT_FALSE(schema.Accepts(Parse(script))) << script;
    }
}

TEST(SchemeSchema, NamesTheKeysRolesAndCategoriesOfTheLoader) {
    const Schema schema = ScriptSchema();
    const Json::Value& members = schema.Root()["definitions"]["filter"]["properties"];
    EXPECT_EQ(members.size(), 9u);
    for (const std::string& key : members.getMemberNames()) {
        CCoderScheme set = Loaded(Script("x", "{\"" + key + "\":null}"));
        for (const SchemeLoadReport::Entry& entry : set.GetLoadReport().entries) {
            EXPECT_NE(entry.kind, SchemeLoadReport::Kind::UnknownKey) << key;
        }
    }
    const auto loads = [](const std::string& key, const Json::Value& value) {
        const std::string member = ",\"" + key + "\":\"" + value.asString() + "\"";
        return LoadsWithoutAFault(Script("x", Filter("a", member)));
    };
    EXPECT_EQ(members["Type"]["enum"].size(), 3u);
    for (const Json::Value& role : members["Type"]["enum"]) {
        EXPECT_TRUE(loads("Type", role)) << role;
    }
    const Json::Value& categories = members["DMOCategoryClsid"]["anyOf"][0]["enum"];
    EXPECT_EQ(categories.size(), 7u);
    for (const Json::Value& category : categories) {
        EXPECT_TRUE(loads("DMOCategoryClsid", category)) << category;
    }
}

} // namespace
