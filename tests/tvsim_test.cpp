// The simulated television: profile errors, channel lookup, the clock, failure switches and
// the guide queries that the library's rules depend on.
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "CTimeUtil.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"
#include "TestSupport.h"
#include "app_control.h"
#include "system_info.h"
#include "tvsim/tvsim.h"
#include "vconf.h"

namespace {

constexpr unsigned long kSampleNow = 1795456800;  // 2026-11-23 18:00:00 UTC
constexpr const char* kDetective = "crid://broadcaster.example/Series/DETECTIVE";

IService* ServiceApi() {
    IService* service = nullptr;
    EXPECT_TRUE(TVServiceAPI::CreateService(1, 0, &service));
    return service;
}

IServiceGuide* Guide() {
    IServiceGuide* guide = nullptr;
    EXPECT_TRUE(TVServiceAPI::CreateServiceGuide(1, 0, &guide));
    return guide;
}

TCProgramId EventOf(unsigned long long serviceId, unsigned long eventId) {
    TCProgramId id;
    id.m_serviceId = serviceId;
    id.m_eventId = eventId;
    return id;
}

std::vector<unsigned short> EventIds(const std::map<unsigned int, TCProgramData*>& programs) {
    std::vector<unsigned short> ids;
    for (const auto& [key, p] : programs) ids.push_back(p->EventId());
    return ids;
}

bool IsEmptyTelevision() {
    int value = 0;
    std::vector<TCServiceData> all;
    return ServiceApi()->FindServices(TCCriteriaHelper(), all) == 0 &&
           system_info_get_value_int(SYSTEM_INFO_KEY_TUNER_COUNT, &value) != 0 &&
           vconf_get_int("db/schedule-manager/startmargin", &value) != 0;
}

class TvsimTest : public ::testing::Test {
protected:
    void SetUp() override { testsupport::LoadSampleTelevision(); }
};

TEST_F(TvsimTest, BadProfilesLeaveAnEmptyTelevisionAndNameTheFault) {
    std::string error;

    // Text that is not JSON.
    EXPECT_FALSE(tvsim::LoadProfile("{\"now\": ", &error));
    EXPECT_NE(error.find("not valid JSON"), std::string::npos) << error;
    EXPECT_TRUE(IsEmptyTelevision());

    // A member of the wrong type names the file and the member path; the members read before
    // it do not survive either.
    testsupport::LoadSampleTelevision();
    const std::string path = testsupport::WriteTempFile(
        "bad-channel.json",
        R"({"system_info": {"18": 2}, "channels": [{"major": 1}, {"major": 2}, {"major": "three"}]})");
    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(tvsim::LoadProfileFile(path, &error));
    const std::string printed = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(error.find(path), std::string::npos) << error;
    EXPECT_NE(error.find("channels[2].major"), std::string::npos) << error;
    EXPECT_TRUE(IsEmptyTelevision());
    // Printed exactly once.
    EXPECT_NE(printed.find("channels[2].major"), std::string::npos) << printed;
    EXPECT_EQ(printed.find("channels[2].major"), printed.rfind("channels[2].major")) << printed;

    // Faults deep inside a split event, and in keyed tables, are named as precisely.
    EXPECT_FALSE(tvsim::LoadProfile(
        R"({"programmes": [{"service_id": 1, "event_id": 1, "start": 0, "duration": 60,
            "parts": [{"event_id": 2, "start": 60, "duration": 60},
                      {"event_id": 3, "start": "later", "duration": 60}]}]})",
        &error));
    EXPECT_NE(error.find("programmes[0].parts[1].start"), std::string::npos) << error;
    EXPECT_FALSE(tvsim::LoadProfile(R"({"system_info": {"tuners": 2}})", &error));
    EXPECT_NE(error.find("system_info.tuners"), std::string::npos) << error;
    EXPECT_FALSE(tvsim::LoadProfile(R"({"vconf": {"db/x": "on"}})", &error));
    EXPECT_NE(error.find("vconf.db/x"), std::string::npos) << error;

    // An event id that does not fit the guide's 16 bits, and one used twice on a service.
    EXPECT_FALSE(tvsim::LoadProfile(
        R"({"programmes": [{"service_id": 1, "event_id": 70000, "start": 0, "duration": 1}]})",
        &error));
    EXPECT_NE(error.find("programmes[0].event_id"), std::string::npos) << error;
    EXPECT_FALSE(tvsim::LoadProfile(
        R"({"programmes": [{"service_id": 1, "event_id": 5, "start": 0, "duration": 1},
                           {"service_id": 1, "event_id": 5, "start": 9, "duration": 1}]})",
        &error));
    EXPECT_NE(error.find("programmes[1].event_id"), std::string::npos) << error;

    // A file that is not there.
    EXPECT_FALSE(tvsim::LoadProfileFile("/nonexistent/tv.json", &error));
    EXPECT_NE(error.find("/nonexistent/tv.json"), std::string::npos) << error;
    EXPECT_TRUE(IsEmptyTelevision());
}

