// Tuning a booked channel when the viewer accepts a reminder: which application takes the
// launch on each television state, with which data, and the remote-channel path.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "RemindInfo.h"
#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TestSupport.h"
#include "device/power.h"
#include "tvsim/tvsim.h"

namespace {

using Extras = std::vector<std::pair<std::string, std::string>>;

// Sat Müzik on the sample television: a service id past 32 bits.
constexpr unsigned long long kWideServiceId = 4294967296ULL;

CRemindInfo Booking(unsigned long long serviceId) {
    CRemindInfo item;
    item.m_nServiceId = serviceId;
    item.m_nMajor = 102;
    item.m_nMinor = 0;
    item.m_nReserveType = REMINDER_RESERVE_VIEWING;
    return item;
}

struct TvState {
    bool dualView = false;
    int highlightPlayer = 0;
    int pvrResult = 0;
    int stopType = 0;
    bool guideShown = false;
};

struct LaunchCase {
    const char* name;
    TvState state;
    const char* appId;
    Extras extras;  // after "called_app"
};

}  // namespace

TEST(ChannelTune, EachRowWinsOverTheRowsAfterIt) {
    const std::string sid = "4294967296";
    const LaunchCase cases[] = {
        {"dual view before everything",
         {true, 1, 0, 0, true},
         "org.tizen.tandem",
         {{"reminder", sid}}},
        {"highlight player before the recorder",
         {false, 1, 0, 0, true},
         "org.tizen.pvrsportsmode",
         {{"svcid", sid}}},
        {"recorder before the guide",
         {false, 0, 0, 0, true},
         "org.tizen.pvrrecorder",
         {{"method", "set_service"}, {"service_id", sid}, {"stop_type", "0"}, {"handler", "7"}}},
        {"stop type 209 leaves it to the guide",
         {false, 0, 0, 209, true},
         "org.tizen.epg",
         {{"svcid", sid}}},
        {"a failed PVR call leaves it to the guide",
         {false, 0, -1, 0, true},
         "org.tizen.epg",
         {{"svcid", sid}}},
        {"nothing on screen: the viewer",
         {false, 0, 0, 209, false},
         "org.tizen.tv-viewer",
         {{"svcid", sid}}},
    };
    for (const LaunchCase& c : cases) {
        SCOPED_TRACE(c.name);
        testsupport::LoadSampleTelevision();
        tvsim::SetDualView(c.state.dualView);
        tvsim::SetHighlightPlayer(c.state.highlightPlayer);
        tvsim::SetPreChannelChange(c.state.pvrResult, c.state.stopType, 7);
        tvsim::SetGuideShown(c.state.guideShown);

        CReminderAPIUtil::TuneChannel(Booking(kWideServiceId));

        const std::vector<tvsim::Launch> launches = tvsim::Launches();
        ASSERT_EQ(launches.size(), 1u);
        EXPECT_EQ(launches[0].appId, c.appId);
        Extras expected{{"called_app", "org.tizen.reminder"}};
        expected.insert(expected.end(), c.extras.begin(), c.extras.end());
        EXPECT_EQ(launches[0].extraData, expected);
        // The recorder hears of the channel change whoever shows it.
        EXPECT_EQ(tvsim::CallCount("svc_pvr_pre_channel_change_on_recording"), 1);
        EXPECT_EQ(tvsim::LiveAppControls(), 0);
        EXPECT_TRUE(tvsim::RemoteSends().empty());
    }
}

TEST(ChannelTune, TheViewerTakesTheSetOutOfPictureOff) {
    testsupport::LoadSampleTelevision();
    tvsim::SetPreChannelChange(0, 209, 0);
    tvsim::SetPowerState(POWER_STATE_PICTUREOFF);
    CReminderAPIUtil::TuneChannel(Booking(1001));
    ASSERT_EQ(tvsim::Launches().size(), 1u);
    EXPECT_EQ(tvsim::Launches()[0].appId, "org.tizen.tv-viewer");
    EXPECT_EQ(tvsim::PowerState(), POWER_STATE_NORMAL);
    EXPECT_TRUE(testsupport::Logged("launch tv-viewer to tune channel(serviceid:[1001])"));

    // Any other application leaves the power state alone.
    tvsim::SetPowerState(POWER_STATE_PICTUREOFF);
    tvsim::SetGuideShown(true);
    CReminderAPIUtil::TuneChannel(Booking(1001));
    EXPECT_EQ(tvsim::Launches().back().appId, "org.tizen.epg");
    EXPECT_EQ(tvsim::PowerState(), POWER_STATE_PICTUREOFF);
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
        tvsim::ClearLogs();
        if (!sent) tvsim::SetFailure("mbr_send_channel_number_with_source_type");
        CReminderAPIUtil::TuneChannel(item);
        EXPECT_TRUE(testsupport::Logged(std::string("Tune remote channel result : [") +
                                        (sent ? "TRUE" : "FALSE") + "]"));
        EXPECT_EQ(tvsim::CallCount("mbr_send_channel_number_with_source_type"), 1);
        if (sent) {
            ASSERT_EQ(tvsim::RemoteSends().size(), 1u);
            const tvsim::RemoteSend send = tvsim::RemoteSends()[0];
            EXPECT_EQ(std::vector<int>({send.major, send.minor, send.source, send.remote}),
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
    struct Failure {
        const char* failing;
        unsigned long long serviceId;
        const char* logged;
        bool created;
    };
    const Failure failures[] = {
        {nullptr, 999999, "Find channel failed, cannot tune channel", false},
        {"app_control_create", 1001, "failed to create service handler.", false},
        {"app_control_send_launch_request", 1001, "tune channel failed", true},
    };
    for (const Failure& f : failures) {
        SCOPED_TRACE(f.logged);
        testsupport::LoadSampleTelevision();
        tvsim::ClearLogs();
        if (f.failing != nullptr) tvsim::SetFailure(f.failing);
        CReminderAPIUtil::TuneChannel(Booking(f.serviceId));
        EXPECT_TRUE(testsupport::LoggedOn(reminder::kLogSystem, f.logged));
        EXPECT_TRUE(tvsim::Launches().empty());
        EXPECT_EQ(tvsim::CallCount("app_control_destroy"), f.created ? 1 : 0);
        EXPECT_EQ(tvsim::LiveAppControls(), 0);
    }
}

TEST(ChannelTune, AnUnreadableGuideSettingCountsAsNoGuide) {
    testsupport::LoadSampleTelevision();
    tvsim::SetGuideShown(true);
    tvsim::SetPreChannelChange(0, 209, 0);
    tvsim::SetFailure("vconf_get_int:memory/epg/guide_show");
    CReminderAPIUtil::TuneChannel(Booking(1001));
    EXPECT_TRUE(testsupport::LoggedOn(reminder::kLogSystem, "Fail to get epg show vconf."));
    ASSERT_EQ(tvsim::Launches().size(), 1u);
    EXPECT_EQ(tvsim::Launches()[0].appId, "org.tizen.tv-viewer");
}
