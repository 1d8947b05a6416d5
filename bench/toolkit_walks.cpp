// The toolkit's walks over graphs of 10 to 10,000 filters, each beside a loop written by hand
// over the same COM calls in the same run. Prints one table: time per visited pin, the ratio
// to the hand-written loop, the growth from 100 to 10,000 filters, and what was allocated.

#include "toolkit_bare.h"
#include "toolkit_graph.h"

#include <benchmark/benchmark.h>

#include <ymdshow/GraphToolkit.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <tuple>
#include <vector>

namespace {
size_t g_allocations = 0;
}

void* operator new(size_t size) {
    ++g_allocations;
    if (void* memory = std::malloc(size ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

namespace {

using lean::Graph;
using lean::Shape;

const ULONG kSizes[] = {10, 100, 1000, 10000};
const double kRatioLimit = 1.5;  // to the loop written by hand
const double kGrowthLimit = 1.3; // of the time per pin, from 100 to 10,000 filters

const char* NameOf(Shape shape) {
    return shape == Shape::Chain ? "chain" : shape == Shape::Fan ? "fan" : "tree";
}

void ReleaseAll(std::vector<IPin*>& pins) {
    for (IPin* pin : pins) {
        pin->Release();
    }
    pins.clear();
}

struct Walk {
    const char* name;
    std::vector<Shape> shapes;
    bool openLeaves;
    std::function<void(Graph&)> toolkit;
    std::function<void(Graph&)> bare;
};

const std::vector<Shape> kAll = {Shape::Chain, Shape::Fan, Shape::Tree};
const std::vector<Shape> kManyPins = {Shape::Fan}; // one filter is asked: the source

std::vector<Walk> Walks() {
    std::vector<Walk> walks;
    walks.push_back(
        {"CheckFilterType", kManyPins, false,
         [](Graph& g) { benchmark::DoNotOptimize(CheckFilterType(g.Source())); },
         [](Graph& g) { benchmark::DoNotOptimize(bare::CheckFilterType(g.Source())); }});
    walks.push_back({"GetUnlinkedPins", kManyPins, false,
                     [](Graph& g) {
                         std::vector<IPin*> in, out;
                         GetUnlinkedPins(g.Source(), &in, &out);
                     },
                     [](Graph& g) {
                         std::vector<IPin*> in, out;
                         bare::UnlinkedPins(g.Source(), in, out);
                     }});
    walks.push_back({"GetUnlinkedOutputPinsFromFilter", kAll, true,
                     [](Graph& g) {
                         std::vector<IPin*> pins;
                         GetUnlinkedOutputPinsFromFilter(g.Source(), &pins);
                         ReleaseAll(pins);
                     },
                     [](Graph& g) {
                         std::vector<IPin*> pins;
                         bare::UnlinkedOutputs(g.Source(), pins);
                         ReleaseAll(pins);
                     }});
    walks.push_back(
        {"GetFirstUnlinkedOutputPinFromFilter", kAll, false,
         [](Graph& g) {
             IPin* pin = nullptr;
             GetFirstUnlinkedOutputPinFromFilter(g.Source(), &pin);
             benchmark::DoNotOptimize(pin);
         },
         [](Graph& g) { benchmark::DoNotOptimize(bare::FirstUnlinkedOutput(g.Source())); }});
    walks.push_back(
        {"GetLinkedTrackNum", kAll, false,
         [](Graph& g) {
             unsigned int video = 0;
             GetLinkedTrackNum(&g, g.Source(), &video, nullptr, nullptr);
             benchmark::DoNotOptimize(video);
         },
         [](Graph& g) { benchmark::DoNotOptimize(bare::LinkedVideoTracks(g.Source())); }});
    walks.push_back(
        {"FindInterfaceInGraphFilters", kAll, false,
         [](Graph& g) {
             benchmark::DoNotOptimize(
                 FindInterfaceInGraphFilters(&g, IID_IBasicAudio, nullptr, 0, 0, 0));
         },
         [](Graph& g) { benchmark::DoNotOptimize(bare::InterfacesInGraph(&g, IID_IBasicAudio)); }});
    walks.push_back({"UnlinkGraphBuilder", kAll, false, [](Graph& g) { UnlinkGraphBuilder(&g); },
                     [](Graph& g) { bare::UnlinkGraph(&g); }});
    // Every candidate is tried and refused.
    walks.push_back({"TryLinkRenderToFilter", kAll, true,
                     [](Graph& g) {
                         static const auto render = Graph::Unconnected(1);
                         TryLinkRenderToFilter(&g, &(*render)[1], g.Source(), nullptr, nullptr,
                                               nullptr, nullptr);
                     },
                     [](Graph& g) {
                         static const auto render = Graph::Unconnected(1);
                         bare::LinkRenderer(&g, &(*render)[1], g.Source());
                     }});
    return walks;
}

// Graphs are made once; a walk leaves them as they were.
Graph& GraphOf(Shape shape, ULONG size, bool openLeaves) {
    static std::map<std::tuple<Shape, ULONG, bool>, std::unique_ptr<Graph>> graphs;
    auto& graph = graphs[{shape, size, openLeaves}];
    if (!graph) {
        graph = std::make_unique<Graph>(shape, size, openLeaves);
    }
    return *graph;
}

// Allocations of one call beyond the enumerators that the filters and the graph make.
size_t OwnAllocations(const std::function<void()>& call) {
    const size_t before = g_allocations;
    const size_t enumerators = lean::g_enumerators;
    call();
    return (g_allocations - before) - (lean::g_enumerators - enumerators);
}

class Times : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                double& best = m_best.try_emplace(run.run_name.function_name, 1e300).first->second;
                best = std::min(best, run.GetAdjustedRealTime());
            }
        }
    }
    double operator[](const std::string& name) const { return m_best.at(name); }
    // A filter on the command line leaves some out.
    bool Has(const std::string& name) const { return m_best.count(name) > 0; }

private:
    std::map<std::string, double> m_best; // nanoseconds of the fastest repetition
};

