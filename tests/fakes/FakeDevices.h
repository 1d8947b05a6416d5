#pragma once

#include <oleauto.h>

#include "fakes/FakeClass.h"

namespace fakes {

/// A member of a filter category.
struct Device {
    std::wstring friendlyName;
    GUID clsid = GUID_NULL;
    std::function<ComPtr<FakeFilter>()> make; ///< of BindToObject; E_FAIL without

    // Oddities.
    std::optional<std::wstring> clsidText{}; ///< instead of the CLSID's registry form
    ResultTable answers{};                   ///< of the moniker and its property bag
};

using DeviceCategories = std::map<GUID, std::vector<Device>, GuidLess>;

class Bag final : public FakeOf<IPropertyBag> {
public:
    explicit Bag(const Device& device) : FakeOf(Narrow(device.friendlyName)), m_device(device) {
        results = device.answers;
    }
    STDMETHODIMP Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override {
        return Call("Read", std::tie(name), [&] {
            wchar_t clsid[39] = {};
            StringFromGUID2(m_device.clsid, clsid, 39);
            const bool isName = std::wstring_view(name) == L"FriendlyName";
            value->vt = VT_BSTR;
            value->bstrVal = SysAllocString(isName ? m_device.friendlyName.c_str()
                                                   : m_device.clsidText.value_or(clsid).c_str());
        });
    }
    FAKE_UNEXPECTED(Write(LPCOLESTR, VARIANT*))

private:
    const Device& m_device;
};

class Moniker final : public FakeOf<IMoniker> {
public:
    explicit Moniker(const Device& device) : FakeOf(Narrow(device.friendlyName)), m_device(device) {
        results = device.answers;
    }
    STDMETHODIMP BindToStorage(IBindCtx*, IMoniker*, REFIID iid, void** out) override {
        *out = nullptr;
        return Call("BindToStorage",
                    [&] { return Adopt(new Bag(m_device))->QueryInterface(iid, out); });
    }
    STDMETHODIMP BindToObject(IBindCtx*, IMoniker*, REFIID iid, void** out) override {
        *out = nullptr;
        return Call("BindToObject", [&] {
            return m_device.make ? m_device.make()->QueryInterface(iid, out) : E_FAIL;
        });
    }
    FAKE_UNEXPECTED(GetClassID(CLSID*), IsDirty(), Load(IStream*), Save(IStream*, WINBOOL),
                    GetSizeMax(ULARGE_INTEGER*), Reduce(IBindCtx*, DWORD, IMoniker**, IMoniker**),
                    ComposeWith(IMoniker*, WINBOOL, IMoniker**), Enum(WINBOOL, IEnumMoniker**),
                    IsEqual(IMoniker*), Hash(DWORD*), IsSystemMoniker(DWORD*),
                    IsRunning(IBindCtx*, IMoniker*, IMoniker*),
                    GetTimeOfLastChange(IBindCtx*, IMoniker*, FILETIME*), Inverse(IMoniker**),
                    CommonPrefixWith(IMoniker*, IMoniker**), RelativePathTo(IMoniker*, IMoniker**),
                    GetDisplayName(IBindCtx*, IMoniker*, LPOLESTR*),
                    ParseDisplayName(IBindCtx*, IMoniker*, LPOLESTR, ULONG*, IMoniker**))

private:
    const Device& m_device;
};

inline IMoniker* HandOut(const Device& device) {
    return new Moniker(device);
}

class DeviceEnumerator final : public FakeOf<ICreateDevEnum> {
public:
    explicit DeviceEnumerator(DeviceCategories& categories)
        : FakeOf("devices"), m_categories(categories) {}
    STDMETHODIMP CreateClassEnumerator(REFCLSID category, IEnumMoniker** out,
                                       DWORD flags) override {
        *out = nullptr;
        return Call("CreateClassEnumerator", std::tie(category, flags), [&] {
            std::vector<Device>& members = m_categories[category];
            *out = members.empty() ? nullptr
                                   : new FakeEnum<IEnumMoniker, IMoniker, std::vector<Device>>(
                                         *this, "CreateClassEnumerator", members, kUnchanged);
            return members.empty() ? S_FALSE : S_OK;
        });
    }

private:
    DeviceCategories& m_categories;
};

/// The system device enumerator (CLSID_SystemDeviceEnum) of this process while it lives.
/// Journal names: "SystemDeviceEnum.CreateInstance", "devices.CreateClassEnumerator",
/// "<friendly name>.BindToStorage", ".BindToObject", ".Read(CLSID)".
class FakeDevices : public FakeClass {
public:
    FakeDevices()
        : FakeClass("SystemDeviceEnum", CLSID_SystemDeviceEnum,
                    [this] { return Adopt<IUnknown>(new DeviceEnumerator(m_categories)); }) {}

    /// A category that is not listed, or empty, answers S_FALSE.
    void Add(const GUID& category, const Device& device) {
        m_categories[category].push_back(device);
    }

private:
    DeviceCategories m_categories;
};

} // namespace fakes
