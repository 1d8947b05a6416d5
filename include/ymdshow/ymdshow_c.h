#ifndef YMDSHOW_YMDSHOW_C_H
#define YMDSHOW_YMDSHOW_C_H

/*
 * The library for hosts in C and in every language that calls C: exported from YMDSPlayer.dll,
 * x86-64, __cdecl. A host links the import library or fetches the names with GetProcAddress.
 *
 * RESULTS     Every function answers YMD_OK or a negative code, but for those that say otherwise.
 *             Of a failure ymd_last_error has the text and ymd_last_hresult the HRESULT, until the
 *             thread's next call. Out-parameters are cleared first and may not be null.
 * HANDLES     Opaque. One that is null, was destroyed or is of another kind gives
 *             YMD_ERROR_HANDLE. What is destroyed while another thread is in a call of it ends
 *             when that call returns.
 * TEXT        UTF-8 with a terminating zero, both ways; YMD_ERROR_TEXT for what is not UTF-8.
 * MEMORY      Text, records and lists that a function makes are one block each, given back with
 *             ymd_free. A list is an array of pointers to records, and its length; an empty one
 *             has a block as well. Texts within records are never null.
 * RECORDS     Begin with their size in bytes. A host sets it in those that it hands in, and the
 *             library fills no more; in those that the library makes, it tells what is there.
 * LATER       Functions, constants and members at the end of records are added, and nothing is
 *             taken away or changed: a host runs with every later library. YMD_INTERFACE counts the
 *             additions; ymd_interface has the count of the library that is loaded.
 * THREADS     Every function, from every thread on which COM is initialised (as multithreaded
 *             apartment where an item is used from several). A renderer's window belongs to the
 *             thread that loads the item: it pumps messages.
 * UNITS       Times in 100 ns, volume in hundredths of a decibel (-10000 to 0), sizes in pixels.
 * COM         Interfaces are void*, and carry a reference for the host where they are handed out;
 *             to a callback they are lent.
 * CALLBACKS   Run on threads of the library's. They keep short, throw nothing, and neither destroy
 *             the item that they are called for nor its player (YMD_ERROR_STATE). One for events
 *             that runs for more than 500 ms while the item is stopped or ended is
 *             terminated where it stands.
 */

#include <stdint.h>

#if defined(YMDSPLAYER_BUILD)
#define YMD_API __declspec(dllexport)
#else
#define YMD_API __declspec(dllimport)
#endif
#define YMD_CALL __cdecl

#define YMD_INTERFACE 1

