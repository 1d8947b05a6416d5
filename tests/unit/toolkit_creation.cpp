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

TEST_F(Creation, FirstMemberOfTheClass) {
    EXPECT_EQ(ByClass(kCategory, ClassNumber(2)), "F2");
    EXPECT_JOURNAL({"SystemDeviceEnum.CreateInstance", "devices.CreateClassEnumerator(*, 0)",
                    "one.BindToStorage", "one.Read(CLSID)", "two.BindToStorage", "two.Read(CLSID)",
                    "two.BindToObject"});
    EXPECT_EQ(ByClass(kCategory, ClassNumber(1)), "F1");
    EXPECT_EQ(ByClass(kCategory, ClassNumber(9)), "none");
    EXPECT_EQ(ByClass(kOther, ClassNumber(1)), "none"); // empty: S_FALSE
    // The member is there, but cannot be made: no other is tried.
    EXPECT_EQ(ByClass(kCategory, ClassNumber(4)), "none");
}

TEST_F(Creation, FirstMemberOfTheName) {
    EXPECT_EQ(ByName(kCategory, L"two"), "F2");
    EXPECT_JOURNAL({"SystemDeviceEnum.CreateInstance", "devices.CreateClassEnumerator(*, 0)",
                    "one.BindToStorage", "one.Read(FriendlyName)", "two.BindToStorage",
                    "two.Read(FriendlyName)", "two.BindToObject"});
    EXPECT_EQ(ByName(kCategory, L"Two"), "none");
    EXPECT_EQ(ByName(kCategory, L""), "none");
    EXPECT_EQ(ByName(kOther, L"two"), "none");
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
    std::string name;
    FaultOptions options;
    const auto expect = [&](const char* whole, const char* other) {
        options.check = [&name, whole, other](std::size_t n, const std::string& where) {
            EXPECT_TRUE(name == whole || (n > 0 && (name == "none" || name == other)))
                << name << " when " << where << " fails";
        };
    };
    // A member that cannot be read is skipped: the second of the name follows.
    expect("F2", "F3");
    EXPECT_GT(RunFaultPlan([&] { name = ByName(kCategory, L"two"); }, options), 7u);
    expect("F1", "other F1");
    EXPECT_GT(RunFaultPlan([&] { name = ByClass(kCategory, ClassNumber(1)); }, options), 5u);
    expect("Made", "none");
    EXPECT_GT(RunFaultPlan(
                  [&] {
                      IBaseFilter* filter = Stale<IBaseFilter>();
                      GetFilterByCLSID(ClassNumber(20), &filter);
                      name = TakeName(filter);
                  },
                  options),
              0u);
}

} // namespace