std::string Label(const char* kind, const char* walk, const char* shape, ULONG size) {
    return std::string(kind) + ':' + walk + ':' + shape + ':' + std::to_string(size);
}

void Measure(const std::string& name, const std::function<void()>& call) {
    benchmark::RegisterBenchmark(name.c_str(), [call](benchmark::State& state) {
        for (auto _ : state) {
            call();
        }
    });
}

struct Verdict {
    bool isSound = true; // references and allocations
    bool isFast = true;
};

void PrintWalk(const Walk& walk, const Times& times, Verdict& verdict) {
    for (Shape shape : walk.shapes) {
        if (!times.Has(Label("toolkit", walk.name, NameOf(shape), kSizes[0]))) {
            continue;
        }
        double perPin[std::size(kSizes)] = {};
        for (size_t i = 0; i < std::size(kSizes); ++i) {
            const ULONG size = kSizes[i];
            Graph& graph = GraphOf(shape, size, walk.openLeaves);
            const double pins =
                walk.shapes.size() == 1 ? size - 1.0 : static_cast<double>(graph.Pins());
            const double toolkit = times[Label("toolkit", walk.name, NameOf(shape), size)];
            const double bare = times[Label("bare", walk.name, NameOf(shape), size)];
            const size_t own = OwnAllocations([&] { walk.toolkit(graph); });
            const size_t ownBare = OwnAllocations([&] { walk.bare(graph); });
            perPin[i] = toolkit / pins;
            const double ratio = toolkit / bare;
            const bool balanced = graph.IsBalanced();
            verdict.isSound = verdict.isSound && balanced && own <= ownBare;
            verdict.isFast = verdict.isFast && ratio <= kRatioLimit;
            std::printf("%-36s %-6s %6lu %9.1f %9.1f %6.2f%s %6zu %6zu%s\n", walk.name,
                        NameOf(shape), size, perPin[i], bare / pins, ratio,
                        ratio <= kRatioLimit ? " " : "!", own, ownBare,
                        balanced ? "" : "  references lost or kept");
        }
        const double growth = perPin[3] / perPin[1];
        verdict.isFast = verdict.isFast && growth <= kGrowthLimit;
        std::printf("%-36s %-6s        growth of time per pin, 100 to 10,000: %.2f%s\n", walk.name,
                    NameOf(shape), growth, growth <= kGrowthLimit ? "" : " !");
    }
}

// ---- TryRenderSource ------------------------------------------------------------------------

const ULONG kRenderers[] = {10, 100, 1000, 4000};

