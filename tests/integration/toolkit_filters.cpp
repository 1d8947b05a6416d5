// The toolkit over the system's own filters and graph.
#include <windows.h>

#include <dmodshow.h>
#include <dshow.h>
#include <gtest/gtest.h>
#include <qedit.h>
#include <wrl/client.h>

#include "GraphToolkit/Attempts.h"

#include <ymdshow/GraphToolkit.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
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
const GUID kDmoWrapper = {
    0x94297043, 0xbd82, 0x4dfd, {0xb0, 0xde, 0x81, 0x77, 0x73, 0x9c, 0x6d, 0x20}};
const GUID kMp3DecoderDmo = {
    0xbbeea841, 0x0a63, 0x4f52, {0xa7, 0xab, 0xa9, 0xb3, 0xa8, 0x4e, 0xd3, 0x8a}};
const GUID kAudioDecoderDmos = {
    0x57f2db8b, 0xe6bb, 0x4513, {0x9d, 0x43, 0xdc, 0xd2, 0xa6, 0x59, 0x31, 0x25}};

struct Counts {
    unsigned int linked = 99;
    unsigned int video = 99;
    unsigned int audio = 99;
    unsigned int text = 99;
};

class RealFilters : public testing::Test {
protected:
    void SetUp() override {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                                   IID_PPV_ARGS(m_graph.GetAddressOf())),
                  S_OK);
        m_folder = std::filesystem::temp_directory_path() / "ymd_toolkit";
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override {
        if (m_graph) {
            EXPECT_EQ(UnlinkGraphBuilder(m_graph.Get()), 1);
        }
        m_graph.Reset();
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
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

    // A second of silence.
    std::wstring WaveFile() const {
        const std::filesystem::path path = m_folder / L"静音.wav";
        std::ofstream out(path, std::ios::binary);
        const auto put = [&out](auto value) {
            out.write(reinterpret_cast<const char*>(&value), sizeof value);
        };
        const DWORD bytes = 44100 * 2;
        out << "RIFF";
        put(DWORD{bytes + 36});
        out << "WAVEfmt ";
        put(DWORD{16});
        put(WORD{1});
        put(WORD{1});
        put(DWORD{44100});
        put(DWORD{bytes});
        put(WORD{2});
        put(WORD{16});
        out << "data";
        put(bytes);
        out << std::string(bytes, '\0');
        return path.wstring();
    }
    static std::wstring Sample(const char* name) {
        const char* folder = std::getenv("YMD_MEDIA_DIR");
        EXPECT_NE(folder, nullptr) << "YMD_MEDIA_DIR names the folder of the media samples";
        return folder ? (std::filesystem::path(folder) / name).wstring() : std::wstring();
    }

    unsigned int FilterCount() const {
        return FindInterfaceInGraphFilters(m_graph.Get(), IID_IBaseFilter, nullptr, 0, 0, 1);
    }
    unsigned int LinkedFilterCount() const {
        return FindInterfaceInGraphFilters(m_graph.Get(), IID_IBaseFilter, nullptr, 0, 0, 0);
    }

    ComPtr<IGraphBuilder> m_graph;
    std::filesystem::path m_folder;
};

struct Role {
    const char* name;
    GUID clsid;
    DSFilterType type;
    int inputs;
    int outputs;
    int unlinkedInputs;
};

