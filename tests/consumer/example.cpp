#include <cstdio>
#include <ymdshow/ymdshow.h>

int main(int argc, char** argv) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    {
        ymdshow::CMediaPlayer player;
        ymdshow::CMedia* media = player.AddMedia(argc > 1 ? argv[1] : "sample.mp4", 1);
        if (media == nullptr) {
            std::printf("%ls\n", player.GetLastLoadReport().Explain().c_str());
        } else if (media->Play() == 1) {
            std::printf("playing %.1f s\n",
                        static_cast<double>(media->GetOriginalDuration()) / 1e7);
            Sleep(2000);
        }
    } // the player stops and releases its items here
    CoUninitialize();
}
