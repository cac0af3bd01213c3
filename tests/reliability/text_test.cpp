// Hostile text in every text field of a booking: quotes, SQL, JSON fragments, control
// characters, bytes that are not UTF-8, every byte from 1 to 255 and megabyte strings must be
// stored byte for byte and must not change any statement (no other row, no schema touched).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "Booking.h"
#include "ReliabilitySupport.h"
#include "ReminderAPI.h"
#include "TestSupport.h"

namespace reliability {
namespace {

struct STextField {
    const char* name;
    std::string CRemindInfo::*member;
    CDBCriteria::CRITERIA_TYPE column;
};

const STextField kFields[] = {
    {"title", &CRemindInfo::m_sTitle, CDBCriteria::CRITERIA_TITLE},
    {"channel_name", &CRemindInfo::m_sChannelName, CDBCriteria::CRITERIA_CHANNEL_NAME},
    {"program_crid", &CRemindInfo::m_sProgramCrid, CDBCriteria::CRITERIA_PROGRAM_CRID},
    {"series_crid", &CRemindInfo::m_sSeriesCrid, CDBCriteria::CRITERIA_SERIES_CRID},
    {"group_crid", &CRemindInfo::m_sGroupCrid, CDBCriteria::CRITERIA_GROUP_CRID},
    {"synopsis", &CRemindInfo::m_sSynopsis, CDBCriteria::CRITERIA_SYNOPSIS},
    {"guidance", &CRemindInfo::m_sGuidance, CDBCriteria::CRITERIA_GUIDANCE},
    {"private_data", &CRemindInfo::m_sPrivateData, CDBCriteria::CRITERIA_PRIVATE_DATA},
};

std::vector<std::pair<std::string, std::string>> HostileTexts() {
    std::string everyByte;
    for (int b = 1; b <= 255; ++b) everyByte += static_cast<char>(b);
    std::string control;
    for (int b = 1; b < 32; ++b) control += static_cast<char>(b);
    control += '\x7f';
    std::string megabyte(1 << 20, 'x');
    for (size_t i = 0; i < megabyte.size(); i += 997) megabyte[i] = "'\"\\%\xE9\x01"[i % 6];
    return {
        {"single quote", "O'Brien's 'quoted' ''"},
        {"double quote", "say \"hello\" \"\""},
        {"backslashes", "C:\\path\\to\\ \\\\ \\' \\\" \\n"},
        {"sql drop", "x'); DROP TABLE Items; --"},
        {"sql tautology", "' OR '1'='1"},
        {"sql delete", "Robert'); DELETE FROM Items WHERE ('1'='1"},
        {"sql comment", "/* comment */ -- tail"},
        {"sql like", "100% _match_ [x] ?1 ?58 :name @p $v"},
        {"json object", "\"}, {\"m_nUid\": 1, \"m_sTitle\": \"injected\"}"},
        {"json escapes", "\\u0000 \\ud800 \\\" \\/ \\b\\f\\n\\r\\t"},
        {"json array", "[1, 2, {\"a\": null}]"},
        {"control characters", control},
        {"latin-1", "Caf\xE9 cr\xE8me br\xFBl\xE9\x65"},
        {"lone continuation",
         "a\x80"
         "b\xBF"
         "c"},
        {"overlong", "\xC0\xAF \xE0\x80\xAF \xF0\x80\x80\xAF"},
        {"surrogate", "\xED\xA0\x80\xED\xBF\xBF"},
        {"truncated", "euro \xE2\x82"},
        {"ff fe", "\xFF\xFE\xFF"},
        {"beyond unicode", "\xF4\x90\x80\x80 \xF8\x88\x80\x80\x80"},
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
    CReminderAPI* api = CReminderAPI::GetInstance();
    testsupport::ClearStore();
    CRemindInfo sentinel = Booking("sentinel", 1);
    sentinel.m_sSynopsis = "must never change";
    ASSERT_TRUE(api->AddRemindItem(sentinel, false, false));
    const std::vector<CRemindInfo> initial = AllRows();
    ASSERT_EQ(initial.size(), 1u);
    const std::string sentinelText = initial.front().Serialize();

    long cases = 0;
    long changed = 0;
    long altered = 0;
    long lost = 0;
    long missedLookups = 0;
    unsigned n = 100;
    for (const auto& [label, text] : HostileTexts()) {
        for (const STextField& field : kFields) {
            SCOPED_TRACE(std::string(field.name) + " <- " + label);
            ++cases;
            CRemindInfo item = Booking("hostile", ++n);
            item.*field.member = text;
            const bool added = api->AddRemindItem(item, false, false);
            EXPECT_TRUE(added);

            std::vector<CRemindInfo> rows = AllRows();
            const CRemindInfo* stored = nullptr;
            bool sentinelIntact = false;
            for (const CRemindInfo& row : rows) {
                if (row.m_nUid == initial.front().m_nUid) {
                    sentinelIntact = row.Serialize() == sentinelText;
                } else {
                    stored = &row;
                }
            }
            if (rows.size() != 2 || !sentinelIntact) ++altered;
            if (stored == nullptr) {
                if (added) ++lost;
                continue;
            }
            const bool exact = (*stored).*field.member == text;
            if (!exact) ++changed;
            EXPECT_TRUE(exact) << "stored " << ((*stored).*field.member).size() << " bytes of "
                               << text.size();

            // The same text as a condition finds that row and nothing else.
            CDBCriteria criteria;
            criteria.Where(field.column, text);
            std::vector<CRemindInfo> found;
            CDBControl::GetInstance()->FindItem(criteria, found);
            if (exact && (found.size() != 1 || found.front().m_nUid != stored->m_nUid)) {
                ++missedLookups;
            }

            // An update writes the text again, exactly, and touches no other row.
            CRemindInfo update = *stored;
            update.*field.member = text + "!";
            const unsigned long uid = stored->m_nUid;
            EXPECT_TRUE(api->UpdateRemindItemByUid(uid, update, false, false, false));
            rows = AllRows();
            for (const CRemindInfo& row : rows) {
                if (row.m_nUid == uid && row.*field.member != text + "!") ++changed;
                if (row.m_nUid == initial.front().m_nUid && row.Serialize() != sentinelText) {
                    ++altered;
                }
            }
            EXPECT_TRUE(api->DeleteRemindItemByUid(uid, false));
            if (AllRows().size() != 1) ++altered;
        }
    }
    const std::string integrity = IntegrityCheck(DatabasePath());
    Figure("cases", cases);
    Figure("bytes_changed_cases", changed);
    Figure("statements_altered", altered);
    Figure("acknowledged_adds_lost", lost);
    Figure("lookups_missed", missedLookups);
    Figure("integrity", integrity);
    EXPECT_EQ(changed, 0);
    EXPECT_EQ(altered, 0);
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(missedLookups, 0);
    EXPECT_EQ(integrity, "ok");
}

TEST(TextTest, NonFiniteFrequencyKeepsTheBooking) {
    CReminderAPI* api = CReminderAPI::GetInstance();
    long nulled = 0;
    long wrong = 0;
    const float values[] = {std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN()};
    for (const float value : values) {
        testsupport::ClearStore();
        CRemindInfo item = Booking("frequency", 7);
        item.m_frequency = value;
        item.m_nDuration = 1800;
        ASSERT_TRUE(api->AddRemindItem(item, false, false));
        const std::vector<CRemindInfo> rows = AllRows();
        ASSERT_EQ(rows.size(), 1u);
        // A row of NULLs reads back as an empty booking at time 0.
        if (rows.front().m_sTitle != "frequency" || rows.front().m_nDuration != 1800) ++nulled;
        if (rows.front().m_frequency != -1.0f) ++wrong;
    }
    Figure("rows_nulled", nulled);
    Figure("frequency_not_unknown", wrong);
    EXPECT_EQ(nulled, 0);
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace reliability
