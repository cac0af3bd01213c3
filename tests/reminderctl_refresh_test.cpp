// reminderctl rescan, refresh and the alternatives of add --check, run as processes against a
// database of their own.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "TestSupport.h"

namespace {

std::string Example(const std::string& name) {
    return std::filesystem::path(REMINDER_SAMPLE_PROFILE).replace_filename(name).string();
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class ReminderctlRefreshTest : public testsupport::CToolTest {
protected:
    void Book(unsigned service, unsigned event, const char* as) {
        const auto [status, output] = Run("add --service " + std::to_string(service) + " --event " +
                                          std::to_string(event) + " --as " + as);
        ASSERT_EQ(status, 0) << output;
    }
};

}  // namespace

TEST_F(ReminderctlRefreshTest, ARescanPrintsWhatEachBookingBecame) {
    Book(1005, 108, "recording");  // UID 1: channel 5 becomes 15
    Book(1003, 105, "recording");  // UID 2: channel 3 is gone
    Book(1003, 110, "viewing");    // UID 3: likewise
    Book(1001, 121, "recording");  // UID 4: untouched
    auto [status, output] = Run("rescan --tv '" + Example("tv-rescan.json") + "'");
    ASSERT_EQ(status, 0) << output;
    EXPECT_EQ(output,
              "UID 1 \"Le Dernier Métro\"\n"
              "    renumbered  channel 5.0 -> 15.0\n"
              "UID 2 \"Planeta Azul\"\n"
              "    failed      error 1001 (The channel of this recording is no longer available.)\n"
              "UID 3 \"Noticias\"\n"
              "    deleted     viewing on channel 3.0, which is gone\n"
              "Rescan: 3 of 4 booking(s) changed.\n");

    std::tie(status, output) = Run("rescan --tv '" + Example("tv-rescan.json") + "'");
    ASSERT_EQ(status, 0);
    EXPECT_EQ(output, "Rescan: no booking changed (3 booking(s)).\n");

    std::tie(status, output) = Run("--tv '" + Example("tv-rescan.json") + "' list --json");
    ASSERT_EQ(status, 0);
    EXPECT_TRUE(Contains(output, "\"m_nMajor\" : 15")) << output;

    // The new profile is required: a rescan of nothing would tell nothing.
    EXPECT_NE(Run("rescan").first, 0);
    EXPECT_NE(Run("rescan --tv /nonexistent.json").first, 0);
}

TEST_F(ReminderctlRefreshTest, AGuideRefreshPrintsMovedAndRetitledBookings) {
    Book(1001, 121, "recording");
    Book(1003, 105, "viewing");
    Book(1005, 108, "recording");
    auto [status, output] = Run("refresh");
    ASSERT_EQ(status, 0) << output;
    EXPECT_EQ(output, "Guide refresh: no booking changed (3 booking(s)).\n");

    std::tie(status, output) = Run("refresh --tv '" + Example("tv-guide-update.json") + "'");
    ASSERT_EQ(status, 0) << output;
    EXPECT_EQ(output,
              "UID 1 \"Inspecteur Morel\"\n"
              "    moved       2026-11-24 20:00 (60 min) -> 2026-11-24 20:30 (60 min)\n"
              "UID 2 \"Planeta Azul\"\n"
              "    retitled    \"Planeta Azul\" -> \"Planeta Azul: Océanos\"\n"
              "Guide refresh: 2 of 3 booking(s) changed.\n");
}

TEST_F(ReminderctlRefreshTest, ACheckedBookingListsTheShowingsWithoutAConflict) {
    Book(1001, 103, "recording");
    const std::string oneTuner = "--tv '" + Example("tv-one-tuner.json") + "' ";
    auto [status, output] = Run(oneTuner + "add --check --service 1005 --event 102 --as recording");
    ASSERT_EQ(status, 0) << output;
    EXPECT_TRUE(Contains(output,
                         "Other showings without a conflict:\n"
                         "    instead of this booking: 2026-11-24 04:30  channel 5.0  Le Dernier "
                         "Métro\n"
                         "    instead of this booking: 2026-11-24 18:00  channel 5.0  Le Dernier "
                         "Métro\n"
                         "    instead of UID 1: 2026-11-24 23:00  channel 2.0  Inspecteur Morel\n"))
        << output;

    std::tie(status, output) =
        Run(oneTuner + "add --check --json --service 1005 --event 102 --as recording");
    ASSERT_EQ(status, 0) << output;
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    ASSERT_TRUE(reader->parse(output.data(), output.data() + output.size(), &value, &errors))
        << output;
    const Json::Value& alternatives = value["alternatives"];
    ASSERT_EQ(alternatives["for_item"].size(), 2u);
    EXPECT_FALSE(alternatives["for_item"][0].isMember("replaces_uid"));
    ASSERT_EQ(alternatives["for_conflicting"].size(), 1u);
    EXPECT_EQ(alternatives["for_conflicting"][0]["replaces_uid"].asUInt(), 1u);
    EXPECT_EQ(alternatives["for_conflicting"][0]["service_id"].asUInt64(), 1002u);

    // Nothing conflicts on two recordable tuners: no alternatives are asked for.
    std::tie(status, output) = Run("--tv '" + Example("tv-two-recordable-tuners.json") +
                                   "' add --check --service 1005 --event 102 --as recording");
    ASSERT_EQ(status, 0) << output;
    EXPECT_FALSE(Contains(output, "Other showings")) << output;
}
