#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include <ymlib/Log.h>

namespace ymlib {
namespace {

/// Level, source file, line, function and text of a record.
using Copied = std::tuple<int, std::string, int, std::string, std::wstring>;

/// Collects the records of one category while it lives.
class Collector {
public:
    explicit Collector(const char* category)
        : m_handle(CLoger::GetLoger()->AddSink([this, category](const LogRecord& record) {
              if (record.category == std::string(category)) {
                  m_records.emplace_back(record.level, record.sourceFile, record.line,
                                         record.function, record.text);
              }
          })) {}
    ~Collector() { CLoger::GetLoger()->RemoveSink(m_handle); }
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    std::vector<Copied> m_records;

private:
    const unsigned m_handle;
};

CLogCategory& Category(const char* name) {
    return *CLoger::GetLoger()->GetCategory(name);
}

/// What a record made of the arguments says.
template <class Char, typename... Arguments>
std::wstring Logged(const Char* format, Arguments... arguments) {
    Collector collector("format");
    Category("format").Log(LOG_ERROR, "file", 1, "function", format, arguments...);
    return std::get<4>(collector.m_records.at(0));
}

TEST(YmlibLog, CategoriesAreOnePerNameAndRecordsCarryTheirOrigin) {
    CLoger* const loger = CLoger::GetLoger();
    CLogCategory* const category = loger->GetCategory("origin");
    EXPECT_EQ(category, loger->GetCategory(std::string("origin").c_str()));
    EXPECT_NE(category, loger->GetCategory("Origin"));
    EXPECT_STREQ("origin", category->GetName());
    EXPECT_EQ(nullptr, loger->GetCategory(nullptr));
    EXPECT_EQ(0u, loger->AddSink({}));

    Collector collector("origin");
    SetLastError(4711);
    category->Log(8, "src/YMMedia", 42, "ymdshow::CMedia::Load", "x%d", 1);
    EXPECT_EQ(4711u, GetLastError());
    category->Log(16, nullptr, 0, nullptr, static_cast<const wchar_t*>(nullptr));
    const std::vector<Copied> expected{{8, "src/YMMedia", 42, "ymdshow::CMedia::Load", L"x1"},
                                       {16, "", 0, "", L""}};
    EXPECT_TRUE(expected == collector.m_records);
}

TEST(YmlibLog, LevelsDropWhatIsBelow) {
    CLogCategory& category = Category("levels");
    EXPECT_EQ(LOG_PROGRESS, category.GetLevel());
    const std::pair<int, std::vector<int>> cases[] = {
        {4, {4, 8, 16, LOG_OFF}}, {17, {LOG_OFF}}, {LOG_OFF, {}}, {-1, {0, 3, 4, 8, 16, LOG_OFF}}};
    for (const auto& [level, passed] : cases) {
        // Set both before and after there is a sink: either way it holds.
        for (const int before : {level, static_cast<int>(LOG_ERROR)}) {
            category.SetLevel(before);
            Collector collector("levels");
            category.SetLevel(level);
            for (const int logged : {0, 3, 4, 8, 16, static_cast<int>(LOG_OFF)}) {
                category.Log(logged, "", 0, "", "%d", logged);
            }
            std::vector<int> seen;
            for (const Copied& record : collector.m_records) {
                seen.push_back(std::get<0>(record));
            }
            EXPECT_EQ(passed, seen) << level;
        }
        EXPECT_EQ(level, category.GetLevel());
    }
    category.SetLevel(LOG_PROGRESS); // for a repeated run
}

TEST(YmlibLog, FormatsNarrowAndWide) {
    EXPECT_EQ(L"Load abc 7 1.50 ffffffff", Logged("Load %s %d %.2f %08x", "abc", 7, 1.5, -1));
    EXPECT_EQ(L"1099511627776 %", Logged("%I64d %%", 1LL << 40));
    EXPECT_EQ(L"\x4e2d: \x6587.mp4", Logged("\xd6\xd0: %s", "\xce\xc4.mp4"));
    EXPECT_EQ(L"Load \x4e2d\x6587 7 abc", Logged(L"Load %s %d %hs", L"\x4e2d\x6587", 7, "abc"));

    // Bad text and bad formats still give a record.
    EXPECT_EQ(L"\x4e2d!", Logged("%s", "\xe4\xb8\xad!")) << "UTF-8";
    const std::wstring mixed = Logged("%s", "before \xff\x80\xff after");
    EXPECT_TRUE(mixed.starts_with(L"before ") && mixed.ends_with(L" after"));
    EXPECT_TRUE(Logged(L"odd %y %d", 1).starts_with(L"odd "));
    // No narrow form in the C locale: the conversion fails.
    EXPECT_NE(std::wstring::npos, Logged("failing %S", L"\x4e2d").find(L"failing "));

    for (const std::size_t length : {0u, 511u, 512u, 513u, 3'000'000u}) {
        const std::wstring wide(length, L'\x4e2d');
        EXPECT_TRUE(std::wstring(length, L'n') == Logged("%s", std::string(length, 'n').c_str()))
            << length;
        EXPECT_TRUE(wide + L"|9" == Logged(L"%s|%d", wide.c_str(), 9)) << length;
    }
}

TEST(YmlibLog, SinksMayLogThrowAndRemove) {
    CLoger* const loger = CLoger::GetLoger();
    CLogCategory& category = Category("reentrant");
    int calls = 0;
    int late = 0;
    unsigned self = 0;
    unsigned added = 0;
    self = loger->AddSink([&](const LogRecord&) {
        ++calls;
        category.Log(16, "", 0, "", "nested");
        loger->RemoveSink(self);
        added = loger->AddSink([&late](const LogRecord&) { ++late; });
        throw std::runtime_error("sink");
    });
    Collector after("reentrant");
    for (const int expectedLate : {0, 1}) { // a sink added by a sink begins with the next record
        category.Log(16, "", 0, "", "record");
        EXPECT_EQ(expectedLate, late);
    }
    loger->RemoveSink(added);
    EXPECT_EQ(1, calls);
    ASSERT_EQ(2u, after.m_records.size());
    EXPECT_EQ(L"record", std::get<4>(after.m_records[0]));
}

TEST(YmlibLog, LosesNothingWhileSinksComeAndGo) {
    constexpr int kThreads = 4;
    constexpr int kRecords = 400;
    CLoger* const loger = CLoger::GetLoger();
    std::atomic<int> lateCalls{0};
    Collector all("busy");
    std::vector<std::jthread> threads;
    std::atomic<int> running{kThreads};
    for (int index = 0; index < kThreads; ++index) {
        threads.emplace_back([&running, index] {
            for (int round = 0; round < kRecords; ++round) {
                Category("busy").Log(4, "", index, "", "%d", round);
            }
            --running;
        });
    }
    do {
        auto isRemoved = std::make_shared<std::atomic<bool>>(false);
        const unsigned handle =
            loger->AddSink([isRemoved, &lateCalls](auto&) { lateCalls += *isRemoved; });
        std::this_thread::yield();
        loger->RemoveSink(handle);
        *isRemoved = true;
        EXPECT_EQ(1, isRemoved.use_count()) << "a removed sink is destroyed";
    } while (running > 0);
    threads.clear();
    EXPECT_EQ(0, lateCalls);
    ASSERT_EQ(static_cast<std::size_t>(kThreads * kRecords), all.m_records.size());
    int next[kThreads] = {};
    for (const Copied& record : all.m_records) {
        ASSERT_EQ(next[std::get<2>(record)]++, std::stoi(std::get<4>(record))) << "in order";
    }
}

TEST(YmlibLog, GoesOnAfterAThreadWasTerminatedInASink) {
    CLoger* const loger = CLoger::GetLoger();
    const HANDLE entered = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const unsigned handle = loger->AddSink([&](const LogRecord&) {
        SetEvent(entered);
        Sleep(INFINITE);
    });
    const auto log = [](void*) -> DWORD {
        Category("terminated").Log(16, "", 0, "", "caught");
        return 0;
    };
    const HANDLE thread = CreateThread(nullptr, 0, log, nullptr, 0, nullptr);
    WaitForSingleObject(entered, INFINITE);
    TerminateThread(thread, 1);
    WaitForSingleObject(thread, INFINITE);
    loger->RemoveSink(handle);
    Collector collector("terminated");
    for (int round = 0; round < 2; ++round) {
        Category("terminated").Log(16, "", 0, "", "alive");
        std::thread([] { Category("terminated").Log(16, "", 0, "", "others too"); }).join();
    }
    EXPECT_EQ(4u, collector.m_records.size());
    CloseHandle(thread);
    CloseHandle(entered);
}

TEST(YmlibLog, FileSinkAppendsUtf8Lines) {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        (L"ymlib_\x65e5\x5fd7_" + std::to_wstring(GetCurrentProcessId()) + L".log");
    CLoger* const loger = CLoger::GetLoger();
    EXPECT_EQ(0u, loger->AddFileSink((path.parent_path() / L"no\\such\\directory\\log").wstring()));
    for (int round = 0; round < 2; ++round) {
        const unsigned handle = loger->AddFileSink(path.wstring());
        ASSERT_NE(0u, handle);
        Category("file").Log(8, "src/X", 1, "a::b", L"\x4e2d %d\r\nnext", round);
        loger->RemoveSink(handle);
        Category("file").Log(8, "src/X", 1, "a::b", "not in the file");
    }
    std::stringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    EXPECT_TRUE(std::filesystem::remove(path)) << "closed when the sink is removed";
    const std::string line = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} 8 file a::b: )"
                             "\xe4\xb8\xad ";
    EXPECT_TRUE(std::regex_match(bytes.str(), std::regex(line + "0  next\n" + line + "1  next\n")))
        << bytes.str();
}

} // namespace
} // namespace ymlib
