// The simulated television: profile errors, channel lookup, the clock, and the guide queries and
// programme subscriber that the library's rules depend on.
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "CTimeUtil.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"
#include "TestSupport.h"
#include "system_info.h"
#include "tvsim/tvsim.h"
#include "vconf.h"

namespace {

constexpr unsigned long kSampleNow = 1795456800;  // 2026-11-23 18:00:00 UTC

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
    // Each fault is named by its member path; the members read before it do not survive.
    const std::pair<const char*, const char*> faults[] = {
        {"{\"now\": ", "not valid JSON"},
        {R"({"system_info": {"18": 2}, "channels": [{"major": 1}, {"major": "three"}]})",
         "channels[1].major"},
        {R"({"programmes": [{"service_id": 1, "event_id": 1, "start": 0, "duration": 60,
             "parts": [{"event_id": 3, "start": "later", "duration": 60}]}]})",
         "programmes[0].parts[0].start"},
        {R"({"system_info": {"tuners": 2}})", "system_info.tuners"},
        // An event id beyond the guide's 16 bits, and one used twice on a service.
        {R"({"programmes": [{"service_id": 1, "event_id": 70000, "start": 0, "duration": 1}]})",
         "programmes[0].event_id"},
        {R"({"programmes": [{"service_id": 1, "event_id": 5, "start": 0, "duration": 1},
                            {"service_id": 1, "event_id": 5, "start": 9, "duration": 1}]})",
         "programmes[1].event_id"},
    };
    std::string error;
    for (const auto& [profile, member] : faults) {
        testsupport::LoadSampleTelevision();
        ::testing::internal::CaptureStderr();
        EXPECT_FALSE(tvsim::LoadProfile(profile, &error)) << profile;
        ::testing::internal::GetCapturedStderr();
        EXPECT_NE(error.find(member), std::string::npos) << error;
        EXPECT_TRUE(IsEmptyTelevision()) << profile;
    }

    // A file's faults name the file.
    EXPECT_FALSE(tvsim::LoadProfileFile("/nonexistent/tv.json", &error));
    EXPECT_NE(error.find("/nonexistent/tv.json"), std::string::npos) << error;
}

using Attributes = std::map<int, long long>;

// The attributes FindService gives for `fetch` of the first service matching `where`.
Attributes Find(const std::vector<int>& fetch, const Attributes& where) {
    TCCriteriaHelper criteria;
    for (const int key : fetch) criteria.Fetch(key);
    for (const auto& [key, value] : where) criteria.Where(key, value);
    TCServiceData service;
    EXPECT_EQ(ServiceApi()->FindService(criteria, service), 1);
    return service.Attributes();
}

TEST_F(TvsimTest, FindServiceFillsOnlyFetchedAttributesOfTheFirstMatch) {
    EXPECT_EQ(
        Find({SERVICE_ATTR_MAJOR, SERVICE_ATTR_CHANNEL_TYPE}, {{SERVICE_ATTR_SERVICE_ID, 1002}}),
        (Attributes{{SERVICE_ATTR_CHANNEL_TYPE, 2}, {SERVICE_ATTR_MAJOR, 2}}));
    // An attribute the channel lacks (an analogue channel has no programme number) stays absent.
    EXPECT_EQ(
        Find({SERVICE_ATTR_PROGRAM_NUMBER, SERVICE_ATTR_PTC}, {{SERVICE_ATTR_SERVICE_ID, 2001}}),
        (Attributes{{SERVICE_ATTR_PTC, 5}}));
    // Every condition must hold: two channels share PTC 24, only one is scrambled.
    EXPECT_EQ(Find({SERVICE_ATTR_SERVICE_ID},
                   {{SERVICE_ATTR_PTC, 24}, {SERVICE_ATTR_SCRAMBLED_IN_PMT, 1}}),
              (Attributes{{SERVICE_ATTR_SERVICE_ID, 1004}}));
    // A service id beyond 32 bits is matched whole.
    EXPECT_EQ(Find({SERVICE_ATTR_CHANNEL_TYPE}, {{SERVICE_ATTR_SERVICE_ID, 4294967296LL}}),
              (Attributes{{SERVICE_ATTR_CHANNEL_TYPE, 7}}));
}

TEST_F(TvsimTest, ClockIsUtcPlusOffsetAndStaysStillUntilSet) {
    // The sample's clock is fixed and one hour ahead locally.
    EXPECT_EQ(tvsim::CurrentUtcTime(), kSampleNow);
    EXPECT_EQ(CTimeUtil::GetCurrentTime(), kSampleNow + 3600);
    EXPECT_EQ(CTimeUtil::ConvertToLocalTime(1000), 4600u);

    // A set clock stays where it was set, with a negative offset too.
    tvsim::SetCurrentTime(kSampleNow + 90);
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
}

TEST_F(TvsimTest, PartsOfAnEventComeInStartOrderAndCridLookupsIgnoreCase) {
    std::map<unsigned int, TCProgramData*> programs;
    // A plain programme is its own only part; a split event gives all three parts, also when
    // asked by its last part, and they share its instance CRID.
    ASSERT_EQ(Guide()->GetProgramsOfEvent(TCProgramId{1002, 124}, programs), 1);
    EXPECT_EQ(EventIds(programs), std::vector<unsigned short>{124});
    for (const unsigned long asked : {500UL, 502UL}) {
        ASSERT_EQ(Guide()->GetProgramsOfEvent(TCProgramId{1002, asked}, programs), 1);
        EXPECT_EQ(EventIds(programs), (std::vector<unsigned short>{500, 501, 502}));
    }
    std::string crid;
    ASSERT_TRUE(programs.at(2)->GetProgramCRID(crid));
    EXPECT_EQ(crid, "crid://broadcaster.example/Film/DerGrosseFilm#1");
    EXPECT_EQ(Guide()->GetProgramsOfEvent(TCProgramId{1002, 9999}, programs), 0);

    // The series: three episodes and one repeat on another channel, in start order.
    ASSERT_EQ(Guide()->GetProgramsByCRID("CRID://BROADCASTER.EXAMPLE/series/detective",
                                         CRID_TYPE_SERIES, programs),
              1);
    ASSERT_EQ(programs.size(), 4u);
    EXPECT_LT(programs.at(0)->StartTime(), programs.at(3)->StartTime());
    std::list<std::string> series;
    ASSERT_TRUE(programs.at(0)->GetCRIDs(series, CRID_TYPE_SERIES));
    EXPECT_EQ(series.front(), "crid://broadcaster.example/Series/DETECTIVE");  // as broadcast
    EXPECT_EQ(Guide()->GetProgramsByCRID("crid://nowhere/x", CRID_TYPE_SERIES, programs), 0);
}

std::vector<unsigned short> g_signalled;  // event ids of the programme changes signalled

TEST_F(TvsimTest, ProgrammeSubscriberOutlivesAProfileChange) {
    IProgramSubscriber* subscriber = nullptr;
    ASSERT_TRUE(TVServiceAPI::CreateProgramSubscriber(
        1, 0,
        [](EProgramChangeType, TCProgramData* program, int, int) {
            g_signalled.push_back(program->EventId());
        },
        &subscriber));
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
    EXPECT_EQ(g_signalled, std::vector<unsigned short>{9});
    EXPECT_FALSE(tvsim::SignalProgramChange(PROGRAM_CHANGE_STARTED, 7, 10));  // not in the guide
}

}  // namespace
