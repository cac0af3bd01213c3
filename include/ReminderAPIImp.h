// CReminderAPIImp: the scheduling engine. It keeps no state between calls: every operation
// re-reads the Items table, so the database file is the only state and every process shares it.
// The facade owns the one engine object and calls it under its lock.
#ifndef REMINDER_API_IMP_H
#define REMINDER_API_IMP_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ReminderExport.h"
#include "RemindInfo.h"
#include "ReminderTypes.h"
#include "TCProgramData.h"
#include "TCServiceData.h"

class CReminderDBusInfo;

using ReminderEventCallback = void (*)(void* data, TReminderEvent* event);

// The one callback of a process: the function and the data handed back to it.
struct SReminderEventSlot {
    ReminderEventCallback pFunc = nullptr;
    void* pData = nullptr;
};

class REMINDER_EXPORT CReminderAPIImp {
public:
    CReminderAPIImp();
    virtual ~CReminderAPIImp();

    // --- Change notification ---
    bool RegisterEventCB(ReminderEventCallback func, void* data);
    void UnRegisterEventCB();

    // --- Store operations and list limits ---
    bool GetRemindItemByUid(unsigned long uid, CRemindInfo& out);
    int GetRemindItemCnt();
    int GetReminderListSize();
    bool FlagReminderListIsFull();
    bool FlagExistRecordItem();

    // --- Adding ---
    bool AddRemindItem(CRemindInfo& item, bool startFlag, bool notify);
    bool AddSeriesProgram(const TCProgramData& program, bool notify);

    // --- Queries ---
    bool GetRemindItemsByType(EExtractType type, std::vector<CRemindInfo>& out,
                              EOrderByType order = REM_ORDER_BY_START_TIME);
    bool GetRemindItemsByType(int& count, std::vector<CRemindInfo>& out, EExtractType type,
                              EOrderByType order);
    bool GetRemindItemsForMHEG(std::vector<CRemindInfo>& out);
    bool GetRemindItemsForCrid(const std::string& crid, std::vector<CRemindInfo>& out);
    bool GetStartTimeIsSameItems(const CRemindInfo& item, std::vector<CRemindInfo>& out,
                                 EScheduledType type);
    bool GetOverlappingRemindItems(const CRemindInfo& item, std::vector<CRemindInfo>& out,
                                   bool trim);
    bool GetOverlappingRemindItems(const CRemindInfo& item, std::vector<CRemindInfo>* out,
                                   bool trim);
    // The stored booking of a record: same service and time, or the same title moved by under
    // two minutes (that booking is then moved to the record's time).
    bool FindRemindItem(const CRemindInfo& query, CRemindInfo& out);
    bool FindRemindItemForRCT(const CRemindInfo& query, CRemindInfo& out);
    bool FindRemindItemFromProgram(const TCProgramData& program, CRemindInfo& out);
    bool FindRemindItemsFromPrograms(std::map<TCProgramData*, CRemindInfo>& programs);
    bool FindSeriesBooking(std::string crid, CRemindInfo& out);
    bool FindGroupBooking(std::string crid, CRemindInfo& out);
    bool ExistSameTimeRemindItem(const CRemindInfo& item, CRemindInfo& out);
    bool ExistSameTimeRemindItem(const CRemindInfo& item, CRemindInfo* out);
    bool ExistConflicts(const CRemindInfo& item, std::vector<CRemindInfo>& conflicts);
    bool ExistAlternatives(const CRemindInfo& item, const std::vector<CRemindInfo>& conflicts,
                           std::map<ERemAlterativeType, std::vector<CRemindInfo>>& alternatives);
    bool IsProgramScheduled(std::string crid, CRemindInfo* out);
    bool IsChannelScheduled(const TCServiceData& service);
    bool IsBasicSeries(CRemindInfo& item);
    bool IsRecordAsBasicSeries(TCProgramData& program);
    bool IsLatestSeriesProgram(const CRemindInfo& item);
    bool GetTextForTimerRecordingErrorByTimeChange(unsigned short error, std::string& text);

