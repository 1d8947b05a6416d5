#pragma once

#include <windows.h>

#include <dshow.h>

#include <vector>

// The toolkit's walks as one would write them by hand for the one purpose: the same COM
// calls, and nothing else.
namespace bare {

DWORD CheckFilterType(IBaseFilter* filter);
void UnlinkedPins(IBaseFilter* filter, std::vector<IPin*>& inputs, std::vector<IPin*>& outputs);
void UnlinkedOutputs(IBaseFilter* source, std::vector<IPin*>& found);
unsigned int LinkedVideoTracks(IBaseFilter* source);
unsigned int InterfacesInGraph(IGraphBuilder* graph, const GUID& iid);
unsigned int RenderSource(IGraphBuilder* graph, IBaseFilter* source,
                          const std::vector<IBaseFilter*>& renders);

} // namespace bare
