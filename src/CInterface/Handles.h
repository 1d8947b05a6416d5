#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace ymdshow::c {

/// What a handle stands for; part of it.
enum class Kind : std::uint32_t { Player = 1, Item, Scheme };

/// The handles that hosts have. One is a place in the table, with a generation that tells it from
/// those that had the place before: it is looked up, never followed.
class Handles {
public:
    static Handles& Get();

    void* Add(Kind kind, std::shared_ptr<void> object);

    /// Null when it stands for nothing of that kind.
    std::shared_ptr<void> Find(Kind kind, const void* handle);

    /// The same, and the handle ends. The object lives on for as long as others are in a call of
    /// it.
    std::shared_ptr<void> Remove(Kind kind, const void* handle);

private:
    struct Place {
        std::uint32_t generation = 1;
        Kind kind{};
        std::shared_ptr<void> object;
    };

    Place* At(Kind kind, const void* handle);

    std::mutex m_mutex;
    std::deque<Place> m_places;
    std::vector<std::uint32_t> m_free;
};

} // namespace ymdshow::c