TEST_F(RealFilters, HaveTheRolesOfTheirPins) {
    const Role roles[] = {
        {"file source without a file", kAsyncReader, DSFT_SOURCE, 0, 0, 0},
        {"sample grabber", kSampleGrabber, DSFT_TRANSFORM, 1, 1, 1},
        {"null renderer", kNullRenderer, DSFT_RENDER, 1, 0, 1},
        {"video renderer", CLSID_VideoRenderer, DSFT_RENDER, 1, 0, 1},
        {"sound renderer", CLSID_DSoundRender, DSFT_RENDER, 1, 0, 1},
        {"smart tee", CLSID_SmartTee, DSFT_TRANSFORM, 1, 2, 1},
        {"DMO wrapper without a DMO", kDmoWrapper, DSFT_SOURCE, 0, 0, 0},
    };
    for (const Role& role : roles) {
        SCOPED_TRACE(role.name);
        const ComPtr<IBaseFilter> filter = Create(role.clsid);
        ASSERT_TRUE(filter);
        EXPECT_EQ(CheckFilterType(filter.Get()), role.type);
        int inputs = -1;
        int outputs = -1;
        int unlinked = -1;
        int reserved = -1;
        EXPECT_EQ(CountFilterPins(filter.Get(), inputs, outputs, unlinked, reserved),
                  role.inputs + role.outputs);
        EXPECT_EQ(inputs, role.inputs);
        EXPECT_EQ(outputs, role.outputs);
        EXPECT_EQ(unlinked, role.inputs + role.outputs);
        EXPECT_EQ(reserved, 0);
        EXPECT_EQ(GetUnlinkedInputPinNum(filter.Get()), role.unlinkedInputs);
        EXPECT_EQ(GetUnlinkedOutputPinNum(filter.Get()), role.unlinkedInputs);
        EXPECT_EQ(IsFilterLinked(filter.Get()), 0);
        EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);
    }
}

TEST_F(RealFilters, DmoWrapperBecomesATransform) {
    const ComPtr<IBaseFilter> filter = Create(kDmoWrapper);
    ComPtr<IDMOWrapperFilter> wrapper;
    ASSERT_EQ(filter.As(&wrapper), S_OK);
    ASSERT_EQ(wrapper->Init(kMp3DecoderDmo, kAudioDecoderDmos), S_OK);
    EXPECT_EQ(CheckFilterType(filter.Get()), DSFT_TRANSFORM);
    IPin* pins[2] = {};
    int count = 0;
    GetFilterPins(filter.Get(), PINDIR_INPUT, count, pins);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(IsAudioPin(pins[0]), 1);
    EXPECT_EQ(IsVideoPin(pins[0]), 0);
    EXPECT_EQ(GetPinMediaType(pins[0]), DSPMT_AUDIO);
    pins[0]->Release();
}

