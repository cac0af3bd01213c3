// CReminderAPIUtil: tuner and conditional-access counts, the one-tuner situations and the
// conflict questions that the alternative search and the applications ask.
#include <algorithm>
#include <map>
#include <vector>

#include "CAService.h"
#include "ReminderAPI.h"
#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"
#include "system_info.h"
#include "vconf.h"

namespace {

constexpr int kServiceProfile = 1;
constexpr int kServiceIndex = 0;
constexpr int kTvModeSatellite = 2;
constexpr int kCADeviceInserted = 1;
constexpr const char* kSatelliteConnectionKey =
    "db/menu/Broadcast/setting/SatelliteSystem/SatelliteAntConnectionType";

// A reading that fails leaves the count at 0.
int SystemInfoInt(system_info_key_e key) {
    int value = 0;
    if (system_info_get_value_int(key, &value) != SYSTEM_INFO_ERROR_NONE) return 0;
    return value;
}

bool IsRecordingKind(int reserveType) {
    switch (reserveType) {
        case REMINDER_RESERVE_RECORDING:
        case REMINDER_RESERVE_RECORDING_MONITORED:
        case REMINDER_RESERVE_RECORDING_READY:
        case REMINDER_RESERVE_RECORDING_CRID:
            return true;
        default:
            return false;
    }
}

// A recording that takes a recordable tuner: record-list bookings do not.
bool TakesRecordableTuner(const CRemindInfo& item) {
    return IsRecordingKind(item.m_nReserveType) && !item.m_bRecordListBooking;
}

bool IsAnalog(const CRemindInfo& item) {
    return TCServiceUtility::IsAnalogChannelType(item.m_nChannelType);
}

}  // namespace

int CReminderAPIUtil::NumOfAvailableTuner() {
    REMINDER_ENTRY();
    int count = SystemInfoInt(SYSTEM_INFO_KEY_TUNER_COUNT);
    REMINDER_LOG("system_info: NumOfAvailableTuner = [%d]", count);

    IServiceNavigation* navigation = nullptr;
    if (!TVServiceAPI::CreateServiceNavigation(kServiceProfile, kServiceIndex, &navigation) ||
        navigation == nullptr) {
        REMINDER_ERR("Create Service Navigation failed.");
        return count;
    }
    // Two satellite tuners on a single cable share it: only one of them can be used.
    if (count == 2) {
        TSTvMode mode;
        mode.nTvMode = -1;
        mode.nSubMode = -1;
        if (navigation->GetTvMode(mode) == 1 && mode.nTvMode == kTvModeSatellite) {
            int connection = 0;
            if (vconf_get_bool(kSatelliteConnectionKey, &connection) != VCONF_OK) {
                REMINDER_ERR("Get Antenna Connection Type failed");
            } else if (connection == 0) {
                REMINDER_LOG("Connection = [%d] SatelliteAntConnectionType is Single", connection);
                count = 1;
            }
        }
    }
    REMINDER_LOG("NumOfAvailableTuner = [%d]", count);
    return count;
}

int CReminderAPIUtil::NumOfRecordableTuner() {
    REMINDER_ENTRY();
    const int recordable = SystemInfoInt(SYSTEM_INFO_KEY_RECORDABLE_TUNER_COUNT);
    REMINDER_LOG("system_info: nRecordableCount = [%d]", recordable);
    return std::min(recordable, NumOfAvailableTuner());
}

int CReminderAPIUtil::NumOfWorkingCAM() {
    CA_API::CAService* service = CA_API::CAService::CAGeneralInstance();
    if (service == nullptr) {
        REMINDER_ERR("CAService::CAGeneralInstance failed");
        return 0;
    }
    std::map<int, CA_API::TCADevice> devices;
    if (!service->GetCADevices(devices)) return 0;
    REMINDER_LOG("Total CA Device Number: [%d]", static_cast<int>(devices.size()));
    int working = 0;
    for (const auto& [key, device] : devices) {
        if (device.state != kCADeviceInserted) continue;
        REMINDER_LOG("CA Device is Inserted: [%d]", key);
        ++working;
    }
    return working;
}

