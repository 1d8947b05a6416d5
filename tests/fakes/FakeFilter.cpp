#include "fakes/FakeFilter.h"

#include <atomic>
#include <cstring>
#include <cwchar>
#include <stdexcept>

#include "fakes/FakeEnum.h"
#include "fakes/TaskMemory.h"

namespace fakes {

namespace {

/// Class ids that differ from filter to filter.
GUID NextClsid() {
    static std::atomic<unsigned long> serial{0};
    return {++serial, 0xfa4e, 0x4f11, {0xa0, 0, 0, 0, 0, 0, 0, 1}};
}

} // namespace

std::wstring Widen(std::string_view text) {
    std::wstring wide(text.size(), L'\0');
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         wide.data(), static_cast<int>(wide.size()));
    wide.resize(static_cast<std::size_t>(size));
    return wide;
}

HRESULT FileSourceFacet::Load(LPCOLESTR file, const AM_MEDIA_TYPE* type) {
    return Call("Load", std::tuple(file, type != nullptr), [&]() -> HRESULT {
        path = file;
        return S_OK;
    });
}

HRESULT StreamSelectFacet::Info(long index, AM_MEDIA_TYPE** type, DWORD* flags, LCID* lcid,
                                DWORD* group, WCHAR** name, IUnknown** object, IUnknown** unknown) {
    return Call("Info", std::tie(index), [&]() -> HRESULT {
        const auto at = static_cast<std::size_t>(index);
        if (at >= streams.size()) {
            return S_FALSE;
        }
        const SelectableStream& stream = streams[at];
        if (FAILED(stream.info)) {
            return stream.info;
        }
        const auto give = [](auto* out, auto value) {
            if (out != nullptr) {
                *out = value;
            }
        };
        if (type != nullptr) {
            *type = stream.type.NewCopy();
        }
        if (name != nullptr) {
            *name = stream.name.empty() ? nullptr : NewTaskText(stream.name, "a stream name");
        }
        give(flags, stream.flags);
        give(lcid, LCID{0});
        give(group, stream.group);
        give(object, static_cast<IUnknown*>(nullptr));
        give(unknown, static_cast<IUnknown*>(nullptr));
        return stream.info;
    });
}

HRESULT StreamSelectFacet::Enable(long index, DWORD flags) {
    return Call("Enable", std::tie(index, flags), [&]() -> HRESULT {
        const auto at = static_cast<std::size_t>(index);
        if (at >= streams.size()) {
            return E_INVALIDARG;
        }
        for (SelectableStream& stream : streams) {
            if (flags != 0 && stream.group == streams[at].group) {
                stream.flags = flags == AMSTREAMSELECTENABLE_ENABLEALL ? 1 : 0;
            }
        }
        streams[at].flags = flags != 0 ? 1 : 0;
        return S_OK;
    });
}

HRESULT PropertyPagesFacet::GetPages(CAUUID* out) {
    *out = CAUUID{};
    return Call("GetPages", [&]() -> HRESULT {
        const std::size_t size = pages.size() * sizeof(CLSID);
        out->cElems = static_cast<ULONG>(pages.size());
        out->pElems = static_cast<GUID*>(NewTaskMemory(size, "an array of property pages"));
        if (size != 0) {
            std::memcpy(out->pElems, pages.data(), size);
        }
        return S_OK;
    });
}

FakeFilter::FakeFilter(std::string name, const PinSpecs& pins)
    : FakeCom(std::move(name)), clsid(NextClsid()) {
    fileSource.present = streamSelect.present = propertyPages.present = false;
    m_pins.reserve(pins.size());
    for (const PinSpec& pin : pins) {
        AddPin(pin);
    }
}

FakeFilter& FakeFilter::AcceptFiles(HRESULT result) {
    fileSource.present = true;
    fileSource.results["Load"] = result;
    return *this;
}

FakeFilter& FakeFilter::Select(std::vector<SelectableStream> streams) {
    streamSelect.present = true;
    streamSelect.streams = std::move(streams);
    return *this;
}

FakePin& FakeFilter::AddPin(const PinSpec& pin) {
    std::string name = pin.name;
    if (name.empty()) {
        std::size_t number = 1;
        for (const auto& other : m_pins) {
            number += other->direction == pin.direction ? 1 : 0;
        }
        name = (pin.direction == PINDIR_INPUT ? "In" : "Out") + std::to_string(number);
    }
    return *m_pins.emplace_back(std::make_unique<FakePin>(*this, pin, std::move(name)));
}

