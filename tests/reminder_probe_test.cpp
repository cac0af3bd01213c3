// Device and application probes, string helpers, channel lookup and the programme subscriber.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "RemindInfo.h"
#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TestSupport.h"
#include "tvsim/tvsim.h"

namespace {

void LoadTv(const std::string& json) {
    std::string error;
    ASSERT_TRUE(tvsim::LoadProfile(json, &error)) << error;
}

// UTF-16 text as a broadcast carries it: the bytes of each unit high byte first in memory.
std::vector<unsigned short> BroadcastUnits(const std::vector<unsigned char>& bytes) {
    std::vector<unsigned short> units(bytes.size() / 2);
    std::memcpy(units.data(), bytes.data(), 2 * units.size());
    return units;
}

int g_calls = 0;
void WeightedCallback(EProgramChangeType, TCProgramData*, void* data) {
    g_calls += *static_cast<int*>(data);
}

}  // namespace

TEST(ReminderProbe, SettingsProbesAndTheirFailureAnswers) {
    LoadTv(R"({"country": 37, "system_info": {"125": 1},
               "vconf": {"db/mbr/MBRState": 2, "db/setting/accessibility/tts": true,
                         "memory/tandem/state": 1, "db/menu/support/running_self_test_app": 1,
                         "memory/org.tizen.ug-mheg/running-ziggo-vod": 1}})");
    EXPECT_EQ(CReminderAPIUtil::GetCountry(), 37);
    EXPECT_TRUE(CReminderAPIUtil::FlagSupportRecordingSpec());
    EXPECT_TRUE(CReminderAPIUtil::FlagMBRRunning());
    EXPECT_TRUE(CReminderAPIUtil::FlagTTSAvailable());
    EXPECT_TRUE(CReminderAPIUtil::FlagTandemRunning());
    EXPECT_TRUE(CReminderAPIUtil::FlagSelfTestRunning());
    EXPECT_TRUE(CReminderAPIUtil::FlagZiggoVODRunning());

    // The universal remote counts as running only in state 2.
    for (const int state : {0, 1, 3}) {
        tvsim::SetVconfInt("db/mbr/MBRState", state);
        EXPECT_FALSE(CReminderAPIUtil::FlagMBRRunning()) << state;
    }

    // Nothing readable: every probe gives its fixed answer.
    LoadTv(R"({"failures": ["system_info_get_value_int:125"], "system_info": {"125": 1}})");
    EXPECT_EQ(CReminderAPIUtil::GetCountry(), 0);
    EXPECT_TRUE(testsupport::LoggedOn(reminder::kLogSystem, "Failed to get Country."));
    EXPECT_FALSE(CReminderAPIUtil::FlagSupportRecordingSpec());
    EXPECT_FALSE(CReminderAPIUtil::FlagMBRRunning());
    EXPECT_TRUE(testsupport::LoggedOn(reminder::kLogSystem, "Fail to get MBR status from vconf."));
    EXPECT_FALSE(CReminderAPIUtil::FlagZiggoVODRunning());
}

TEST(ReminderProbe, RecorderProbes) {
    LoadTv(R"({"pvr": {"remaining_time": {"0": 3600, "1": 60}, "recording_services": [4294967297]},
               "tv_mode": [2, 12], "crid_support": 1})");
    EXPECT_TRUE(CReminderAPIUtil::FlagRecording(4294967297ULL));
    EXPECT_FALSE(CReminderAPIUtil::FlagRecording(4294967298ULL));
    // The flag selects the device kind inversely: true asks kind 0.
    EXPECT_TRUE(CReminderAPIUtil::FlagRecordingSpaceAvailable(3600, true));
    EXPECT_FALSE(CReminderAPIUtil::FlagRecordingSpaceAvailable(3600, false));
    EXPECT_TRUE(CReminderAPIUtil::FlagSupportRecordingSpaceChecking());
    EXPECT_TRUE(CReminderAPIUtil::FlagSupportCRID());

    LoadTv(R"({"tv_mode": [2, 3], "crid_support": 0})");
    EXPECT_FALSE(CReminderAPIUtil::FlagSupportRecordingSpaceChecking());
    EXPECT_FALSE(CReminderAPIUtil::FlagSupportCRID());

    // Failures: space is assumed, everything else is refused.
    LoadTv(R"({"pvr": {"remaining_time": 3600, "recording_services": [4294967297]},
               "tv_mode": [2, 12], "crid_support": 1,
               "failures": ["svc_pvr_get_remaining_time", "svc_pvr_is_recording",
                            "CreateServiceNavigation", "CreateSOSpecApp"]})");
    EXPECT_TRUE(CReminderAPIUtil::FlagRecordingSpaceAvailable(7200, true));
    EXPECT_FALSE(CReminderAPIUtil::FlagRecording(4294967297ULL));
    EXPECT_FALSE(CReminderAPIUtil::FlagSupportRecordingSpaceChecking());
    EXPECT_FALSE(CReminderAPIUtil::FlagSupportCRID());
}

