// A host outside the source tree: the exported symbols link, and an exception of the
// library's is caught on this side of the DLL.
#include <cstdio>
#include <stdexcept>
#include <string>

#include <ymdshow/ymdshow.h>

namespace {

int g_failures = 0;

void Check(bool holds, const char* what) {
    if (!holds) {
        std::printf("failed: %s\n", what);
        ++g_failures;
    }
}

} // namespace

int main() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    {
        ymdshow::CMediaPlayer player;
        Check(player.GetMediaNum() == 0, "a new player has no media");
        Check(player.AddMedia("", 0) == nullptr, "an empty path is refused");

        ymdshow::CMedia media(&player);
        std::string message;
        try {
            media.GetAudioTrackRender(0);
        } catch (const std::runtime_error& error) {
            message = error.what();
        }
        Check(message == "index out of range", "an unloaded item has no track 0");
    }
    CoUninitialize();
    return g_failures;
}
