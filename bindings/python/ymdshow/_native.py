"""The C interface as ctypes has it: constants, records and functions, without the DLL."""
import ctypes

_CALLBACK = ctypes.CFUNCTYPE

YMD_OK = 0
YMD_ERROR_ARGUMENT = -1
YMD_ERROR_HANDLE = -2
YMD_ERROR_TEXT = -3
YMD_ERROR_MEMORY = -4
YMD_ERROR_NOT_FOUND = -5
YMD_ERROR_STATE = -6
YMD_ERROR_FAILED = -7
YMD_ERROR_TIMEOUT = -8
YMD_ERROR_INTERNAL = -9
YMD_VIDEO = 1
YMD_AUDIO = 2
YMD_STOPPED = 0
YMD_PAUSED = 1
YMD_RUNNING = 2
YMD_ROLE_SOURCE = 1
YMD_ROLE_TRANSFORM = 2
YMD_ROLE_RENDER = 4
YMD_LIVE_ITEM = 0
YMD_LIVE_GRAPH = 1
YMD_LIVE_FILTER = 2
YMD_LOG_PROGRESS = 4
YMD_LOG_WARNING = 8
YMD_LOG_ERROR = 16
YMD_LOG_OFF = 0x7fffffff
YMD_SCHEME_LOADED = 0
YMD_SCHEME_NO_PATH = 1
YMD_SCHEME_CANNOT_OPEN = 2
YMD_SCHEME_EMPTY = 3
YMD_SCHEME_ENCODING = 4
YMD_SCHEME_SYNTAX = 5
YMD_SCHEME_NO_SCHEMES = 6
YMD_SCHEME_NO_MEMORY = 7
YMD_NOTE_IGNORED_FILTER = 0
YMD_NOTE_DUPLICATE_NAME = 1
YMD_NOTE_UNKNOWN_REFERENCE = 2
YMD_NOTE_REPEATED_FILTER = 3
YMD_NOTE_IGNORED_SCHEME = 4
YMD_NOTE_CUT_TYPE_LIST = 5
YMD_NOTE_MALFORMED_GUID = 6
YMD_NOTE_UNKNOWN_ROLE = 7
YMD_NOTE_WRONG_TYPE = 8
YMD_NOTE_UNKNOWN_KEY = 9
YMD_NOTE_UNREADABLE_TEXT = 10
YMD_NOTE_TOO_LARGE = 11
YMD_IS_URL = 1
YMD_IS_LIVE_STREAM = 2
YMD_IS_LOADED = 3
YMD_IS_READY = 4
YMD_IS_LINKED = 5
YMD_VIDEO_TRACKS = 6
YMD_AUDIO_TRACKS = 7
YMD_ORIGINAL_VIDEO_TRACKS = 8
YMD_ORIGINAL_AUDIO_TRACKS = 9
YMD_FIRST_VIDEO_TRACK = 10
YMD_FIRST_AUDIO_TRACK = 11
YMD_DECODE_VIDEO = 12
YMD_DECODE_AUDIO = 13
YMD_CAN_STEP = 14
YMD_POSITION = 15
YMD_DURATION = 16
YMD_CLIP_START = 17
YMD_CLIP_END = 18
YMD_CLIP_DURATION = 19
YMD_PLAY_STATE = 20
YMD_LOOP = 21
YMD_VIDEO_WIDTH = 22
YMD_VIDEO_HEIGHT = 23
YMD_FRAME_TIME = 24
YMD_HAS_ASPECT_RATIO = 25
YMD_VOLUME = 26
YMD_AS_FAST_AS_POSSIBLE = 27
YMD_PLAY_RATE = 1
YMD_ASPECT_RATIO = 2
YMD_ROTATION = 3
YMD_VOLUME_FRACTION = 4
YMD_PATH = 1
YMD_EXTENSION = 2
YMD_FILTER_LIST = 3
YMD_MEDIA_INFO = 4
YMD_GRAPH_DOT = 5
YMD_GRAPH_SVG = 6


class ymd_event(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("code", ctypes.c_int32),
        ("param1", ctypes.c_int64),
        ("param2", ctypes.c_int64),
        ("lost", ctypes.c_uint64),
    ]


