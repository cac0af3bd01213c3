#include "DataControl.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
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

// Prepared statements kept per command type. Criteria carry their values in the text, so each
// UID has a statement of its own; a few cover the repeated reads and writes of one operation.
constexpr size_t kKeptStmtsPerType = 8;

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

int BindText(sqlite3_stmt* statement, int parameter, const std::string& text) {
    return sqlite3_bind_text64(statement, parameter, text.data(), text.size(), SQLITE_TRANSIENT,
                               SQLITE_UTF8);
}

// Values with SQLite's column and parameter numbering. Parameter ?N carries column N - 1.
enum EColumn {
    kUidColumn = 0,
    kServiceIdColumn = 2,
    kServiceProfileColumn,
    kChannelTypeColumn,
    kFrequencyColumn = 31,
    kEpisodeNumberColumn,
    kLastEpisodeNumberColumn,
    kIsHDColumn,
    kRepeatLabelColumn = 42,
    kSourceColumn,
    kCreationTypeColumn,
    kReserveTypeColumn,
    kRepeatTypeColumn,
    kTitleColumn,
    kComponentListColumn = 55,
    kExtProgramIdColumn,
    kStreamTypeColumn,
};
constexpr int kStartTimeParameter = 2;

// Reads an unsigned column the way the record's JSON form always has: SQLite's 32-bit integer,
// taken as unsigned and narrowed to the field's width.
template <class T>
void ReadUnsigned(sqlite3_stmt* statement, int column, T& field) {
    field = static_cast<T>(static_cast<uint32_t>(sqlite3_column_int(statement, column)));
}

template <class T>
int BindUnsigned(sqlite3_stmt* statement, int column, T value) {
    return sqlite3_bind_int(statement, column + 1, static_cast<int>(static_cast<uint32_t>(value)));
}

// Calls `visit(column, field)` for each unsigned field of columns 4 to 30.
template <class Record, class F>
void ForEachUnsignedField(Record& r, F visit) {
    visit(4, r.m_nChannelType);
    visit(5, r.m_nMajor);
    visit(6, r.m_nMinor);
    visit(7, r.m_nPTC);
    visit(8, r.m_nProgramNumber);
    visit(9, r.m_nTransportStreamId);
    visit(10, r.m_nTimeMargin);
    visit(11, r.m_nDevice);
    visit(12, r.m_nEventId);
    visit(13, r.m_nErrno);
    visit(14, r.m_nSeriesId);
    visit(15, r.m_nExpiredDate);
    visit(16, r.m_nBookingOrder);
    visit(17, r.m_nUTCStartTime);
    visit(18, r.m_nEventTime);
    visit(19, r.m_nStartMarginTime);
    visit(20, r.m_nEndMarginTime);
    visit(21, r.m_nRCTExpiryTime);
    visit(22, r.m_nAddedTime);
    visit(23, r.m_nActivationTime);
    visit(24, r.m_nExpiryTime);
    visit(25, r.m_nPublishedDuration);
    visit(26, r.m_cManualRepeat);
    visit(27, r.m_cContentVersion);
    visit(28, r.m_cGenre);
    visit(29, r.m_nUTCDuration);
    visit(30, r.m_nDuration);
}

template <class Record, class F>
void ForEachFlag(Record& r, F visit) {
    visit(34, r.m_bIsHD);
    visit(35, r.m_bRemoteChannel);
    visit(36, r.m_bAlarmed);
    visit(37, r.m_bRecordingSpaceAlarmed);
    visit(38, r.m_bRecording);
    visit(39, r.m_bUnresolvedConflict);
    visit(40, r.m_bRecommended);
    visit(41, r.m_bRecordListBooking);
}

template <class Record, class F>
void ForEachText(Record& r, F visit) {
    visit(47, r.m_sTitle);
    visit(48, r.m_sChannelName);
    visit(49, r.m_sProgramCrid);
    visit(50, r.m_sSeriesCrid);
    visit(51, r.m_sGroupCrid);
    visit(52, r.m_sSynopsis);
    visit(53, r.m_sGuidance);
    visit(54, r.m_sPrivateData);
}