TEST(ReminderProbe, ScreenPowerStateAndAntennaMode) {
    const int antenna[] = {-1, 0, 0, 1, 1, -1, -1, 2, -1};  // channel types 0..8
    for (int type = 0; type <= 8; ++type)
        EXPECT_EQ(CReminderAPIUtil::GetAntennaMode(EChannelType(type)), antenna[type]) << type;
    LoadTv(R"({"current_source": 0, "pc_mode": 1, "power_state": 1,
               "running_apps": ["org.example.app"]})");
    EXPECT_EQ(CReminderAPIUtil::GetCurrentSource(), 0);
    EXPECT_TRUE(CReminderAPIUtil::FlagPCModeRunning());
    EXPECT_TRUE(CReminderAPIUtil::FlagAppRunning("org.example.app"));
    EXPECT_FALSE(CReminderAPIUtil::FlagAppRunning("org.example.other"));
    // Picture-off is left for normal; any other state is kept.
    CReminderAPIUtil::m_SwitchPowerStateFromPictureOffToNormal();
    EXPECT_EQ(tvsim::PowerState(), 0);
    tvsim::SetPowerState(2);
    CReminderAPIUtil::m_SwitchPowerStateFromPictureOffToNormal();
    EXPECT_EQ(tvsim::PowerState(), 2);

    LoadTv(
        R"({"current_source": 3, "pc_mode": 1, "failures": ["CreateSourceControl", "avoc_get_pc_mode"]})");
    EXPECT_EQ(CReminderAPIUtil::GetCurrentSource(), -1);
    EXPECT_FALSE(CReminderAPIUtil::FlagPCModeRunning());
}

TEST(ReminderStrings, CaseAndBroadcastUnicode) {
    EXPECT_EQ(CReminderAPIUtil::CompareStrIgnoringCase("Abc", "aBC"), 0);
    EXPECT_LT(CReminderAPIUtil::CompareStrIgnoringCase("ab", "abc"), 0);
    EXPECT_LT(CReminderAPIUtil::CompareStrIgnoringCase("B", "ca"), 0);
    // "A" given as the bytes 00 41 is "A" on any host, not U+4100.
    std::vector<unsigned short> a = BroadcastUnits({0x00, 0x41});
    EXPECT_EQ(CReminderAPIUtil::UnicodeToUTF8(a.size(), a.data()), "A");
    // "Café 中" and a character outside the basic plane (U+1F600 as a surrogate pair).
    std::vector<unsigned short> text =
        BroadcastUnits({0x00, 'C', 0x00, 'a', 0x00, 'f', 0x00, 0xE9, 0x00, ' ', 0x4E, 0x2D, 0xD8,
                        0x3D, 0xDE, 0x00});
    EXPECT_EQ(CReminderAPIUtil::UnicodeToUTF8(text.size(), text.data()),
              "Caf\xC3\xA9 \xE4\xB8\xAD\xF0\x9F\x98\x80");
    // A lone surrogate stops the conversion; what came before is kept.
    std::vector<unsigned short> broken =
        BroadcastUnits({0x00, 'o', 0x00, 'k', 0xDC, 0x00, 0x00, 'x'});
    EXPECT_EQ(CReminderAPIUtil::UnicodeToUTF8(broken.size(), broken.data()), "ok");
    EXPECT_FALSE(testsupport::LogLinesContaining("Iconv excute failed : [").empty());
}

TEST(ReminderChannel, FindChannelByBookingAndProgramText) {
    LoadTv(R"({"channels": [
        {"service_id": 4294967297, "major": 7, "minor": 1, "ptc": 30, "channel_type": 2},
        {"service_id": 4294967298, "minor": 2, "channel_type": 2}]})");
    CRemindInfo item;
    item.m_nServiceId = 4294967297ULL;
    TCServiceData service;
    EXPECT_TRUE(CReminderAPIUtil::FindChannel(item, service));
    item.m_nServiceId = 99;
    EXPECT_FALSE(CReminderAPIUtil::FindChannel(item, service));

    TCProgramData program;
    program.SetServiceId(4294967297ULL);
    program.SetEventId(17);
    program.SetStartTime(1420070400);
    program.SetProgramCRID("/abc");
    program.SetSeriesCRIDs({"a", "b"});
    EXPECT_EQ(CReminderAPIUtil::ProgramToString(program),
              "program [EventId=17, ProgramCrid='/abc', SeriesCrid='a', 'b' StartTime=1420070400, "
              "Major=7]");
    // No CRIDs, and a channel without a major number.
    program = TCProgramData();
    program.SetServiceId(4294967298ULL);
    EXPECT_EQ(CReminderAPIUtil::ProgramToString(program),
              "program [EventId=65535, ProgramCrid='', SeriesCrid= StartTime=0, Major=65535]");
    program.SetServiceId(99);  // unknown channel
    EXPECT_EQ(CReminderAPIUtil::ProgramToString(program), "");
}

TEST(ReminderMonitoring, OneSubscriberPerProcess) {
    LoadTv(R"({"monitoring_type": 1, "programmes": [{"service_id": 5, "event_id": 9, "start": 100,
               "duration": 60, "title": "News"}]})");
    // Without a subscriber, monitoring is refused.
    EXPECT_FALSE(CReminderAPIUtil::FlagProgramMonitoringSupported());

    // The first callback stays, with its data.
    int weight = 1, otherWeight = 10;
    EXPECT_TRUE(CReminderAPIUtil::CreateProgramSubscriber(WeightedCallback, &weight));
    EXPECT_FALSE(CReminderAPIUtil::CreateProgramSubscriber(WeightedCallback, &otherWeight));
    ASSERT_TRUE(tvsim::SignalProgramChange(PROGRAM_CHANGE_STARTED, 5, 9));
    EXPECT_EQ(g_calls, 1);

    EProgramMonitoringType type = PROGRAM_MONITORING_NONE;
    EXPECT_TRUE(CReminderAPIUtil::FlagProgramMonitoringSupported(type));
    EXPECT_EQ(type, PROGRAM_MONITORING_RUNNING_STATUS);
    LoadTv(R"({"monitoring_type": 0})");
    EXPECT_FALSE(CReminderAPIUtil::FlagProgramMonitoringSupported());
}