bool CReminderAPIUtil::FlagOneTunerCase(const CRemindInfo& item, const CRemindInfo& other) {
    REMINDER_ENTRY();
    // One module descrambles one channel at a time.
    if (item.IsScrambledInPMT() && other.IsScrambledInPMT() && NumOfWorkingCAM() == 1) {
        REMINDER_LOG("Both are scrambled channel, it is one tuner case.");
        return true;
    }
    // An analogue channel takes a whole tuner.
    if (IsAnalog(item)) {
        REMINDER_LOG("Booking an analog item, it is one tuner case.");
        return true;
    }
    if (IsAnalog(other)) {
        REMINDER_LOG("Conflicting an analog item, it is one tuner case.");
        return true;
    }
    REMINDER_ERR("Not one tuner case");
    return false;
}

bool CReminderAPIUtil::FlagOneTunerCase(const CRemindInfo& item,
                                        const std::vector<CRemindInfo>& others) {
    REMINDER_ENTRY();
    if (NumOfAvailableTuner() == 1 && NumOfRecordableTuner() == 1) return true;
    if (NumOfAvailableTuner() == 2 && NumOfRecordableTuner() == 1 && TakesRecordableTuner(item)) {
        if (std::any_of(others.begin(), others.end(), TakesRecordableTuner)) {
            REMINDER_LOG("2 recording conflict in 1 recordable tuner");
            return true;
        }
    }
    if (item.IsScrambledInPMT() && NumOfWorkingCAM() == 1) {
        if (std::any_of(others.begin(), others.end(),
                        [](const CRemindInfo& o) { return o.IsScrambledInPMT(); })) {
            REMINDER_LOG("Both are scrambled channel, it is one tuner case.");
            return true;
        }
    }
    if (IsAnalog(item)) {
        REMINDER_LOG("Booking an analog item, it is one tuner case.");
        return true;
    }
    if (std::any_of(others.begin(), others.end(), IsAnalog)) {
        REMINDER_LOG("Conflicting an analog item, it is one tuner case.");
        return true;
    }
    REMINDER_ERR("Not one tuner case");
    return false;
}

// Called without the facade lock held: the overlap query goes through the facade.
bool CReminderAPIUtil::ExistConflictsWithExclusions(const CRemindInfo& item,
                                                    const std::vector<CRemindInfo>& exclusions,
                                                    bool flag) {
    REMINDER_ENTRY();
    std::vector<CRemindInfo> overlapping;
    CReminderAPI::GetInstance()->GetOverlappingRemindItems(item, overlapping, flag);
    if (overlapping.empty()) {
        REMINDER_ERR("No conflicts");
        return false;
    }

    std::vector<CRemindInfo> remaining;
    for (const CRemindInfo& o : overlapping) {
        const bool excluded =
            o.m_nUid == item.m_nUid ||
            std::any_of(exclusions.begin(), exclusions.end(),
                        [&o](const CRemindInfo& e) { return e.m_nUid == o.m_nUid; });
        if (!excluded) remaining.push_back(o);
    }
    if (remaining.empty()) {
        REMINDER_ERR("No remaining conflicts");
        return false;
    }
    if (FlagOneTunerCase(item, remaining)) {
        REMINDER_ERR("One tuner case, exist conflicts.");
        return true;
    }
    // With two tuners one overlapping booking can be served beside the item.
    if (remaining.size() == 1) {
        REMINDER_ERR("One tuner case, one conflict.");
        return false;
    }
    // The item and two bookings that overlap each other would need three tuners.
    for (size_t i = 0; i < remaining.size(); ++i) {
        const int kind = remaining[i].m_nReserveType;
        if (kind == REMINDER_RESERVE_RECORDING_FAILED || kind == REMINDER_RESERVE_SERIES) continue;
        for (size_t j = i + 1; j < remaining.size(); ++j) {
            if (CheckDuplicateTimeAndRepeat(&remaining[i], &remaining[j])) {
                REMINDER_ERR("Two tuner case, exist conflicts.");
                return true;
            }
        }
    }
    REMINDER_ERR("No conflicts");
    return false;
}

// Re-enters the facade while a facade call (the alternative search) may be running on this
// thread; the facade's lock allows that.
bool CReminderAPIUtil::m_HasConflicts(const CRemindInfo& item, const CRemindInfo* exclude) {
    std::vector<CRemindInfo> conflicts;
    if (!CReminderAPI::GetInstance()->ExistConflicts(item, conflicts)) return false;
    if (exclude == nullptr) return !conflicts.empty();
    if (conflicts.empty()) return false;
    const auto it = std::find(conflicts.begin(), conflicts.end(), *exclude);
    if (it == conflicts.end()) return true;
    conflicts.erase(it);
    return !conflicts.empty();
}