// The compact JSON text of the component list as the record's JSON form writes that column:
// "null" for none, members in key order, one line ending in a newline.
std::string ComponentListText(const std::vector<CRemindInfo::SComponents>& components) {
    if (components.empty()) return "null\n";
    std::string text = "[";
    char buffer[128];
    for (size_t i = 0; i < components.size(); ++i) {
        const CRemindInfo::SComponents& c = components[i];
        const int n = std::snprintf(
            buffer, sizeof buffer,
            "%s{\"cComponentTag\":%u,\"nLanguage\":%u,\"nStreamContentComponentType\":%u}",
            i == 0 ? "" : ",", static_cast<unsigned>(c.cComponentTag),
            static_cast<unsigned>(c.nLanguage),
            static_cast<unsigned>(c.nStreamContentComponentType));
        text.append(buffer, static_cast<size_t>(n));
    }
    text += "]\n";
    return text;
}

std::string ExtProgramIdText(const CRemindInfo::SExtProgramId& id) {
    char buffer[160];
    const int n = std::snprintf(
        buffer, sizeof buffer,
        "[{\"cEITNumber\":%u,\"nEITTableId\":%d,\"nUTCDuration\":%u,\"nUTCStartTime\":%u}]\n",
        static_cast<unsigned>(id.cEITNumber), static_cast<int>(id.nEITTableId),
        static_cast<unsigned>(id.nUTCDuration), static_cast<unsigned>(id.nUTCStartTime));
    return std::string(buffer, static_cast<size_t>(n));
}

// The two JSON columns are read member by member exactly as the record's own JSON reader
// reads them, so a damaged column stops at the same member with the same exception.
CRemindInfo::SComponents ComponentFromJson(const Json::Value& object) {
    CRemindInfo::SComponents component;
    component.nStreamContentComponentType =
        static_cast<uint16_t>(object["nStreamContentComponentType"].asUInt());
    component.cComponentTag = static_cast<uint8_t>(object["cComponentTag"].asUInt());
    component.nLanguage = object["nLanguage"].asUInt();
    return component;
}

void ReadExtProgramId(const Json::Value& object, CRemindInfo::SExtProgramId& id) {
    id.nUTCStartTime = object["nUTCStartTime"].asUInt();
    id.nUTCDuration = object["nUTCDuration"].asUInt();
    id.cEITNumber = static_cast<uint8_t>(object["cEITNumber"].asUInt());
    id.nEITTableId = object["nEITTableId"].asInt();
}

// Most rows carry no components and a programme id in the form the store writes: those texts
// are read without the JSON parser. A text is taken this way only when writing the values read
// gives it back byte for byte, so the values are exactly what the parser would give.
bool IsNoComponentsText(const char* text, int bytes) {
    return text == nullptr || (bytes == 5 && std::memcmp(text, "null\n", 5) == 0);
}

// Reads an unsigned decimal number at `p` (no sign, no leading zero but "0") into `value`.
const char* ReadDecimal(const char* p, const char* end, uint64_t& value) {
    if (p == end || *p < '0' || *p > '9') return nullptr;
    if (*p == '0' && p + 1 != end && p[1] >= '0' && p[1] <= '9') return nullptr;
    value = 0;
    for (; p != end && *p >= '0' && *p <= '9'; ++p) {
        if (value > 0xFFFFFFFFu) return nullptr;
        value = value * 10 + static_cast<uint64_t>(*p - '0');
    }
    return p;
}

const char* ReadLiteral(const char* p, const char* end, const char* literal) {
    const size_t n = std::strlen(literal);
    if (static_cast<size_t>(end - p) < n || std::memcmp(p, literal, n) != 0) return nullptr;
    return p + n;
}

// The component list in the exact form the store writes it, or false.
bool ReadStoredComponentListText(const char* text, int bytes,
                                 std::vector<CRemindInfo::SComponents>& out) {
    if (text == nullptr || bytes < 3) return false;
    const char* p = text;
    const char* const end = text + bytes;
    p = ReadLiteral(p, end, "[");
    while (p != nullptr) {
        uint64_t tag = 0;
        uint64_t language = 0;
        uint64_t type = 0;
        p = ReadLiteral(p, end, "{\"cComponentTag\":");
        if (p != nullptr) p = ReadDecimal(p, end, tag);
        if (p != nullptr) p = ReadLiteral(p, end, ",\"nLanguage\":");
        if (p != nullptr) p = ReadDecimal(p, end, language);
        if (p != nullptr) p = ReadLiteral(p, end, ",\"nStreamContentComponentType\":");
        if (p != nullptr) p = ReadDecimal(p, end, type);
        if (p != nullptr) p = ReadLiteral(p, end, "}");
        if (p == nullptr || tag > 0xFF || language > 0xFFFFFFFFu || type > 0xFFFF) {
            out.clear();
            return false;
        }
        CRemindInfo::SComponents component;
        component.cComponentTag = static_cast<uint8_t>(tag);
        component.nLanguage = static_cast<uint32_t>(language);
        component.nStreamContentComponentType = static_cast<uint16_t>(type);
        out.push_back(component);
        if (end - p == 2 && p[0] == ']' && p[1] == '\n') return true;
        p = ReadLiteral(p, end, ",");
    }
    out.clear();
    return false;
}

