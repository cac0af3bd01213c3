// CReminderAPIImp, series and group lookups. CRIDs are matched ignoring case, as everywhere in
// the engine.
#include <list>

#include "ReminderAPIImp.h"
#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

namespace {

bool SameCrid(const std::string& a, const std::string& b) {
    return !a.empty() && CReminderAPIUtil::CompareStrIgnoringCase(a, b) == 0;
}

// The first stored item of `type` whose CRID (taken by `crid`) equals `wanted`.
template <typename CridOf>
bool FindStoredByCrid(CReminderAPIImp& engine, EReserveType type, const std::string& wanted,
                      CridOf crid, CRemindInfo& out) {
    if (wanted.empty()) return false;
    std::vector<CRemindInfo> list;
    engine.t_GetScheduledList(list, REM_ORDER_BY_START_TIME);
    for (const CRemindInfo& e : list) {
        if (e.m_nReserveType == type && SameCrid(crid(e), wanted)) {
            out = e;
            return true;
        }
    }
    return false;
}

// An episode stands for its series while it waits or records: an event recording or a
// recording in progress.
bool IsStoredEpisode(const CRemindInfo& e) {
    return e.m_nReserveType == REMINDER_RESERVE_RECORDING_MONITORED ||
           e.m_nReserveType == REMINDER_RESERVE_RECORDING_IN_PROGRESS;
}

}  // namespace

bool CReminderAPIImp::FindSeriesBooking(std::string crid, CRemindInfo& out) {
    REMINDER_ENTRY();
    return FindStoredByCrid(
        *this, REMINDER_RESERVE_SERIES, crid,
        [](const CRemindInfo& e) -> const std::string& { return e.m_sSeriesCrid; }, out);
}

bool CReminderAPIImp::FindGroupBooking(std::string crid, CRemindInfo& out) {
    REMINDER_ENTRY();
    return FindStoredByCrid(
        *this, REMINDER_RESERVE_GROUP, crid,
        [](const CRemindInfo& e) -> const std::string& { return e.m_sGroupCrid; }, out);
}

bool CReminderAPIImp::IsBasicSeries(CRemindInfo& item) {
    REMINDER_ENTRY();
    if (!item.IsPartOfASeries()) return false;
    CRemindInfo base;
    return FindSeriesBooking(item.m_sSeriesCrid, base);
}

bool CReminderAPIImp::IsRecordAsBasicSeries(TCProgramData& program) {
    REMINDER_ENTRY();
    std::list<std::string> seriesCrids;
    if (!program.GetCRIDs(seriesCrids, CRID_TYPE_SERIES)) return false;
    const COperation op(*this, false);
    for (const std::string& crid : seriesCrids) {
        CRemindInfo base;
        if (FindSeriesBooking(crid, base)) return true;
    }
    return false;
}

bool CReminderAPIImp::IsLatestSeriesProgram(const CRemindInfo& item) {
    REMINDER_ENTRY();
    if (!item.IsPartOfASeries()) return false;
    std::vector<CRemindInfo> list;
    if (!t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) return false;
    const std::string series = item.SeriesCrid();
    const uint32_t start = EffectiveStart(item);
    for (const CRemindInfo& e : list) {
        if (e.m_nUid == item.m_nUid || !IsStoredEpisode(e) || !e.IsPartOfASeries()) continue;
        if (e.SeriesCrid() == series && EffectiveStart(e) > start) return false;
    }
    return true;
}
