// CReminderAPIImp, update and deletion, and the housekeeping passes.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"
#include "svc_pvr.h"

using namespace engine_detail;

namespace {

constexpr uint16_t kNoSeriesId = 0xFFFF;
constexpr int kCountryStillRecordingAfterStart = 7;
// Enough for any repeat rule: each step lands on the next chosen day.
constexpr int kMaxOccurrenceSteps = 8;

// The first and last index of the chain of parts around `index` in a list ordered by start time:
// neighbours belong to one chain when they carry the same programme on the same service and the
// later one starts within three hours of the earlier one's end.
std::pair<size_t, size_t> SplitChainAround(const std::vector<CRemindInfo>& list, size_t index) {
    const CRemindInfo& item = list[index];
    const std::string crid = item.ProgramCrid();
    auto linked = [&crid, &item](const CRemindInfo& earlier, const CRemindInfo& later) {
        return earlier.ProgramCrid() == crid && later.ProgramCrid() == crid &&
               earlier.CompareService(item) && later.CompareService(item) &&
               EffectiveStart(later) < PaddedEnd(earlier) + kSplitChainGap;
    };
    size_t head = index;
    while (head > 0 && linked(list[head - 1], list[head])) --head;
    size_t tail = head;
    while (tail + 1 < list.size() && linked(list[tail], list[tail + 1])) ++tail;
    return {head, tail};
}

bool IsAnalogChannelType(int type) {
    return type == REMINDER_CHANNEL_TYPE_ATV || type == REMINDER_CHANNEL_TYPE_CATV;
}

// Air and cable analogue channels share one channel map: a restriction to either analogue type
// takes the items of both.
bool CheckAnalogOneMap(int requested, int stored) {
    return IsAnalogChannelType(requested) && IsAnalogChannelType(stored);
}

bool MatchesChannelType(const CRemindInfo& item, EChannelType channelType) {
    if (channelType == REMINDER_CHANNEL_TYPE_ALL) return true;
    if (CheckAnalogOneMap(channelType, item.m_nChannelType)) {
        REMINDER_LOG("CheckAnalogOneMap is true, matchedChannelType is analog type");
        return true;
    }
    return item.m_nChannelType == channelType;
}

// CRIDs match ignoring case; an empty one names nothing.
bool SameCrid(const std::string& stored, const std::string& wanted) {
    return !wanted.empty() &&
           CReminderAPIUtil::LowerCase(stored) == CReminderAPIUtil::LowerCase(wanted);
}

// Whether the item carries the key of a DeleteMatchingRemindItems call; `value` points to the
// key's type (see the definitions of the keys there).
bool MatchesKey(const CRemindInfo& item, EDeleteType type, const void* value) {
    switch (type) {
        case REM_DELETE_BY_SERVICE_ID:
            return item.m_nServiceId == *static_cast<const unsigned long long*>(value);
        case REM_DELETE_BY_CHANNEL: {
            const auto* numbers = static_cast<const unsigned short*>(value);
            return item.m_nMajor == numbers[0] && item.m_nMinor == numbers[1];
        }
        case REM_DELETE_BY_RESERVE_TYPE:
            return static_cast<int>(item.m_nReserveType) == *static_cast<const int*>(value);
        case REM_DELETE_BY_PROGRAM_CRID:
            return SameCrid(item.m_sProgramCrid, *static_cast<const std::string*>(value));
        case REM_DELETE_BY_GROUP_CRID:
            return SameCrid(item.m_sGroupCrid, *static_cast<const std::string*>(value));
        case REM_DELETE_BY_SOURCE:
            return item.m_nSource == *static_cast<const int*>(value);
        case REM_DELETE_BY_STREAM_TYPE:
            return item.m_nStreamType == *static_cast<const int*>(value);
        case REM_DELETE_BY_SERIES_CRID:
            return SameCrid(item.m_sSeriesCrid, *static_cast<const std::string*>(value));
    }
    return false;
}

// Whether DeleteExpiredItem removes the item now; logs the rule that removes it.
bool IsExpired(const CRemindInfo& item, unsigned long now) {
    const int reserve = item.m_nReserveType;
    if (reserve == REMINDER_RESERVE_SERIES && item.m_bRecommended) {
        if (item.m_nRCTExpiryTime == 0 || now <= item.m_nRCTExpiryTime) return false;
        REMINDER_LOG("Series booking item from RCT is deleted. RCTExpiryTime=[%d]",
                     static_cast<int>(item.m_nRCTExpiryTime));
        return true;
    }
    if (reserve == REMINDER_RESERVE_SERIES) {
        // The base entry's start is the end of the series booking's validity.
        if (now <= EffectiveStart(item)) return false;
        REMINDER_LOG("Series booking item is deleted. ExpiryTime=[%d]",
                     static_cast<int>(EffectiveStart(item)));
        return true;
    }
    if (reserve == REMINDER_RESERVE_RECORDING_CRID) {
        if (item.m_nRCTExpiryTime == 0 || now <= item.m_nRCTExpiryTime) return false;
        REMINDER_LOG("ProgramCRID item is deleted. ExpiryTime=[%d]",
                     static_cast<int>(item.m_nRCTExpiryTime));
        return true;
    }
    if (reserve == REMINDER_RESERVE_RECORDING_FAILED && item.m_nSeriesId == kNoSeriesId) {
        if (CReminderAPIUtil::GetCountry() == kCountrySingleClearsSeries) {
            // This market shows failed series recordings for as long as a series booking
            // lasts; other failed recordings there stay until the failed-item cap takes them.
            if (!item.IsPartOfASeries() ||
                now <= static_cast<unsigned long>(EffectiveStart(item)) + kSeriesBaseOffset) {
                return false;
            }
            REMINDER_LOG("Failed series recording is deleted.");
            return true;
        }
        if (now <= EffectiveStart(item)) return false;
        REMINDER_LOG("Failed recording is deleted.");
        return true;
    }
    return false;
}

}  // namespace

