#pragma once

#include "GraphToolkit/Ranges.h"

#include <vector>

namespace ymdshow::toolkit {

/// Pins with one reference each, in the order in which they were found. The exported
/// functions that append pins fill it through Receive.
class PinList {
public:
    using Iterator = std::vector<IPin*>::const_iterator;

    PinList() = default;
    ~PinList() {
        for (IPin* pin : m_pins) {
            pin->Release();
        }
    }
    PinList(const PinList&) = delete;
    PinList& operator=(const PinList&) = delete;

    std::vector<IPin*>* Receive() noexcept { return &m_pins; }

    bool Empty() const noexcept { return m_pins.empty(); }
    auto begin() const noexcept { return m_pins.begin(); }
    auto end() const noexcept { return m_pins.end(); }

    /// Takes a pin out of the list with its reference.
    ComPtr<IPin> Take(Iterator position) {
        ComPtr<IPin> pin;
        Adopt(pin, *position);
        m_pins.erase(position);
        return pin;
    }

    /// Releases a pin and takes it out of the list; answers the place of the next one.
    Iterator Remove(Iterator position) {
        (*position)->Release();
        return m_pins.erase(position);
    }

private:
    std::vector<IPin*> m_pins;
};

} // namespace ymdshow::toolkit