TEST_F(RealFilters, TakeAFileOnceAndSayWhyNot) {
    using ymdshow::toolkit::LoadSourceFile;
    const ComPtr<IBaseFilter> source = Create(kAsyncReader);
    EXPECT_EQ(TrySourceFilter(std::wstring(), source.Get()), 0);
    EXPECT_EQ(TrySourceFilter((m_folder / L"none.wav").wstring(), source.Get()), 0);
    EXPECT_EQ(LoadSourceFile((m_folder / L"none.wav").wstring(), source.Get()),
              HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(TrySourceFilter(WaveFile(), source.Get()), 1);
    EXPECT_EQ(CheckFilterType(source.Get()), DSFT_SOURCE);

    // The file's name in code page 936.
    const ComPtr<IBaseFilter> other = Create(kAsyncReader);
    EXPECT_EQ(TrySourceFilter(m_folder.string() + "\\\xBE\xB2\xD2\xF4.wav", other.Get()), 1);

    const ComPtr<IBaseFilter> renderer = Create(kNullRenderer);
    EXPECT_EQ(TrySourceFilter(WaveFile(), renderer.Get()), 0);
    EXPECT_EQ(LoadSourceFile(WaveFile(), renderer.Get()), E_NOINTERFACE);
}

TEST_F(RealFilters, RenderAnUnaddedSource) {
    const ComPtr<IBaseFilter> source = Create(kAsyncReader);
    HRESULT why = S_OK;
    // Without a file it has no pins. It is in the graph from here on.
    EXPECT_EQ(ymdshow::toolkit::RenderFilter(m_graph.Get(), source.Get(), &why), 0);
    EXPECT_EQ(why, E_FAIL);
    EXPECT_EQ(FilterCount(), 1u);

    ASSERT_EQ(TrySourceFilter(WaveFile(), source.Get()), 1);
    ASSERT_EQ(ymdshow::toolkit::RenderFilter(m_graph.Get(), source.Get(), &why), 1);
    EXPECT_EQ(why, S_OK);
    EXPECT_GE(FilterCount(), 3u);
    EXPECT_EQ(LinkedFilterCount(), FilterCount());

    Counts counts;
    EXPECT_EQ(
        GetLinkedTrackNum(m_graph.Get(), source.Get(), &counts.video, &counts.audio, &counts.text),
        1);
    EXPECT_EQ(counts.audio, 1u);
    EXPECT_EQ(counts.video, 0u);
    EXPECT_EQ(counts.text, 0u);

    ComPtr<IPin> unlinked;
    GetFirstUnlinkedOutputPinFromFilter(source.Get(), unlinked.GetAddressOf());
    EXPECT_FALSE(unlinked);

    std::vector<void*> audio(FilterCount());
    EXPECT_EQ(FindInterfaceInGraphFilters(m_graph.Get(), IID_IBasicAudio, audio.data(),
                                          static_cast<unsigned int>(audio.size()), 0, 0),
              1u);
    ASSERT_NE(audio[0], nullptr);
    static_cast<IUnknown*>(audio[0])->Release();

    EXPECT_EQ(UnlinkGraphBuilder(m_graph.Get()), 1);
    EXPECT_EQ(LinkedFilterCount(), 0u);
    GetFirstUnlinkedOutputPinFromFilter(source.Get(), unlinked.GetAddressOf());
    EXPECT_TRUE(unlinked);
}

TEST_F(RealFilters, RenderTheSampleToGivenRenderers) {
    const ComPtr<IBaseFilter> source = Create(kAsyncReader);
    ASSERT_EQ(TrySourceFilter(Sample(TOOLKIT_SAMPLE), source.Get()), 1);
    const ComPtr<IBaseFilter> video = Create(CLSID_VideoRenderer);
    const ComPtr<IBaseFilter> sound = Create(CLSID_DSoundRender);
    std::vector<IBaseFilter*> renders{video.Get(), nullptr, sound.Get()};
    Counts counts;
    ASSERT_EQ(TryRenderSource(m_graph.Get(), source.Get(), renders, &counts.video, &counts.audio,
                              &counts.text),
              1);
    EXPECT_EQ(counts.video, 1u);
    EXPECT_EQ(counts.audio, 1u);
    EXPECT_EQ(counts.text, 0u);
    EXPECT_EQ(IsFilterLinked(video.Get()), 1);
    EXPECT_EQ(IsFilterLinked(sound.Get()), 1);
    Counts reached;
    EXPECT_EQ(GetLinkedTrackNum(m_graph.Get(), source.Get(), &reached.video, &reached.audio,
                                &reached.text),
              1);
    EXPECT_EQ(reached.video, 1u);
    EXPECT_EQ(reached.audio, 1u);

    // Everything wanted is linked already.
    EXPECT_EQ(TryRenderSource(m_graph.Get(), source.Get(), renders, &counts.video, &counts.audio,
                              &counts.text),
              1);
    EXPECT_EQ(counts.video + counts.audio + counts.text, 0u);

    // Cut the sound, and link it again to the pin that is now free.
    EXPECT_EQ(UnlinkFilter(m_graph.Get(), sound.Get()), 1);
    EXPECT_EQ(TryLinkRenderToFilter(m_graph.Get(), sound.Get(), source.Get(), &counts.linked,
                                    &counts.video, &counts.audio, &counts.text),
              1);
    EXPECT_EQ(counts.linked, 1u);
    EXPECT_EQ(counts.video, 0u);
    EXPECT_EQ(counts.audio, 1u);
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
    EXPECT_EQ(UnlinkPin(m_graph.Get(), outputs[1]), 1);
    EXPECT_EQ(IsFilterLinked(second.Get()), 0);

    // The second renderer finds the free pin of the tee behind the others on its own.
    Counts counts;
    EXPECT_EQ(TryLinkRenderToFilter(m_graph.Get(), second.Get(), tee.Get(), &counts.linked,
                                    &counts.video, &counts.audio, &counts.text),
              1);
    EXPECT_EQ(counts.video, 1u);
    EXPECT_EQ(IsPinLinked(outputs[1]), 1);
    for (IPin* pin : outputs) {
        pin->Release();
    }
    EXPECT_EQ(UnlinkFilter(m_graph.Get(), tee.Get()), 1);
    EXPECT_EQ(IsFilterLinked(first.Get()), 0);
    EXPECT_EQ(RemoveFilterFromGraphBuilder(m_graph.Get(), tee.Get()), 1);
    EXPECT_EQ(RemoveFilterFromGraphBuilder(m_graph.Get(), tee.Get()), 0);
}

TEST_F(RealFilters, LinkTheirInputsToTheGraph) {
    const ComPtr<IBaseFilter> source = Add(kAsyncReader, L"source");
    ASSERT_EQ(TrySourceFilter(WaveFile(), source.Get()), 1);
    const ComPtr<IBaseFilter> sound = Add(CLSID_DSoundRender, L"sound");
    EXPECT_EQ(LinkFilter(m_graph.Get(), sound.Get()), 1);
    EXPECT_EQ(IsFilterLinked(sound.Get()), 1);
    EXPECT_EQ(LinkFilter(m_graph.Get(), sound.Get()), 0); // no input is free any more
}

// ---- creation -----------------------------------------------------------------------------

const GUID kCategory = {
    0xb5f0c1a2, 0x6d0e, 0x4c3b, {0x9e, 0x43, 0x5f, 0x1d, 0x2a, 0x7c, 0x90, 0x02}};
const GUID kEmptyCategory = {
    0xb5f0c1a2, 0x6d0e, 0x4c3b, {0x9e, 0x43, 0x5f, 0x1d, 0x2a, 0x7c, 0x90, 0x03}};

// A category with members, as the system's enumerator finds it in the registry.
class Category : public RealFilters {
protected:
    void SetUp() override {
        RealFilters::SetUp();
        Remove();
    }
    void TearDown() override {
        Remove();
        RealFilters::TearDown();
    }
    static std::wstring Text(const GUID& guid) {
        wchar_t text[39] = {};
        StringFromGUID2(guid, text, 39);
        return text;
    }
    static std::wstring Root() { return L"CLSID\\" + Text(kCategory); }
    static void Remove() {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, Root().c_str());
        RegDeleteKeyW(HKEY_CLASSES_ROOT, Root().c_str());
    }
    static void AddMember(const wchar_t* instance, const wchar_t* clsid, const wchar_t* name) {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, (Root() + L"\\Instance\\" + instance).c_str(),
                                  0, nullptr, 0, KEY_WRITE, nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        for (const auto& [value, text] : {std::pair(L"CLSID", clsid), {L"FriendlyName", name}}) {
            if (text) {
                RegSetValueExW(key, value, 0, REG_SZ, reinterpret_cast<const BYTE*>(text),
                               static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t)));
            }
        }
        RegCloseKey(key);
    }
    static GUID ClassOf(IBaseFilter* filter) {
        GUID clsid{};
        if (filter) {
            filter->GetClassID(&clsid);
        }
        return clsid;
    }
};

