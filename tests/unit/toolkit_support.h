#pragma once

// What the toolkit's tests share: fakes by short names, the journal as lists of lines.

#include <windows.h>

#include <dshow.h>
#include <gtest/gtest.h>

#include "fakes/FakeFilter.h"
#include "fakes/FakeGraph.h"
#include "fakes/FakeTest.h"

#include <ymdshow/GraphToolkit.h>

#include <string>
#include <vector>

namespace toolkit_test {

using namespace fakes;
using Lines = std::vector<std::string>;

/// A pointer that a function has to overwrite.
template <class T> T* Stale() {
    return reinterpret_cast<T*>(0x10);
}

/// Names of pins, each of which is released.
inline Lines TakeNames(std::vector<IPin*> pins) {
    Lines names;
    for (IPin* pin : pins) {
        const FakeObject* fake = AsFake(pin);
        names.push_back(fake ? fake->Name() : "foreign");
        pin->Release();
    }
    return names;
}

/// The name of the fake behind an interface, which is released; "none" for null.
inline std::string TakeName(void* found) {
    auto* const unknown = static_cast<IUnknown*>(found);
    if (!unknown) {
        return "none";
    }
    const FakeObject* fake = AsFake(unknown);
    const std::string name = fake ? fake->Name() : "foreign";
    unknown->Release();
    return name;
}

using fakes::Join;
inline void Join(const ComPtr<FakeFilter>& up, const ComPtr<FakeFilter>& down) {
    Join(*up.Get(), *down.Get());
}

class ToolkitTest : public FakeTest {
protected:
    /// The calls since the last time.
    static Lines Calls() { return Journal::Get().Take(); }
    static Lines CallsOf(std::string_view pattern) {
        Lines lines = Journal::Get().Matching(pattern);
        Journal::Get().Clear();
        return lines;
    }
    static ComPtr<FakeFilter> AddTo(const ComPtr<FakeGraph>& graph, std::string name,
                                    const PinSpecs& pins) {
        return ComPtr<FakeFilter>(&graph->Add(std::move(name), pins));
    }
};

/// Counters that a function fills.
struct Counters {
    unsigned int linked = 77;
    unsigned int video = 77;
    unsigned int audio = 77;
    unsigned int text = 77;
    std::vector<unsigned int> Kinds() const { return {video, audio, text}; }
};
using Kinds = std::vector<unsigned int>;

/// A source, a splitter and a decoder that a renderer shows; of the splitter's pins two are
/// free. Two renderers wait, one of them in the cache.
struct Scene {
    ComPtr<FakeGraph> graph;
    FakeFilter* source = nullptr;
    FakeFilter* splitter = nullptr;
    FakeFilter* decoder = nullptr;
    FakeFilter* shown = nullptr;
    ComPtr<FakeFilter> video;
    ComPtr<FakeFilter> sound;
    std::vector<IBaseFilter*> renders;
    std::vector<IPin*> pins; // given to the test, which releases them
    Counters counters;

    Scene() {
        const Silence quiet;
        graph = MakeGraph();
        source = &graph->Add("S", {Out(Stream())});
        source->AcceptFiles();
        splitter = &graph->Add("P", {In(Stream()), Out(Audio()), Out(Video()), Out(Video())});
        decoder = &graph->Add("D", {In(Video()), Out(Video())});
        shown = &graph->Add("W", {In(Video())});
        Chain({source, splitter, decoder, shown});
        video = MakeFilter("V", {In(Video())});
        sound = MakeFilter("A", {In(Audio())});
        sound->propertyPages.present = true;
        splitter->Pin("In1").Expose(IID_IKsPropertySet);
        graph->config.AddFilterToCache(video.Get());
        renders = {video.Get(), sound.Get()};
    }
    ~Scene() {
        const Silence quiet;
        TakeNames(pins);
        graph.Reset();
        Part(video->InPin());
        Part(sound->InPin());
    }
};

} // namespace toolkit_test
