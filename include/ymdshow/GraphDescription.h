#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include <ymdshow/Export.h>

namespace ymdshow {

/// A pin of a filter, as a graph's description has it.
struct PinDescription {
    std::wstring name;
    bool isOutput = false;
    bool isConnected = false;
    /// In words (MediaTypeText): of the connection, or of an open pin the type that it prefers;
    /// empty when it names none.
    std::wstring mediaType;
    int filter = -1; ///< index of the filter on the other side; -1 for an open pin
    int pin = -1;    ///< and of the pin there; -1 when that filter does not list it
};

/// A filter of a graph, as a value: it keeps nothing alive.
struct FilterDescription {
    /// What it is: the name of its entry in the scheme script, else the one it is registered
    /// under, else the graph's, else its CLSID.
    std::wstring name;
    GUID clsid{};
    /// The module that the scheme made it from, else the server file of its class; empty when
    /// neither is known.
    std::wstring file;
    bool isFromModule = false;        ///< `file` is a module of the scheme's
    int role = 0;                     ///< by its pins: 1 source, 2 transform, 4 render, 0 not known
    std::vector<PinDescription> pins; ///< in the filter's order
};

/// What a graph is drawn as. Both are UTF-16 text without a byte-order mark; a file of it is
/// to be UTF-8.
enum class GraphFormat {
    Dot, ///< for Graphviz
    Svg, ///< complete in itself: boxes in columns in the direction of the data
};

/// Draws filters with their connections, and media types at these; open pins are marked.
/// Empty when memory runs out.
YMDSHOW_API std::wstring DrawGraph(const std::vector<FilterDescription>& filters,
                                   GraphFormat format);

} // namespace ymdshow
