// Creation from categories and classes: what is read of each member in which order, and what
// a failing call leaves behind. The registry and real modules: see the integration tests.
#include "toolkit_support.h"

#include "fakes/FakeDevices.h"

using namespace toolkit_test;

namespace {

const GUID kCategory = {0x5a7d6c10, 0x32e1, 0x4d0b, {0x8a, 1, 2, 3, 4, 5, 6, 7}};
const GUID kOther = {0x5a7d6c11, 0x32e1, 0x4d0b, {0x8a, 1, 2, 3, 4, 5, 6, 7}};

GUID ClassNumber(unsigned long number) {
    return {number, 0x32e1, 0x4d0b, {0x8a, 1, 2, 3, 4, 5, 6, 7}};
}

class Creation : public ToolkitTest {
protected:
    Creation() {
        for (const auto& [name, number] : {std::pair(L"one", 1ul), {L"two", 2ul}, {L"two", 3ul}}) {
            Device device{name, ClassNumber(number), [number] {
                              return MakeFilter(std::string("F").append(std::to_string(number)),
                                                {});
                          }};
            devices.Add(kCategory, std::move(device));
        }
        Device twice{L"again", ClassNumber(1), [] { return MakeFilter("other F1", {}); }};
        devices.Add(kCategory, std::move(twice));
        Device unbindable{L"none", ClassNumber(4), nullptr};
        devices.Add(kCategory, std::move(unbindable));
    }
    static std::string ByClass(const GUID& category, const GUID& clsid) {
        IBaseFilter* filter = Stale<IBaseFilter>();
        GetFilterByCLSID(category, clsid, &filter);
        return TakeName(filter);
    }
    static std::string ByName(const GUID& category, std::wstring name) {
        IBaseFilter* filter = Stale<IBaseFilter>();
        GetFilterByName(category, name.data(), &filter);
        return TakeName(filter);
    }

    FakeDevices devices;
};

TEST_F(Creation, FirstMemberOfTheClassOrTheName) {
    EXPECT_EQ(ByClass(kCategory, ClassNumber(2)), "F2");
    EXPECT_JOURNAL({"SystemDeviceEnum.CreateInstance", "devices.CreateClassEnumerator(*, 0)",
                    "one.BindToStorage", "one.Read(CLSID)", "two.BindToStorage", "two.Read(CLSID)",
                    "two.BindToObject"});
    EXPECT_EQ(ByName(kCategory, L"two"), "F2");
    EXPECT_JOURNAL({"SystemDeviceEnum.CreateInstance", "devices.CreateClassEnumerator(*, 0)",
                    "one.BindToStorage", "one.Read(FriendlyName)", "two.BindToStorage",
                    "two.Read(FriendlyName)", "two.BindToObject"});
    EXPECT_EQ(ByClass(kCategory, ClassNumber(1)), "F1");
    // The member is there, but cannot be made: no other is tried.
    EXPECT_EQ(ByClass(kCategory, ClassNumber(4)), "none");
}

TEST_F(Creation, NothingElseIsFound) {
    EXPECT_EQ(ByClass(kCategory, ClassNumber(9)), "none");
    for (const wchar_t* name : {L"Two", L"tw", L"two ", L""}) {
        EXPECT_EQ(ByName(kCategory, name), "none");
    }
    EXPECT_EQ(ByClass(kOther, ClassNumber(1)), "none"); // empty: S_FALSE
    EXPECT_EQ(ByName(kOther, L"two"), "none");
    IBaseFilter* filter = Stale<IBaseFilter>();
    GetFilterByName(kCategory, nullptr, &filter);
    EXPECT_EQ(filter, Stale<IBaseFilter>()); // untouched, unlike all others
    GetFilterByCLSID(ClassNumber(9), &filter);
    EXPECT_EQ(filter, nullptr);
    wchar_t name[] = L"two";
    GetFilterByName(kCategory, name, nullptr);
    GetFilterByCLSID(kCategory, ClassNumber(1), nullptr);
    GetFilterByCLSID(ClassNumber(1), nullptr);
}

TEST_F(Creation, MembersThatCannotBeReadAreSkipped) {
    Device device{L"odd", ClassNumber(7), [] { return MakeFilter("F7", {}); }};
    device.bindToStorage = E_FAIL;
    devices.Add(kOther, device);
    device.bindToStorage = S_OK;
    device.readClsid = device.readName = E_FAIL;
    devices.Add(kOther, device);
    device.readClsid = device.readName = S_OK;
    device.clsidText = L"no class";
    devices.Add(kOther, device);
    device.clsidText.reset();
    device.make = [] { return MakeFilter("good", {}); };
    devices.Add(kOther, device);
    EXPECT_EQ(ByClass(kOther, ClassNumber(7)), "good");
    EXPECT_EQ(ByName(kOther, L"odd"), "F7"); // the third: its name can be read
}

TEST_F(Creation, EachCallFailsOnce) {
    const FakeFilterClass made("Made", ClassNumber(20), {});
    struct Case {
        const char* whole;
        const char* other; // a member that cannot be read is skipped: the next one follows
        std::string (*run)();
    };
    const Case cases[] = {{"F2", "F3", [] { return ByName(kCategory, L"two"); }},
                          {"F1", "other F1", [] { return ByClass(kCategory, ClassNumber(1)); }},
                          {"Made", "none", [] {
                               IBaseFilter* filter = Stale<IBaseFilter>();
                               GetFilterByCLSID(ClassNumber(20), &filter);
                               return TakeName(filter);
                           }}};
    for (const Case& test : cases) {
        std::string name;
        FaultOptions options;
        options.check = [&](std::size_t n, const std::string& where) {
            EXPECT_TRUE(name == test.whole || (n > 0 && (name == "none" || name == test.other)))
                << name << " when " << where << " fails";
        };
        EXPECT_GT(RunFaultPlan([&] { name = test.run(); }, options), 0u);
    }
}

} // namespace
