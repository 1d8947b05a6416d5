// The C interface for .NET, by P/Invoke: Native has every function as it is, Player and Item what
// hosts do every day. Times are in 100 ns. What fails throws YmdException.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;
using Microsoft.Win32.SafeHandles;

namespace YmdShow
{
    /// <summary>A call that failed; its code is YMD_ERROR_...</summary>
    public sealed class YmdException : Exception
    {
        public int Code { get; private set; }

        public YmdException(int code, string text, int hresult) : base(text)
        {
            Code = code;
            HResult = hresult;
        }

        public static void Check(int code)
        {
            if (code != Constants.YMD_OK)
            {
                throw new YmdException(code, Text.From(Native.ymd_last_error()), Native.ymd_last_hresult());
            }
        }
    }

    public sealed class PlayerHandle : SafeHandleZeroOrMinusOneIsInvalid
    {
        [DllImport("YMDSPlayer.dll", EntryPoint = "ymd_player_destroy", CallingConvention = CallingConvention.Cdecl)]
        private static extern int Destroy(IntPtr player);

        public PlayerHandle(IntPtr player) : base(true) { SetHandle(player); }
        protected override bool ReleaseHandle() { return Destroy(handle) == Constants.YMD_OK; }
    }

    public sealed class ItemHandle : SafeHandleZeroOrMinusOneIsInvalid
    {
        [DllImport("YMDSPlayer.dll", EntryPoint = "ymd_item_destroy", CallingConvention = CallingConvention.Cdecl)]
        private static extern int Destroy(IntPtr item);

        public ItemHandle(IntPtr item) : base(true) { SetHandle(item); }

        /// <summary>False, and nothing, when the player went before it.</summary>
        protected override bool ReleaseHandle() { return Destroy(handle) == Constants.YMD_OK; }
    }

    public sealed class SchemeHandle : SafeHandleZeroOrMinusOneIsInvalid
    {
        [DllImport("YMDSPlayer.dll", EntryPoint = "ymd_scheme_destroy", CallingConvention = CallingConvention.Cdecl)]
        private static extern int Destroy(IntPtr scheme);

        /// <summary>For "the player's": SafeHandles may not be null.</summary>
        public static SchemeHandle None { get { return new SchemeHandle(IntPtr.Zero, false); } }

        public SchemeHandle(IntPtr scheme, bool isOwned) : base(isOwned) { SetHandle(scheme); }
        protected override bool ReleaseHandle() { return Destroy(handle) == Constants.YMD_OK; }
    }

    /// <summary>Text is UTF-8 with a terminating zero.</summary>
    public static class Text
    {
        public static byte[] To(string text)
        {
            return text == null ? null : Encoding.UTF8.GetBytes(text + "\0");
        }

        public static string From(IntPtr text)
        {
            int length = 0;
            while (text != IntPtr.Zero && Marshal.ReadByte(text, length) != 0)
            {
                ++length;
            }
            byte[] bytes = new byte[length];
            if (length > 0)
            {
                Marshal.Copy(text, bytes, 0, length);
            }
            return Encoding.UTF8.GetString(bytes);
        }

        /// <summary>A text that the library made for the host.</summary>
        public static string Take(IntPtr text)
        {
            try
            {
                return From(text);
            }
            finally
            {
                Native.ymd_free(text);
            }
        }
    }

    /// <summary>Owns its items. COM is initialised on the threads of .NET.</summary>
    public sealed class Player : IDisposable
    {
        public PlayerHandle Handle { get; private set; }
        public SchemeHandle Scheme { get; private set; }

        public Player()
        {
            IntPtr made;
            YmdException.Check(Native.ymd_player_create(out made));
            Handle = new PlayerHandle(made);
            YmdException.Check(Native.ymd_player_get_scheme(Handle, out made));
            Scheme = new SchemeHandle(made, false);
        }

        public static string Version { get { return Text.From(Native.ymd_version()); } }

        public void LoadScheme(string path)
        {
            YmdException.Check(Native.ymd_scheme_load_file(Scheme, Text.To(path), 0));
        }

        public Item CreateItem(string path) { return new Item(this, path); }

        public void Dispose()
        {
            Scheme.Dispose();
            Handle.Dispose();
        }
    }

