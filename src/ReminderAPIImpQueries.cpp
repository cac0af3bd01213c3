// CReminderAPIImp, queries and lookups over the stored list.
#include "ReminderAPIImp.h"

#include <libintl.h>

#include <cstdlib>
#include <list>
#include <utility>

#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

namespace {

// A guide event without an event id is known by its CRIDs alone.
constexpr unsigned short kUnknownEventId = 0xFFFF;
// Where the television keeps the library's message catalogue.
constexpr const char* kLocaleDir = "/usr/apps/reminder/locale";

}  // namespace

// --- Queries ---

bool CReminderAPIImp::GetRemindItemsByType(EExtractType type, std::vector<CRemindInfo>& out,
                                           EOrderByType order) {
    REMINDER_ENTRY();
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, order);
    out.clear();
    std::copy_if(list.begin(), list.end(), std::back_inserter(out),
                 [type](const CRemindInfo& e) { return IsSelectedByExtractType(e, type); });
    return !out.empty();
}

bool CReminderAPIImp::GetRemindItemsByType(int& count, std::vector<CRemindInfo>& out,
                                           EExtractType type, EOrderByType order) {
    const bool result = GetRemindItemsByType(type, out, order);
    count = static_cast<int>(out.size());
    return result;
}

bool CReminderAPIImp::FindRemindItem(const CRemindInfo& query, CRemindInfo& out) {
    REMINDER_ENTRY();
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);

    for (const CRemindInfo& e : list) {
        if (e.CompareServiceAndTime(query) &&
            e.m_nReserveType != REMINDER_RESERVE_RECORDING_FAILED &&
            e.m_nReserveType != REMINDER_RESERVE_SERIES &&
            e.m_bRecordListBooking == query.m_bRecordListBooking) {
            REMINDER_LOG("Found it.");
            out = e;
            return true;
        }
    }

    // A guide event that moved by under two minutes is still the booked one: the booking
    // follows it.
    const int64_t queryStart = EffectiveStart(query);
    for (const CRemindInfo& e : list) {
        const int64_t shift = std::llabs(static_cast<int64_t>(EffectiveStart(e)) - queryStart);
        if (e.CompareServiceAndTime(query) && e.m_sTitle == query.m_sTitle && shift >= 1 &&
            shift <= 119) {
            REMINDER_LOG("Found it.");
            out = e;
            out.SetStartTime(static_cast<unsigned long>(queryStart));
            out.m_nDuration = query.m_nStartMarginTime + query.m_nDuration + query.m_nEndMarginTime;
            return UpdateRemindItemByUid(e.m_nUid, out, true, false, true);
        }
    }

    REMINDER_ERR("Cannot find the item.");
    return false;
}

bool CReminderAPIImp::GetTextForTimerRecordingErrorByTimeChange(unsigned short error,
                                                                std::string& text) {
    const char* messageId = nullptr;
    switch (error) {
        case kErrnoTimeChanged:
            messageId = "TV_SID_RECORDING_FAILED_TIME_CONSISTENT_MSG";
            break;
        case kErrnoChannelRemoved:
            messageId = "TV_SID_RECORDING_FAILED_CHANNEL_REMOVED_MSG";
            break;
        default:
            return false;
    }
    // The television's catalogue; a host points REMINDER_LOCALE_DIR at its own.
    const char* dir = std::getenv("REMINDER_LOCALE_DIR");
    bindtextdomain("reminder", (dir != nullptr && dir[0] != '\0') ? dir : kLocaleDir);
    text = dgettext("reminder", messageId);
    return true;
}

bool CReminderAPIImp::FlagExistRecordItem() {
    REMINDER_ENTRY();
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    return std::any_of(list.begin(), list.end(), IsPlainRecording);
}

bool CReminderAPIImp::GetRemindItemsForMHEG(std::vector<CRemindInfo>& out) {
    REMINDER_ENTRY();
    out.clear();
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    std::copy_if(list.begin(), list.end(), std::back_inserter(out), [](const CRemindInfo& e) {
        return e.m_nReserveType == REMINDER_RESERVE_RECORDING_MONITORED ||
               e.m_nReserveType == REMINDER_RESERVE_SERIES;
    });
    return !out.empty();
}

bool CReminderAPIImp::GetRemindItemsForCrid(const std::string& crid,
                                            std::vector<CRemindInfo>& out) {
    REMINDER_ENTRY();
    out.clear();
    if (crid.empty()) return false;
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    std::copy_if(list.begin(), list.end(), std::back_inserter(out), [&crid](const CRemindInfo& e) {
        return CReminderAPIUtil::CompareStrIgnoringCase(e.SeriesCrid(), crid) == 0 ||
               CReminderAPIUtil::CompareStrIgnoringCase(e.ProgramCrid(), crid) == 0;
    });
    return !out.empty();
}

