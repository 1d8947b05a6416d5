#include "fakes/FakeFilter.h"

namespace fakes {

FakePin::FakePin(FakeFilter& filter, const PinSpec& spec, const std::string& name)
    : FakeOf(filter.Name() + "." + name, &filter), types(spec.types), direction(spec.direction),
      pinName(name), m_filter(filter) {}

const MediaType* FakePin::Agree(const FakePin& out, const FakePin& in) {
    static const std::vector<MediaType> any(1);
    for (const MediaType& offered : out.types.empty() ? any : out.types) {
        for (const MediaType& taken : in.types.empty() ? any : in.types) {
            if (offered.Fits(taken)) {
                return out.types.empty() ? &taken : &offered;
            }
        }
    }
    return nullptr;
}

bool FakePin::CanJoin(const FakePin& out, const FakePin& in) {
    return !out.IsInput() && in.IsInput() && !out.IsConnected() && !in.IsConnected() &&
           &out.m_filter != &in.m_filter && Agree(out, in) != nullptr;
}

void Join(FakePin& out, FakePin& in) {
    const MediaType* const agreed = FakePin::Agree(out, in);
    out.connectionType = in.connectionType = agreed != nullptr ? *agreed : out.types.front();
    out.m_peer = HandOut(&in);
    in.m_peer = HandOut(&out);
}

HRESULT FakePin::QueryPinInfo(PIN_INFO* info) {
    *info = PIN_INFO{};
    return Call("QueryPinInfo", [&] {
        info->dir = direction;
        Widen(pinName).copy(info->achName, std::size(info->achName) - 1);
        info->pFilter = HandOut(&m_filter);
    });
}

FakeFilter::FakeFilter(std::string name, const PinSpecs& pins, const GUID& id)
    : FakeOf(std::move(name)), clsid(id) {
    fileSource.present = streamSelect.present = propertyPages.present = false;
    std::ranges::for_each(pins, [&](const PinSpec& pin) { AddPin(pin); });
}

ComPtr<FakeFilter> MakeFilter(std::string name, const PinSpecs& pins, GUID clsid) {
    static std::atomic<unsigned long> serial{0};
    const GUID next{++serial, 0xfa4e, 0x4f11, {0xa0, 0, 0, 0, 0, 0, 0, 1}};
    return Adopt(new FakeFilter(std::move(name), pins, clsid == GUID_NULL ? next : clsid));
}

void Join(FakeFilter& up, FakeFilter& down) {
    for (FakePin& out : up.Pins()) {
        for (FakePin& in : down.Pins()) {
            if (FakePin::CanJoin(out, in)) {
                return Join(out, in);
            }
        }
    }
    throw std::logic_error(up.Name() + " and " + down.Name() + " do not fit");
}

void Part(FakePin& pin) {
    if (pin.IsConnected()) {
        pin.m_peer->Unjoin();
        pin.Unjoin();
    }
}

} // namespace fakes