// Reads an int32 in JSON's decimal form ("-" only before a non-zero number).
const char* ReadSignedDecimal(const char* p, const char* end, int32_t& value) {
    const bool negative = p != end && *p == '-';
    uint64_t magnitude = 0;
    p = ReadDecimal(negative ? p + 1 : p, end, magnitude);
    if (p == nullptr || (negative && magnitude == 0)) return nullptr;
    if (magnitude > (negative ? 0x80000000u : 0x7FFFFFFFu)) return nullptr;
    value = static_cast<int32_t>(negative ? -static_cast<int64_t>(magnitude)
                                          : static_cast<int64_t>(magnitude));
    return p;
}

bool ReadStoredExtProgramIdText(const char* text, int bytes, CRemindInfo::SExtProgramId& id) {
    if (text == nullptr || bytes <= 0) return false;
    const char* const end = text + bytes;
    uint64_t eitNumber = 0;
    int32_t tableId = 0;
    uint64_t duration = 0;
    uint64_t start = 0;
    const char* p = ReadLiteral(text, end, "[{\"cEITNumber\":");
    if (p != nullptr) p = ReadDecimal(p, end, eitNumber);
    if (p != nullptr) p = ReadLiteral(p, end, ",\"nEITTableId\":");
    if (p != nullptr) p = ReadSignedDecimal(p, end, tableId);
    if (p != nullptr) p = ReadLiteral(p, end, ",\"nUTCDuration\":");
    if (p != nullptr) p = ReadDecimal(p, end, duration);
    if (p != nullptr) p = ReadLiteral(p, end, ",\"nUTCStartTime\":");
    if (p != nullptr) p = ReadDecimal(p, end, start);
    if (p != nullptr) p = ReadLiteral(p, end, "}]\n");
    if (p != end || eitNumber > 0xFF || duration > 0xFFFFFFFFu || start > 0xFFFFFFFFu) {
        return false;
    }
    id.nUTCStartTime = static_cast<uint32_t>(start);
    id.nUTCDuration = static_cast<uint32_t>(duration);
    id.cEITNumber = static_cast<uint8_t>(eitNumber);
    id.nEITTableId = tableId;
    return true;
}

