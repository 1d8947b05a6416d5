// The toolkit over the system's own filters and graph.
#include <windows.h>

#include <dshow.h>
#include <gtest/gtest.h>
#include <qedit.h>
#include <wrl/client.h>

#include "GraphToolkit/Attempts.h"

#include <ymdshow/GraphToolkit.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using Microsoft::WRL::ComPtr;

// Known to every system, but not to every import library.
const GUID kAsyncReader = {
    0xe436ebb5, 0x524f, 0x11ce, {0x9f, 0x53, 0x00, 0x20, 0xaf, 0x0b, 0xa7, 0x70}};
const GUID kSampleGrabber = {
    0xc1f400a0, 0x3f08, 0x11d3, {0x9f, 0x0b, 0x00, 0x60, 0x08, 0x03, 0x9e, 0x37}};
const GUID kNullRenderer = {
    0xc1f400a4, 0x3f08, 0x11d3, {0x9f, 0x0b, 0x00, 0x60, 0x08, 0x03, 0x9e, 0x37}};
struct Counts {
    unsigned int linked = 99;
    unsigned int video = 99;
    unsigned int audio = 99;
    unsigned int text = 99;
    std::vector<unsigned int> Kinds() const { return {video, audio, text}; }
};
using Kinds = std::vector<unsigned int>;

class RealFilters : public testing::Test {
protected:
    void SetUp() override {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_PPV_ARGS(m_graph.GetAddressOf())),
                  S_OK);
    }
    void TearDown() override {
        if (m_graph) {
            EXPECT_EQ(UnlinkGraphBuilder(m_graph.Get()), 1);
        }
        m_graph.Reset();
        CoUninitialize();
    }

    static ComPtr<IBaseFilter> Create(const GUID& clsid) {
        ComPtr<IBaseFilter> filter;
        GetFilterByCLSID(clsid, filter.GetAddressOf());
        EXPECT_NE(filter.Get(), nullptr);
        return filter;
    }
    ComPtr<IBaseFilter> Add(const GUID& clsid, const wchar_t* name) {
        ComPtr<IBaseFilter> filter = Create(clsid);
        EXPECT_EQ(AddFilterToGraphBuilder(m_graph.Get(), filter.Get(), name), 1);
        return filter;
    }
    static std::wstring Sample(const char* name) {
        const char* folder = std::getenv("YMD_MEDIA_DIR");
        EXPECT_NE(folder, nullptr) << "YMD_MEDIA_DIR names the folder of the media samples";
        return folder ? (std::filesystem::path(folder) / name).wstring() : std::wstring();
    }
    unsigned int FilterCount(int includeUnlinked) const {
        return FindInterfaceInGraphFilters(m_graph.Get(), IID_IBaseFilter, nullptr, 0, 0,
                                           includeUnlinked);
    }
    Kinds Tracks(const ComPtr<IBaseFilter>& source) const {
        Counts counts;
        EXPECT_EQ(GetLinkedTrackNum(m_graph.Get(), source.Get(), &counts.video, &counts.audio,
                                    &counts.text),
                  1);
        return counts.Kinds();
    }
    Kinds Link(const ComPtr<IBaseFilter>& render, const ComPtr<IBaseFilter>& source) const {
        Counts counts;
        EXPECT_EQ(TryLinkRenderToFilter(m_graph.Get(), render.Get(), source.Get(), &counts.linked,
                                        &counts.video, &counts.audio, &counts.text),
                  1);
        EXPECT_EQ(counts.linked, 1u);
        return counts.Kinds();
    }

    ComPtr<IGraphBuilder> m_graph;
};

TEST_F(RealFilters, AreFoundInTheirCategory) {
    ComPtr<IBaseFilter> filter;
    GetFilterByCLSID(CLSID_LegacyAmFilterCategory, CLSID_VideoRenderer, filter.GetAddressOf());
    ASSERT_TRUE(filter);
    GUID clsid{};
    filter->GetClassID(&clsid);
    EXPECT_EQ(clsid, CLSID_VideoRenderer);
    EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
    wchar_t name[] = L"Video Renderer"; // of more than one class
    GetFilterByName(CLSID_LegacyAmFilterCategory, name, filter.ReleaseAndGetAddressOf());
    ASSERT_TRUE(filter);
    EXPECT_EQ(CheckFilterType(filter.Get()), DSFT_RENDER);
    EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
}

