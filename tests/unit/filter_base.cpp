// The base of filter modules: enumeration, connection, the memory transport, states.
#include <windows.h>

#include <dshow.h>
#include <gtest/gtest.h>
#include <wrl/client.h>

#include <functional>
#include <map>

#include "BaseClasses/ComTypes.h"
#include "base/InputPin.h"
#include "base/OutputPin.h"

namespace {

using namespace ymfilters;
using Microsoft::WRL::ComPtr;

constexpr GUID kA = {'A', 0, 0, {}};
constexpr GUID kB = {'B', 0, 0, {}};
constexpr GUID kC = {'C', 0, 0, {}};
constexpr LONGLONG kSecond = 10'000'000;

AM_MEDIA_TYPE TypeOf(const GUID& subtype, const GUID& format = FORMAT_None) {
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Video;
    type.subtype = subtype;
    type.formattype = format;
    return type;
}

/// What the pins of a test filter leave to the test.
template <class Base> class Part : public Base {
public:
    using Base::Base;

    std::vector<GUID> offered = {kA}; ///< subtypes
    GUID taken = GUID_NULL;           ///< the one that is taken; null: any

    bool PreferredType(unsigned index, ymdshow::MediaType& type) override {
        return index < offered.size() && SUCCEEDED(type.Assign(TypeOf(offered[index])));
    }

protected:
    HRESULT CheckType(const AM_MEDIA_TYPE& type) override {
        return taken == GUID_NULL || taken == type.subtype ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
    }
};

class Input final : public Part<InputPin> {
public:
    using Part::Part;

    std::string said; ///< Connected, (NewSegment, <BeginFlush, >EndFlush, Sample, EndOfStream
    std::map<char, HRESULT> answers; ///< other than S_OK
    ALLOCATOR_PROPERTIES wishes{};
    ComPtr<IMemAllocator> agreed;

    HRESULT STDMETHODCALLTYPE GetAllocatorRequirements(ALLOCATOR_PROPERTIES* out) override {
        *out = wishes;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE NotifyAllocator(IMemAllocator* allocator, BOOL flag) override {
        agreed = allocator;
        return answers['N'] != S_OK ? answers['N'] : InputPin::NotifyAllocator(allocator, flag);
    }

protected:
    HRESULT OnConnected() override { return Say('C'); }
    HRESULT OnSample(IMediaSample&) override { return Say('S'); }
    HRESULT OnEndOfStream() override { return Say('E'); }
    HRESULT OnBeginFlush() override { return Say('<'); }
    HRESULT OnEndFlush() override { return Say('>'); }
    HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
        return Say(start == 1 && stop == 2 && rate == 3 ? '(' : '?');
    }

private:
    HRESULT Say(char what) {
        said += what;
        return answers[what];
    }
};

class Output final : public Part<OutputPin> {
public:
    using Part::Part;

protected:
    ALLOCATOR_PROPERTIES BufferNeeds() const override { return {2, 100, 1, 0}; }
};

class Box final : public Filter {
public:
    Box() : Filter(kA) { SetPins({&in, &out}); }
    using Filter::SetPins;

    Input in{*this, L"In"};
    Output out{*this, L"Out"};
    bool isReached = true;

protected:
    bool IsStateReached(DWORD) override { return isReached; }
};

ULONG References(IUnknown& object) {
    object.AddRef();
    return object.Release();
}

class FilterBase : public testing::Test {
protected:
    FilterBase() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~FilterBase() override {
        for (Box* box : {&up, &down}) {
            box->Stop();
            box->in.Disconnect();
            box->out.Disconnect();
        }
        EXPECT_EQ(down.Release() + up.Release(), 0U) << "references left";
    }
    HRESULT Connect() { return up.out.Connect(&down.in, nullptr); }
    void Disconnect() {
        EXPECT_EQ(up.out.Disconnect(), S_OK);
        EXPECT_EQ(down.in.Disconnect(), S_OK);
    }

