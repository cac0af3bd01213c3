// The simulated television: profile errors, channel lookup, the clock, and the guide queries and
// programme subscriber that the library's rules and the tool depend on.
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "CTimeUtil.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"
#include "TestSupport.h"
#include "system_info.h"
#include "tvsim/tvsim.h"

namespace {

constexpr unsigned long kSampleNow = 1795456800;  // 2026-11-23 18:00:00 UTC

IService* ServiceApi() {
    IService* service = nullptr;
    EXPECT_TRUE(TVServiceAPI::CreateService(1, 0, &service));
    return service;
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
        // An event id beyond the guide's 16 bits.
        {R"({"programmes": [{"service_id": 1, "event_id": 70000, "start": 0, "duration": 1}]})",
         "programmes[0].event_id"},
    };
    std::string error;
    int value = 0;
    std::vector<TCServiceData> all;
    for (const auto& [profile, member] : faults) {
        testsupport::LoadSampleTelevision();
        ::testing::internal::CaptureStderr();
        EXPECT_FALSE(tvsim::LoadProfile(profile, &error)) << profile;
        ::testing::internal::GetCapturedStderr();
        EXPECT_NE(error.find(member), std::string::npos) << error;
        EXPECT_EQ(ServiceApi()->FindServices(TCCriteriaHelper(), all), 0) << profile;
        EXPECT_NE(system_info_get_value_int(SYSTEM_INFO_KEY_TUNER_COUNT, &value), 0) << profile;
    }
    // A file's faults name the file.
    EXPECT_FALSE(tvsim::LoadProfileFile("/nonexistent/tv.json", &error));
    EXPECT_NE(error.find("/nonexistent/tv.json"), std::string::npos) << error;
}

TEST_F(TvsimTest, ChannelAndGuideQueries) {
    // Only fetched attributes the channel has (an analogue one has no programme number) come
    // back, of the service meeting every condition: two share PTC 24, one is scrambled.
    TCCriteriaHelper criteria;
    criteria.Fetch(SERVICE_ATTR_SERVICE_ID);
    criteria.Where(SERVICE_ATTR_PTC, 24);
    criteria.Where(SERVICE_ATTR_SCRAMBLED_IN_PMT, 1);
    TCServiceData service;
    ASSERT_EQ(ServiceApi()->FindService(criteria, service), 1);
    EXPECT_EQ(service.Attributes(), (std::map<int, long long>{{SERVICE_ATTR_SERVICE_ID, 1004}}));
    criteria = TCCriteriaHelper();
    criteria.Fetch(SERVICE_ATTR_PROGRAM_NUMBER);
    criteria.Fetch(SERVICE_ATTR_PTC);
    criteria.Where(SERVICE_ATTR_SERVICE_ID, 2001);
    ASSERT_EQ(ServiceApi()->FindService(criteria, service), 1);
    EXPECT_EQ(service.Attributes(), (std::map<int, long long>{{SERVICE_ATTR_PTC, 5}}));

    // A split event gives all three parts in start order when asked by its last part; they share
    // its instance CRID.
    IServiceGuide* guide = nullptr;
    ASSERT_TRUE(TVServiceAPI::CreateServiceGuide(1, 0, &guide));
    std::map<unsigned int, TCProgramData*> programs;
    ASSERT_EQ(guide->GetProgramsOfEvent(TCProgramId{1002, 502}, programs), 1);
    ASSERT_EQ(programs.size(), 3u);
    EXPECT_EQ(programs.at(0)->EventId(), 500);
    std::string crid;
    ASSERT_TRUE(programs.at(2)->GetProgramCRID(crid));
    EXPECT_EQ(crid, "crid://broadcaster.example/Film/DerGrosseFilm#1");
    // CRIDs match in any case: three episodes and one repeat on another channel, in start order.
    ASSERT_EQ(guide->GetProgramsByCRID("CRID://BROADCASTER.EXAMPLE/series/detective",
                                       CRID_TYPE_SERIES, programs),
              1);
    ASSERT_EQ(programs.size(), 4u);
    EXPECT_LT(programs.at(0)->StartTime(), programs.at(3)->StartTime());
}

TEST_F(TvsimTest, ClockIsFixedOrFollowsTheSystemAndCalendarGoesPast2038) {
    EXPECT_EQ(tvsim::CurrentUtcTime(), kSampleNow);
    EXPECT_EQ(CTimeUtil::GetCurrentTime(), kSampleNow + 3600);  // the sample is UTC + 1 h
    // Without "now" the clock follows the system.
    ASSERT_TRUE(tvsim::LoadProfile(R"({"utc_offset": 60})"));
    EXPECT_NEAR(static_cast<double>(CTimeUtil::GetCurrentTime()),
                static_cast<double>(std::time(nullptr) + 60), 5);
    // Calendar helpers use UTC rules on unsigned 32-bit seconds, past 2038 too.
    struct tm broken = {};
    ASSERT_TRUE(CTimeUtil::Unsigned_gmtime_r(4000000000UL, &broken));
    EXPECT_EQ(broken.tm_year, 2096 - 1900);
    EXPECT_EQ(CTimeUtil::Unsigned_timegm(&broken), 4000000000UL);
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
    int first = 0, second = 0;
    ASSERT_EQ(subscriber->SubscribeProgram(TCProgramFilteringItem(1), first), 1);
    ASSERT_EQ(subscriber->SubscribeProgram(TCProgramFilteringItem(0), second), 1);
    // The library keeps its subscriber and handles when a test loads another television.
    ASSERT_TRUE(tvsim::LoadProfile(R"({"programmes": [{"service_id": 7, "event_id": 9,
                                        "start": 0, "duration": 60}]})"));
    EXPECT_EQ(tvsim::Subscriptions().size(), 2u);
    EXPECT_EQ(subscriber->UnSubscribeProgram(first), 1);
    ASSERT_TRUE(tvsim::SignalProgramChange(PROGRAM_CHANGE_STARTED, 7, 9));
    EXPECT_EQ(g_signalled, std::vector<unsigned short>{9});
    EXPECT_FALSE(tvsim::SignalProgramChange(PROGRAM_CHANGE_STARTED, 7, 10));  // not in the guide
}

}  // namespace