class ymd_video_info(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("width", ctypes.c_int32),
        ("height", ctypes.c_int32),
        ("aspect_ratio", ctypes.c_float),
        ("rotation", ctypes.c_float),
        ("has_aspect_ratio", ctypes.c_int32),
        ("frame_time", ctypes.c_int64),
        ("duration", ctypes.c_int64),
        ("source_duration", ctypes.c_int64),
        ("format", ctypes.c_char * 64),
    ]


class ymd_audio_info(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("sampling_rate", ctypes.c_uint32),
        ("channels", ctypes.c_uint32),
        ("bit_depth", ctypes.c_uint32),
        ("duration", ctypes.c_int64),
        ("source_duration", ctypes.c_int64),
        ("format", ctypes.c_char * 64),
    ]


class ymd_picture(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("width", ctypes.c_int32),
        ("height", ctypes.c_int32),
        ("stride", ctypes.c_int32),
        ("pixels", ctypes.c_void_p),
        ("pixels_size", ctypes.c_uint64),
    ]


class ymd_rectangle(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("left", ctypes.c_int32),
        ("top", ctypes.c_int32),
        ("width", ctypes.c_int32),
        ("height", ctypes.c_int32),
    ]


class ymd_text_pair(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("key", ctypes.c_char_p),
        ("value", ctypes.c_char_p),
    ]


class ymd_pin(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("name", ctypes.c_char_p),
        ("is_output", ctypes.c_int32),
        ("is_connected", ctypes.c_int32),
        ("media_type", ctypes.c_char_p),
        ("filter", ctypes.c_int32),
        ("pin", ctypes.c_int32),
    ]


class ymd_filter(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("name", ctypes.c_char_p),
        ("clsid", ctypes.c_char_p),
        ("file", ctypes.c_char_p),
        ("is_from_module", ctypes.c_int32),
        ("role", ctypes.c_int32),
        ("pins", ctypes.POINTER(ctypes.POINTER(ymd_pin))),
        ("pin_count", ctypes.c_uint32),
    ]


class ymd_scheme_filter(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("name", ctypes.c_char_p),
        ("clsid", ctypes.c_char_p),
        ("module", ctypes.c_char_p),
        ("category", ctypes.c_char_p),
        ("dmo_category", ctypes.c_char_p),
        ("role", ctypes.c_int32),
        ("only_one", ctypes.c_int32),
        ("cache", ctypes.c_int32),
        ("try_replace", ctypes.c_int32),
    ]


class ymd_scheme_note(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("kind", ctypes.c_int32),
        ("place", ctypes.c_char_p),
        ("reason", ctypes.c_char_p),
        ("line", ctypes.c_uint64),
        ("column", ctypes.c_uint64),
    ]


class ymd_scheme_report(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("failure", ctypes.c_int32),
        ("reason", ctypes.c_char_p),
        ("line", ctypes.c_uint64),
        ("column", ctypes.c_uint64),
        ("notes", ctypes.POINTER(ctypes.POINTER(ymd_scheme_note))),
        ("note_count", ctypes.c_uint32),
        ("reserved", ctypes.c_uint32),
        ("omitted", ctypes.c_uint64),
    ]


class ymd_load_name(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("found", ctypes.c_int32),
        ("name", ctypes.c_char_p),
    ]


class ymd_load_filter(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("role", ctypes.c_int32),
        ("name", ctypes.c_char_p),
        ("module", ctypes.c_char_p),
        ("clsid", ctypes.c_char_p),
        ("hresult", ctypes.c_int32),
        ("created", ctypes.c_int32),
        ("added", ctypes.c_int32),
    ]


class ymd_load_attempt(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("way", ctypes.c_int32),
        ("step", ctypes.c_char_p),
        ("filter", ctypes.c_char_p),
        ("text", ctypes.c_char_p),
        ("hresult", ctypes.c_int32),
    ]


class ymd_load_refusal(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("hresult", ctypes.c_int32),
        ("filter", ctypes.c_char_p),
    ]


class ymd_dead_end(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("way", ctypes.c_int32),
        ("filter", ctypes.c_char_p),
        ("pin", ctypes.c_char_p),
        ("media_type", ctypes.c_char_p),
        ("hresult", ctypes.c_int32),
        ("refusal_count", ctypes.c_uint32),
        ("refusals", ctypes.POINTER(ctypes.POINTER(ymd_load_refusal))),
    ]


