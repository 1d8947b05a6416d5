"""Plays files and streams with YMDSPlayer.dll, over its C interface.

    with Player("YMDSPlayer.dll") as player, player.item("clip.mp4") as item:
        item.play()
        for event in item.events():
            ...

Times are in 100 ns. What fails raises YmdError. Everything the C interface has is there as
Library.call("ymd_...", ...); the classes are for what hosts do every day.
"""
from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import Any, Callable, Iterator, List, Optional, Union

from . import _native
from ._native import YMD_AUDIO, YMD_VIDEO

EC_COMPLETE, EC_USERABORT, EC_ERRORABORT = 1, 2, 3


class YmdError(Exception):
    """A call that failed: its code (YMD_ERROR_...), its text, and the HRESULT behind it."""

    def __init__(self, code: int, text: str, hresult: int):
        super().__init__(text)
        self.code = code
        self.hresult = hresult


@dataclass(frozen=True)
class Event:
    code: int
    param1: int
    param2: int
    lost: int


@dataclass(frozen=True)
class Picture:
    """Rows from the top, four bytes a pixel: blue, green, red, 255."""

    width: int
    height: int
    stride: int
    pixels: bytes


@dataclass(frozen=True)
class Filter:
    name: str
    clsid: str
    file: str
    role: int


def _text(pointer: Optional[bytes]) -> str:
    return (pointer or b"").decode("utf-8")


class Library:
    """The DLL. Initialises COM on the thread that makes it; others do that for themselves."""

    def __init__(self, path: str = "YMDSPlayer.dll"):
        ctypes.OleDLL("ole32").CoInitializeEx(None, 0)
        self.functions = _native.bind(path)

    def call(self, name: str, *arguments: Any) -> None:
        """A function that answers a result; texts are bytes."""
        code = getattr(self.functions, name)(*arguments)
        if code != _native.YMD_OK:
            raise YmdError(code, _text(self.functions.ymd_last_error()), self.functions.ymd_last_hresult())

    def text(self, name: str, *arguments: Any) -> str:
        """A function whose last parameter is a text for the host."""
        out = ctypes.c_void_p()
        self.call(name, *arguments, ctypes.byref(out))
        try:
            return _text(ctypes.string_at(out))
        finally:
            self.functions.ymd_free(out)

    @property
    def version(self) -> str:
        return _text(self.functions.ymd_version())


class Scheme:
    """A player's scheme set."""

    def __init__(self, library: Library, handle: ctypes.c_void_p):
        self._library = library
        self.handle = handle

    def load_file(self, path: str, replace: bool = False) -> None:
        self._library.call("ymd_scheme_load_file", self.handle, path.encode(), replace)

    def load_text(self, script: str, replace: bool = False) -> None:
        self._library.call("ymd_scheme_load_text", self.handle, script.encode(), replace)

    def types(self) -> List[str]:
        names, count = ctypes.POINTER(ctypes.c_char_p)(), ctypes.c_uint32()
        self._library.call("ymd_scheme_get_types", self.handle, ctypes.byref(names), ctypes.byref(count))
        try:
            return [_text(names[i]) for i in range(count.value)]
        finally:
            self._library.functions.ymd_free(names)


class Player:
    """Owns its items."""

    def __init__(self, library: Union[str, Library] = "YMDSPlayer.dll"):
        self.library = library if isinstance(library, Library) else Library(library)
        self.handle = ctypes.c_void_p()
        self.library.call("ymd_player_create", ctypes.byref(self.handle))
        scheme = ctypes.c_void_p()
        self.library.call("ymd_player_get_scheme", self.handle, ctypes.byref(scheme))
        self.scheme = Scheme(self.library, scheme)

    def __enter__(self) -> Player:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        if self.handle:
            self.library.call("ymd_player_destroy", self.handle)
            self.handle = ctypes.c_void_p()

    def item(self, path: Optional[str] = None) -> Item:
        return Item(self, path)


def _int(what: int, settable: bool = False) -> Any:
    def get(self: Item) -> int:
        value = ctypes.c_int64()
        self._call("get_int", what, ctypes.byref(value))
        return value.value

    def put(self: Item, value: int) -> None:
        self._call("set_int", what, value)

    return property(get, put if settable else None)


def _real(what: int, settable: bool = False) -> Any:
    def get(self: Item) -> float:
        value = ctypes.c_double()
        self._call("get_real", what, ctypes.byref(value))
        return value.value

    def put(self: Item, value: float) -> None:
        self._call("set_real", what, value)

    return property(get, put if settable else None)


def _words(what: int) -> Any:
    return property(lambda self: self.player.library.text("ymd_item_get_text", self.handle, what))


