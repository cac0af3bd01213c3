// CReminderAPIImp, adding: the checks and inserts of a new booking, split events, series
// bookings and the back-to-back margin trim.
#include "ReminderAPIImp.h"

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

// --- Adding ---

bool CReminderAPIImp::AddRemindItem(CRemindInfo& item, bool startFlag, bool notify) {
    REMINDER_ENTRY();
    CDBControl* db = CDBControl::GetInstance();

    if (!CReminderAPIUtil::FlagSupportRecordingSpec() &&
        item.m_nReserveType != REMINDER_RESERVE_VIEWING) {
        REMINDER_ERR("TV does not support PVR, schedule recording failed.");
        return false;
    }

    // The whole add is one exclusive transaction: the count, the checks and the inserts see
    // the same list, and no other process can store a booking in between.
    COperation op(*this, true);
    if (!op.Ok()) return false;

    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) {
        // Without the list the limit cannot be checked: refuse rather than overfill it.
        REMINDER_ERR("Reading the list failed, booking refused.");
        return false;
    }
    const int count = GetRemindItemCnt();
    if (count > kMaxListCount - 1) {
        // A recording whose time has come is about to leave the list, so a full list may take
        // exactly one more booking while one is waiting.
        const bool hasReadyItem = std::any_of(list.begin(), list.end(), [](const CRemindInfo& e) {
            return e.m_nReserveType == REMINDER_RESERVE_RECORDING_READY;
        });
        if (!(hasReadyItem && count == kMaxListCount)) return false;
    }

    if (IsCridPlaceholder(item)) {
        if (!t_AddRemindItem(item, startFlag) || !op.Commit()) return false;
        if (notify) db->Notify();
        return true;
    }

    const bool newIsRecording = m_FlagReserveTypeIsForRecording(item.m_nReserveType);
    for (const CRemindInfo& e : list) {
        if (IsCridPlaceholder(e)) continue;
        if (e.m_nReserveType == REMINDER_RESERVE_GROUP &&
            item.m_nReserveType == REMINDER_RESERVE_GROUP && e.m_sGroupCrid == item.m_sGroupCrid) {
            REMINDER_ERR("Failed, Group Already booked.");
            return false;
        }
        if (e.m_bRecordListBooking) {
            if (item.m_bRecordListBooking) {
                if (item.CompareEvent(e) && item.CompareServiceAndTime(e)) {
                    REMINDER_ERR("Failed, Program Already booked.");
                    return false;
                }
            } else if (newIsRecording && (item.CompareEvent(e) || item.IsConflict(e))) {
                // A plain recording supersedes the record-list booking it meets.
                REMINDER_LOG("replace with manual booking");
                if (!t_DeleteRemindItemByUid(e.m_nUid)) return false;
                continue;
            }
        }
        if (IsPlainRecording(e) && (newIsRecording || item.m_bRecordListBooking) &&
            item.CompareEvent(e)) {
            REMINDER_ERR("Failed, Already booked.");
            return false;
        }
        if (e.m_nReserveType == REMINDER_RESERVE_VIEWING && IsPlainRecording(item) &&
            item.CompareEvent(e)) {
            if (!t_DeleteRemindItemByUid(e.m_nUid)) return false;
        }
    }

    m_DeleteSeriesProgramForSingleEntry(item);
    if (!op.Ok()) return false;

    if (item.m_nReserveType == REMINDER_RESERVE_RECORDING_MONITORED) {
        TCProgramId id;
        item.CopyDetailsInto(id);
        std::map<unsigned int, TCProgramData*> parts;
        if (GetProgramsOfEvent(id, parts) && !parts.empty()) {
            REMINDER_LOG("mProgramList size : [%d]", static_cast<int>(parts.size()));
            std::map<unsigned int, TCProgramData*> copy(parts);
            const int result = m_AddSplitEventIntoRemindList(item, startFlag, copy);
            if (result == 0 || !op.Commit()) return false;
            if (notify) db->Notify();
            return true;
        }
    }

    if (item.m_nReserveType != REMINDER_RESERVE_SERIES) {
        if (!t_AddRemindItem(item, false)) return false;
        REMINDER_LOG("Reminder item = %s", item.ToString().c_str());
        if (!op.Commit()) return false;
        if (notify) db->Notify();
        return true;
    }

    // A series booking: the base entry first, then every episode the guide knows of. An
    // episode refused by its own checks does not change the result; one whose write failed
    // fails the whole booking.
    if (!t_AddRemindItem(item, false)) return false;
    TCProgramId id;
    item.CopyDetailsInto(id);
    TCProgramData own;
    if (GetProgram(id, own)) AddSeriesProgram(own, false);
    std::map<unsigned int, TCProgramData*> episodes;
    GetProgramsByCRID(item.SeriesCrid(), episodes);
    REMINDER_LOG("Series programs size : [%u]", static_cast<unsigned>(episodes.size()));
    for (const auto& entry : episodes) {
        if (entry.second != nullptr) AddSeriesProgram(*entry.second, false);
    }
    if (!op.Commit()) return false;
    if (notify) db->Notify();
    return true;
}

