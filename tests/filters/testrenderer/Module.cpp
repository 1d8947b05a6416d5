#include "BaseClasses/FilterModule.h"
#include "Clsids.h"
#include "testrenderer/TestRenderer.h"

namespace {

using ymfilters::TestRenderer;

template <const CLSID& kClsid, const GUID& kMajorType>
HRESULT CreateRenderer(IUnknown*, REFIID iid, void** out) {
    auto* const renderer = new TestRenderer(kClsid, kMajorType);
    const HRESULT hr = renderer->QueryInterface(iid, out);
    renderer->Release();
    return hr;
}

constexpr ymdshow::ClassObject kClasses[] = {
    {&ymfilters::CLSID_TestRenderer, L"Test Renderer",
     &CreateRenderer<ymfilters::CLSID_TestRenderer, GUID_NULL>},
    {&ymfilters::CLSID_TestVideoRenderer, L"Test Video Renderer",
     &CreateRenderer<ymfilters::CLSID_TestVideoRenderer, MEDIATYPE_Video>},
    {&ymfilters::CLSID_TestAudioRenderer, L"Test Audio Renderer",
     &CreateRenderer<ymfilters::CLSID_TestAudioRenderer, MEDIATYPE_Audio>},
};

} // namespace

YMD_FILTER_MODULE(kClasses)
