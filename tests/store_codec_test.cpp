// The store's row codec: records are bound to and read from the Items columns directly. These
// tests hold it to the record's JSON form, through which rows used to travel (kept here only):
// the same record binds the same column values, and the same row, damaged or not, reads back as
// the same record. And what the JSON form could not carry: any bytes of text, and frequencies
// that are not numbers.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sqlite3.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "DataControl.h"
#include "TestSupport.h"

namespace {

using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

// --- The JSON path, as the store ran it before ------------------------------------------------

enum class EKind { UInt64, Int, UInt, Double, Bool, Text, JsonText };
struct SColumn {
    int nIndex;
    const char* sKey;
    EKind eKind;
};
const SColumn kColumns[] = {
    {2, "m_nServiceId", EKind::UInt64},
    {3, "m_nServiceProfile", EKind::Int},
    {4, "m_nChannelType", EKind::UInt},
    {5, "m_nMajor", EKind::UInt},
    {6, "m_nMinor", EKind::UInt},
    {7, "m_nPTC", EKind::UInt},
    {8, "m_nProgramNumber", EKind::UInt},
    {9, "m_nTransportStreamId", EKind::UInt},
    {10, "m_nTimeMargin", EKind::UInt},
    {11, "m_nDevice", EKind::UInt},
    {12, "m_nEventId", EKind::UInt},
    {13, "m_nErrno", EKind::UInt},
    {14, "m_nSeriesId", EKind::UInt},
    {15, "m_nExpiredDate", EKind::UInt},
    {16, "m_nBookingOrder", EKind::UInt},
    {17, "m_nUTCStartTime", EKind::UInt},
    {18, "m_nEventTime", EKind::UInt},
    {19, "m_nStartMarginTime", EKind::UInt},
    {20, "m_nEndMarginTime", EKind::UInt},
    {21, "m_nRCTExpiryTime", EKind::UInt},
    {22, "m_nAddedTime", EKind::UInt},
    {23, "m_nActivationTime", EKind::UInt},
    {24, "m_nExpiryTime", EKind::UInt},
    {25, "m_nPublishedDuration", EKind::UInt},
    {26, "m_cManualRepeat", EKind::UInt},
    {27, "m_cContentVersion", EKind::UInt},
    {28, "m_cGenre", EKind::UInt},
    {29, "m_nUTCDuration", EKind::UInt},
    {30, "m_nDuration", EKind::UInt},
    {31, "m_frequency", EKind::Double},
    {32, "m_nEpisodeNumber", EKind::Int},
    {33, "m_nLastEpisodeNumber", EKind::Int},
    {34, "m_bIsHD", EKind::Bool},
    {35, "m_bRemoteChannel", EKind::Bool},
    {36, "m_bAlarmed", EKind::Bool},
    {37, "m_bRecordingSpaceAlarmed", EKind::Bool},
    {38, "m_bRecording", EKind::Bool},
    {39, "m_bUnresolvedConflict", EKind::Bool},
    {40, "m_bRecommended", EKind::Bool},
    {41, "m_bRecordListBooking", EKind::Bool},
    {42, "m_cRepeatLabel", EKind::Int},
    {43, "m_nSource", EKind::Int},
    {44, "m_nManual", EKind::Int},
    {45, "m_nReserveType", EKind::Int},
    {46, "m_nRepeatType", EKind::Int},
    {47, "m_sTitle", EKind::Text},
    {48, "m_sChannelName", EKind::Text},
    {49, "m_sProgramCrid", EKind::Text},
    {50, "m_sSeriesCrid", EKind::Text},
    {51, "m_sGroupCrid", EKind::Text},
    {52, "m_sSynopsis", EKind::Text},
    {53, "m_sGuidance", EKind::Text},
    {54, "m_sPrivateData", EKind::Text},
    {55, "m_vCompList", EKind::JsonText},
    {56, "m_extProgramId", EKind::JsonText},
    {57, "m_nStreamType", EKind::Int},
};

void JsonBindText(sqlite3_stmt* s, int parameter, const std::string& text) {
    sqlite3_bind_text(s, parameter, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

void JsonBind(sqlite3_stmt* s, const CRemindInfo& item) {
    Json::Value root;
    if (!Json::Reader().parse(item.Serialize(), root, true)) return;
    sqlite3_bind_int(s, 2, static_cast<int>(item.m_nEventTime - item.m_nStartMarginTime));
    for (const SColumn& c : kColumns) {
        const Json::Value& v = root[c.sKey];
        const int p = c.nIndex + 1;
        switch (c.eKind) {
            case EKind::UInt64:
                sqlite3_bind_int64(s, p, static_cast<sqlite3_int64>(v.asUInt64()));
                break;
            case EKind::Int:
                sqlite3_bind_int(s, p, v.asInt());
                break;
            case EKind::UInt:
                sqlite3_bind_int(s, p, static_cast<int>(v.asUInt()));
                break;
            case EKind::Double:
                sqlite3_bind_double(s, p, v.asDouble());
                break;
            case EKind::Bool:
                sqlite3_bind_int(s, p, v.asBool() ? 1 : 0);
                break;
            case EKind::Text:
                JsonBindText(s, p, v.asString());
                break;
            case EKind::JsonText:
                JsonBindText(s, p, Json::FastWriter().write(v));
                break;
        }
    }
}

std::string ColumnText(sqlite3_stmt* s, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(s, column));
    if (text == nullptr) return std::string();
    return std::string(text, static_cast<size_t>(sqlite3_column_bytes(s, column)));
}

CRemindInfo JsonExtract(sqlite3_stmt* s) {
    Json::Value root;
    try {
        root["m_nUid"] = static_cast<Json::UInt>(sqlite3_column_int(s, 0));
        for (const SColumn& c : kColumns) {
            const int i = c.nIndex;
            switch (c.eKind) {
                case EKind::UInt64:
                    root[c.sKey] = static_cast<Json::UInt64>(sqlite3_column_int64(s, i));
                    break;
                case EKind::UInt:
                    root[c.sKey] = static_cast<Json::UInt>(sqlite3_column_int(s, i));
                    break;
                case EKind::Int:
                case EKind::Bool:
                    root[c.sKey] = sqlite3_column_int(s, i);
                    break;
                case EKind::Double:
                    root[c.sKey] = sqlite3_column_double(s, i);
                    break;
                case EKind::Text:
                    root[c.sKey] = ColumnText(s, i);
                    break;
                case EKind::JsonText:
                    if (sqlite3_column_text(s, i) != nullptr) {
                        Json::Value parsed;
                        Json::Reader().parse(ColumnText(s, i), parsed, true);
                        root[c.sKey] = std::move(parsed);
                    }
                    break;
            }
        }
    } catch (const std::exception&) {
    }
    CRemindInfo record;
    record.Deserialize(Json::FastWriter().write(root));
    return record;
}

// --- Helpers ------------------------------------------------------------------------------------

class RawDb {
public:
    RawDb() {
        CDBControl::GetInstance();  // the store creates the file and the table
        sqlite3* db = nullptr;
        sqlite3_open_v2(CDBControl::DatabasePath().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
        m_db.reset(db);
    }
    bool Exec(const std::string& sql) {
        return sqlite3_exec(m_db.get(), sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    Statement Prepare(const std::string& sql) {
        sqlite3_stmt* raw = nullptr;
        sqlite3_prepare_v2(m_db.get(), sql.c_str(), -1, &raw, nullptr);
        return Statement(raw, &sqlite3_finalize);
    }
    // Every column of every row of `table`, by UID, as "type:value" strings.
    std::vector<std::vector<std::string>> Cells(const std::string& table) {
        std::vector<std::vector<std::string>> rows;
        Statement s = Prepare("SELECT * FROM " + table + " ORDER BY UID");
        while (sqlite3_step(s.get()) == SQLITE_ROW) {
            std::vector<std::string> row;
            for (int c = 1; c < sqlite3_column_count(s.get()); ++c) {
                const int type = sqlite3_column_type(s.get(), c);
                std::string cell = std::to_string(type) + ":";
                if (type == SQLITE_FLOAT) {
                    char buffer[64];
                    std::snprintf(buffer, sizeof buffer, "%.17g",
                                  sqlite3_column_double(s.get(), c));
                    cell += buffer;
                } else {
                    cell += ColumnText(s.get(), c);
                }
                row.push_back(cell);
            }
            rows.push_back(row);
        }
        return rows;
    }

private:
    std::unique_ptr<sqlite3, decltype(&sqlite3_close)> m_db{nullptr, &sqlite3_close};
};

// Records with every field at its extremes, and ordinary ones.
std::vector<CRemindInfo> ExtremeRecords() {
    std::vector<CRemindInfo> records(4);
    CRemindInfo& high = records[1];
    CRemindInfo& low = records[2];
    CRemindInfo& mixed = records[3];
    for (CRemindInfo* r : {&high, &low}) {
        const bool h = r == &high;
        r->m_nServiceId = h ? std::numeric_limits<unsigned long long>::max() : 0;
        r->m_nServiceProfile =
            h ? std::numeric_limits<int32_t>::max() : std::numeric_limits<int32_t>::min();
        for (uint16_t* f :
             {&r->m_nChannelType, &r->m_nMajor, &r->m_nMinor, &r->m_nPTC, &r->m_nProgramNumber,
              &r->m_nTransportStreamId, &r->m_nTimeMargin, &r->m_nDevice, &r->m_nEventId,
              &r->m_nErrno, &r->m_nSeriesId, &r->m_nExpiredDate}) {
            *f = h ? 0xFFFF : 0;
        }
        for (uint32_t* f :
             {&r->m_nBookingOrder, &r->m_nUTCStartTime, &r->m_nEventTime, &r->m_nStartMarginTime,
              &r->m_nEndMarginTime, &r->m_nRCTExpiryTime, &r->m_nAddedTime, &r->m_nActivationTime,
              &r->m_nExpiryTime, &r->m_nPublishedDuration, &r->m_nUTCDuration, &r->m_nDuration}) {
            *f = h ? 0xFFFFFFFFu : 0;
        }
        for (uint8_t* f :
             {&r->m_cManualRepeat, &r->m_cContentVersion, &r->m_cGenre, &r->m_cRepeatLabel}) {
            *f = h ? 0xFF : 0;
        }
        for (int32_t* f : {&r->m_nSource, &r->m_nManual, &r->m_nStreamType}) {
            *f = h ? std::numeric_limits<int32_t>::max() : std::numeric_limits<int32_t>::min();
        }
        r->m_nEpisodeNumber = h ? 32767 : -32768;
        r->m_nLastEpisodeNumber = h ? -1 : 0;
        r->m_frequency = h ? std::numeric_limits<float>::max() : -std::numeric_limits<float>::min();
        r->m_nReserveType = static_cast<EReserveType>(h ? 255 : -1);
        r->m_nRepeatType = static_cast<EReminderRepeatType>(h ? 1000 : -3);
        for (bool* f : {&r->m_bIsHD, &r->m_bRemoteChannel, &r->m_bAlarmed,
                        &r->m_bRecordingSpaceAlarmed, &r->m_bRecording, &r->m_bUnresolvedConflict,
                        &r->m_bRecommended, &r->m_bRecordListBooking}) {
            *f = h;
        }
        r->m_vCompList = {{static_cast<uint16_t>(h ? 0xFFFF : 0),
                           static_cast<uint8_t>(h ? 0xFF : 0), h ? 0xFFFFFFFFu : 0}};
        r->m_extProgramId = {
            h ? 0xFFFFFFFFu : 0, h ? 0xFFFFFFFFu : 0, static_cast<uint8_t>(h ? 0xFF : 0),
            h ? std::numeric_limits<int32_t>::max() : std::numeric_limits<int32_t>::min()};
    }
    // Text that JSON has to escape, valid UTF-8 of every length, SQL and JSON fragments.
    const char* texts[] = {"",
                           "it's \"quoted\" \\ back/slash",
                           "\x01\x02\t\n\r\x1F\x7F",
                           "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xBA",
                           "'); DROP TABLE Items; --",
                           "{\"m_nUid\":1}",
                           "a"};
    int k = 0;
    for (std::string* f :
         {&mixed.m_sTitle, &mixed.m_sChannelName, &mixed.m_sProgramCrid, &mixed.m_sSeriesCrid,
          &mixed.m_sGroupCrid, &mixed.m_sSynopsis, &mixed.m_sGuidance, &mixed.m_sPrivateData}) {
        *f = texts[k++ % 7];
    }
    high.m_sTitle = std::string(100000, 'x');
    mixed.m_frequency = 474.1f;
    mixed.m_vCompList = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    mixed.m_extProgramId.nEITTableId = -2;
    mixed.m_nEventTime = 100;
    mixed.m_nStartMarginTime = 200;  // a start before the epoch: StartTime is negative
    return records;
}

class StoreCodecTest : public ::testing::Test {
protected:
    void SetUp() override {
        testsupport::ClearStore();
        raw.Exec("DROP TABLE IF EXISTS Mirror");
        Statement schema =
            raw.Prepare("SELECT sql FROM sqlite_master WHERE type = 'table' AND name = 'Items'");
        ASSERT_EQ(sqlite3_step(schema.get()), SQLITE_ROW);
        std::string sql = ColumnText(schema.get(), 0);
        sql.replace(sql.find("[Items]"), 7, "[Mirror]");
        ASSERT_TRUE(raw.Exec(sql));
    }
    void TearDown() override { raw.Exec("DROP TABLE IF EXISTS Mirror"); }

    // The store's INSERT, into the mirror table.
    std::string MirrorInsert() {
        const std::vector<std::string>& names = CDBCriteria().m_vColumnNames;
        std::string columns;
        std::string values;
        for (size_t i = 1; i < names.size(); ++i) {
            columns += (i > 1 ? ", " : "") + names[i];
            values += (i > 1 ? ", ?" : "?") + std::to_string(i + 1);
        }
        return "INSERT INTO Mirror (" + columns + ") VALUES (" + values + ")";
    }

    // Every row of Items read through the store, and through the JSON path.
    void ExpectBothReadsAgree() {
        std::vector<CRemindInfo> direct;
        CDBCriteria byUid;
        byUid.OrderBy(CDBCriteria::CRITERIA_UID);
        CDBControl::GetInstance()->FindItem(byUid, direct);
        Statement s = raw.Prepare("SELECT * FROM Items ORDER BY UID");
        size_t i = 0;
        while (sqlite3_step(s.get()) == SQLITE_ROW) {
            ASSERT_LT(i, direct.size());
            const CRemindInfo viaJson = JsonExtract(s.get());
            EXPECT_EQ(direct[i].Serialize(), viaJson.Serialize()) << "row " << i;
            EXPECT_EQ(direct[i].m_nUid, viaJson.m_nUid);
            ++i;
        }
        EXPECT_EQ(i, direct.size());
    }

    RawDb raw;
};

TEST_F(StoreCodecTest, RecordsBindTheColumnValuesOfTheJsonPath) {
    Statement insert = raw.Prepare(MirrorInsert());
    ASSERT_NE(insert.get(), nullptr);
    for (CRemindInfo record : ExtremeRecords()) {
        ASSERT_TRUE(CDBControl::GetInstance()->AddItem(record));
        sqlite3_reset(insert.get());
        sqlite3_clear_bindings(insert.get());
        JsonBind(insert.get(), record);
        ASSERT_EQ(sqlite3_step(insert.get()), SQLITE_DONE);
    }
    const auto direct = raw.Cells("Items");
    const auto viaJson = raw.Cells("Mirror");
    ASSERT_EQ(direct.size(), viaJson.size());
    for (size_t r = 0; r < direct.size(); ++r) {
        for (size_t c = 0; c < direct[r].size(); ++c) {
            EXPECT_EQ(direct[r][c], viaJson[r][c]) << "row " << r << " column " << c + 1;
        }
    }
    ExpectBothReadsAgree();
    // And a record comes back exactly as it was written (the engine relies on it to keep its
    // snapshot without reading rows back).
    std::vector<CRemindInfo> rows;
    CDBCriteria byUid;
    byUid.OrderBy(CDBCriteria::CRITERIA_UID);
    CDBControl::GetInstance()->FindItem(byUid, rows);
    const std::vector<CRemindInfo> written = ExtremeRecords();
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
    const char* damages[] = {
        "ServiceId = 'abc', ServiceProfile = '12abc', Major = ' 7', Minor = '-5', PTC = 3.9",
        "ChannelType = 70000, EventTime = 5000000000, Errno = -1, ManualRepeat = 300",
        "EpisodeNumber = 40000, RepeatLabel = -2, IsHD = 7, Alarmed = 'yes', Recording = 0.5",
        "Frequency = 'abc', Title = NULL, Synopsis = 42, ReserveType = 2.7",
        "Frequency = 1e300",
        "ComponentList = NULL, ExtProgramId = NULL, StreamType = NULL",
        "ComponentList = '[]', ExtProgramId = '[]'",
        "ComponentList = 'garbage', ExtProgramId = '{}'",
        "ComponentList = '[{\"nLanguage\":1}', ExtProgramId = '[5]'",
        "ComponentList = '[1, 2]', StreamType = 9",
        "ComponentList = '{\"a\":{\"cComponentTag\":1},\"b\":{\"nLanguage\":2}}'",
        "ComponentList = '[{\"nLanguage\":-1},{\"nLanguage\":2}]'",
        "ComponentList = '[{\"cComponentTag\":300,\"nLanguage\":1e3}]'",
        "ComponentList = '\"text\"', ExtProgramId = '[{\"nUTCStartTime\":-1,\"cEITNumber\":2}]'",
        "ExtProgramId = '[{\"cEITNumber\":1,\"nEITTableId\":-7,\"nUTCDuration\":2,"
        "\"nUTCStartTime\":3}]'",
        "ExtProgramId = '[{\"cEITNumber\":1, \"nEITTableId\":-7,\"nUTCDuration\":2,"
        "\"nUTCStartTime\":3}]\n'",
        "ExtProgramId = '[{\"cEITNumber\":256,\"nEITTableId\":0,\"nUTCDuration\":2,"
        "\"nUTCStartTime\":3}]\n'",
        "ExtProgramId = '[{\"cEITNumber\":1,\"nEITTableId\":0,\"nUTCDuration\":-2,"
        "\"nUTCStartTime\":3}]\n'",
        "ExtProgramId = '[{\"nUTCStartTime\":1}, 7]', ComponentList = 'null'",
        "ComponentList = '[{\"cComponentTag\":1,\"nLanguage\":2,"
        "\"nStreamContentComponentType\":70000}]\n'",
        "ComponentList = '[{\"cComponentTag\":01,\"nLanguage\":2,"
        "\"nStreamContentComponentType\":3}]\n'",
        "ComponentList = '[{\"cComponentTag\":1,\"nLanguage\":4294967296,"
        "\"nStreamContentComponentType\":3}]\n'",
        "ComponentList = '[{\"cComponentTag\":1,\"nLanguage\":2,"
        "\"nStreamContentComponentType\":3},]\n'",
        "ComponentList = '[{\"cComponentTag\":255,\"nLanguage\":4294967295,"
        "\"nStreamContentComponentType\":65535},{\"cComponentTag\":0,\"nLanguage\":0,"
        "\"nStreamContentComponentType\":0}]\n', ExtProgramId = 'null'",
    };
    for (const char* damage : damages) {
        ASSERT_TRUE(
            raw.Exec("INSERT INTO Items SELECT NULL, StartTime, ServiceId, "
                     "ServiceProfile, ChannelType, Major, Minor, PTC, ProgramNumber, "
                     "TransportStreamId, TimeMargin, Device, EventId, Errno, SeriesId, "
                     "ExpiredDate, BookingOrder, UTCStartTime, EventTime, "
                     "StartMarginTime, EndMarginTime, RCTExpiryTime, AddedTime, "
                     "ActivationTime, ExpiryTime, PublishedDuration, ManualRepeat, "
                     "ContentVersion, Genre, UTCDuration, Duration, Frequency, "
                     "EpisodeNumber, LastEpisodeNumber, IsHD, RemoteChannel, Alarmed, "
                     "RecordingSpaceAlarmed, Recording, UnresolvedConflict, Recommended, "
                     "RecordListBooking, RepeatLabel, Source, CreationType, ReserveType, "
                     "RepeatType, Title, ChannelName, ProgramCrid, SeriesCrid, GroupCrid, "
                     "Synopsis, Guidance, PrivateData, ComponentList, ExtProgramId, "
                     "StreamType FROM Items WHERE UID = 1"));
        ASSERT_TRUE(raw.Exec(std::string("UPDATE Items SET ") + damage +
                             " WHERE UID = last_insert_rowid()"))
            << damage;
    }
    ASSERT_TRUE(raw.Exec("INSERT INTO Items (UID) VALUES (NULL)"));  // every column NULL
    ExpectBothReadsAgree();
}

// What the JSON form could not carry. Text is stored byte for byte, valid UTF-8 or not; a
// frequency that is not a number is stored as unknown (-1) instead of a row of NULLs.
TEST_F(StoreCodecTest, AnyTextBytesAndNonFiniteFrequenciesAreStoredFaithfully) {
    std::string everyByte;
    for (int b = 1; b < 256; ++b) everyByte += static_cast<char>(b);
    const std::string texts[] = {"Caf\xE9 cr\xE8me", "\xFF\xFE\x80 stray", everyByte,
                                 std::string(1 << 20, '\xA0')};
    const float frequencies[] = {std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity(),
                                 std::numeric_limits<float>::quiet_NaN(), 474.25f};
    for (size_t i = 0; i < 4; ++i) {
        CRemindInfo r;
        r.m_nEventTime = static_cast<uint32_t>(1000 + i);
        for (std::string* f :
             {&r.m_sTitle, &r.m_sChannelName, &r.m_sProgramCrid, &r.m_sSeriesCrid, &r.m_sGroupCrid,
              &r.m_sSynopsis, &r.m_sGuidance, &r.m_sPrivateData}) {
            *f = texts[i];
        }
        r.m_frequency = frequencies[i];
        ASSERT_TRUE(CDBControl::GetInstance()->AddItem(r));
    }
    std::vector<CRemindInfo> rows;
    CDBCriteria byUid;
    byUid.OrderBy(CDBCriteria::CRITERIA_UID);
    ASSERT_TRUE(CDBControl::GetInstance()->FindItem(byUid, rows));
    ASSERT_EQ(rows.size(), 4u);
    for (size_t i = 0; i < 4; ++i) {
        for (const std::string* f :
             {&rows[i].m_sTitle, &rows[i].m_sChannelName, &rows[i].m_sProgramCrid,
              &rows[i].m_sSeriesCrid, &rows[i].m_sGroupCrid, &rows[i].m_sSynopsis,
              &rows[i].m_sGuidance, &rows[i].m_sPrivateData}) {
            EXPECT_TRUE(*f == texts[i]) << "row " << i;
        }
        EXPECT_EQ(rows[i].m_nEventTime, 1000 + i);
        EXPECT_EQ(rows[i].m_frequency, i < 3 ? -1.0f : 474.25f);
    }
    const auto cells = raw.Cells("Items");
    EXPECT_EQ(cells[0][46], "3:Caf\xE9 cr\xE8me");  // Title, as text, unchanged
}

}  // namespace
