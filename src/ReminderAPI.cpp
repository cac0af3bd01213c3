// CReminderAPI: the process-wide facade. Each operation takes a scoped CReminderLock on the
// static mutex and forwards to the engine operation of the same name.
#include "ReminderAPI.h"

#include <mutex>

#include "DataControl.h"

#include "ReminderLog.h"

namespace {

// The engine and the store are not safe for two threads at once (the store's connection runs
// without SQLite's mutex), and the CReminderLock below excludes nothing, so every call into the
// engine is also serialised here. Recursive: an operation that re-enters the facade on its own
// thread (a conflict check calling back, a callback that queries) goes on.
std::recursive_mutex& EngineMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

thread_local int t_facadeDepth = 0;

// Serialises one facade call. The outermost call of a thread also starts its refusal text
// afresh, so LastRefusal() tells of the last call the application made, not of the calls it
// made inside (a conflict check re-entering the facade).
class CEngineGuard {
public:
    explicit CEngineGuard(std::recursive_mutex& mutex) : m_lock(mutex) {
        if (t_facadeDepth++ == 0) reminder::ForgetLastFailure();
    }
    CEngineGuard(const CEngineGuard&) = delete;
    CEngineGuard& operator=(const CEngineGuard&) = delete;
    ~CEngineGuard() { --t_facadeDepth; }

private:
    std::lock_guard<std::recursive_mutex> m_lock;
};

}  // namespace

CReminderAPI* CReminderAPI::m_pInstance = nullptr;
CReminderMutex CReminderAPI::m_mutex;

CReminderAPI::CReminderAPI() = default;

CReminderAPI::~CReminderAPI() {
    // The engine is deliberately not deleted: the singleton lives as long as the process.
    REMINDER_LOG("m_pInstance = [%p], m_pAPIImp = [%p]", static_cast<void*>(m_pInstance),
                 static_cast<void*>(m_pAPIImp));
}

CReminderAPI* CReminderAPI::GetInstance() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    if (m_pInstance == nullptr) {
        m_pInstance = new CReminderAPI();
        m_pInstance->m_pAPIImp = new CReminderAPIImp();
    }
    REMINDER_LOG("m_pInstance = [%p], m_pAPIImp = [%p]", static_cast<void*>(m_pInstance),
                 static_cast<void*>(m_pInstance->m_pAPIImp));
    return m_pInstance;
}

bool CReminderAPI::RegisterEventCB(void (*func)(void*, TReminderEvent*), void* data) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->RegisterEventCB(func, data);
}

void CReminderAPI::UnRegisterEventCB() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    m_pAPIImp->UnRegisterEventCB();
}

bool CReminderAPI::AddRemindItem(CRemindInfo& item, bool startFlag, bool notify) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->AddRemindItem(item, startFlag, notify);
}

bool CReminderAPI::AddSeriesProgram(const TCProgramData& program, bool notify) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->AddSeriesProgram(program, notify);
}

bool CReminderAPI::GetRemindItemByUid(unsigned long uid, CRemindInfo& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetRemindItemByUid(uid, out);
}

bool CReminderAPI::GetRemindItemsByType(EExtractType type, std::vector<CRemindInfo>& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetRemindItemsByType(type, out);
}

bool CReminderAPI::GetRemindItemsByType(int& count, std::vector<CRemindInfo>& out,
                                        EExtractType type, EOrderByType order) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetRemindItemsByType(count, out, type, order);
}

bool CReminderAPI::GetRemindItemsForMHEG(std::vector<CRemindInfo>& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetRemindItemsForMHEG(out);
}

bool CReminderAPI::GetRemindItemsForCrid(const std::string& crid, std::vector<CRemindInfo>& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetRemindItemsForCrid(crid, out);
}

bool CReminderAPI::GetRecordReadyRemindItem(CRemindInfo& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetRecordReadyRemindItem(out);
}

bool CReminderAPI::GetCurrentRecordingItems(std::vector<CRemindInfo>& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetCurrentRecordingItems(out);
}

bool CReminderAPI::GetStartTimeIsSameItems(const CRemindInfo& item, std::vector<CRemindInfo>& out,
                                           EScheduledType type) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetStartTimeIsSameItems(item, out, type);
}

int CReminderAPI::GetRemindItemCnt() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetRemindItemCnt();
}

int CReminderAPI::GetReminderListSize() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetReminderListSize();
}

bool CReminderAPI::GetOverlappingRemindItems(const CRemindInfo& item, std::vector<CRemindInfo>& out,
                                             bool trim) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetOverlappingRemindItems(item, out, trim);
}

bool CReminderAPI::GetOverlappingRemindItems(const CRemindInfo& item, std::vector<CRemindInfo>* out,
                                             bool trim) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetOverlappingRemindItems(item, out, trim);
}

bool CReminderAPI::FindRemindItem(const CRemindInfo& query, CRemindInfo& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->FindRemindItem(query, out);
}

bool CReminderAPI::FindRemindItemForRCT(const CRemindInfo& query, CRemindInfo& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->FindRemindItemForRCT(query, out);
}

