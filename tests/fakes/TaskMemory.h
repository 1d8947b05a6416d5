#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace fakes {

/// CoTaskMemAlloc for what a fake hands to its caller. While a watch is on, blocks that the
/// caller does not free are found.
void* NewTaskMemory(std::size_t size, const char* what);

/// A copy of `text` as task memory.
wchar_t* NewTaskText(const std::wstring& text, const char* what);

/// While it is on, media types carry an object in their pUnk, which the ledger lists until
/// they are freed.
void WatchTaskMemory(bool on);
bool IsTaskMemoryWatched();

/// What was handed out under the watch and is not freed; forgets it.
std::vector<std::string> TakeUnfreedTaskMemory();

} // namespace fakes