TEST_F(Category, FindsTheFirstMemberThatMatches) {
    AddMember(L"a without a class", nullptr, L"Nameless");
    AddMember(L"b with junk", L"no class", L"Junk");
    AddMember(L"c missing", L"{B5F0C1A2-6D0E-4C3B-9E43-5F1D2A7C90FF}", L"Unregistered");
    AddMember(L"d null", Text(kNullRenderer).c_str(), L"Renderer");
    AddMember(L"e grabber", Text(kSampleGrabber).c_str(), L"Renderer");
    AddMember(L"f null again", Text(kNullRenderer).c_str(), nullptr);

    ComPtr<IBaseFilter> filter;
    GetFilterByCLSID(kCategory, kSampleGrabber, filter.GetAddressOf());
    EXPECT_EQ(ClassOf(filter.Get()), kSampleGrabber);
    GetFilterByCLSID(kCategory, kNullRenderer, filter.ReleaseAndGetAddressOf());
    EXPECT_EQ(ClassOf(filter.Get()), kNullRenderer);
    EXPECT_EQ(GetIUnknownRef(filter.Get()), 1);

    wchar_t name[] = L"Renderer";
    GetFilterByName(kCategory, name, filter.ReleaseAndGetAddressOf());
    EXPECT_EQ(ClassOf(filter.Get()), kNullRenderer);

    // The class of this member cannot be made.
    const GUID missing = {
        0xb5f0c1a2, 0x6d0e, 0x4c3b, {0x9e, 0x43, 0x5f, 0x1d, 0x2a, 0x7c, 0x90, 0xff}};
    GetFilterByCLSID(kCategory, missing, filter.ReleaseAndGetAddressOf());
    EXPECT_FALSE(filter);
    wchar_t unregistered[] = L"Unregistered";
    GetFilterByName(kCategory, unregistered, filter.ReleaseAndGetAddressOf());
    EXPECT_FALSE(filter);
}