// Columns 55 to 57. The JSON columns are parsed as JSON, and a failure ends the record where
// the record's JSON reader would end it: an exception while parsing leaves the columns after it
// unread (they read as null: zeros), one while reading the members leaves the members after it
// as they were.
void ExtractJsonColumns(sqlite3_stmt* statement, CRemindInfo& item) {
    const auto* components =
        reinterpret_cast<const char*>(sqlite3_column_text(statement, kComponentListColumn));
    const int componentBytes = sqlite3_column_bytes(statement, kComponentListColumn);
    const auto* programId =
        reinterpret_cast<const char*>(sqlite3_column_text(statement, kExtProgramIdColumn));
    const int programIdBytes = sqlite3_column_bytes(statement, kExtProgramIdColumn);
    item.m_vCompList.clear();
    if ((IsNoComponentsText(components, componentBytes) ||
         ReadStoredComponentListText(components, componentBytes, item.m_vCompList)) &&
        ReadStoredExtProgramIdText(programId, programIdBytes, item.m_extProgramId)) {
        item.m_nStreamType = sqlite3_column_int(statement, kStreamTypeColumn);
        return;
    }

    item.m_vCompList.clear();
    Json::Value componentValue;
    Json::Value programIdValue;
    bool streamTypeRead = true;
    try {
        if (components != nullptr) {
            Json::Value parsed;
            Json::Reader().parse(std::string(components, static_cast<size_t>(componentBytes)),
                                 parsed, true);
            componentValue = std::move(parsed);
        }
        if (programId != nullptr) {
            Json::Value parsed;
            Json::Reader().parse(std::string(programId, static_cast<size_t>(programIdBytes)),
                                 parsed, true);
            programIdValue = std::move(parsed);
        }
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
        streamTypeRead = false;
    }
    try {
        const Json::Value& componentList = componentValue;
        for (const Json::Value& component : componentList) {
            item.m_vCompList.push_back(ComponentFromJson(component));
        }
        const Json::Value& programIds = programIdValue;
        ReadExtProgramId(programIds[0], item.m_extProgramId);
        item.m_nStreamType = streamTypeRead ? sqlite3_column_int(statement, kStreamTypeColumn) : 0;
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
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
    std::string& clause = criteria.m_sCriteria;
    clause.append(clause.empty() ? " WHERE " : " AND ").append(ColumnName(criteria, column));
    clause.append(" ").append(op).append(" ").append(valueText);
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

void CDBCriteria::WhereIn(CRITERIA_TYPE column, const std::vector<unsigned long>& values) {
    std::string list = "(";
    for (const unsigned long value : values) {
        if (list.size() > 1) list += ", ";
        list += ValueText(value);
    }
    list += ')';
    AppendCondition(*this, column, "IN", list);
}

void CDBCriteria::IgnoreStrCase() {
    m_sCriteria.append(" COLLATE NOCASE");
}

void CDBCriteria::OrderBy(CRITERIA_TYPE column) {
    m_sCriteria.append(" ORDER BY ").append(ColumnName(*this, column));
}

void CDBCriteria::OrderBy(CRITERIA_TYPE first, CRITERIA_TYPE second) {
    m_sCriteria.append(" ORDER BY ").append(ColumnName(*this, first));
    m_sCriteria.append(", ").append(ColumnName(*this, second));
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
    if (m_pDataVersionStmt != nullptr) sqlite3_finalize(m_pDataVersionStmt);
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
    t_FinalizeKeptStmts();
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
    const bool eventPending = std::exchange(m_bEventPending, false);
    if (m_bTransactionFailed) {
        sqlite3_exec(m_pDB, "ROLLBACK", nullptr, nullptr, nullptr);
        t_ForgetListCache();
        return false;
    }
    const int committed = sqlite3_exec(m_pDB, "COMMIT", nullptr, nullptr, nullptr);
    t_SetStatus(committed);
    if (committed != SQLITE_OK) {
        REMINDER_ERR("COMMIT failed.");
        t_ForgetListCache();
        // A commit that failed leaves the transaction open on some errors; never keep it.
        if (sqlite3_get_autocommit(m_pDB) == 0) {
            sqlite3_exec(m_pDB, "ROLLBACK", nullptr, nullptr, nullptr);
        }
        return false;
    }
    if (eventPending) Notify();
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

namespace {

constexpr const char* kByUidClause = " WHERE UID = ";
// After the 57 values of a row (?2 to ?58).
constexpr int kUidParameter = 59;

// The statement text to prepare for `command` and the UID to bind to it: a command that ends
// in its one condition on the UID takes the UID as a parameter instead of as text, so that
// every UID reuses one prepared statement. -1: the command is prepared as it stands.
std::pair<std::string, long long> PreparedForm(const std::string& command) {
    const size_t at = command.rfind(kByUidClause);
    if (at == std::string::npos || command.find(" WHERE ") != at) return {command, -1};
    const std::string digits = command.substr(at + std::strlen(kByUidClause));
    const bool plain = !digits.empty() && digits.size() <= 18 &&
                       digits.find_first_not_of("0123456789") == std::string::npos;
    if (!plain) return {command, -1};
    return {command.substr(0, at) + kByUidClause + "?" + std::to_string(kUidParameter),
            std::stoll(digits)};
}

}  // namespace

bool CDBControl::t_InitializeStmt(COMMAND_TYPE type) {
    // Not a structured binding: C++17 does not let a lambda capture one.
    const std::pair<std::string, long long> form = PreparedForm(m_sCommandStr[type]);
    const std::string& command = form.first;
    m_nStmtUid[type] = form.second;
    const auto bindUid = [this, type] {
        if (m_nStmtUid[type] < 0) return true;
        return sqlite3_bind_int64(m_pStmt[type], kUidParameter, m_nStmtUid[type]) == SQLITE_OK;
    };
    std::vector<SKeptStmt>& kept = m_vKeptStmts[type];
    for (auto it = kept.rbegin(); it != kept.rend(); ++it) {
        if (it->text == command) {
            m_pStmt[type] = it->statement;
            m_sStmtText[type] = std::move(it->text);
            kept.erase(std::next(it).base());
            m_bStmtReused[type] = true;
            if (bindUid()) return true;
            t_FinalizeStmt(type);
            break;
        }
    }
    m_bStmtReused[type] = false;
    m_sStmtText[type] = command;
    const auto [result, retries] = RetryWhileBusy([this, type, &command] {
        return sqlite3_prepare_v2(m_pDB, command.c_str(), -1, &m_pStmt[type], nullptr);
    });
    if (result == SQLITE_OK && bindUid()) {
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
    // Every value goes straight from the record, with the conversions of its JSON form; text
    // byte for byte. The first value SQLite refuses fails the statement.
    int result = sqlite3_bind_int(statement, kStartTimeParameter,
                                  static_cast<int>(item.m_nEventTime - item.m_nStartMarginTime));
    auto check = [&result](int bound) {
        if (result == SQLITE_OK) result = bound;
    };
    check(sqlite3_bind_int64(statement, kServiceIdColumn + 1,
                             static_cast<sqlite3_int64>(item.m_nServiceId)));
    check(sqlite3_bind_int(statement, kServiceProfileColumn + 1, item.m_nServiceProfile));
    ForEachUnsignedField(
        item, [&](int column, auto value) { check(BindUnsigned(statement, column, value)); });
    // A frequency that is not a number cannot be stored as REAL: it is stored as unknown.
    const double frequency = static_cast<double>(item.m_frequency);
    check(sqlite3_bind_double(statement, kFrequencyColumn + 1,
                              std::isfinite(frequency) ? frequency : -1.0));
    check(sqlite3_bind_int(statement, kEpisodeNumberColumn + 1, item.m_nEpisodeNumber));
    check(sqlite3_bind_int(statement, kLastEpisodeNumberColumn + 1, item.m_nLastEpisodeNumber));
    ForEachFlag(item, [&](int column, bool value) {
        check(sqlite3_bind_int(statement, column + 1, value ? 1 : 0));
    });
    check(sqlite3_bind_int(statement, kRepeatLabelColumn + 1, item.m_cRepeatLabel));
    check(sqlite3_bind_int(statement, kSourceColumn + 1, item.m_nSource));
    check(sqlite3_bind_int(statement, kCreationTypeColumn + 1, item.m_nManual));
    check(
        sqlite3_bind_int(statement, kReserveTypeColumn + 1, static_cast<int>(item.m_nReserveType)));
    check(sqlite3_bind_int(statement, kRepeatTypeColumn + 1, static_cast<int>(item.m_nRepeatType)));
    ForEachText(item, [&](int column, const std::string& text) {
        check(BindText(statement, column + 1, text));
    });
    check(BindText(statement, kComponentListColumn + 1, ComponentListText(item.m_vCompList)));
    check(BindText(statement, kExtProgramIdColumn + 1, ExtProgramIdText(item.m_extProgramId)));
    check(sqlite3_bind_int(statement, kStreamTypeColumn + 1, item.m_nStreamType));
    if (result != SQLITE_OK) {
        REMINDER_ERR("Bind failed. result: [%d]", result);
        return false;
    }
    return true;
}

int CDBControl::t_Excute(COMMAND_TYPE type) {
    return sqlite3_step(m_pStmt[type]);
}

void CDBControl::t_ExtractDetail(COMMAND_TYPE type, CRemindInfo& item) {
    sqlite3_stmt* const statement = m_pStmt[type];
    // Column by column into the record, with the conversions the record's JSON form has always
    // applied: unsigned fields narrowed through 32 bits, integers to flags, NULL as 0 or as
    // empty text, REAL to float. Column 1 (StartTime) is derived and not read.
    item.m_nUid = static_cast<uint32_t>(sqlite3_column_int(statement, kUidColumn));
    item.m_nServiceId =
        static_cast<unsigned long long>(sqlite3_column_int64(statement, kServiceIdColumn));
    item.m_nServiceProfile = sqlite3_column_int(statement, kServiceProfileColumn);
    ForEachUnsignedField(
        item, [statement](int column, auto& field) { ReadUnsigned(statement, column, field); });
    const double frequency = sqlite3_column_double(statement, kFrequencyColumn);
    item.m_frequency = std::isfinite(frequency) ? static_cast<float>(frequency) : -1.0f;
    item.m_nEpisodeNumber =
        static_cast<int16_t>(sqlite3_column_int(statement, kEpisodeNumberColumn));
    item.m_nLastEpisodeNumber =
        static_cast<int16_t>(sqlite3_column_int(statement, kLastEpisodeNumberColumn));
    ForEachFlag(item, [statement](int column, bool& flag) {
        flag = sqlite3_column_int(statement, column) != 0;
    });
    item.m_cRepeatLabel = static_cast<uint8_t>(sqlite3_column_int(statement, kRepeatLabelColumn));
    item.m_nSource = sqlite3_column_int(statement, kSourceColumn);
    item.m_nManual = sqlite3_column_int(statement, kCreationTypeColumn);
    item.m_nReserveType =
        static_cast<EReserveType>(sqlite3_column_int(statement, kReserveTypeColumn));
    item.m_nRepeatType =
        static_cast<EReminderRepeatType>(sqlite3_column_int(statement, kRepeatTypeColumn));
    ForEachText(item, [statement](int column, std::string& text) {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
        if (bytes == nullptr) {
            text.clear();
        } else {
            text.assign(bytes, static_cast<size_t>(sqlite3_column_bytes(statement, column)));
        }
    });
    ExtractJsonColumns(statement, item);
}

void CDBControl::t_FinalizeStmt(COMMAND_TYPE type, bool keep) {
    sqlite3_stmt* const statement = m_pStmt[type];
    if (statement == nullptr) return;
    m_pStmt[type] = nullptr;
    if (!keep) {
        sqlite3_finalize(statement);
        return;
    }
    // A reset statement holds no lock on the file, so keeping it blocks no other process.
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    std::vector<SKeptStmt>& kept = m_vKeptStmts[type];
    if (kept.size() >= kKeptStmtsPerType) {
        sqlite3_finalize(kept.front().statement);
        kept.erase(kept.begin());
    }
    kept.push_back({std::move(m_sStmtText[type]), statement});
}

bool CDBControl::t_RetryFresh(COMMAND_TYPE type, int result) const {
    return m_bStmtReused[type] &&
           (result == SQLITE_ERROR || result == SQLITE_SCHEMA || IsBusy(result));
}

void CDBControl::t_FinalizeKeptStmts() {
    for (std::vector<SKeptStmt>& kept : m_vKeptStmts) {
        for (const SKeptStmt& entry : kept) sqlite3_finalize(entry.statement);
        kept.clear();
    }
}

bool CDBControl::t_RunWrite(COMMAND_TYPE type, const CRemindInfo* item, const char* operation) {
    t_ForgetListCache();
    for (;;) {
        if (!t_InitializeStmt(type)) return false;
        bool keep = true;
        const CScopeExit finalize([this, type, &keep] { t_FinalizeStmt(type, keep); });
        if (item != nullptr && !t_BindDetail(type, *item)) {
            // A row of NULLs is never written in place of the record.
            t_SetStatus(SQLITE_MISMATCH);
            REMINDER_ERR("%s operation failed! Result code : [%d]", operation, SQLITE_MISMATCH);
            return false;
        }
        const int result = t_Excute(type);
        keep = result == SQLITE_DONE;
        if (t_RetryFresh(type, result)) continue;
        t_SetStatus(result);
        if (result != SQLITE_DONE) {
            REMINDER_ERR("%s operation failed! Result code : [%d]", operation, result);
            return false;
        }
        REMINDER_LOG("%s operation success!", operation);
        return true;
    }
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
    for (;;) {
        if (!t_InitializeStmt(COMMAND_SELECT)) return false;
        bool keep = true;
        const CScopeExit finalize([this, &keep] { t_FinalizeStmt(COMMAND_SELECT, keep); });
        out.clear();
        int result = t_Excute(COMMAND_SELECT);
        if (t_RetryFresh(COMMAND_SELECT, result)) {
            keep = false;
            continue;
        }
        while (result == SQLITE_ROW) {
            out.emplace_back();
            t_ExtractDetail(COMMAND_SELECT, out.back());
            result = t_Excute(COMMAND_SELECT);
        }
        keep = result == SQLITE_DONE;
        t_SetStatus(result);
        if (result != SQLITE_DONE) {
            REMINDER_ERR("Select operation failed! Result code : [%d]", result);
            return false;
        }
        REMINDER_LOG("Select operation success! List size : [%u]",
                     static_cast<unsigned>(out.size()));
        return !out.empty();
    }
}

bool CDBControl::AddItem(CRemindInfo& item) {
    return t_Insert(item);
}

bool CDBControl::FindItem(const CDBCriteria& criteria, std::vector<CRemindInfo>& out) {
    std::string& command = m_sCommandStr[COMMAND_SELECT];
    command.assign("SELECT * FROM Items").append(criteria.m_sCriteria);
    REMINDER_LOG("m_sCommandStr = %s", command.c_str());
    // Only reads of the whole table are kept: they are the ones every process repeats after
    // each change of the list.
    const bool wholeTable = criteria.m_sCriteria.find(" WHERE ") == std::string::npos;
    if (!wholeTable) return t_Select(criteria, out);
    if (t_ServeListCache(out)) return !out.empty();
    const long long version = t_DataVersion();
    // Records have no move constructor: growing the vector would copy every row read so far.
    if (out.capacity() < m_nRowsHint) out.reserve(m_nRowsHint);
    const bool found = t_Select(criteria, out);
    m_nRowsHint = out.size();
    if (m_nLastResult == 0 && version >= 0) t_KeepListCache(out, version);
    return found;
}

long long CDBControl::t_DataVersion() {
    if (m_pDB == nullptr) return -1;
    if (m_pDataVersionStmt == nullptr &&
        sqlite3_prepare_v2(m_pDB, "PRAGMA data_version", -1, &m_pDataVersionStmt, nullptr) !=
            SQLITE_OK) {
        return -1;
    }
    long long version = -1;
    if (sqlite3_step(m_pDataVersionStmt) == SQLITE_ROW) {
        version = sqlite3_column_int64(m_pDataVersionStmt, 0);
    }
    sqlite3_reset(m_pDataVersionStmt);
    return version;
}

void CDBControl::t_ForgetListCache() {
    if (!m_bListCacheValid) return;
    m_bListCacheValid = false;
    m_vListCache.clear();
}

bool CDBControl::t_ServeListCache(std::vector<CRemindInfo>& out) {
    if (!m_bListCacheValid || m_sListCacheCommand != m_sCommandStr[COMMAND_SELECT]) return false;
    const long long version = t_DataVersion();
    if (version < 0 || version != m_nListCacheVersion) {
        t_ForgetListCache();
        return false;
    }
    REMINDER_ENTRY();  // t_Select's entry line
    out = m_vListCache;
    t_SetStatus(SQLITE_DONE);
    REMINDER_LOG("Select operation success! List size : [%u]", static_cast<unsigned>(out.size()));
    return true;
}

void CDBControl::t_KeepListCache(const std::vector<CRemindInfo>& rows, long long version) {
    m_sListCacheCommand = m_sCommandStr[COMMAND_SELECT];
    m_vListCache = rows;
    m_nListCacheVersion = version;
    m_bListCacheValid = true;
}

bool CDBControl::UpdateItem(const CDBCriteria& criteria, const CRemindInfo& item) {
    m_sCommandStr[COMMAND_UPDATE].assign(kUpdateSql).append(criteria.m_sCriteria);
    REMINDER_LOG("m_sCommandStr = %s", m_sCommandStr[COMMAND_UPDATE].c_str());
    return t_Update(criteria, item);
}

bool CDBControl::DeleteItem(const CDBCriteria& criteria) {
    m_sCommandStr[COMMAND_DELETE].assign("DELETE FROM Items").append(criteria.m_sCriteria);
    REMINDER_LOG("m_sCommandStr = %s", m_sCommandStr[COMMAND_DELETE].c_str());
    return t_Delete(criteria);
}

void CDBControl::Notify() {
    REMINDER_ENTRY();
    if (m_nTransactionDepth > 0) {
        m_bEventPending = true;
        return;
    }
    TReminderEvent event = {0, REMINDER_EVENT_LIST_CHANGED, 0, 0, PT_PARAM_TYPE_NONE};
    CReminderDBusInfo::SendEvent(&event);
}
