#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include <ymdshow/Export.h>
#include <ymdshow/GraphDescription.h>

namespace ymdshow {

/// What the last load of a media item did, for a host that has to say why it
/// failed. Text is UTF-16. It is written by CMedia::Load, replaced by the next
/// load that builds a graph, and kept by Unload.
struct YMDSHOW_API LoadReport {
    /// A scheme name that was looked up, in the order of the look-ups; empty for a stream
    /// whose format is not known.
    struct Name {
        std::wstring name;
        bool found = false; ///< the scheme set has a scheme under this name
    };

    /// A filter description of the schemes found, in script order.
    struct Filter {
        std::wstring name;
        std::wstring module; ///< path of the module that was asked for it; empty otherwise
        GUID clsid{};
        int role = 0;          ///< 1 source, 2 transform, 4 render; 0 when it is not known
        HRESULT result = S_OK; ///< of the creation, or of adding it to the graph
        bool created = false;  ///< a filter came out
        bool added = false;    ///< it stands in the graph or its filter cache
    };

    /// One step of one way of finding a source filter.
    struct Attempt {
        int way = 0;         ///< 1 to 4, in the order in which they are tried
        std::wstring step;   ///< the operation, such as "AddSourceFilter"
        std::wstring filter; ///< the scheme filter's name; empty for the graph's own source
        HRESULT result = S_OK;
        std::wstring text; ///< the result in words, the filter's own where it told them
    };

    /// What a filter of the graph with an open input said to a dead end.
    struct Refusal {
        std::wstring filter;
        HRESULT result = S_OK; ///< S_OK: it takes the type, and the connection failed otherwise
    };

    /// An output pin that reached no renderer, in the last way that was tried.
    struct DeadEnd {
        std::wstring filter;
        std::wstring pin;
        std::wstring mediaType; ///< in words; empty when the pin offers none
        int way = 0;
        HRESULT result = S_OK; ///< of the rendering; S_OK when other pins were rendered
        /// The filters in the graph that were tried; what the graph looked for beside them is
        /// not told.
        std::vector<Refusal> refusals;
    };

    std::vector<Name> names;
    std::vector<Filter> filters;
    std::vector<Attempt> attempts;
    std::vector<DeadEnd> deadEnds;

    /// What stood in the graph when a load gave up, for DrawGraph; empty after one that succeeded.
    std::vector<FilterDescription> graph;

    /// Why the load failed, in one line; empty after a load that succeeded.
    std::wstring failure;
    HRESULT failureResult = S_OK; ///< the HRESULT behind `failure`

    /// The report for a person, as one paragraph: why the load failed, which filters could not be
    /// made, which would not open the file, and which streams reached no renderer. Empty when
    /// there is nothing to explain, and when memory runs out.
    std::wstring Explain() const;

    /// What the load did, for who looks closer: an indented line for the scheme names, one for each
    /// filter and each attempt. Empty when memory runs out.
    std::wstring Steps() const;
};

/// Why a local file cannot be played as far as the file system tells: "not found", "is a
/// directory", "is empty", or what the system says. Empty when it can be read, or when memory
/// runs out. Asks the file system, which may take its time on a network.
YMDSHOW_API std::wstring FileTrouble(const std::wstring& path);

/// An HRESULT in words, DirectShow's own codes included; the number for one that nothing is
/// known about.
YMDSHOW_API std::wstring ResultText(HRESULT result);

} // namespace ymdshow