    // --- Updates and deletion ---
    bool UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item, bool clearAlarm,
                               bool startFlag, bool notify);
    bool UpdateChannelInfoOfRemindItems(unsigned short channelType);
    bool UpdateReminditemToMeta();
    bool UpdateVCItems();
    bool DeleteRemindItemByUid(unsigned long uid, bool byUser);
    bool DeleteRemindItemAloneByUid(unsigned long uid);
    bool UserDeleteRemindItemByUid(unsigned long uid);
    bool DeleteRemindItems(std::vector<unsigned long>& uids);
    bool DeleteAllRemindItem();
    bool DeleteExpiredItem();
    bool DeletePastRemindItem();
    bool DeleteMatchingRemindItems(EDeleteType type, const void* value, EChannelType channelType,
                                   bool flag);
    bool DeleteOverlappingRemindItems(const CRemindInfo& item);

    // --- Recording life cycle ---
    bool GetRecordReadyRemindItem(CRemindInfo& out);
    bool GetCurrentRecordingItems(std::vector<CRemindInfo>& out);
    bool TransRecording2Fail(unsigned long uid, int error);
    bool RecordingIsDelayed(unsigned long uid);
    bool DeleteRecordingItem();
    int CheckRemindItemIsRecordable(unsigned long uid);

    // One engine operation. The list is read from the store at most once while it lasts: later
    // reads are served from that snapshot, which the t_ primitives keep up to date with the
    // operation's own writes. A writing operation runs in one exclusive transaction; Commit()
    // ends it and answers whether everything it wrote landed. An operation left without
    // Commit() keeps what it wrote unless a write of it failed: then all of it is rolled back.
    // (Answering false for a reason of its own, after a write that landed, is not a failure of
    // the store.) Operations nest: one started inside another joins the outer one, and only the
    // outermost commits.
    class COperation {
    public:
        COperation(CReminderAPIImp& engine, bool writes);
        COperation(const COperation&) = delete;
        COperation& operator=(const COperation&) = delete;
        ~COperation();
        // True when the operation began (its transaction could be opened) and nothing written in
        // it has failed so far.
        bool Ok() const;
        bool Commit();

    private:
        CReminderAPIImp& m_engine;
        bool m_bWrites;
        bool m_bBegan = false;
        bool m_bDone = false;
    };

    // --- Store primitives: one store call, in the operation's transaction or in one of its
    // own; they never notify. A write that fails marks the open transaction failed. ---
    void t_GetScheduledList(std::vector<CRemindInfo>& out, EOrderByType order);
    // The same read, answering whether it succeeded: an empty list read without error is true,
    // so callers can tell "nothing stored" from "could not read".
    bool t_ReadScheduledList(std::vector<CRemindInfo>& out, EOrderByType order);
    bool t_GetRemindItemByUid(unsigned long uid, CRemindInfo& out);
    bool t_AddRemindItem(const CRemindInfo& item, bool startFlag);
    bool t_UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item);
    bool t_DeleteRemindItemByUid(unsigned long uid);
    // The stored event recording (reserve type 2 or 3) on the programme's service whose
    // programme or series CRID equals, ignoring case, the programme's own CRID or one of its
    // series CRIDs.
    bool t_FindRemindItemFromProgramByCrid(const TCProgramData& program, CRemindInfo& out);
    // Trims the margins that touch a stored recording beginning or ending where `item` does.
    void t_DeleteTimeMarginForBackToBackRecording(CRemindInfo* item);

    static bool m_FlagReserveTypeIsForScheduled(int reserveType);
    static bool m_FlagReserveTypeIsForRecording(int reserveType);

private:
    // Tests reach the failed-item housekeeping, which only the expiry passes call.
    friend class CReminderAPIImpTestPeer;

    // What a refresh pass does with one stored booking.
    enum ERefreshOutcome { REFRESH_KEEP, REFRESH_UPDATE, REFRESH_DELETE };
    // Runs `refresh` over the stored list in one operation: it may fill the updated booking
    // (written only when it differs) or ask for the booking's deletion. Announces the change
    // once when anything changed; false when the list could not be read or a write failed.
    bool t_RefreshStoredItems(
        const std::function<ERefreshOutcome(const CRemindInfo&, CRemindInfo&)>& refresh);

    int m_GetNumOfFailedRemindItem();
    void m_DeleteFailedRemindItem();
    int m_AddSplitEventIntoRemindList(CRemindInfo& item, bool startFlag,
                                      std::map<unsigned int, TCProgramData*>& parts);
    void m_DeleteSeriesProgramForSingleEntry(CRemindInfo& item);

    // The snapshot sorted into `order` as SQLite would sort it.
    void m_ServeSnapshot(std::vector<CRemindInfo>& out, EOrderByType order) const;
    // Puts `row` in the place of the snapshot's row `uid` (or adds it); a null `row` drops it.
    void m_PatchSnapshot(unsigned long uid, const CRemindInfo* row);
    // The list as the current operation sees it, in start-time order (ties by UID), and whether
    // it has been read; meaningful only while m_nOperationDepth > 0.
    int m_nOperationDepth = 0;
    // A writing operation whose transaction could not be opened: until it ends, the store
    // primitives refuse, so nothing of it lands outside the transaction it was refused.
    bool m_bOperationRefused = false;
    bool m_bSnapshotValid = false;
    std::vector<CRemindInfo> m_vSnapshot;

    SReminderEventSlot m_eventSlot;
    CReminderDBusInfo* m_pDBusInfo = nullptr;
};

#endif
