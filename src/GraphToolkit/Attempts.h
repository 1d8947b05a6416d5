#pragma once

#include <windows.h>

#include <dshow.h>

#include <string>

// Toolkit operations that tell why they failed; the exported functions of the same purpose
// stand on them.
namespace ymdshow::toolkit {

/// ::TrySourceFilter with its reason: E_POINTER for a null filter, E_INVALIDARG for an empty
/// path, the QueryInterface failure (E_NOINTERFACE when it succeeds with nothing), or what
/// IFileSourceFilter::Load answered.
HRESULT LoadSourceFile(const std::wstring& path, IBaseFilter* filter);

/// ::RenderFilter with its reason. `*result`, when given, is S_OK when a pin rendered, else
/// the last failing HRESULT (EnumPins or Render), E_FAIL when there was no output pin,
/// E_POINTER for a null graph or filter.
int RenderFilter(IGraphBuilder* graph, IBaseFilter* filter, HRESULT* result);

/// Makes an object with the class factory of a loaded DLL, without registration. E_FAIL for
/// a null module, one without DllGetClassObject, or a null `ppv`; else what the module or
/// the factory answered. `*ppv` is cleared first and carries one reference on success.
HRESULT CreateInstanceFromModule(HMODULE module, REFCLSID clsid, REFIID iid, void** ppv);

} // namespace ymdshow::toolkit