FakePin& FakeFilter::Pin(std::string_view name) {
    for (const auto& pin : m_pins) {
        if (pin->pinName == Widen(name)) {
            return *pin;
        }
    }
    throw std::out_of_range(Name() + " has no pin " + std::string(name));
}

FakePin& FakeFilter::PinOf(PIN_DIRECTION direction, std::size_t index) {
    for (const auto& pin : m_pins) {
        if (pin->direction == direction && index-- == 0) {
            return *pin;
        }
    }
    throw std::out_of_range(Name() + " has no such pin");
}

FakePin& FakeFilter::InPin(std::size_t index) {
    return PinOf(PINDIR_INPUT, index);
}

FakePin& FakeFilter::OutPin(std::size_t index) {
    return PinOf(PINDIR_OUTPUT, index);
}

bool FakeFilter::IsRenderer() const {
    for (const auto& pin : m_pins) {
        if (!pin->IsInput()) {
            return false;
        }
    }
    return !m_pins.empty();
}

std::string FakeFilter::Describe() const {
    return FakeCom::Describe() + (m_graph != nullptr ? ", in a graph" : "");
}

IUnknown* FakeFilter::FindInterface(REFIID iid) {
    const bool own = iid == IID_IUnknown || iid == IID_IPersist || iid == IID_IMediaFilter ||
                     iid == IID_IBaseFilter;
    return own ? this : FindFurther(iid);
}

HRESULT FakeFilter::EnumPins(IEnumPins** out) {
    *out = nullptr;
    return Call("EnumPins", [&]() -> HRESULT {
        *out =
            new FakeEnum<IEnumPins, IPin>(*this, ".EnumPins", [this](std::size_t index) -> IPin* {
                if (index >= m_pins.size()) {
                    return nullptr;
                }
                m_pins[index]->AddReference();
                return m_pins[index].get();
            });
        return S_OK;
    });
}

HRESULT FakeFilter::QueryFilterInfo(FILTER_INFO* info) {
    *info = FILTER_INFO{};
    return Call("QueryFilterInfo", [&]() -> HRESULT {
        const std::wstring& name = m_graph != nullptr ? m_graphName : Widen(Name());
        wcsncpy(info->achName, name.c_str(), std::size(info->achName) - 1);
        info->pGraph = m_graph;
        if (m_graph != nullptr) {
            m_graph->AddRef();
        }
        return S_OK;
    });
}

HRESULT FakeFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    return Call("JoinFilterGraph", std::tie(graph, name), [&]() -> HRESULT {
        m_graph = graph;
        m_graphName = name != nullptr ? name : L"";
        return S_OK;
    });
}

ComPtr<FakeFilter> MakeFilter(std::string name, const PinSpecs& pins) {
    return Adopt(new FakeFilter(std::move(name), pins));
}

void Join(FakePin& out, FakePin& in) {
    MediaType type;
    if (!FakePin::Agree(out, in, type)) {
        type = out.types.front();
    }
    FakePin::Join(out, in, type);
}

void Join(FakeFilter& up, FakeFilter& down) {
    MediaType type;
    for (std::size_t o = 0; o < up.PinCount(); ++o) {
        for (std::size_t i = 0; i < down.PinCount(); ++i) {
            FakePin& out = up.Pin(o);
            FakePin& in = down.Pin(i);
            if (!out.IsInput() && in.IsInput() && !out.IsConnected() && !in.IsConnected() &&
                FakePin::Agree(out, in, type)) {
                FakePin::Join(out, in, type);
                return;
            }
        }
    }
    throw std::logic_error(up.Name() + " and " + down.Name() + " do not fit");
}

void Chain(std::initializer_list<FakeFilter*> filters) {
    for (auto down = filters.begin() + 1; down < filters.end(); ++down) {
        Join(**(down - 1), **down);
    }
}

void Part(FakePin& pin) {
    Silence silence;
    if (auto* peer = AsFake<FakePin>(pin.Peer()); peer != nullptr) {
        peer->Unjoin();
    }
    pin.Unjoin();
}

} // namespace fakes
