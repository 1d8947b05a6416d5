#pragma once

#include <string>
#include <vector>

#include <ymdshow/Export.h>

namespace ymdshow {

class CMedia;

/// Something that the library holds.
struct LiveObject {
    enum class Kind { Item, Graph, Filter };

    Kind kind = Kind::Item;
    std::wstring name;             ///< the item's path, the filter's name
    const void* address = nullptr; ///< of the CMedia, the graph manager, the filter
    unsigned long references = 0;  ///< on a graph or filter, the library's and all others'; 0 else
    const CMedia* item = nullptr;  ///< the item that it belongs to, which is listed before it
    bool isBusy = false;           ///< an item in an operation of another thread's: not looked into
};

/// The media items of the process, each with its graph and the filters of that, to find what a
/// host has not given back: items that it forgot, filters with more references than others of
/// their kind. From any thread; waits at most a fifth of a second for each item, and for a graph
/// that is slow to answer. Empty when memory runs out.
YMDSHOW_API std::vector<LiveObject> GetLiveObjects();

/// The same as indented lines; empty when nothing is alive.
YMDSHOW_API std::wstring LiveObjectsText();

} // namespace ymdshow
