#include "media_fixture.h"

namespace media_tests {

void Media::Know(const std::vector<std::string>& videos, const std::vector<std::string>& audios) {
    m_hasMediaInfo = true;
    m_originalVideoTrackNum = static_cast<std::uint32_t>(videos.size());
    m_originalAudioTrackNum = static_cast<std::uint32_t>(audios.size());
    m_videoInfos.clear();
    m_audioInfos.clear();
    for (const std::string& format : videos) {
        m_videoInfos.emplace_back().format = format;
    }
    for (const std::string& format : audios) {
        m_audioInfos.emplace_back().format = format;
    }
}

MediaTest::MediaTest() {
    // No media information library, wherever the build has put one.
    SetEnvironmentVariableW(L"PATH", L"");
    SetDllDirectoryW((std::filesystem::temp_directory_path() / L"none").c_str());
}

ScratchDirectory::ScratchDirectory()
    : m_path(std::filesystem::temp_directory_path() /
             (L"ymd" + std::to_wstring(GetCurrentProcessId()))) {
    std::filesystem::create_directories(m_path);
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::filesystem::path ScratchDirectory::Touch(const std::wstring& name) {
    const std::filesystem::path path = m_path / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path);
    return path;
}

std::string Gbk(const std::wstring& text) {
    std::string bytes(text.size() * 2, '\0');
    const int size =
        WideCharToMultiByte(936, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
}

} // namespace media_tests
