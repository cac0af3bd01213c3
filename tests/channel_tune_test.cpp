// Tuning a booked channel when the viewer accepts a reminder: which application takes the
// launch on each television state, with which data, and the remote-channel path.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TestSupport.h"
#include "device/power.h"

namespace {

CRemindInfo Booking(unsigned long long serviceId) {
    CRemindInfo item;
    item.m_nServiceId = serviceId;
    item.m_nMajor = 102;
    item.m_nMinor = 0;
    item.m_nReserveType = REMINDER_RESERVE_VIEWING;
    return item;
}

// "key=value " for each extra of the launch.
std::string Extras(const tvsim::Launch& launch) {
    std::string all;
    for (const auto& [key, value] : launch.extraData) all += key + "=" + value + " ";
    return all;
}

}  // namespace

TEST(ChannelTune, EachRowWinsOverTheRowsAfterIt) {
    // Dual view, highlight player, PVR call result, stop type, guide shown, the application
    // launched with its extras after "called_app" (svcid alone when null), and a television call
    // that fails.
    using Row =
        std::tuple<const char*, bool, int, int, int, bool, const char*, const char*, const char*>;
    const Row cases[] = {
        {"dual view first", true, 1, 0, 0, true, "tandem", "reminder=4294967296 ", nullptr},
        {"highlight player", false, 1, 0, 0, true, "pvrsportsmode", nullptr, nullptr},
        {"recorder", false, 0, 0, 0, true, "pvrrecorder",
         "method=set_service service_id=4294967296 stop_type=0 handler=7 ", nullptr},
        {"stop type 209: guide", false, 0, 0, 209, true, "epg", nullptr, nullptr},
        {"failed PVR call: guide", false, 0, -1, 0, true, "epg", nullptr, nullptr},
        {"nothing shown: viewer", false, 0, 0, 209, false, "tv-viewer", nullptr, nullptr},
        {"unreadable guide setting", false, 0, 0, 209, true, "tv-viewer", nullptr,
         "vconf_get_int:memory/epg/guide_show"},
    };
    for (const auto& [name, dual, highlight, pvr, stopType, guide, app, extras, failing] : cases) {
        SCOPED_TRACE(name);
        testsupport::LoadSampleTelevision();
        tvsim::SetDualView(dual);
        tvsim::SetHighlightPlayer(highlight);
        tvsim::SetPreChannelChange(pvr, stopType, 7);
        tvsim::SetGuideShown(guide);
        if (failing != nullptr) tvsim::SetFailure(failing);
        tvsim::SetPowerState(POWER_STATE_PICTUREOFF);
        // Sat Müzik on the sample television: a service id past 32 bits.
        CReminderAPIUtil::TuneChannel(Booking(4294967296ULL));
        const std::vector<tvsim::Launch> launches = tvsim::Launches();
        ASSERT_EQ(launches.size(), 1u);
        EXPECT_EQ(launches[0].appId, std::string("org.tizen.") + app);
        EXPECT_EQ(Extras(launches[0]), std::string("called_app=org.tizen.reminder ") +
                                           (extras != nullptr ? extras : "svcid=4294967296 "));
        // Only the viewer takes the set out of picture-off.
        EXPECT_EQ(tvsim::PowerState(), launches[0].appId == "org.tizen.tv-viewer"
                                           ? POWER_STATE_NORMAL
                                           : POWER_STATE_PICTUREOFF);
        // The recorder hears of the channel change whoever shows it.
        EXPECT_EQ(tvsim::CallCount("svc_pvr_pre_channel_change_on_recording"), 1);
        EXPECT_EQ(tvsim::LiveAppControls(), 0);
        EXPECT_TRUE(tvsim::RemoteSends().empty());
    }
}

TEST(ChannelTune, ARemoteChannelGoesOnlyToTheUniversalRemote) {
    CRemindInfo item = Booking(999999);  // not in the channel list either
    item.m_bRemoteChannel = true;
    item.m_nMajor = 5;
    item.m_nMinor = 1;
    item.m_nSource = 9;
    for (const bool sent : {true, false}) {
        SCOPED_TRACE(sent);
        testsupport::LoadSampleTelevision();
        if (!sent) tvsim::SetFailure("mbr_send_channel_number_with_source_type");
        CReminderAPIUtil::TuneChannel(item);
        EXPECT_EQ(tvsim::CallCount("mbr_send_channel_number_with_source_type"), 1);
        if (sent) {
            const tvsim::RemoteSend r = tvsim::RemoteSends().at(0);
            EXPECT_EQ(std::vector<int>({r.major, r.minor, r.source, r.remote}),
                      std::vector<int>({5, 1, 9, 1}));
        }
        // No fallback to a local tune: nothing else is asked of the television.
        for (const char* untouched :
             {"CreateService", "FindService", "svc_pvr_get_highlight_player_flag",
              "svc_pvr_pre_channel_change_on_recording", "vconf_get_int", "app_control_create"}) {
            EXPECT_EQ(tvsim::CallCount(untouched), 0) << untouched;
        }
        EXPECT_TRUE(tvsim::Launches().empty());
    }
}

TEST(ChannelTune, FailuresLaunchNothingAndNeverLeakTheHandle) {
    // The failing call, the booked service, the line logged and whether a handle was made.
    const std::tuple<const char*, unsigned long long, const char*, bool> failures[] = {
        {nullptr, 999999, "Find channel failed, cannot tune channel", false},
        {"app_control_create", 1001, "failed to create service handler.", false},
        {"app_control_send_launch_request", 1001, "tune channel failed", true},
    };
    for (const auto& [failing, serviceId, logged, created] : failures) {
        SCOPED_TRACE(logged);
        testsupport::LoadSampleTelevision();
        tvsim::ClearLogs();
        if (failing != nullptr) tvsim::SetFailure(failing);
        CReminderAPIUtil::TuneChannel(Booking(serviceId));
        EXPECT_TRUE(testsupport::LoggedOn(reminder::kLogSystem, logged));
        EXPECT_TRUE(tvsim::Launches().empty());
        EXPECT_EQ(tvsim::CallCount("app_control_destroy"), created ? 1 : 0);
        EXPECT_EQ(tvsim::LiveAppControls(), 0);
    }
}
