/* A host in C11 that fetches every function from the DLL by its name, and calls each with what is
   right and with what is not. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <windows.h>

#include <objbase.h>

#include <ymdshow/ymdshow_c.h>

// clang-format off
#define FUNCTIONS(X) \
    X(version) X(interface) X(last_error) X(last_hresult) X(free) X(result_text) X(event_text) \
    X(file_trouble) X(file_duration) X(set_media_info_language) X(save_png) X(live_objects) \
    X(live_text) X(log_add) X(log_add_file) X(log_add_debugger) X(log_remove) X(log_get_level) \
    X(log_set_level) X(log_write) X(scheme_create) X(scheme_destroy) X(scheme_load_file) \
    X(scheme_load_text) X(scheme_get_report) X(scheme_get_types) X(scheme_get_filters) \
    X(scheme_unload) X(scheme_unload_modules) X(player_create) X(player_destroy) \
    X(player_get_scheme) X(player_get_item_count) X(player_get_item) X(player_remove_items) \
    X(item_create) X(item_destroy) X(item_set_path) X(item_load) X(item_get_load_report) \
    X(item_unload) X(item_link_all) X(item_unlink_all) X(item_get_int) X(item_set_int) \
    X(item_get_real) X(item_set_real) X(item_get_text) X(item_get_video_info) \
    X(item_get_audio_info) X(item_get_media_info) X(item_get_track_name) \
    X(item_get_track_renderer) X(item_is_track_enabled) X(item_enable_track) \
    X(item_enable_only_track) X(item_enable_all_tracks) X(item_link_all_tracks) X(item_play) \
    X(item_pause) X(item_stop) X(item_stop_when_ready) X(item_step) X(item_get_position) \
    X(item_set_clip) X(item_set_loop_range) X(item_wait_event) X(item_set_event_callback) \
    X(item_set_filter_callback) X(item_get_filters) X(item_visit_filters) X(item_find_interface) \
    X(item_show_properties) X(item_set_window) X(item_get_source) X(item_set_source) \
    X(item_get_destination) X(item_set_destination) X(item_get_snapshot) X(item_save_snapshot) \
    X(item_get_dib) X(item_mute)
// clang-format on

#define DECLARE(name) static __typeof__(ymd_##name)* c_##name;
FUNCTIONS(DECLARE)
#define FETCH(name)                                                                                \
    c_##name = (__typeof__(ymd_##name)*)(void (*)(void))GetProcAddress(library, "ymd_" #name);     \
    EXPECT(c_##name != NULL);

static int g_failures;
static const char kPath[] = "test://160x120@25/1s?audio=440";
static const char kScript[] =
    "{\"Filter\":[{\"Name\":\"Quelle \xe7\x89\x87\",\"Type\":\"source\",\"IsCache\":false,\"CLSID\":"
    "\"{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}\",\"Path\":\"filters\\\\ymdpattern.ax\"},"
    "{\"Name\":\"Window\",\"Type\":\"render\",\"CLSID\":\"{70E102B0-5556-11CE-97C0-00AA0055595A}\"},"
    "{\"Name\":\"Sound\",\"Type\":\"render\",\"CLSID\":\"{79376820-07D0-11CF-A24D-0020AFD79767}\"}],"
    "\"Schemes\":[{\"Type\":\"test\",\"Filters\":[{\"Name\":\"Quelle \xe7\x89\x87\"},"
    "{\"Name\":\"Window\"},{\"Name\":\"Sound\"},{\"Name\":\"nobody\"}]}]}";

#define EXPECT(is)                                                                                 \
    ((is) ? (void)0                                                                                \
          : (void)(++g_failures,                                                                   \
                   printf("%d: %s: %s\n", __LINE__, #is, c_last_error ? c_last_error() : "")))
#define IS(code, call) EXPECT((call) == YMD_##code)
#define OK(call) IS(OK, call)
#define TEXT_IS(call, holds)                                                                       \
    do {                                                                                           \
        char* text = NULL;                                                                         \
        OK(call);                                                                                  \
        EXPECT(text != NULL && (holds));                                                           \
        c_free(text);                                                                              \
    } while (0)

static int g_records, g_events, g_filters;
static void YMD_CALL CountRecord(const ymd_log_record* record, void* user) {
    g_records += strcmp(record->text, "\xe7\x89\x87") == 0 && record->size == sizeof(*record);
    IS(ERROR_STATE, c_log_write("C", YMD_LOG_ERROR, "from within"));
    (void)user;
}
static void YMD_CALL CountEvent(ymd_item* item, const ymd_event* event, void* player) {
    IS(ERROR_STATE, c_item_destroy(item));
    IS(ERROR_STATE, c_player_destroy(player));
    g_events += event->size == sizeof(*event);
}
static void YMD_CALL CountFilter(void* filter, void* item) {
    IS(ERROR_STATE, c_item_destroy(item));
    g_filters += filter != NULL;
}

static void Library(const char* directory) {
    char file[MAX_PATH];
    uint32_t count = 0;
    int32_t level = 0;
    int64_t duration = 0;
    uint32_t sinks[3];
    uint8_t pixels[2 * 2 * 4] = {1, 2, 3};
    ymd_picture picture = {sizeof(picture), 2, 2, 8, pixels, sizeof(pixels)};
    ymd_live_object** objects;
    EXPECT(c_interface() == YMD_INTERFACE && strchr(c_version(), '.') != NULL);
    TEXT_IS(c_result_text((int32_t)0x80070002, &text), strlen(text) > 5);
    TEXT_IS(c_event_text(1, &text), strcmp(text, "EC_COMPLETE") == 0);
    TEXT_IS(c_file_trouble("no\xe7\x89\x87", &text), strcmp(text, "not found") == 0);
    TEXT_IS(c_live_text(&text), *text == '\0');
    OK(c_live_objects(&objects, &count));
    EXPECT(count == 0 && objects != NULL);
    c_free(objects);
    c_free(NULL);
    IS(ERROR_ARGUMENT, c_live_objects(NULL, &count));
    IS(ERROR_ARGUMENT, c_result_text(0, NULL));
    IS(ERROR_TEXT, c_file_duration("\xff", &duration));
    EXPECT(strstr(c_last_error(), "ymd_file_duration") != NULL);
    IS(ERROR_FAILED, c_file_duration("missing", &duration));
    IS(ERROR_TEXT, c_set_media_info_language("\xf0\x9f\x8e\xac"));
    snprintf(file, sizeof(file), "%s\\c-%lu-\xe7\x89\x87.png", directory, GetCurrentProcessId());
    OK(c_save_png(&picture, file));
    IS(ERROR_FAILED, c_save_png(&picture, "no\\such\\place.png"));
    EXPECT(c_last_hresult() < 0);
    picture.size = 12; /* an older host's has no pixels */
    IS(ERROR_ARGUMENT, c_save_png(&picture, file));
    OK(c_log_add(CountRecord, NULL, &sinks[0]));
    IS(ERROR_ARGUMENT, c_log_add(NULL, NULL, &sinks[1]));
    OK(c_log_add_file(file, &sinks[1]));
    OK(c_log_add_debugger(&sinks[2]));
    OK(c_log_write("C", YMD_LOG_ERROR, "\xe7\x89\x87"));
    OK(c_log_set_level("C", YMD_LOG_OFF));
    OK(c_log_get_level("C", &level));
    OK(c_log_write("C", YMD_LOG_ERROR, "\xe7\x89\x87"));
    EXPECT(level == YMD_LOG_OFF && g_records == 1);
    for (count = 0; count < 3; ++count) {
        OK(c_log_remove(sinks[count]));
    }
}