bool CReminderAPI::FindRemindItemFromProgram(const TCProgramData& program, CRemindInfo& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->FindRemindItemFromProgram(program, out);
}

bool CReminderAPI::FindRemindItemsFromPrograms(std::map<TCProgramData*, CRemindInfo>& programs) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->FindRemindItemsFromPrograms(programs);
}

bool CReminderAPI::FindSeriesBooking(std::string crid, CRemindInfo& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    std::string copy(crid);
    return m_pAPIImp->FindSeriesBooking(copy, out);
}

bool CReminderAPI::FindGroupBooking(std::string crid, CRemindInfo& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    std::string copy(crid);
    return m_pAPIImp->FindGroupBooking(copy, out);
}

bool CReminderAPI::ExistSameTimeRemindItem(const CRemindInfo& item, CRemindInfo& out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->ExistSameTimeRemindItem(item, out);
}

bool CReminderAPI::ExistSameTimeRemindItem(const CRemindInfo& item, CRemindInfo* out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->ExistSameTimeRemindItem(item, out);
}

bool CReminderAPI::ExistConflicts(const CRemindInfo& item, std::vector<CRemindInfo>& conflicts) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->ExistConflicts(item, conflicts);
}

bool CReminderAPI::ExistAlternatives(
    const CRemindInfo& item, const std::vector<CRemindInfo>& conflicts,
    std::map<ERemAlterativeType, std::vector<CRemindInfo>>& alternatives) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->ExistAlternatives(item, conflicts, alternatives);
}

bool CReminderAPI::RecordingIsDelayed(unsigned long uid) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->RecordingIsDelayed(uid);
}

bool CReminderAPI::UpdateRemindItemByUid(unsigned long uid, const CRemindInfo& item,
                                         bool clearAlarm, bool startFlag, bool notify) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->UpdateRemindItemByUid(uid, item, clearAlarm, startFlag, notify);
}

bool CReminderAPI::UpdateChannelInfoOfRemindItems(unsigned short channelType) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->UpdateChannelInfoOfRemindItems(channelType);
}

// The two refresh passes take no CReminderLock; they are serialised with every other call.
bool CReminderAPI::UpdateReminditemToMeta() {
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->UpdateReminditemToMeta();
}

bool CReminderAPI::UpdateVCItems() {
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->UpdateVCItems();
}

bool CReminderAPI::TransRecording2Fail(unsigned long uid, int error) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->TransRecording2Fail(uid, error);
}

bool CReminderAPI::DeleteRemindItemByUid(unsigned long uid, bool byUser) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeleteRemindItemByUid(uid, byUser);
}

bool CReminderAPI::DeleteRemindItemAloneByUid(unsigned long uid) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeleteRemindItemAloneByUid(uid);
}

bool CReminderAPI::DeleteRemindItems(std::vector<unsigned long>& uids) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeleteRemindItems(uids);
}

bool CReminderAPI::DeleteAllRemindItem() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeleteAllRemindItem();
}

bool CReminderAPI::DeleteExpiredItem() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeleteExpiredItem();
}

bool CReminderAPI::DeletePastRemindItem() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeletePastRemindItem();
}

bool CReminderAPI::DeleteMatchingRemindItems(EDeleteType type, const void* value,
                                             EChannelType channelType, bool flag) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeleteMatchingRemindItems(type, value, channelType, flag);
}

bool CReminderAPI::DeleteRecordingItem() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeleteRecordingItem();
}

bool CReminderAPI::DeleteOverlappingRemindItems(const CRemindInfo& item) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->DeleteOverlappingRemindItems(item);
}

bool CReminderAPI::UserDeleteRemindItemByUid(unsigned long uid) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->UserDeleteRemindItemByUid(uid);
}

int CReminderAPI::CheckRemindItemIsRecordable(unsigned long uid) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->CheckRemindItemIsRecordable(uid);
}

bool CReminderAPI::FlagExistRecordItem() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->FlagExistRecordItem();
}

int CReminderAPI::LastStoreError() {
    return CDBControl::LastStoreError();
}

bool CReminderAPI::FlagReminderListIsFull() {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->FlagReminderListIsFull();
}

bool CReminderAPI::IsProgramScheduled(std::string crid, CRemindInfo* out) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    std::string copy(crid);
    return m_pAPIImp->IsProgramScheduled(copy, out);
}

bool CReminderAPI::IsChannelScheduled(const TCServiceData& service) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->IsChannelScheduled(service);
}

bool CReminderAPI::IsBasicSeries(CRemindInfo& item) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->IsBasicSeries(item);
}

bool CReminderAPI::IsRecordAsBasicSeries(TCProgramData& program) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->IsRecordAsBasicSeries(program);
}

bool CReminderAPI::IsLatestSeriesProgram(const CRemindInfo& item) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->IsLatestSeriesProgram(item);
}

bool CReminderAPI::GetTextForTimerRecordingErrorByTimeChange(unsigned short error,
                                                             std::string& text) {
    CReminderLock lock(m_mutex);
    const CEngineGuard serial(EngineMutex());
    return m_pAPIImp->GetTextForTimerRecordingErrorByTimeChange(error, text);
}
