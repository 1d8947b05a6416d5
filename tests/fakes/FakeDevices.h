#pragma once

#include "fakes/FakeClass.h"

namespace fakes {

/// A member of a filter category.
struct Device {
    std::wstring friendlyName;
    GUID clsid = GUID_NULL;
    std::function<ComPtr<FakeFilter>()> make; ///< of BindToObject; E_FAIL without

    // Oddities.
    std::optional<std::wstring> clsidText{}; ///< instead of the CLSID's registry form
    HRESULT bindToStorage = S_OK;
    HRESULT readClsid = S_OK;
    HRESULT readName = S_OK;
};

/// The system device enumerator (CLSID_SystemDeviceEnum) of this process while it lives.
/// Journal names: "SystemDeviceEnum.CreateInstance", "devices.CreateClassEnumerator",
/// "<friendly name>.BindToStorage", ".BindToObject", ".Read(CLSID)".
class FakeDevices : public FakeClass {
public:
    FakeDevices();

    /// A category that is not listed, or empty, answers S_FALSE.
    void Add(const GUID& category, const Device& device) {
        m_categories[category].push_back(device);
    }

private:
    friend class DeviceEnumerator;
    std::map<GUID, std::vector<Device>, GuidLess> m_categories;
};

} // namespace fakes
