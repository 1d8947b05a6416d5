#include "CInterface/Handles.h"

namespace ymdshow::c {

namespace {

// 32 bits of generation, 4 of kind, 28 of place.
constexpr unsigned kGenerationShift = 32;
constexpr unsigned kKindShift = 28;
constexpr std::uint32_t kPlaceMask = (1U << kKindShift) - 1;
static_assert(sizeof(void*) == sizeof(std::uint64_t));

} // namespace

/// Kept to the end of the process: threads of hosts may outlive static destruction.
Handles& Handles::Get() {
    static Handles& handles = *new Handles;
    return handles;
}

void* Handles::Add(Kind kind, std::shared_ptr<void> object) {
    const std::lock_guard lock(m_mutex);
    if (m_free.empty()) {
        m_free.reserve(m_places.size() + 1); // so that to remove one never fails
        m_places.emplace_back();
        m_free.push_back(static_cast<std::uint32_t>(m_places.size() - 1));
    }
    const std::uint32_t index = m_free.back();
    m_free.pop_back();
    Place& place = m_places[index];
    place.kind = kind;
    place.object = std::move(object);
    return reinterpret_cast<void*>(std::uint64_t{place.generation} << kGenerationShift |
                                   std::uint64_t{static_cast<std::uint32_t>(kind)} << kKindShift |
                                   index);
}

Handles::Place* Handles::At(Kind kind, const void* handle) {
    const auto value = reinterpret_cast<std::uint64_t>(handle);
    const auto low = static_cast<std::uint32_t>(value);
    const std::uint32_t index = low & kPlaceMask;
    if (low >> kKindShift != static_cast<std::uint32_t>(kind) || index >= m_places.size()) {
        return nullptr;
    }
    Place& place = m_places[index];
    const bool isThat = place.object != nullptr && place.kind == kind &&
                        place.generation == static_cast<std::uint32_t>(value >> kGenerationShift);
    return isThat ? &place : nullptr;
}

std::shared_ptr<void> Handles::Find(Kind kind, const void* handle) {
    const std::lock_guard lock(m_mutex);
    const Place* const place = At(kind, handle);
    return place != nullptr ? place->object : nullptr;
}

std::shared_ptr<void> Handles::Remove(Kind kind, const void* handle) {
    const std::lock_guard lock(m_mutex);
    Place* const place = At(kind, handle);
    if (place == nullptr) {
        return nullptr;
    }
    ++place->generation;
    m_free.push_back(static_cast<std::uint32_t>(reinterpret_cast<std::uint64_t>(handle)) &
                     kPlaceMask);
    return std::move(place->object);
}

} // namespace ymdshow::c
