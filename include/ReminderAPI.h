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
    // The stored series base entry (reserve type 9) whose series CRID is `crid`, compared
    // ignoring case, copied into `out`; false when there is none or `crid` is empty. Reads only.
    bool FindSeriesBooking(std::string crid, CRemindInfo& out);
    // The stored group subscription (reserve type 12) whose group CRID is `crid`, compared
    // ignoring case; as FindSeriesBooking otherwise.
    bool FindGroupBooking(std::string crid, CRemindInfo& out);
    bool ExistSameTimeRemindItem(const CRemindInfo& item, CRemindInfo& out);
    bool ExistSameTimeRemindItem(const CRemindInfo& item, CRemindInfo* out);
    bool ExistConflicts(const CRemindInfo& item, std::vector<CRemindInfo>& conflicts);
    // Other showings of the programmes involved in a clash, for an application to offer instead.
    // `conflicts` is what ExistConflicts answered for `item`. The guide is asked for every
    // programme with the same programme CRID (up to its '#' instance suffix, ignoring case);
    // a showing is kept when it starts (margin included) after now, is not the booked event
    // itself, is on a channel of this television and would have no conflict of its own:
    //   REM_ALTERNATIVE_FOR_ITEM         showings of `item`'s programme, checked against the
    //                                    stored bookings as they are; m_nUid is not a stored
    //                                    UID (nothing is replaced).
    //   REM_ALTERNATIVE_FOR_CONFLICTING  showings of each conflicting booking's programme,
    //                                    checked with that booking left out, and also not
    //                                    overlapping `item` (moving it there frees nothing);
    //                                    each carries in m_nUid the UID of the stored booking
    //                                    it would replace.
    // The map is emptied, then holds both keys (possibly with empty lists). The records are
    // bookings made from the guide with the original's kind and manual flag; nothing is stored
    // and nothing announced. True when either list is non-empty; false also when `item` has
    // no programme CRID and no conflicting booking has one.
    bool ExistAlternatives(const CRemindInfo& item, const std::vector<CRemindInfo>& conflicts,
                           std::map<ERemAlterativeType, std::vector<CRemindInfo>>& alternatives);
    bool RecordingIsDelayed(unsigned long uid);
    bool UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item, bool clearAlarm,
                               bool startFlag, bool notify);
    // After a channel rescan. For each stored booking on a local channel (not one behind the
    // universal remote) of `channelType` (-1, i.e. 0xFFFF: every type), except failed
    // recordings, the channel is looked up again by the key the booking keeps of it (channel
    // type with transport stream, physical channel and programme number, those it has; an
    // analogue channel by its frequency; a channel these do not identify, such as a virtual
    // one, by its service id):
    //   found      the service id, major/minor numbers, physical channel, programme number,
    //              transport stream, frequency and service profile are refreshed, and the
    //              channel name when the booking keeps one;
    //   not found  a recording (reserve type 1, 2, 3, 7 or 11) becomes a failed
    //              recording (reserve type 4) with m_nErrno 1001, whose text
    //              GetTextForTimerRecordingErrorByTimeChange gives; a reminder to watch is
    //              deleted; other kinds (series base, group, ...) are left as they are.
    // Only the bookings that changed are written, in one transaction; one event announces
    // them, and a pass that changed nothing writes nothing and announces nothing. False, with
    // nothing changed, when the television answers for no channel at all (its service
    // interface fails, or the scan found nothing: bookings are not failed for that), when the
    // list could not be read or when a write failed.
    bool UpdateChannelInfoOfRemindItems(unsigned short channelType);
    // After a guide update. For each stored booking made from the broadcast guide that still
    // waits for its time (not manual, not a recording in progress, not failed, not a series
    // base entry nor a group subscription) on a local channel, its programme is looked up
    // again by service and event id, and the booking takes the guide's title (when it gives
    // one), synopsis, guidance, programme and series CRIDs, HD flag, UTC start and duration
    // and the local event time and duration derived from them. Its margins, kind, repeat and
    // everything else stay: a booking whose programme moved follows it. A booking whose
    // programme is no longer in the guide is left as it is. Writes and announces as
    // UpdateChannelInfoOfRemindItems: once, and only when something changed. Runs without the
    // facade's lock (it asks the guide for every booking).
    bool UpdateReminditemToMeta();
    // As UpdateReminditemToMeta for bookings on virtual channels: each waiting booking's
    // programme is looked up by its virtual programme id (service, UTC start, duration) and
    // the booking takes its title and description. False when the virtual channel interface
    // is not available. Runs without the facade's lock.
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
    // Whether booking `uid` can record by its programme CRID now:
    //    1  the present or the following programme of the booking's service carries the
    //       booking's programme CRID (ignoring case and the '#' instance suffix);
    //    2  the booking has no programme CRID: it records by time (the guide is not asked);
    //    0  it has one and neither programme carries it;
    //   -1  there is no such booking, or the guide could not be asked (neither programme
    //       could be read).
    // When the matching programme's event id, start or duration differ from the booking's,
    // the booking is first brought up to date with it as UpdateReminditemToMeta does
    // ("CRID info is updated." is logged) and the change is announced; otherwise nothing is
    // written.
    int CheckRemindItemIsRecordable(unsigned long uid);
    bool FlagExistRecordItem();
    bool FlagReminderListIsFull();
    bool IsProgramScheduled(std::string crid, CRemindInfo* out);
    bool IsChannelScheduled(const TCServiceData& service);
    // Whether `item` is part of a series (its series CRID, or its series id where the
    // country numbers series) whose base entry (reserve type 9) is stored; the series CRID is
    // compared ignoring case. `item` is not changed. Reads only.
    bool IsBasicSeries(CRemindInfo& item);
    // Whether one of `program`'s series CRIDs has a stored base entry: booking the programme
    // would record it as part of that series. Reads only.
    bool IsRecordAsBasicSeries(TCProgramData& program);
    // Whether no stored episode of `item`'s series (an event recording, reserve type 2, or a
    // recording in progress, sharing its series CRID ignoring case) starts later than `item`;
    // a booking to watch or a failed recording does not count. False when `item` is not part
    // of a series or the list cannot be read. Reads only.
    bool IsLatestSeriesProgram(const CRemindInfo& item);
    // The text to show for a recording that failed with `error`, from the "reminder" message
    // catalogue: 1000 (the television's clock changed) and 1001 (a rescan removed the
    // channel). The message id itself when the catalogue has no text; false, `text`
    // untouched, for any other error.
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
