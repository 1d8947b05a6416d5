// The test source by itself: names, pins, stream selection; and the picture's frame number.
#include <cstdio>

#include "filters/FramePattern.h"
#include "integration/modules_support.h"

namespace modules {

class Source : public ModulesTest {
protected:
    static std::wstring PinNames(IBaseFilter* filter) {
        std::wstring names;
        ComPtr<IEnumPins> pins;
        EXPECT_EQ(filter->EnumPins(&pins), S_OK);
        for (ComPtr<IPin> pin; pins->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
            PIN_INFO info{};
            EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
            info.pFilter->Release();
            names += (names.empty() ? L"" : L",") + std::wstring(info.achName);
        }
        return names;
    }
    static HRESULT Load(IBaseFilter* filter, const wchar_t* name) {
        ComPtr<IFileSourceFilter> file;
        EXPECT_EQ(filter->QueryInterface(IID_PPV_ARGS(&file)), S_OK);
        return file->Load(name, nullptr);
    }
};

TEST_F(Source, NamesSayWhatItPlays) {
    struct Case {
        const wchar_t* name;
        HRESULT result;
        const wchar_t* pins;
    };
    const Case cases[] = {
        {L"test://", S_OK, L"Video,Audio"},
        {L"test://640x360@29.97/2.5s", S_OK, L"Video,Audio"},
        {L"test:///1500ms?video=0", S_OK, L"Audio"},
        {L"test://?audio=0", S_OK, L"Video"},
        {L"test://?audio=440,880,1320&channels=1&rate=48000", S_OK, L"Video,Audio,Audio 2,Audio 3"},
        {L"test://?select=440,880", S_OK, L"Video,Audio"},
        {L"C:\\any\\other\\name.avi", S_OK, L"Video,Audio"},
        {L"test://640", VFW_E_INVALID_FILE_FORMAT, L""},
        {L"test://10x10", VFW_E_INVALID_FILE_FORMAT, L""},
        {L"test://@0", VFW_E_INVALID_FILE_FORMAT, L""},
        {L"test:///10", VFW_E_INVALID_FILE_FORMAT, L""},
        {L"test:///-1s", VFW_E_INVALID_FILE_FORMAT, L""},
        {L"test://?bits=16", VFW_E_INVALID_FILE_FORMAT, L""},
        {L"test://?unknown=1", VFW_E_INVALID_FILE_FORMAT, L""},
        {L"test://?fail=80070002", HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), L""},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(testing::Message() << test.name);
        const auto source = Make(L"testsource", ymfilters::CLSID_TestSource);
        EXPECT_EQ(PinNames(source.Get()), L"") << "no pins before a name";
        EXPECT_EQ(Load(source.Get(), test.name), test.result);
        EXPECT_EQ(PinNames(source.Get()), test.pins);
        EXPECT_EQ(ReferencesOf(source.Get()), 1U);
    }
}

TEST_F(Source, AFileHoldsAName) {
    wchar_t path[MAX_PATH] = L"";
    ASSERT_NE(GetTempPathW(MAX_PATH, path), 0U);
    const std::wstring name = std::wstring(path) + L"ymd_modules_source.clip";
    std::FILE* const file = _wfopen(name.c_str(), L"wb");
    ASSERT_NE(file, nullptr);
    std::fputs("test://?audio=440,880\r\nsecond line", file);
    std::fclose(file);
    const auto source = Make(L"testsource", ymfilters::CLSID_TestSource);
    EXPECT_EQ(Load(source.Get(), name.c_str()), S_OK);
    EXPECT_EQ(PinNames(source.Get()), L"Video,Audio,Audio 2");
    DeleteFileW(name.c_str());
}