static void Schemes(ymd_scheme* scheme) {
    const char* const types[] = {"test", "other"};
    ymd_scheme* copy;
    ymd_scheme_report* report;
    ymd_scheme_filter** filters;
    char** names;
    uint32_t count;
    IS(ERROR_FAILED, c_scheme_load_text(scheme, "{", 0));
    OK(c_scheme_get_report(scheme, &report));
    EXPECT(report->failure == YMD_SCHEME_SYNTAX && *report->reason != '\0');
    c_free(report);
    IS(ERROR_FAILED, c_scheme_load_file(scheme, "missing", 0));
    OK(c_scheme_load_text(scheme, kScript, 0));
    OK(c_scheme_get_report(scheme, &report));
    EXPECT(report->note_count == 1 && report->notes[0]->kind == YMD_NOTE_UNKNOWN_REFERENCE);
    c_free(report);
    OK(c_scheme_create(scheme, &copy));
    IS(ERROR_STATE, c_scheme_destroy(scheme));
    OK(c_scheme_unload(copy));
    OK(c_scheme_get_types(copy, &names, &count));
    EXPECT(count == 0);
    c_free(names);
    OK(c_scheme_get_types(scheme, &names, &count));
    EXPECT(count == 1 && strcmp(names[0], "test") == 0);
    c_free(names);
    OK(c_scheme_get_filters(scheme, types, 2, &filters, &count));
    EXPECT(count == 3 && strcmp(filters[0]->name, "Quelle \xe7\x89\x87") == 0);
    EXPECT(filters[0]->role == YMD_ROLE_SOURCE && filters[1]->clsid[0] == '{');
    c_free(filters);
    IS(ERROR_NOT_FOUND, c_scheme_get_filters(scheme, types + 1, 1, &filters, &count));
    OK(c_scheme_unload_modules(copy));
    OK(c_scheme_destroy(copy));
    IS(ERROR_HANDLE, c_scheme_unload(copy));
}