// --- Helpers shared with the recording life cycle ---

namespace engine_detail {

ELookup FindStored(CReminderAPIImp& engine, unsigned long uid, CRemindInfo& out) {
    std::vector<CRemindInfo> list;
    if (!engine.t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) return ELookup::kUnreadable;
    const auto found = FindByUid(list, uid);
    if (found == list.end()) return ELookup::kMissing;
    out = *found;
    return ELookup::kFound;
}

bool ReadNamedItems(const std::vector<unsigned long>& uids, std::vector<CRemindInfo>& out) {
    REMINDER_LOG("Data Operation...Select");
    CDBControl* db = CDBControl::GetInstance();
    if (!db->BeginTransaction()) return false;
    CDBCriteria criteria;
    criteria.WhereIn(CDBCriteria::CRITERIA_UID, uids);
    out.clear();
    db->FindItem(criteria, out);
    const bool read = db->LastResult() == 0;
    db->EndTransaction();
    return read;
}

bool MoveToOccurrenceFrom(CRemindInfo& item, unsigned long now) {
    CRemindInfo moved(item);
    for (int step = 0; EffectiveStart(moved) < now; ++step) {
        const unsigned long next = NextOccurrence(moved, false);
        if (next == 0 || step == kMaxOccurrenceSteps) {
            REMINDER_ERR("No later occurrence of UID [%u].", moved.m_nUid);
            return false;
        }
        moved.SetStartTime(next);
    }
    item = moved;
    return true;
}

bool StoreUpdate(CReminderAPIImp& engine, unsigned long uid, const CRemindInfo& item,
                 bool clearAlarm, bool startFlag) {
    REMINDER_LOG("UID = [%lu], ReserveType = [%d], Alarmed = [%d]", uid,
                 static_cast<int>(item.m_nReserveType), static_cast<int>(item.m_bAlarmed));
    if (IsInvalidUid(uid)) {
        REMINDER_ERR("UID invalid.");
        return false;
    }
    // The stored row alone decides; only a missing one needs to know whether the list is empty.
    CRemindInfo stored;
    if (!engine.t_GetRemindItemByUid(uid, stored)) return false;
    if (stored.m_nUid != uid) {
        std::vector<CRemindInfo> list;
        if (engine.t_ReadScheduledList(list, REM_ORDER_BY_START_TIME) && list.empty()) {
            REMINDER_ERR("list empty.");
        }
        return false;
    }

    CRemindInfo copy(item);
    copy.m_nUid = stored.m_nUid;
    // A recording that runs keeps its time; other repeating manual items move to their next
    // occurrence.
    if (copy.m_nManual == 1 && copy.m_nRepeatType != REMINDER_REPEAT_NONE && !copy.m_bRecording) {
        copy.SetStartTime(NextOccurrence(copy, startFlag));
    }
    ApplyTimeMarginRule(copy);
    if (clearAlarm) copy.m_bAlarmed = false;
    engine.t_DeleteTimeMarginForBackToBackRecording(&copy);
    return engine.t_UpdateRemindItemByUid(uid, copy);
}

bool DeleteWithChain(CReminderAPIImp& engine, unsigned long uid) {
    REMINDER_LOG("UID = [%d]", static_cast<int>(uid));
    if (IsInvalidUid(uid)) return false;
    std::vector<CRemindInfo> list;
    if (!engine.t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) return false;
    const auto found = FindByUid(list, uid);
    if (found == list.end()) return false;

    const CRemindInfo& item = *found;
    const bool chained =
        item.IsSplitEvent() ||
        (CReminderAPIUtil::GetCountry() == kCountrySplitByCrid && !item.m_sProgramCrid.empty());
    if (!chained) return engine.t_DeleteRemindItemByUid(uid);

    REMINDER_LOG("This uid is Split Event or Current country is Austrailia.");
    const auto [head, tail] = SplitChainAround(list, static_cast<size_t>(found - list.begin()));
    for (size_t i = head; i <= tail; ++i) {
        if (!engine.t_DeleteRemindItemByUid(list[i].m_nUid)) return false;
    }
    return true;
}

}  // namespace engine_detail