class ymd_load_report(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("hresult", ctypes.c_int32),
        ("failure", ctypes.c_char_p),
        ("explanation", ctypes.c_char_p),
        ("names", ctypes.POINTER(ctypes.POINTER(ymd_load_name))),
        ("filters", ctypes.POINTER(ctypes.POINTER(ymd_load_filter))),
        ("attempts", ctypes.POINTER(ctypes.POINTER(ymd_load_attempt))),
        ("dead_ends", ctypes.POINTER(ctypes.POINTER(ymd_dead_end))),
        ("graph", ctypes.POINTER(ctypes.POINTER(ymd_filter))),
        ("name_count", ctypes.c_uint32),
        ("filter_count", ctypes.c_uint32),
        ("attempt_count", ctypes.c_uint32),
        ("dead_end_count", ctypes.c_uint32),
        ("graph_count", ctypes.c_uint32),
    ]


class ymd_live_object(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("kind", ctypes.c_int32),
        ("name", ctypes.c_char_p),
        ("address", ctypes.c_uint64),
        ("item", ctypes.c_uint64),
        ("references", ctypes.c_uint32),
        ("is_busy", ctypes.c_int32),
    ]


class ymd_log_record(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("level", ctypes.c_int32),
        ("category", ctypes.c_char_p),
        ("source_file", ctypes.c_char_p),
        ("function", ctypes.c_char_p),
        ("text", ctypes.c_char_p),
        ("line", ctypes.c_int32),
    ]


ymd_event_callback = _CALLBACK(None, ctypes.c_void_p, ctypes.POINTER(ymd_event), ctypes.c_void_p)
ymd_filter_callback = _CALLBACK(None, ctypes.c_void_p, ctypes.c_void_p)
ymd_log_callback = _CALLBACK(None, ctypes.POINTER(ymd_log_record), ctypes.c_void_p)

