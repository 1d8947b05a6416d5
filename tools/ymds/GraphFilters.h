#pragma once

#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

namespace ymds {

/// One filter of a graph, as it is reported.
struct FilterLine {
    std::wstring name;
    GUID clsid{};
    std::wstring file;   ///< server file of the CLSID; empty when it is not registered
    std::wstring module; ///< module it was made from; empty for a system filter
};

/// Notes which filters a media item made from its schemes' descriptions, for the marks in
/// the report. Outlives the item's Load.
class SchemeFilterWatch {
public:
    explicit SchemeFilterWatch(ymdshow::CMedia& media);

    /// The module that made the filter at this address; empty for any other.
    std::wstring ModuleOf(IBaseFilter* filter, const GUID& clsid) const;

private:
    ymdshow::CMedia& m_media;
    std::vector<IBaseFilter*> m_added; ///< addresses, in the order of the load report
};

/// The filters of the graph in the order in which data flows through them.
std::vector<FilterLine> ListFilters(ymdshow::CMedia& media, const SchemeFilterWatch& watch);

bool HasFilter(ymdshow::CMedia& media, const GUID& clsid);

} // namespace ymds
