// reminderctl conflicts, add --check and timeline, run as a process on the typical sets.
#include <glib.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "TestSupport.h"
#include "ToolOutput.h"

namespace {

using testsupport::Contains;
using testsupport::ParseJson;

// The UIDs of the SVG's booking shapes and of its conflict marks.
using SvgUids = std::map<std::string, std::multiset<std::string>>;

// Parses the file as XML; fails the test when it is not well formed.
SvgUids ParseSvg(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    std::string xml = text.str();
    // GMarkup reads elements, not the XML declaration.
    if (xml.rfind("<?xml", 0) == 0) xml = xml.substr(xml.find("?>") + 2);
    GMarkupParser parser{};
    parser.start_element = [](GMarkupParseContext*, const gchar*, const gchar** names,
                              const gchar** values, gpointer data, GError**) {
        std::string uid;
        std::set<std::string> classes;
        for (int i = 0; names[i] != nullptr; ++i) {
            std::istringstream words(values[i]);
            if (std::string(names[i]) == "data-uid") uid = values[i];
            for (std::string c; std::string(names[i]) == "class" && words >> c;) classes.insert(c);
        }
        for (const char* kind : {"booking", "conflict-mark"}) {
            if (classes.count(kind) > 0) (*static_cast<SvgUids*>(data))[kind].insert(uid);
        }
    };
    SvgUids uids;
    GMarkupParseContext* context =
        g_markup_parse_context_new(&parser, G_MARKUP_DEFAULT_FLAGS, &uids, nullptr);
    GError* error = nullptr;
    EXPECT_TRUE(g_markup_parse_context_parse(context, xml.data(), static_cast<gssize>(xml.size()),
                                             &error) &&
                g_markup_parse_context_end_parse(context, &error))
        << (error != nullptr ? error->message : "");
    if (error != nullptr) g_error_free(error);
    g_markup_parse_context_free(context);
    return uids;
}

class ReminderctlConflictsTest : public testsupport::CToolTest {
protected:
    // Runs the tool on the profile `set` of examples/; standard output only.
    std::pair<int, std::string> On(const std::string& set, const std::string& arguments) {
        return Run("--tv '" REMINDER_SOURCE_DIR "/examples/" + set + "' " + arguments);
    }

    // The evening: a film 21:00-23:00 on 1.0, a documentary 22:00-23:30 on 3.0, and a talk
    // show 19:30-20:30 on 2.0 that meets neither.
    void SetUp() override {
        CToolTest::SetUp();
        for (const char* args : {"add --service 1001 --event 104 --as recording",
                                 "add --service 1003 --event 105 --as recording",
                                 "add --service 1002 --event 102 --as recording"}) {
            ASSERT_EQ(On("tv-profile.json", args).first, 0) << args;
        }
    }
};

TEST_F(ReminderctlConflictsTest, ConflictsAndChecksOnEachSet) {
    // One tuner: the film and the documentary clash, each naming the other.
    auto [status, output] = On("tv-one-tuner.json", "conflicts --json");
    ASSERT_EQ(status, 0) << output;
    const Json::Value conflicts = ParseJson(output);
    ASSERT_EQ(conflicts.size(), 2u) << output;
    for (int i : {0, 1}) {
        ASSERT_EQ(conflicts[i]["conflicts_with"].size(), 1u) << output;
        EXPECT_EQ(conflicts[i]["conflicts_with"][0]["uid"], conflicts[1 - i]["uid"]) << output;
    }

    // Two recordable tuners take both; the satellite set on one cable cannot.
    EXPECT_TRUE(Contains(On("tv-two-recordable-tuners.json", "conflicts").second,
                         "No conflicts among 3 booking(s) (2 tuners, 2 recordable)"));
    EXPECT_TRUE(Contains(On("tv-satellite-single-cable.json", "conflicts").second,
                         "2 of 3 booking(s) have a conflict (1 tuner, 1 recordable)"));

    // A check reports without storing: the split film on 2.0 runs 21:00-21:50, 22:00-22:50 and
    // 23:00-23:45, its parts meet both.
    std::tie(status, output) =
        On("tv-one-tuner.json", "add --check --json --service 1002 --event 500 --as recording");
    ASSERT_EQ(status, 0) << output;
    EXPECT_EQ(ParseJson(output)["conflicts_with"].size(), 2u) << output;
    EXPECT_EQ(ParseJson(On("tv-one-tuner.json", "list --json").second).size(), 3u);
    EXPECT_TRUE(Contains(
        On("tv-two-recordable-tuners.json", "add --check --service 1002 --event 102 --as viewing")
            .second,
        "No conflict"));
}

TEST_F(ReminderctlConflictsTest, TimelineAsSvgHasAShapePerBookingAndAMarkPerConflict) {
    const std::string svg = (m_dir / "evening.svg").string();
    const std::pair<const char*, std::multiset<std::string>> sets[] = {
        {"tv-one-tuner.json", {"1", "2"}}, {"tv-two-recordable-tuners.json", {}}};
    for (const auto& [set, marks] : sets) {
        SCOPED_TRACE(set);
        ASSERT_EQ(On(set, "timeline --hours 6 --svg '" + svg + "'").first, 0);
        SvgUids uids = ParseSvg(svg);
        EXPECT_EQ(uids["booking"], (std::multiset<std::string>{"1", "2", "3"}));
        EXPECT_EQ(uids["conflict-mark"], marks);
    }
}

TEST_F(ReminderctlConflictsTest, TimelineInTheTerminalFitsAndNamesConflicts) {
    setenv("NO_COLOR", "1", 1);
    setenv("COLUMNS", "80", 1);
    const auto [status, output] = On("tv-one-tuner.json", "timeline --hours 6");
    ASSERT_EQ(status, 0) << output;
    EXPECT_FALSE(Contains(output, "\033[")) << output;
    std::istringstream lines(output);
    int rows = 0;
    for (std::string line; std::getline(lines, line);) {
        // Characters, not bytes: continuation bytes of UTF-8 are not counted.
        EXPECT_LE(
            std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; }), 80)
            << line;
        rows += line.rfind("!R ", 0) == 0 || line.rfind(" R ", 0) == 0;
    }
    EXPECT_EQ(rows, 3) << output;
    EXPECT_TRUE(Contains(output, "! 1 Cinéma de Minuit (recording")) << output;
    EXPECT_TRUE(Contains(output, "clashes with 2 Planeta Azul")) << output;
    EXPECT_TRUE(Contains(output, "now 19:00")) << output;
}

}  // namespace
