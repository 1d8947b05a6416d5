#pragma once

// YMDSPlayer: plays files and streams by building one DirectShow filter graph per
// media item, with the filters that a scheme script names.
//
// THREADS     Initialise COM on every thread that calls the library, as
//             multithreaded apartment if one item is used from several threads; in
//             the event callback, where what it calls needs it. A CMediaPlayer and a
//             CCoderScheme take no lock: serialise their use, and load schemes before
//             items use them. A CMedia locks itself (recursively); each of its
//             operations says whether it does, and what it may wait for. The toolkit
//             and the functions on values (text, pictures, reports) take no lock; from
//             any thread. A renderer's window belongs to the thread that loads the
//             item: that thread pumps messages. An operation that waits for another
//             thread handles what is sent to its own windows.
// TEXT        Narrow strings (paths, type names, scripts) are in code page 936,
//             whatever the process's ANSI code page; wide strings are UTF-16. Text.h
//             converts. Both end at the first zero.
// TIME UNITS  100 ns, signed 64-bit, for every position, duration and frame time.
//             Volume is in hundredths of a decibel, -10000 to 0.
// RESULTS     1 or true on success, 0, false or null on failure; memory that runs out
//             is one. Pointers to interfaces and schemes are cleared first unless said
//             otherwise; other results that a caller hands in change on success only,
//             unless said otherwise. The one exception that leaves the library is
//             std::runtime_error ("index out of range") of the track operations;
//             host and library must share one C++ runtime.
// OWNERSHIP   A player owns its items; an item owns its graph. Pointers that the
//             toolkit hands out carry one reference for the caller; those of
//             getters of CMedia carry none unless they say so. A reference to a text,
//             a number or a report is to the object's own, without a lock: it lives as
//             long as the object, and changes with it.
// LIFETIME    Destroy items before their player goes, or leave it to the player;
//             destroy the player before CoUninitialize and before the library is
//             unloaded. Release every filter that a module made before
//             CCoderScheme::UnloadModules. GetLiveObjects lists what is left.
// CALLBACKS   Events come on a thread of the item's own, which holds no lock of the
//             library's in a callback; see CMedia::SetEventCallBackFun for what a
//             callback may do. Other callbacks come in the call that they belong to.
// VERSIONS    YMDSHOW_VERSION is of the headers, GetLibraryVersion of the DLL.

#include <ymdshow/CoderScheme.h>
#include <ymdshow/EventQueue.h>
#include <ymdshow/GraphToolkit.h>
#include <ymdshow/LiveObjects.h>
#include <ymdshow/Media.h>
#include <ymdshow/MediaPlayer.h>
#include <ymdshow/StreamInfo.h>
#include <ymdshow/Text.h>
#include <ymdshow/Version.h>
