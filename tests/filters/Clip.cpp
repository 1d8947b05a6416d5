#include "Clip.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>

namespace ymfilters {

namespace {

int Number(const std::wstring& text, int base = 10) {
    return static_cast<int>(std::wcstoul(text.c_str(), nullptr, base));
}

std::vector<int> Tones(const std::wstring& text) {
    std::vector<int> tones;
    static const std::wregex number(LR"([1-9]\d*)");
    for (std::wsregex_iterator at(text.begin(), text.end(), number), end; at != end; ++at) {
        tones.push_back(Number(at->str()));
    }
    return tones;
}

bool ReadOption(const std::wstring& key, const std::wstring& value, Clip& clip) {
    static const std::map<std::wstring, int Clip::*> numbers = {{L"video", &Clip::hasVideo},
                                                                {L"coded", &Clip::isCoded},
                                                                {L"live", &Clip::isLiveConnectable},
                                                                {L"rate", &Clip::samplingRate}};
    if (const auto number = numbers.find(key); number != numbers.end()) {
        clip.*number->second = Number(value);
    } else if (key == L"fail") {
        clip.loadResult = Number(value, 16);
    } else if (key == L"audio" || key == L"select") {
        (key == L"audio" ? clip.tones : clip.streams) = Tones(value);
    } else {
        return false;
    }
    return true;
}

} // namespace

std::optional<Clip> ReadClip(std::wstring name) {
    if (!name.starts_with(L"test://")) {
        std::string line;
        std::getline(std::ifstream{std::filesystem::path(name)}, line);
        name.assign(line.begin(), line.end());
    }
    static const std::wregex form(
        LR"(test://(?:(\d+)x(\d+))?(?:@(\d+))?(?:/(\d+)(m?)s)?(?:\?(.*?))?\r?)");
    static const std::wregex option(LR"((\w+)=([^&]*))");
    std::wsmatch part;
    if (!std::regex_match(name, part, form)) {
        return std::nullopt;
    }
    Clip clip;
    clip.width = part[1].matched ? Number(part[1]) : clip.width;
    clip.height = part[2].matched ? Number(part[2]) : clip.height;
    clip.frameRate = part[3].matched ? Number(part[3]) : clip.frameRate;
    clip.duration = part[4].matched ? Number(part[4]) * kSecond / (part[5].length() > 0 ? 1000 : 1)
                                    : clip.duration;
    const std::wstring options = part[6];
    for (std::wsregex_iterator at(options.begin(), options.end(), option), end; at != end; ++at) {
        if (!ReadOption((*at)[1], (*at)[2], clip)) {
            return std::nullopt;
        }
    }
    return clip;
}

} // namespace ymfilters
