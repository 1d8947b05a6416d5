#include "testsource/Clip.h"

#include <cmath>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "FramePattern.h"

namespace ymfilters {

namespace {

constexpr std::wstring_view kPrefix = L"test://";
constexpr int kMaxSide = 8192;
constexpr double kMaxSeconds = 24.0 * 3600;
constexpr std::size_t kMaxTones = 16;

/// A number at the front of `text`, which is cut off it.
std::optional<double> TakeNumber(std::wstring_view& text) {
    const std::wstring copy(text);
    wchar_t* end = nullptr;
    const double value = std::wcstod(copy.c_str(), &end);
    if (end == copy.c_str() || !std::isfinite(value)) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - copy.c_str()));
    return value;
}

std::optional<double> ToNumber(std::wstring_view text, double min, double max) {
    const std::optional<double> value = TakeNumber(text);
    return value && text.empty() && *value >= min && *value <= max ? value : std::nullopt;
}

template <typename T> bool Read(std::wstring_view text, double min, double max, T& out) {
    const std::optional<double> value = ToNumber(text, min, max);
    if (value) {
        out = static_cast<T>(*value);
    }
    return value.has_value();
}

bool ReadTones(std::wstring_view text, std::vector<double>& out) {
    out.clear();
    while (!text.empty()) {
        const std::size_t comma = text.find(L',');
        const std::optional<double> tone = ToNumber(text.substr(0, comma), 0, 20000);
        if (!tone || out.size() == kMaxTones) {
            return false;
        }
        if (*tone > 0) {
            out.push_back(*tone);
        }
        text.remove_prefix(comma == text.npos ? text.size() : comma + 1);
    }
    return true;
}

/// The rates of television are multiples of 1000/1001.
bool ReadFrameRate(std::wstring_view text, Clip& clip) {
    const std::optional<double> rate = ToNumber(text, 0.1, 1000);
    if (!rate) {
        return false;
    }
    const double whole = std::ceil(*rate);
    if (whole == *rate) {
        clip.frameRate = static_cast<LONGLONG>(whole);
    } else if (std::abs(whole * 1000 / 1001 - *rate) < 0.005) {
        clip.frameRate = static_cast<LONGLONG>(whole) * 1000;
        clip.frameScale = 1001;
    } else {
        clip.frameRate = std::llround(*rate * 1000);
        clip.frameScale = 1000;
    }
    return true;
}

bool ReadSize(std::wstring_view text, Clip& clip) {
    const std::size_t cross = text.find(L'x');
    return cross != text.npos &&
           Read(text.substr(0, cross), kMinPatternWidth, kMaxSide, clip.width) &&
           Read(text.substr(cross + 1), kMinPatternHeight, kMaxSide, clip.height);
}

/// "10s", "1500ms".
bool ReadDuration(std::wstring_view text, LONGLONG& out) {
    const std::optional<double> value = TakeNumber(text);
    if (!value || (text != L"s" && text != L"ms")) {
        return false;
    }
    const double seconds = text == L"s" ? *value : *value / 1000;
    if (seconds <= 0 || seconds > kMaxSeconds) {
        return false;
    }
    out = std::llround(seconds * static_cast<double>(kSecond));
    return true;
}

bool ReadPicture(std::wstring_view text, Clip& clip) {
    const std::size_t at = text.find(L'@');
    const std::wstring_view size = text.substr(0, at);
    return (size.empty() || ReadSize(size, clip)) &&
           (at == text.npos || ReadFrameRate(text.substr(at + 1), clip));
}

bool ReadOption(std::wstring_view key, std::wstring_view value, Clip& clip) {
    constexpr double kMaxDelay = 60000;
    if (key == L"video") {
        return Read(value, 0, 1, clip.hasVideo);
    }
    if (key == L"bits") {
        return Read(value, 24, 32, clip.bits) && (clip.bits == 24 || clip.bits == 32);
    }
    if (key == L"coded") {
        return Read(value, 0, 1, clip.isCoded);
    }
    if (key == L"audio") {
        return ReadTones(value, clip.tones);
    }
    if (key == L"select") {
        return ReadTones(value, clip.streams);
    }
    if (key == L"rate") {
        return Read(value, 8000, 192000, clip.samplingRate);
    }
    if (key == L"channels") {
        return Read(value, 1, 8, clip.channels);
    }
    if (key == L"seek") {
        return Read(value, 0, 1, clip.isSeekable);
    }
    if (key == L"live") {
        return Read(value, 0, 1, clip.isLiveConnectable);
    }
    if (key == L"loaddelay") {
        return Read(value, 0, kMaxDelay, clip.loadDelay);
    }
    if (key == L"startdelay") {
        return Read(value, 0, kMaxDelay, clip.startDelay);
    }
    if (key == L"delay") {
        return Read(value, 0, kMaxDelay, clip.sampleDelay);
    }
    if (key == L"break") {
        return ReadDuration(value, clip.breakAt);
    }
    if (key == L"fail") {
        const std::wstring text(value);
        clip.loadResult = static_cast<HRESULT>(std::wcstoul(text.c_str(), nullptr, 16));
        return FAILED(clip.loadResult);
    }
    return false;
}

bool ReadOptions(std::wstring_view text, Clip& clip) {
    while (!text.empty()) {
        const std::size_t ampersand = text.find(L'&');
        const std::wstring_view option = text.substr(0, ampersand);
        const std::size_t equals = option.find(L'=');
        if (equals == option.npos ||
            !ReadOption(option.substr(0, equals), option.substr(equals + 1), clip)) {
            return false;
        }
        text.remove_prefix(ampersand == text.npos ? text.size() : ampersand + 1);
    }
    return true;
}

std::wstring FirstLine(const std::wstring& path) {
    std::ifstream file{std::filesystem::path(path), std::ios::binary};
    std::string line;
    for (char c = 0; line.size() < 1024 && file.get(c) && c != '\r' && c != '\n';) {
        line += c;
    }
    return std::wstring(line.begin(), line.end());
}

} // namespace

std::optional<Clip> ParseClip(std::wstring_view name) {
    Clip clip;
    if (!name.starts_with(kPrefix)) {
        return clip;
    }
    name.remove_prefix(kPrefix.size());
    const std::size_t question = name.find(L'?');
    const std::wstring_view body = name.substr(0, question);
    const std::size_t slash = body.find(L'/');
    const std::wstring_view duration =
        slash == body.npos ? std::wstring_view() : body.substr(slash + 1);
    const bool isGood = ReadPicture(body.substr(0, slash), clip) &&
                        (duration.empty() || ReadDuration(duration, clip.duration)) &&
                        (question == name.npos || ReadOptions(name.substr(question + 1), clip));
    return isGood ? std::optional(clip) : std::nullopt;
}

std::optional<Clip> ReadClip(const std::wstring& name) {
    if (name.starts_with(kPrefix)) {
        return ParseClip(name);
    }
    return ParseClip(FirstLine(name));
}

} // namespace ymfilters
