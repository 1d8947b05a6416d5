#include "YMCoderScheme/ScriptFile.h"

#include "Text/Text.h"

#include <cstdio>
#include <memory>

namespace ymdshow {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

std::FILE* OpenFile(const std::wstring& path) {
#ifdef _WIN32
    return _wfopen(path.c_str(), L"rb");
#else
    return std::fopen(text::EncodeUtf8(path).c_str(), "rb");
#endif
}

} // namespace

bool ReadScriptFile(const std::wstring& path, std::string& bytes) {
    const std::unique_ptr<std::FILE, FileCloser> file(OpenFile(path));
    if (file == nullptr) {
        return false;
    }
    char buffer[64 * 1024];
    for (std::size_t size; (size = std::fread(buffer, 1, sizeof buffer, file.get())) > 0;) {
        bytes.append(buffer, size);
    }
    return std::ferror(file.get()) == 0;
}

} // namespace ymdshow
