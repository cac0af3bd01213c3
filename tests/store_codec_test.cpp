// The store's row codec: records are bound to and read from the Items columns directly. These
// tests hold it to the record's JSON form, through which rows used to travel (kept here only):
// the same record binds the same column values, and the same row, damaged or not, reads back as
// the same record. (Any bytes of text and non-finite frequencies: the reliability text test.)
#include <gtest/gtest.h>
#include <json/json.h>
#include <sqlite3.h>

#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "DataControl.h"
#include "RawDb.h"
#include "TestSupport.h"

namespace {

using testsupport::ColumnText;
using testsupport::Statement;

// --- The JSON path, as the store ran it before ------------------------------------------------

enum class K { UInt64, Int, UInt, Double, Bool, Text, JsonText };
// The record's members in the order of the Items columns from column 2 (ServiceId) on. A letter
// gives the kind of the members after it, in the order of K: L UInt64, I Int, U UInt, D Double,
// B Bool, T Text, J text holding JSON.
const char kMembers[] =
    "L m_nServiceId I m_nServiceProfile U m_nChannelType m_nMajor m_nMinor m_nPTC m_nProgramNumber "
    "m_nTransportStreamId m_nTimeMargin m_nDevice m_nEventId m_nErrno m_nSeriesId m_nExpiredDate "
    "m_nBookingOrder m_nUTCStartTime m_nEventTime m_nStartMarginTime m_nEndMarginTime "
    "m_nRCTExpiryTime m_nAddedTime m_nActivationTime m_nExpiryTime m_nPublishedDuration "
    "m_cManualRepeat m_cContentVersion m_cGenre m_nUTCDuration m_nDuration D m_frequency "
    "I m_nEpisodeNumber m_nLastEpisodeNumber B m_bIsHD m_bRemoteChannel m_bAlarmed "
    "m_bRecordingSpaceAlarmed m_bRecording m_bUnresolvedConflict m_bRecommended "
    "m_bRecordListBooking I m_cRepeatLabel m_nSource m_nManual m_nReserveType m_nRepeatType "
    "T m_sTitle m_sChannelName m_sProgramCrid m_sSeriesCrid m_sGroupCrid m_sSynopsis m_sGuidance "
    "m_sPrivateData J m_vCompList m_extProgramId I m_nStreamType";

struct SColumn {
    std::string sKey;
    K eKind;
};
const std::vector<SColumn>& Columns() {
    static const std::vector<SColumn> columns = [] {
        std::vector<SColumn> all;
        K kind = K::Int;
        std::istringstream words(kMembers);
        for (std::string word; words >> word;) {
            if (word.size() == 1) kind = static_cast<K>(std::string("LIUDBTJ").find(word[0]));
            if (word.size() > 1) all.push_back({word, kind});
        }
        return all;
    }();
    return columns;
}
constexpr int kFirstColumn = 2;

void BindText(sqlite3_stmt* s, int parameter, const std::string& text) {
    sqlite3_bind_text(s, parameter, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

void JsonBind(sqlite3_stmt* s, const CRemindInfo& item) {
    Json::Value root;
    if (!Json::Reader().parse(item.Serialize(), root, true)) return;
    sqlite3_bind_int(s, 2, static_cast<int>(item.m_nEventTime - item.m_nStartMarginTime));
    int p = kFirstColumn + 1;
    for (const SColumn& c : Columns()) {
        const Json::Value& v = root[c.sKey];
        if (c.eKind == K::Double) {
            sqlite3_bind_double(s, p, v.asDouble());
        } else if (c.eKind == K::Text) {
            BindText(s, p, v.asString());
        } else if (c.eKind == K::JsonText) {
            BindText(s, p, Json::FastWriter().write(v));
        } else {
            const sqlite3_int64 n = c.eKind == K::UInt64 ? static_cast<sqlite3_int64>(v.asUInt64())
                                    : c.eKind == K::UInt ? static_cast<int>(v.asUInt())
                                    : c.eKind == K::Bool ? (v.asBool() ? 1 : 0)
                                                         : v.asInt();
            sqlite3_bind_int64(s, p, n);
        }
        ++p;
    }
}

Json::Value JsonCell(sqlite3_stmt* s, K kind, int i) {
    if (kind == K::UInt64) return static_cast<Json::UInt64>(sqlite3_column_int64(s, i));
    if (kind == K::UInt) return static_cast<Json::UInt>(sqlite3_column_int(s, i));
    if (kind == K::Int || kind == K::Bool) return sqlite3_column_int(s, i);
    if (kind == K::Double) return sqlite3_column_double(s, i);
    if (kind == K::Text) return ColumnText(s, i);
    Json::Value parsed;
    Json::Reader().parse(ColumnText(s, i), parsed, true);
    return parsed;
}

CRemindInfo JsonExtract(sqlite3_stmt* s) {
    Json::Value root;
    try {
        root["m_nUid"] = static_cast<Json::UInt>(sqlite3_column_int(s, 0));
        int i = kFirstColumn;
        for (const SColumn& c : Columns()) {
            // A NULL JSON column leaves its member absent.
            if (c.eKind != K::JsonText || sqlite3_column_text(s, i) != nullptr) {
                root[c.sKey] = JsonCell(s, c.eKind, i);
            }
            ++i;
        }
    } catch (const std::exception&) {
    }
    CRemindInfo record;
    record.Deserialize(Json::FastWriter().write(root));
    return record;
}

// --- Helpers ------------------------------------------------------------------------------------

// Every column but the UID of every row of `table`, by UID, as "type:value" strings.
std::vector<std::vector<std::string>> Cells(testsupport::CRawDb& db, const std::string& table) {
    std::vector<std::vector<std::string>> rows;
    Statement s = db.Prepare("SELECT * FROM " + table + " ORDER BY UID");
    while (sqlite3_step(s.get()) == SQLITE_ROW) {
        rows.emplace_back();
        for (int c = 1; c < sqlite3_column_count(s.get()); ++c) {
            const int type = sqlite3_column_type(s.get(), c);
            char real[64];
            std::snprintf(real, sizeof real, "%.17g", sqlite3_column_double(s.get(), c));
            rows.back().push_back(std::to_string(type) + ":" +
                                  (type == SQLITE_FLOAT ? real : ColumnText(s.get(), c)));
        }
    }
    return rows;
}

// A default record, one with every field at its highest, one at its lowest, and one whose
// fields all differ from each other, so that two columns swapped on the way show.
std::vector<CRemindInfo> ExtremeRecords() {
    using I32 = std::numeric_limits<int32_t>;
    std::vector<CRemindInfo> records(4);
    for (int m = 1; m < 4; ++m) {
        CRemindInfo* r = &records[m];
        const bool h = m == 1, distinct = m == 3;
        uint16_t n16 = 10;
        uint32_t n32 = 0xFFFFFFF0u;  // EventTime below StartMarginTime: StartTime is negative
        uint8_t n8 = 250;
        int32_t n = -7;
        r->m_nServiceId = distinct ? 0xF000000000000001ULL : h ? ~0ULL : 0;
        for (uint16_t* f :
             {&r->m_nChannelType, &r->m_nMajor, &r->m_nMinor, &r->m_nPTC, &r->m_nProgramNumber,
              &r->m_nTransportStreamId, &r->m_nTimeMargin, &r->m_nDevice, &r->m_nEventId,
              &r->m_nErrno, &r->m_nSeriesId, &r->m_nExpiredDate}) {
            *f = distinct ? n16++ : h ? 0xFFFF : 0;
        }
        for (uint32_t* f :
             {&r->m_nBookingOrder, &r->m_nUTCStartTime, &r->m_nEventTime, &r->m_nStartMarginTime,
              &r->m_nEndMarginTime, &r->m_nRCTExpiryTime, &r->m_nAddedTime, &r->m_nActivationTime,
              &r->m_nExpiryTime, &r->m_nPublishedDuration, &r->m_nUTCDuration, &r->m_nDuration}) {
            *f = distinct ? n32++ : h ? 0xFFFFFFFFu : 0;
        }
        for (uint8_t* f :
             {&r->m_cManualRepeat, &r->m_cContentVersion, &r->m_cGenre, &r->m_cRepeatLabel}) {
            *f = distinct ? n8++ : h ? 0xFF : 0;
        }
        for (int32_t* f :
             {&r->m_nServiceProfile, &r->m_nSource, &r->m_nManual, &r->m_nStreamType}) {
            *f = distinct ? n++ : h ? I32::max() : I32::min();
        }
        r->m_nEpisodeNumber = distinct ? -1 : h ? 32767 : -32768;
        r->m_nLastEpisodeNumber = distinct ? 12 : h ? -1 : 0;
        r->m_frequency = distinct ? 474.1f
                         : h      ? std::numeric_limits<float>::max()
                                  : -std::numeric_limits<float>::min();
        r->m_nReserveType = static_cast<EReserveType>(distinct ? 2 : h ? 255 : -1);
        r->m_nRepeatType = static_cast<EReminderRepeatType>(distinct ? 4 : h ? 1000 : -3);
        bool flag = true;
        for (bool* f : {&r->m_bIsHD, &r->m_bRemoteChannel, &r->m_bAlarmed,
                        &r->m_bRecordingSpaceAlarmed, &r->m_bRecording, &r->m_bUnresolvedConflict,
                        &r->m_bRecommended, &r->m_bRecordListBooking}) {
            *f = distinct ? (flag = !flag) : h;
        }
        r->m_vCompList = {{static_cast<uint16_t>(h ? 0xFFFF : 0),
                           static_cast<uint8_t>(h ? 0xFF : 0), h ? 0xFFFFFFFFu : 0}};
        r->m_extProgramId = {h ? 0xFFFFFFFFu : 0, h ? 0xFFFFFFFFu : 0,
                             static_cast<uint8_t>(h ? 0xFF : 0), h ? I32::max() : I32::min()};
    }
    records[1].m_sTitle = std::string(100000, 'x');
    // Text that JSON has to escape, valid UTF-8 of every length, SQL and JSON fragments.
    CRemindInfo& mixed = records[3];
    mixed.m_sChannelName = "it's \"quoted\" \\ back/slash",
    mixed.m_sProgramCrid = "\x01\x02\t\n\r\x1F\x7F";
    mixed.m_sSeriesCrid = "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xBA", mixed.m_sGroupCrid = "a";
    mixed.m_sSynopsis = "'); DROP TABLE Items; --", mixed.m_sGuidance = "{\"m_nUid\":1}";
    mixed.m_sPrivateData = "text 7 \xC3\xA9";  // and an empty title
    mixed.m_vCompList = {{0x0203, 1, 0x656E67}, {4, 5, 6}, {0x0501, 2, 0x646575}};
    mixed.m_extProgramId = {1700000000, 1800, 3, -2};
    return records;
}

std::vector<CRemindInfo> StoredByUid() {
    std::vector<CRemindInfo> rows;
    CDBCriteria byUid;
    byUid.OrderBy(CDBCriteria::CRITERIA_UID);
    CDBControl::GetInstance()->FindItem(byUid, rows);
    return rows;
}

// Every column name of Items but the UID, comma-separated.
std::string ColumnList() {
    const std::vector<std::string>& names = CDBCriteria().m_vColumnNames;
    std::string columns;
    for (size_t i = 1; i < names.size(); ++i) columns += (i > 1 ? ", " : "") + names[i];
    return columns;
}

class StoreCodecTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::ClearStore();
        // A table of the same columns for the rows the JSON path binds.
        std::string sql = raw.Text("SELECT sql FROM sqlite_master WHERE name = 'Items'");
        sql.replace(sql.find("[Items]"), 7, "[Mirror]");
        ASSERT_TRUE(raw.Exec("DROP TABLE IF EXISTS Mirror") && raw.Exec(sql));
    }

    // Every row of Items read through the store, and through the JSON path.
    void ExpectBothReadsAgree() {
        const std::vector<CRemindInfo> direct = StoredByUid();
        Statement s = raw.Prepare("SELECT * FROM Items ORDER BY UID");
        size_t i = 0;
        for (; sqlite3_step(s.get()) == SQLITE_ROW; ++i) {
            ASSERT_LT(i, direct.size());
            const CRemindInfo viaJson = JsonExtract(s.get());
            EXPECT_EQ(direct[i].Serialize(), viaJson.Serialize()) << "row " << i;
        }
        EXPECT_EQ(i, direct.size());
    }

    testsupport::CRawDb raw;
};

TEST_F(StoreCodecTest, RecordsBindTheColumnValuesOfTheJsonPath) {
    const size_t columns = CDBCriteria().m_vColumnNames.size();
    ASSERT_EQ(Columns().size() + kFirstColumn, columns);
    std::string values;
    for (size_t i = 2; i <= columns; ++i) values += (i > 2 ? ", ?" : "?") + std::to_string(i);
    Statement insert =
        raw.Prepare("INSERT INTO Mirror (" + ColumnList() + ") VALUES (" + values + ")");
    ASSERT_NE(insert.get(), nullptr);
    const std::vector<CRemindInfo> written = ExtremeRecords();
    for (CRemindInfo record : written) {
        ASSERT_TRUE(CDBControl::GetInstance()->AddItem(record));
        sqlite3_reset(insert.get());
        sqlite3_clear_bindings(insert.get());
        JsonBind(insert.get(), record);
        ASSERT_EQ(sqlite3_step(insert.get()), SQLITE_DONE);
    }
    const auto direct = Cells(raw, "Items");
    const auto viaJson = Cells(raw, "Mirror");
    ASSERT_EQ(direct.size(), viaJson.size());
    for (size_t r = 0; r < direct.size(); ++r) EXPECT_EQ(direct[r], viaJson[r]) << "row " << r;
    ExpectBothReadsAgree();
    // And a record comes back exactly as it was written (the engine relies on it to keep its
    // snapshot without reading rows back).
    const std::vector<CRemindInfo> rows = StoredByUid();
    ASSERT_EQ(rows.size(), written.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        CRemindInfo expected = written[i];
        expected.m_nUid = rows[i].m_nUid;
        EXPECT_EQ(rows[i].Serialize(), expected.Serialize()) << "record " << i;
    }
}

TEST_F(StoreCodecTest, DamagedRowsReadBackAsTheJsonPathReadThem) {
    CRemindInfo stored = ExtremeRecords()[3];
    ASSERT_TRUE(CDBControl::GetInstance()->AddItem(stored));
    // Each damage applied to a copy of a good row: text, reals and out-of-range integers in
    // integer columns, NULLs, and JSON columns that are broken or of the wrong shape.
    const std::string component = R"(ComponentList = '[{"cComponentTag":)";
    const std::string ext = R"(ExtProgramId = '[{"cEITNumber":)";
    const std::string damages[] = {
        "ServiceId = 'abc', ServiceProfile = '12abc', Major = ' 7', Minor = '-5', PTC = 3.9",
        "ChannelType = 70000, EventTime = 5000000000, Errno = -1, ManualRepeat = 300",
        "EpisodeNumber = 40000, RepeatLabel = -2, IsHD = 7, Alarmed = 'yes', Recording = 0.5",
        "Frequency = 'abc', Title = NULL, Synopsis = 42, ReserveType = 2.7",
        "Frequency = 1e300",
        "ComponentList = NULL, ExtProgramId = NULL, StreamType = NULL",
        "ComponentList = '[]', ExtProgramId = '[]'",
        "ComponentList = 'garbage', ExtProgramId = '{}'",
        R"(ComponentList = '[{"nLanguage":1}', ExtProgramId = '[5]')",
        "ComponentList = '[1, 2]', StreamType = 9",
        R"(ComponentList = '{"a":{"cComponentTag":1},"b":{"nLanguage":2}}')",
        R"(ComponentList = '[{"nLanguage":-1},{"nLanguage":2}]')",
        component + R"(300,"nLanguage":1e3}]')",
        R"(ComponentList = '"text"', ExtProgramId = '[{"nUTCStartTime":-1,"cEITNumber":2}]')",
        ext + R"(1,"nEITTableId":-7,"nUTCDuration":2,"nUTCStartTime":3}]')",
        ext + "256,\"nEITTableId\":0,\"nUTCDuration\":2,\"nUTCStartTime\":3}]\n'",
        ext + "1,\"nEITTableId\":0,\"nUTCDuration\":-2,\"nUTCStartTime\":3}]\n'",
        R"(ExtProgramId = '[{"nUTCStartTime":1}, 7]', ComponentList = 'null')",
        component + "1,\"nLanguage\":2,\"nStreamContentComponentType\":70000}]\n'",
        component + "01,\"nLanguage\":2,\"nStreamContentComponentType\":3}]\n'",
        component + "1,\"nLanguage\":4294967296,\"nStreamContentComponentType\":3}]\n'",
        component + "1,\"nLanguage\":2,\"nStreamContentComponentType\":3},]\n'",
        component +
            "255,\"nLanguage\":4294967295,\"nStreamContentComponentType\":65535},"
            "{\"cComponentTag\":0,\"nLanguage\":0,\"nStreamContentComponentType\":0}]\n'"
            ", ExtProgramId = 'null'",
    };
    const std::string copy =
        "INSERT INTO Items SELECT NULL, " + ColumnList() + " FROM Items WHERE UID = 1";
    for (const std::string& damage : damages) {
        ASSERT_TRUE(raw.Exec(copy));
        ASSERT_TRUE(raw.Exec("UPDATE Items SET " + damage + " WHERE UID = last_insert_rowid()"))
            << damage;
    }
    ASSERT_TRUE(raw.Exec("INSERT INTO Items (UID) VALUES (NULL)"));  // every column NULL
    // JSON nested beyond the reader's limit throws inside the reader; such failures are logged.
    ASSERT_TRUE(raw.Exec(copy) &&
                raw.Exec("UPDATE Items SET ComponentList = '" + std::string(3000, '[') +
                         "' WHERE UID = last_insert_rowid()"));
    ExpectBothReadsAgree();
    EXPECT_FALSE(testsupport::LogLinesContaining("Exception Handled : ").empty());
}

}  // namespace
