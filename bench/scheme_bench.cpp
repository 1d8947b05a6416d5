// Loading and looking up schemes, beside what the JSON reader alone takes for the same
// text in the same run.

#include <ymdshow/CoderScheme.h>

#include <benchmark/benchmark.h>
#include <json/json.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
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

/// What the benchmarks are for; 0 until measured.
struct Verdict {
    struct Kind {
        double ofReader = 0;  ///< at 10,000 filters and schemes
        double perFilter = 0; ///< seconds, likewise
        double growth = 0;    ///< of that, at 100,000
    } kinds[4];
    double ofDocument = 0;
    double lookUp = 0; ///< seconds
} verdict;

const char* const kinds[] = {"ascii", "cp936", "only_one", "minimal"};

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
    // The last call of each size is the one that counts; those before it find out how
    // many iterations to make.
    Verdict::Kind& result = verdict.kinds[kind];
    if (count == 10000) {
        result.ofReader = load / parse;
        result.perFilter = load / count;
    } else if (count == 100000 && result.perFilter > 0) {
        result.growth = load / count / result.perFilter;
    }
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
    CCoderScheme::Scheme* found = nullptr;
    double least = std::numeric_limits<double>::max();
    for (auto _ : state) {
        const double seconds = SecondsOf([&] {
            for (const std::string& type : types) {
                if (!set.FindScheme(type, &found)) {
                    state.SkipWithError("a type is missing");
                }
            }
        });
        least = std::min(least, seconds / static_cast<double>(types.size()));
        state.SetIterationTime(seconds);
    }
    verdict.lookUp = least;
    state.counters["ns_each"] = least * 1e9;
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
        verdict.ofDocument =
            static_cast<double>(loaded - before) / static_cast<double>(parsed - before);
        state.counters["of_document"] = verdict.ofDocument;
        state.counters["MB"] = static_cast<double>(loaded - before) / 1e6;
    }
}

// First: the peak is that of the process.
BENCHMARK(PeakMemory)->Arg(100000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadScript)
    ->ArgNames({"kind", "filters"})
    ->Apply([](auto* benchmark) {
        for (int kind = 0; kind < 4; ++kind) {
            for (int filters : {1000, 10000, 100000}) {
                benchmark->Args({kind, filters});
            }
        }
    }) -> UseManualTime() -> MinTime(1.0) -> Unit(benchmark::kMillisecond);
BENCHMARK(FindScheme)->Arg(1000)->Arg(50000)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    Verdict::Kind worst;
    for (const Verdict::Kind& kind : verdict.kinds) {
        worst.ofReader = std::max(worst.ofReader, kind.ofReader);
        worst.growth = std::max(worst.growth, kind.growth);
    }
    std::printf("scheme_bench: 10,000 filters and schemes in %.2f of the JSON reader's time (limit "
                "1.5); 10 times as many take %.2f times as long each (1.5); peak memory %.2f of "
                "the document's (3); a look-up among 100,000 types %.0f ns (2000)\n",
                worst.ofReader, worst.growth, verdict.ofDocument, verdict.lookUp * 1e9);
    return 0;
}