/* Each function of an item's, with a handle that is none. */
static void BadItem(ymd_item* bad) {
    ymd_event event = {.size = sizeof(event)};
    ymd_video_info video = {.size = sizeof(video)};
    ymd_audio_info audio = {.size = sizeof(audio)};
    ymd_rectangle rectangle = {.size = sizeof(rectangle)};
    ymd_load_report* report;
    ymd_text_pair **pairs, *name;
    ymd_filter** filters;
    ymd_picture* picture;
    uint8_t* dib;
    void* object;
    char* text;
    uint32_t count;
    int32_t is;
    int64_t value, other;
    double real;
    const ymd_result results[] = {c_item_destroy(bad),
                                  c_item_set_path(bad, kPath),
                                  c_item_load(bad, NULL, 0),
                                  c_item_get_load_report(bad, &report),
                                  c_item_unload(bad),
                                  c_item_link_all(bad),
                                  c_item_unlink_all(bad),
                                  c_item_get_int(bad, YMD_LOOP, &value),
                                  c_item_set_int(bad, YMD_LOOP, 1),
                                  c_item_get_real(bad, 1, &real),
                                  c_item_set_real(bad, 1, 1),
                                  c_item_get_text(bad, YMD_PATH, &text),
                                  c_item_get_video_info(bad, 0, &video),
                                  c_item_get_audio_info(bad, 0, &audio),
                                  c_item_get_media_info(bad, &pairs, &count),
                                  c_item_get_track_name(bad, 1, 0, &name),
                                  c_item_get_track_renderer(bad, 1, 0, &object),
                                  c_item_is_track_enabled(bad, 1, 0, &is),
                                  c_item_enable_track(bad, 1, 0, 1),
                                  c_item_enable_only_track(bad, 1, 0),
                                  c_item_enable_all_tracks(bad, 1, 1),
                                  c_item_link_all_tracks(bad, 1, 1),
                                  c_item_play(bad),
                                  c_item_pause(bad),
                                  c_item_stop(bad),
                                  c_item_stop_when_ready(bad),
                                  c_item_step(bad, 1),
                                  c_item_get_position(bad, &value, &other),
                                  c_item_set_clip(bad, 0, 1),
                                  c_item_set_loop_range(bad, 0, 1),
                                  c_item_wait_event(bad, &event, 0),
                                  c_item_set_event_callback(bad, NULL, NULL),
                                  c_item_set_filter_callback(bad, NULL, NULL),
                                  c_item_get_filters(bad, &filters, &count),
                                  c_item_visit_filters(bad, CountFilter, NULL, 1),
                                  c_item_find_interface(bad, "", 0, &object),
                                  c_item_show_properties(bad, 0, NULL),
                                  c_item_set_window(bad, NULL),
                                  c_item_get_source(bad, &rectangle),
                                  c_item_set_source(bad, &rectangle),
                                  c_item_get_destination(bad, &rectangle),
                                  c_item_set_destination(bad, &rectangle),
                                  c_item_get_snapshot(bad, &picture),
                                  c_item_save_snapshot(bad, "x"),
                                  c_item_get_dib(bad, &dib, &count),
                                  c_item_mute(bad, 1)};
    for (count = 0; count < sizeof(results) / sizeof(*results); ++count) {
        EXPECT(results[count] == YMD_ERROR_HANDLE ||
               (printf("[%u] %d\n", count, results[count]), 0));
    }
}