    Box& up = *new Box;
    Box& down = *new Box;
};

TEST_F(FilterBase, PinsAndTypesAreEnumerated) {
    ComPtr<IEnumPins> pins;
    ComPtr<IEnumPins> copy;
    IPin* got[3]{};
    ULONG count = 0;
    ASSERT_EQ(up.EnumPins(&pins), S_OK);
    EXPECT_EQ(pins->Skip(1), S_OK);
    ASSERT_EQ(pins->Clone(&copy), S_OK);
    EXPECT_EQ(pins->Skip(2), S_FALSE);
    EXPECT_EQ(copy->Next(3, got, &count), S_FALSE);
    EXPECT_EQ(count, 1U);
    ASSERT_EQ(pins->Reset(), S_OK);
    ASSERT_EQ(pins->Next(2, got + 1, &count), S_OK);
    EXPECT_TRUE(got[0] == &up.out && got[1] == &up.in && got[2] == &up.out);
    EXPECT_EQ(References(up), 6U) << "three pins, two enumerators";
    std::for_each(got, got + 3, [](IPin* pin) { pin->Release(); });
    up.SetPins({&up.out});
    EXPECT_EQ(pins->Next(1, got, nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(copy->Skip(0), VFW_E_ENUM_OUT_OF_SYNC);
    ASSERT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(pins->Skip(1), S_OK);

    up.out.offered = {kA, kB, kC};
    ComPtr<IEnumMediaTypes> types;
    ComPtr<IEnumMediaTypes> rest;
    AM_MEDIA_TYPE* type[3]{};
    ASSERT_EQ(up.out.EnumMediaTypes(&types), S_OK);
    ASSERT_EQ(types->Next(1, type, nullptr), S_OK);
    EXPECT_EQ(types->Skip(1), S_OK);
    ASSERT_EQ(types->Clone(&rest), S_OK);
    EXPECT_EQ(types->Skip(2), S_FALSE);
    ASSERT_EQ(rest->Next(3, type + 1, &count), S_FALSE);
    EXPECT_EQ(count, 1U);
    ASSERT_EQ(rest->Reset(), S_OK);
    ASSERT_EQ(rest->Next(1, type + 2, nullptr), S_OK);
    EXPECT_TRUE(type[0]->subtype == kA && type[1]->subtype == kC && type[2]->subtype == kA);
    std::for_each(type, type + 3, ymdshow::DeleteMediaType);
}

TEST_F(FilterBase, FiltersAndPinsSayWhoTheyAre) {
    CLSID clsid{};
    LPWSTR id = nullptr;
    ymdshow::PinInfo pin;
    ymdshow::FilterInfoHolder filter;
    EXPECT_TRUE(up.GetClassID(&clsid) == S_OK && clsid == kA);
    EXPECT_EQ(up.out.QueryId(&id), S_OK);
    ComPtr<IPin> found;
    EXPECT_EQ(up.FindPin(id, &found), S_OK);
    EXPECT_EQ(found.Get(), &up.out);
    EXPECT_EQ(up.FindPin(L"Out 2", found.ReleaseAndGetAddressOf()), VFW_E_NOT_FOUND);
    CoTaskMemFree(id);
    EXPECT_EQ(up.in.QueryPinInfo(pin.Put()), S_OK);
    EXPECT_STREQ(pin->achName, L"In");
    EXPECT_TRUE(pin->dir == PINDIR_INPUT && pin->pFilter == &up);
    pin.Reset();
    ComPtr<IFilterGraph> graph;
    ASSERT_EQ(
        CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph)),
        S_OK);
    const std::wstring name(200, L'n');
    EXPECT_EQ(up.JoinFilterGraph(graph.Get(), name.c_str()), S_OK);
    EXPECT_EQ(up.QueryFilterInfo(filter.Put()), S_OK);
    EXPECT_EQ(filter->achName, name.substr(0, 127));
    EXPECT_EQ(filter->pGraph, graph.Get());
    EXPECT_EQ(up.JoinFilterGraph(nullptr, L"Name"), S_OK);
    EXPECT_EQ(up.QueryFilterInfo(filter.Put()), S_OK);
    EXPECT_TRUE(filter->achName[0] == 0 && filter->pGraph == nullptr);
    EXPECT_EQ(References(*graph.Get()), 1U);
}

TEST_F(FilterBase, ConnectionsTakeTheFirstTypeOfBoth) {
    const AM_MEDIA_TYPE someB = TypeOf(kB, GUID_NULL);
    const AM_MEDIA_TYPE wholeC = TypeOf(kC);
    EXPECT_EQ(up.out.Connect(&down.out, nullptr), VFW_E_INVALID_DIRECTION);
    EXPECT_EQ(down.in.ReceiveConnection(&up.in, &wholeC), VFW_E_INVALID_DIRECTION);
    const struct {
        std::vector<GUID> ours, theirs;
        GUID taken;
        const AM_MEDIA_TYPE* wanted;
        DWORD used; ///< 0: refused
    } cases[] = {{{kA, kB}, {kC}, GUID_NULL, nullptr, 'A'},
                 {{kA, kB}, {kC}, kB, nullptr, 'B'},
                 {{kA, kB}, {kC}, kC, nullptr, 'C'},
                 {{kA, kB}, {kC}, GUID_NULL, &someB, 'B'},
                 {{kA}, {kC, kB}, GUID_NULL, &someB, 'B'},
                 {{kA}, {}, GUID_NULL, &wholeC, 'C'},
                 {{kA}, {kC}, kA, &wholeC, 0},
                 {{kA}, {kC}, GUID_NULL, &someB, 0}};
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        up.out.offered = test.ours;
        down.in.offered = test.theirs;
        down.in.taken = test.taken;
        EXPECT_EQ(SUCCEEDED(up.out.Connect(&down.in, test.wanted)), test.used != 0);
        for (Pin* pin : {static_cast<Pin*>(&down.in), static_cast<Pin*>(&up.out)}) {
            ComPtr<IPin> peer;
            ymdshow::MediaType type;
            const HRESULT told = test.used != 0 ? S_OK : VFW_E_NOT_CONNECTED;
            EXPECT_EQ(pin->ConnectedTo(&peer), told);
            EXPECT_EQ(pin->ConnectionMediaType(type.Put()), told);
            EXPECT_EQ(type->subtype.Data1, test.used);
            EXPECT_EQ(pin->Disconnect(), test.used != 0 ? S_OK : S_FALSE);
            EXPECT_EQ(pin->Type().subtype, GUID_NULL);
        }
    }
}

