#pragma once

#include <windows.h>

#include <dshow.h>

#include <functional>
#include <string>
#include <vector>

#include <ymdshow/GraphDescription.h>
#include <ymdshow/LoadReport.h>

namespace ymdshow::toolkit {

/// What the maker of a filter knows of it.
struct Maker {
    std::wstring name;
    std::wstring module; ///< empty for a system filter
};

/// Null for a filter that it has not made.
using FindMaker = std::function<const Maker*(IBaseFilter* filter, const GUID& clsid)>;

/// The filters of a graph in the order in which data flows through them.
std::vector<FilterDescription> DescribeGraph(IFilterGraph* graph, const FindMaker& findMaker);

/// The open output pins from `source` downstream, and what the filters of the graph that have an
/// open input say to the types that these offer.
std::vector<LoadReport::DeadEnd> FindDeadEnds(IFilterGraph* graph, IBaseFilter* source,
                                              const FindMaker& findMaker);

} // namespace ymdshow::toolkit