TEST_F(TvsimTest, FindServiceFillsOnlyFetchedAttributesOfTheFirstMatch) {
    // Only what was fetched comes back.
    TCCriteriaHelper byId;
    byId.Fetch(SERVICE_ATTR_MAJOR);
    byId.Fetch(SERVICE_ATTR_CHANNEL_TYPE);
    byId.Where(SERVICE_ATTR_SERVICE_ID, 1002);
    TCServiceData service;
    ASSERT_EQ(ServiceApi()->FindService(byId, service), 1);
    EXPECT_EQ(service.Attributes(),
              (std::map<int, long long>{{SERVICE_ATTR_CHANNEL_TYPE, 2}, {SERVICE_ATTR_MAJOR, 2}}));

    // An attribute the channel lacks (an analogue channel has no programme number) stays absent.
    TCCriteriaHelper analogue;
    analogue.Fetch(SERVICE_ATTR_PROGRAM_NUMBER);
    analogue.Fetch(SERVICE_ATTR_PTC);
    analogue.Where(SERVICE_ATTR_SERVICE_ID, 2001);
    ASSERT_EQ(ServiceApi()->FindService(analogue, service), 1);
    long long value = 0;
    EXPECT_FALSE(service.FindAttribute(SERVICE_ATTR_PROGRAM_NUMBER, value));
    EXPECT_TRUE(service.FindAttribute(SERVICE_ATTR_PTC, value));

    // Every condition must hold: two channels share PTC 24, only one is scrambled.
    TCCriteriaHelper scrambledOnPtc;
    scrambledOnPtc.Fetch(SERVICE_ATTR_SERVICE_ID);
    scrambledOnPtc.Where(SERVICE_ATTR_PTC, 24);
    scrambledOnPtc.Where(SERVICE_ATTR_SCRAMBLED_IN_PMT, 1);
    ASSERT_EQ(ServiceApi()->FindService(scrambledOnPtc, service), 1);
    ASSERT_TRUE(service.FindAttribute(SERVICE_ATTR_SERVICE_ID, value));
    EXPECT_EQ(value, 1004);

    // No match answers 0 and leaves the output alone.
    TCCriteriaHelper none;
    none.Fetch(SERVICE_ATTR_SERVICE_ID);
    none.Where(SERVICE_ATTR_PTC, 24);
    none.Where(SERVICE_ATTR_MAJOR, 99);
    EXPECT_EQ(ServiceApi()->FindService(none, service), 0);
    EXPECT_TRUE(service.FindAttribute(SERVICE_ATTR_SERVICE_ID, value));

    // All matches in list order; a service id beyond 32 bits is matched whole.
    TCCriteriaHelper satellite;
    satellite.Where(SERVICE_ATTR_CHANNEL_TYPE, 7);
    std::vector<TCServiceData> found;
    ASSERT_EQ(ServiceApi()->FindServices(satellite, found), 1);
    ASSERT_EQ(found.size(), 2u);
    ASSERT_TRUE(found[1].FindAttribute(SERVICE_ATTR_SERVICE_ID, value));
    EXPECT_EQ(value, 4294967296LL);
}

