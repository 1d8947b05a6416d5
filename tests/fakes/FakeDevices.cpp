#include "fakes/FakeDevices.h"

#include <oleauto.h>

#include <cstring>

#include "fakes/FakeEnum.h"

namespace fakes {

namespace {

std::string Narrow(const std::wstring& wide) {
    Line line;
    Write(line, wide.c_str());
    return std::string(line.View());
}

class Bag final : public FakeOf<IPropertyBag> {
public:
    explicit Bag(const Device& device) : FakeOf(Narrow(device.friendlyName)), m_device(device) {}
    HRESULT STDMETHODCALLTYPE Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override {
        return Call("Read", std::tie(name), [&]() -> HRESULT { return ReadValue(name, value); });
    }
    FAKE_UNEXPECTED(Write, LPCOLESTR, VARIANT*)

private:
    HRESULT ReadValue(const std::wstring& name, VARIANT* value) const {
        std::wstring text = m_device.friendlyName;
        HRESULT result = m_device.readName;
        if (name == L"CLSID") {
            wchar_t clsid[39] = {};
            StringFromGUID2(m_device.clsid, clsid, 39);
            text = m_device.clsidText.value_or(clsid);
            result = m_device.readClsid;
        } else if (name != L"FriendlyName") {
            return E_INVALIDARG;
        }
        if (SUCCEEDED(result)) {
            value->vt = VT_BSTR;
            value->bstrVal = SysAllocString(text.c_str());
        }
        return result;
    }

    const Device& m_device;
};

class Moniker final : public FakeOf<IMoniker> {
public:
    explicit Moniker(const Device& device)
        : FakeOf(Narrow(device.friendlyName)), m_device(device) {}
    HRESULT STDMETHODCALLTYPE BindToStorage(IBindCtx*, IMoniker*, REFIID iid, void** out) override {
        *out = nullptr;
        return Call("BindToStorage", [&]() -> HRESULT {
            if (FAILED(m_device.bindToStorage)) {
                return m_device.bindToStorage;
            }
            return Adopt(new Bag(m_device))->QueryInterface(iid, out);
        });
    }
    HRESULT STDMETHODCALLTYPE BindToObject(IBindCtx*, IMoniker*, REFIID iid, void** out) override {
        *out = nullptr;
        return Call("BindToObject", [&]() -> HRESULT {
            if (FAILED(m_device.bindToObject) || !m_device.make) {
                return FAILED(m_device.bindToObject) ? m_device.bindToObject : E_FAIL;
            }
            return m_device.make()->QueryInterface(iid, out);
        });
    }
    FAKE_UNEXPECTED(GetClassID, CLSID*)
    FAKE_UNEXPECTED(IsDirty)
    FAKE_UNEXPECTED(Load, IStream*)
    FAKE_UNEXPECTED(Save, IStream*, WINBOOL)
    FAKE_UNEXPECTED(GetSizeMax, ULARGE_INTEGER*)
    FAKE_UNEXPECTED(Reduce, IBindCtx*, DWORD, IMoniker**, IMoniker**)
    FAKE_UNEXPECTED(ComposeWith, IMoniker*, WINBOOL, IMoniker**)
    FAKE_UNEXPECTED(Enum, WINBOOL, IEnumMoniker**)
    FAKE_UNEXPECTED(IsEqual, IMoniker*)
    FAKE_UNEXPECTED(Hash, DWORD*)
    FAKE_UNEXPECTED(IsRunning, IBindCtx*, IMoniker*, IMoniker*)
    FAKE_UNEXPECTED(GetTimeOfLastChange, IBindCtx*, IMoniker*, FILETIME*)
    FAKE_UNEXPECTED(Inverse, IMoniker**)
    FAKE_UNEXPECTED(CommonPrefixWith, IMoniker*, IMoniker**)
    FAKE_UNEXPECTED(RelativePathTo, IMoniker*, IMoniker**)
    FAKE_UNEXPECTED(GetDisplayName, IBindCtx*, IMoniker*, LPOLESTR*)
    FAKE_UNEXPECTED(ParseDisplayName, IBindCtx*, IMoniker*, LPOLESTR, ULONG*, IMoniker**)
    FAKE_UNEXPECTED(IsSystemMoniker, DWORD*)

private:
    const Device& m_device;
};

} // namespace

class DeviceEnumerator final : public FakeOf<ICreateDevEnum> {
public:
    explicit DeviceEnumerator(FakeDevices& devices) : FakeOf("devices"), m_devices(devices) {}
    HRESULT STDMETHODCALLTYPE CreateClassEnumerator(REFCLSID category, IEnumMoniker** out,
                                                    DWORD flags) override {
        *out = nullptr;
        return Call("CreateClassEnumerator", std::tie(category, flags), [&]() -> HRESULT {
            const auto found = m_devices.m_categories.find(category);
            if (found == m_devices.m_categories.end() || found->second.empty()) {
                return S_FALSE;
            }
            const std::vector<Device>& members = found->second;
            *out = new FakeEnum<IEnumMoniker, IMoniker>(
                *this, ".CreateClassEnumerator", [&members](std::size_t index) -> IMoniker* {
                    return index < members.size() ? new Moniker(members[index]) : nullptr;
                });
            return S_OK;
        });
    }

private:
    FakeDevices& m_devices;
};

FakeDevices::FakeDevices()
    : FakeClass("SystemDeviceEnum", CLSID_SystemDeviceEnum, [this]() -> ComPtr<IUnknown> {
          return Adopt<IUnknown>(new DeviceEnumerator(*this));
      }) {}

void FakeDevices::Add(const GUID& category, Device device) {
    m_categories[category].push_back(std::move(device));
}

} // namespace fakes
