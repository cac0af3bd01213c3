// The booking store next to raw SQLite doing the same statements on the same rows, in one run.
//
// Two files with identical rows: the library's (REMINDER_DB_PATH, through the facade) and a
// copy that a plain connection opened with the same flags reads and writes. For each operation
// the library's call and its raw counterpart:
//   ListRead/N         GetRemindItemsByType (every booking)   SELECT * ORDER BY StartTime, decoded
//   Count/N            GetRemindItemCnt                       the same SELECT and decode
//   ListReadAgain/30   the same list read, list unchanged     the SELECT and decode
//   Add/29             AddRemindItem at 29 items              one INSERT (autocommit)
//   Update/30          UpdateRemindItemByUid at 30 items      one UPDATE by UID (autocommit)
//   GetByUid/30        GetRemindItemByUid                     SELECT * WHERE UID = ?, decoded
//   DeleteTen/30       DeleteRemindItems of 10 items          BEGIN, 10 DELETE by UID, COMMIT
// Before every timed list read and count, another connection touches both files, so that each
// read finds the list changed (as after a change event) and reads it from the file; ListReadAgain
// measures the read of an unchanged list. Writes are undone between iterations, untimed.
//
// After the runs it prints, per operation, library / raw of the median real and CPU times over
// the repetitions (run with --benchmark_repetitions=3), and the cost per row of the list read.
// On a machine shared with other work the CPU times are the steadier measure.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "BenchBus.h"
#include "DataControl.h"
#include "RemindInfo.h"
#include "ReminderAPI.h"

namespace {

constexpr int kOpenFlags =
    SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_SHAREDCACHE;
constexpr uint32_t kBaseTime = 1795500000u;

std::string g_libraryPath;
std::string g_rawPath;
sqlite3* g_raw = nullptr;  // the raw side's connection
int g_rows = -1;           // rows both files hold now

// --- Rows ---

CRemindInfo BenchRecord(int i) {
    CRemindInfo r;
    r.m_nReserveType = REMINDER_RESERVE_VIEWING;
    r.m_nServiceId = 1001 + static_cast<unsigned long long>(i % 7);
    r.m_nServiceProfile = 1;
    r.m_nChannelType = 1;
    r.m_nMajor = static_cast<uint16_t>(1 + i % 7);
    r.m_nMinor = 0;
    r.m_nPTC = 21;
    r.m_nProgramNumber = static_cast<uint16_t>(100 + i % 7);
    r.m_nTransportStreamId = 4100;
    r.m_nEventId = static_cast<uint16_t>(i);
    r.SetStartTime(kBaseTime + 600u * static_cast<uint32_t>(i));
    r.m_nDuration = 1800;
    r.m_nAddedTime = kBaseTime - 3600;
    r.m_frequency = 474.0f;
    r.m_sTitle = "Evening Programme " + std::to_string(i);
    r.m_sChannelName = "Channel " + std::to_string(1 + i % 7) + " HD";
    r.m_sProgramCrid = "crid://broadcaster.example/programme/" + std::to_string(i);
    r.m_sSynopsis =
        "An evening of conversation, music and news from around the country, with guests "
        "from the world of entertainment. Episode " +
        std::to_string(i) + ".";
    r.m_vCompList = {{0x0203, 1, 0x656E67}, {0x0501, 2, 0x656E67}};
    r.m_extProgramId.nUTCStartTime = kBaseTime + 600u * static_cast<uint32_t>(i);
    r.m_extProgramId.nUTCDuration = 1800;
    r.m_extProgramId.cEITNumber = 0;
    r.m_extProgramId.nEITTableId = 0x50;
    return r;
}

// What a program using SQLite directly would decode a row into.
struct SRawRow {
    long long values[47];
    double frequency;
    std::string texts[10];
    int streamType;
};

void DecodeRaw(sqlite3_stmt* s, SRawRow& row) {
    for (int c = 0; c < 31; ++c) row.values[c] = sqlite3_column_int64(s, c);
    row.frequency = sqlite3_column_double(s, 31);
    for (int c = 32; c < 47; ++c) row.values[c] = sqlite3_column_int(s, c);
    for (int c = 47; c < 57; ++c) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(s, c));
        if (text == nullptr) {
            row.texts[c - 47].clear();
        } else {
            row.texts[c - 47].assign(text, static_cast<size_t>(sqlite3_column_bytes(s, c)));
        }
    }
    row.streamType = sqlite3_column_int(s, 57);
}