#ifdef __cplusplus
extern "C" {
#endif

/* Players, which own items; items; scheme sets. */
typedef struct ymd_player ymd_player;
typedef struct ymd_item ymd_item;
typedef struct ymd_scheme ymd_scheme;

typedef int32_t ymd_result;
enum {
    YMD_OK = 0,
    YMD_ERROR_ARGUMENT = -1,  /* a null pointer, a value out of range, a record too small */
    YMD_ERROR_HANDLE = -2,    /* null, destroyed, or of another kind */
    YMD_ERROR_TEXT = -3,      /* not UTF-8 */
    YMD_ERROR_MEMORY = -4,    /* memory ran out */
    YMD_ERROR_NOT_FOUND = -5, /* no such file, track, stream, interface or name */
    YMD_ERROR_STATE = -6,     /* not from here, or not now */
    YMD_ERROR_FAILED = -7,    /* the graph cannot, or there is none */
    YMD_ERROR_TIMEOUT = -8,   /* nothing came in time */
    YMD_ERROR_INTERNAL = -9   /* an exception that nobody expected */
};

/* --- Records --------------------------------------------------------------- */

/* An event of an item's graph: an EC_ code of DirectShow's. Parameters that point somewhere do so
   during a callback only. */
typedef struct ymd_event {
    uint32_t size;
    int32_t code;
    int64_t param1;
    int64_t param2;
    uint64_t lost; /* events before this one that found the queue full */
} ymd_event;

typedef struct ymd_video_info {
    uint32_t size;
    int32_t width;
    int32_t height;
    float aspect_ratio;       /* of the display; -1 when it is not known */
    float rotation;           /* degrees */
    int32_t has_aspect_ratio; /* 1: known, and so far from width / height that it matters */
    int64_t frame_time;
    int64_t duration;
    int64_t source_duration;
    char format[64]; /* in lower case; a scheme name */
} ymd_video_info;

typedef struct ymd_audio_info {
    uint32_t size;
    uint32_t sampling_rate; /* per second in a loaded item */
    uint32_t channels;
    uint32_t bit_depth;
    int64_t duration;
    int64_t source_duration;
    char format[64];
} ymd_audio_info;

/* Rows from the top, four bytes a pixel: blue, green, red, 255. */
typedef struct ymd_picture {
    uint32_t size;
    int32_t width;
    int32_t height;
    int32_t stride; /* bytes from a row to the next */
    const uint8_t* pixels;
    uint64_t pixels_size; /* in bytes */
} ymd_picture;

typedef struct ymd_rectangle {
    uint32_t size;
    int32_t left;
    int32_t top;
    int32_t width;
    int32_t height;
} ymd_rectangle;

typedef struct ymd_text_pair {
    uint32_t size;
    const char* key;
    const char* value;
} ymd_text_pair;

typedef struct ymd_pin {
    uint32_t size;
    const char* name;
    int32_t is_output;
    int32_t is_connected;
    const char* media_type; /* in words; empty when it is not known */
    int32_t filter;         /* index of the filter on the other side; -1 for an open pin */
    int32_t pin;            /* of the pin there; -1 when that filter does not list it */
} ymd_pin;

typedef struct ymd_filter {
    uint32_t size;
    const char* name;
    const char* clsid; /* in registry form */
    const char* file;  /* module or server; empty when it is not known */
    int32_t is_from_module;
    int32_t role; /* YMD_ROLE_..., by the pins */
    const ymd_pin* const* pins;
    uint32_t pin_count;
} ymd_filter;

/* A filter description of a scheme script. */
typedef struct ymd_scheme_filter {
    uint32_t size;
    const char* name;
    const char* clsid;
    const char* module;       /* empty for a system filter */
    const char* category;     /* a CLSID, or empty */
    const char* dmo_category; /* a CLSID: the filter is a DMO; or empty */
    int32_t role;             /* 0: the filter is asked */
    int32_t only_one;
    int32_t cache;
    int32_t try_replace;
} ymd_scheme_filter;

/* What a script's load passed over. */
typedef struct ymd_scheme_note {
    uint32_t size;
    int32_t kind; /* YMD_NOTE_... */
    const char* place;
    const char* reason;
    uint64_t line;
    uint64_t column;
} ymd_scheme_note;

typedef struct ymd_scheme_report {
    uint32_t size;
    int32_t failure;    /* YMD_SCHEME_... */
    const char* reason; /* empty after a load that succeeded */
    uint64_t line;      /* from 1; 0 for the whole file */
    uint64_t column;
    const ymd_scheme_note* const* notes;
    uint32_t note_count;
    uint32_t reserved;
    uint64_t omitted; /* notes beyond these */
} ymd_scheme_report;

typedef struct ymd_load_name {
    uint32_t size;
    int32_t found;
    const char* name;
} ymd_load_name;

typedef struct ymd_load_filter {
    uint32_t size;
    int32_t role;
    const char* name;
    const char* module;
    const char* clsid;
    int32_t hresult;
    int32_t created;
    int32_t added;
} ymd_load_filter;

typedef struct ymd_load_attempt {
    uint32_t size;
    int32_t way; /* 1 to 4 */
    const char* step;
    const char* filter;
    const char* text;
    int32_t hresult;
} ymd_load_attempt;

typedef struct ymd_load_refusal {
    uint32_t size;
    int32_t hresult;
    const char* filter;
} ymd_load_refusal;

/* An output pin that reached no renderer. */
typedef struct ymd_dead_end {
    uint32_t size;
    int32_t way;
    const char* filter;
    const char* pin;
    const char* media_type;
    int32_t hresult;
    uint32_t refusal_count;
    const ymd_load_refusal* const* refusals;
} ymd_dead_end;

typedef struct ymd_load_report {
    uint32_t size;
    int32_t hresult;
    const char* failure;     /* one line; empty after a load that succeeded */
    const char* explanation; /* one paragraph; empty when there is nothing to explain */
    const ymd_load_name* const* names;
    const ymd_load_filter* const* filters;
    const ymd_load_attempt* const* attempts;
    const ymd_dead_end* const* dead_ends;
    const ymd_filter* const* graph; /* what stood there when the load gave up */
    uint32_t name_count;
    uint32_t filter_count;
    uint32_t attempt_count;
    uint32_t dead_end_count;
    uint32_t graph_count;
} ymd_load_report;

/* Something that the library holds; addresses are to be compared, not used. */
typedef struct ymd_live_object {
    uint32_t size;
    int32_t kind; /* YMD_LIVE_... */
    const char* name;
    uint64_t address;
    uint64_t item; /* address of the item that it belongs to */
    uint32_t references;
    int32_t is_busy;
} ymd_live_object;

typedef struct ymd_log_record {
    uint32_t size;
    int32_t level; /* YMD_LOG_... */
    const char* category;
    const char* source_file;
    const char* function;
    const char* text;
    int32_t line;
} ymd_log_record;

/* --- Constants ------------------------------------------------------------- */

enum { YMD_VIDEO = 1, YMD_AUDIO = 2 };                                     /* kinds of tracks */
enum { YMD_STOPPED = 0, YMD_PAUSED = 1, YMD_RUNNING = 2 };                 /* YMD_PLAY_STATE */
enum { YMD_ROLE_SOURCE = 1, YMD_ROLE_TRANSFORM = 2, YMD_ROLE_RENDER = 4 }; /* 0: not known */
enum { YMD_LIVE_ITEM = 0, YMD_LIVE_GRAPH = 1, YMD_LIVE_FILTER = 2 };
enum { YMD_LOG_PROGRESS = 4, YMD_LOG_WARNING = 8, YMD_LOG_ERROR = 16, YMD_LOG_OFF = 0x7fffffff };

enum {
    YMD_SCHEME_LOADED = 0,
    YMD_SCHEME_NO_PATH = 1,
    YMD_SCHEME_CANNOT_OPEN = 2,
    YMD_SCHEME_EMPTY = 3,
    YMD_SCHEME_ENCODING = 4,
    YMD_SCHEME_SYNTAX = 5,
    YMD_SCHEME_NO_SCHEMES = 6,
    YMD_SCHEME_NO_MEMORY = 7
};

enum {
    YMD_NOTE_IGNORED_FILTER = 0,
    YMD_NOTE_DUPLICATE_NAME = 1,
    YMD_NOTE_UNKNOWN_REFERENCE = 2,
    YMD_NOTE_REPEATED_FILTER = 3,
    YMD_NOTE_IGNORED_SCHEME = 4,
    YMD_NOTE_CUT_TYPE_LIST = 5,
    YMD_NOTE_MALFORMED_GUID = 6,
    YMD_NOTE_UNKNOWN_ROLE = 7,
    YMD_NOTE_WRONG_TYPE = 8,
    YMD_NOTE_UNKNOWN_KEY = 9,
    YMD_NOTE_UNREADABLE_TEXT = 10,
    YMD_NOTE_TOO_LARGE = 11
};

/* Values of an item, for ymd_item_get_int and, where "set" is said, ymd_item_set_int. */
enum {
    YMD_IS_URL = 1,
    YMD_IS_LIVE_STREAM = 2,
    YMD_IS_LOADED = 3,
    YMD_IS_READY = 4,
    YMD_IS_LINKED = 5,
    YMD_VIDEO_TRACKS = 6, /* of the loaded graph, else of the media information */
    YMD_AUDIO_TRACKS = 7,
    YMD_ORIGINAL_VIDEO_TRACKS = 8, /* of the media information */
    YMD_ORIGINAL_AUDIO_TRACKS = 9,
    YMD_FIRST_VIDEO_TRACK = 10, /* the first that is enabled; -1 for none */
    YMD_FIRST_AUDIO_TRACK = 11,
    YMD_DECODE_VIDEO = 12, /* set; kept for the host */
    YMD_DECODE_AUDIO = 13, /* set; kept for the host */
    YMD_CAN_STEP = 14,
    YMD_POSITION = 15, /* set seeks; 0 while stopped */
    YMD_DURATION = 16,
    YMD_CLIP_START = 17,
    YMD_CLIP_END = 18,
    YMD_CLIP_DURATION = 19,
    YMD_PLAY_STATE = 20,
    YMD_LOOP = 21, /* set: 1 restarts at the end */
    YMD_VIDEO_WIDTH = 22,
    YMD_VIDEO_HEIGHT = 23,
    YMD_FRAME_TIME = 24,
    YMD_HAS_ASPECT_RATIO = 25,
    YMD_VOLUME = 26,             /* set */
    YMD_AS_FAST_AS_POSSIBLE = 27 /* set; no effect while it plays */
};

/* For ymd_item_get_real and ymd_item_set_real. */
enum {
    YMD_PLAY_RATE = 1, /* set; 1 is the item's own speed */
    YMD_ASPECT_RATIO = 2,
    YMD_ROTATION = 3,       /* degrees */
    YMD_VOLUME_FRACTION = 4 /* set; 0 to 1 on a power curve, does not round-trip */
};

/* For ymd_item_get_text. */
enum {
    YMD_PATH = 1,
    YMD_EXTENSION = 2,
    YMD_FILTER_LIST = 3, /* a listing of the used filters */
    YMD_MEDIA_INFO = 4,  /* the media information library's report */
    YMD_GRAPH_DOT = 5,   /* the graph for Graphviz; of a failed load too */
    YMD_GRAPH_SVG = 6
};

/* --- Callbacks ------------------------------------------------------------- */

typedef void(YMD_CALL* ymd_event_callback)(ymd_item* item, const ymd_event* event, void* user);
/* A filter (IBaseFilter). While an item loads it is not to be loaded, unloaded or given a path. */
typedef void(YMD_CALL* ymd_filter_callback)(void* filter, void* user);
/* Called under the logger's lock: what it calls of the library answers YMD_ERROR_STATE. */
typedef void(YMD_CALL* ymd_log_callback)(const ymd_log_record* record, void* user);

/* --- Library --------------------------------------------------------------- */

/* Such as "0.1.0". It and the text of the last error are the library's: not to be freed. */
YMD_API const char* YMD_CALL ymd_version(void);
YMD_API uint32_t YMD_CALL ymd_interface(void);
/* Empty after a call that succeeded. */
YMD_API const char* YMD_CALL ymd_last_error(void);
YMD_API int32_t YMD_CALL ymd_last_hresult(void);
/* Null is fine. */
YMD_API void YMD_CALL ymd_free(const void* block);

/* An HRESULT in words, and the name of a graph event. */
YMD_API ymd_result YMD_CALL ymd_result_text(int32_t hresult, char** text);
YMD_API ymd_result YMD_CALL ymd_event_text(int32_t code, char** text);
/* Why a local file cannot be played; empty when it can be read. */
YMD_API ymd_result YMD_CALL ymd_file_trouble(const char* path, char** text);
/* By the media information library. */
YMD_API ymd_result YMD_CALL ymd_file_duration(const char* path, int64_t* duration);
YMD_API ymd_result YMD_CALL ymd_set_media_info_language(const char* path);
YMD_API ymd_result YMD_CALL ymd_save_png(const ymd_picture* picture, const char* path);
/* What the library holds, to find a host's leaks; as a list and as text. */
YMD_API ymd_result YMD_CALL ymd_live_objects(ymd_live_object*** objects, uint32_t* count);
YMD_API ymd_result YMD_CALL ymd_live_text(char** text);

/* Sinks of log records. After ymd_log_remove the callback is not called any more. */
YMD_API ymd_result YMD_CALL ymd_log_add(ymd_log_callback callback, void* user, uint32_t* sink);
YMD_API ymd_result YMD_CALL ymd_log_add_file(const char* path, uint32_t* sink);
YMD_API ymd_result YMD_CALL ymd_log_add_debugger(uint32_t* sink);
YMD_API ymd_result YMD_CALL ymd_log_remove(uint32_t sink);
YMD_API ymd_result YMD_CALL ymd_log_get_level(const char* category, int32_t* level);
YMD_API ymd_result YMD_CALL ymd_log_set_level(const char* category, int32_t level);
YMD_API ymd_result YMD_CALL ymd_log_write(const char* category, int32_t level, const char* text);

/* --- Scheme sets ----------------------------------------------------------- */

/* A set of the host's own; a copy of `source` unless that is null. Items that have loaded with a
   set keep what they need of it. */
YMD_API ymd_result YMD_CALL ymd_scheme_create(ymd_scheme* source, ymd_scheme** scheme);
YMD_API ymd_result YMD_CALL ymd_scheme_destroy(ymd_scheme* scheme);
/* Adds what a script describes: `replace` 1 puts it in the place of what is there of a file type.
   Bad entries are passed over, and told by the report of the last load. */
YMD_API ymd_result YMD_CALL ymd_scheme_load_file(ymd_scheme* scheme, const char* path,
                                                 int32_t replace);
YMD_API ymd_result YMD_CALL ymd_scheme_load_text(ymd_scheme* scheme, const char* script,
                                                 int32_t replace);
YMD_API ymd_result YMD_CALL ymd_scheme_get_report(ymd_scheme* scheme, ymd_scheme_report** report);
/* The file types that have a scheme. */
YMD_API ymd_result YMD_CALL ymd_scheme_get_types(ymd_scheme* scheme, char*** types,
                                                 uint32_t* count);
/* The filters of these types, in script order, without what may stand only once and does already.
   YMD_ERROR_NOT_FOUND for a single type without a scheme. */
YMD_API ymd_result YMD_CALL ymd_scheme_get_filters(ymd_scheme* scheme, const char* const* types,
                                                   uint32_t type_count,
                                                   ymd_scheme_filter*** filters, uint32_t* count);
YMD_API ymd_result YMD_CALL ymd_scheme_unload(ymd_scheme* scheme);
/* Modules stay loaded while items need them. */
YMD_API ymd_result YMD_CALL ymd_scheme_unload_modules(ymd_scheme* scheme);

/* --- Players --------------------------------------------------------------- */

YMD_API ymd_result YMD_CALL ymd_player_create(ymd_player** player);
/* Destroys its items first. */
YMD_API ymd_result YMD_CALL ymd_player_destroy(ymd_player* player);
/* The player's own set: the same handle each time, which ends with the player. */
YMD_API ymd_result YMD_CALL ymd_player_get_scheme(ymd_player* player, ymd_scheme** scheme);
YMD_API ymd_result YMD_CALL ymd_player_get_item_count(ymd_player* player, uint32_t* count);
YMD_API ymd_result YMD_CALL ymd_player_get_item(ymd_player* player, uint32_t index,
                                                ymd_item** item);
/* Destroys the items with this path, letter case included; all of them for null. */
YMD_API ymd_result YMD_CALL ymd_player_remove_items(ymd_player* player, const char* path);

/* --- Items: lifecycle ------------------------------------------------------ */

/* An item of the player's, not loaded. A null path names nothing yet. */
YMD_API ymd_result YMD_CALL ymd_item_create(ymd_player* player, const char* path, ymd_item** item);
/* Ends a load of another thread's, stops and unloads. */
YMD_API ymd_result YMD_CALL ymd_item_destroy(ymd_item* item);
/* A file or URL; unloads what was loaded. */
YMD_API ymd_result YMD_CALL ymd_item_set_path(ymd_item* item, const char* path);
/* Builds the graph. A null scheme means the player's; `renderers_first` 1 tries the scheme's
   renderers first. ymd_last_error says why it failed, the report more of it. */
YMD_API ymd_result YMD_CALL ymd_item_load(ymd_item* item, ymd_scheme* scheme,
                                          int32_t renderers_first);
YMD_API ymd_result YMD_CALL ymd_item_get_load_report(ymd_item* item, ymd_load_report** report);
YMD_API ymd_result YMD_CALL ymd_item_unload(ymd_item* item);
YMD_API ymd_result YMD_CALL ymd_item_link_all(ymd_item* item);
YMD_API ymd_result YMD_CALL ymd_item_unlink_all(ymd_item* item);

YMD_API ymd_result YMD_CALL ymd_item_get_int(ymd_item* item, int32_t what, int64_t* value);
YMD_API ymd_result YMD_CALL ymd_item_set_int(ymd_item* item, int32_t what, int64_t value);
YMD_API ymd_result YMD_CALL ymd_item_get_real(ymd_item* item, int32_t what, double* value);
YMD_API ymd_result YMD_CALL ymd_item_set_real(ymd_item* item, int32_t what, double value);
YMD_API ymd_result YMD_CALL ymd_item_get_text(ymd_item* item, int32_t what, char** text);

/* --- Items: streams and tracks ---------------------------------------------- */

YMD_API ymd_result YMD_CALL ymd_item_get_video_info(ymd_item* item, uint32_t index,
                                                    ymd_video_info* info);
YMD_API ymd_result YMD_CALL ymd_item_get_audio_info(ymd_item* item, uint32_t index,
                                                    ymd_audio_info* info);
/* The media information report as pairs; a heading is a key without a value. */
YMD_API ymd_result YMD_CALL ymd_item_get_media_info(ymd_item* item, ymd_text_pair*** pairs,
                                                    uint32_t* count);
/* What the filter that lists the streams calls a track, and its language. */
YMD_API ymd_result YMD_CALL ymd_item_get_track_name(ymd_item* item, int32_t kind, uint32_t index,
                                                    ymd_text_pair** name);
/* IBaseFilter, with a reference. */
YMD_API ymd_result YMD_CALL ymd_item_get_track_renderer(ymd_item* item, int32_t kind,
                                                        uint32_t index, void** renderer);
YMD_API ymd_result YMD_CALL ymd_item_is_track_enabled(ymd_item* item, int32_t kind, uint32_t index,
                                                      int32_t* enabled);
YMD_API ymd_result YMD_CALL ymd_item_enable_track(ymd_item* item, int32_t kind, uint32_t index,
                                                  int32_t enable);
YMD_API ymd_result YMD_CALL ymd_item_enable_only_track(ymd_item* item, int32_t kind,
                                                       uint32_t index);
YMD_API ymd_result YMD_CALL ymd_item_enable_all_tracks(ymd_item* item, int32_t kind,
                                                       int32_t enable);
YMD_API ymd_result YMD_CALL ymd_item_link_all_tracks(ymd_item* item, int32_t kind, int32_t link);

/* --- Items: playback -------------------------------------------------------- */

/* Loads first when necessary. */
YMD_API ymd_result YMD_CALL ymd_item_play(ymd_item* item);
YMD_API ymd_result YMD_CALL ymd_item_pause(ymd_item* item);
/* Stops and rewinds to the clip's start. */
YMD_API ymd_result YMD_CALL ymd_item_stop(ymd_item* item);
YMD_API ymd_result YMD_CALL ymd_item_stop_when_ready(ymd_item* item);
/* Pauses, and shows the picture so many frames ahead or, negative, behind. */
YMD_API ymd_result YMD_CALL ymd_item_step(ymd_item* item, int32_t frames);
/* Both at once. */
YMD_API ymd_result YMD_CALL ymd_item_get_position(ymd_item* item, int64_t* position,
                                                  int64_t* duration);
/* Restricts playback; a negative start means 0, an end below 1 the duration. */
YMD_API ymd_result YMD_CALL ymd_item_set_clip(ymd_item* item, int64_t start, int64_t end);
/* Plays this range again and again; an end that is not behind the start ends that. */
YMD_API ymd_result YMD_CALL ymd_item_set_loop_range(ymd_item* item, int64_t start, int64_t end);

/* The next event of the item's queue, which holds 256; waits at most so many milliseconds
   (0xffffffff: for ever), and handles messages that are sent to the thread's windows.
   YMD_ERROR_HANDLE when the item is destroyed meanwhile. */
YMD_API ymd_result YMD_CALL ymd_item_wait_event(ymd_item* item, ymd_event* event,
                                                uint32_t milliseconds);
/* Gets every event, beside the queue; null ends that. */
YMD_API ymd_result YMD_CALL ymd_item_set_event_callback(ymd_item* item, ymd_event_callback callback,
                                                        void* user);

/* --- Items: filters --------------------------------------------------------- */

/* Called on the loading thread when a filter of the scheme has entered the graph. */
YMD_API ymd_result YMD_CALL ymd_item_set_filter_callback(ymd_item* item,
                                                         ymd_filter_callback callback, void* user);
/* In the direction of the data; of a failed load what stood there. */
YMD_API ymd_result YMD_CALL ymd_item_get_filters(ymd_item* item, ymd_filter*** filters,
                                                 uint32_t* count);
/* The filters that are connected, or all. */
YMD_API ymd_result YMD_CALL ymd_item_visit_filters(ymd_item* item, ymd_filter_callback callback,
                                                   void* user, int32_t all);
/* The interface (an IID in registry form) of the first filter that has it. With `first_only` 1
   only the graph's first filter counts, with its first pin. */
YMD_API ymd_result YMD_CALL ymd_item_find_interface(ymd_item* item, const char* iid,
                                                    int32_t first_only, void** object);
/* Modal; `parent` is a window or null. */
YMD_API ymd_result YMD_CALL ymd_item_show_properties(ymd_item* item, int32_t filter, void* parent);

/* --- Items: picture and sound ----------------------------------------------- */

/* Draws into a window (HWND); null hides the video. */
YMD_API ymd_result YMD_CALL ymd_item_set_window(ymd_item* item, void* window);
/* The part of the picture that is shown, and where in the window. What is set without a picture
   counts from the next load and fails now. */
YMD_API ymd_result YMD_CALL ymd_item_get_source(ymd_item* item, ymd_rectangle* rectangle);
YMD_API ymd_result YMD_CALL ymd_item_set_source(ymd_item* item, const ymd_rectangle* rectangle);
YMD_API ymd_result YMD_CALL ymd_item_get_destination(ymd_item* item, ymd_rectangle* rectangle);
YMD_API ymd_result YMD_CALL ymd_item_set_destination(ymd_item* item,
                                                     const ymd_rectangle* rectangle);
/* The current picture; ymd_last_error says why there is none. */
YMD_API ymd_result YMD_CALL ymd_item_get_snapshot(ymd_item* item, ymd_picture** picture);
YMD_API ymd_result YMD_CALL ymd_item_save_snapshot(ymd_item* item, const char* path);
/* The renderer's own packed DIB. */
YMD_API ymd_result YMD_CALL ymd_item_get_dib(ymd_item* item, uint8_t** dib, uint32_t* size);
/* `mute` 0 restores full volume. */
YMD_API ymd_result YMD_CALL ymd_item_mute(ymd_item* item, int32_t mute);

#ifdef __cplusplus
}
#endif

#endif
