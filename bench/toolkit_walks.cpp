// The toolkit's walks over graphs of 10 to 10,000 filters, each beside a loop written by hand
// over the same COM calls in the same run. Prints one table: time per visited pin, the ratio
// to the hand-written loop, the growth from 100 to 10,000 filters, and what was allocated.

#include "toolkit_bare.h"
#include "toolkit_graph.h"

#include <benchmark/benchmark.h>

#include <ymdshow/GraphToolkit.h>

#include <algorithm>
#include <chrono>
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

// The two sides of a comparison. Both are measured in turns of some microseconds, so that a
// busy machine slows both alike.
struct Pair {
    double toolkit = 1e300; // nanoseconds of the fastest call
    double bare = 1e300;
    double ratio = 0; // the median of those of the turns
};

using Pairs = std::map<std::string, Pair>;

double Nanoseconds(const std::function<void()>& call, int times) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i) {
        call();
    }
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / times;
}

Pair MeasureTurns(benchmark::State& state, const std::function<void()>& toolkit,
                  const std::function<void()>& bare) {
    const double turn = 50e3;
    const int times = static_cast<int>(std::clamp(turn / Nanoseconds(bare, 3), 1.0, 1000.0));
    Pair pair;
    std::vector<double> ratios;
    bool toolkitFirst = true;
    for (auto _ : state) {
        double taken[2];
        for (const bool isToolkit : {toolkitFirst, !toolkitFirst}) {
            taken[isToolkit] = Nanoseconds(isToolkit ? toolkit : bare, times);
        }
        toolkitFirst = !toolkitFirst;
        pair.toolkit = std::min(pair.toolkit, taken[true]);
        pair.bare = std::min(pair.bare, taken[false]);
        ratios.push_back(taken[true] / taken[false]);
        state.SetIterationTime((taken[true] + taken[false]) * times * 1e-9);
    }
    std::nth_element(ratios.begin(), ratios.begin() + static_cast<ptrdiff_t>(ratios.size() / 2),
                     ratios.end());
    pair.ratio = ratios[ratios.size() / 2];
    return pair;
}

class Quiet : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>&) override {}
};

std::string Label(const char* walk, const char* shape, ULONG size) {
    return std::string(walk) + '/' + shape + '/' + std::to_string(size);
}

void Measure(Pairs& pairs, const std::string& name, std::function<void()> toolkit,
             std::function<void()> bare) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [&pairs, name, toolkit, bare](benchmark::State& state) {
                                     pairs[name] = MeasureTurns(state, toolkit, bare);
                                 })
        ->UseManualTime()
        ->MinTime(0.15);
}

struct Verdict {
    bool isSound = true; // references and allocations
    bool isFast = true;
};

void PrintWalk(const Walk& walk, const Pairs& pairs, Verdict& verdict) {
    for (Shape shape : walk.shapes) {
        double perPin[std::size(kSizes)] = {};
        for (size_t i = 0; i < std::size(kSizes); ++i) {
            const ULONG size = kSizes[i];
            const auto found = pairs.find(Label(walk.name, NameOf(shape), size));
            if (found == pairs.end()) {
                return; // left out by a filter on the command line
            }
            const Pair& pair = found->second;
            Graph& graph = GraphOf(shape, size, walk.openLeaves);
            const double pins =
                walk.shapes.size() == 1 ? size - 1.0 : static_cast<double>(graph.Pins());
            const size_t own = OwnAllocations([&] { walk.toolkit(graph); });
            const size_t ownBare = OwnAllocations([&] { walk.bare(graph); });
            perPin[i] = pair.toolkit / pins;
            const bool balanced = graph.IsBalanced();
            verdict.isSound = verdict.isSound && balanced && own <= ownBare;
            verdict.isFast = verdict.isFast && pair.ratio <= kRatioLimit;
            std::printf("%-36s %-6s %6lu %9.1f %9.1f %6.2f%s %6zu %6zu%s\n", walk.name,
                        NameOf(shape), size, perPin[i], pair.bare / pins, pair.ratio,
                        pair.ratio <= kRatioLimit ? " " : "!", own, ownBare,
                        balanced ? "" : "  references lost or kept");
        }
        const double growth = perPin[3] / perPin[1];
        verdict.isFast = verdict.isFast && growth <= kGrowthLimit;
        std::printf("%-36s %-6s        growth of time per pin, 100 to 10,000: %.2f%s\n", walk.name,
                    NameOf(shape), growth, growth <= kGrowthLimit ? "" : " !");
    }
}

// ---- TryRenderSource ------------------------------------------------------------------------

const ULONG kRenderers[] = {10, 100, 1000, 10000};

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

    bool IsBalanced() {
        graph->PartAll();
        return graph->IsBalanced();
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

void PrintRendering(const Pairs& pairs, Verdict& verdict) {
    std::printf(
        "\nTryRenderSource, a source with n free outputs and n renderers; it starts again "
        "after each\nlink, so that n*n/2 pins are visited.\n%6s %12s %14s %14s %6s %6s %6s\n",
        "n", "linked", "ns per n*n/2", "bare", "ratio", "alloc", "bare");
    for (ULONG count : kRenderers) {
        const auto found = pairs.find(Label("TryRenderSource", "fan", count));
        if (found == pairs.end()) {
            return;
        }
        const Pair& pair = found->second;
        Rendering& rendering = RenderingOf(count);
        const double visits = 0.5 * count * count;
        unsigned int linked = 0;
        const size_t own = OwnAllocations([&] { linked = rendering.Toolkit(); });
        const size_t ownBare = OwnAllocations([&] { rendering.Bare(); });
        verdict.isSound =
            verdict.isSound && linked == count && own <= ownBare && rendering.IsBalanced();
        verdict.isFast = verdict.isFast && pair.ratio <= kRatioLimit;
        std::printf("%6lu %12u %14.1f %14.1f %6.2f%s %5zu %6zu\n", count, linked,
                    pair.toolkit / visits, pair.bare / visits, pair.ratio,
                    pair.ratio <= kRatioLimit ? " " : "!", own, ownBare);
    }
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    Pairs pairs;
    const std::vector<Walk> walks = Walks();
    for (const Walk& walk : walks) {
        for (Shape shape : walk.shapes) {
            for (ULONG size : kSizes) {
                Graph& graph = GraphOf(shape, size, walk.openLeaves);
                Measure(
                    pairs, Label(walk.name, NameOf(shape), size),
                    [&walk, &graph] { walk.toolkit(graph); },
                    [&walk, &graph] { walk.bare(graph); });
            }
        }
    }
    for (ULONG count : kRenderers) {
        Rendering& rendering = RenderingOf(count);
        Measure(
            pairs, Label("TryRenderSource", "fan", count), [&rendering] { rendering.Toolkit(); },
            [&rendering] { rendering.Bare(); });
    }
    Quiet reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("%-36s %-6s %6s %9s %9s %6s  %6s %6s\n", "walk", "graph", "n", "ns/pin", "bare",
                "ratio", "alloc", "bare");
    Verdict verdict;
    for (const Walk& walk : walks) {
        PrintWalk(walk, pairs, verdict);
    }
    PrintRendering(pairs, verdict);
    std::printf("\nalloc: allocations of one call beyond the enumerators of the filters; only the "
                "stack and\nthe lists grow. '!' marks a ratio above %.1f or a growth above %.1f.\n"
                "references and allocations: %s; times: %s\n",
                kRatioLimit, kGrowthLimit, verdict.isSound ? "as promised" : "WRONG",
                verdict.isFast ? "within the limits" : "ABOVE A LIMIT");
    return verdict.isSound ? 0 : 1;
}