class Item:
    """A file or URL."""

    def __init__(self, player: Player, path: Optional[str] = None):
        self.player = player
        self.handle = ctypes.c_void_p()
        self._callback: Any = None
        player.library.call("ymd_item_create", player.handle, None if path is None else path.encode(),
                            ctypes.byref(self.handle))

    def __enter__(self) -> Item:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def _call(self, name: str, *arguments: Any) -> None:
        self.player.library.call("ymd_item_" + name, self.handle, *arguments)

    def close(self) -> None:
        """Nothing when the player has gone before it."""
        if self.handle and self.player.handle:
            self._call("destroy")
        self.handle = ctypes.c_void_p()

    is_url = _int(_native.YMD_IS_URL)
    is_loaded = _int(_native.YMD_IS_LOADED)
    video_tracks = _int(_native.YMD_VIDEO_TRACKS)
    audio_tracks = _int(_native.YMD_AUDIO_TRACKS)
    position = _int(_native.YMD_POSITION, True)
    duration = _int(_native.YMD_DURATION)
    play_state = _int(_native.YMD_PLAY_STATE)
    loop = _int(_native.YMD_LOOP, True)
    width = _int(_native.YMD_VIDEO_WIDTH)
    height = _int(_native.YMD_VIDEO_HEIGHT)
    volume = _int(_native.YMD_VOLUME, True)
    rate = _real(_native.YMD_PLAY_RATE, True)
    path = _words(_native.YMD_PATH)
    media_info = _words(_native.YMD_MEDIA_INFO)
    graph_svg = _words(_native.YMD_GRAPH_SVG)

    def set_path(self, path: str) -> None:
        self._call("set_path", path.encode())

    def load(self) -> None:
        self._call("load", None, 0)

    def unload(self) -> None:
        self._call("unload")

    def play(self) -> None:
        self._call("play")

    def pause(self) -> None:
        self._call("pause")

    def stop(self) -> None:
        self._call("stop")

    def step(self, frames: int = 1) -> None:
        self._call("step", frames)

    def set_clip(self, start: int, end: int = 0) -> None:
        self._call("set_clip", start, end)

    def set_loop_range(self, start: int, end: int) -> None:
        self._call("set_loop_range", start, end)

    def set_window(self, window: Optional[int]) -> None:
        self._call("set_window", window)

    def mute(self, mute: bool = True) -> None:
        self._call("mute", mute)

    def enable_only_track(self, index: int, kind: int = YMD_AUDIO) -> None:
        self._call("enable_only_track", kind, index)

    def enable_track(self, index: int, enable: bool = True, kind: int = YMD_VIDEO) -> None:
        self._call("enable_track", kind, index, enable)

    def wait_event(self, milliseconds: int = 0xFFFFFFFF) -> Optional[Event]:
        """None when none came in time."""
        event = _native.ymd_event(size=ctypes.sizeof(_native.ymd_event))
        try:
            self._call("wait_event", ctypes.byref(event), milliseconds)
        except YmdError as error:
            if error.code == _native.YMD_ERROR_TIMEOUT:
                return None
            raise
        return Event(event.code, event.param1, event.param2, event.lost)

    def events(self) -> Iterator[Event]:
        """Until the item has played to its end, was aborted, or was closed on another thread."""
        while True:
            try:
                event = self.wait_event()
            except YmdError as error:
                if error.code == _native.YMD_ERROR_HANDLE:
                    return
                raise
            if event is not None:
                yield event
                if event.code in (EC_COMPLETE, EC_USERABORT, EC_ERRORABORT):
                    return

    def set_event_callback(self, callback: Optional[Callable[[Event], None]]) -> None:
        """On a thread of the library's that waits for Python's lock: keep it short."""
        def forward(_item: int, event: Any, _user: int) -> None:
            it = event.contents
            callback(Event(it.code, it.param1, it.param2, it.lost))  # type: ignore[misc]

        forwarder = _native.ymd_event_callback(forward) if callback else _native.ymd_event_callback()
        self._call("set_event_callback", forwarder, None)
        # A call of the one before may still run: it stays for as long as the item.
        self._callback = (self._callback, forwarder)

    def filters(self) -> List[Filter]:
        records = ctypes.POINTER(ctypes.POINTER(_native.ymd_filter))()
        count = ctypes.c_uint32()
        self._call("get_filters", ctypes.byref(records), ctypes.byref(count))
        try:
            return [Filter(_text(it.name), _text(it.clsid), _text(it.file), it.role)
                    for it in (records[i].contents for i in range(count.value))]
        finally:
            self.player.library.functions.ymd_free(records)

    def snapshot(self) -> Picture:
        record = ctypes.POINTER(_native.ymd_picture)()
        self._call("get_snapshot", ctypes.byref(record))
        try:
            it = record.contents
            return Picture(it.width, it.height, it.stride, ctypes.string_at(it.pixels, it.pixels_size))
        finally:
            self.player.library.functions.ymd_free(record)

    def save_snapshot(self, path: str) -> None:
        self._call("save_snapshot", path.encode())