TEST_F(FilterBase, ARefusedConnectionLeavesNeitherPinConnected) {
    const std::function<void(bool)> faults[] = {
        [&](bool is) { up.out.taken = is ? kB : GUID_NULL; },
        [&](bool is) { down.in.answers['C'] = is ? E_FAIL : S_OK; },
        [&](bool is) { down.in.answers['N'] = is ? E_FAIL : S_OK; },
        [&](bool is) { is ? down.Pause() : down.Stop(); },
        [&](bool is) { is ? up.Pause() : up.Stop(); }};
    for (const auto& set : faults) {
        SCOPED_TRACE(&set - faults);
        set(true);
        EXPECT_TRUE(FAILED(Connect()));
        EXPECT_FALSE(up.out.IsConnected() || down.in.IsConnected());
        set(false);
        EXPECT_EQ(Connect(), S_OK);
        EXPECT_EQ(Connect(), VFW_E_ALREADY_CONNECTED);
        EXPECT_EQ(References(down), 3U) << "as a pin and as a transport";
        EXPECT_EQ(up.Pause(), S_OK);
        EXPECT_EQ(up.out.Disconnect(), VFW_E_NOT_STOPPED);
        EXPECT_EQ(up.Stop(), S_OK);
        Disconnect();
        EXPECT_EQ(References(down), 1U);
    }
}

