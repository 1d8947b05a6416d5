#include <cwchar>

#include "fakes/FakeEnum.h"
#include "fakes/FakeFilter.h"

namespace fakes {

namespace {

template <std::size_t N> void CopyName(wchar_t (&out)[N], const std::wstring& name) {
    wcsncpy(out, name.c_str(), N - 1);
    out[N - 1] = L'\0';
}

} // namespace

FakePin::FakePin(FakeFilter& filter, const PinSpec& spec, std::string name)
    : FakeCom(filter.Name() + "." + name, &filter), types(spec.types), direction(spec.direction),
      pinName(Widen(name)), m_filter(filter) {}

FakePin::~FakePin() {
    Unjoin();
}

void FakePin::Abandon() {
    m_peer = nullptr;
    FakeCom::Abandon();
}

IUnknown* FakePin::FindInterface(REFIID iid) {
    return iid == IID_IUnknown || iid == IID_IPin ? this : FindFurther(iid);
}

bool FakePin::Agree(const FakePin& out, const FakePin& in, MediaType& type) {
    if (out.types.empty() || in.types.empty()) {
        const FakePin& one = out.types.empty() ? in : out;
        type = one.types.empty() ? MediaType() : one.types.front();
        return true;
    }
    for (const MediaType& offered : out.types) {
        for (const MediaType& taken : in.types) {
            if (offered.Fits(taken)) {
                type = offered;
                return true;
            }
        }
    }
    return false;
}

void FakePin::Join(FakePin& out, FakePin& in, const MediaType& type) {
    Silence silence;
    out.m_peer = &in;
    in.m_peer = &out;
    in.AddReference();
    out.AddReference();
    out.connectionType = type;
    in.connectionType = type;
}

void FakePin::Unjoin() {
    if (m_peer != nullptr) {
        IPin* const peer = m_peer;
        m_peer = nullptr;
        peer->Release();
    }
}

HRESULT FakePin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) {
    return Call("Connect", std::tie(receiver), [&]() -> HRESULT {
        if (m_peer != nullptr) {
            return VFW_E_ALREADY_CONNECTED;
        }
        MediaType agreed;
        const auto* fake = AsFake<FakePin>(receiver);
        if (type != nullptr) {
            agreed = MediaType::From(*type);
        } else if (fake == nullptr || !Agree(*this, *fake, agreed)) {
            agreed = types.empty() ? MediaType() : types.front();
        }
        const AM_MEDIA_TYPE view = agreed.View();
        const HRESULT result = receiver->ReceiveConnection(this, &view);
        if (SUCCEEDED(result)) {
            m_peer = receiver;
            m_peer->AddRef();
            connectionType = agreed;
        }
        return result;
    });
}

HRESULT FakePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    return Call("ReceiveConnection", std::tie(connector), [&]() -> HRESULT {
        if (m_peer != nullptr) {
            return VFW_E_ALREADY_CONNECTED;
        }
        m_peer = connector;
        m_peer->AddRef();
        connectionType = MediaType::From(*type);
        return S_OK;
    });
}

HRESULT FakePin::Disconnect() {
    return Call("Disconnect", [&]() -> HRESULT {
        if (m_peer == nullptr) {
            return S_FALSE;
        }
        Unjoin();
        return S_OK;
    });
}

HRESULT FakePin::ConnectedTo(IPin** peer) {
    if (peer == nullptr) {
        return E_POINTER;
    }
    *peer = nullptr;
    return Call("ConnectedTo", [&]() -> HRESULT {
        if (m_peer == nullptr) {
            return VFW_E_NOT_CONNECTED;
        }
        *peer = m_peer;
        m_peer->AddRef();
        return S_OK;
    });
}

HRESULT FakePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    *type = AM_MEDIA_TYPE{};
    return Call("ConnectionMediaType", [&]() -> HRESULT {
        if (m_peer == nullptr) {
            return VFW_E_NOT_CONNECTED;
        }
        connectionType.CopyTo(type);
        return S_OK;
    });
}

HRESULT FakePin::QueryPinInfo(PIN_INFO* info) {
    *info = PIN_INFO{};
    return Call("QueryPinInfo", [&]() -> HRESULT {
        info->dir = direction;
        CopyName(info->achName, pinName);
        info->pFilter = &m_filter;
        m_filter.AddRef();
        return S_OK;
    });
}

HRESULT FakePin::EnumMediaTypes(IEnumMediaTypes** out) {
    *out = nullptr;
    return Call("EnumMediaTypes", [&]() -> HRESULT {
        *out = new FakeEnum<IEnumMediaTypes, AM_MEDIA_TYPE>(
            *this, ".EnumMediaTypes", [this](std::size_t index) {
                return index < types.size() ? types[index].NewCopy() : nullptr;
            });
        return S_OK;
    });
}

} // namespace fakes
