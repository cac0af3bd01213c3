// reminderctl conflicts, add --check and timeline, run as a process on the typical sets.
#include <glib.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace {

struct SRun {
    int status;
    std::string output;
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors))
        << errors << "\n"
        << text;
    return value;
}

// What the SVG holds: the shapes of the bookings and the conflict marks, by UID.
struct SSvgContent {
    std::multiset<std::string> bookingUids;
    std::multiset<std::string> markUids;
};

bool HasClass(const gchar** names, const gchar** values, const std::string& wanted) {
    for (int i = 0; names[i] != nullptr; ++i) {
        if (std::string(names[i]) != "class") continue;
        std::istringstream classes(values[i]);
        std::string c;
        while (classes >> c) {
            if (c == wanted) return true;
        }
    }
    return false;
}

std::string Attribute(const gchar** names, const gchar** values, const std::string& wanted) {
    for (int i = 0; names[i] != nullptr; ++i) {
        if (std::string(names[i]) == wanted) return values[i];
    }
    return "";
}

void OnElement(GMarkupParseContext*, const gchar*, const gchar** names, const gchar** values,
               gpointer data, GError**) {
    auto* content = static_cast<SSvgContent*>(data);
    if (HasClass(names, values, "booking")) {
        content->bookingUids.insert(Attribute(names, values, "data-uid"));
    }
    if (HasClass(names, values, "conflict-mark")) {
        content->markUids.insert(Attribute(names, values, "data-uid"));
    }
}

// Parses the file as XML; fails the test when it is not well formed.
SSvgContent ParseSvg(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    std::string xml = text.str();
    // GMarkup reads elements, not the XML declaration.
    if (xml.rfind("<?xml", 0) == 0) xml = xml.substr(xml.find("?>") + 2);
    SSvgContent content;
    GMarkupParser parser{};
    parser.start_element = OnElement;
    GMarkupParseContext* context =
        g_markup_parse_context_new(&parser, G_MARKUP_DEFAULT_FLAGS, &content, nullptr);
    GError* error = nullptr;
    const bool parsed = g_markup_parse_context_parse(context, xml.data(),
                                                     static_cast<gssize>(xml.size()), &error) &&
                        g_markup_parse_context_end_parse(context, &error);
    EXPECT_TRUE(parsed) << (error != nullptr ? error->message : "");
    if (error != nullptr) g_error_free(error);
    g_markup_parse_context_free(context);
    return content;
}

class ReminderctlConflictsTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = std::filesystem::temp_directory_path() /
                ("reminderctl-conflicts-" + std::to_string(getpid()));
        std::filesystem::remove_all(m_dir);
        std::filesystem::create_directories(m_dir);
        m_db = (m_dir / "ReminderFile_v1.db").string();
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    // Runs the tool on the profile `set` of examples/; standard output only.
    SRun Run(const std::string& set, const std::string& arguments,
             const std::string& environment = "") {
        const std::string command = environment + " " + std::string(REMINDER_TOOL_PATH) +
                                    " --db '" + m_db + "' --tv '" + REMINDER_SOURCE_DIR +
                                    "/examples/" + set + "' " + arguments + " 2>/dev/null";
        const testsupport::SCommandRun run = testsupport::RunShell(command);
        return SRun{run.status, run.output};
    }

    // The evening: a film 21:00-23:00 on 1.0, a documentary 22:00-23:30 on 3.0, and a talk
    // show 19:30-20:30 on 2.0 that meets neither.
    void BookTheEvening() {
        for (const char* args : {"add --service 1001 --event 104 --as recording",
                                 "add --service 1003 --event 105 --as recording",
                                 "add --service 1002 --event 102 --as recording"}) {
            const SRun run = Run("tv-profile.json", args);
            ASSERT_EQ(run.status, 0) << args << "\n" << run.output;
        }
    }

    std::filesystem::path m_dir;
    std::string m_db;
};

