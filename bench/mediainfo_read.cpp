// Reading a file's facts through CMedia beside the same queries made of the library by hand,
// turn by turn in the same run, least time of each. Reads the files named, or the samples of
// YMD_MEDIA_DIR/mediainfo; fails above the ratio's limit.

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

namespace {

constexpr int kRounds = 60;
constexpr double kRatioLimit = 1.1;

enum Kind { General = 0, Video = 1, Audio = 2, Image = 5 };

template <class Function> Function Resolve(HMODULE module, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

/// The library's calls and nothing around them.
class BareLibrary {
public:
    bool IsComplete() const {
        return create && destroy && open && close && inform && get && option && count;
    }

    std::size_t Read(const char* path) const {
        void* const handle = create();
        option(handle, "ParseSpeed", "0");
        option(handle, "Complete", "");
        std::size_t length = 0;
        if (open(handle, path) != 0) {
            const std::size_t videos = count(handle, Video, SIZE_MAX);
            const std::size_t images = count(handle, Image, SIZE_MAX);
            const std::size_t audios = count(handle, Audio, SIZE_MAX);
            const auto ask = [&](Kind kind, std::size_t streams, auto... parameters) {
                for (std::size_t i = 0; i < streams; ++i) {
                    ((length += *get(handle, kind, i, parameters, 1, 0) != '\0'), ...);
                }
            };
            ask(General, 1, "Format", "Duration", "CompleteName", "CompleteName_Last");
            ask(Video, videos, "Format", "Width_Original", "Height_Original", "Width", "Height",
                "DisplayAspectRatio", "DisplayAspectRatio/String", "Rotation", "FrameRate",
                "Duration", "Source_Duration");
            ask(Image, images, "Format", "Duration", "Width", "Height", "FrameRate",
                "FrameRate_Nominal");
            ask(Audio, audios, "Format", "Duration", "Source_Duration", "SamplingRate", "Channels",
                "BitDepth");
            length += std::string(inform(handle, 0)).size();
            close(handle);
        }
        destroy(handle);
        return length;
    }

private:
    HMODULE module = LoadLibraryA("MediaInfo.dll");
    void* (*create)() = Resolve<void* (*)()>(module, "MediaInfoA_New");
    void (*destroy)(void*) = Resolve<void (*)(void*)>(module, "MediaInfoA_Delete");
    std::size_t (*open)(void*, const char*) =
        Resolve<std::size_t (*)(void*, const char*)>(module, "MediaInfoA_Open");
    void (*close)(void*) = Resolve<void (*)(void*)>(module, "MediaInfoA_Close");
    const char* (*inform)(void*, std::size_t) =
        Resolve<const char* (*)(void*, std::size_t)>(module, "MediaInfoA_Inform");
    const char* (*get)(void*, int, std::size_t, const char*, int, int) =
        Resolve<const char* (*)(void*, int, std::size_t, const char*, int, int)>(module,
                                                                                 "MediaInfoA_Get");
    const char* (*option)(void*, const char*, const char*) =
        Resolve<const char* (*)(void*, const char*, const char*)>(module, "MediaInfoA_Option");
    std::size_t (*count)(void*, int, std::size_t) =
        Resolve<std::size_t (*)(void*, int, std::size_t)>(module, "MediaInfoA_Count_Get");
};

template <class Operation> double Milliseconds(Operation&& operation) {
    const auto start = std::chrono::steady_clock::now();
    operation();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

/// What other programs of a busy machine add is no part of the cost.
double Least(const std::vector<double>& values) {
    return *std::min_element(values.begin(), values.end());
}

/// The arguments that are no options, else the samples.
std::vector<std::string> Files(int argc, char** argv) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] != '-') {
            files.emplace_back(argv[i]);
        }
    }
    const char* const samples = std::getenv("YMD_MEDIA_DIR");
    if (files.empty() && samples != nullptr) {
        for (const char* name :
             {"plain.mp4", "two_audio.mkv", "divx.avi", "song.mp3", "still.jpg"}) {
            files.push_back(std::string(samples) + "/mediainfo/" + name);
        }
    }
    return files;
}

} // namespace

int main(int argc, char** argv) {
    const BareLibrary library;
    const std::vector<std::string> files = Files(argc, argv);
    if (files.empty() || !library.IsComplete()) {
        std::puts("usage: mediainfo_read FILE..., with MediaInfo.dll beside it");
        return 2;
    }
    bool withinLimit = true;
    std::puts("file                              bare ms   CMedia ms   ratio");
    for (const std::string& path : files) {
        std::size_t length = 0;
        std::vector<double> bare;
        std::vector<double> media;
        const auto readBare = [&] {
            bare.push_back(Milliseconds([&] { length = library.Read(path.c_str()); }));
        };
        const auto readMedia = [&] {
            media.push_back(Milliseconds([&] {
                const ymdshow::CMedia item(path, nullptr);
                length = item.GetMediaInfo().size();
            }));
        };
        for (int round = 0; round < kRounds; ++round) {
            // Whoever comes second finds the file warm: they take turns at that.
            if (round % 2 == 0) {
                readBare();
                readMedia();
            } else {
                readMedia();
                readBare();
            }
        }
        if (length == 0) {
            std::printf("%s: nothing read\n", path.c_str());
            return 2;
        }
        const double ratio = Least(media) / Least(bare);
        withinLimit = withinLimit && ratio <= kRatioLimit;
        const std::size_t name = path.find_last_of("/\\") + 1;
        std::printf("%-32.32s %9.3f %11.3f %7.3f\n", path.c_str() + name, Least(bare), Least(media),
                    ratio);
    }
    std::printf("limit of the ratio: %.2f\n", kRatioLimit);
    return withinLimit ? 0 : 1;
}
