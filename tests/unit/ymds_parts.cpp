// Parts of the host program that need no graph: the event queue, text.

#include <gtest/gtest.h>

#include <ymdshow/EventQueue.h>

#include "Keys.h"
#include "MediaPath.h"
#include "Text.h"

namespace ymds {

namespace {

TEST(HostEvents, KeepTheirOrderAndCountWhatDidNotFit) {
    ymdshow::EventQueue queue;
    ymdshow::Event event;
    EXPECT_FALSE(queue.Take(event));
    for (long code = 0; code < 1030; ++code) {
        ymdshow::EventQueue::OnEvent(nullptr, &queue, code, code + 1, code + 2);
    }
    EXPECT_EQ(queue.Lost(), 6U);
    for (long code = 0; code < 1024; ++code) {
        ASSERT_TRUE(queue.Take(event));
        ASSERT_TRUE(event.code == code && event.param1 == code + 1 && event.param2 == code + 2);
    }
    EXPECT_FALSE(queue.Take(event));
}

TEST(YmdsText, RendersTimesResultsAndPaths) {
    EXPECT_EQ(Clock(599999999), L"0:59.9");
    EXPECT_EQ(Clock(36000LL * 10000000), L"600:00.0");
    EXPECT_EQ(Clock(-5), L"0:00.0");
    EXPECT_EQ(Hex(E_FAIL), L"0x80004005");
    EXPECT_EQ(Reason(L"RenderFilter: ", E_FAIL), L"RenderFilter (0x80004005, unspecified error)");
    EXPECT_EQ(Reason(L"Run: unspecified error", E_FAIL), L"Run: unspecified error (0x80004005)");
    EXPECT_EQ(Reason(L"", S_OK), L"unknown reason");
    EXPECT_EQ(Stem(L"http://host/dir.x/a b.mp4"), L"a b");
    EXPECT_EQ(Stem(L"C:\\x.y\\name"), L"name");
    EXPECT_EQ(Stem(L".hidden"), L".hidden");
}

TEST(YmdsKeys, MeanTheSameInEitherCase) {
    EXPECT_EQ(ActionOfKey('A', L'A'), Action::NextAudioTrack);
    EXPECT_EQ(ActionOfKey(VK_LEFT, 0), Action::SeekBack);
    EXPECT_EQ(ActionOfKey('X', L'x'), std::nullopt);
    // A dot, whose character is the virtual code of another key.
    EXPECT_EQ(ActionOfKey(VK_OEM_PERIOD, L'.'), Action::Step);
}

} // namespace

} // namespace ymds
