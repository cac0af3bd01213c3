// CReminderAPIImp, tuner conflicts and alternative broadcasts.
#include <set>

#include "ReminderAPIImp.h"
#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

namespace {

// Kinds that take a tuner for their whole slot when counted: recordings (record-list bookings
// aside) and a recording under way.
bool IsCountedKind(const CRemindInfo& item) {
    return IsPlainRecording(item) || item.m_nReserveType == REMINDER_RESERVE_RECORDING_IN_PROGRESS;
}

bool IsIgnoredKind(const CRemindInfo& item) {
    return item.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED ||
           item.m_nReserveType == REMINDER_RESERVE_SERIES;
}

bool IsRecordingOrUnderWay(int reserveType) {
    switch (reserveType) {
        case REMINDER_RESERVE_RECORDING:
        case REMINDER_RESERVE_RECORDING_MONITORED:
        case REMINDER_RESERVE_RECORDING_IN_PROGRESS:
        case REMINDER_RESERVE_RECORDING_READY:
        case REMINDER_RESERVE_RECORDING_CRID:
            return true;
        default:
            return false;
    }
}

uint32_t PaddedLength(const CRemindInfo& item) {
    return item.m_nStartMarginTime + item.m_nDuration + item.m_nEndMarginTime;
}

// The stored row of the booking being asked about.
bool IsTheItemItself(const CRemindInfo& stored, const CRemindInfo& item,
                     const CRemindInfo& trimmed) {
    return stored.CompareEvent(item) && EffectiveStart(stored) == EffectiveStart(trimmed) &&
           PaddedLength(stored) == PaddedLength(trimmed);
}

}  // namespace

bool CReminderAPIImp::ExistConflicts(const CRemindInfo& item, std::vector<CRemindInfo>& conflicts) {
    REMINDER_ENTRY();
    if (!CReminderAPIUtil::FlagSupportCRID()) return false;

    TCCriteriaHelper criteria;
    for (const int key :
         {SERVICE_ATTR_SERVICE_ID, SERVICE_ATTR_MAJOR, SERVICE_ATTR_MINOR,
          SERVICE_ATTR_CHANNEL_TYPE, SERVICE_ATTR_PTC, SERVICE_ATTR_PROGRAM_NUMBER}) {
        criteria.Fetch(key);
    }
    criteria.Where(SERVICE_ATTR_SERVICE_ID, static_cast<long long>(item.m_nServiceId));
    IService* services = nullptr;
    if (!TVServiceAPI::CreateService(1, 0, &services) || services == nullptr) return false;
    TCServiceData channel;
    if (services->FindService(criteria, channel) != 1) return false;

    conflicts.clear();

    // The programmes that make up the item's event: a split event's parts each take a tuner in
    // their own slot.
    TCProgramId id;
    item.CopyDetailsInto(id);
    std::map<unsigned int, TCProgramData*> parts;
    const bool guideAnswered = GetProgramsOfEvent(id, parts);

    COperation op(*this, false);
    CRemindInfo trimmed = item;
    t_DeleteTimeMarginForBackToBackRecording(&trimmed);
    std::vector<CRemindInfo> scheduled;
    t_GetScheduledList(scheduled, REM_ORDER_BY_START_TIME);

    std::set<CRemindInfo> found;
    int recordings = 0;
    for (const CRemindInfo& s : scheduled) {
        if (IsTheItemItself(s, item, trimmed)) continue;
        if (IsIgnoredKind(s)) continue;
        // Two reminders to watch never compete for a tuner.
        if (trimmed.m_nReserveType == REMINDER_RESERVE_VIEWING &&
            s.m_nReserveType == REMINDER_RESERVE_VIEWING) {
            continue;
        }
        if (guideAnswered && IsCountedKind(s)) {
            if (parts.empty()) continue;
            for (const auto& [key, programme] : parts) {
                if (programme == nullptr || s.CompareEvent(*programme)) continue;
                CRemindInfo part;
                part.Set(*programme, REMINDER_RESERVE_NONE);
                if (!s.IsConflict(part)) continue;
                if (found.count(s) != 0) {
                    REMINDER_LOG("conflict item is already existed.");
                    continue;
                }
                if (IsCountedKind(s)) ++recordings;
                found.insert(s);
            }
            continue;
        }
        if (!s.CompareEvent(trimmed) && s.IsConflict(trimmed) && !s.m_bRecordListBooking) {
            if (IsRecordingOrUnderWay(s.m_nReserveType)) ++recordings;
            found.insert(s);
        }
    }

    // Two recordable tuners: a recording conflicts only when what it meets cannot share the
    // second tuner.
    if (IsPlainRecording(trimmed) && CReminderAPIUtil::NumOfRecordableTuner() == 2) {
        if (recordings == 0 || found.empty()) return false;
        const CRemindInfo& first = *found.begin();
        if (CReminderAPIUtil::FlagOneTunerCase(trimmed, first)) return false;
        bool overlapEachOther = false;
        for (const CRemindInfo& b : found) {
            if (b.IsConflict(first) && (IsCountedKind(b) || IsCountedKind(first))) {
                overlapEachOther = true;
                break;
            }
        }
        if (!overlapEachOther) {
            // Only the first member is tested against the others; the later ones are asked
            // for the one-tuner rules alone.
            for (auto it = std::next(found.begin()); it != found.end(); ++it) {
                if (CReminderAPIUtil::FlagOneTunerCase(trimmed, *it)) return false;
            }
            return false;
        }
    }

    const size_t allowance = CReminderAPIUtil::NumOfRecordableTuner() == 2 ? 1 : 0;
    if (found.size() <= allowance) return !conflicts.empty();
    for (const CRemindInfo& member : found) {
        if (FindByUid(conflicts, member.m_nUid) != conflicts.end()) {
            // Cannot happen with a set; an application must not stop over it if it ever does.
            REMINDER_ERR("Conflict item [%u] is met twice, skipped.", member.m_nUid);
            continue;
        }
        conflicts.push_back(member);
    }
    return true;
}

bool CReminderAPIImp::ExistAlternatives(
    const CRemindInfo& item, const std::vector<CRemindInfo>& conflicts,
    std::map<ERemAlterativeType, std::vector<CRemindInfo>>& alternatives) {
    REMINDER_ENTRY();
    // Every showing is checked for conflicts against the same stored list: read it once.
    const COperation op(*this, false);
    return CReminderAPIUtil::ExistAlternatives(item, conflicts, alternatives);
}