bool RawExec(sqlite3* db, const char* sql) {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// Another writer changes one row of each file (as another process would), so that the next read
// of either finds the file changed.
void TouchBoth() {
    // Connections of their own, kept open, and without waiting for the disk: only the change
    // itself matters here.
    static sqlite3* const others[2] = {
        [] {
            sqlite3* db = nullptr;
            sqlite3_open_v2(g_libraryPath.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
            RawExec(db, "PRAGMA synchronous = OFF");
            return db;
        }(),
        [] {
            sqlite3* db = nullptr;
            sqlite3_open_v2(g_rawPath.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
            RawExec(db, "PRAGMA synchronous = OFF");
            return db;
        }()};
    for (sqlite3* other : others) {
        // A real change: SQLite leaves the file alone when a row is rewritten unchanged.
        RawExec(other,
                "UPDATE Items SET Errno = 1 - Errno WHERE UID = (SELECT MIN(UID) FROM Items)");
    }
}

// Both files hold `rows` bookings, identical row for row.
void PrepareRows(int rows) {
    if (rows == g_rows) return;
    CDBControl* store = CDBControl::GetInstance();
    store->BeginTransaction();
    store->DeleteItem(CDBCriteria());
    for (int i = 0; i < rows; ++i) {
        CRemindInfo r = BenchRecord(i);
        store->AddItem(r);
    }
    store->EndTransaction();
    if (g_raw != nullptr) sqlite3_close(g_raw);
    std::remove(g_rawPath.c_str());
    {
        std::ifstream in(g_libraryPath, std::ios::binary);
        std::ofstream out(g_rawPath, std::ios::binary);
        out << in.rdbuf();
    }
    sqlite3_open_v2(g_rawPath.c_str(), &g_raw, kOpenFlags, nullptr);
    g_rows = rows;
}

std::vector<unsigned long> LibraryUids() {
    std::vector<CRemindInfo> list;
    CDBControl::GetInstance()->FindItem(CDBCriteria(), list);
    std::vector<unsigned long> uids;
    for (const CRemindInfo& e : list) uids.push_back(e.m_nUid);
    return uids;
}

size_t RawSelectAll(std::vector<SRawRow>& rows) {
    sqlite3_stmt* s = nullptr;
    sqlite3_prepare_v2(g_raw, "SELECT * FROM Items ORDER BY StartTime", -1, &s, nullptr);
    rows.clear();
    while (sqlite3_step(s) == SQLITE_ROW) {
        rows.emplace_back();
        DecodeRaw(s, rows.back());
    }
    sqlite3_finalize(s);
    return rows.size();
}

// The raw INSERT / UPDATE with the record's values bound as the store binds them.
const char* const kRawInsert =
    "INSERT INTO Items (StartTime, ServiceId, ServiceProfile, ChannelType, Major, Minor, PTC, "
    "ProgramNumber, TransportStreamId, TimeMargin, Device, EventId, Errno, SeriesId, ExpiredDate, "
    "BookingOrder, UTCStartTime, EventTime, StartMarginTime, EndMarginTime, RCTExpiryTime, "
    "AddedTime, ActivationTime, ExpiryTime, PublishedDuration, ManualRepeat, ContentVersion, "
    "Genre, UTCDuration, Duration, Frequency, EpisodeNumber, LastEpisodeNumber, IsHD, "
    "RemoteChannel, Alarmed, RecordingSpaceAlarmed, Recording, UnresolvedConflict, Recommended, "
    "RecordListBooking, RepeatLabel, Source, CreationType, ReserveType, RepeatType, Title, "
    "ChannelName, ProgramCrid, SeriesCrid, GroupCrid, Synopsis, Guidance, PrivateData, "
    "ComponentList, ExtProgramId, StreamType) VALUES (?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, "
    "?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21, ?22, ?23, ?24, ?25, ?26, ?27, ?28, ?29, "
    "?30, ?31, ?32, ?33, ?34, ?35, ?36, ?37, ?38, ?39, ?40, ?41, ?42, ?43, ?44, ?45, ?46, ?47, "
    "?48, ?49, ?50, ?51, ?52, ?53, ?54, ?55, ?56, ?57, ?58)";
const char* const kRawUpdate =
    "UPDATE Items SET StartTime = ?2, ServiceId = ?3, ServiceProfile = ?4, ChannelType = ?5, "
    "Major = ?6, Minor = ?7, PTC = ?8, ProgramNumber = ?9, TransportStreamId = ?10, "
    "TimeMargin = ?11, Device = ?12, EventId = ?13, Errno = ?14, SeriesId = ?15, "
    "ExpiredDate = ?16, BookingOrder = ?17, UTCStartTime = ?18, EventTime = ?19, "
    "StartMarginTime = ?20, EndMarginTime = ?21, RCTExpiryTime = ?22, AddedTime = ?23, "
    "ActivationTime = ?24, ExpiryTime = ?25, PublishedDuration = ?26, ManualRepeat = ?27, "
    "ContentVersion = ?28, Genre = ?29, UTCDuration = ?30, Duration = ?31, Frequency = ?32, "
    "EpisodeNumber = ?33, LastEpisodeNumber = ?34, IsHD = ?35, RemoteChannel = ?36, "
    "Alarmed = ?37, RecordingSpaceAlarmed = ?38, Recording = ?39, UnresolvedConflict = ?40, "
    "Recommended = ?41, RecordListBooking = ?42, RepeatLabel = ?43, Source = ?44, "
    "CreationType = ?45, ReserveType = ?46, RepeatType = ?47, Title = ?48, ChannelName = ?49, "
    "ProgramCrid = ?50, SeriesCrid = ?51, GroupCrid = ?52, Synopsis = ?53, Guidance = ?54, "
    "PrivateData = ?55, ComponentList = ?56, ExtProgramId = ?57, StreamType = ?58 WHERE UID = ?1";

// Binds the values a raw program would keep for a booking: numbers, and the texts (the two
// JSON columns as the texts the store keeps).
void BindRaw(sqlite3_stmt* s, const CRemindInfo& r, const std::string& components,
             const std::string& programId) {
    sqlite3_bind_int(s, 2, static_cast<int>(r.m_nEventTime - r.m_nStartMarginTime));
    sqlite3_bind_int64(s, 3, static_cast<sqlite3_int64>(r.m_nServiceId));
    const long long numbers[] = {r.m_nServiceProfile,
                                 r.m_nChannelType,
                                 r.m_nMajor,
                                 r.m_nMinor,
                                 r.m_nPTC,
                                 r.m_nProgramNumber,
                                 r.m_nTransportStreamId,
                                 r.m_nTimeMargin,
                                 r.m_nDevice,
                                 r.m_nEventId,
                                 r.m_nErrno,
                                 r.m_nSeriesId,
                                 r.m_nExpiredDate,
                                 r.m_nBookingOrder,
                                 r.m_nUTCStartTime,
                                 r.m_nEventTime,
                                 r.m_nStartMarginTime,
                                 r.m_nEndMarginTime,
                                 r.m_nRCTExpiryTime,
                                 r.m_nAddedTime,
                                 r.m_nActivationTime,
                                 r.m_nExpiryTime,
                                 r.m_nPublishedDuration,
                                 r.m_cManualRepeat,
                                 r.m_cContentVersion,
                                 r.m_cGenre,
                                 r.m_nUTCDuration,
                                 r.m_nDuration};
    int p = 4;
    for (long long n : numbers) sqlite3_bind_int(s, p++, static_cast<int>(n));
    sqlite3_bind_double(s, 32, r.m_frequency);
    const long long more[] = {
        r.m_nEpisodeNumber, r.m_nLastEpisodeNumber,     r.m_bIsHD,        r.m_bRemoteChannel,
        r.m_bAlarmed,       r.m_bRecordingSpaceAlarmed, r.m_bRecording,   r.m_bUnresolvedConflict,
        r.m_bRecommended,   r.m_bRecordListBooking,     r.m_cRepeatLabel, r.m_nSource,
        r.m_nManual,        r.m_nReserveType,           r.m_nRepeatType};
    p = 33;
    for (long long n : more) sqlite3_bind_int(s, p++, static_cast<int>(n));
    const std::string* texts[] = {
        &r.m_sTitle,    &r.m_sChannelName, &r.m_sProgramCrid, &r.m_sSeriesCrid, &r.m_sGroupCrid,
        &r.m_sSynopsis, &r.m_sGuidance,    &r.m_sPrivateData, &components,      &programId};
    p = 48;
    for (const std::string* t : texts) {
        sqlite3_bind_text(s, p++, t->data(), static_cast<int>(t->size()), SQLITE_TRANSIENT);
    }
    sqlite3_bind_int(s, 58, r.m_nStreamType);
}

const std::string kComponentsText =
    "[{\"cComponentTag\":1,\"nLanguage\":6647399,\"nStreamContentComponentType\":515},"
    "{\"cComponentTag\":2,\"nLanguage\":6647399,\"nStreamContentComponentType\":1281}]\n";
const std::string kProgramIdText =
    "[{\"cEITNumber\":0,\"nEITTableId\":80,\"nUTCDuration\":1800,\"nUTCStartTime\":1795500000}]"
    "\n";

// --- List reads and counts ---

void Raw_ListRead(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    std::vector<SRawRow> rows;
    for (auto _ : state) {
        state.PauseTiming();
        TouchBoth();
        state.ResumeTiming();
        benchmark::DoNotOptimize(RawSelectAll(rows));
    }
}

void Lib_ListRead(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CReminderAPI* api = CReminderAPI::GetInstance();
    std::vector<CRemindInfo> list;
    for (auto _ : state) {
        state.PauseTiming();
        TouchBoth();
        state.ResumeTiming();
        api->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, list);
    }
    if (list.size() != static_cast<size_t>(state.range(0))) state.SkipWithError("wrong size");
}

void Raw_Count(benchmark::State& state) {
    Raw_ListRead(state);
}

void Lib_Count(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CReminderAPI* api = CReminderAPI::GetInstance();
    int count = 0;
    for (auto _ : state) {
        state.PauseTiming();
        TouchBoth();
        state.ResumeTiming();
        benchmark::DoNotOptimize(count = api->GetRemindItemCnt());
    }
    if (count != state.range(0)) state.SkipWithError("wrong count");
}

// A read of the list that nothing changed since the last read.
void Raw_ListReadAgain(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    std::vector<SRawRow> rows;
    for (auto _ : state) benchmark::DoNotOptimize(RawSelectAll(rows));
}

void Lib_ListReadAgain(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CReminderAPI* api = CReminderAPI::GetInstance();
    std::vector<CRemindInfo> list;
    for (auto _ : state) api->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, list);
}

// --- Writes ---

void Raw_Add(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CRemindInfo item = BenchRecord(100000);
    for (auto _ : state) {
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(g_raw, kRawInsert, -1, &s, nullptr);
        BindRaw(s, item, kComponentsText, kProgramIdText);
        if (sqlite3_step(s) != SQLITE_DONE) state.SkipWithError("insert failed");
        sqlite3_finalize(s);
        state.PauseTiming();
        RawExec(g_raw, "DELETE FROM Items WHERE UID = last_insert_rowid()");
        state.ResumeTiming();
    }
}

void Lib_Add(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CReminderAPI* api = CReminderAPI::GetInstance();
    CDBControl* store = CDBControl::GetInstance();
    for (auto _ : state) {
        CRemindInfo item = BenchRecord(100000);
        if (!api->AddRemindItem(item, false, false)) state.SkipWithError("add failed");
        state.PauseTiming();
        CDBCriteria added;
        added.Where(CDBCriteria::CRITERIA_UID, store->LastInsertUid());
        store->DeleteItem(added);
        state.ResumeTiming();
    }
}

void Raw_Update(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CRemindInfo item = BenchRecord(7);
    const sqlite3_int64 uid = 8;
    int flip = 0;
    for (auto _ : state) {
        item.m_sTitle = (++flip & 1) ? "Renamed" : "Evening Programme 7";
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(g_raw, kRawUpdate, -1, &s, nullptr);
        BindRaw(s, item, kComponentsText, kProgramIdText);
        sqlite3_bind_int64(s, 1, uid);
        if (sqlite3_step(s) != SQLITE_DONE) state.SkipWithError("update failed");
        sqlite3_finalize(s);
    }
}

void Lib_Update(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CReminderAPI* api = CReminderAPI::GetInstance();
    const unsigned long uid = LibraryUids()[7];
    CRemindInfo item;
    api->GetRemindItemByUid(uid, item);
    int flip = 0;
    for (auto _ : state) {
        item.m_sTitle = (++flip & 1) ? "Renamed" : "Evening Programme 7";
        if (!api->UpdateRemindItemByUid(uid, item, false, false, false)) {
            state.SkipWithError("update failed");
        }
    }
}

void Raw_GetByUid(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    SRawRow row;
    for (auto _ : state) {
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(g_raw, "SELECT * FROM Items WHERE UID = 12", -1, &s, nullptr);
        if (sqlite3_step(s) == SQLITE_ROW) DecodeRaw(s, row);
        sqlite3_finalize(s);
    }
}

void Lib_GetByUid(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CReminderAPI* api = CReminderAPI::GetInstance();
    const unsigned long uid = LibraryUids()[11];
    CRemindInfo item;
    for (auto _ : state) {
        if (!api->GetRemindItemByUid(uid, item)) state.SkipWithError("not found");
    }
}

// Deletes 10 rows and, untimed, puts them back.
void Raw_DeleteTen(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    RawExec(g_raw, "DROP TABLE IF EXISTS temp.Saved");
    RawExec(g_raw, "CREATE TEMP TABLE Saved AS SELECT * FROM Items WHERE UID BETWEEN 11 AND 20");
    for (auto _ : state) {
        RawExec(g_raw, "BEGIN");
        sqlite3_stmt* s = nullptr;
        sqlite3_prepare_v2(g_raw, "DELETE FROM Items WHERE UID = ?1", -1, &s, nullptr);
        for (int uid = 11; uid <= 20; ++uid) {
            sqlite3_bind_int(s, 1, uid);
            sqlite3_step(s);
            sqlite3_reset(s);
        }
        sqlite3_finalize(s);
        if (!RawExec(g_raw, "COMMIT")) state.SkipWithError("commit failed");
        state.PauseTiming();
        RawExec(g_raw, "INSERT INTO Items SELECT * FROM temp.Saved");
        state.ResumeTiming();
    }
}

std::vector<unsigned long> RestoreLibraryTen(const std::vector<unsigned long>& deleted) {
    CDBControl* store = CDBControl::GetInstance();
    store->BeginTransaction();
    std::vector<unsigned long> uids;
    for (size_t i = 0; i < deleted.size(); ++i) {
        CRemindInfo r = BenchRecord(10 + static_cast<int>(i));
        store->AddItem(r);
        uids.push_back(store->LastInsertUid());
    }
    store->EndTransaction();
    return uids;
}

void Lib_DeleteTen(benchmark::State& state) {
    PrepareRows(static_cast<int>(state.range(0)));
    CReminderAPI* api = CReminderAPI::GetInstance();
    const std::vector<unsigned long> all = LibraryUids();
    std::vector<unsigned long> ten(all.begin() + 10, all.begin() + 20);
    for (auto _ : state) {
        std::vector<unsigned long> uids = ten;
        if (!api->DeleteRemindItems(uids)) {
            state.SkipWithError("DeleteRemindItems is not available in this build");
            break;
        }
        state.PauseTiming();
        ten = RestoreLibraryTen(ten);
        state.ResumeTiming();
    }
    g_rows = -1;  // the rows were re-added under new UIDs
}

// --- Ratios ---

class CRatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            const std::string name =
                run.benchmark_name().substr(0, run.benchmark_name().find("/repeats"));
            const double toMicroseconds = 1e6 / benchmark::GetTimeUnitMultiplier(run.time_unit);
            m_times[name].push_back(run.GetAdjustedRealTime() * toMicroseconds);
            m_cpuTimes[name].push_back(run.GetAdjustedCPUTime() * toMicroseconds);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\nlibrary / raw, medians of %s runs:%38s%s\n",
                    m_times.empty() ? "0" : std::to_string(m_times.begin()->second.size()).c_str(),
                    "real time", "           CPU time");
        for (const auto& entry : m_times) {
            if (entry.first.rfind("Lib_", 0) != 0) continue;
            std::string op = entry.first.substr(4);
            const std::string raw = "Raw_" + op;
            const auto other = m_times.find(raw);
            if (other == m_times.end()) continue;
            const double lib = Median(entry.second);
            const double base = Median(other->second);
            const double libCpu = Median(m_cpuTimes[entry.first]);
            const double baseCpu = Median(m_cpuTimes[raw]);
            std::printf("  %-31s %9.1f us / %9.1f us = %5.2f   %9.1f / %9.1f = %5.2f\n", op.c_str(),
                        lib, base, lib / base, libCpu, baseCpu, libCpu / baseCpu);
        }
        // Cost per row: the slope between the two largest list reads.
        const auto slope = [](const Times& times, const std::string& name) {
            const auto a = times.find(name + "/3000");
            const auto b = times.find(name + "/10000");
            if (a == times.end() || b == times.end()) return -1.0;
            return (Median(b->second) - Median(a->second)) / 7000.0;
        };
        const double lib = slope(m_times, "Lib_ListRead");
        const double raw = slope(m_times, "Raw_ListRead");
        const double libCpu = slope(m_cpuTimes, "Lib_ListRead");
        const double rawCpu = slope(m_cpuTimes, "Raw_ListRead");
        if (lib > 0 && raw > 0) {
            std::printf("  %-31s %9.3f us / %9.3f us = %5.2f   %9.3f / %9.3f = %5.2f\n",
                        "ListRead per row (3000-10000)", lib, raw, lib / raw, libCpu, rawCpu,
                        libCpu / rawCpu);
        }
    }

