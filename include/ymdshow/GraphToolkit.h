#pragma once

// The graph toolkit: free functions over DirectShow filters, pins and graphs.
//
// None of them logs, throws, keeps state or takes a lock: what a filter, a graph or
// an enumerator throws becomes the failure value, and a null required argument gives
// it before any COM call. Every pin, filter or interface handed out carries one
// reference for the caller; every other pointer is given back before the
// function returns, except for the leaks that a function documents. The calling
// thread has initialised COM.

#include <string>
#include <vector>

#include <ymdshow/DirectShow.h>
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

/// The role that a filter's pins give it. Pins without a direction are not counted.
/// DSFT_UNKNOWN for null and for a filter whose pins cannot be enumerated.
YMDSHOW_API DSFilterType CheckFilterType(IBaseFilter* filter);

/// Counts a filter's pins; answers inputs + outputs, 0 for null. All four counts are set
/// first; `reserved` stays 0. Each call leaves two references on the peer of every linked
/// pin; this is kept.
YMDSHOW_API int CountFilterPins(IBaseFilter* filter, int& inputs, int& outputs, int& unlinked,
                                int& reserved);

/// The pins of one direction, in enumeration order. `pins` may be null to count only; else
/// it has room for every pin of that direction (at least one), which is not checked, and
/// the caller releases each of the `count` pins. `pins[0]` and `count` are cleared first.
YMDSHOW_API void GetFilterPins(IBaseFilter* filter, _PinDirection dir, int& count, IPin** pins);

/// The kind of the pin's connection or, when it has none, of its first preferred media type
/// that is video, audio or text. DSPMT_UNKNOWN for null and for any other type.
YMDSHOW_API DSPinMediaType GetPinMediaType(IPin* pin);

/// 1 when the pin's connection or, when it has none, any of its preferred media types is of
/// the kind; else 0, also for null.
YMDSHOW_API int IsAudioPin(IPin* pin);
YMDSHOW_API int IsVideoPin(IPin* pin);

/// 1 when the pin, or any pin of the filter, is connected; else 0, also for null.
YMDSHOW_API int IsPinLinked(IPin* pin);
YMDSHOW_API int IsFilterLinked(IBaseFilter* filter);

/// The number of the filter's input pins without a peer; 0 for null.
YMDSHOW_API int GetUnlinkedInputPinNum(IBaseFilter* filter);

/// The same number as GetUnlinkedInputPinNum, in spite of its name; this is kept.
YMDSHOW_API int GetUnlinkedOutputPinNum(IBaseFilter* filter);

/// Appends the filter's unconnected pins in enumeration order; the caller releases them.
/// Either vector may be null.
YMDSHOW_API void GetUnlinkedPins(IBaseFilter* filter, std::vector<IPin*>* inputs,
                                 std::vector<IPin*>* outputs);

/// Appends every unconnected output pin of the filter and of the filters downstream of it;
/// the caller releases them. Branches are followed depth first, the last output pin first;
/// a filter that two paths lead to is met twice.
YMDSHOW_API void GetUnlinkedOutputPinsFromFilter(IBaseFilter* filter, std::vector<IPin*>* pins);

/// The first of those pins, which the caller releases; `*pin` is null when there is none.
YMDSHOW_API void GetFirstUnlinkedOutputPinFromFilter(IBaseFilter* filter, IPin** pin);

/// Queries a pin. 1 and an interface that the caller releases, or 0 and `*ppv` null.
YMDSHOW_API int FindPinInterface(IPin* pin, const GUID& iid, void** ppv);

/// Queries a filter and, with `searchPins`, the first of its pins (the first connected one
/// unless `includeUnlinked`). The caller releases `*ppv`, which is cleared first. With
/// `searchPins` the answer is 1 whenever the pins can be enumerated: `*ppv` tells whether
/// something was found. Only one pin is ever asked; both are kept.
YMDSHOW_API int FindFilterInterface(IBaseFilter* filter, const GUID& iid, void** ppv,
                                    int searchPins, int includeUnlinked);