static void Loaded(ymd_item* item, const char* directory) {
    struct OldEvent {
        uint32_t size;
        int32_t code;
        uint64_t behind;
    } old = {8, 0, 77};
    ymd_event event = {.size = sizeof(event)};
    ymd_video_info video = {.size = sizeof(video)};
    ymd_audio_info audio = {.size = sizeof(audio)};
    ymd_rectangle rectangle = {.size = sizeof(rectangle)};
    ymd_load_report* report;
    ymd_text_pair **pairs, *name;
    ymd_filter** filters;
    ymd_picture* picture;
    uint8_t* dib;
    void* object;
    char file[MAX_PATH];
    uint32_t count;
    int32_t is, kind;
    int64_t value, duration;
    double real;
    OK(c_item_get_load_report(item, &report));
    EXPECT(report->filter_count == 3 && report->filters[0]->added && *report->failure == '\0');
    c_free(report);
    EXPECT(g_filters == 3);
    for (is = YMD_IS_URL; is <= YMD_AS_FAST_AS_POSSIBLE; ++is) {
        OK(c_item_get_int(item, is, &value));
    }
    OK(c_item_get_int(item, YMD_VIDEO_WIDTH, &value));
    EXPECT(value == 160);
    IS(ERROR_ARGUMENT, c_item_get_int(item, 0, &value));
    IS(ERROR_ARGUMENT, c_item_set_int(item, YMD_DURATION, 1));
    IS(ERROR_ARGUMENT, c_item_set_int(item, YMD_VOLUME, 1));
    OK(c_item_set_int(item, YMD_VOLUME, -500));
    OK(c_item_set_real(item, YMD_VOLUME_FRACTION, 1));
    OK(c_item_get_real(item, YMD_PLAY_RATE, &real));
    EXPECT(real == 1);
    for (is = YMD_PATH; is <= YMD_GRAPH_SVG; ++is) {
        TEXT_IS(c_item_get_text(item, is, &text), is != YMD_PATH || strcmp(text, kPath) == 0);
    }
    TEXT_IS(c_item_get_text(item, YMD_GRAPH_SVG, &text), strstr(text, "\xe7\x89\x87") != NULL);
    OK(c_item_get_video_info(item, 0, &video));
    OK(c_item_get_audio_info(item, 0, &audio));
    EXPECT(video.height == 120 && audio.channels > 0);
    IS(ERROR_NOT_FOUND, c_item_get_audio_info(item, 9, &audio));
    OK(c_item_get_media_info(item, &pairs, &count));
    c_free(pairs);
    for (kind = YMD_VIDEO; kind <= YMD_AUDIO; ++kind) {
        OK(c_item_get_track_name(item, kind, 0, &name));
        c_free(name);
        OK(c_item_get_track_renderer(item, kind, 0, &object));
        ((IUnknown*)object)->lpVtbl->Release(object);
        OK(c_item_is_track_enabled(item, kind, 0, &is));
        EXPECT(is == 1);
        OK(c_item_enable_track(item, kind, 0, 1));
        OK(c_item_enable_only_track(item, kind, 0));
        OK(c_item_enable_all_tracks(item, kind, 1));
        OK(c_item_link_all_tracks(item, kind, 1));
        IS(ERROR_NOT_FOUND, c_item_enable_track(item, kind, 9, 0));
    }
    IS(ERROR_ARGUMENT, c_item_enable_track(item, 3, 0, 0));
    OK(c_item_get_filters(item, &filters, &count));
    EXPECT(count >= 3 && filters[0]->pin_count == 2 && filters[0]->pins[0]->is_connected);
    c_free(filters);
    g_filters = 0;
    OK(c_item_visit_filters(item, CountFilter, item, 1));
    EXPECT(g_filters >= 3);
    OK(c_item_find_interface(item, "{56A868B5-0AD4-11CE-B03A-0020AF0BA770}", 0, &object));
    ((IUnknown*)object)->lpVtbl->Release(object);
    IS(ERROR_ARGUMENT, c_item_find_interface(item, "IBasicVideo", 0, &object));
    OK(c_item_show_properties(item, 99, NULL));
    IS(ERROR_ARGUMENT, c_item_set_window(item, (void*)0x7));
    OK(c_item_set_window(item, NULL));
    OK(c_item_get_source(item, &rectangle));
    (void)c_item_set_source(item, &rectangle);
    OK(c_item_get_destination(item, &rectangle));
    (void)c_item_set_destination(item, &rectangle);
    rectangle.size = 8;
    IS(ERROR_ARGUMENT, c_item_set_source(item, &rectangle));
    OK(c_item_pause(item));
    OK(c_item_play(item));
    OK(c_item_pause(item));
    OK(c_item_get_snapshot(item, &picture));
    EXPECT(picture->width == 160 && picture->pixels_size == 160 * 120 * 4);
    c_free(picture);
    snprintf(file, sizeof(file), "%s\\c-interface.png", directory);
    OK(c_item_save_snapshot(item, file));
    if (c_item_get_dib(item, &dib, &count) == YMD_OK) { /* not every renderer tells its size */
        c_free(dib);
    }
    OK(c_item_step(item, 2));
    OK(c_item_get_position(item, &value, &duration));
    EXPECT(value >= 800000 && duration == 10000000);
    OK(c_item_set_loop_range(item, 0, 5000000));
    OK(c_item_set_loop_range(item, 0, 0));
    OK(c_item_set_clip(item, 5000000, 0));
    OK(c_item_mute(item, 1));
    OK(c_item_play(item));
    do { /* an older host's record: nothing is written behind it */
        OK(c_item_wait_event(item, (ymd_event*)&old, 20000));
    } while (old.code != 1);
    EXPECT(old.behind == 77 && g_events > 0);
    OK(c_item_stop(item));
    while (c_item_wait_event(item, &event, 0) == YMD_OK) {
    }
    IS(ERROR_TIMEOUT, c_item_wait_event(item, &event, 10));
    IS(ERROR_ARGUMENT, c_item_wait_event(item, NULL, 0));
    OK(c_item_stop_when_ready(item));
    OK(c_item_unlink_all(item));
    OK(c_item_link_all(item));
    OK(c_item_unload(item));
    IS(ERROR_FAILED, c_item_step(item, 1));
}