// --- Updates and deletion ---

bool CReminderAPIImp::UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item,
                                            bool clearAlarm, bool startFlag, bool notify) {
    // The invalid UID is refused, with its log lines, before the store is touched.
    if (IsInvalidUid(uid)) return StoreUpdate(*this, uid, item, clearAlarm, startFlag);
    COperation op(*this, /*writes=*/true);
    if (!StoreUpdate(*this, uid, item, clearAlarm, startFlag)) return false;
    if (!op.Commit()) return false;
    if (notify) CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteRemindItemByUid(unsigned long uid, bool /*byUser*/) {
    if (IsInvalidUid(uid)) return DeleteWithChain(*this, uid);  // refused before the store
    COperation op(*this, /*writes=*/true);
    if (!DeleteWithChain(*this, uid)) return false;
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteRemindItemAloneByUid(unsigned long uid) {
    if (IsInvalidUid(uid)) return false;
    COperation op(*this, /*writes=*/true);
    if (!t_DeleteRemindItemByUid(uid)) return false;
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::UserDeleteRemindItemByUid(unsigned long uid) {
    if (IsInvalidUid(uid)) return false;
    COperation op(*this, /*writes=*/true);
    CRemindInfo item;
    if (!GetRemindItemByUid(uid, item)) return false;
    if (!DeleteWithChain(*this, uid)) return false;
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteRemindItems(std::vector<unsigned long>& uids) {
    REMINDER_ENTRY();
    if (uids.empty()) return false;
    COperation op(*this, /*writes=*/true);
    if (!op.Ok()) return false;
    // An episode of a series booking stands for the whole series: it is deleted with it, once
    // the plain items are gone. Deleting a plain item changes no other, so one read of the
    // named rows serves the pass.
    std::vector<CRemindInfo> list;
    if (!ReadNamedItems(uids, list)) return false;
    std::vector<unsigned long> episodes;
    for (const unsigned long uid : uids) {
        const auto found = FindByUid(list, uid);
        if (found == list.end()) continue;
        if (found->IsPartOfASeries() &&
            found->m_nReserveType != REMINDER_RESERVE_RECORDING_FAILED &&
            found->m_nReserveType != REMINDER_RESERVE_SCHEDULED_10) {
            episodes.push_back(uid);
        } else if (!t_DeleteRemindItemByUid(uid)) {
            return false;
        }
        // A UID named twice is looked up once.
        list.erase(found);
    }
    for (const unsigned long uid : episodes) {
        CRemindInfo item;
        const ELookup lookup = FindStored(*this, uid, item);
        if (lookup == ELookup::kUnreadable) return false;
        if (lookup == ELookup::kMissing || !item.IsPartOfASeries()) continue;
        DeleteMatchingRemindItems(REM_DELETE_BY_SERIES_CRID, &item.m_sSeriesCrid,
                                  REMINDER_CHANNEL_TYPE_ALL, false);
        // A series known only by its number has no CRID to match: the episode goes alone.
        if (FindStored(*this, uid, item) == ELookup::kFound && !t_DeleteRemindItemByUid(uid)) {
            return false;
        }
    }
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteAllRemindItem() {
    REMINDER_ENTRY();
    COperation op(*this, /*writes=*/true);
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME) || list.empty()) return false;
    size_t deleted = 0;
    // Bookings on a remote channel belong to the remote's own list and stay.
    if (!DeleteEach(
            *this, list, [](const CRemindInfo& e) { return !e.m_bRemoteChannel; }, deleted)) {
        return false;
    }
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeletePastRemindItem() {
    REMINDER_ENTRY();
    COperation op(*this, /*writes=*/true);
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME) || list.empty()) return false;
    const unsigned long now = CReminderAPIUtil::GetCurrentTime();

    for (CRemindInfo item : list) {
        const int reserve = item.m_nReserveType;
        if (reserve == REMINDER_RESERVE_RECORDING_FAILED || reserve == REMINDER_RESERVE_SERIES ||
            reserve == REMINDER_RESERVE_SCHEDULED_10 || IsCridPlaceholder(item)) {
            continue;
        }
        if (EffectiveStart(item) >= now) continue;

        if (item.m_nRepeatType != REMINDER_REPEAT_NONE) {
            if (!MoveToOccurrenceFrom(item, now)) continue;
            if (!t_UpdateRemindItemByUid(item.m_nUid, item)) return false;
        } else if (reserve != REMINDER_RESERVE_VIEWING) {
            // A recording whose start has passed without it being recorded. In one market the
            // recorder may still be at it until the padded end.
            if (CReminderAPIUtil::GetCountry() == kCountryStillRecordingAfterStart &&
                now < PaddedEnd(item)) {
                continue;
            }
            m_DeleteFailedRemindItem();
            item.m_nReserveType = REMINDER_RESERVE_RECORDING_FAILED;
            item.m_nErrno = kErrnoTimeChanged;
            if (!t_UpdateRemindItemByUid(item.m_nUid, item)) return false;
        } else if (!t_DeleteRemindItemByUid(item.m_nUid)) {
            return false;
        }
    }
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::DeleteExpiredItem() {
    REMINDER_ENTRY();
    COperation op(*this, /*writes=*/true);
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME) || list.empty()) return false;
    const unsigned long now = CReminderAPIUtil::GetCurrentTime();

    size_t deleted = 0;
    for (const CRemindInfo& item : list) {
        if (item.m_bRecording) {
            int status = 0;
            if (svc_pvr_is_recording(item.m_nServiceId, &status) != 0) {
                REMINDER_ERR("Checking recording status failed.");
            } else if (status == 1) {
                continue;  // still being recorded
            }
        }
        if (!IsExpired(item, now)) continue;
        if (!t_DeleteRemindItemByUid(item.m_nUid)) return false;
        ++deleted;

        // A repeating recording that was running is booked again for its next occurrence.
        if (!item.m_bRecording || item.m_nRepeatType == REMINDER_REPEAT_NONE) continue;
        CRemindInfo next(item);
        if (!MoveToOccurrenceFrom(next, now)) continue;
        next.m_nReserveType = REMINDER_RESERVE_RECORDING;
        next.m_bRecording = false;
        if (!AddRemindItem(next, false, false)) {
            REMINDER_ERR("Booking the next occurrence of UID [%u] failed.", item.m_nUid);
        }
    }
    if (!op.Commit()) return false;
    if (deleted > 0) CDBControl::GetInstance()->Notify();
    return true;
}

// Keys and the type `value` points to:
//   REM_DELETE_BY_SERVICE_ID    unsigned long long   the service id, exactly
//   REM_DELETE_BY_CHANNEL       unsigned short[2]    major and minor channel number
//   REM_DELETE_BY_RESERVE_TYPE  int                  the reserve type
//   REM_DELETE_BY_PROGRAM_CRID  std::string          the programme CRID, ignoring case
//   REM_DELETE_BY_GROUP_CRID    std::string          the group CRID, ignoring case
//   REM_DELETE_BY_SOURCE        int                  the channel's source
//   REM_DELETE_BY_STREAM_TYPE   int                  the stream type
//   REM_DELETE_BY_SERIES_CRID   std::string          the series CRID, ignoring case
// An empty CRID matches nothing. A channel type other than REMINDER_CHANNEL_TYPE_ALL keeps to
// items of that type. `notify` announces the change when something was deleted. True when at
// least one item was deleted.
bool CReminderAPIImp::DeleteMatchingRemindItems(EDeleteType type, const void* value,
                                                EChannelType channelType, bool notify) {
    REMINDER_LOG("DeleteType = [%d], ChannelType = [%d]", static_cast<int>(type),
                 static_cast<int>(channelType));
    if (value == nullptr || type < REM_DELETE_BY_SERVICE_ID || type > REM_DELETE_BY_SERIES_CRID) {
        REMINDER_ERR("Invalid delete key.");
        return false;
    }
    COperation op(*this, /*writes=*/true);
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) return false;
    size_t deleted = 0;
    const bool done = DeleteEach(
        *this, list,
        [&](const CRemindInfo& e) {
            return MatchesKey(e, type, value) && MatchesChannelType(e, channelType);
        },
        deleted);
    if (!done || !op.Commit()) return false;
    if (deleted == 0) return false;
    if (notify) CDBControl::GetInstance()->Notify();
    return true;
}