# By name: what it answers, and what it takes.
FUNCTIONS = {
    "ymd_version": (ctypes.c_char_p, []),
    "ymd_interface": (ctypes.c_uint32, []),
    "ymd_last_error": (ctypes.c_char_p, []),
    "ymd_last_hresult": (ctypes.c_int32, []),
    "ymd_free": (None, [ctypes.c_void_p]),
    "ymd_result_text": (ctypes.c_int32, [ctypes.c_int32, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_event_text": (ctypes.c_int32, [ctypes.c_int32, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_file_trouble": (ctypes.c_int32, [ctypes.c_char_p, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_file_duration": (ctypes.c_int32, [ctypes.c_char_p, ctypes.POINTER(ctypes.c_int64)]),
    "ymd_set_media_info_language": (ctypes.c_int32, [ctypes.c_char_p]),
    "ymd_save_png": (ctypes.c_int32, [ctypes.POINTER(ymd_picture), ctypes.c_char_p]),
    "ymd_live_objects": (ctypes.c_int32, [
        ctypes.POINTER(ctypes.POINTER(ctypes.POINTER(ymd_live_object))), ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_live_text": (ctypes.c_int32, [ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_log_add": (ctypes.c_int32, [ymd_log_callback, ctypes.c_void_p, ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_log_add_file": (ctypes.c_int32, [ctypes.c_char_p, ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_log_add_debugger": (ctypes.c_int32, [ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_log_remove": (ctypes.c_int32, [ctypes.c_uint32]),
    "ymd_log_get_level": (ctypes.c_int32, [ctypes.c_char_p, ctypes.POINTER(ctypes.c_int32)]),
    "ymd_log_set_level": (ctypes.c_int32, [ctypes.c_char_p, ctypes.c_int32]),
    "ymd_log_write": (ctypes.c_int32, [ctypes.c_char_p, ctypes.c_int32, ctypes.c_char_p]),
    "ymd_scheme_create": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_scheme_destroy": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_scheme_load_file": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int32]),
    "ymd_scheme_load_text": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int32]),
    "ymd_scheme_get_report": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ctypes.POINTER(ymd_scheme_report))]),
    "ymd_scheme_get_types": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.POINTER(ctypes.POINTER(ctypes.c_char_p)), ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_scheme_get_filters": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.POINTER(ctypes.c_char_p), ctypes.c_uint32, ctypes.POINTER(ctypes.POINTER(ctypes.POINTER(ymd_scheme_filter))), ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_scheme_unload": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_scheme_unload_modules": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_player_create": (ctypes.c_int32, [ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_player_destroy": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_player_get_scheme": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_player_get_item_count": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_player_get_item": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_uint32, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_player_remove_items": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_char_p]),
    "ymd_item_create": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_char_p, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_item_destroy": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_item_set_path": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_char_p]),
    "ymd_item_load": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int32]),
    "ymd_item_get_load_report": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ctypes.POINTER(ymd_load_report))]),
    "ymd_item_unload": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_item_link_all": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_item_unlink_all": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_item_get_int": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.POINTER(ctypes.c_int64)]),
    "ymd_item_set_int": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.c_int64]),
    "ymd_item_get_real": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.POINTER(ctypes.c_double)]),
    "ymd_item_set_real": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.c_double]),
    "ymd_item_get_text": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_item_get_video_info": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_uint32, ctypes.POINTER(ymd_video_info)]),
    "ymd_item_get_audio_info": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_uint32, ctypes.POINTER(ymd_audio_info)]),
    "ymd_item_get_media_info": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.POINTER(ctypes.POINTER(ctypes.POINTER(ymd_text_pair))), ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_item_get_track_name": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.c_int32, ctypes.c_uint32, ctypes.POINTER(ctypes.POINTER(ymd_text_pair))]),
    "ymd_item_get_track_renderer": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.c_int32, ctypes.c_uint32, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_item_is_track_enabled": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.c_int32, ctypes.c_uint32, ctypes.POINTER(ctypes.c_int32)]),
    "ymd_item_enable_track": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.c_uint32, ctypes.c_int32]),
    "ymd_item_enable_only_track": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.c_uint32]),
    "ymd_item_enable_all_tracks": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.c_int32]),
    "ymd_item_link_all_tracks": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.c_int32]),
    "ymd_item_play": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_item_pause": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_item_stop": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_item_stop_when_ready": (ctypes.c_int32, [ctypes.c_void_p]),
    "ymd_item_step": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32]),
    "ymd_item_get_position": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.POINTER(ctypes.c_int64), ctypes.POINTER(ctypes.c_int64)]),
    "ymd_item_set_clip": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int64, ctypes.c_int64]),
    "ymd_item_set_loop_range": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int64, ctypes.c_int64]),
    "ymd_item_wait_event": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ymd_event), ctypes.c_uint32]),
    "ymd_item_set_event_callback": (ctypes.c_int32, [ctypes.c_void_p, ymd_event_callback, ctypes.c_void_p]),
    "ymd_item_set_filter_callback": (ctypes.c_int32, [ctypes.c_void_p, ymd_filter_callback, ctypes.c_void_p]),
    "ymd_item_get_filters": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.POINTER(ctypes.POINTER(ctypes.POINTER(ymd_filter))), ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_item_visit_filters": (ctypes.c_int32, [ctypes.c_void_p, ymd_filter_callback, ctypes.c_void_p, ctypes.c_int32]),
    "ymd_item_find_interface": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int32, ctypes.POINTER(ctypes.c_void_p)]),
    "ymd_item_show_properties": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32, ctypes.c_void_p]),
    "ymd_item_set_window": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_void_p]),
    "ymd_item_get_source": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ymd_rectangle)]),
    "ymd_item_set_source": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ymd_rectangle)]),
    "ymd_item_get_destination": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ymd_rectangle)]),
    "ymd_item_set_destination": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ymd_rectangle)]),
    "ymd_item_get_snapshot": (ctypes.c_int32, [ctypes.c_void_p, ctypes.POINTER(ctypes.POINTER(ymd_picture))]),
    "ymd_item_save_snapshot": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_char_p]),
    "ymd_item_get_dib": (ctypes.c_int32, [
        ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p), ctypes.POINTER(ctypes.c_uint32)]),
    "ymd_item_mute": (ctypes.c_int32, [ctypes.c_void_p, ctypes.c_int32]),
}


def bind(path: str) -> ctypes.CDLL:
    """The library, with its functions typed."""
    library = ctypes.CDLL(path)
    for name, (result, arguments) in FUNCTIONS.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
    return library