bool CReminderAPIImp::GetStartTimeIsSameItems(const CRemindInfo& item,
                                              std::vector<CRemindInfo>& out, EScheduledType type) {
    REMINDER_ENTRY();
    out.clear();
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    const uint32_t start = EffectiveStart(item);
    for (const CRemindInfo& e : list) {
        if (e == item || EffectiveStart(e) != start) continue;
        bool selected = false;
        switch (type) {
            case REM_SCHEDULED_VIEWING:
                selected = e.m_nReserveType == REMINDER_RESERVE_VIEWING;
                break;
            case REM_SCHEDULED_RECORDING:
                selected = IsPlainRecording(e);
                break;
            case REM_SCHEDULED_ALL:
                selected = true;
                break;
        }
        if (selected) out.push_back(e);
    }
    return !out.empty();
}

bool CReminderAPIImp::FindRemindItemForRCT(const CRemindInfo& query, CRemindInfo& out) {
    REMINDER_ENTRY();
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    for (const CRemindInfo& e : list) {
        if (e.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED ||
            e.m_nReserveType == REMINDER_RESERVE_SERIES) {
            continue;
        }
        if (e.CompareServiceAndTime(query) && e.CompareCRID(query)) {
            REMINDER_LOG("Found it.");
            out = e;
            return true;
        }
    }
    REMINDER_ERR("Cannot find the item.");
    return false;
}

bool CReminderAPIImp::FindRemindItemFromProgram(const TCProgramData& program, CRemindInfo& out) {
    REMINDER_ENTRY();
    if (program.EventId() == kUnknownEventId) {
        REMINDER_LOG("Event ID is REMINDER_UNKNOWN");
        return t_FindRemindItemFromProgramByCrid(program, out);
    }
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    for (const CRemindInfo& e : list) {
        if (e.CompareService(program) && e.m_nEventId == program.EventId() &&
            e.m_nReserveType != REMINDER_RESERVE_RECORDING_FAILED &&
            e.m_nReserveType != REMINDER_RESERVE_SERIES) {
            out = e;
            return true;
        }
    }
    return false;
}

bool CReminderAPIImp::t_FindRemindItemFromProgramByCrid(const TCProgramData& program,
                                                        CRemindInfo& out) {
    // The programme's own CRID first, then its series CRIDs.
    std::vector<std::string> candidates;
    std::string programCrid;
    if (program.GetProgramCRID(programCrid)) {
        REMINDER_LOG("program crid : [%s]", programCrid.c_str());
        candidates.push_back(programCrid);
    }
    std::list<std::string> seriesCrids;
    if (program.GetCRIDs(seriesCrids, CRID_TYPE_SERIES)) {
        REMINDER_LOG("get SeriesCRID");
        candidates.insert(candidates.end(), seriesCrids.begin(), seriesCrids.end());
    }

    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    for (const CRemindInfo& e : list) {
        if (!e.CompareService(program)) {
            REMINDER_LOG("CompareService returns false.");
            continue;
        }
        if (e.m_nReserveType != REMINDER_RESERVE_RECORDING_MONITORED &&
            e.m_nReserveType != REMINDER_RESERVE_RECORDING_IN_PROGRESS) {
            REMINDER_LOG("this item isn't Event Record.");
            REMINDER_LOG("%s", e.ToString().c_str());
            continue;
        }
        const std::string ownProgram = e.ProgramCrid();
        const std::string ownSeries = e.SeriesCrid();
        for (const std::string& c : candidates) {
            const bool programCridMatches =
                !ownProgram.empty() && CReminderAPIUtil::CompareStrIgnoringCase(ownProgram, c) == 0;
            REMINDER_LOG("programCridMatches=[%d]", programCridMatches ? 1 : 0);
            const bool seriesCridMatches =
                !ownSeries.empty() && CReminderAPIUtil::CompareStrIgnoringCase(ownSeries, c) == 0;
            REMINDER_LOG("seriesCridMatches=[%d]", seriesCridMatches ? 1 : 0);
            if (programCridMatches || seriesCridMatches) {
                out = e;
                return true;
            }
        }
    }
    return false;
}

bool CReminderAPIImp::FindRemindItemsFromPrograms(std::map<TCProgramData*, CRemindInfo>& programs) {
    REMINDER_ENTRY();
    COperation op(*this, false);
    bool found = false;
    for (auto& entry : programs) {
        if (entry.first == nullptr) continue;
        CRemindInfo item;
        if (FindRemindItemFromProgram(*entry.first, item)) {
            entry.second = item;
            found = true;
        }
    }
    return found;
}

bool CReminderAPIImp::IsProgramScheduled(std::string crid, CRemindInfo* out) {
    REMINDER_ENTRY();
    REMINDER_LOG("sProgramCrid: [%s]", crid.c_str());
    // The parts of a split event share their CRID up to the instance suffix after '#'.
    crid = crid.substr(0, crid.find('#'));
    // No CRID names no programme: items stored without one are not "scheduled" for it.
    if (crid.empty()) return false;

    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    for (const CRemindInfo& e : list) {
        if (e.m_nReserveType == REMINDER_RESERVE_SERIES) continue;
        std::string own = e.ProgramCrid();
        REMINDER_LOG("tmp: [%s]", own.c_str());
        own = own.substr(0, own.find('#'));
        if (CReminderAPIUtil::CompareStrIgnoringCase(own, crid) == 0) {
            if (out != nullptr) *out = e;
            return true;
        }
    }
    return false;
}

