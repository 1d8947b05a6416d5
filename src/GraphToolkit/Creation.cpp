#include "BaseClasses/ComTypes.h"
#include "GraphToolkit/Attempts.h"
#include "GraphToolkit/Ranges.h"
#include "Guard.h"

#include <ymdshow/GraphToolkit.h>

#include <cwchar>

using namespace ymdshow;
using namespace ymdshow::toolkit;

namespace {

// The members of a device category. An empty category has no enumerator (S_FALSE).
class Monikers : public EnumeratorRange<IEnumMoniker, IMoniker> {
public:
    Monikers(ICreateDevEnum* devices, const GUID& category) {
        SetResult(devices->CreateClassEnumerator(category, Receive(), 0) == S_OK ? S_OK : E_FAIL);
    }
};

// A string property of a category member; null when it cannot be read.
class BagText {
public:
    BagText(IPropertyBag* bag, const wchar_t* name) {
        m_value.vt = VT_BSTR;
        if (FAILED(bag->Read(name, &m_value, nullptr))) {
            VariantClear(&m_value);
        }
    }
    ~BagText() { VariantClear(&m_value); }
    BagText(const BagText&) = delete;
    BagText& operator=(const BagText&) = delete;

    const wchar_t* Get() const noexcept {
        return m_value.vt == VT_BSTR ? m_value.bstrVal : nullptr;
    }

private:
    VARIANT m_value{};
};

// Binds the first member of the category whose property satisfies `matches`.
template <class Matches>
void BindFirstMember(const GUID& category, const wchar_t* property, Matches matches,
                     IBaseFilter** filter) {
    *filter = nullptr;
    Quietly([&] {
        ComPtr<ICreateDevEnum> devices;
        if (FAILED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr,
                                    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER,
                                    IID_PPV_ARGS(devices.GetAddressOf())))) {
            return;
        }
        for (auto& member : Monikers(devices.Get(), category)) {
            ComPtr<IPropertyBag> bag;
            if (FAILED(member->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(bag.GetAddressOf()))) ||
                bag == nullptr) {
                continue;
            }
            bool matched = false;
            {
                const BagText text(bag.Get(), property);
                matched = text.Get() != nullptr && matches(text.Get());
            }
            if (matched) {
                member->BindToObject(nullptr, nullptr, IID_PPV_ARGS(filter));
                return;
            }
        }
    });
}

} // namespace

namespace ymdshow::toolkit {

HRESULT CreateInstanceFromModule(HMODULE module, REFCLSID clsid, REFIID iid, void** ppv) {
    if (ppv != nullptr) {
        *ppv = nullptr;
    }
    if (module == nullptr) {
        return E_FAIL;
    }
    using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const auto getClassObject = reinterpret_cast<GetClassObject>(
        reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    if (getClassObject == nullptr) {
        return E_FAIL;
    }
    return AnswerOr(E_UNEXPECTED, [&] {
        ComPtr<IClassFactory> factory;
        const HRESULT hr = getClassObject(clsid, IID_PPV_ARGS(factory.GetAddressOf()));
        if (factory == nullptr) {
            return hr;
        }
        return ppv != nullptr ? factory->CreateInstance(nullptr, iid, ppv) : E_FAIL;
    });
}

} // namespace ymdshow::toolkit

void GetFilterByCLSID(const GUID& clsid, IBaseFilter** filter) {
    if (filter == nullptr) {
        return;
    }
    *filter = nullptr;
    Quietly([&] {
        ComPtr<IBaseFilter> made;
        if (SUCCEEDED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER,
                                       IID_PPV_ARGS(made.GetAddressOf())))) {
            *filter = made.Detach();
        }
    });
}

void GetFilterByCLSID(const GUID& category, const GUID& clsid, IBaseFilter** filter) {
    if (filter == nullptr) {
        return;
    }
    BindFirstMember(
        category, L"CLSID",
        [&clsid](const wchar_t* text) {
            CLSID member;
            return CLSIDFromString(text, &member) == NOERROR && member == clsid;
        },
        filter);
}

void GetFilterByName(const GUID& category, wchar_t* name, IBaseFilter** filter) {
    if (name == nullptr || filter == nullptr) {
        return;
    }
    BindFirstMember(
        category, L"FriendlyName",
        [name](const wchar_t* text) { return std::wcscmp(text, name) == 0; }, filter);
}

int AddFilterToGraphBuilder(IGraphBuilder* graph, IBaseFilter* filter, const wchar_t* name) {
    return AnswerOr(0, [&] {
        return graph != nullptr && filter != nullptr && SUCCEEDED(graph->AddFilter(filter, name));
    });
}

int AddFilterToGraphBuilderCache(IGraphConfig* config, IBaseFilter* filter) {
    return AnswerOr(0, [&] {
        return config != nullptr && filter != nullptr &&
               SUCCEEDED(config->AddFilterToCache(filter));
    });
}

int RemoveFilterFromGraphBuilder(IGraphBuilder* graph, IBaseFilter* filter) {
    return AnswerOr(0, [&] {
        return graph != nullptr && filter != nullptr && SUCCEEDED(graph->RemoveFilter(filter));
    });
}

int RemoveFilterFromGraphBuilderCache(IGraphConfig* config, IBaseFilter* filter) {
    if (config == nullptr || filter == nullptr) {
        return 0;
    }
    return AnswerOr(0, [&] {
        const int before = GetIUnknownRef(filter);
        const HRESULT hr = config->RemoveFilterFromCache(filter);
        int after = GetIUnknownRef(filter);
        while (after > before) {
            after = static_cast<int>(filter->Release());
        }
        if (hr == S_OK && after == before) {
            filter->Release(); // the reference that the cache held
        }
        return SUCCEEDED(hr);
    });
}