TEST_F(Source, IsLoadedAnewOnlyWithoutConnections) {
    const auto source = AddSource(L"test://320x180");
    const auto video = AddVideoRenderer();
    ComPtr<IEnumPins> old;
    ASSERT_EQ(source->EnumPins(&old), S_OK);
    Connect(source.Get(), L"Video", video.Get());
    EXPECT_EQ(Load(source.Get(), L"test://320x180"), S_OK) << "the same name again";
    EXPECT_EQ(Load(source.Get(), L"test://640x360"), VFW_E_ALREADY_CONNECTED);
    ASSERT_EQ(m_graph->Disconnect(FindPin(source.Get(), L"Video").Get()), S_OK);
    ASSERT_EQ(m_graph->Disconnect(FindPin(video.Get(), L"In").Get()), S_OK);
    EXPECT_EQ(Load(source.Get(), L"test://640x360"), S_OK);
    ComPtr<IPin> pin;
    EXPECT_EQ(old->Next(1, &pin, nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    Connect(source.Get(), L"Video", video.Get());
    Pause();
    ASSERT_EQ(Records(video.Get(), TestRecord::Sample).size(), 1U);
    EXPECT_EQ(Records(video.Get(), TestRecord::Sample)[0].bytes, 640 * 360 * 4);
}

TEST_F(Source, StreamsAreSelectedWhileItPlays) {
    const auto source = AddSource(L"test://320x180@25/20s?select=440,1000,2000&channels=1");
    const auto audio = AddAudioRenderer();
    Connect(source.Get(), L"Audio", audio.Get());
    ComPtr<IAMStreamSelect> select;
    ASSERT_EQ(source.As(&select), S_OK);
    DWORD count = 0;
    ASSERT_EQ(select->Count(&count), S_OK);
    ASSERT_EQ(count, 4U);
    const auto streams = [&] {
        std::wstring text;
        for (DWORD i = 0; i < count; ++i) {
            AM_MEDIA_TYPE* type = nullptr;
            DWORD flags = 0;
            DWORD group = 0;
            LPWSTR name = nullptr;
            EXPECT_EQ(select->Info(static_cast<LONG>(i), &type, &flags, nullptr, &group, &name,
                                   nullptr, nullptr),
                      S_OK);
            text += std::wstring(name) + (type->majortype == MEDIATYPE_Video ? L" V" : L" A") +
                    std::to_wstring(group) + (flags != 0 ? L"+ " : L"- ");
            CoTaskMemFree(name);
            CoTaskMemFree(type->pbFormat);
            CoTaskMemFree(type);
        }
        return text;
    };
    EXPECT_EQ(streams(), L"Picture V0+ Tone 1 A1+ Tone 2 A1- Tone 3 A1- ");
    EXPECT_EQ(select->Info(4, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              S_FALSE);
    ComPtr<ITestRecorder> recorder;
    ASSERT_EQ(audio.As(&recorder), S_OK);
    const auto heard = [&] {
        recorder->Clear();
        recorder->WaitFor(TestRecord::Sample, 20, 5000);
        return Records(audio.Get(), TestRecord::Sample).back();
    };
    SetFreeRunning();
    recorder->SetSync(TRUE);
    Run();
    EXPECT_NEAR(heard().frequency, 440, 1);
    EXPECT_EQ(select->Enable(2, AMSTREAMSELECTENABLE_ENABLE), S_OK);
    EXPECT_NEAR(heard().frequency, 1000, 1);
    EXPECT_EQ(streams(), L"Picture V0+ Tone 1 A1- Tone 2 A1+ Tone 3 A1- ");
    EXPECT_EQ(select->Enable(2, 0), S_OK);
    EXPECT_EQ(heard().peak, 0);
    EXPECT_EQ(select->Enable(3, AMSTREAMSELECTENABLE_ENABLEALL), S_OK);
    EXPECT_EQ(streams(), L"Picture V0+ Tone 1 A1+ Tone 2 A1+ Tone 3 A1+ ");
    EXPECT_GT(heard().peak, 6000);
    EXPECT_EQ(select->Enable(4, 0), E_INVALIDARG);
}

TEST(FramePattern, IsReadBackAtAnySizeScaledAndInverted) {
    for (const int bits : {24, 32}) {
        for (const auto& [width, height] :
             {std::pair{96, 32}, {321, 181}, {640, 360}, {1920, 1080}}) {
            const ymfilters::FramePainter painter(width, height, bits);
            std::vector<std::uint8_t> pixels(painter.Size());
            for (const std::uint32_t frame : {0U, 1U, 2U, 1000U, 0xfffffU}) {
                SCOPED_TRACE(testing::Message() << width << "x" << height << " " << frame);
                painter.Paint(frame, pixels.data());
                const int wanted = static_cast<int>(frame);
                EXPECT_EQ(ymfilters::ReadFrameNumber(width, height, bits, true, pixels.data()),
                          wanted);
                const std::size_t stride = ymfilters::DibStride(width, bits);
                const auto half = [&](int x, int y) { // scaled up by two and inverted
                    const std::size_t row = static_cast<std::size_t>(height - 1 - y / 2) * stride;
                    return 255 - pixels[row + static_cast<std::size_t>(x / 2 * (bits / 8))];
                };
                EXPECT_EQ(ymfilters::ReadFrameNumber(width * 2, height * 2, half), wanted);
            }
        }
    }
    const std::vector<std::uint8_t> black(320 * 180 * 4);
    EXPECT_EQ(ymfilters::ReadFrameNumber(320, 180, 32, true, black.data()), -1);
    const ymfilters::FramePainter painter(320, 180, 32);
    std::vector<std::uint8_t> pixels(painter.Size());
    painter.Paint(5, pixels.data());
    for (std::size_t y = 0; y < 180; ++y) { // one bit more: the parity tells
        for (std::size_t x = 0; x < 14 * 4; ++x) {
            pixels[y * 320 * 4 + 27 * 4 + x] = 255;
        }
    }
    EXPECT_EQ(ymfilters::ReadFrameNumber(320, 180, 32, true, pixels.data()), -1);
}

} // namespace modules
