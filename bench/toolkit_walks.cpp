// The toolkit's walks over fake graphs of 10 to 10,000 filters, each beside a loop written by
// hand over the same COM calls in the same run. Prints one table: time per visited pin, the
// ratio to the hand-written loop, the growth from 100 to 10,000 filters, and what was
// allocated. The fakes' own work is on both sides and grows with the memory that they take, so
// that growth is told beside that of the hand-written loop.

#include "toolkit_bare.h"

#include "fakes/FakeGraph.h"

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
#include <vector>

namespace {
size_t g_allocations = 0;
}

[[gnu::noinline]] void* operator new(size_t size) {
    ++g_allocations;
    if (void* memory = std::malloc(size != 0 ? size : 1); memory != nullptr) {
        return memory;
    }
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

namespace {

const double kRatioLimit = 1.25;  // to the loop written by hand
const double kGrowthLimit = 1.25; // of the time per pin, from 100 to 10,000 filters

// A graph with a source at its head, and what is counted in it.
struct Scene {
    fakes::ComPtr<fakes::FakeGraph> graph = fakes::MakeGraph();
    std::vector<fakes::FakeFilter*> filters; // the first is the source
    std::vector<IBaseFilter*> renders;
    size_t pins = 0;

    void Add(bool hasInput, size_t outputs) {
        fakes::PinSpecs specs(outputs, fakes::Out(fakes::Video()));
        if (hasInput) {
            specs.insert(specs.begin(), fakes::In(fakes::Video()));
        }
        pins += specs.size();
        filters.push_back(&graph->Add("F", specs));
    }
    IBaseFilter* Source() const { return filters.front(); }
    // Every reference on a pin counts on its filter too.
    size_t References() const {
        size_t references = 0;
        for (const fakes::FakeFilter* filter : filters) {
            references += filter->Refs();
        }
        return references;
    }
    void PartAll() {
        for (fakes::FakePin& pin : filters.front()->Pins()) {
            fakes::Part(pin);
        }
    }
};

enum class Shape { Chain, Fan, Tree, Free };
const char* const kNames[] = {"chain", "fan", "tree", "free"};

// Free: a source with free outputs, and as many renderers. Else all filters are connected,
// and those that end a branch have a free output when they are open.
Scene MakeScene(Shape shape, size_t size, bool open) {
    Scene scene;
    std::vector<size_t> parents(size, 0);
    std::vector<size_t> outputs(size, 0);
    for (size_t i = 1; i < size; ++i) {
        parents[i] = shape == Shape::Chain ? i - 1 : shape == Shape::Tree ? (i - 1) / 2 : 0;
        ++outputs[parents[i]];
    }
    std::vector<size_t> used(size, 0);
    for (size_t i = 0; i < size; ++i) {
        scene.Add(i > 0, open && outputs[i] == 0 ? 1 : outputs[i]);
        if (i > 0 && shape != Shape::Free) {
            auto& above = scene.filters[parents[i]]->Pins();
            fakes::Join(above[(parents[i] > 0 ? 1 : 0) + used[parents[i]]++],
                        scene.filters[i]->Pins().front());
        }
    }
    scene.renders.assign(scene.filters.begin() + 1, scene.filters.end());
    scene.graph->config.present = false;
    return scene;
}

struct Walk {
    const char* name;
    std::vector<Shape> shapes;
    bool open;
    void (*toolkit)(Scene&);
    void (*bare)(Scene&);
};

void ReleaseAll(const std::vector<IPin*>& pins) {
    for (IPin* pin : pins) {
        pin->Release();
    }
}

const std::vector<Shape> kAll = {Shape::Chain, Shape::Fan, Shape::Tree};

const Walk kWalks[] = {
    {"CheckFilterType",
     {Shape::Fan}, // the source is asked, which has as many pins
     false,
     [](Scene& s) { benchmark::DoNotOptimize(CheckFilterType(s.Source())); },
     [](Scene& s) { benchmark::DoNotOptimize(bare::CheckFilterType(s.Source())); }},
    {"GetUnlinkedOutputPinsFromFilter", kAll, true,
     [](Scene& s) {
         std::vector<IPin*> pins;
         GetUnlinkedOutputPinsFromFilter(s.Source(), &pins);
         ReleaseAll(pins);
     },
     [](Scene& s) {
         std::vector<IPin*> pins;
         bare::UnlinkedOutputs(s.Source(), pins);
         ReleaseAll(pins);
     }},
    {"GetLinkedTrackNum", kAll, false,
     [](Scene& s) {
         unsigned int video = 0;
         GetLinkedTrackNum(s.graph.Get(), s.Source(), &video, nullptr, nullptr);
         benchmark::DoNotOptimize(video);
     },
     [](Scene& s) { benchmark::DoNotOptimize(bare::LinkedVideoTracks(s.Source())); }},
    {"FindInterfaceInGraphFilters", kAll, false,
     [](Scene& s) {
         benchmark::DoNotOptimize(
             FindInterfaceInGraphFilters(s.graph.Get(), IID_IBasicAudio, nullptr, 0, 0, 0));
     },
     [](Scene& s) {
         benchmark::DoNotOptimize(bare::InterfacesInGraph(s.graph.Get(), IID_IBasicAudio));
     }},
    // Starts again after each link, so that n * n / 2 pins are visited.
    {"TryRenderSource",
     {Shape::Free},
     false,
     [](Scene& s) {
         s.PartAll();
         unsigned int video = 0;
         TryRenderSource(s.graph.Get(), s.Source(), s.renders, &video, nullptr, nullptr);
         benchmark::DoNotOptimize(video);
     },
     [](Scene& s) {
         s.PartAll();
         benchmark::DoNotOptimize(bare::RenderSource(s.graph.Get(), s.Source(), s.renders));
     }},
};

// The two sides of a comparison. Both are measured in turns of some microseconds, so that a
// busy machine slows both alike.
struct Pair {
    double toolkit = 1e300; // nanoseconds of the fastest call
    double bare = 1e300;
    double Ratio() const { return toolkit / bare; }
    size_t allocated[2] = {};
    bool balanced = false;
    double pins = 0;
};

double Nanoseconds(void (*call)(Scene&), Scene& scene, int times) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i) {
        call(scene);
    }
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / times;
}

