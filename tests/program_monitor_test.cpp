// Following booked programmes and series through the programme subscriber, and who stops a
// recording. Each test runs in a process of its own, so each starts without a subscriber.
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TestSupport.h"

namespace {

CRemindInfo Recording(uint32_t uid, unsigned short eventId) {
    CRemindInfo item;
    item.m_nUid = uid;
    item.m_nServiceId = 1001;
    item.m_nEventId = eventId;
    item.m_nUTCStartTime = 1795460400;
    item.m_nUTCDuration = 3600;
    item.m_nReserveType = REMINDER_RESERVE_RECORDING_MONITORED;
    return item;
}

void Ignore(EProgramChangeType, TCProgramData*, void*) {}

std::atomic<int> g_changes{0};
std::atomic<bool> g_onMainThread{false};
std::thread::id g_mainThread;

// Follows and drops an item of its own from the middleware's thread, as a client that books
// from a change would.
void FollowFromCallback(EProgramChangeType, TCProgramData* program, void*) {
    if (std::this_thread::get_id() == g_mainThread) g_onMainThread = true;
    const CRemindInfo own = Recording(100000 + program->EventId(), program->EventId());
    CReminderAPIUtil::MonitorProgram(own);
    CReminderAPIUtil::MonitorCRID("crid://example.com/from-callback");
    CReminderAPIUtil::CancelMonitorProgram(own);
    CReminderAPIUtil::CancelMonitorCRID("crid://example.com/from-callback");
    ++g_changes;
}

}  // namespace

TEST(ProgramMonitor, ItemsByUidAndSeriesByExactCridAreFollowedUntilCancelled) {
    // Nothing is monitored before the subscriber exists.
    const CRemindInfo item = Recording(42, 104);
    EXPECT_FALSE(CReminderAPIUtil::MonitorProgram(item));
    EXPECT_TRUE(testsupport::LoggedOn(reminder::kLogSystem, "MonitorProgram failed"));
    EXPECT_FALSE(CReminderAPIUtil::MonitorCRID("crid://example.com/series"));
    EXPECT_EQ(tvsim::CallCount("SubscribeProgram"), 0);

    ASSERT_TRUE(CReminderAPIUtil::CreateProgramSubscriber(Ignore, nullptr));
    ASSERT_TRUE(CReminderAPIUtil::MonitorProgram(item));
    const std::vector<tvsim::Subscription> subs = tvsim::Subscriptions();
    ASSERT_EQ(subs.size(), 1u);
    const auto& id = subs[0].item.MonitorId();
    EXPECT_EQ(std::make_tuple(subs[0].item.Kind(), id.m_serviceId, id.m_eventId, id.m_starttime),
              std::make_tuple(1, 1001ull, 104u, 1795460400ul));
    // Manual bookings are never followed: a manual one of the same UID cancels nothing either.
    CRemindInfo manual = item;
    manual.m_nManual = 1;
    EXPECT_FALSE(CReminderAPIUtil::MonitorProgram(manual));
    EXPECT_FALSE(CReminderAPIUtil::CancelMonitorProgram(manual));
    EXPECT_EQ(tvsim::Subscriptions().size(), 1u);
    // Cancelling needs only the UID; the entry goes with it.
    ASSERT_TRUE(CReminderAPIUtil::CancelMonitorProgram(Recording(42, 999)));
    EXPECT_TRUE(tvsim::Subscriptions().empty());
    EXPECT_FALSE(CReminderAPIUtil::CancelMonitorProgram(item));
    // A series is followed by its CRID and cancelled only by exactly that CRID.
    const std::string crid = "crid://example.com/Series7";
    ASSERT_TRUE(CReminderAPIUtil::MonitorCRID(crid));
    ASSERT_EQ(tvsim::Subscriptions().size(), 1u);
    EXPECT_EQ(tvsim::Subscriptions()[0].item.Series(), crid);
    for (const char* near : {"crid://example.com/series7", "crid://example.com/Series", ""})
        EXPECT_FALSE(CReminderAPIUtil::CancelMonitorCRID(near)) << near;
    EXPECT_TRUE(testsupport::LoggedOn(reminder::kLogSystem, "Find CRID monitor handle failed."));
    ASSERT_TRUE(CReminderAPIUtil::CancelMonitorCRID(crid));
    EXPECT_TRUE(tvsim::Subscriptions().empty());
    // A refused subscription records nothing.
    tvsim::SetFailure("SubscribeProgram");
    EXPECT_FALSE(CReminderAPIUtil::MonitorProgram(item));
    EXPECT_FALSE(CReminderAPIUtil::CancelMonitorProgram(item));
}