TEST_F(RealFilters, RenderAnUnaddedSource) {
    const ComPtr<IBaseFilter> source = Create(kAsyncReader);
    HRESULT why = S_OK;
    // Without a file it has no pins. It is in the graph from here on.
    EXPECT_EQ(ymdshow::toolkit::RenderFilter(m_graph.Get(), source.Get(), &why), 0);
    EXPECT_EQ(why, E_FAIL);
    EXPECT_EQ(FilterCount(1), 1u);

    EXPECT_EQ(ymdshow::toolkit::LoadSourceFile(Sample("none.wav"), source.Get()),
              HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    ASSERT_EQ(TrySourceFilter(Sample("clip.wav"), source.Get()), 1);
    ASSERT_EQ(ymdshow::toolkit::RenderFilter(m_graph.Get(), source.Get(), &why), 1);
    EXPECT_EQ(why, S_OK);
    EXPECT_GE(FilterCount(1), 3u);
    EXPECT_EQ(FilterCount(0), FilterCount(1));
    EXPECT_EQ(Tracks(source), (Kinds{0, 1, 0}));
    ComPtr<IPin> unlinked;
    GetFirstUnlinkedOutputPinFromFilter(source.Get(), unlinked.GetAddressOf());
    EXPECT_FALSE(unlinked);

    std::vector<void*> audio(FilterCount(1));
    EXPECT_EQ(FindInterfaceInGraphFilters(m_graph.Get(), IID_IBasicAudio, audio.data(),
                                          static_cast<unsigned int>(audio.size()), 0, 0),
              1u);
    ASSERT_NE(audio[0], nullptr);
    static_cast<IUnknown*>(audio[0])->Release();

    EXPECT_EQ(UnlinkGraphBuilder(m_graph.Get()), 1);
    EXPECT_EQ(FilterCount(0), 0u);
    GetFirstUnlinkedOutputPinFromFilter(source.Get(), unlinked.GetAddressOf());
    EXPECT_TRUE(unlinked);
}

TEST_F(RealFilters, RenderTheSampleToGivenRenderers) {
    const ComPtr<IBaseFilter> source = Create(kAsyncReader);
    ASSERT_EQ(TrySourceFilter(Sample(TOOLKIT_SAMPLE), source.Get()), 1);
    const ComPtr<IBaseFilter> video = Create(CLSID_VideoRenderer);
    const ComPtr<IBaseFilter> sound = Create(CLSID_DSoundRender);
    std::vector<IBaseFilter*> renders{video.Get(), nullptr, sound.Get()};
    // The second time everything wanted is linked already.
    for (const Kinds& kinds : {Kinds{1, 1, 0}, Kinds{0, 0, 0}}) {
        Counts counts;
        ASSERT_EQ(TryRenderSource(m_graph.Get(), source.Get(), renders, &counts.video,
                                  &counts.audio, &counts.text),
                  1);
        EXPECT_EQ(counts.Kinds(), kinds);
        EXPECT_EQ(IsFilterLinked(video.Get()), 1);
        EXPECT_EQ(IsFilterLinked(sound.Get()), 1);
    }
    EXPECT_EQ(Tracks(source), (Kinds{1, 1, 0}));
    // Cut the sound, and link it again to the pin that is now free.
    EXPECT_EQ(UnlinkFilter(m_graph.Get(), sound.Get()), 1);
    EXPECT_EQ(Link(sound, source), (Kinds{0, 1, 0}));
}

TEST_F(RealFilters, LinkThroughATee) {
    const ComPtr<IBaseFilter> source = Add(kAsyncReader, L"source");
    ASSERT_EQ(TrySourceFilter(Sample(TOOLKIT_SAMPLE), source.Get()), 1);
    const ComPtr<IBaseFilter> tee = Add(CLSID_SmartTee, L"tee");
    const ComPtr<IBaseFilter> grabber = Add(kSampleGrabber, L"grabber");
    ComPtr<ISampleGrabber> settings;
    ASSERT_EQ(grabber.As(&settings), S_OK);
    AM_MEDIA_TYPE onlyVideo{};
    onlyVideo.majortype = MEDIATYPE_Video;
    ASSERT_EQ(settings->SetMediaType(&onlyVideo), S_OK);
    // Brings in the splitter; its free pins stay when the grabber is cut off again.
    ASSERT_EQ(LinkFilter(m_graph.Get(), source.Get(), grabber.Get()), 1);
    EXPECT_EQ(LinkFilter(m_graph.Get(), source.Get(), grabber.Get()), 0); // nothing is free
    EXPECT_EQ(UnlinkFilter(m_graph.Get(), grabber.Get()), 1);
    std::vector<IPin*> streams;
    GetUnlinkedOutputPinsFromFilter(source.Get(), &streams);
    ASSERT_GE(streams.size(), 2u);
    int videoStreams = 0;
    for (IPin* stream : streams) {
        if (IsVideoPin(stream)) {
            ++videoStreams;
            EXPECT_EQ(IsAudioPin(stream), 0);
            EXPECT_EQ(GetPinMediaType(stream), DSPMT_VIDEO);
            EXPECT_EQ(LinkFilter(m_graph.Get(), stream, tee.Get()), 1);
        }
        stream->Release();
    }
    ASSERT_EQ(videoStreams, 1);

    const ComPtr<IBaseFilter> first = Add(kNullRenderer, L"first");
    const ComPtr<IBaseFilter> second = Add(kNullRenderer, L"second");
    std::vector<IPin*> outputs;
    GetUnlinkedPins(tee.Get(), nullptr, &outputs);
    ASSERT_EQ(outputs.size(), 2u);
    EXPECT_EQ(LinkFilter(m_graph.Get(), outputs[0], first.Get()), 1);
    EXPECT_EQ(LinkFilter(m_graph.Get(), outputs[1], second.Get()), 1);
    EXPECT_EQ(GetPinMediaType(outputs[1]), DSPMT_VIDEO);
    EXPECT_EQ(UnlinkPin(m_graph.Get(), outputs[1]), 1);
    EXPECT_EQ(IsFilterLinked(second.Get()), 0);

    // The second renderer finds the free pin of the tee behind the others on its own.
    EXPECT_EQ(Link(second, tee), (Kinds{1, 0, 0}));
    EXPECT_EQ(IsPinLinked(outputs[1]), 1);
    for (IPin* pin : outputs) {
        pin->Release();
    }
    EXPECT_EQ(UnlinkFilter(m_graph.Get(), tee.Get()), 1);
    EXPECT_EQ(IsFilterLinked(first.Get()), 0);
    EXPECT_EQ(RemoveFilterFromGraphBuilder(m_graph.Get(), tee.Get()), 1);
}

TEST_F(RealFilters, LinkTheirInputsToTheGraph) {
    const ComPtr<IBaseFilter> source = Add(kAsyncReader, L"source");
    ASSERT_EQ(TrySourceFilter(Sample("clip.wav"), source.Get()), 1);
    const ComPtr<IBaseFilter> sound = Add(CLSID_DSoundRender, L"sound");
    EXPECT_EQ(LinkFilter(m_graph.Get(), sound.Get()), 1);
    EXPECT_EQ(IsFilterLinked(sound.Get()), 1);
    EXPECT_EQ(LinkFilter(m_graph.Get(), sound.Get()), 0); // no input is free any more
}

TEST_F(RealFilters, ComeFromAModuleWithoutRegistration) {
    using ymdshow::toolkit::CreateInstanceFromModule;
    HMODULE quartz = LoadLibraryA("quartz.dll");
    ASSERT_NE(quartz, nullptr);
    const struct {
        HMODULE module;
        GUID clsid;
        IID iid;
        HRESULT result;
    } cases[] = {
        {quartz, CLSID_VideoRenderer, IID_IBaseFilter, S_OK},
        {quartz, kAsyncReader, IID_IGraphBuilder, E_NOINTERFACE},
        {quartz, kNullRenderer, IID_IBaseFilter, CLASS_E_CLASSNOTAVAILABLE},
        {GetModuleHandleA("kernel32.dll"), CLSID_VideoRenderer, IID_IBaseFilter, E_FAIL},
        {nullptr, CLSID_VideoRenderer, IID_IBaseFilter, E_FAIL},
    };
    for (const auto& test : cases) {
        void* made = this;
        EXPECT_EQ(CreateInstanceFromModule(test.module, test.clsid, test.iid, &made), test.result);
        ASSERT_EQ(made != nullptr, test.result == S_OK);
        if (made) {
            EXPECT_EQ(CheckFilterType(static_cast<IBaseFilter*>(made)), DSFT_RENDER);
            EXPECT_EQ(static_cast<IBaseFilter*>(made)->Release(), 0u);
        }
    }
    EXPECT_EQ(CreateInstanceFromModule(quartz, CLSID_VideoRenderer, IID_IBaseFilter, nullptr),
              E_FAIL);
    FreeLibrary(quartz);
}

} // namespace
