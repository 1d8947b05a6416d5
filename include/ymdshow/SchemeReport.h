#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <ymdshow/Export.h>

namespace ymdshow {

/// What the last load of a scheme script did: why the script was refused, and what of
/// it was passed over and why. A load answers true with entries here, too: a bad
/// entry never fails a load. Text is UTF-16.
struct SchemeLoadReport {
    /// Why a load answered false.
    enum class Failure {
        None,        ///< it succeeded
        NoPath,      ///< the path is empty
        CannotOpen,  ///< the file cannot be opened or read
        EmptyScript, ///< the file or the script text is empty
        Encoding,    ///< the file was taken for UTF-8 and is malformed
        Syntax,      ///< not a JSON document
        NoSchemes,   ///< "Schemes" is missing or no array
        OutOfMemory, ///< nothing of the script is kept
    };

    /// What happened to the part of the script that an entry names.
    enum class Kind {
        IgnoredFilter,    ///< no filter description: "Name" or "CLSID" is missing
        DuplicateName,    ///< the name is taken already; the earlier description counts
        UnknownReference, ///< refers to a filter that is described nowhere before
        RepeatedFilter,   ///< "IsOnlyOne", and it stands in the list already
        IgnoredScheme,    ///< without "Type" or "Filters", or "Type" names nothing
        CutTypeList,      ///< the names behind an empty one in "Type" were not read
        MalformedGuid,    ///< no GUID in registry form; the field is what Windows made of it
        UnknownRole,      ///< "Type" of a filter names no role; the filter will be asked
        WrongType,        ///< not the JSON type that the key wants; taken as missing
        UnknownKey,       ///< nothing reads this key
        UnreadableText,   ///< not text in code page 936 or UTF-8, or not all of it
        TooLarge,         ///< the script's lists exceed all measure; not stored
    };

    struct Entry {
        Kind kind = Kind::IgnoredFilter;
        std::wstring place;     ///< such as Schemes[3].Filters[1].CLSID, counted from 0
        std::size_t line = 0;   ///< in the file or text as it was given, from 1
        std::size_t column = 0; ///< in characters, from 1
        std::wstring reason;    ///< one sentence, without a full stop
    };

    Failure failure = Failure::None;
    std::wstring failureReason; ///< one sentence; empty after a load that succeeded
    std::size_t line = 0;       ///< where the failure is, from 1; 0 for the whole file
    std::size_t column = 0;     ///< in characters, from 1

    std::vector<Entry> entries; ///< in the order of reading, the first `maxEntries`
    std::size_t omitted = 0;    ///< entries beyond these, not kept

    static constexpr std::size_t maxEntries = 10000;

    /// The report for a person: why the load failed, or a line an entry, each with its place in
    /// `script`, which is what the script is called: "s.json:3:14: ignored: Schemes[0]: ...". Empty
    /// when there is nothing to say, and when memory runs out.
    YMDSHOW_API std::wstring Text(const std::wstring& script) const;
};

} // namespace ymdshow