    /// <summary>A file or URL.</summary>
    public sealed class Item : IDisposable
    {
        public ItemHandle Handle { get; private set; }

        public Item(Player player, string path)
        {
            IntPtr made;
            YmdException.Check(Native.ymd_item_create(player.Handle, Text.To(path), out made));
            Handle = new ItemHandle(made);
        }

        public long GetInt(int what)
        {
            long value;
            YmdException.Check(Native.ymd_item_get_int(Handle, what, out value));
            return value;
        }

        public void SetInt(int what, long value) { YmdException.Check(Native.ymd_item_set_int(Handle, what, value)); }

        public string GetText(int what)
        {
            IntPtr text;
            YmdException.Check(Native.ymd_item_get_text(Handle, what, out text));
            return Text.Take(text);
        }

        public double Rate
        {
            get
            {
                double rate;
                YmdException.Check(Native.ymd_item_get_real(Handle, Constants.YMD_PLAY_RATE, out rate));
                return rate;
            }
            set { YmdException.Check(Native.ymd_item_set_real(Handle, Constants.YMD_PLAY_RATE, value)); }
        }

        public long Duration { get { return GetInt(Constants.YMD_DURATION); } }

        public long Position
        {
            get { return GetInt(Constants.YMD_POSITION); }
            set { SetInt(Constants.YMD_POSITION, value); }
        }

        public void Load() { YmdException.Check(Native.ymd_item_load(Handle, SchemeHandle.None, 0)); }
        public void Play() { YmdException.Check(Native.ymd_item_play(Handle)); }
        public void Pause() { YmdException.Check(Native.ymd_item_pause(Handle)); }
        public void Stop() { YmdException.Check(Native.ymd_item_stop(Handle)); }
        public void Step(int frames) { YmdException.Check(Native.ymd_item_step(Handle, frames)); }
        public void SetWindow(IntPtr window) { YmdException.Check(Native.ymd_item_set_window(Handle, window)); }
        public void SaveSnapshot(string path) { YmdException.Check(Native.ymd_item_save_snapshot(Handle, Text.To(path))); }

        /// <summary>The next event; null when none came in time.</summary>
        public EventRecord? WaitEvent(uint milliseconds)
        {
            EventRecord record = new EventRecord { size = (uint)Marshal.SizeOf(typeof(EventRecord)) };
            int result = Native.ymd_item_wait_event(Handle, ref record, milliseconds);
            if (result == Constants.YMD_ERROR_TIMEOUT)
            {
                return null;
            }
            YmdException.Check(result);
            return record;
        }

        /// <summary>Until the item has played to its end (EC_COMPLETE) or was aborted.</summary>
        public IEnumerable<EventRecord> Events()
        {
            for (;;)
            {
                EventRecord? record = WaitEvent(uint.MaxValue);
                if (record.HasValue)
                {
                    yield return record.Value;
                    if (record.Value.code >= 1 && record.Value.code <= 3)
                    {
                        yield break;
                    }
                }
            }
        }

        public void Dispose() { Handle.Dispose(); }
    }

