#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace fakes {

/// CoTaskMemAlloc for what a fake hands to its caller. Under a watch, blocks that the caller
/// does not free are found.
void* NewTaskMemory(std::size_t size, const char* what);

/// From now on. Media types carry an object in their pUnk then, which the ledger lists until
/// they are freed.
void WatchTaskMemory();
bool IsTaskMemoryWatched();

/// What was handed out under the watch and is not freed; forgets it.
std::vector<std::string> TakeUnfreedTaskMemory();

} // namespace fakes
