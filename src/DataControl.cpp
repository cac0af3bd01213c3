#include "DataControl.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include <json/json.h>

#include "ReminderDBusInfo.h"
#include "ReminderLog.h"
#include "ReminderTypes.h"

namespace {

constexpr const char* kDefaultDatabasePath = "/opt/apps/reminder/data/ReminderFile_v1.db";
constexpr int kOpenFlags =
    SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_SHAREDCACHE;

// Another process holding the file is waited out for about one second.
constexpr int kBusyRetries = 100;
constexpr useconds_t kBusyRetryDelayUs = 10000;

constexpr const char* kCheckTableSql =
    "SELECT * FROM sqlite_master WHERE type = 'table' AND name = 'Items'";

// Existing files carry this exact schema, "INTEGET" included.
constexpr const char* kCreateTableSql =
    "CREATE TABLE [Items] ( \t[UID] INTEGER PRIMARY KEY NOT NULL, \t[StartTime] INTEGER, "
    "\t[ServiceId] INTEGER, \t[ServiceProfile] INTEGER, \t[ChannelType] INTEGER, \t[Major] "
    "INTEGER, "
    "\t[Minor] INTEGER, \t[PTC] INTEGER, \t[ProgramNumber] INTEGER, \t[TransportStreamId] INTEGER, "
    "\t[TimeMargin] INTEGER, \t[Device] INTEGER, \t[EventId] INTEGER, \t[Errno] INTEGER, "
    "\t[SeriesId] INTEGER, \t[ExpiredDate] INTEGER, \t[BookingOrder] INTEGER, "
    "\t[UTCStartTime] INTEGER, \t[EventTime] INTEGER, \t[StartMarginTime] INTEGER, "
    "\t[EndMarginTime] INTEGER, \t[RCTExpiryTime] INTEGER, \t[AddedTime] INTEGER, "
    "\t[ActivationTime] INTEGER, \t[ExpiryTime] INTEGER, \t[PublishedDuration] INTEGER, "
    "\t[ManualRepeat] INTEGER, \t[ContentVersion] INTEGER, \t[Genre] INTEGER, "
    "\t[UTCDuration] INTEGER, \t[Duration] INTEGER, \t[Frequency] REAL, \t[EpisodeNumber] INTEGER, "
    "\t[LastEpisodeNumber] INTEGER, \t[IsHD] INTEGER, \t[RemoteChannel] INTEGER, "
    "\t[Alarmed] INTEGER, \t[RecordingSpaceAlarmed] INTEGER, \t[Recording] INTEGER, "
    "\t[UnresolvedConflict] INTEGER, \t[Recommended] INTEGER, \t[RecordListBooking] INTEGER, "
    "\t[RepeatLabel] INTEGER, \t[Source] INTEGER, \t[CreationType] INTEGER, "
    "\t[ReserveType] INTEGER, \t[RepeatType] INTEGER, \t[Title] TEXT, \t[ChannelName] TEXT, "
    "\t[ProgramCrid] TEXT, \t[SeriesCrid] TEXT, \t[GroupCrid] TEXT, \t[Synopsis] TEXT, "
    "\t[Guidance] TEXT, \t[PrivateData] TEXT, \t[ComponentList] TEXT, \t[ExtProgramId] TEXT, "
    "\t[StreamType] INTEGET )";

constexpr const char* kInsertSql =
    "INSERT INTO Items \t(StartTime, ServiceId, ServiceProfile, ChannelType, Major, Minor, PTC, "
    "ProgramNumber, TransportStreamId, \tTimeMargin, Device, EventId, Errno, SeriesId, "
    "ExpiredDate, "
    "BookingOrder, UTCStartTime, EventTime, \tStartMarginTime, EndMarginTime, RCTExpiryTime, "
    "AddedTime, ActivationTime, ExpiryTime, PublishedDuration, \tManualRepeat, ContentVersion, "
    "Genre, UTCDuration, Duration, Frequency, EpisodeNumber, LastEpisodeNumber, \tIsHD, "
    "RemoteChannel, Alarmed, RecordingSpaceAlarmed, Recording, UnresolvedConflict, Recommended, "
    "\tRecordListBooking, RepeatLabel, Source, CreationType, ReserveType, RepeatType, Title, "
    "ChannelName, \tProgramCrid, SeriesCrid, GroupCrid, Synopsis, Guidance, PrivateData, "
    "ComponentList, ExtProgramId, StreamType) VALUES \t(?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, "
    "?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, \t?21, ?22, ?23, ?24, ?25, ?26, ?27, ?28, ?29, "
    "?30, ?31, ?32, ?33, ?34, ?35, ?36, ?37, ?38, ?39, ?40, \t?41, ?42, ?43, ?44, ?45, ?46, ?47, "
    "?48, ?49, ?50, ?51, ?52, ?53, ?54, ?55, ?56, ?57, ?58)";

constexpr const char* kUpdateSql =
    "UPDATE Items SET \tStartTime = ?2, ServiceId = ?3, ServiceProfile = ?4, ChannelType = ?5, "
    "Major = ?6, Minor = ?7, PTC = ?8, \tProgramNumber = ?9, TransportStreamId = ?10, "
    "TimeMargin = ?11, Device = ?12, EventId = ?13, Errno = ?14, \tSeriesId = ?15, "
    "ExpiredDate = ?16, BookingOrder = ?17, UTCStartTime = ?18, EventTime = ?19, "
    "\tStartMarginTime = ?20, EndMarginTime = ?21, RCTExpiryTime = ?22, AddedTime = ?23, "
    "ActivationTime = ?24, \tExpiryTime = ?25, PublishedDuration = ?26, ManualRepeat = ?27, "
    "ContentVersion = ?28, Genre = ?29, \tUTCDuration = ?30, Duration = ?31, Frequency = ?32, "
    "EpisodeNumber = ?33, LastEpisodeNumber = ?34, \tIsHD = ?35, RemoteChannel = ?36, "
    "Alarmed = ?37, RecordingSpaceAlarmed = ?38, Recording = ?39, \tUnresolvedConflict = ?40, "
    "Recommended = ?41, RecordListBooking = ?42, RepeatLabel = ?43, Source = ?44, "
    "\tCreationType = ?45, ReserveType = ?46, RepeatType = ?47, Title = ?48, ChannelName = ?49, "
    "ProgramCrid = ?50, \tSeriesCrid = ?51, GroupCrid = ?52, Synopsis = ?53, Guidance = ?54, "
    "PrivateData = ?55, ComponentList = ?56, \tExtProgramId = ?57, StreamType = ?58";

// How one column travels between the record's JSON member and SQLite.
enum class EColumnKind { UInt64, Int, UInt, Double, Bool, Text, JsonText };

struct SColumn {
    int nIndex;  // column index; parameter ?N carries column N - 1
    const char* sKey;
    EColumnKind eKind;
};

// Columns 2 to 57 in table order. UID (0) and StartTime (1) are not record members and are
// handled on their own.
const SColumn kRecordColumns[] = {
    {2, "m_nServiceId", EColumnKind::UInt64},
    {3, "m_nServiceProfile", EColumnKind::Int},
    {4, "m_nChannelType", EColumnKind::UInt},
    {5, "m_nMajor", EColumnKind::UInt},
    {6, "m_nMinor", EColumnKind::UInt},
    {7, "m_nPTC", EColumnKind::UInt},
    {8, "m_nProgramNumber", EColumnKind::UInt},
    {9, "m_nTransportStreamId", EColumnKind::UInt},
    {10, "m_nTimeMargin", EColumnKind::UInt},
    {11, "m_nDevice", EColumnKind::UInt},
    {12, "m_nEventId", EColumnKind::UInt},
    {13, "m_nErrno", EColumnKind::UInt},
    {14, "m_nSeriesId", EColumnKind::UInt},
    {15, "m_nExpiredDate", EColumnKind::UInt},
    {16, "m_nBookingOrder", EColumnKind::UInt},
    {17, "m_nUTCStartTime", EColumnKind::UInt},
    {18, "m_nEventTime", EColumnKind::UInt},
    {19, "m_nStartMarginTime", EColumnKind::UInt},
    {20, "m_nEndMarginTime", EColumnKind::UInt},
    {21, "m_nRCTExpiryTime", EColumnKind::UInt},
    {22, "m_nAddedTime", EColumnKind::UInt},
    {23, "m_nActivationTime", EColumnKind::UInt},
    {24, "m_nExpiryTime", EColumnKind::UInt},
    {25, "m_nPublishedDuration", EColumnKind::UInt},
    {26, "m_cManualRepeat", EColumnKind::UInt},
    {27, "m_cContentVersion", EColumnKind::UInt},
    {28, "m_cGenre", EColumnKind::UInt},
    {29, "m_nUTCDuration", EColumnKind::UInt},
    {30, "m_nDuration", EColumnKind::UInt},
    {31, "m_frequency", EColumnKind::Double},
    {32, "m_nEpisodeNumber", EColumnKind::Int},
    {33, "m_nLastEpisodeNumber", EColumnKind::Int},
    {34, "m_bIsHD", EColumnKind::Bool},
    {35, "m_bRemoteChannel", EColumnKind::Bool},
    {36, "m_bAlarmed", EColumnKind::Bool},
    {37, "m_bRecordingSpaceAlarmed", EColumnKind::Bool},
    {38, "m_bRecording", EColumnKind::Bool},
    {39, "m_bUnresolvedConflict", EColumnKind::Bool},
    {40, "m_bRecommended", EColumnKind::Bool},
    {41, "m_bRecordListBooking", EColumnKind::Bool},
    {42, "m_cRepeatLabel", EColumnKind::Int},
    {43, "m_nSource", EColumnKind::Int},
    {44, "m_nManual", EColumnKind::Int},
    {45, "m_nReserveType", EColumnKind::Int},
    {46, "m_nRepeatType", EColumnKind::Int},
    {47, "m_sTitle", EColumnKind::Text},
    {48, "m_sChannelName", EColumnKind::Text},
    {49, "m_sProgramCrid", EColumnKind::Text},
    {50, "m_sSeriesCrid", EColumnKind::Text},
    {51, "m_sGroupCrid", EColumnKind::Text},
    {52, "m_sSynopsis", EColumnKind::Text},
    {53, "m_sGuidance", EColumnKind::Text},
    {54, "m_sPrivateData", EColumnKind::Text},
    {55, "m_vCompList", EColumnKind::JsonText},
    {56, "m_extProgramId", EColumnKind::JsonText},
    {57, "m_nStreamType", EColumnKind::Int},
};

constexpr int kUidColumn = 0;
constexpr int kStartTimeParameter = 2;

struct SErrorMessageFree {
    void operator()(char* message) const { sqlite3_free(message); }
};
using ErrorMessage = std::unique_ptr<char, SErrorMessageFree>;

struct STableFree {
    void operator()(char** table) const { sqlite3_free_table(table); }
};
using ResultTable = std::unique_ptr<char*, STableFree>;

// Runs its action when the scope ends, whichever way it ends.
template <class F>
class CScopeExit {
public:
    explicit CScopeExit(F action) : m_action(std::move(action)) {}
    CScopeExit(const CScopeExit&) = delete;
    CScopeExit& operator=(const CScopeExit&) = delete;
    ~CScopeExit() { m_action(); }

private:
    F m_action;
};

// The status that LastStoreError reports, one per thread.
thread_local int t_nLastStoreError = 0;

bool IsBusy(int result) {
    return result == SQLITE_BUSY || result == SQLITE_LOCKED;
}

// Repeats `attempt` while the file is held by someone else. Returns the last result and the
// number of retries made.
template <class F>
std::pair<int, int> RetryWhileBusy(F attempt) {
    int result = attempt();
    int retries = 0;
    while (IsBusy(result) && retries < kBusyRetries) {
        usleep(kBusyRetryDelayUs);
        ++retries;
        result = attempt();
    }
    return {result, retries};
}

void BindText(sqlite3_stmt* statement, int parameter, const std::string& text) {
    sqlite3_bind_text(statement, parameter, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
}

void BindColumn(sqlite3_stmt* statement, const SColumn& column, const Json::Value& value) {
    const int parameter = column.nIndex + 1;
    switch (column.eKind) {
        case EColumnKind::UInt64:
            sqlite3_bind_int64(statement, parameter, static_cast<sqlite3_int64>(value.asUInt64()));
            break;
        case EColumnKind::Int:
            sqlite3_bind_int(statement, parameter, value.asInt());
            break;
        case EColumnKind::UInt:
            sqlite3_bind_int(statement, parameter, static_cast<int>(value.asUInt()));
            break;
        case EColumnKind::Double:
            sqlite3_bind_double(statement, parameter, value.asDouble());
            break;
        case EColumnKind::Bool:
            sqlite3_bind_int(statement, parameter, value.asBool() ? 1 : 0);
            break;
        case EColumnKind::Text:
            BindText(statement, parameter, value.asString());
            break;
        case EColumnKind::JsonText:
            BindText(statement, parameter, Json::FastWriter().write(value));
            break;
    }
}

std::string ColumnText(sqlite3_stmt* statement, int column) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    if (text == nullptr) return std::string();
    return std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement, column)));
}

