// Inspection over fake filters: the answers, and whose references are whose. Creation from a
// class and from the categories of fake devices.
#include "toolkit_support.h"

#include "fakes/FakeDevices.h"

#include <utility>

using namespace toolkit_test;

namespace {

class Inspection : public ToolkitTest {};

TEST_F(Inspection, PinsOfAFilter) {
    FakePin& up = Add("Up", {Out()}).OutPin();
    FakeFilter& filter = Add("F", {Out(), In(), In(), Out()});
    EXPECT_EQ(IsFilterLinked(&filter), 0);
    Join(up, filter.InPin(1));
    filter.OutPin(1).results["QueryDirection"] = E_FAIL;
    EXPECT_EQ(IsFilterLinked(&filter), 1);
    EXPECT_EQ(IsPinLinked(&filter.InPin(0)), 0);
    EXPECT_EQ(IsPinLinked(&filter.InPin(1)), 1);
    EXPECT_EQ(GetUnlinkedInputPinNum(&filter), 1);
    EXPECT_EQ(GetUnlinkedOutputPinNum(&filter), 1); // of the inputs, in spite of its name

    IPin* pins[] = {Stale<IPin>(), nullptr};
    int count = -1;
    GetFilterPins(&filter, PINDIR_INPUT, count, pins);
    ASSERT_EQ(count, 2);
    EXPECT_EQ(TakeNames({pins[0], pins[1]}), (Lines{"F.In1", "F.In2"}));
    GetFilterPins(&filter, PINDIR_OUTPUT, count, nullptr);
    EXPECT_EQ(count, 1);
    GetFilterPins(nullptr, PINDIR_OUTPUT, count, pins);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(pins[0], nullptr);

    up.AddRef();
    std::vector<IPin*> inputs{&up}; // appended to
    std::vector<IPin*> outputs;
    GetUnlinkedPins(&filter, &inputs, nullptr);
    GetUnlinkedPins(&filter, nullptr, &outputs);
    EXPECT_EQ(TakeNames(inputs), (Lines{"Up.Out1", "F.In1"}));
    EXPECT_EQ(TakeNames(outputs), (Lines{"F.Out1"}));
}

// Two references stay on each peer. A peer that comes without exactly S_OK, or S_OK without
// a peer, leaves the pin free.
TEST_F(Inspection, CountingPins) {
    const auto count = [](IBaseFilter* filter) {
        int n[4] = {-1, -1, -1, -1};
        const int total = CountFilterPins(filter, n[0], n[1], n[2], n[3]);
        return std::vector{total, n[0], n[1], n[2], n[3]};
    };
    FakePin& peer = Add("Up", {Out()}).OutPin();
    FakeFilter& filter = Add("F", {In(), Out(), In()});
    Join(peer, filter.InPin());
    filter.InPin(1).results["QueryDirection"] = E_FAIL;
    EXPECT_EQ(count(&filter), (std::vector{2, 1, 1, 1, 0}));
    for (const Answer& answer : {Do(S_FALSE), Skip(S_OK)}) {
        filter.InPin().results["ConnectedTo"] = answer;
        EXPECT_EQ(count(&filter), (std::vector{2, 1, 1, 2, 0}));
        EXPECT_EQ(GetUnlinkedInputPinNum(&filter), 1);
    }
    EXPECT_EQ(count(nullptr), (std::vector{0, 0, 0, 0, 0}));
    ledger.ExpectLeak(peer, 2 + 1); // of S_FALSE the first, which is ignored
}

// What comes with an answer other than the one that counts is released.
TEST_F(Inspection, EnumeratorsThatBendTheRules) {
    FakeFilter& filter = Add("F", {In(Audio(48000))});
    FakePin& pin = filter.InPin();
    FakeFilter& up = Add("Up", {Out()});
    Join(up.OutPin(), pin);
    for (const Answer& answer : {Do(S_FALSE), Skip(S_OK)}) { // the second without an item
        up.enumResults["Next"] = answer;
        EXPECT_EQ(IsFilterLinked(&up), 0);
    }
    filter.results["EnumPins"] = Do(E_FAIL);
    EXPECT_EQ(IsFilterLinked(&filter), 0);
    void* found = Stale<void>();
    EXPECT_EQ(FindFilterInterface(&filter, IID_IPin, &found, 1, 1), 0);

    pin.connectionType = Video(16, 16);
    EXPECT_EQ(GetPinMediaType(&pin), DSPMT_VIDEO);
    pin.results["ConnectionMediaType"] = Do(S_FALSE);
    EXPECT_EQ(GetPinMediaType(&pin), DSPMT_AUDIO);
    pin.enumResults["Next"] = Do(S_FALSE);
    EXPECT_EQ(GetPinMediaType(&pin), DSPMT_UNKNOWN);
}

TEST_F(Inspection, KindOfAPin) {
    GUID almostVideo = MEDIATYPE_Video;
    almostVideo.Data2 = 1;
    const struct {
        bool connected;
        std::vector<MediaType> types; // of the connection (the first) or preferred
        DSPinMediaType kind;
        std::pair<int, int> audioVideo;
    } cases[] = {
        {false, {}, DSPMT_UNKNOWN, {0, 0}},
        {false, {Audio(), Video()}, DSPMT_AUDIO, {1, 1}},
        {false, {Stream(), Video(), Audio()}, DSPMT_VIDEO, {1, 1}},
        {false, {Stream(), Text()}, DSPMT_TEXT, {0, 0}},
        {false, {Major(MEDIATYPE_Midi), Major(almostVideo)}, DSPMT_UNKNOWN, {0, 0}},
        {true, {Video(640, 480), Audio()}, DSPMT_VIDEO, {0, 1}},
        {true, {Audio(44100), Video()}, DSPMT_AUDIO, {1, 0}},
        {true, {Text(), Video()}, DSPMT_TEXT, {0, 0}},
        {true, {Major(MEDIATYPE_Midi), Video(), Audio()}, DSPMT_UNKNOWN, {0, 0}},
    };
    for (const auto& one : cases) {
        FakePin& pin = Add("Up", {Out()}).OutPin();
        pin.types = one.types;
        if (one.connected) {
            Join(pin, Add("Down", {In()}).InPin());
        }
        EXPECT_EQ(GetPinMediaType(&pin), one.kind) << &one - cases;
        EXPECT_EQ(std::pair(IsAudioPin(&pin), IsVideoPin(&pin)), one.audioVideo) << &one - cases;
    }
}

// The last output of a filter is explored first, and a filter on two paths is met twice.
TEST_F(Inspection, MediaTypesInWords) {
    GUID code = MEDIASUBTYPE_PCM;
    code.Data1 = MAKEFOURCC('a', 'v', 'c', '1');
    VIDEOINFOHEADER video{};
    video.bmiHeader.biWidth = 1920;
    video.bmiHeader.biHeight = -1080;
    video.AvgTimePerFrame = 333'667;
    WAVEFORMATEX wave{0x00FF, 6, 48000, 0, 1, 0, 0};
    const auto text = [](const GUID& major, const GUID& subtype, const GUID& format, auto& block,
                         ULONG size) {
        return Narrow(MediaTypeText({major, subtype, FALSE, FALSE, 0, format, nullptr, size,
                                     reinterpret_cast<BYTE*>(&block)}));
    };
    EXPECT_EQ(text(MEDIATYPE_Video, code, FORMAT_VideoInfo, video, sizeof(video)),
              "H.264 video, 1920x1080, 29.97 fps");
    EXPECT_EQ(text(MEDIATYPE_Video, code, FORMAT_VideoInfo, video, 8), "H.264 video"); // cut
    code.Data1 = 0xFF;
    EXPECT_EQ(text(MEDIATYPE_Audio, code, FORMAT_WaveFormatEx, wave, sizeof(wave)),
              "AAC audio, 48000 Hz, 5.1");
    EXPECT_EQ(text(MEDIATYPE_Stream, MEDIASUBTYPE_Avi, GUID_NULL, wave, 0), "AVI byte stream");
}

TEST_F(Inspection, FreePinsDownstream) {
    FakeFilter& source = Add("S", {Out(), Out(), Out()});
    FakeFilter& a = Add("A", {In(), Out(), Out()});
    FakeFilter& b = Add("B", {In(), Out(), Out()});
    FakeFilter& mixer = Add("M", {In(), In(), Out()});
    Join(source.OutPin(0), a.InPin());
    Join(source.OutPin(2), b.InPin());
    Join(a.OutPin(0), mixer.InPin(0));
    Join(b.OutPin(0), mixer.InPin(1));
    const auto free = [&] {
        std::vector<IPin*> pins;
        GetUnlinkedOutputPinsFromFilter(&source, &pins);
        return TakeNames(pins);
    };
    EXPECT_EQ(free(), (Lines{"S.Out2", "B.Out2", "M.Out1", "A.Out2", "M.Out1"}));
    b.InPin().results["QueryPinInfo"] = Do(E_FAIL);
    EXPECT_EQ(free(), (Lines{"S.Out2", "A.Out2", "M.Out1"}));
    b.InPin().results.Clear();
    for (FakePin* next : {&source.OutPin(1), &b.OutPin(1), &mixer.OutPin(), &a.OutPin(1)}) {
        ComPtr<IPin> first;
        GetFirstUnlinkedOutputPinFromFilter(&source, first.GetAddressOf());
        EXPECT_EQ(first.Get(), next) << next->Name();
        next->results["QueryDirection"] = E_FAIL;
    }
}

TEST_F(Inspection, InterfaceOfAFilterOrItsFirstEligiblePin) {
    FakePin& up = Add("Up", {Out()}).OutPin();
    FakeFilter& filter = Add("F", {In(), In(), Out()});
    filter.InPin(1).Expose(IID_IKsPropertySet);
    filter.OutPin(0).Expose(IID_IAMStreamConfig);
    const auto find = [&](const GUID& iid, int searchPins, int includeUnlinked) {
        void* found = Stale<void>();
        const int answer = FindFilterInterface(&filter, iid, &found, searchPins, includeUnlinked);
        return std::to_string(answer) + TakeName(found);
    };
    EXPECT_EQ(find(IID_IPin, 0, 1), "0none"); // the filter alone is asked
    EXPECT_EQ(find(IID_IPin, 1, 0), "1none"); // no pin is linked, and yet it is a yes
    EXPECT_EQ(find(IID_IPin, 1, 1), "1F.In1");
    EXPECT_EQ(find(IID_IKsPropertySet, 1, 1), "1none"); // the first pin is the only one asked
    Join(up, filter.InPin(1));
    EXPECT_EQ(find(IID_IAMStreamConfig, 1, 0), "1none");
    EXPECT_EQ(find(IID_IKsPropertySet, 1, 0), "1F.In2");
    EXPECT_EQ(find(IID_IBaseFilter, 1, 0), "1F");
    void* found = Stale<void>();
    EXPECT_EQ(FindPinInterface(&filter.OutPin(), IID_IKsPropertySet, &found), 0);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(FindPinInterface(&filter.OutPin(), IID_IAMStreamConfig, &found), 1);
    EXPECT_EQ(TakeName(found), "F.Out1");
    EXPECT_EQ(IsSupportsPropertyPage(&filter), 0);
    filter.propertyPages.present = true;
    EXPECT_EQ(IsSupportsPropertyPage(&filter), 1);
}

TEST_F(Inspection, InterfacesOfTheFiltersOfAGraph) {
    FakeFilter& b = Add("B", {In()});
    Join(Add("A", {Out()}), b);
    b.Expose(IID_IBasicAudio);
    b.InPin().Expose(IID_IKsPropertySet);
    Add("C", {In()}).Expose(IID_IBasicAudio);
    void* found[4];
    const auto find = [&](const IID& iid, unsigned int capacity, int pins, int unlinked) {
        std::fill_n(found, 4, Stale<void>());
        Lines names{std::to_string(
            FindInterfaceInGraphFilters(graph.Get(), iid, found, capacity, pins, unlinked))};
        for (void* entry : found) {
            names.push_back(entry == Stale<void>() ? "stale" : TakeName(entry));
        }
        return names;
    };
    // The graph lists the last first; the capacity bounds the clearing alone.
    EXPECT_EQ(find(IID_IBasicAudio, 1, 0, 1), (Lines{"2", "C", "B", "stale", "stale"}));
    EXPECT_EQ(find(IID_IBasicAudio, 2, 0, 0), (Lines{"1", "B", "none", "stale", "stale"}));
    // With pins every filter counts, and entries may be null.
    EXPECT_EQ(find(IID_IKsPropertySet, 4, 1, 1), (Lines{"3", "none", "none", "B.In1", "none"}));
    EXPECT_EQ(FindInterfaceInGraphFilters(graph.Get(), IID_IBasicAudio, nullptr, 1, 0, 1), 2u);
    EXPECT_EQ(FindInterfaceInGraphFilters(nullptr, IID_IBasicAudio, found, 1, 0, 1), 0u);
    EXPECT_EQ(found[0], nullptr);
}

GUID Number(unsigned long number) {
    return {number, 0x32e1, 0x4d0b, {0x8a, 1, 2, 3, 4, 5, 6, 7}};
}
const GUID kCategory = Number(100);

std::string OfClass(unsigned long number) {
    IBaseFilter* filter = Stale<IBaseFilter>();
    GetFilterByCLSID(kCategory, Number(number), &filter);
    return TakeName(filter);
}
std::string OfName(std::wstring name) {
    IBaseFilter* filter = Stale<IBaseFilter>();
    GetFilterByName(kCategory, name.data(), &filter);
    return TakeName(filter);
}

class Creation : public FakeTest {
protected:
    FakeDevices devices;
};

TEST_F(Creation, FirstReadableMemberOfTheClassOrTheName) {
    EXPECT_EQ(OfClass(1) + OfName(L"one"), "nonenone"); // the category is empty
    const std::pair<const wchar_t*, unsigned long> members[] = {
        {L"odd", 2}, {L"odd", 2}, {L"odd", 2}, {L"one", 1}, {L"two", 2}, {L"two", 3}, {L"one", 1}};
    for (int id = 1; const auto& [name, number] : members) {
        Device device{name, Number(number), [id] { return MakeFilter(std::to_string(id), {}); }};
        device.answers["BindToStorage"] = id == 1 ? E_FAIL : S_OK;
        device.answers["Read"] = id == 2 ? E_FAIL : S_OK;
        device.clsidText = id == 3 ? std::optional(L"no class") : std::nullopt;
        devices.Add(kCategory, device);
        ++id;
    }
    devices.Add(kCategory, {L"none", Number(4), nullptr}); // cannot be made
    journal.Clear();
    EXPECT_EQ(OfClass(1) + OfClass(2) + OfClass(3) + OfClass(4) + OfClass(9), "456nonenone");
    EXPECT_EQ(OfName(L"odd") + OfName(L"two") + OfName(L"one"), "354");
    EXPECT_EQ(journal.Count("devices.CreateClassEnumerator(*, 0)"), 8u);
    EXPECT_EQ(OfName(L"Two") + OfName(L"tw") + OfName(L"two "), "nonenonenone");
    devices.FailNext(E_FAIL);
    EXPECT_EQ(OfName(L"two"), "none");
    RunFaultPlan([] { OfClass(3), OfName(L"two"); }, kThrows);
}

TEST_F(Creation, OfAClass) {
    FakeFilterClass made("Made", Number(1), {});
    for (const auto& [number, name] : {std::pair(1, "Made"), {2, "none"}}) {
        IBaseFilter* filter = Stale<IBaseFilter>();
        GetFilterByCLSID(Number(static_cast<unsigned long>(number)), &filter);
        EXPECT_EQ(TakeName(filter), name);
    }
    IBaseFilter* filter = Stale<IBaseFilter>();
    made.FailNext(kThrows);
    GetFilterByCLSID(Number(1), &filter);
    EXPECT_EQ(filter, nullptr);
    filter = Stale<IBaseFilter>();
    GetFilterByName(kCategory, nullptr, &filter);
    EXPECT_EQ(filter, Stale<IBaseFilter>()); // untouched, unlike all others
    wchar_t name[] = L"two";
    GetFilterByName(kCategory, name, nullptr);
    GetFilterByCLSID(kCategory, Number(1), nullptr);
    GetFilterByCLSID(Number(1), nullptr);
}

} // namespace
