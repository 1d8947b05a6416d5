#include "Text/Text.h"

#include <filesystem>
#include <fstream>

namespace ymdshow::text {

bool ReadFile(const std::wstring& path, std::string& bytes) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    if (!file.is_open()) {
        return false;
    }
    char block[16 * 1024];
    bytes.clear();
    do {
        file.read(block, sizeof block);
        bytes.append(block, static_cast<std::size_t>(file.gcount()));
    } while (file.good());
    return !file.bad();
}

} // namespace ymdshow::text
