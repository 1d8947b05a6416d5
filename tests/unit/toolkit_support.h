#pragma once

// What the toolkit's tests share.

#include "fakes/FakeTest.h"

#include <ymdshow/GraphToolkit.h>

#include <string>
#include <vector>

namespace toolkit_test {

using namespace fakes;

/// A pointer that a function has to overwrite.
template <class T> T* Stale() {
    return reinterpret_cast<T*>(0x10);
}

/// The name of the fake behind an interface, which is released; "none" for null.
inline std::string TakeName(void* found) {
    auto* const unknown = static_cast<IUnknown*>(found);
    if (unknown == nullptr) {
        return "none";
    }
    const std::string name = AsFake(unknown)->Name();
    unknown->Release();
    return name;
}

/// Names of pins, each of which is released.
inline Lines TakeNames(const std::vector<IPin*>& pins) {
    Lines names;
    for (IPin* pin : pins) {
        names.push_back(TakeName(pin));
    }
    return names;
}

/// A test whose filters belong to a graph.
class ToolkitTest : public FakeTest {
protected:
    FakeFilter& Add(std::string name, const PinSpecs& pins) {
        return graph->Add(std::move(name), pins);
    }
    ComPtr<FakeGraph> graph = MakeGraph();
};

} // namespace toolkit_test