TEST_F(TvsimTest, ServiceNamesAreUtf16CodeUnits) {
    std::vector<unsigned short> name;
    ASSERT_TRUE(TCServiceDataUtility::GetServiceName(1002, name, true));
    EXPECT_EQ(name, (std::vector<unsigned short>{'Z', 0x00FC, 'r', 'i', 'c', 'h', ' ', 'E', 'i',
                                                 'n', 's'}));
    ASSERT_TRUE(TCServiceDataUtility::GetServiceName(5001, name, true));
    EXPECT_EQ(name.front(), 0x0395);  // Greek capital epsilon: one unit from two bytes
    EXPECT_FALSE(TCServiceDataUtility::GetServiceName(9999, name, true));

    EXPECT_TRUE(TCServiceUtility::IsAnalogChannelType(3));
    EXPECT_FALSE(TCServiceUtility::IsDigitalChannelType(3));
    EXPECT_TRUE(TCServiceUtility::IsDigitalChannelType(7));
    EXPECT_FALSE(TCServiceUtility::IsDigitalChannelType(8));
}

TEST_F(TvsimTest, ClockIsUtcPlusOffsetAndStaysStillUntilSet) {
    // The sample's clock is fixed and one hour ahead locally.
    EXPECT_EQ(tvsim::CurrentUtcTime(), kSampleNow);
    EXPECT_EQ(CTimeUtil::GetCurrentTime(), kSampleNow + 3600);
    EXPECT_EQ(CTimeUtil::ConvertToLocalTime(1000), 4600u);

    // A set clock stays where it was set.
    tvsim::SetCurrentTime(kSampleNow + 90);
    EXPECT_EQ(CTimeUtil::GetCurrentTime(), kSampleNow + 90 + 3600);
    EXPECT_EQ(CTimeUtil::GetCurrentTime(), kSampleNow + 90 + 3600);

    // A negative offset.
    tvsim::SetUtcOffset(-5 * 3600);
    EXPECT_EQ(CTimeUtil::GetCurrentTime(), kSampleNow + 90 - 5 * 3600);

    // Without "now" the clock follows the system.
    ASSERT_TRUE(tvsim::LoadProfile(R"({"utc_offset": 60})"));
    const unsigned long system = static_cast<unsigned long>(std::time(nullptr));
    EXPECT_NEAR(static_cast<double>(CTimeUtil::GetCurrentTime()), static_cast<double>(system + 60),
                5);

    // Calendar helpers use UTC rules on unsigned 32-bit seconds, past 2038 too.
    struct tm broken = {};
    ASSERT_TRUE(CTimeUtil::Unsigned_gmtime_r(4000000000UL, &broken));
    EXPECT_EQ(broken.tm_year, 2096 - 1900);
    EXPECT_EQ(CTimeUtil::Unsigned_timegm(&broken), 4000000000UL);
    ASSERT_TRUE(CTimeUtil::Unsigned_gmtime_r(kSampleNow, &broken));
    EXPECT_EQ(broken.tm_hour, 18);
    EXPECT_EQ(broken.tm_mday, 23);
}

TEST_F(TvsimTest, FailuresCanBeLimitedToOneKey) {
    int value = 0;
    ASSERT_TRUE(tvsim::LoadProfile(R"({"system_info": {"18": 2, "238": 1},
                                       "failures": ["system_info_get_value_int:18",
                                                    "CreateServiceNavigation"]})"));
    // Only key 18 fails.
    EXPECT_NE(system_info_get_value_int(18, &value), 0);
    EXPECT_EQ(system_info_get_value_int(238, &value), 0);
    EXPECT_EQ(value, 1);
    // An absent key fails its read, as on a set.
    EXPECT_NE(system_info_get_value_int(125, &value), 0);

    // A failing factory gives nothing and leaves the output alone.
    IServiceNavigation* navigation = nullptr;
    EXPECT_FALSE(TVServiceAPI::CreateServiceNavigation(1, 0, &navigation));
    EXPECT_EQ(navigation, nullptr);

    // The whole call, switched on and off at run time.
    tvsim::SetFailure("system_info_get_value_int");
    EXPECT_NE(system_info_get_value_int(238, &value), 0);
    tvsim::SetFailure("system_info_get_value_int", false);
    EXPECT_EQ(system_info_get_value_int(238, &value), 0);
    EXPECT_EQ(tvsim::CallCount("system_info_get_value_int"), 5);
}

