// Hostile text in every text field of a booking: quotes, SQL, JSON fragments, control
// characters, bytes that are not UTF-8, every byte from 1 to 255 and megabyte strings must be
// stored byte for byte and must not change any statement (no other row, no schema touched).
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Booking.h"
#include "ReliabilitySupport.h"
#include "ReminderAPI.h"
#include "TestSupport.h"

namespace reliability {
namespace {

std::vector<std::pair<std::string, std::string>> HostileTexts() {
    std::string everyByte;
    for (int b = 1; b <= 255; ++b) everyByte += static_cast<char>(b);
    std::string megabyte(1 << 20, 'x');
    for (size_t i = 0; i < megabyte.size(); i += 997) megabyte[i] = "'\"\\%\xE9\x01"[i % 6];
    return {
        {"quotes and backslashes", "O'Brien's '' say \"hello\" \"\" C:\\path\\ \\\\ \\' \\\" \\n"},
        {"sql", "x'); DROP TABLE Items; -- ' OR '1'='1 /* c */ Robert'); DELETE FROM Items --"},
        {"sql wildcards and parameters", "100% _match_ [x] ?1 ?58 :name @p $v"},
        {"json",
         "\"}, {\"m_nUid\": 1, \"m_sTitle\": \"x\"} [1, {\"a\": null}] \\u0000 \\ud800 \\/ \\b"},
        {"control characters", everyByte.substr(0, 31) + "\x7f"},
        {"latin-1", "Caf\xE9 cr\xE8me br\xFBl\xE9\x65"},
        {"invalid utf-8", "a\x80 \xC0\xAF \xED\xA0\x80 \xF4\x90\x80\x80 \xFF\xFE euro \xE2\x82"},
        {"valid utf-8", "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xBA \xE4\xB8\xAD"},
        {"every byte 1-255", everyByte},
        {"1 MB", megabyte},
    };
}

std::vector<CRemindInfo> AllRows() {
    std::vector<CRemindInfo> rows;
    CDBControl::GetInstance()->FindItem(CDBCriteria(), rows);
    return rows;
}

TEST(TextTest, HostileTextIsStoredExactlyInEveryFieldAndAltersNoStatement) {
    const struct {
        const char* name;
        std::string CRemindInfo::*member;
        CDBCriteria::CRITERIA_TYPE column;
    } fields[] = {
        {"title", &CRemindInfo::m_sTitle, CDBCriteria::CRITERIA_TITLE},
        {"channel_name", &CRemindInfo::m_sChannelName, CDBCriteria::CRITERIA_CHANNEL_NAME},
        {"program_crid", &CRemindInfo::m_sProgramCrid, CDBCriteria::CRITERIA_PROGRAM_CRID},
        {"series_crid", &CRemindInfo::m_sSeriesCrid, CDBCriteria::CRITERIA_SERIES_CRID},
        {"group_crid", &CRemindInfo::m_sGroupCrid, CDBCriteria::CRITERIA_GROUP_CRID},
        {"synopsis", &CRemindInfo::m_sSynopsis, CDBCriteria::CRITERIA_SYNOPSIS},
        {"guidance", &CRemindInfo::m_sGuidance, CDBCriteria::CRITERIA_GUIDANCE},
        {"private_data", &CRemindInfo::m_sPrivateData, CDBCriteria::CRITERIA_PRIVATE_DATA},
    };
    CReminderAPI* api = CReminderAPI::GetInstance();
    testsupport::ClearStore();
    CRemindInfo sentinel = Booking("sentinel", 1);
    ASSERT_TRUE(api->AddRemindItem(sentinel, false, false));
    const std::vector<CRemindInfo> initial = AllRows();
    ASSERT_EQ(initial.size(), 1u);
    const std::string sentinelText = initial.front().Serialize();
    long cases = 0, changed = 0, altered = 0, lost = 0, missedLookups = 0;
    // The rows besides the sentinel; a changed or missing sentinel is a statement altered.
    const auto others = [&] {
        std::vector<CRemindInfo> rest = AllRows();
        const auto sentinelRow = std::find_if(rest.begin(), rest.end(), [&](const CRemindInfo& r) {
            return r.Serialize() == sentinelText;
        });
        altered += sentinelRow == rest.end();
        if (sentinelRow != rest.end()) rest.erase(sentinelRow);
        return rest;
    };

    unsigned n = 100;
    for (const auto& [label, text] : HostileTexts()) {
        for (const auto& field : fields) {
            SCOPED_TRACE(std::string(field.name) + " <- " + label);
            ++cases;
            CRemindInfo item = Booking("hostile", ++n);
            item.*field.member = text;
            const bool added = api->AddRemindItem(item, false, false);
            EXPECT_TRUE(added);
            std::vector<CRemindInfo> rows = others();
            altered += rows.size() > 1;
            if (rows.empty()) {
                lost += added;
                continue;
            }
            CRemindInfo stored = rows.front();
            changed += stored.*field.member != text;
            // The same text as a condition finds that row and nothing else.
            CDBCriteria criteria;
            criteria.Where(field.column, text);
            CDBControl::GetInstance()->FindItem(criteria, rows);
            missedLookups += rows.size() != 1 || rows.front().m_nUid != stored.m_nUid;

            // An update writes the text again, exactly, and touches no other row.
            stored.*field.member = text + "!";
            EXPECT_TRUE(api->UpdateRemindItemByUid(stored.m_nUid, stored, false, false, false));
            rows = others();
            changed += rows.size() != 1 || rows.front().*field.member != text + "!";
            EXPECT_TRUE(api->DeleteRemindItemByUid(stored.m_nUid, false));
            altered += !others().empty();
        }
    }
    const std::string integrity = IntegrityCheck(DatabasePath());
    Figures({{"cases", cases},
             {"bytes_changed_cases", changed},
             {"statements_altered", altered},
             {"acknowledged_adds_lost", lost},
             {"lookups_missed", missedLookups},
             {"integrity", integrity}});
    // Changed bytes, altered statements, lost adds, missed lookups (the figures above), integrity.
    EXPECT_EQ(std::make_tuple(changed, altered, lost, missedLookups, integrity),
              std::make_tuple(0L, 0L, 0L, 0L, std::string("ok")));
}

// A row of NULLs would read back as an empty booking at time 0.
TEST(TextTest, NonFiniteFrequencyIsStoredAsUnknownAndKeepsTheBooking) {
    for (const float value :
         {std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
          std::numeric_limits<float>::quiet_NaN()}) {
        SCOPED_TRACE(value);
        testsupport::ClearStore();
        CRemindInfo item = Booking("frequency", 7);
        item.m_frequency = value;
        ASSERT_TRUE(CReminderAPI::GetInstance()->AddRemindItem(item, false, false));
        const std::vector<CRemindInfo> rows = AllRows();
        ASSERT_EQ(rows.size(), 1u);
        EXPECT_EQ(rows.front().m_sTitle, "frequency");
        EXPECT_EQ(rows.front().m_frequency, -1.0f);
    }
}

}  // namespace
}  // namespace reliability
