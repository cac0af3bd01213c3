// reminderctl rescan, refresh and the alternatives of add --check, run as processes against a
// database of their own.
#include <gtest/gtest.h>
#include <json/json.h>

#include <initializer_list>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "TestSupport.h"

namespace {

class ReminderctlRefreshTest : public testsupport::CToolTest {
protected:
    // Books each "SERVICE EVENT KIND" (UIDs 1, 2, ...).
    void Book(std::initializer_list<const char*> bookings) {
        for (const char* booking : bookings) {
            std::istringstream words(booking);
            std::string service, event, as;
            words >> service >> event >> as;
            ASSERT_EQ(Run("add --service " + service + " --event " + event + " --as " + as).first,
                      0)
                << booking;
        }
    }
    // "--tv" with the example profile `name`.
    static std::string Tv(const std::string& name) {
        return "--tv '" REMINDER_SOURCE_DIR "/examples/" + name + "' ";
    }
};

TEST_F(ReminderctlRefreshTest, ARescanPrintsWhatEachBookingBecame) {
    // Channel 5 becomes 15, channel 3 is gone (a recording fails, a viewing goes), 1 stays.
    Book({"1005 108 recording", "1003 105 recording", "1003 110 viewing", "1001 121 recording"});
    EXPECT_EQ(
        Run("rescan " + Tv("tv-rescan.json")),
        std::make_pair(0, std::string("UID 1 \"Le Dernier Métro\"\n"
                                      "    renumbered  channel 5.0 -> 15.0\n"
                                      "UID 2 \"Planeta Azul\"\n"
                                      "    failed      error 1001 (The channel of this recording "
                                      "is no longer available.)\n"
                                      "UID 3 \"Noticias\"\n"
                                      "    deleted     viewing on channel 3.0, which is gone\n"
                                      "Rescan: 3 of 4 booking(s) changed.\n")));
    EXPECT_EQ(Run("rescan " + Tv("tv-rescan.json")).second,
              "Rescan: no booking changed (3 booking(s)).\n");
    EXPECT_NE(Run(Tv("tv-rescan.json") + "list --json").second.find("\"m_nMajor\" : 15"),
              std::string::npos);
    // The new profile is required: a rescan of nothing would tell nothing.
    EXPECT_NE(Run("rescan").first, 0);
    EXPECT_NE(Run("rescan --tv /nonexistent.json").first, 0);
}

TEST_F(ReminderctlRefreshTest, AGuideRefreshPrintsMovedAndRetitledBookings) {
    Book({"1001 121 recording", "1003 105 viewing", "1005 108 recording"});
    EXPECT_EQ(Run("refresh").second, "Guide refresh: no booking changed (3 booking(s)).\n");
    EXPECT_EQ(Run("refresh " + Tv("tv-guide-update.json")),
              std::make_pair(
                  0, std::string(
                         "UID 1 \"Inspecteur Morel\"\n"
                         "    moved       2026-11-24 20:00 (60 min) -> 2026-11-24 20:30 (60 min)\n"
                         "UID 2 \"Planeta Azul\"\n"
                         "    retitled    \"Planeta Azul\" -> \"Planeta Azul: Océanos\"\n"
                         "Guide refresh: 2 of 3 booking(s) changed.\n")));
}

TEST_F(ReminderctlRefreshTest, ACheckedBookingListsTheShowingsWithoutAConflict) {
    Book({"1001 103 recording"});
    const std::string check = "add --check --service 1005 --event 102 --as recording";
    auto [status, output] = Run(Tv("tv-one-tuner.json") + check);
    ASSERT_EQ(status, 0) << output;
    EXPECT_NE(
        output.find("Other showings without a conflict:\n"
                    "    instead of this booking: 2026-11-24 04:30  channel 5.0  Le Dernier Métro\n"
                    "    instead of this booking: 2026-11-24 18:00  channel 5.0  Le Dernier Métro\n"
                    "    instead of UID 1: 2026-11-24 23:00  channel 2.0  Inspecteur Morel\n"),
        std::string::npos)
        << output;

    std::istringstream json(Run(Tv("tv-one-tuner.json") + check + " --json").second);
    Json::Value value;
    ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), json, &value, nullptr));
    const Json::Value& alternatives = value["alternatives"];
    ASSERT_EQ(alternatives["for_item"].size(), 2u);
    EXPECT_FALSE(alternatives["for_item"][0].isMember("replaces_uid"));
    ASSERT_EQ(alternatives["for_conflicting"].size(), 1u);
    EXPECT_EQ(alternatives["for_conflicting"][0]["replaces_uid"].asUInt(), 1u);
    EXPECT_EQ(alternatives["for_conflicting"][0]["service_id"].asUInt64(), 1002u);

    // Nothing conflicts on two recordable tuners: no alternatives are asked for.
    std::tie(status, output) = Run(Tv("tv-two-recordable-tuners.json") + check);
    ASSERT_EQ(status, 0) << output;
    EXPECT_EQ(output.find("Other showings"), std::string::npos) << output;
}

}  // namespace
