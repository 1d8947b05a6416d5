#pragma once

#include <string>

namespace ymdshow {

/// The bytes of a file, untranslated. False when it cannot be opened or read.
bool ReadScriptFile(const std::wstring& path, std::string& bytes);

} // namespace ymdshow
