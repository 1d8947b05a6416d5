// Loading and looking up schemes, beside what the JSON reader alone takes for the same
// text in the same run.

#include <ymdshow/CoderScheme.h>

#include <benchmark/benchmark.h>
#include <json/json.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <string>

#include <psapi.h>

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

std::string TextOf(int kind, int count) {
    return kind == 0   ? PlainScript(count, "decoder ")
           : kind == 1 ? PlainScript(count, "\xBD\xE2\xC2\xEB\xC6\xF7\xD5\x5C")
                       : OnlyOneScript(count);
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

const char* const kinds[] = {"ascii", "cp936", "only_one"};

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
    const auto count = static_cast<int>(state.range(1));
    const std::string text = TextOf(kind, count);
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
    state.SetLabel(kinds[kind]);
    state.counters["of_jsoncpp"] = load / parse;
    state.counters["us_per_filter"] = load / count * 1e6;
}

void FindScheme(benchmark::State& state) {
    CCoderScheme set;
    const auto count = static_cast<int>(state.range(0));
    set.LoadSchemeByScript(PlainScript(count, "decoder "), 0); // two types a scheme
    std::vector<std::string> types;
    for (int i = 0; i < 1000; ++i) {
        types.push_back("type" + Number(static_cast<int>(i * 7919LL % count)));
    }
    std::size_t next = 0;
    CCoderScheme::Scheme* found = nullptr;
    for (auto _ : state) {
        if (!set.FindScheme(types[next++ % types.size()], &found)) {
            state.SkipWithError("a type is missing");
        }
    }
    state.counters["types"] = static_cast<double>(set.GetSchemeTypes().size());
}

std::size_t CommittedBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PeakWorkingSetSize;
}

/// Peaks only grow, so the smaller one, that of the parsed document, is taken first.
void PeakMemory(benchmark::State& state) {
    const std::string text = PlainScript(static_cast<int>(state.range(0)), "decoder ");
    for (auto _ : state) {
        const std::size_t before = CommittedBytes();
        ParseAlone(text);
        const std::size_t parsed = CommittedBytes();
        Load(text);
        const std::size_t loaded = CommittedBytes();
        state.counters["of_document"] =
            static_cast<double>(loaded - before) / static_cast<double>(parsed - before);
        state.counters["MB"] = static_cast<double>(loaded - before) / 1e6;
    }
}

// First: the peak is that of the process.
BENCHMARK(PeakMemory)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadScript)
    ->ArgNames({"kind", "filters"})
    ->ArgsProduct({{0, 1, 2}, {1000, 10000, 100000}})
    ->UseManualTime()
    ->MinTime(1.0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(FindScheme)->Arg(1000)->Arg(50000);

} // namespace
