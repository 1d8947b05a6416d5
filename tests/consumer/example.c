#include <stdio.h>

#include <windows.h>

#include <objbase.h>
#include <ymdshow/ymdshow_c.h>

int main(int argc, char** argv) {
    ymd_player* player;
    ymd_item* item;
    int64_t duration;
    ymd_event event = {.size = sizeof(event)};
    CoInitializeEx(NULL, COINIT_MULTITHREADED);
    if (ymd_player_create(&player) == YMD_OK) {
        if (ymd_item_create(player, argc > 1 ? argv[1] : "sample.mp4", &item) != YMD_OK ||
            ymd_item_play(item) != YMD_OK ||
            ymd_item_get_int(item, YMD_DURATION, &duration) != YMD_OK) {
            printf("%s\n", ymd_last_error());
        } else {
            printf("playing %.1f s\n", (double)duration / 1e7);
            while (ymd_item_wait_event(item, &event, 2000) == YMD_OK && event.code != 1) {
                printf("event %d\n", (int)event.code); // 1 is EC_COMPLETE
            }
        }
        ymd_player_destroy(player); // and its items
    }
    CoUninitialize();
    return 0;
}
