// CReminderAPIUtil: the process-wide programme subscriber, the subscriptions that follow booked
// programmes and series, and who stops a recording.
//
// The subscriber delivers changes on the middleware's own thread while the caller's threads
// monitor and cancel, so the callback and both handle tables sit behind a mutex of their own.
// No lock is held while the middleware is called: a client callback that monitors or cancels
// from inside a delivery must not wait on a caller that waits on the middleware.
#include <atomic>
#include <map>
#include <mutex>
#include <string>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TVServiceAPI.h"

namespace {

// The middleware's profile and index for every interface the library creates.
constexpr int kServiceProfile = 1;
constexpr int kServiceIndex = 0;

constexpr int kAnswered = 1;
// Filter kinds of the subscriber: every programme of a series, or one programme.
constexpr int kFilterSeries = 0;
constexpr int kFilterProgram = 1;
// The source on which the broadcaster's running status is trusted to end a recording.
constexpr int kSourceTv = 0;

struct SProgramSubscription {
    int nHandle = 0;
    TCProgramMonitorId monitorId;
};

// The first client to create the subscriber fixes the callback for the life of the process.
std::atomic<IProgramSubscriber*> pProgSubscriber{nullptr};
std::atomic<ISourceControl*> pSourceCtrl{nullptr};
// Serialises the creation of the two interfaces above.
std::mutex gCreateMutex;

// Guards the callback and both handle tables.
std::mutex gMonitorMutex;
CReminderAPIUtil::ProgramMonitorCallback pProgMonitorCB = nullptr;
void* pProgMonitorCBData = nullptr;
std::map<unsigned long, SProgramSubscription> mProgMonitorMap;
std::map<std::string, int> mCRIDMonitorMap;

ISourceControl* SourceControl() {
    std::lock_guard<std::mutex> lock(gCreateMutex);
    ISourceControl* control = pSourceCtrl.load();
    if (control == nullptr &&
        TVServiceAPI::CreateSourceControl(kServiceProfile, kServiceIndex, &control)) {
        pSourceCtrl.store(control);
    }
    return control;
}

bool IsFollowedRecording(const CRemindInfo& item) {
    return item.m_nReserveType == REMINDER_RESERVE_RECORDING_IN_PROGRESS && item.m_nManual == 0;
}

}  // namespace

bool CReminderAPIUtil::CreateProgramSubscriber(ProgramMonitorCallback callback, void* data) {
    REMINDER_ENTRY();
    std::lock_guard<std::mutex> create(gCreateMutex);
    if (pProgSubscriber.load() != nullptr) return false;
    {
        std::lock_guard<std::mutex> lock(gMonitorMutex);
        pProgMonitorCB = callback;
        pProgMonitorCBData = data;
    }
    REMINDER_LOG("Create CReminderAPIUtil::pProgSubscriber...");
    IProgramSubscriber* subscriber = nullptr;
    TVServiceAPI::CreateProgramSubscriber(kServiceProfile, kServiceIndex, m_ProcessProgramSignal,
                                          &subscriber);
    pProgSubscriber.store(subscriber);
    REMINDER_LOG("CReminderAPIUtil::pProgSubscriber = [%p]", static_cast<void*>(subscriber));
    return subscriber != nullptr;
}

void CReminderAPIUtil::m_ProcessProgramSignal(EProgramChangeType type, TCProgramData* program,
                                              int /*param1*/, int /*param2*/) {
    ProgramMonitorCallback callback = nullptr;
    void* data = nullptr;
    {
        std::lock_guard<std::mutex> lock(gMonitorMutex);
        callback = pProgMonitorCB;
        data = pProgMonitorCBData;
    }
    if (callback != nullptr) callback(type, program, data);
}

bool CReminderAPIUtil::MonitorProgram(const CRemindInfo& info) {
    REMINDER_LOG("info.CreationMethod() = [%d]", info.m_nManual);
    IProgramSubscriber* subscriber = pProgSubscriber.load();
    if (subscriber == nullptr || info.m_nManual != 0) {
        REMINDER_ERR("MonitorProgram failed");
        return false;
    }
    TCProgramMonitorId monitorId;
    info.GetProgramMonitorId(monitorId);
    TCProgramFilteringItem filter(kFilterProgram);
    filter.SetMonitorId(monitorId);
    REMINDER_LOG("Calling CReminderAPIUtil::pProgSubscriber->SubscribeProgram...");
    int handle = 0;
    if (subscriber->SubscribeProgram(filter, handle) != kAnswered) {
        REMINDER_ERR("MonitorProgram failed");
        return false;
    }
    REMINDER_LOG("Start monitor program: UID=[%ld], Handle=[%d]", static_cast<long>(info.m_nUid),
                 handle);
    std::lock_guard<std::mutex> lock(gMonitorMutex);
    // A UID already followed keeps its first subscription.
    mProgMonitorMap.emplace(info.m_nUid, SProgramSubscription{handle, monitorId});
    return true;
}

