// Loading schemes, beside what the JSON reader alone takes for the same text in the same run.

#include <ymdshow/CoderScheme.h>

#include <benchmark/benchmark.h>
#include <ymlib/Json.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <string>

#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#elif defined(_MSC_VER)
#pragma warning(disable : 4996)
#endif

namespace {

using ymdshow::CCoderScheme;

std::string Number(int i) {
    return std::to_string(i);
}

std::string FilterObject(int i, const std::string& name) {
    std::string guid = Number(i);
    guid.insert(0, 12 - guid.size(), '0');
    std::string text = "{\"Name\": \"";
    text += name + Number(i) + R"(", "CLSID": "{11111111-2222-3333-4444-)" + guid;
    text += R"(}", "Path": "filters\\decoder)" + Number(i) + R"(.ax", "Type": "transform", )";
    return text + R"("IsCache": false})";
}

/// `count` filters and as many schemes of two types, each with three filters.
std::string PlainScript(int count, const std::string& name) {
    std::string text = "{\n  \"Filter\": [\n";
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? "    " : ",\n    ") + FilterObject(i, name);
    }
    text += "\n  ],\n  \"Schemes\": [\n";
    for (int i = 0; i < count; ++i) {
        text += i == 0 ? "    " : ",\n    ";
        text += R"({"Type": "Type)" + Number(i) + "; alias" + Number(i) + R"(", "Filters": [)";
        for (int k = 0; k < 3; ++k) {
            text += k == 0 ? "" : ", ";
            text += R"({"Name": ")" + name + Number((i + k * 7919) % count) + R"("})";
        }
        text += "]}";
    }
    return text + "\n  ]\n}\n";
}

/// One list of `count` filters that may stand only once, merged once more by a second
/// scheme, and `count` small schemes merged into one more type.
std::string OnlyOneScript(int count) {
    std::string list;
    std::string names;
    std::string small;
    for (int i = 0; i < count; ++i) {
        std::string guid = Number(i);
        guid.insert(0, 12 - guid.size(), '0');
        list += i == 0 ? "" : ",";
        list += R"({"Name": "filter)" + Number(i) + R"(", "IsOnlyOne": true, )";
        list += R"("CLSID": "{11111111-2222-3333-4444-)" + guid + "}\"}";
        names += i == 0 ? "" : ",";
        names += R"({"Name": "filter)" + Number(i) + "\"}";
        small += R"(,{"Type": "small", "Filters": [{"Name": "filter)" + Number(i) + "\"}]}";
    }
    std::string text = R"({"Schemes": [{"Type": "long", "Filters": [)" + list;
    text += R"(]}, {"Type": "long", "Filters": [)" + names + "]}";
    return text + small + "]}";
}

/// As little as a filter and a scheme can be.
std::string MinimalScript(int count) {
    std::string filters;
    std::string schemes;
    for (int i = 0; i < count; ++i) {
        const std::string number = Number(i);
        filters += i == 0 ? "" : ",";
        filters += R"({"Name":"f)" + number;
        filters += R"(","CLSID":"{11111111-2222-3333-4444-555555555555}"})";
        schemes += i == 0 ? "" : ",";
        schemes += R"({"Type":"t)" + number + R"(","Filters":[{"Name":"f)" + number + "\"}]}";
    }
    return R"({"Filter":[)" + filters + R"(],"Schemes":[)" + schemes + "]}";
}

std::string TextOf(int kind, int count) {
    return kind == 0   ? PlainScript(count, "decoder ")
           : kind == 1 ? PlainScript(count, "\xBD\xE2\xC2\xEB\xC6\xF7\xD5\x5C")
           : kind == 2 ? OnlyOneScript(count)
                       : MinimalScript(count);
}

bool ParseAlone(const std::string& text) {
    Json::Value root;
    Json::Reader reader;
    return reader.parse(text.data(), text.data() + text.size(), root, false);
}

bool Load(const std::string& text) {
    CCoderScheme set;
    return set.LoadSchemeByScript(text, 0) && set.GetLoadReport().omitted == 0;
}

template <class Action> double SecondsOf(Action&& action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

constexpr int kCount = 10000;
const char* const kKinds[] = {"ascii", "cp936", "only_one", "minimal"};
double worst = 0;

/// The same text for the reader alone, which takes this second byte for a backslash.
std::string WithoutBackslashes(std::string text) {
    for (std::size_t at = 0; (at = text.find("\xD5\x5C", at)) != text.npos; at += 2) {
        text[at + 1] = '\x5E';
    }
    return text;
}

/// Both sides alternate, and the least times are compared: what else the machine does
/// meets both. Making and destroying the results is part of each.
void LoadScript(benchmark::State& state) {
    const auto kind = static_cast<int>(state.range(0));
    const std::string text = TextOf(kind, kCount);
    const std::string plain = WithoutBackslashes(text);
    double load = std::numeric_limits<double>::max();
    double parse = load;
    for (auto _ : state) {
        const double seconds = SecondsOf([&] {
            if (!Load(text)) {
                state.SkipWithError("the script does not load");
            }
        });
        load = std::min(load, seconds);
        parse = std::min(parse, SecondsOf([&] {
                             if (!ParseAlone(plain)) {
                                 state.SkipWithError("the script does not parse");
                             }
                         }));
        state.SetIterationTime(seconds);
    }
    state.SetLabel(kKinds[kind]);
    state.counters["of_jsoncpp"] = load / parse;
    worst = std::max(worst, load / parse);
}

BENCHMARK(LoadScript)
    ->DenseRange(0, 3)
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::printf("scheme_bench: 10,000 filters and schemes in %.2f of the JSON reader's time (limit "
                "2)\n",
                worst);
    return 0;
}
