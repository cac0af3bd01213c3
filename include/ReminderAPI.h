// CReminderAPI: the facade that applications call. A process-wide singleton that owns the
// engine and forwards every operation to it under a scoped lock. Every call is also serialised
// by a recursive mutex of the library's own, so threads of one process may call it at once.
#ifndef REMINDER_API_H
#define REMINDER_API_H

#include <pthread.h>

#include <map>
#include <string>
#include <vector>

#include "ReminderExport.h"
#include "RemindInfo.h"
#include "ReminderAPIImp.h"
#include "ReminderTypes.h"
#include "TCProgramData.h"
#include "TCServiceData.h"

class CReminderMutex {
public:
    CReminderMutex();
    CReminderMutex(const CReminderMutex& other);
    CReminderMutex& operator=(const CReminderMutex& other) = delete;
    virtual ~CReminderMutex();
    void Lock() const;
    void Unlock() const;

private:
    mutable pthread_mutex_t m_mutex;
};

// Locks a copy of the mutex it is given, for its own lifetime. Because the copy is its own, two
// locks on one CReminderMutex do not exclude each other: callers serialise their calls.
class CReminderLock {
public:
    explicit CReminderLock(const CReminderMutex& mutex);
    CReminderLock(const CReminderLock&) = delete;
    CReminderLock& operator=(const CReminderLock&) = delete;
    ~CReminderLock();

private:
    CReminderMutex m_mutex;
};

class REMINDER_EXPORT CReminderAPI {
public:
    static CReminderAPI* GetInstance();
    virtual ~CReminderAPI();

    // The status of the last store operation made by the calling thread: 0 when it succeeded,
    // otherwise the SQLite result code that made it fail (SQLITE_BUSY when another process held
    // the file too long, SQLITE_CORRUPT, SQLITE_READONLY, SQLITE_FULL, ...). A changing
    // operation counts as one: its first failure is reported. The answers of the operations
    // below stay as they are (an empty list, false, 0); this tells "nothing there" from "could
    // not read or write". It is kept per thread, so another thread's calls do not change it.
    static int LastStoreError();
    // Why the calling thread's last operation failed or refused, as the library logged it: the
    // message of the last failure line written on this thread since that operation began
    // ("Failed, Already booked.", "TV does not support PVR, schedule recording failed.", ...).
    // Empty when it logged none (a refusal without a logged reason, such as a full list).
    // Read it right after the call that answered false: the next operation starts it afresh.
    static std::string LastRefusal();

    // The process's one change callback (see reminder_register_signal_callback for the rules:
    // bounded wait for the bus, reconnection after a restart, merged list-changed events).
    bool RegisterEventCB(void (*func)(void*, TReminderEvent*), void* data);
    void UnRegisterEventCB();
    bool AddRemindItem(CRemindInfo& item, bool startFlag, bool notify);
    bool AddSeriesProgram(const TCProgramData& program, bool notify);
    bool GetRemindItemByUid(unsigned long uid, CRemindInfo& out);
    bool GetRemindItemsByType(EExtractType type, std::vector<CRemindInfo>& out);
    bool GetRemindItemsByType(int& count, std::vector<CRemindInfo>& out, EExtractType type,
                              EOrderByType order);
    bool GetRemindItemsForMHEG(std::vector<CRemindInfo>& out);
    bool GetRemindItemsForCrid(const std::string& crid, std::vector<CRemindInfo>& out);
    bool GetRecordReadyRemindItem(CRemindInfo& out);
    bool GetCurrentRecordingItems(std::vector<CRemindInfo>& out);
    bool GetStartTimeIsSameItems(const CRemindInfo& item, std::vector<CRemindInfo>& out,
                                 EScheduledType type);
    int GetRemindItemCnt();
    int GetReminderListSize();
    bool GetOverlappingRemindItems(const CRemindInfo& item, std::vector<CRemindInfo>& out,
                                   bool trim);
    bool GetOverlappingRemindItems(const CRemindInfo& item, std::vector<CRemindInfo>* out,
                                   bool trim);
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
    bool RecordingIsDelayed(unsigned long uid);
    bool UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item, bool clearAlarm,
                               bool startFlag, bool notify);
    bool UpdateChannelInfoOfRemindItems(unsigned short channelType);
    bool UpdateReminditemToMeta();
    bool UpdateVCItems();
    bool TransRecording2Fail(unsigned long uid, int error);
    bool DeleteRemindItemByUid(unsigned long uid, bool byUser);
    bool DeleteRemindItemAloneByUid(unsigned long uid);
    bool DeleteRemindItems(std::vector<unsigned long>& uids);
    bool DeleteAllRemindItem();
    bool DeleteExpiredItem();
    bool DeletePastRemindItem();
    bool DeleteMatchingRemindItems(EDeleteType type, const void* value, EChannelType channelType,
                                   bool flag);
    bool DeleteRecordingItem();
    bool DeleteOverlappingRemindItems(const CRemindInfo& item);
    bool UserDeleteRemindItemByUid(unsigned long uid);
    int CheckRemindItemIsRecordable(unsigned long uid);
    bool FlagExistRecordItem();
    bool FlagReminderListIsFull();
    bool IsProgramScheduled(std::string crid, CRemindInfo* out);
    bool IsChannelScheduled(const TCServiceData& service);
    bool IsBasicSeries(CRemindInfo& item);
    bool IsRecordAsBasicSeries(TCProgramData& program);
    bool IsLatestSeriesProgram(const CRemindInfo& item);
    bool GetTextForTimerRecordingErrorByTimeChange(unsigned short error, std::string& text);

private:
    CReminderAPI();
    CReminderAPI(const CReminderAPI&) = delete;
    CReminderAPI& operator=(const CReminderAPI&) = delete;

    CReminderAPIImp* m_pAPIImp = nullptr;

    static CReminderAPI* m_pInstance;
    static CReminderMutex m_mutex;
};

#endif
