#pragma once

// The graph toolkit: free functions over DirectShow filters, pins and graphs.
//
// None of them logs or throws (ShowPropertyPage catches what a filter throws),
// keeps state or takes a lock. A null required argument gives the failure value
// before any COM call. Every pin, filter or interface handed out carries one
// reference for the caller; every other pointer is given back before the
// function returns, except for the leaks that a function documents. The calling
// thread has initialised COM.

#include <windows.h>

#include <dshow.h>

#include <string>
#include <vector>

#include <ymdshow/Export.h>

/// A filter's role. The values are bits; a role mask combines them.
enum DSFilterType {
    DSFT_UNKNOWN = 0,   ///< null, or the pins cannot be enumerated
    DSFT_SOURCE = 1,    ///< no input pin (also a filter without pins)
    DSFT_TRANSFORM = 2, ///< input and output pins
    DSFT_RENDER = 4     ///< input pins only
};

/// The kind of stream that a pin carries.
enum DSPinMediaType { DSPMT_UNKNOWN = 0, DSPMT_VIDEO = 1, DSPMT_AUDIO = 2, DSPMT_TEXT = 3 };

// --- Inspection ---------------------------------------------------------------

YMDSHOW_API DSFilterType CheckFilterType(IBaseFilter* filter);
YMDSHOW_API int CountFilterPins(IBaseFilter* filter, int& inputs, int& outputs, int& unlinked,
                                int& reserved);
YMDSHOW_API void GetFilterPins(IBaseFilter* filter, _PinDirection dir, int& count, IPin** pins);
YMDSHOW_API DSPinMediaType GetPinMediaType(IPin* pin);
YMDSHOW_API int IsAudioPin(IPin* pin);
YMDSHOW_API int IsVideoPin(IPin* pin);
YMDSHOW_API int IsPinLinked(IPin* pin);
YMDSHOW_API int IsFilterLinked(IBaseFilter* filter);
YMDSHOW_API int GetUnlinkedInputPinNum(IBaseFilter* filter);
YMDSHOW_API int GetUnlinkedOutputPinNum(IBaseFilter* filter);
YMDSHOW_API void GetUnlinkedPins(IBaseFilter* filter, std::vector<IPin*>* inputs,
                                 std::vector<IPin*>* outputs);
YMDSHOW_API void GetUnlinkedOutputPinsFromFilter(IBaseFilter* filter, std::vector<IPin*>* pins);
YMDSHOW_API void GetFirstUnlinkedOutputPinFromFilter(IBaseFilter* filter, IPin** pin);
YMDSHOW_API int FindPinInterface(IPin* pin, const GUID& iid, void** ppv);
YMDSHOW_API int FindFilterInterface(IBaseFilter* filter, const GUID& iid, void** ppv,
                                    int searchPins, int includeUnlinked);
YMDSHOW_API unsigned int FindInterfaceInGraphFilters(IGraphBuilder* graph, const GUID& iid,
                                                     void** ppv, unsigned int capacity,
                                                     int searchPins, int includeUnlinked);
YMDSHOW_API int GetIUnknownRef(IUnknown* unknown);
YMDSHOW_API int IsSupportsPropertyPage(IBaseFilter* filter);

// --- Linking and rendering ----------------------------------------------------

YMDSHOW_API int LinkPin(IGraphBuilder* graph, IPin* out, IPin* in);
YMDSHOW_API int LinkFilter(IGraphBuilder* graph, IBaseFilter* up, IBaseFilter* down);
YMDSHOW_API int LinkFilter(IGraphBuilder* graph, IPin* out, IBaseFilter* down);
YMDSHOW_API int LinkFilter(IGraphBuilder* graph, IBaseFilter* filter);
YMDSHOW_API int UnlinkPin(IGraphBuilder* graph, IPin* pin);
YMDSHOW_API int UnlinkFilter(IGraphBuilder* graph, IBaseFilter* filter);
YMDSHOW_API int UnlinkGraphBuilder(IGraphBuilder* graph);
YMDSHOW_API int RenderFilter(IGraphBuilder* graph, IBaseFilter* filter);
YMDSHOW_API int TryLinkRenderToFilter(IGraphBuilder* graph, IBaseFilter* render,
                                      IBaseFilter* source, unsigned int* linked,
                                      unsigned int* video, unsigned int* audio, unsigned int* text);
YMDSHOW_API int TryRenderSource(IGraphBuilder* graph, IBaseFilter* source,
                                std::vector<IBaseFilter*>& renders, unsigned int* video,
                                unsigned int* audio, unsigned int* text);
YMDSHOW_API int GetLinkedTrackNum(IGraphBuilder* graph, IBaseFilter* source, unsigned int* video,
                                  unsigned int* audio, unsigned int* text);
YMDSHOW_API int TrySourceFilter(const std::string& path, IBaseFilter* filter);
YMDSHOW_API int TrySourceFilter(const std::wstring& path, IBaseFilter* filter);

// --- Creation and registration --------------------------------------------------

YMDSHOW_API void GetFilterByCLSID(const GUID& clsid, IBaseFilter** filter);
YMDSHOW_API void GetFilterByCLSID(const GUID& category, const GUID& clsid, IBaseFilter** filter);
YMDSHOW_API void GetFilterByName(const GUID& category, wchar_t* name, IBaseFilter** filter);
YMDSHOW_API bool FindFileNameFromCLSID(const GUID& clsid, std::string& path);
YMDSHOW_API bool FindFileNameFromCLSID(const std::string& clsid, std::string& path);
YMDSHOW_API bool RegisterServer(const char* path);
YMDSHOW_API bool UnregisterServer(const char* path);
YMDSHOW_API int AddFilterToGraphBuilder(IGraphBuilder* graph, IBaseFilter* filter,
                                        const wchar_t* name);
YMDSHOW_API int AddFilterToGraphBuilderCache(IGraphConfig* config, IBaseFilter* filter);
YMDSHOW_API int RemoveFilterFromGraphBuilder(IGraphBuilder* graph, IBaseFilter* filter);
YMDSHOW_API int RemoveFilterFromGraphBuilderCache(IGraphConfig* config, IBaseFilter* filter);
YMDSHOW_API int ShowPropertyPage(IBaseFilter* filter, HWND parent);