/// FindFilterInterface on every filter of the graph (every connected one unless
/// `includeUnlinked`); answers how many answered 1, 0 for a null graph. Their interfaces are
/// stored in `ppv`, which may be null to count only; the caller releases those that are not
/// null. `capacity` is the number of entries to clear first; it does NOT bound what is
/// written: provide an entry for every filter of the graph.
YMDSHOW_API unsigned int FindInterfaceInGraphFilters(IGraphBuilder* graph, const GUID& iid,
                                                     void** ppv, unsigned int capacity,
                                                     int searchPins, int includeUnlinked);

/// The object's reference count as its Release reports it; 0 for null. For diagnosis.
YMDSHOW_API int GetIUnknownRef(IUnknown* unknown);

/// A media type in words: "H.264 video, 1920x1080, 25 fps", "AAC audio, 48000 Hz, 5.1". A subtype
/// that is not known is its four letters or its GUID. Empty when memory runs out.
YMDSHOW_API std::wstring MediaTypeText(const AM_MEDIA_TYPE& type);

/// 1 when the filter says that it has property pages; else 0, also for null.
YMDSHOW_API int IsSupportsPropertyPage(IBaseFilter* filter);

// --- Linking and rendering ----------------------------------------------------
//
// A null graph, filter or pin gives 0. Nothing that is handed in is released or kept.
// Connections are made by intelligent connection, which may add filters to the graph; no
// other thread may change the graph meanwhile.

/// 1 when `out` is connected to `in`, or was already. A partial rendering counts as success.
YMDSHOW_API int LinkPin(IGraphBuilder* graph, IPin* out, IPin* in);

/// Connects each free output pin of `up` with the first free input pin of `down` that takes
/// it. 1 when at least one pair was connected.
YMDSHOW_API int LinkFilter(IGraphBuilder* graph, IBaseFilter* up, IBaseFilter* down);

/// Connects `out` with the first free input pin of `down` that takes it. 1 on success.
YMDSHOW_API int LinkFilter(IGraphBuilder* graph, IPin* out, IBaseFilter* down);

/// Links the filters of the graph, in turn, to the filter's free input pins. If that
/// connected some and others are still free, links the filter to the filters of the graph
/// as well. 1 when an input was connected. One reference on each filter that the graph's
/// enumerator hands out is never released; this is kept.
YMDSHOW_API int LinkFilter(IGraphBuilder* graph, IBaseFilter* filter);

/// Disconnects a pin and its peer. 1 unless a disconnection failed, also when there was
/// nothing to disconnect.
YMDSHOW_API int UnlinkPin(IGraphBuilder* graph, IPin* pin);

/// UnlinkPin on every pin of the filter. The first failure ends it with 0 and leaves the
/// rest connected; 0 also when the pins cannot be enumerated.
YMDSHOW_API int UnlinkFilter(IGraphBuilder* graph, IBaseFilter* filter);

/// Undoes every connection of the graph; always 1, but 0 for a null graph or when memory
/// runs out.
YMDSHOW_API int UnlinkGraphBuilder(IGraphBuilder* graph);

/// Takes the filter out of the graph's filter cache, adds it to the graph when it is in
/// none, then unlinks and renders each of its output pins. 1 when at least one was rendered.
YMDSHOW_API int RenderFilter(IGraphBuilder* graph, IBaseFilter* filter);

/// Links each free input pin of `render` to the first free output pin downstream of
/// `source` that can feed it. 1 when at least one was linked. The counters (each may be
/// null) receive the number of links, and how many of them carry video, audio and text.
YMDSHOW_API int TryLinkRenderToFilter(IGraphBuilder* graph, IBaseFilter* render,
                                      IBaseFilter* source, unsigned int* linked,
                                      unsigned int* video, unsigned int* audio, unsigned int* text);

