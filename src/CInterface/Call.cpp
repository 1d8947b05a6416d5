#include "CInterface/Call.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include <ymdshow/Text.h>

namespace ymdshow::c {

thread_local bool t_isLogging = false;

namespace {

/// Plain, so that a thread that is terminated leaves nothing behind.
struct LastFailure {
    char text[1024];
    HRESULT hresult;
};
thread_local LastFailure t_last{};

} // namespace

void Note(const char* function, const Failure& failure) {
    std::snprintf(t_last.text, sizeof(t_last.text), "%s: %s", function, failure.text.c_str());
    // Not in the middle of a character.
    std::size_t end = std::strlen(t_last.text);
    if (end == sizeof(t_last.text) - 1) {
        while (end > 0 && (t_last.text[end - 1] & 0xC0) == 0x80) {
            --end;
        }
        t_last.text[end > 0 ? end - 1 : 0] = '\0';
    }
    t_last.hresult = failure.hresult;
}

void ForgetFailure() {
    t_last.text[0] = '\0';
    t_last.hresult = S_OK;
}

const char* LastText() {
    return t_last.text;
}
HRESULT LastResult() {
    return t_last.hresult;
}

ymd_result NoteException(const char* function) {
    const auto note = [&](ymd_result code, const char* text) {
        std::snprintf(t_last.text, sizeof(t_last.text), "%s: %s", function, text);
        return code;
    };
    try {
        throw;
    } catch (const Failure& failure) {
        Note(function, failure);
        return failure.code;
    } catch (const std::bad_alloc&) {
        return note(YMD_ERROR_MEMORY, "memory ran out");
    } catch (const std::runtime_error& error) { // a track's index
        return note(YMD_ERROR_NOT_FOUND, error.what());
    } catch (...) {
        return note(YMD_ERROR_INTERNAL, "an unexpected exception");
    }
}

std::wstring Wide(const char* text) {
    Require(text != nullptr, YMD_ERROR_ARGUMENT, "a text is null");
    std::wstring wide = Utf8ToWide(text);
    Require(!wide.empty() || *text == '\0', YMD_ERROR_TEXT, "a text is not UTF-8");
    return wide;
}

std::string Utf8FromNarrow(const std::string& narrow) {
    return WideToUtf8(NarrowToWide(narrow));
}

struct alignas(16) Block::Chunk {
    Chunk* next;
};

Block::~Block() {
    if (m_first != nullptr) {
        Free(m_first + 1);
    }
}

void* Block::Add(std::size_t size) {
    auto* const chunk = static_cast<Chunk*>(std::calloc(1, sizeof(Chunk) + size));
    if (chunk == nullptr) {
        throw std::bad_alloc();
    }
    if (m_first == nullptr) {
        m_first = chunk;
    } else {
        chunk->next = std::exchange(m_first->next, chunk);
    }
    return chunk + 1;
}

char* Block::Text(const std::string& utf8) {
    char* const copy = Make<char>(utf8.size() + 1);
    std::memcpy(copy, utf8.c_str(), utf8.size());
    return copy;
}

char* Block::Text(const std::wstring& text) {
    return Text(WideToUtf8(text));
}

void Block::Free(const void* block) {
    if (block == nullptr) {
        return;
    }
    auto* chunk = static_cast<Chunk*>(const_cast<void*>(block)) - 1;
    while (chunk != nullptr) {
        std::free(std::exchange(chunk, chunk->next));
    }
}

} // namespace ymdshow::c