/* Comes, plays and goes while others do, and waits in an item that another thread ends. */
static DWORD WINAPI Thread(void* player) {
    ymd_event event = {.size = sizeof(event)};
    ymd_item* item;
    int round;
    CoInitializeEx(NULL, COINIT_MULTITHREADED);
    for (round = 0; round < 20; ++round) {
        OK(c_item_create(player, "test:///1s?video=0&audio=0", &item));
        OK(c_item_destroy(item));
        IS(ERROR_HANDLE, c_item_destroy(item));
    }
    OK(c_player_get_item(player, 0, &item));
    do {
        round = c_item_wait_event(item, &event, INFINITE);
    } while (round == YMD_OK);
    EXPECT(round == YMD_ERROR_HANDLE);
    CoUninitialize();
    return 0;
}

int main(int argc, char** argv) {
    const HMODULE library = LoadLibraryA(argc > 1 ? argv[1] : "YMDSPlayer.dll");
    char directory[MAX_PATH] = ".";
    HANDLE threads[4];
    ymd_player* player;
    ymd_scheme* scheme;
    ymd_item *item, *again;
    uint32_t count;
    int i;
    FUNCTIONS(FETCH)
    if (g_failures != 0) {
        return 1;
    }
    GetTempPathA(sizeof(directory), directory);
    CoInitializeEx(NULL, COINIT_MULTITHREADED);
    Library(directory);
    OK(c_player_create(&player));
    OK(c_player_get_scheme(player, &scheme));
    Schemes(scheme);
    IS(ERROR_NOT_FOUND, c_item_create(player, "missing\xe7\x89\x87.mp4", &item));
    EXPECT(item == NULL && strstr(c_last_error(), "not found") != NULL);
    OK(c_item_create(player, kPath, &item));
    OK(c_player_get_item(player, 0, &again));
    OK(c_player_get_item_count(player, &count));
    EXPECT(again == item && count == 1);
    OK(c_item_set_path(item, "other://nobody"));
    IS(ERROR_FAILED, c_item_load(item, NULL, 0));
    EXPECT(strlen(c_last_error()) > 20 && c_last_hresult() < 0);
    OK(c_item_set_path(item, kPath));
    OK(c_item_set_event_callback(item, CountEvent, player));
    OK(c_item_set_filter_callback(item, CountFilter, item));
    g_filters = 0;
    OK(c_item_load(item, scheme, 1));
    Loaded(item, directory);
    OK(c_item_play(item));
    for (i = 0; i < 4; ++i) {
        threads[i] = CreateThread(NULL, 0, Thread, player, 0, NULL);
    }
    Sleep(300);
    OK(c_player_remove_items(player, kPath));
    EXPECT(WaitForMultipleObjects(4, threads, TRUE, 60000) == WAIT_OBJECT_0);
    BadItem(item);
    BadItem(NULL);
    BadItem((ymd_item*)player);
    OK(c_item_create(player, NULL, &item));
    OK(c_player_destroy(player));
    BadItem(item);
    IS(ERROR_HANDLE, c_player_destroy(player));
    IS(ERROR_HANDLE, c_player_get_item_count((ymd_player*)0x1234, &count));
    IS(ERROR_HANDLE, c_scheme_unload(scheme));
    TEXT_IS(c_live_text(&text), *text == '\0');
    CoUninitialize();
    printf(g_failures == 0 ? "all held\n" : "%d failed\n", g_failures);
    return g_failures != 0;
}
