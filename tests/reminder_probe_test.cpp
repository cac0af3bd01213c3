// Device and application probes, string helpers, channel lookup and the programme subscriber.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TestSupport.h"

namespace {

void LoadTv(const std::string& json) {
    ASSERT_TRUE(tvsim::LoadProfile(json)) << json;
}

// UTF-16 text as a broadcast carries it (each unit high byte first in memory), as UTF-8.
std::string FromBroadcast(const std::vector<unsigned char>& bytes) {
    std::vector<unsigned short> units(bytes.size() / 2);
    std::memcpy(units.data(), bytes.data(), 2 * units.size());
    return CReminderAPIUtil::UnicodeToUTF8(units.size(), units.data());
}

int g_calls = 0;
void WeightedCallback(EProgramChangeType, TCProgramData*, void* data) {
    g_calls += *static_cast<int*>(data);
}

using U = CReminderAPIUtil;

}  // namespace

TEST(ReminderProbe, AnswersFromTheTelevisionAndFixedAnswersWhenNothingIsReadable) {
    LoadTv(R"({"country": 37, "system_info": {"125": 1}, "vconf": {"db/mbr/MBRState": 2},
               "pvr": {"remaining_time": {"0": 3600, "1": 60}, "recording_services": [4294967297]},
               "tv_mode": [2, 12], "crid_support": 1, "running_apps": ["org.example.app"]})");
    EXPECT_EQ(U::GetCountry(), 37);
    for (const bool flag : {U::FlagSupportRecordingSpec(), U::FlagMBRRunning(),
                            U::FlagRecording(4294967297ULL), U::FlagSupportRecordingSpaceChecking(),
                            U::FlagSupportCRID(), U::FlagAppRunning("org.example.app")})
        EXPECT_TRUE(flag);
    EXPECT_FALSE(U::FlagRecording(4294967298ULL));
    EXPECT_FALSE(U::FlagAppRunning("org.example.other"));
    // The flag selects the device kind inversely: true asks kind 0.
    EXPECT_TRUE(U::FlagRecordingSpaceAvailable(3600, true));
    EXPECT_FALSE(U::FlagRecordingSpaceAvailable(3600, false));
    // The universal remote counts as running only in state 2.
    tvsim::SetVconfInt("db/mbr/MBRState", 3);
    EXPECT_FALSE(U::FlagMBRRunning());

    LoadTv(R"({"system_info": {"125": 1}, "current_source": 3, "pc_mode": 1,
               "pvr": {"remaining_time": 3600, "recording_services": [4294967297]},
               "tv_mode": [2, 12], "crid_support": 1,
               "failures": ["system_info_get_value_int:125", "svc_pvr_get_remaining_time",
                            "svc_pvr_is_recording", "CreateServiceNavigation", "CreateSOSpecApp",
                            "CreateSourceControl", "avoc_get_pc_mode"]})");
    EXPECT_EQ(U::GetCountry(), 0);
    EXPECT_EQ(U::GetCurrentSource(), -1);
    // Space is assumed; everything else is refused.
    EXPECT_TRUE(U::FlagRecordingSpaceAvailable(7200, true));
    for (const bool flag :
         {U::FlagSupportRecordingSpec(), U::FlagMBRRunning(), U::FlagRecording(4294967297ULL),
          U::FlagSupportRecordingSpaceChecking(), U::FlagSupportCRID(), U::FlagPCModeRunning()})
        EXPECT_FALSE(flag);
    EXPECT_TRUE(testsupport::LoggedOn(reminder::kLogSystem, "Failed to get Country."));
}

TEST(ReminderProbe, PowerStateAndAntennaMode) {
    const int antenna[] = {-1, 0, 0, 1, 1, -1, -1, 2, -1};  // channel types 0..8
    for (int type = 0; type <= 8; ++type)
        EXPECT_EQ(U::GetAntennaMode(EChannelType(type)), antenna[type]) << type;
    // Picture-off is left for normal; any other state is kept.
    LoadTv(R"({"power_state": 1})");
    U::m_SwitchPowerStateFromPictureOffToNormal();
    EXPECT_EQ(tvsim::PowerState(), 0);
    tvsim::SetPowerState(2);
    U::m_SwitchPowerStateFromPictureOffToNormal();
    EXPECT_EQ(tvsim::PowerState(), 2);
}

TEST(ReminderStrings, CaseAndBroadcastUnicode) {
    EXPECT_EQ(U::CompareStrIgnoringCase("Abc", "aBC"), 0);
    EXPECT_LT(U::CompareStrIgnoringCase("B", "ca"), 0);
    // "A" given as the bytes 00 41 is "A" on any host, not U+4100.
    EXPECT_EQ(FromBroadcast({0x00, 0x41}), "A");
    // "Café 中" and a character outside the basic plane (U+1F600 as a surrogate pair).
    EXPECT_EQ(FromBroadcast({0x00, 'C', 0x00, 'a', 0x00, 'f', 0x00, 0xE9, 0x00, ' ', 0x4E, 0x2D,
                             0xD8, 0x3D, 0xDE, 0x00}),
              "Caf\xC3\xA9 \xE4\xB8\xAD\xF0\x9F\x98\x80");
    // A lone surrogate stops the conversion; what came before is kept.
    EXPECT_EQ(FromBroadcast({0x00, 'o', 0x00, 'k', 0xDC, 0x00, 0x00, 'x'}), "ok");
}

TEST(ReminderChannel, FindChannelByBookingAndProgramText) {
    LoadTv(R"({"channels": [
        {"service_id": 4294967297, "major": 7, "minor": 1, "ptc": 30, "channel_type": 2}]})");
    CRemindInfo item;
    item.m_nServiceId = 4294967297ULL;
    TCServiceData service;
    EXPECT_TRUE(U::FindChannel(item, service));
    item.m_nServiceId = 99;
    EXPECT_FALSE(U::FindChannel(item, service));

    TCProgramData program;
    program.SetServiceId(4294967297ULL);
    program.SetEventId(17);
    program.SetStartTime(1420070400);
    program.SetProgramCRID("/abc");
    program.SetSeriesCRIDs({"a", "b"});
    EXPECT_EQ(U::ProgramToString(program),
              "program [EventId=17, ProgramCrid='/abc', SeriesCrid='a', 'b' StartTime=1420070400, "
              "Major=7]");
    program.SetServiceId(99);  // unknown channel
    EXPECT_EQ(U::ProgramToString(program), "");
}

TEST(ReminderMonitoring, OneSubscriberPerProcess) {
    LoadTv(R"({"monitoring_type": 1, "programmes": [{"service_id": 5, "event_id": 9, "start": 100,
               "duration": 60, "title": "News"}]})");
    EXPECT_FALSE(U::FlagProgramMonitoringSupported()) << "no subscriber yet";
    // The first callback stays, with its data.
    int weight = 1, otherWeight = 10;
    EXPECT_TRUE(U::CreateProgramSubscriber(WeightedCallback, &weight));
    EXPECT_FALSE(U::CreateProgramSubscriber(WeightedCallback, &otherWeight));
    ASSERT_TRUE(tvsim::SignalProgramChange(PROGRAM_CHANGE_STARTED, 5, 9));
    EXPECT_EQ(g_calls, 1);

    EProgramMonitoringType type = PROGRAM_MONITORING_NONE;
    EXPECT_TRUE(U::FlagProgramMonitoringSupported(type));
    EXPECT_EQ(type, PROGRAM_MONITORING_RUNNING_STATUS);
    LoadTv(R"({"monitoring_type": 0})");
    EXPECT_FALSE(U::FlagProgramMonitoringSupported());
}
