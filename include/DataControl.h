// The booking store: one SQLite file with the table Items, shared by every process that links
// the library, and the builder of the WHERE/ORDER BY tail of its statements.
#ifndef DATA_CONTROL_H
#define DATA_CONTROL_H

#include <string>
#include <vector>

#include "ReminderExport.h"
#include "RemindInfo.h"

struct sqlite3;
struct sqlite3_stmt;

class REMINDER_EXPORT CDBCriteria {
public:
    // Column index in the Items table.
    enum CRITERIA_TYPE {
        CRITERIA_UID = 0,
        CRITERIA_START_TIME,
        CRITERIA_SERVICE_ID,
        CRITERIA_SERVICE_PROFILE,
        CRITERIA_CHANNEL_TYPE,
        CRITERIA_MAJOR,
        CRITERIA_MINOR,
        CRITERIA_PTC,
        CRITERIA_PROGRAM_NUMBER,
        CRITERIA_TRANSPORT_STREAM_ID,
        CRITERIA_TIME_MARGIN,
        CRITERIA_DEVICE,
        CRITERIA_EVENT_ID,
        CRITERIA_ERRNO,
        CRITERIA_SERIES_ID,
        CRITERIA_EXPIRED_DATE,
        CRITERIA_BOOKING_ORDER,
        CRITERIA_UTC_START_TIME,
        CRITERIA_EVENT_TIME,
        CRITERIA_START_MARGIN_TIME,
        CRITERIA_END_MARGIN_TIME,
        CRITERIA_RCT_EXPIRY_TIME,
        CRITERIA_ADDED_TIME,
        CRITERIA_ACTIVATION_TIME,
        CRITERIA_EXPIRY_TIME,
        CRITERIA_PUBLISHED_DURATION,
        CRITERIA_MANUAL_REPEAT,
        CRITERIA_CONTENT_VERSION,
        CRITERIA_GENRE,
        CRITERIA_UTC_DURATION,
        CRITERIA_DURATION,
        CRITERIA_FREQUENCY,
        CRITERIA_EPISODE_NUMBER,
        CRITERIA_LAST_EPISODE_NUMBER,
        CRITERIA_IS_HD,
        CRITERIA_REMOTE_CHANNEL,
        CRITERIA_ALARMED,
        CRITERIA_RECORDING_SPACE_ALARMED,
        CRITERIA_RECORDING,
        CRITERIA_UNRESOLVED_CONFLICT,
        CRITERIA_RECOMMENDED,
        CRITERIA_RECORD_LIST_BOOKING,
        CRITERIA_REPEAT_LABEL,
        CRITERIA_SOURCE,
        CRITERIA_CREATION_TYPE,
        CRITERIA_RESERVE_TYPE,
        CRITERIA_REPEAT_TYPE,
        CRITERIA_TITLE,
        CRITERIA_CHANNEL_NAME,
        CRITERIA_PROGRAM_CRID,
        CRITERIA_SERIES_CRID,
        CRITERIA_GROUP_CRID,
        CRITERIA_SYNOPSIS,
        CRITERIA_GUIDANCE,
        CRITERIA_PRIVATE_DATA,
        CRITERIA_COMPONENT_LIST,
        CRITERIA_EXT_PROGRAM_ID,
        CRITERIA_STREAM_TYPE,
    };

    CDBCriteria();

    // Conditions, joined by AND. Text values are quoted, with single quotes doubled.
    template <class T>
    void Where(CRITERIA_TYPE column, const T& value);
    template <class T>
    void WhereLess(CRITERIA_TYPE column, const T& value);
    template <class T>
    void WhereNot(CRITERIA_TYPE column, const T& value);
    // The column holds one of the values; none given matches no row.
    void WhereIn(CRITERIA_TYPE column, const std::vector<unsigned long>& values);
    // Case-insensitive collation of the condition or ordering just before.
    void IgnoreStrCase();
    void OrderBy(CRITERIA_TYPE column);
    void OrderBy(CRITERIA_TYPE first, CRITERIA_TYPE second);

    // The clause text; each piece starts with a blank so it follows a statement head directly.
    std::string m_sCriteria;
    std::vector<std::string> m_vColumnNames;
};

class REMINDER_EXPORT CDBControl {
public:
    enum COMMAND_TYPE {
        COMMAND_INSERT = 0,
        COMMAND_UPDATE = 1,
        COMMAND_DELETE = 2,
        COMMAND_SELECT = 3,
        COMMAND_MAX = 4,
    };

    // The process-wide store, connected on first use. Never destroyed by the library.
    static CDBControl* GetInstance();
    virtual ~CDBControl();

    // Inserts a new row; SQLite assigns its UID, which is not written back into `item`.
    bool AddItem(CRemindInfo& item);
    // True only when the query succeeded and returned at least one row.
    bool FindItem(const CDBCriteria& criteria, std::vector<CRemindInfo>& out);
    // True on success, also when no row matched.
    bool UpdateItem(const CDBCriteria& criteria, const CRemindInfo& item);
    bool DeleteItem(const CDBCriteria& criteria);
    // Announces a change of the list to every process. Inside a transaction the event waits for
    // the outermost commit (and is dropped by a rollback), so no process hears of a change
    // it cannot read yet.
    void Notify();