TEST_F(Category, FindsNothingElse) {
    AddMember(L"only", Text(kNullRenderer).c_str(), L"Renderer");
    IBaseFilter* const stale = reinterpret_cast<IBaseFilter*>(0x10);
    for (const wchar_t* text : {L"renderer", L"RENDERER", L"Rendere", L"Renderer ", L""}) {
        std::wstring name(text);
        IBaseFilter* filter = stale;
        GetFilterByName(kCategory, name.data(), &filter);
        EXPECT_EQ(filter, nullptr) << name.size();
    }
    IBaseFilter* filter = stale;
    GetFilterByName(kCategory, nullptr, &filter);
    EXPECT_EQ(filter, stale); // untouched, unlike all others
    GetFilterByCLSID(kCategory, kSampleGrabber, &filter);
    EXPECT_EQ(filter, nullptr);
    filter = stale;
    GetFilterByCLSID(kEmptyCategory, kNullRenderer, &filter);
    EXPECT_EQ(filter, nullptr);
    filter = stale;
    GetFilterByCLSID(kEmptyCategory, &filter); // no class
    EXPECT_EQ(filter, nullptr);
    wchar_t name[] = L"Renderer";
    GetFilterByName(kCategory, name, nullptr);
    GetFilterByCLSID(kCategory, kNullRenderer, nullptr);
    GetFilterByCLSID(kNullRenderer, nullptr);
}

TEST_F(Category, OfTheSystemHasItsMembers) {
    ComPtr<IBaseFilter> filter;
    GetFilterByCLSID(CLSID_LegacyAmFilterCategory, CLSID_VideoRenderer, filter.GetAddressOf());
    EXPECT_EQ(ClassOf(filter.Get()), CLSID_VideoRenderer);
}

// ---- objects of a module that is not registered --------------------------------------------

TEST_F(RealFilters, ComeFromAModuleWithoutRegistration) {
    using ymdshow::toolkit::CreateInstanceFromModule;
    HMODULE quartz = LoadLibraryA("quartz.dll");
    ASSERT_NE(quartz, nullptr);
    ComPtr<IBaseFilter> filter;
    void** out = reinterpret_cast<void**>(filter.GetAddressOf());
    EXPECT_EQ(CreateInstanceFromModule(quartz, CLSID_VideoRenderer, IID_IBaseFilter, out), S_OK);
    EXPECT_EQ(CheckFilterType(filter.Get()), DSFT_RENDER);
    filter.Reset();

    void* stale = this;
    EXPECT_EQ(CreateInstanceFromModule(quartz, kCategory, IID_IBaseFilter, &stale),
              CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(stale, nullptr);
    EXPECT_EQ(CreateInstanceFromModule(quartz, CLSID_VideoRenderer, IID_IGraphBuilder, &stale),
              E_NOINTERFACE);
    EXPECT_EQ(CreateInstanceFromModule(quartz, CLSID_VideoRenderer, IID_IBaseFilter, nullptr),
              E_FAIL);
    EXPECT_EQ(CreateInstanceFromModule(GetModuleHandleA("kernel32.dll"), CLSID_VideoRenderer,
                                       IID_IBaseFilter, &stale),
              E_FAIL);
    EXPECT_EQ(CreateInstanceFromModule(nullptr, CLSID_VideoRenderer, IID_IBaseFilter, &stale),
              E_FAIL);
    FreeLibrary(quartz);
}

} // namespace