void ExtractColumn(sqlite3_stmt* statement, const SColumn& column, Json::Value& root) {
    const int index = column.nIndex;
    switch (column.eKind) {
        case EColumnKind::UInt64:
            root[column.sKey] = static_cast<Json::UInt64>(sqlite3_column_int64(statement, index));
            break;
        case EColumnKind::UInt:
            root[column.sKey] = static_cast<Json::UInt>(sqlite3_column_int(statement, index));
            break;
        case EColumnKind::Int:
        case EColumnKind::Bool:
            root[column.sKey] = sqlite3_column_int(statement, index);
            break;
        case EColumnKind::Double:
            root[column.sKey] = sqlite3_column_double(statement, index);
            break;
        case EColumnKind::Text:
            root[column.sKey] = ColumnText(statement, index);
            break;
        case EColumnKind::JsonText:
            if (sqlite3_column_text(statement, index) != nullptr) {
                // Parsed aside, so a reader that throws leaves no half-built member behind.
                Json::Value parsed;
                Json::Reader().parse(ColumnText(statement, index), parsed, true);
                root[column.sKey] = std::move(parsed);
            }
            break;
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// CDBCriteria

namespace {

const char* const kColumnNames[] = {
    "UID",           "StartTime",
    "ServiceId",     "ServiceProfile",
    "ChannelType",   "Major",
    "Minor",         "PTC",
    "ProgramNumber", "TransportStreamId",
    "TimeMargin",    "Device",
    "EventId",       "Errno",
    "SeriesId",      "ExpiredDate",
    "BookingOrder",  "UTCStartTime",
    "EventTime",     "StartMarginTime",
    "EndMarginTime", "RCTExpiryTime",
    "AddedTime",     "ActivationTime",
    "ExpiryTime",    "PublishedDuration",
    "ManualRepeat",  "ContentVersion",
    "Genre",         "UTCDuration",
    "Duration",      "Frequency",
    "EpisodeNumber", "LastEpisodeNumber",
    "IsHD",          "RemoteChannel",
    "Alarmed",       "RecordingSpaceAlarmed",
    "Recording",     "UnresolvedConflict",
    "Recommended",   "RecordListBooking",
    "RepeatLabel",   "Source",
    "CreationType",  "ReserveType",
    "RepeatType",    "Title",
    "ChannelName",   "ProgramCrid",
    "SeriesCrid",    "GroupCrid",
    "Synopsis",      "Guidance",
    "PrivateData",   "ComponentList",
    "ExtProgramId",  "StreamType",
};

static_assert(std::size(kColumnNames) == CDBCriteria::CRITERIA_STREAM_TYPE + 1,
              "one name per column of Items");

// An unknown column gives an empty name, so the statement fails to prepare instead of throwing.
const std::string& ColumnName(const CDBCriteria& criteria, CDBCriteria::CRITERIA_TYPE column) {
    static const std::string kNone;
    const auto index = static_cast<size_t>(column);
    return index < criteria.m_vColumnNames.size() ? criteria.m_vColumnNames[index] : kNone;
}

// A doubled quote is SQL's literal quote, so the value cannot end the literal early.
std::string QuotedLiteral(const std::string& value) {
    std::string quoted = "'";
    for (const char c : value) {
        quoted += c;
        if (c == '\'') quoted += '\'';
    }
    quoted += '\'';
    return quoted;
}

std::string ValueText(const std::string& value) {
    return QuotedLiteral(value);
}
std::string ValueText(unsigned short value) {
    return std::to_string(static_cast<unsigned long>(value));
}
std::string ValueText(unsigned long value) {
    return std::to_string(value);
}
std::string ValueText(int value) {
    return std::to_string(value);
}
std::string ValueText(EReserveType value) {
    return std::to_string(static_cast<int>(value));
}

void AppendCondition(CDBCriteria& criteria, CDBCriteria::CRITERIA_TYPE column, const char* op,
                     const std::string& valueText) {
    std::ostringstream clause;
    clause << criteria.m_sCriteria << (criteria.m_sCriteria.empty() ? " WHERE " : " AND ")
           << ColumnName(criteria, column) << ' ' << op << ' ' << valueText;
    criteria.m_sCriteria = clause.str();
}

}  // namespace

CDBCriteria::CDBCriteria() : m_vColumnNames(std::begin(kColumnNames), std::end(kColumnNames)) {}

template <class T>
void CDBCriteria::Where(CRITERIA_TYPE column, const T& value) {
    AppendCondition(*this, column, "=", ValueText(value));
}

template <class T>
void CDBCriteria::WhereLess(CRITERIA_TYPE column, const T& value) {
    AppendCondition(*this, column, "<", ValueText(value));
}

template <class T>
void CDBCriteria::WhereNot(CRITERIA_TYPE column, const T& value) {
    AppendCondition(*this, column, "!=", ValueText(value));
}

void CDBCriteria::IgnoreStrCase() {
    std::ostringstream clause;
    clause << m_sCriteria << " COLLATE NOCASE";
    m_sCriteria = clause.str();
}

void CDBCriteria::OrderBy(CRITERIA_TYPE column) {
    std::ostringstream clause;
    clause << m_sCriteria << " ORDER BY " << ColumnName(*this, column);
    m_sCriteria = clause.str();
}

void CDBCriteria::OrderBy(CRITERIA_TYPE first, CRITERIA_TYPE second) {
    std::ostringstream clause;
    clause << m_sCriteria << " ORDER BY " << ColumnName(*this, first) << ", "
           << ColumnName(*this, second);
    m_sCriteria = clause.str();
}

template void CDBCriteria::Where<std::string>(CRITERIA_TYPE, const std::string&);
template void CDBCriteria::Where<unsigned short>(CRITERIA_TYPE, const unsigned short&);
template void CDBCriteria::Where<unsigned long>(CRITERIA_TYPE, const unsigned long&);
template void CDBCriteria::Where<int>(CRITERIA_TYPE, const int&);
template void CDBCriteria::Where<EReserveType>(CRITERIA_TYPE, const EReserveType&);
template void CDBCriteria::WhereLess<std::string>(CRITERIA_TYPE, const std::string&);
template void CDBCriteria::WhereLess<unsigned long>(CRITERIA_TYPE, const unsigned long&);
template void CDBCriteria::WhereNot<std::string>(CRITERIA_TYPE, const std::string&);

// ---------------------------------------------------------------------------------------------
// CDBControl

CDBControl* CDBControl::m_pInstance = nullptr;

std::string CDBControl::DatabasePath() {
    const char* path = std::getenv("REMINDER_DB_PATH");
    return (path != nullptr && path[0] != '\0') ? std::string(path) : kDefaultDatabasePath;
}

CDBControl* CDBControl::GetInstance() {
    REMINDER_ENTRY();
    if (m_pInstance == nullptr) {
        m_pInstance = new CDBControl();
        // A failed connection leaves an instance whose statements fail to prepare.
        m_pInstance->t_Connect();
    }
    REMINDER_LOG("m_pInstance = [%p]", static_cast<void*>(m_pInstance));
    return m_pInstance;
}

CDBControl::CDBControl() {
    m_sCommandStr[COMMAND_INSERT] = kInsertSql;
    m_sCommandStr[COMMAND_UPDATE] = kUpdateSql;
}

CDBControl::~CDBControl() {
    REMINDER_LOG("m_pInstance = [%p]", static_cast<void*>(m_pInstance));
    for (int type = 0; type < COMMAND_MAX; ++type) t_FinalizeStmt(static_cast<COMMAND_TYPE>(type));
    t_Disconnect();
}

bool CDBControl::t_Connect() {
    const std::string path = DatabasePath();
    const int opened = sqlite3_open_v2(path.c_str(), &m_pDB, kOpenFlags, nullptr);
    if (opened != SQLITE_OK || m_pDB == nullptr) {
        REMINDER_ERR("Open DB file [%s] failed.", path.c_str());
        // SQLite hands out a handle even when the open fails; it must still be closed. Without
        // a handle every later statement fails to prepare.
        t_Disconnect();
        return false;
    }

    BeginTransaction();

    bool result = false;
    char** rawTable = nullptr;
    int rows = 0;
    int columns = 0;
    char* rawError = nullptr;
    const int checked =
        sqlite3_get_table(m_pDB, kCheckTableSql, &rawTable, &rows, &columns, &rawError);
    const ResultTable table(rawTable);
    ErrorMessage error(rawError);
    if (checked != SQLITE_OK) {
        REMINDER_ERR("Check table failed. pErrMsg : [%s]", error ? error.get() : "");
    } else if (rows > 0) {
        REMINDER_LOG("Table has already been created.");
        result = true;
    } else {
        REMINDER_LOG("Table was not created before...");
        rawError = nullptr;
        const int created = sqlite3_exec(m_pDB, kCreateTableSql, nullptr, nullptr, &rawError);
        error.reset(rawError);
        if (created != SQLITE_OK) {
            REMINDER_ERR("Create table failed. pErrMsg : [%s]", error ? error.get() : "");
        } else {
            result = true;
        }
    }

    EndTransaction();
    return result;
}

void CDBControl::t_Disconnect() {
    if (m_pDB != nullptr) {
        sqlite3_close(m_pDB);
        m_pDB = nullptr;
    }
}

bool CDBControl::BeginTransaction() {
    REMINDER_ENTRY();
    if (m_nTransactionDepth > 0) {
        ++m_nTransactionDepth;
        return true;
    }
    const auto [result, retries] = RetryWhileBusy(
        [this] { return sqlite3_exec(m_pDB, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr); });
    // A new transaction starts a new operation for LastStoreError.
    t_nLastStoreError = result == SQLITE_OK ? 0 : (m_pDB == nullptr ? SQLITE_CANTOPEN : result);
    m_nLastResult = t_nLastStoreError;
    if (result == SQLITE_OK) {
        if (retries > 0) REMINDER_LOG("Start transaction succeded after: %d attmeps;", retries);
        m_nTransactionDepth = 1;
        m_bTransactionFailed = false;
        return true;
    }
    REMINDER_ERR("Start transaction failed.");
    return false;
}

bool CDBControl::EndTransaction() {
    REMINDER_ENTRY();
    if (m_nTransactionDepth == 0) return false;
    if (--m_nTransactionDepth > 0) return !m_bTransactionFailed;
    if (m_bTransactionFailed) {
        sqlite3_exec(m_pDB, "ROLLBACK", nullptr, nullptr, nullptr);
        return false;
    }
    const int committed = sqlite3_exec(m_pDB, "COMMIT", nullptr, nullptr, nullptr);
    t_SetStatus(committed);
    if (committed != SQLITE_OK) {
        REMINDER_ERR("COMMIT failed.");
        // A commit that failed leaves the transaction open on some errors; never keep it.
        if (sqlite3_get_autocommit(m_pDB) == 0) {
            sqlite3_exec(m_pDB, "ROLLBACK", nullptr, nullptr, nullptr);
        }
        return false;
    }
    return true;
}

void CDBControl::MarkTransactionFailed() {
    if (m_nTransactionDepth > 0) m_bTransactionFailed = true;
}

int CDBControl::TransactionDepth() const {
    return m_nTransactionDepth;
}

bool CDBControl::TransactionFailed() const {
    return m_nTransactionDepth > 0 && m_bTransactionFailed;
}

int CDBControl::LastResult() const {
    return m_nLastResult;
}

void CDBControl::t_SetStatus(int result) {
    const int status = (result == SQLITE_OK || result == SQLITE_DONE || result == SQLITE_ROW)
                           ? 0
                           : (m_pDB == nullptr ? SQLITE_CANTOPEN : result);
    m_nLastResult = status;
    // Inside a transaction the first failure stands for the whole operation.
    if (m_nTransactionDepth == 0 || t_nLastStoreError == 0) t_nLastStoreError = status;
}

unsigned long CDBControl::LastInsertUid() const {
    return m_pDB == nullptr ? 0 : static_cast<unsigned long>(sqlite3_last_insert_rowid(m_pDB));
}

int CDBControl::LastStoreError() {
    return t_nLastStoreError;
}

bool CDBControl::t_InitializeStmt(COMMAND_TYPE type) {
    const auto [result, retries] = RetryWhileBusy([this, type] {
        return sqlite3_prepare_v2(m_pDB, m_sCommandStr[type].c_str(), -1, &m_pStmt[type], nullptr);
    });
    if (result == SQLITE_OK) {
        if (retries > 0) REMINDER_LOG("Prepare statement succeded after: %d attmeps;", retries);
        return true;
    }
    t_SetStatus(result);
    REMINDER_ERR("Prepare statement failed. result: [%d]", result);
    t_FinalizeStmt(type);
    return false;
}

bool CDBControl::t_BindDetail(COMMAND_TYPE type, const CRemindInfo& item) {
    sqlite3_stmt* const statement = m_pStmt[type];
    Json::Value root;
    if (!Json::Reader().parse(item.Serialize(), root, true)) {
        REMINDER_ERR("json reader parse data failed!!!");
        return false;
    }
    sqlite3_bind_int(statement, kStartTimeParameter,
                     static_cast<int>(item.m_nEventTime - item.m_nStartMarginTime));
    try {
        for (const SColumn& column : kRecordColumns) {
            BindColumn(statement, column, root[column.sKey]);
        }
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
        return false;
    }
    return true;
}

int CDBControl::t_Excute(COMMAND_TYPE type) {
    return sqlite3_step(m_pStmt[type]);
}

void CDBControl::t_ExtractDetail(COMMAND_TYPE type, CRemindInfo& item) {
    sqlite3_stmt* const statement = m_pStmt[type];
    Json::Value root;
    try {
        root["m_nUid"] = static_cast<Json::UInt>(sqlite3_column_int(statement, kUidColumn));
        for (const SColumn& column : kRecordColumns) {
            ExtractColumn(statement, column, root);
        }
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
    }
    try {
        item.Deserialize(Json::FastWriter().write(root));
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
    }
}

void CDBControl::t_FinalizeStmt(COMMAND_TYPE type) {
    if (m_pStmt[type] != nullptr) {
        sqlite3_finalize(m_pStmt[type]);
        m_pStmt[type] = nullptr;
    }
}

bool CDBControl::t_RunWrite(COMMAND_TYPE type, const CRemindInfo* item, const char* operation) {
    if (!t_InitializeStmt(type)) return false;
    const CScopeExit finalize([this, type] { t_FinalizeStmt(type); });
    if (item != nullptr && !t_BindDetail(type, *item)) {
        // A row of NULLs is never written in place of the record.
        t_SetStatus(SQLITE_MISMATCH);
        REMINDER_ERR("%s operation failed! Result code : [%d]", operation, SQLITE_MISMATCH);
        return false;
    }
    const int result = t_Excute(type);
    t_SetStatus(result);
    if (result != SQLITE_DONE) {
        REMINDER_ERR("%s operation failed! Result code : [%d]", operation, result);
        return false;
    }
    REMINDER_LOG("%s operation success!", operation);
    return true;
}

bool CDBControl::t_Insert(const CRemindInfo& item) {
    REMINDER_ENTRY();
    return t_RunWrite(COMMAND_INSERT, &item, "Insert");
}

bool CDBControl::t_Update(const CDBCriteria& /*criteria*/, const CRemindInfo& item) {
    REMINDER_ENTRY();
    return t_RunWrite(COMMAND_UPDATE, &item, "Update");
}

bool CDBControl::t_Delete(const CDBCriteria& /*criteria*/) {
    REMINDER_ENTRY();
    return t_RunWrite(COMMAND_DELETE, nullptr, "Delete");
}

bool CDBControl::t_Select(const CDBCriteria& /*criteria*/, std::vector<CRemindInfo>& out) {
    REMINDER_ENTRY();
    if (!t_InitializeStmt(COMMAND_SELECT)) return false;
    const CScopeExit finalize([this] { t_FinalizeStmt(COMMAND_SELECT); });
    out.clear();
    int result = t_Excute(COMMAND_SELECT);
    while (result == SQLITE_ROW) {
        CRemindInfo record;
        t_ExtractDetail(COMMAND_SELECT, record);
        out.push_back(record);
        result = t_Excute(COMMAND_SELECT);
    }
    t_SetStatus(result);
    if (result != SQLITE_DONE) {
        REMINDER_ERR("Select operation failed! Result code : [%d]", result);
        return false;
    }
    REMINDER_LOG("Select operation success! List size : [%u]", static_cast<unsigned>(out.size()));
    return !out.empty();
}

bool CDBControl::AddItem(CRemindInfo& item) {
    return t_Insert(item);
}

bool CDBControl::FindItem(const CDBCriteria& criteria, std::vector<CRemindInfo>& out) {
    std::ostringstream command;
    command << "SELECT * FROM Items" << criteria.m_sCriteria;
    m_sCommandStr[COMMAND_SELECT] = command.str();
    REMINDER_LOG("m_sCommandStr = %s", m_sCommandStr[COMMAND_SELECT].c_str());
    return t_Select(criteria, out);
}

bool CDBControl::UpdateItem(const CDBCriteria& criteria, const CRemindInfo& item) {
    std::ostringstream command;
    command << kUpdateSql << criteria.m_sCriteria;
    m_sCommandStr[COMMAND_UPDATE] = command.str();
    REMINDER_LOG("m_sCommandStr = %s", m_sCommandStr[COMMAND_UPDATE].c_str());
    return t_Update(criteria, item);
}

bool CDBControl::DeleteItem(const CDBCriteria& criteria) {
    std::ostringstream command;
    command << "DELETE FROM Items" << criteria.m_sCriteria;
    m_sCommandStr[COMMAND_DELETE] = command.str();
    REMINDER_LOG("m_sCommandStr = %s", m_sCommandStr[COMMAND_DELETE].c_str());
    return t_Delete(criteria);
}

void CDBControl::Notify() {
    REMINDER_ENTRY();
    TReminderEvent event = {0, REMINDER_EVENT_LIST_CHANGED, 0, 0, PT_PARAM_TYPE_NONE};
    CReminderDBusInfo::SendEvent(&event);
}
