#pragma once

#include <string>
#include <vector>

#include <ymdshow/CoderScheme.h>
#include <ymdshow/Export.h>
#include <ymdshow/LoadReport.h>

namespace ymdshow {

class CMedia;

/// The entry object: owns one scheme set and the media items created through it.
/// Takes no lock: the host serialises calls on one player, and deletes no media
/// item on one thread while another walks the list. What loads or deletes an item waits as
/// CMedia's Load, Stop and Unload do.
///
/// A copy lists the same media pointers; the host sees to it that only one of
/// the two players deletes them.
class YMDSHOW_API CMediaPlayer {
public:
    /// Without items and schemes.
    CMediaPlayer();
    /// Lists the same items: see above.
    CMediaPlayer(const CMediaPlayer& other);
    /// Lists the same items: see above.
    CMediaPlayer& operator=(const CMediaPlayer& other);

    /// Deletes every listed media item, then unloads the scheme set.
    virtual ~CMediaPlayer();

    /// Creates a media item for `path` (a file name or a URL), loads it when `load` is non-zero,
    /// and lists it. Null for an empty path, a local file that does not exist, or a failed load;
    /// nothing is listed then, and GetLastLoadReport says why. The player owns the item; deleting
    /// it directly unlists it.
    CMedia* AddMedia(const std::string& path, int load);
    /// The same for a path with any character.
    CMedia* AddMedia(const std::wstring& path, int load);

    /// Loads `media` with this player's scheme set. False for null or a failed load.
    bool LoadMedia(CMedia* media);

    /// What the last AddMedia or LoadMedia did; that of an AddMedia that does not load is empty
    /// unless it failed. Replaced by the next one.
    const LoadReport& GetLastLoadReport() const;

    /// The player's own, for every item that loads without one.
    CCoderScheme& GetCoderScheme();

    /// The listed item at `index`, not transferred; null beyond the end.
    CMedia* GetMedia(unsigned index);
    /// How many items are listed.
    unsigned GetMediaNum() const;

    /// Deletes every listed item whose path equals `path`, letter case included. A narrow path
    /// never stands for an item whose path does not fit code page 936. False when there was none.
    bool RemoveMedia(const std::string& path);
    /// The same for a path with any character.
    bool RemoveMedia(const std::wstring& path);

    /// Deletes the item at `index`. False beyond the end.
    bool RemoveMedia(unsigned index);

    /// Works on the first slot, whatever it holds: a non-null `media` is deleted
    /// and slot 0 erased, so the item that stood there is no longer listed and not
    /// deleted. Null overwrites every slot with null and gives false. Use it with
    /// the only listed item; otherwise remove by index or path.
    bool RemoveMedia(CMedia* media);

    /// Deletes every listed item.
    void RemoveAllMedias();

protected:
    friend class CMedia;

    /// Called by a media item's destructor: unlists it.
    void _NotifyMediaDestroy(CMedia* media);

    CCoderScheme m_coderScheme;
    std::vector<CMedia*> m_medias;

private:
    template <class Path> CMedia* Add(const Path& path, int load);
    template <class Matches> bool RemoveEach(Matches&& matches);

    LoadReport m_lastLoad;
};

} // namespace ymdshow