TEST_F(TvsimTest, VconfWritesAreReadBackAndRecorded) {
    int value = 0;
    ASSERT_EQ(vconf_set_int("db/schedule-manager/startmargin", 7), VCONF_OK);
    ASSERT_EQ(vconf_get_int("db/schedule-manager/startmargin", &value), VCONF_OK);
    EXPECT_EQ(value, 7);
    ASSERT_EQ(tvsim::VconfWrites().size(), 1u);
    EXPECT_EQ(tvsim::VconfWrites()[0].key, "db/schedule-manager/startmargin");

    // A boolean key is no integer; an integer key reads as a truth value.
    value = 42;
    EXPECT_EQ(vconf_get_int("db/setting/accessibility/tts", &value), VCONF_ERROR);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(vconf_get_bool("db/schedule-manager/startmargin", &value), VCONF_OK);
    EXPECT_EQ(value, 1);
}

TEST_F(TvsimTest, PartsOfAnEventComeInStartOrder) {
    std::map<unsigned int, TCProgramData*> programs;

    // A plain programme is its own only part.
    ASSERT_EQ(Guide()->GetProgramsOfEvent(EventOf(1002, 124), programs), 1);
    EXPECT_EQ(EventIds(programs), std::vector<unsigned short>{124});

    // A split event gives all three parts, also when asked by its last part.
    for (const unsigned long asked : {500UL, 502UL}) {
        ASSERT_EQ(Guide()->GetProgramsOfEvent(EventOf(1002, asked), programs), 1);
        EXPECT_EQ(EventIds(programs), (std::vector<unsigned short>{500, 501, 502}));
    }
    // Parts take the event's service and title; a split event's parts share its instance CRID.
    const TCProgramData& last = *programs.at(2);
    EXPECT_EQ(last.ServiceId(), 1002u);
    EXPECT_EQ(last.TitleLength(), programs.at(0)->TitleLength());
    std::string crid;
    ASSERT_TRUE(last.GetProgramCRID(crid));
    EXPECT_EQ(crid, "crid://broadcaster.example/Film/DerGrosseFilm#1");

    EXPECT_EQ(Guide()->GetProgramsOfEvent(EventOf(1002, 9999), programs), 0);
}

TEST_F(TvsimTest, CridLookupsIgnoreCase) {
    std::map<unsigned int, TCProgramData*> programs;

    // The series: three episodes and one repeat on another channel, in start order.
    ASSERT_EQ(Guide()->GetProgramsByCRID("CRID://BROADCASTER.EXAMPLE/series/detective",
                                         CRID_TYPE_SERIES, programs),
              1);
    ASSERT_EQ(programs.size(), 4u);
    for (unsigned int k = 1; k < programs.size(); ++k) {
        EXPECT_LT(programs.at(k - 1)->StartTime(), programs.at(k)->StartTime());
    }
    std::list<std::string> series;
    ASSERT_TRUE(programs.at(0)->GetCRIDs(series, CRID_TYPE_SERIES));
    EXPECT_EQ(series.front(), kDetective);  // kept as broadcast

    // A programme CRID finds the first showing and its repeat.
    ASSERT_EQ(Guide()->GetProgramsByCRID("crid://broadcaster.example/detective/s01e01",
                                         CRID_TYPE_PROGRAM, programs),
              1);
    EXPECT_EQ(programs.size(), 2u);
    EXPECT_EQ(Guide()->GetProgramsByCRID("crid://nowhere/x", CRID_TYPE_SERIES, programs), 0);
}