bool CReminderAPIImp::IsChannelScheduled(const TCServiceData& service) {
    REMINDER_ENTRY();
    // The channel is named by whichever of its identifying attributes the caller filled in.
    CDBCriteria criteria;
    bool named = false;
    long long value = 0;
    if (service.FindAttribute(SERVICE_ATTR_SERVICE_ID, value)) {
        criteria.Where(CDBCriteria::CRITERIA_SERVICE_ID, static_cast<unsigned long>(value));
        named = true;
    }
    const std::pair<int, CDBCriteria::CRITERIA_TYPE> numbers[] = {
        {SERVICE_ATTR_CHANNEL_TYPE, CDBCriteria::CRITERIA_CHANNEL_TYPE},
        {SERVICE_ATTR_MAJOR, CDBCriteria::CRITERIA_MAJOR},
        {SERVICE_ATTR_MINOR, CDBCriteria::CRITERIA_MINOR},
    };
    for (const auto& [attribute, column] : numbers) {
        if (service.FindAttribute(attribute, value)) {
            criteria.Where(column, static_cast<unsigned short>(value));
            named = true;
        }
    }
    if (!named) return false;
    std::vector<CRemindInfo> found;
    return CDBControl::GetInstance()->FindItem(criteria, found) && !found.empty();
}

// --- Overlap searches ---
// Each works on a copy of the given item whose margins are first trimmed against stored
// back-to-back recordings (which trims theirs too), and compares it with every stored item but
// failed recordings and series base entries.

namespace {

bool TakesPartInOverlaps(const CRemindInfo& e) {
    return e.m_nReserveType != REMINDER_RESERVE_RECORDING_FAILED &&
           e.m_nReserveType != REMINDER_RESERVE_SERIES;
}

}  // namespace

bool CReminderAPIImp::GetOverlappingRemindItems(const CRemindInfo& item,
                                                std::vector<CRemindInfo>& out, bool trim) {
    REMINDER_ENTRY();
    out.clear();
    COperation op(*this, trim);
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME) || list.empty()) return false;
    CRemindInfo copy(item);
    if (trim) {
        t_DeleteTimeMarginForBackToBackRecording(&copy);
        if (!op.Ok()) return false;
        t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    }
    for (const CRemindInfo& e : list) {
        if (!TakesPartInOverlaps(e)) continue;
        if (CReminderAPIUtil::CheckDuplicateTimeAndRepeat(&e, &copy)) {
            REMINDER_LOG("Overapping item is found.");
            out.push_back(e);
        }
    }
    if (!op.Commit()) {
        out.clear();
        return false;
    }
    return !out.empty();
}

bool CReminderAPIImp::GetOverlappingRemindItems(const CRemindInfo& item,
                                                std::vector<CRemindInfo>* out, bool trim) {
    std::vector<CRemindInfo> scratch;
    return GetOverlappingRemindItems(item, out != nullptr ? *out : scratch, trim);
}

bool CReminderAPIImp::ExistSameTimeRemindItem(const CRemindInfo& item, CRemindInfo& out) {
    REMINDER_ENTRY();
    COperation op(*this, true);
    CRemindInfo copy(item);
    t_DeleteTimeMarginForBackToBackRecording(&copy);
    if (!op.Ok()) return false;
    std::vector<CRemindInfo> list;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    for (const CRemindInfo& e : list) {
        if (!TakesPartInOverlaps(e) || e.m_bRecordListBooking != item.m_bRecordListBooking) {
            continue;
        }
        if (CReminderAPIUtil::CheckDuplicateTimeAndRepeat(&e, &copy)) {
            REMINDER_LOG("CReminderAPIUtil::CheckDuplicateTimeAndRepeat returns true");
            if (!op.Commit()) return false;
            out = e;
            return true;
        }
    }
    op.Commit();
    return false;
}

bool CReminderAPIImp::ExistSameTimeRemindItem(const CRemindInfo& item, CRemindInfo* out) {
    CRemindInfo scratch;
    return ExistSameTimeRemindItem(item, out != nullptr ? *out : scratch);
}

bool CReminderAPIImp::DeleteOverlappingRemindItems(const CRemindInfo& item) {
    REMINDER_ENTRY();
    COperation op(*this, true);
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME) || list.empty()) return false;
    CRemindInfo copy(item);
    t_DeleteTimeMarginForBackToBackRecording(&copy);
    if (!op.Ok()) return false;
    t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    bool deleted = false;
    for (const CRemindInfo& e : list) {
        if (!TakesPartInOverlaps(e)) continue;
        if (CReminderAPIUtil::CheckDuplicateTimeAndRepeat(&e, &copy)) {
            REMINDER_LOG("Overapping item is found.");
            if (!t_DeleteRemindItemByUid(e.m_nUid)) return false;
            deleted = true;
        }
    }
    // The caller announces the change: this deletion sends no event of its own.
    if (!op.Commit()) return false;
    return deleted;
}