bool CReminderAPIUtil::CancelMonitorProgram(const CRemindInfo& info) {
    REMINDER_LOG("info.CreationMethod() = [%d]", info.m_nManual);
    IProgramSubscriber* subscriber = pProgSubscriber.load();
    if (subscriber == nullptr || info.m_nManual != 0) return false;
    int handle = 0;
    size_t sizeBefore = 0;
    {
        // Taken out of the table before unsubscribing, so that two cancels of one UID cannot
        // both unsubscribe its handle.
        std::lock_guard<std::mutex> lock(gMonitorMutex);
        const auto it = mProgMonitorMap.find(info.m_nUid);
        if (it == mProgMonitorMap.end()) {
            REMINDER_ERR("Find program monitor handle failed.");
            return false;
        }
        handle = it->second.nHandle;
        sizeBefore = mProgMonitorMap.size();
        mProgMonitorMap.erase(it);
    }
    REMINDER_LOG("Cancel monitor program: Handle=[%d]...size = [%u]", handle,
                 static_cast<unsigned>(sizeBefore));
    subscriber->UnSubscribeProgram(handle);
    REMINDER_LOG("UnSubscribeProgram successfully. size = [%u]",
                 static_cast<unsigned>(sizeBefore - 1));
    return true;
}

bool CReminderAPIUtil::MonitorCRID(const std::string& crid) {
    REMINDER_ENTRY();
    IProgramSubscriber* subscriber = pProgSubscriber.load();
    if (subscriber == nullptr) {
        REMINDER_ERR("Call CReminderAPIUtil::CreateProgramSubscriber() first");
        return false;
    }
    TCProgramFilteringItem filter(kFilterSeries);
    filter.SetSeries(crid);
    REMINDER_LOG("Calling CReminderAPIUtil::pProgSubscriber->SubscribeProgram...");
    int handle = 0;
    subscriber->SubscribeProgram(filter, handle);
    REMINDER_LOG("Start monitor crid: sCRID=[%s], Handle=[%d]", crid.c_str(), handle);
    std::lock_guard<std::mutex> lock(gMonitorMutex);
    mCRIDMonitorMap[crid] = handle;
    return true;
}

bool CReminderAPIUtil::CancelMonitorCRID(const std::string& crid) {
    REMINDER_ENTRY();
    IProgramSubscriber* subscriber = pProgSubscriber.load();
    int handle = 0;
    {
        // An exact match: same length, same bytes.
        std::lock_guard<std::mutex> lock(gMonitorMutex);
        const auto it = mCRIDMonitorMap.find(crid);
        if (subscriber == nullptr || it == mCRIDMonitorMap.end()) {
            REMINDER_ERR("Find CRID monitor handle failed.");
            return false;
        }
        handle = it->second;
        mCRIDMonitorMap.erase(it);
    }
    REMINDER_LOG("Find CRID monitor handle successfully.");
    subscriber->UnSubscribeProgram(handle);
    REMINDER_LOG("UnSubscribeProgram successfully.");
    return true;
}

bool CReminderAPIUtil::FlagProgramMonitoringSupported(EProgramMonitoringType& type) {
    REMINDER_ENTRY();
    IProgramSubscriber* subscriber = pProgSubscriber.load();
    if (subscriber == nullptr) {
        REMINDER_ERR("Call CReminderAPIUtil::CreateProgramSubscriber() first");
        return false;
    }
    REMINDER_LOG("Calling pProgSubscriber->MonitoringType");
    if (subscriber->MonitoringType(type) == kAnswered && type != PROGRAM_MONITORING_NONE) {
        REMINDER_LOG("Program Monitoring is supported");
        return true;
    }
    REMINDER_LOG("Program Monitoring is not supported");
    return false;
}

bool CReminderAPIUtil::FlagProgramMonitoringSupported() {
    EProgramMonitoringType type = PROGRAM_MONITORING_NONE;
    return FlagProgramMonitoringSupported(type);
}

bool CReminderAPIUtil::NeedPVRStop(const CRemindInfo& item) {
    REMINDER_ENTRY();
    CreateProgramSubscriber(nullptr, nullptr);
    EProgramMonitoringType type = PROGRAM_MONITORING_NONE;
    if (!FlagProgramMonitoringSupported(type)) {
        REMINDER_LOG("program monitoring unsupported, need PVR stop.");
        return true;
    }
    ISourceControl* control = SourceControl();
    int source = -1;
    const bool answered = control != nullptr && control->GetCurrentSource(source) == kAnswered;
    if (answered && source == kSourceTv && type == PROGRAM_MONITORING_RUNNING_STATUS) {
        if (!IsFollowedRecording(item)) return true;
        REMINDER_LOG("CurrentSource=[%d], MonitoringType=[%d], wait for TVS stop signal", source,
                     static_cast<int>(type));
        return false;
    }
    if (!IsFollowedRecording(item)) return true;
    REMINDER_LOG("program monitoring supported, don't need PVR stop.");
    return false;
}