TEST_F(FilterBase, SamplesPassWhileTheStreamFlows) {
    ComPtr<IMediaSample> sample;
    const auto deliver = [&] { return up.out.Deliver(*sample.Get()); };
    EXPECT_EQ(up.out.GetBuffer(&sample), VFW_E_NO_ALLOCATOR);
    EXPECT_EQ(up.out.DeliverEndOfStream(), S_OK) << "nobody below";
    EXPECT_EQ(down.in.EndOfStream(), VFW_E_NOT_CONNECTED);
    for (const long wish : {0, 200}) { // what both need
        down.in.wishes = {wish, wish, wish > 0 ? 16 : 0, wish};
        up.out.Disconnect();
        down.in.Disconnect();
        ASSERT_EQ(Connect(), S_OK);
        ALLOCATOR_PROPERTIES agreed{};
        ASSERT_EQ(down.in.agreed->GetProperties(&agreed), S_OK);
        EXPECT_EQ(agreed.cBuffers, std::max(wish, 2L));
        EXPECT_GE(agreed.cbBuffer, std::max(wish, 100L));
        EXPECT_EQ(agreed.cbAlign, wish > 0 ? 16 : 1);
        EXPECT_EQ(agreed.cbPrefix, wish);
    }
    EXPECT_EQ(up.out.GetBuffer(&sample), VFW_E_NOT_COMMITTED);
    ASSERT_EQ(up.Pause(), S_OK);
    ASSERT_EQ(up.out.GetBuffer(&sample), S_OK);
    EXPECT_EQ(deliver(), VFW_E_WRONG_STATE) << "the input is stopped";
    ASSERT_EQ(down.Pause(), S_OK);
    EXPECT_EQ(up.out.DeliverNewSegment(1, 2, 3), S_OK);
    EXPECT_EQ(deliver(), S_OK);
    EXPECT_EQ(up.out.DeliverBeginFlush(), S_OK);
    EXPECT_EQ(deliver(), S_FALSE);
    EXPECT_EQ(up.out.DeliverEndOfStream(), S_FALSE);
    EXPECT_EQ(up.out.DeliverEndFlush(), S_OK);
    EXPECT_EQ(up.out.DeliverEndOfStream(), S_OK);
    EXPECT_EQ(deliver(), VFW_E_SAMPLE_REJECTED_EOS);
    up.out.DeliverBeginFlush();
    up.out.DeliverEndFlush();
    EXPECT_EQ(deliver(), S_OK);
    EXPECT_EQ(down.in.said, "CC(S<>E<>S");

    IMediaSample* two[] = {sample.Get(), sample.Get()};
    for (const HRESULT answer : {S_OK, S_FALSE}) {
        long done = 9;
        down.in.answers['S'] = answer;
        EXPECT_EQ(down.in.ReceiveMultiple(two, 2, &done), answer);
        EXPECT_EQ(done, answer == S_OK ? 2 : 0);
    }
    down.in.answers.clear();
    down.in.taken = kB;
    for (const GUID& subtype : {kB, kC}) { // a type that comes with a sample
        AM_MEDIA_TYPE type = TypeOf(subtype);
        sample->SetMediaType(&type);
        EXPECT_EQ(deliver(), subtype == kB ? S_OK : VFW_E_TYPE_NOT_ACCEPTED);
        EXPECT_EQ(down.in.Type().subtype, kB);
    }
    EXPECT_EQ(down.Stop(), S_OK);
    EXPECT_EQ(deliver(), VFW_E_WRONG_STATE);
    EXPECT_EQ(up.Stop(), S_OK);
    EXPECT_EQ(up.out.GetBuffer(sample.ReleaseAndGetAddressOf()), VFW_E_NOT_COMMITTED);
}

TEST_F(FilterBase, StatesAndTheTimeThatHasRun) {
    ComPtr<IReferenceClock> clock;
    ComPtr<IReferenceClock> told;
    FILTER_STATE state = State_Running;
    REFERENCE_TIME now = 0;
    ASSERT_EQ(
        CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&clock)),
        S_OK);
    EXPECT_EQ(up.SetSyncSource(clock.Get()), S_OK);
    EXPECT_EQ(up.GetSyncSource(&told), S_OK);
    EXPECT_EQ(told, clock);
    EXPECT_EQ(References(*clock.Get()), 3U);
    ASSERT_EQ(clock->GetTime(&now), S_OK);
    ASSERT_EQ(Connect(), S_OK);
    ASSERT_EQ(down.Run(0), S_OK);
    EXPECT_TRUE(down.in.IsActive()) << "by way of the pause";
    EXPECT_EQ(up.Run(now - 500 * kSecond), S_OK);
    EXPECT_GE(up.StreamTime(), 500 * kSecond);
    EXPECT_LT(up.StreamTime(), 900 * kSecond);
    up.isReached = false;
    EXPECT_EQ(up.Pause(), S_FALSE);
    EXPECT_EQ(up.GetState(0, &state), VFW_S_STATE_INTERMEDIATE);
    EXPECT_EQ(state, State_Paused);
    const REFERENCE_TIME held = up.StreamTime();
    EXPECT_GE(held, 500 * kSecond);
    EXPECT_EQ(up.Pause(), S_FALSE);
    EXPECT_EQ(up.StreamTime(), held);
    up.ResetStreamTime();
    EXPECT_EQ(up.StreamTime(), 0);
    EXPECT_EQ(up.Run(now + 500 * kSecond), S_OK);
    EXPECT_EQ(up.StreamTime(), 0) << "not begun yet";
    EXPECT_EQ(up.Run(now - 500 * kSecond), S_OK);
    EXPECT_EQ(up.Stop(), S_OK);
    EXPECT_EQ(up.StreamTime(), 0);
    EXPECT_EQ(up.SetSyncSource(nullptr), S_OK);
    EXPECT_EQ(References(*clock.Get()), 2U);
}

} // namespace