TEST(ProgramMonitor, NeedPvrStopInEachBranch) {
    const auto inProgress = REMINDER_RESERVE_RECORDING_IN_PROGRESS;
    const std::nullopt_t refused = std::nullopt;
    // Name, monitoring type, current source, reserve type, manual, whether PVR must stop.
    using Row =
        std::tuple<const char*, std::optional<int>, std::optional<int>, EReserveType, int, bool>;
    const Row cases[] = {
        {"no monitoring", 0, 0, inProgress, 0, true},
        {"type refused", refused, 0, inProgress, 0, true},
        {"running status on the TV source", 1, 0, inProgress, 0, false},
        {"running status, not yet recording", 1, 0, REMINDER_RESERVE_RECORDING_MONITORED, 0, true},
        {"running status, manual", 1, 0, inProgress, 1, true},
        {"another source", 1, 3, inProgress, 0, false},
        {"source refused", 1, refused, inProgress, 0, false},
        {"EIT monitoring", 2, 0, inProgress, 0, false},
        {"EIT monitoring, manual", 2, 0, inProgress, 1, true},
    };
    for (const auto& [name, monitoringType, source, reserveType, manual, needStop] : cases) {
        SCOPED_TRACE(name);
        tvsim::SetMonitoringType(monitoringType);
        tvsim::SetCurrentSource(source);
        CRemindInfo item = Recording(3, 104);
        item.m_nReserveType = reserveType;
        item.m_nManual = manual;
        EXPECT_EQ(CReminderAPIUtil::NeedPVRStop(item), needStop);
    }
    // The first call made the subscriber, with no callback: a client that comes later is
    // refused, and a change reaches no one.
    EXPECT_EQ(tvsim::CallCount("CreateProgramSubscriber"), 1);
    EXPECT_FALSE(CReminderAPIUtil::CreateProgramSubscriber(Ignore, nullptr));
    EXPECT_TRUE(tvsim::SignalProgramChange(PROGRAM_CHANGE_STARTED, 1001, 104));
}

// Built with REMINDER_SANITIZE_THREAD, this is the test that shows the tables need their lock.
TEST(ProgramMonitorThreads, ChangesArriveWhileTheMainThreadMonitorsAndCancels) {
    g_mainThread = std::this_thread::get_id();
    ASSERT_TRUE(CReminderAPIUtil::CreateProgramSubscriber(FollowFromCallback, nullptr));
    TCProgramData programme;
    ASSERT_TRUE(tvsim::FindProgramme(1001, 104, programme));

    constexpr int kChanges = 50;
    for (int i = 0; i < kChanges; ++i) {
        programme.SetEventId(static_cast<unsigned short>(i));
        ASSERT_TRUE(tvsim::PostProgramChange(PROGRAM_CHANGE_START_TIME, programme));
    }
    int cancelled = 0;
    for (uint32_t uid = 1; uid <= 200; ++uid) {
        const CRemindInfo item = Recording(uid, 104);
        ASSERT_TRUE(CReminderAPIUtil::MonitorProgram(item));
        ASSERT_TRUE(CReminderAPIUtil::MonitorCRID("crid://example.com/s" + std::to_string(uid)));
        if (CReminderAPIUtil::CancelMonitorProgram(item)) ++cancelled;
        CReminderAPIUtil::CancelMonitorCRID("crid://example.com/s" + std::to_string(uid));
    }
    tvsim::WaitProgramChanges();

    EXPECT_EQ(g_changes.load(), kChanges);
    EXPECT_FALSE(g_onMainThread.load());
    EXPECT_EQ(cancelled, 200);
    EXPECT_TRUE(tvsim::Subscriptions().empty());
}