size_t Allocations(void (*call)(Scene&), Scene& scene) {
    const size_t before = g_allocations;
    call(scene);
    return g_allocations - before;
}

void Measure(benchmark::State& state, const Walk& walk, Shape shape, size_t size, Pair& pair) {
    Scene scene = MakeScene(shape, size, walk.open);
    pair.pins = shape == Shape::Free
                    ? 0.5 * static_cast<double>(size * size)
                    : static_cast<double>(walk.shapes.size() == 1 ? size - 1 : scene.pins);
    walk.toolkit(scene); // leaves the scene as each call finds it
    const size_t references = scene.References();
    pair.allocated[true] = Allocations(walk.toolkit, scene);
    pair.balanced = scene.References() == references;
    pair.allocated[false] = Allocations(walk.bare, scene);
    const int times =
        static_cast<int>(std::clamp(50e3 / Nanoseconds(walk.bare, scene, 3), 1.0, 1000.0));
    for (auto _ : state) {
        double taken[2] = {};
        for (const bool isToolkit : {true, false, false, true}) { // neither always goes first
            taken[isToolkit] += Nanoseconds(isToolkit ? walk.toolkit : walk.bare, scene, times) / 2;
        }
        pair.toolkit = std::min(pair.toolkit, taken[true]);
        pair.bare = std::min(pair.bare, taken[false]);
        state.SetIterationTime((taken[true] + taken[false]) * 2 * times * 1e-9);
    }
}

class Quiet : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>&) override {}
};

} // namespace

int main(int argc, char** argv) {
    fakes::Journal::Get().SetKinds(0);
    benchmark::Initialize(&argc, argv);
    std::map<std::string, Pair> pairs;
    const auto each = [](const auto& act) {
        for (const Walk& walk : kWalks) {
            for (const Shape shape : walk.shapes) {
                const size_t largest = shape == Shape::Free ? 1000 : 10000;
                for (size_t size = 10; size <= largest; size *= 10) {
                    act(walk, shape, size,
                        std::string(walk.name) + '/' + kNames[static_cast<int>(shape)] + '/' +
                            std::to_string(size));
                }
            }
        }
    };
    each([&](const Walk& walk, Shape shape, size_t size, const std::string& label) {
        const auto run = [&pairs, &walk, shape, size, label](benchmark::State& state) {
            Measure(state, walk, shape, size, pairs[label]);
        };
        benchmark::RegisterBenchmark(label.c_str(), run)->UseManualTime()->MinTime(0.15);
    });
    Quiet reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("%-48s %9s %9s %6s %7s %7s\n", "walk/graph/filters", "ns/pin", "bare", "ratio",
                "alloc", "bare");
    bool isSound = true;
    bool isFast = true;
    double hundred = 0;
    each([&](const Walk&, Shape, size_t size, const std::string& label) {
        const auto found = pairs.find(label);
        if (found == pairs.end()) {
            return; // left out by a filter on the command line
        }
        const Pair& pair = found->second;
        const double perPin = pair.toolkit / pair.pins;
        isSound = isSound && pair.balanced && pair.allocated[true] <= pair.allocated[false];
        isFast = isFast && pair.Ratio() <= kRatioLimit;
        std::printf("%-48s %9.1f %9.1f %6.2f%s %6zu %7zu%s\n", label.c_str(), perPin,
                    pair.bare / pair.pins, pair.Ratio(), pair.Ratio() <= kRatioLimit ? " " : "!",
                    pair.allocated[true], pair.allocated[false],
                    pair.balanced ? "" : "  references lost or kept");
        hundred = size == 100 ? pair.Ratio() : hundred;
        if (size == 10000 && hundred > 0) {
            const double growth = pair.Ratio() / hundred;
            isFast = isFast && growth <= kGrowthLimit;
            std::printf("    growth of time per pin beside the loop's, 100 to 10,000: %.2f%s\n",
                        growth, growth <= kGrowthLimit ? "" : " !");
        }
    });
    std::printf("\nalloc: allocations of one call, those of the fakes included, which are the same "
                "on both\nsides. '!' marks a ratio above %.2f or a growth above %.2f.\n"
                "references and allocations: %s; times: %s\n",
                kRatioLimit, kGrowthLimit, isSound ? "as promised" : "WRONG",
                isFast ? "within the limits" : "ABOVE A LIMIT");
    return isSound ? 0 : 1;
}