    // BEGIN EXCLUSIVE, retried while another process holds the file (100 x 10 ms). Transactions
    // nest: inside an open one, Begin only counts a level and End only uncounts it; the
    // outermost End commits. False when no transaction could be opened: then no End follows.
    bool BeginTransaction();
    // Ends a level opened by BeginTransaction. The outermost level sends COMMIT; a failed commit
    // (or a level marked failed by MarkTransactionFailed) rolls back and answers false.
    bool EndTransaction();
    // Something written in the open transaction did not land: its outermost End rolls back.
    void MarkTransactionFailed();
    // The number of open levels; 0 outside any transaction.
    int TransactionDepth() const;
    // Whether something written in the open transaction has failed (it will roll back).
    bool TransactionFailed() const;

    // The UID SQLite gave the row inserted last on this connection.
    unsigned long LastInsertUid() const;
    // The status of the last store operation of the calling thread: 0 when it succeeded,
    // otherwise the SQLite result code that made it fail. A transaction counts as one
    // operation: its first failure is kept until it ends.
    static int LastStoreError();
    // The result of the last statement on this connection alone: 0, or the SQLite code that
    // made it fail. Tells a read that failed from one that found nothing.
    int LastResult() const;

    // The file this store opens: the environment's REMINDER_DB_PATH when set, else the
    // television's path.
    static std::string DatabasePath();

private:
    CDBControl();
    CDBControl(const CDBControl&) = delete;
    CDBControl& operator=(const CDBControl&) = delete;

    bool t_Connect();
    void t_Disconnect();
    // Takes the statement kept for the current command text, or prepares it (retried while the
    // file is busy). m_bStmtReused tells which of the two happened.
    bool t_InitializeStmt(COMMAND_TYPE type);
    // False when a value could not be bound; the statement is then not run.
    bool t_BindDetail(COMMAND_TYPE type, const CRemindInfo& item);
    int t_Excute(COMMAND_TYPE type);
    void t_ExtractDetail(COMMAND_TYPE type, CRemindInfo& item);
    // Ends a run of the statement: reset and cleared of bindings, it is kept for the next run of
    // the same text when `keep`, otherwise finalized.
    void t_FinalizeStmt(COMMAND_TYPE type, bool keep = false);
    // A kept statement whose run failed the way a prepare could fail (schema gone or changed,
    // file busy) is run again freshly prepared, so that failure shows as it always has.
    bool t_RetryFresh(COMMAND_TYPE type, int result) const;
    // Finalizes every kept statement; before the connection closes.
    void t_FinalizeKeptStmts();
    // Takes or prepares the statement, binds `item` when given, steps once and resets it; logs
    // "<operation> ..." lines.
    bool t_RunWrite(COMMAND_TYPE type, const CRemindInfo* item, const char* operation);
    bool t_Insert(const CRemindInfo& item);
    bool t_Update(const CDBCriteria& criteria, const CRemindInfo& item);
    bool t_Delete(const CDBCriteria& criteria);
    bool t_Select(const CDBCriteria& criteria, std::vector<CRemindInfo>& out);

    sqlite3* m_pDB = nullptr;
    sqlite3_stmt* m_pStmt[COMMAND_MAX] = {};
    std::string m_sCommandStr[COMMAND_MAX];
    // Prepared statements kept for reuse, per command type, the most recently used last; a
    // statement is kept only reset, and leaves the list while it runs.
    struct SKeptStmt {
        std::string text;
        sqlite3_stmt* statement;
    };
    std::vector<SKeptStmt> m_vKeptStmts[COMMAND_MAX];
    // The command text of the statement running under each type.
    std::string m_sStmtText[COMMAND_MAX];
    bool m_bStmtReused[COMMAND_MAX] = {};
    // A command that selects one row by UID is prepared with the UID as a parameter, so every
    // UID shares one statement; the value bound for the statement in use, -1 when none.
    long long m_nStmtUid[COMMAND_MAX] = {-1, -1, -1, -1};
    // Records the outcome of one step of a store operation (see LastStoreError).
    void t_SetStatus(int result);

    // The last whole-table read, kept to serve the same read again while the file has not
    // changed: PRAGMA data_version unchanged (no other connection committed) and nothing
    // written on this connection since (every write, rollback and failed commit forgets it).
    // The version, or -1 when it cannot be read.
    long long t_DataVersion();
    void t_ForgetListCache();
    bool t_ServeListCache(std::vector<CRemindInfo>& out);
    void t_KeepListCache(const std::vector<CRemindInfo>& rows, long long version);

    int m_nTransactionDepth = 0;
    int m_nLastResult = 0;
    sqlite3_stmt* m_pDataVersionStmt = nullptr;
    bool m_bListCacheValid = false;
    long long m_nListCacheVersion = -1;
    std::string m_sListCacheCommand;
    std::vector<CRemindInfo> m_vListCache;
    // The number of rows the last whole-table read found: the room a read reserves.
    size_t m_nRowsHint = 0;
    bool m_bTransactionFailed = false;
    bool m_bEventPending = false;

    static CDBControl* m_pInstance;
};

#endif