    /// <summary>The constants of the C interface.</summary>
    public static class Constants
    {
        public const int YMD_OK = 0;
        public const int YMD_ERROR_ARGUMENT = -1;
        public const int YMD_ERROR_HANDLE = -2;
        public const int YMD_ERROR_TEXT = -3;
        public const int YMD_ERROR_MEMORY = -4;
        public const int YMD_ERROR_NOT_FOUND = -5;
        public const int YMD_ERROR_STATE = -6;
        public const int YMD_ERROR_FAILED = -7;
        public const int YMD_ERROR_TIMEOUT = -8;
        public const int YMD_ERROR_INTERNAL = -9;
        public const int YMD_VIDEO = 1;
        public const int YMD_AUDIO = 2;
        public const int YMD_STOPPED = 0;
        public const int YMD_PAUSED = 1;
        public const int YMD_RUNNING = 2;
        public const int YMD_ROLE_SOURCE = 1;
        public const int YMD_ROLE_TRANSFORM = 2;
        public const int YMD_ROLE_RENDER = 4;
        public const int YMD_LIVE_ITEM = 0;
        public const int YMD_LIVE_GRAPH = 1;
        public const int YMD_LIVE_FILTER = 2;
        public const int YMD_LOG_PROGRESS = 4;
        public const int YMD_LOG_WARNING = 8;
        public const int YMD_LOG_ERROR = 16;
        public const int YMD_LOG_OFF = 0x7fffffff;
        public const int YMD_SCHEME_LOADED = 0;
        public const int YMD_SCHEME_NO_PATH = 1;
        public const int YMD_SCHEME_CANNOT_OPEN = 2;
        public const int YMD_SCHEME_EMPTY = 3;
        public const int YMD_SCHEME_ENCODING = 4;
        public const int YMD_SCHEME_SYNTAX = 5;
        public const int YMD_SCHEME_NO_SCHEMES = 6;
        public const int YMD_SCHEME_NO_MEMORY = 7;
        public const int YMD_NOTE_IGNORED_FILTER = 0;
        public const int YMD_NOTE_DUPLICATE_NAME = 1;
        public const int YMD_NOTE_UNKNOWN_REFERENCE = 2;
        public const int YMD_NOTE_REPEATED_FILTER = 3;
        public const int YMD_NOTE_IGNORED_SCHEME = 4;
        public const int YMD_NOTE_CUT_TYPE_LIST = 5;
        public const int YMD_NOTE_MALFORMED_GUID = 6;
        public const int YMD_NOTE_UNKNOWN_ROLE = 7;
        public const int YMD_NOTE_WRONG_TYPE = 8;
        public const int YMD_NOTE_UNKNOWN_KEY = 9;
        public const int YMD_NOTE_UNREADABLE_TEXT = 10;
        public const int YMD_NOTE_TOO_LARGE = 11;
        public const int YMD_IS_URL = 1;
        public const int YMD_IS_LIVE_STREAM = 2;
        public const int YMD_IS_LOADED = 3;
        public const int YMD_IS_READY = 4;
        public const int YMD_IS_LINKED = 5;
        public const int YMD_VIDEO_TRACKS = 6;
        public const int YMD_AUDIO_TRACKS = 7;
        public const int YMD_ORIGINAL_VIDEO_TRACKS = 8;
        public const int YMD_ORIGINAL_AUDIO_TRACKS = 9;
        public const int YMD_FIRST_VIDEO_TRACK = 10;
        public const int YMD_FIRST_AUDIO_TRACK = 11;
        public const int YMD_DECODE_VIDEO = 12;
        public const int YMD_DECODE_AUDIO = 13;
        public const int YMD_CAN_STEP = 14;
        public const int YMD_POSITION = 15;
        public const int YMD_DURATION = 16;
        public const int YMD_CLIP_START = 17;
        public const int YMD_CLIP_END = 18;
        public const int YMD_CLIP_DURATION = 19;
        public const int YMD_PLAY_STATE = 20;
        public const int YMD_LOOP = 21;
        public const int YMD_VIDEO_WIDTH = 22;
        public const int YMD_VIDEO_HEIGHT = 23;
        public const int YMD_FRAME_TIME = 24;
        public const int YMD_HAS_ASPECT_RATIO = 25;
        public const int YMD_VOLUME = 26;
        public const int YMD_AS_FAST_AS_POSSIBLE = 27;
        public const int YMD_PLAY_RATE = 1;
        public const int YMD_ASPECT_RATIO = 2;
        public const int YMD_ROTATION = 3;
        public const int YMD_VOLUME_FRACTION = 4;
        public const int YMD_PATH = 1;
        public const int YMD_EXTENSION = 2;
        public const int YMD_FILTER_LIST = 3;
        public const int YMD_MEDIA_INFO = 4;
        public const int YMD_GRAPH_DOT = 5;
        public const int YMD_GRAPH_SVG = 6;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct EventRecord
    {
        public uint size;
        public int code;
        public long param1;
        public long param2;
        public ulong lost;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct VideoInfoRecord
    {
        public uint size;
        public int width;
        public int height;
        public float aspect_ratio;
        public float rotation;
        public int has_aspect_ratio;
        public long frame_time;
        public long duration;
        public long source_duration;
        [MarshalAs(UnmanagedType.ByValArray, SizeConst = 64)]
        public byte[] format;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct AudioInfoRecord
    {
        public uint size;
        public uint sampling_rate;
        public uint channels;
        public uint bit_depth;
        public long duration;
        public long source_duration;
        [MarshalAs(UnmanagedType.ByValArray, SizeConst = 64)]
        public byte[] format;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct PictureRecord
    {
        public uint size;
        public int width;
        public int height;
        public int stride;
        public IntPtr pixels;
        public ulong pixels_size;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct RectangleRecord
    {
        public uint size;
        public int left;
        public int top;
        public int width;
        public int height;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct TextPairRecord
    {
        public uint size;
        public IntPtr key;
        public IntPtr value;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct PinRecord
    {
        public uint size;
        public IntPtr name;
        public int is_output;
        public int is_connected;
        public IntPtr media_type;
        public int filter;
        public int pin;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct FilterRecord
    {
        public uint size;
        public IntPtr name;
        public IntPtr clsid;
        public IntPtr file;
        public int is_from_module;
        public int role;
        public IntPtr pins;
        public uint pin_count;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct SchemeFilterRecord
    {
        public uint size;
        public IntPtr name;
        public IntPtr clsid;
        public IntPtr module;
        public IntPtr category;
        public IntPtr dmo_category;
        public int role;
        public int only_one;
        public int cache;
        public int try_replace;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct SchemeNoteRecord
    {
        public uint size;
        public int kind;
        public IntPtr place;
        public IntPtr reason;
        public ulong line;
        public ulong column;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct SchemeReportRecord
    {
        public uint size;
        public int failure;
        public IntPtr reason;
        public ulong line;
        public ulong column;
        public IntPtr notes;
        public uint note_count;
        public uint reserved;
        public ulong omitted;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct LoadNameRecord
    {
        public uint size;
        public int found;
        public IntPtr name;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct LoadFilterRecord
    {
        public uint size;
        public int role;
        public IntPtr name;
        public IntPtr module;
        public IntPtr clsid;
        public int hresult;
        public int created;
        public int added;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct LoadAttemptRecord
    {
        public uint size;
        public int way;
        public IntPtr step;
        public IntPtr filter;
        public IntPtr text;
        public int hresult;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct LoadRefusalRecord
    {
        public uint size;
        public int hresult;
        public IntPtr filter;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct DeadEndRecord
    {
        public uint size;
        public int way;
        public IntPtr filter;
        public IntPtr pin;
        public IntPtr media_type;
        public int hresult;
        public uint refusal_count;
        public IntPtr refusals;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct LoadReportRecord
    {
        public uint size;
        public int hresult;
        public IntPtr failure;
        public IntPtr explanation;
        public IntPtr names;
        public IntPtr filters;
        public IntPtr attempts;
        public IntPtr dead_ends;
        public IntPtr graph;
        public uint name_count;
        public uint filter_count;
        public uint attempt_count;
        public uint dead_end_count;
        public uint graph_count;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct LiveObjectRecord
    {
        public uint size;
        public int kind;
        public IntPtr name;
        public ulong address;
        public ulong item;
        public uint references;
        public int is_busy;
    }

    [StructLayout(LayoutKind.Sequential)]
    public struct LogRecordRecord
    {
        public uint size;
        public int level;
        public IntPtr category;
        public IntPtr source_file;
        public IntPtr function;
        public IntPtr text;
        public int line;
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    public delegate void EventCallback(IntPtr item, IntPtr record, IntPtr user);

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    public delegate void FilterCallback(IntPtr filter, IntPtr user);

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    public delegate void LogCallback(IntPtr record, IntPtr user);

    /// <summary>The functions of the C interface, as it has them.</summary>
    public static class Native
    {
        private const string Library = "YMDSPlayer.dll";

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern IntPtr ymd_version();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern uint ymd_interface();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern IntPtr ymd_last_error();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_last_hresult();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern void ymd_free(IntPtr block);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_result_text(int hresult, out IntPtr text);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_event_text(int code, out IntPtr text);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_file_trouble(byte[] path, out IntPtr text);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_file_duration(byte[] path, out long duration);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_set_media_info_language(byte[] path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_save_png(ref PictureRecord picture, byte[] path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_live_objects(out IntPtr objects, out uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_live_text(out IntPtr text);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_log_add(LogCallback callback, IntPtr user, out uint sink);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_log_add_file(byte[] path, out uint sink);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_log_add_debugger(out uint sink);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_log_remove(uint sink);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_log_get_level(byte[] category, out int level);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_log_set_level(byte[] category, int level);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_log_write(byte[] category, int level, byte[] text);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_create(SchemeHandle source, out IntPtr scheme);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_destroy(SchemeHandle scheme);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_load_file(SchemeHandle scheme, byte[] path, int replace);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_load_text(SchemeHandle scheme, byte[] script, int replace);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_get_report(SchemeHandle scheme, out IntPtr report);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_get_types(SchemeHandle scheme, out IntPtr types, out uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_get_filters(SchemeHandle scheme, IntPtr types, uint type_count, out IntPtr filters, out uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_unload(SchemeHandle scheme);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_scheme_unload_modules(SchemeHandle scheme);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_player_create(out IntPtr player);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_player_destroy(PlayerHandle player);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_player_get_scheme(PlayerHandle player, out IntPtr scheme);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_player_get_item_count(PlayerHandle player, out uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_player_get_item(PlayerHandle player, uint index, out IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_player_remove_items(PlayerHandle player, byte[] path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_create(PlayerHandle player, byte[] path, out IntPtr item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_destroy(ItemHandle item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_path(ItemHandle item, byte[] path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_load(ItemHandle item, SchemeHandle scheme, int renderers_first);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_load_report(ItemHandle item, out IntPtr report);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_unload(ItemHandle item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_link_all(ItemHandle item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_unlink_all(ItemHandle item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_int(ItemHandle item, int what, out long value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_int(ItemHandle item, int what, long value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_real(ItemHandle item, int what, out double value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_real(ItemHandle item, int what, double value);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_text(ItemHandle item, int what, out IntPtr text);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_video_info(ItemHandle item, uint index, ref VideoInfoRecord info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_audio_info(ItemHandle item, uint index, ref AudioInfoRecord info);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_media_info(ItemHandle item, out IntPtr pairs, out uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_track_name(ItemHandle item, int kind, uint index, out IntPtr name);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_track_renderer(ItemHandle item, int kind, uint index, out IntPtr renderer);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_is_track_enabled(ItemHandle item, int kind, uint index, out int enabled);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_enable_track(ItemHandle item, int kind, uint index, int enable);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_enable_only_track(ItemHandle item, int kind, uint index);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_enable_all_tracks(ItemHandle item, int kind, int enable);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_link_all_tracks(ItemHandle item, int kind, int link);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_play(ItemHandle item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_pause(ItemHandle item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_stop(ItemHandle item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_stop_when_ready(ItemHandle item);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_step(ItemHandle item, int frames);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_position(ItemHandle item, out long position, out long duration);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_clip(ItemHandle item, long start, long end);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_loop_range(ItemHandle item, long start, long end);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_wait_event(ItemHandle item, ref EventRecord @event, uint milliseconds);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_event_callback(ItemHandle item, EventCallback callback, IntPtr user);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_filter_callback(ItemHandle item, FilterCallback callback, IntPtr user);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_filters(ItemHandle item, out IntPtr filters, out uint count);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_visit_filters(ItemHandle item, FilterCallback callback, IntPtr user, int all);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_find_interface(ItemHandle item, byte[] iid, int first_only, out IntPtr @object);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_show_properties(ItemHandle item, int filter, IntPtr parent);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_window(ItemHandle item, IntPtr window);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_source(ItemHandle item, ref RectangleRecord rectangle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_source(ItemHandle item, ref RectangleRecord rectangle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_destination(ItemHandle item, ref RectangleRecord rectangle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_set_destination(ItemHandle item, ref RectangleRecord rectangle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_snapshot(ItemHandle item, out IntPtr picture);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_save_snapshot(ItemHandle item, byte[] path);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_get_dib(ItemHandle item, out IntPtr dib, out uint size);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        public static extern int ymd_item_mute(ItemHandle item, int mute);
    }
}