TEST_F(TvsimTest, PresentAndFollowingProgrammesFollowTheClock) {
    TCProgramData present;
    TCProgramData following;
    ASSERT_EQ(Guide()->GetPresentProgram(1001, present), 1);
    ASSERT_EQ(Guide()->GetFollowingProgram(1001, following), 1);
    EXPECT_LE(present.StartTime(), kSampleNow);
    EXPECT_GT(present.StartTime() + present.Duration(), kSampleNow);
    EXPECT_EQ(following.StartTime(), present.StartTime() + present.Duration());

    // Moving the clock into the next programme makes it the present one.
    tvsim::SetCurrentTime(following.StartTime());
    ASSERT_EQ(Guide()->GetPresentProgram(1001, present), 1);
    EXPECT_EQ(present.EventId(), following.EventId());
}

int g_signals = 0;
unsigned short g_signalledEvent = 0;

void CountSignal(EProgramChangeType, TCProgramData* program, int, int) {
    ++g_signals;
    g_signalledEvent = program->EventId();
}

TEST_F(TvsimTest, ProgrammeSubscriberOutlivesAProfileChange) {
    IProgramSubscriber* subscriber = nullptr;
    ASSERT_TRUE(TVServiceAPI::CreateProgramSubscriber(1, 0, CountSignal, &subscriber));
    int first = 0;
    int second = 0;
    ASSERT_EQ(subscriber->SubscribeProgram(TCProgramFilteringItem(1), first), 1);
    ASSERT_EQ(subscriber->SubscribeProgram(TCProgramFilteringItem(0), second), 1);
    EXPECT_LT(first, second);

    // The library keeps its subscriber and handles when a test loads another television.
    ASSERT_TRUE(tvsim::LoadProfile(R"({"programmes": [{"service_id": 7, "event_id": 9,
                                        "start": 0, "duration": 60}]})"));
    EXPECT_EQ(tvsim::Subscriptions().size(), 2u);
    EXPECT_EQ(subscriber->UnSubscribeProgram(first), 1);
    EXPECT_EQ(subscriber->UnSubscribeProgram(first), 0);  // already gone
    ASSERT_TRUE(tvsim::SignalProgramChange(PROGRAM_CHANGE_STARTED, 7, 9));
    EXPECT_EQ(g_signals, 1);
    EXPECT_EQ(g_signalledEvent, 9);
    EXPECT_FALSE(tvsim::SignalProgramChange(PROGRAM_CHANGE_STARTED, 7, 10));  // not in the guide
}

TEST_F(TvsimTest, LaunchesAreRecordedOnlyWhenSent) {
    tvsim::SetFailure("app_control_send_launch_request:org.tizen.epg");
    for (const char* app : {"org.tizen.epg", "org.tizen.tv-viewer"}) {
        app_control_h handle = nullptr;
        ASSERT_EQ(app_control_create(&handle), APP_CONTROL_ERROR_NONE);
        app_control_add_extra_data(handle, "called_app", "org.tizen.reminder");
        app_control_set_app_id(handle, app);
        app_control_add_extra_data(handle, "svcid", "1001");
        app_control_send_launch_request(handle, nullptr, nullptr);
        EXPECT_EQ(tvsim::LiveAppControls(), 1);
        app_control_destroy(handle);
    }
    EXPECT_EQ(tvsim::LiveAppControls(), 0);
    // Only the launch that went out, with its data in the order added.
    const auto launches = tvsim::Launches();
    ASSERT_EQ(launches.size(), 1u);
    EXPECT_EQ(launches[0].appId, "org.tizen.tv-viewer");
    using Extra = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(launches[0].extraData,
              (Extra{{"called_app", "org.tizen.reminder"}, {"svcid", "1001"}}));
}

}  // namespace