private:
    static double Median(std::vector<double> values) {
        std::sort(values.begin(), values.end());
        const size_t n = values.size();
        return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    }
    using Times = std::map<std::string, std::vector<double>>;
    Times m_times;
    Times m_cpuTimes;
};

void ListSizes(benchmark::internal::Benchmark* b) {
    for (int rows : {30, 300, 3000, 10000}) b->Arg(rows);
}

BENCHMARK(Raw_ListRead)->Apply(ListSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lib_ListRead)->Apply(ListSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(Raw_Count)->Apply(ListSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lib_Count)->Apply(ListSizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(Raw_ListReadAgain)->Arg(30)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lib_ListReadAgain)->Arg(30)->Unit(benchmark::kMicrosecond);
BENCHMARK(Raw_Add)->Arg(29)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lib_Add)->Arg(29)->Unit(benchmark::kMicrosecond);
BENCHMARK(Raw_Update)->Arg(30)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lib_Update)->Arg(30)->Unit(benchmark::kMicrosecond);
BENCHMARK(Raw_GetByUid)->Arg(30)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lib_GetByUid)->Arg(30)->Unit(benchmark::kMicrosecond);
BENCHMARK(Raw_DeleteTen)->Arg(30)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lib_DeleteTen)->Arg(30)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    char dir[] = "/tmp/store-bench-XXXXXX";
    if (mkdtemp(dir) == nullptr) return 1;
    g_libraryPath = std::string(dir) + "/library.db";
    g_rawPath = std::string(dir) + "/raw.db";
    setenv("REMINDER_DB_PATH", g_libraryPath.c_str(), 1);
    setenv("TVSIM_PROFILE", REMINDER_SAMPLE_PROFILE, 0);
    // Every change sends its event, as on a television; without a bus each send would first
    // try, and fail, to connect.
    benchbus::SPrivateBus privateBus;
    if (!benchbus::EnsureBus(privateBus)) {
        std::fprintf(stderr, "store_bench: could not start a private dbus-daemon\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    CRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    if (g_raw != nullptr) sqlite3_close(g_raw);
    for (const std::string& path : {g_libraryPath, g_rawPath}) {
        std::remove(path.c_str());
        std::remove((path + "-journal").c_str());
    }
    rmdir(dir);
    benchbus::StopPrivateBus(privateBus);
    return 0;
}