/// Brings `source` and `renders` into the graph and links their free input pins with free
/// output pins downstream of `source`, which is searched from the top after each link. Null
/// members of `renders` are skipped. Answers 1 once started, whatever was linked: judge by
/// the counters (each may be null). 0, with the counters untouched, for a null graph or
/// source, when `renders` is empty, or when memory runs out.
YMDSHOW_API int TryRenderSource(IGraphBuilder* graph, IBaseFilter* source,
                                std::vector<IBaseFilter*>& renders, unsigned int* video,
                                unsigned int* audio, unsigned int* text);

/// Counts the renderers downstream of `source` by what feeds them, in the counters (each may
/// be null). A renderer that two paths lead to counts twice; `source` itself never counts.
/// The graph is not used but must not be null.
YMDSHOW_API int GetLinkedTrackNum(IGraphBuilder* graph, IBaseFilter* source, unsigned int* video,
                                  unsigned int* audio, unsigned int* text);

/// Hands a file to a source filter. 1 when the filter has IFileSourceFilter and accepts the
/// path; 0 otherwise, also for a null filter or an empty path.
YMDSHOW_API int TrySourceFilter(const std::string& path, IBaseFilter* filter);
YMDSHOW_API int TrySourceFilter(const std::wstring& path, IBaseFilter* filter);

// --- Creation and registration --------------------------------------------------

/// Creates a registered filter. `*filter` is null on failure, else the caller releases it.
YMDSHOW_API void GetFilterByCLSID(const GUID& clsid, IBaseFilter** filter);

/// Creates the first member of a device category that has the CLSID. `*filter` as above.
YMDSHOW_API void GetFilterByCLSID(const GUID& category, const GUID& clsid, IBaseFilter** filter);

/// Creates the first member of a device category whose friendly name is `name`, letter case
/// included. `*filter` as above, but it is left untouched when `name` is null.
YMDSHOW_API void GetFilterByName(const GUID& category, wchar_t* name, IBaseFilter** filter);

/// The server file of a CLSID, from the registry, in the system's ANSI code page. False when
/// there is none, or when its name needs more than 260 bytes; `path` is then empty.
YMDSHOW_API bool FindFileNameFromCLSID(const GUID& clsid, std::string& path);

/// The same for a CLSID in registry form, with braces; on failure `path` is left as it is.
YMDSHOW_API bool FindFileNameFromCLSID(const std::string& clsid, std::string& path);

/// Loads a DLL (path in the system's ANSI code page), calls its DllRegisterServer or
/// DllUnregisterServer if it has one, and unloads it. False only when `path` is null or the
/// DLL cannot be loaded: what the entry point answered is not told.
YMDSHOW_API bool RegisterServer(const char* path);
YMDSHOW_API bool UnregisterServer(const char* path);

/// Adds a filter to a graph; with a null `name` the graph chooses one. 1 on success; 0
/// otherwise, also for a null graph or filter. The graph keeps its own reference.
YMDSHOW_API int AddFilterToGraphBuilder(IGraphBuilder* graph, IBaseFilter* filter,
                                        const wchar_t* name);

/// Puts a filter into the graph's filter cache, which keeps a reference. 1 on success; 0
/// otherwise, also for a null argument.
YMDSHOW_API int AddFilterToGraphBuilderCache(IGraphConfig* config, IBaseFilter* filter);

/// Takes a filter out of a graph. 1 on success; 0 otherwise, also for a null argument.
YMDSHOW_API int RemoveFilterFromGraphBuilder(IGraphBuilder* graph, IBaseFilter* filter);

/// Takes a filter out of the graph's filter cache. References that the call adds are
/// dropped, and so is the one that the cache held; a filter that was not cached keeps its
/// count. 1 in both cases; 0 on failure and for a null argument.
YMDSHOW_API int RemoveFilterFromGraphBuilderCache(IGraphConfig* config, IBaseFilter* filter);

/// Shows the filter's property pages in a modal frame owned by `parent` (may be null) and
/// returns when the user closes it. 1 when it was shown; 0 for null, for a filter without
/// pages, or on failure; E_FAIL, non-zero, when the filter threw an exception.
YMDSHOW_API int ShowPropertyPage(IBaseFilter* filter, HWND parent);
