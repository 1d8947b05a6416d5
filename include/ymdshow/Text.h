#pragma once

#include <windows.h>

#include <string>

#include <ymdshow/Export.h>

// Text as the library takes and gives it. Each answers an empty text when memory runs out; no
// lock, from any thread.
namespace ymdshow {

/// Code page 936, the library's narrow text, to UTF-16; empty for bytes that are not valid in it.
YMDSHOW_API std::wstring NarrowToWide(const std::string& narrow);

/// The other way. Characters that the code page lacks become "?", and `*isLossy` tells it.
YMDSHOW_API std::string WideToNarrow(const std::wstring& wide, bool* isLossy = nullptr);

/// UTF-8 to UTF-16, a leading byte-order mark left out; empty for bytes that are not UTF-8.
YMDSHOW_API std::wstring Utf8ToWide(const std::string& utf8);

/// The other way; a surrogate without its other half becomes U+FFFD.
YMDSHOW_API std::string WideToUtf8(const std::wstring& wide);

/// In registry form, with braces.
YMDSHOW_API std::wstring GuidText(const GUID& guid);

/// The name of a graph event, "EC_COMPLETE"; "event" and the number where there is none.
YMDSHOW_API std::wstring EventText(long eventCode);

} // namespace ymdshow