bool CReminderAPIImp::AddSeriesProgram(const TCProgramData& program, bool notify) {
    REMINDER_ENTRY();
    if (!CReminderAPIUtil::FlagSupportRecordingSpec()) {
        REMINDER_ERR("TV does not support PVR, schedule recording failed.");
        return false;
    }
    CRemindInfo episode;
    episode.Set(program, REMINDER_RESERVE_RECORDING_MONITORED);
    if (episode.m_nReserveType != REMINDER_RESERVE_RECORDING_MONITORED) return false;  // no channel
    std::list<std::string> seriesCrids;
    if (program.GetCRIDs(seriesCrids, CRID_TYPE_SERIES) && !seriesCrids.empty()) {
        episode.m_sSeriesCrid = seriesCrids.front();
    }

    const unsigned long now = CReminderAPIUtil::GetCurrentTime();
    if (now >= static_cast<unsigned long>(episode.m_nEventTime) + episode.m_nDuration) {
        REMINDER_ERR("Expired program...Do not add it.");
        return false;
    }

    COperation op(*this, true);
    if (!op.Ok()) return false;
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) {
        REMINDER_ERR("Reading the list failed, booking refused.");
        return false;
    }
    const std::string programCrid = episode.ProgramCrid();
    for (const CRemindInfo& e : list) {
        // The base entry and failed recordings do not book an episode.
        if (e.m_nReserveType == REMINDER_RESERVE_SERIES ||
            e.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED) {
            continue;
        }
        const bool sameCrid = !programCrid.empty() && e.ProgramCrid() == programCrid;
        if (e.CompareEvent(episode) || sameCrid) {
            REMINDER_ERR(
                "Already scheduled this episode to record, no need to record the same thing twice");
            return false;
        }
    }

    const bool result = t_AddRemindItem(episode, false);
    REMINDER_LOG("Reminder item = %s", episode.ToString().c_str());
    if (!result || !op.Commit()) return false;
    if (notify) CDBControl::GetInstance()->Notify();
    return true;
}

int CReminderAPIImp::m_AddSplitEventIntoRemindList(CRemindInfo& item, bool startFlag,
                                                   std::map<unsigned int, TCProgramData*>& parts) {
    const unsigned long now = CReminderAPIUtil::GetCurrentTime();
    int result = 0;
    std::vector<unsigned long> added;
    const bool asRecording = IsPlainRecording(item);

    for (const auto& entry : parts) {
        if (entry.second == nullptr) continue;
        const TCProgramData& part = *entry.second;
        CRemindInfo r;
        if (asRecording) {
            r.Set(part, REMINDER_RESERVE_RECORDING_MONITORED);
            r.m_sSeriesCrid = item.m_sSeriesCrid;
        } else {
            r.SetTimerViewing(part);
        }
        r.m_nManual = item.m_nManual;
        if (now > EffectiveStart(r)) continue;  // a part that has begun is not booked
        CRemindInfo found;
        if (FindRemindItem(r, found)) continue;
        if (r.m_sTitle.size() < 2) r.m_sTitle = item.m_sTitle;
        if (r.m_sSynopsis.empty()) r.m_sSynopsis = item.m_sSynopsis;

        result = t_AddRemindItem(r, startFlag) ? 1 : 0;
        if (result == 0) {
            for (const unsigned long uid : added) t_DeleteRemindItemByUid(uid);
            return 0;
        }
        // The insert stores a copy; the row it made is known by the UID SQLite gave it.
        added.push_back(CDBControl::GetInstance()->LastInsertUid());
    }
    return result;
}

void CReminderAPIImp::t_DeleteTimeMarginForBackToBackRecording(CRemindInfo* item) {
    if (item == nullptr) return;
    const int mode = CReminderAPIUtil::GetBackToBackRecordingType();
    if (mode != 1 && mode != 2) return;
    REMINDER_LOG("BackToBackRecordingType = %d", mode);

    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    for (CRemindInfo& e : list) {
        if (mode == 2 && !e.CompareService(*item)) continue;
        if (e.m_nEventTime == item->m_nEventTime + item->m_nDuration) {
            e.m_nStartMarginTime = 0;
            item->m_nEndMarginTime = 0;
            t_UpdateRemindItemByUid(e.m_nUid, e);  // a failure marks the operation failed
            REMINDER_LOG("End margin of booking program is removed.");
        } else if (item->m_nEventTime == e.m_nEventTime + e.m_nDuration) {
            e.m_nEndMarginTime = 0;
            item->m_nStartMarginTime = 0;
            t_UpdateRemindItemByUid(e.m_nUid, e);
            REMINDER_LOG("Start margin of booking program is removed.");
        }
    }
}

void CReminderAPIImp::m_DeleteSeriesProgramForSingleEntry(CRemindInfo& item) {
    if (CReminderAPIUtil::GetCountry() != kCountrySingleClearsSeries) return;
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    const std::string seriesCrid = item.SeriesCrid();
    for (const CRemindInfo& e : list) {
        if (e.m_nReserveType == REMINDER_RESERVE_RECORDING_MONITORED && e.IsPartOfASeries() &&
            e.SeriesCrid() == seriesCrid && EffectiveStart(e) > EffectiveStart(item)) {
            t_DeleteRemindItemByUid(e.m_nUid);
        }
    }
}