struct Rendering {
    explicit Rendering(ULONG count) : graph(Graph::Unconnected(count)) {
        for (ULONG i = 1; i <= count; ++i) {
            renders.push_back(&(*graph)[i]);
        }
    }
    unsigned int Toolkit() {
        unsigned int video = 0;
        graph->PartAll();
        TryRenderSource(graph.get(), graph->Source(), renders, &video, nullptr, nullptr);
        return video;
    }
    unsigned int Bare() {
        graph->PartAll();
        return bare::RenderSource(graph.get(), graph->Source(), renders);
    }

    std::unique_ptr<Graph> graph;
    std::vector<IBaseFilter*> renders;
};

Rendering& RenderingOf(ULONG count) {
    static std::map<ULONG, std::unique_ptr<Rendering>> renderings;
    auto& rendering = renderings[count];
    if (!rendering) {
        rendering = std::make_unique<Rendering>(count);
    }
    return *rendering;
}

void PrintRendering(const Times& times, Verdict& verdict) {
    if (!times.Has(Label("toolkit", "TryRenderSource", "fan", kRenderers[0]))) {
        return;
    }
    std::printf(
        "\nTryRenderSource, a source with n free outputs and n renderers; it starts again "
        "after each\nlink, so that n*n/2 pins are visited.\n%6s %12s %14s %14s %6s %6s %6s\n",
        "n", "linked", "ns per n*n/2", "bare", "ratio", "alloc", "bare");
    for (ULONG count : kRenderers) {
        Rendering& rendering = RenderingOf(count);
        const double visits = 0.5 * count * count;
        const double toolkit = times[Label("toolkit", "TryRenderSource", "fan", count)];
        const double bare = times[Label("bare", "TryRenderSource", "fan", count)];
        unsigned int linked = 0;
        const size_t own = OwnAllocations([&] { linked = rendering.Toolkit(); });
        const size_t ownBare = OwnAllocations([&] { rendering.Bare(); });
        const double ratio = toolkit / bare;
        verdict.isSound =
            verdict.isSound && linked == count && own <= ownBare && rendering.graph->IsBalanced();
        verdict.isFast = verdict.isFast && ratio <= kRatioLimit;
        std::printf("%6lu %12u %14.1f %14.1f %6.2f%s %5zu %6zu\n", count, linked, toolkit / visits,
                    bare / visits, ratio, ratio <= kRatioLimit ? " " : "!", own, ownBare);
    }
}

} // namespace

int main(int argc, char** argv) {
    // The two sides of a ratio are measured in turns, several times; the fastest count.
    std::vector<char*> arguments(argv, argv + argc);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    char repeat[] = "--benchmark_repetitions=7";
    char minimum[] = "--benchmark_min_time=0.01";
    arguments.insert(arguments.begin() + 1, {interleave, repeat, minimum});
    argc = static_cast<int>(arguments.size());
    benchmark::Initialize(&argc, arguments.data());

    const std::vector<Walk> walks = Walks();
    for (const Walk& walk : walks) {
        for (Shape shape : walk.shapes) {
            for (ULONG size : kSizes) {
                Graph& graph = GraphOf(shape, size, walk.openLeaves);
                Measure(Label("toolkit", walk.name, NameOf(shape), size),
                        [&walk, &graph] { walk.toolkit(graph); });
                Measure(Label("bare", walk.name, NameOf(shape), size),
                        [&walk, &graph] { walk.bare(graph); });
            }
        }
    }
    for (ULONG count : kRenderers) {
        Rendering& rendering = RenderingOf(count);
        Measure(Label("toolkit", "TryRenderSource", "fan", count),
                [&rendering] { rendering.Toolkit(); });
        Measure(Label("bare", "TryRenderSource", "fan", count), [&rendering] { rendering.Bare(); });
    }
    Times times;
    benchmark::RunSpecifiedBenchmarks(&times);

    std::printf("%-36s %-6s %6s %9s %9s %6s  %6s %6s\n", "walk", "graph", "n", "ns/pin", "bare",
                "ratio", "alloc", "bare");
    Verdict verdict;
    for (const Walk& walk : walks) {
        PrintWalk(walk, times, verdict);
    }
    PrintRendering(times, verdict);
    std::printf("\nalloc: allocations of one call beyond the enumerators of the filters; only the "
                "stack and\nthe lists grow. '!' marks a ratio above %.1f or a growth above %.1f.\n"
                "references and allocations: %s; times: %s\n",
                kRatioLimit, kGrowthLimit, verdict.isSound ? "as promised" : "WRONG",
                verdict.isFast ? "within the limits" : "ABOVE A LIMIT");
    return verdict.isSound ? 0 : 1;
}