TEST_F(ReminderctlConflictsTest, ConflictsOnEachSet) {
    BookTheEvening();
    // One tuner: the film and the documentary clash, each naming the other.
    SRun run = Run("tv-one-tuner.json", "conflicts --json");
    ASSERT_EQ(run.status, 0) << run.output;
    const Json::Value conflicts = ParseJson(run.output);
    ASSERT_EQ(conflicts.size(), 2u) << run.output;
    std::map<unsigned, unsigned> clashes;
    for (const Json::Value& c : conflicts) {
        ASSERT_EQ(c["conflicts_with"].size(), 1u) << run.output;
        clashes[c["uid"].asUInt()] = c["conflicts_with"][0]["uid"].asUInt();
    }
    ASSERT_EQ(clashes.size(), 2u);
    for (const auto& [uid, other] : clashes) EXPECT_EQ(clashes[other], uid);

    // Two recordable tuners take both; the satellite set on one cable cannot.
    run = Run("tv-two-recordable-tuners.json", "conflicts");
    EXPECT_TRUE(Contains(run.output, "No conflicts among 3 booking(s) (2 tuners, 2 recordable)"))
        << run.output;
    run = Run("tv-satellite-single-cable.json", "conflicts");
    EXPECT_TRUE(Contains(run.output, "2 of 3 booking(s) have a conflict (1 tuner, 1 recordable)"))
        << run.output;
}

TEST_F(ReminderctlConflictsTest, CheckReportsWithoutStoring) {
    BookTheEvening();
    // The split film on 2.0 runs 21:00-21:50, 22:00-22:50 and 23:00-23:45: its parts meet both.
    SRun run = Run("tv-one-tuner.json",
                   "add --check --json --service 1002 --event 500 --as "
                   "recording");
    ASSERT_EQ(run.status, 0) << run.output;
    const Json::Value check = ParseJson(run.output);
    EXPECT_EQ(check["conflicts_with"].size(), 2u) << run.output;
    run = Run("tv-one-tuner.json", "list --json");
    EXPECT_EQ(ParseJson(run.output).size(), 3u);

    run =
        Run("tv-two-recordable-tuners.json", "add --check --service 1002 --event 102 --as viewing");
    EXPECT_TRUE(Contains(run.output, "No conflict")) << run.output;
}

TEST_F(ReminderctlConflictsTest, TimelineAsSvgHasAShapePerBookingAndAMarkPerConflict) {
    BookTheEvening();
    const std::string svg = (m_dir / "evening.svg").string();
    SRun run = Run("tv-one-tuner.json", "timeline --hours 6 --svg '" + svg + "'");
    ASSERT_EQ(run.status, 0) << run.output;
    SSvgContent content = ParseSvg(svg);
    EXPECT_EQ(content.bookingUids, (std::multiset<std::string>{"1", "2", "3"}));
    EXPECT_EQ(content.markUids, (std::multiset<std::string>{"1", "2"}));

    run = Run("tv-two-recordable-tuners.json", "timeline --hours 6 --svg '" + svg + "'");
    content = ParseSvg(svg);
    EXPECT_EQ(content.bookingUids.size(), 3u);
    EXPECT_TRUE(content.markUids.empty());
}

TEST_F(ReminderctlConflictsTest, TimelineInTheTerminalFitsAndNamesConflicts) {
    BookTheEvening();
    const SRun run = Run("tv-one-tuner.json", "timeline --hours 6", "NO_COLOR=1 COLUMNS=80");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_FALSE(Contains(run.output, "\033[")) << run.output;
    std::istringstream lines(run.output);
    std::string line;
    int rows = 0;
    while (std::getline(lines, line)) {
        const auto cells = std::count_if(line.begin(), line.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        });
        EXPECT_LE(cells, 80) << line;
        if (line.rfind("!R ", 0) == 0 || line.rfind(" R ", 0) == 0) ++rows;
    }
    EXPECT_EQ(rows, 3) << run.output;
    EXPECT_TRUE(Contains(run.output, "! 1 Cinéma de Minuit (recording")) << run.output;
    EXPECT_TRUE(Contains(run.output, "clashes with 2 Planeta Azul")) << run.output;
    EXPECT_TRUE(Contains(run.output, "now 19:00")) << run.output;
}

}  // namespace
