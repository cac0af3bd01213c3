// The C record interface: one-line adapters over CRemindInfo, and the UTF-16 to UTF-8 helper.
#include "remind_info.h"

#include <iconv.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "RemindInfo.h"
#include "ReminderAPIUtil.h"
#include "ReminderLog.h"

// A handle is the address of a heap record; the C side never sees inside it.
namespace {

const CRemindInfo* AsRecord(const remind_info_type_s* handle) {
    return reinterpret_cast<const CRemindInfo*>(handle);
}

CRemindInfo* AsRecord(remind_info_type_s* handle) {
    return reinterpret_cast<CRemindInfo*>(handle);
}

remind_info_type_s* AsHandle(CRemindInfo* record) {
    return reinterpret_cast<remind_info_type_s*>(record);
}

void LogException(const char* what) {
    REMINDER_ERR("Exception Handled : %s", what);
}

// Answers `read(record)`, or R() for a NULL handle or when the read throws.
template <typename R, typename Read>
R Get(const remind_info_type_s* handle, Read&& read) noexcept {
    if (handle == nullptr) return R();
    try {
        return static_cast<R>(read(*AsRecord(handle)));
    } catch (const std::exception& e) {
        LogException(e.what());
    } catch (...) {
        LogException("unknown");
    }
    return R();
}

// Runs `write(record)` unless the handle is NULL; an exception leaves the record as it got.
template <typename Write>
void Set(remind_info_type_s* handle, Write&& write) noexcept {
    if (handle == nullptr) return;
    try {
        write(*AsRecord(handle));
    } catch (const std::exception& e) {
        LogException(e.what());
    } catch (...) {
        LogException("unknown");
    }
}

// A predicate over two records: 0 unless both handles are there.
template <typename Test>
int Both(const remind_info_type_s* a, const remind_info_type_s* b, Test&& test) noexcept {
    if (b == nullptr) return 0;
    return Get<int>(a, [&](const CRemindInfo& r) { return test(r, *AsRecord(b)) ? 1 : 0; });
}

// A predicate over a record and a middleware object: 0 unless both are there.
template <typename Object, typename Test>
int With(const remind_info_type_s* handle, const Object* object, Test&& test) noexcept {
    if (object == nullptr) return 0;
    return Get<int>(handle, [&](const CRemindInfo& r) { return test(r, *object) ? 1 : 0; });
}

template <typename Object, typename Write>
void SetFrom(remind_info_type_s* handle, const Object* object, Write&& write) noexcept {
    if (object == nullptr) return;
    Set(handle, [&](CRemindInfo& r) { write(r, *object); });
}

// The caller's copy of `text`, released with free().
char* Copy(const std::string& text) {
    return strdup(text.c_str());
}

template <typename Read>
char* GetText(const remind_info_type_s* handle, Read&& read) noexcept {
    return Get<char*>(handle, [&](const CRemindInfo& r) { return Copy(read(r)); });
}

void SetText(remind_info_type_s* handle, const char* text, std::string CRemindInfo::*member) {
    if (text == nullptr) return;
    Set(handle, [&](CRemindInfo& r) { r.*member = text; });
}

bool IsRecordingKind(EReserveType type) {
    return type == REMINDER_RESERVE_RECORDING || type == REMINDER_RESERVE_RECORDING_MONITORED ||
           type == REMINDER_RESERVE_RECORDING_READY || type == REMINDER_RESERVE_RECORDING_CRID;
}

uint32_t PaddedStart(const CRemindInfo& r) {
    return r.m_nEventTime - r.m_nStartMarginTime;
}

}  // namespace

extern "C" {

// --- Life cycle ---

remind_info_type_s* reminder_info_add(void) {
    return AsHandle(new (std::nothrow) CRemindInfo());
}

void reminder_info_del(remind_info_type_s* handle) {
    delete AsRecord(handle);
}

void reminder_info_list_free(remind_info_type_s** list, int count) {
    if (list == nullptr) return;
    for (int i = 0; i < count; ++i) reminder_info_del(list[i]);
    std::free(list);
}

void reminder_info_initialise(remind_info_type_s* handle) {
    Set(handle, [](CRemindInfo& r) { r.Initialise(); });
}

// --- Fields ---

unsigned int reminder_info_uid(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nUid; });
}

void reminder_info_set_uid(remind_info_type_s* handle, unsigned int uid) {
    Set(handle, [=](CRemindInfo& r) { r.m_nUid = uid; });
}

unsigned long long reminder_info_service_id(const remind_info_type_s* handle) {
    return Get<unsigned long long>(handle, [](const CRemindInfo& r) { return r.m_nServiceId; });
}

unsigned short reminder_info_channel_type(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nChannelType; });
}

unsigned short reminder_info_major(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nMajor; });
}

unsigned short reminder_info_minor(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nMinor; });
}

unsigned short reminder_info_ptc(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nPTC; });
}

unsigned short reminder_info_program_number(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nProgramNumber; });
}

unsigned short reminder_info_transport_stream_id(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nTransportStreamId; });
}

float reminder_info_frequency(const remind_info_type_s* handle) {
    return Get<float>(handle, [](const CRemindInfo& r) { return r.m_frequency; });
}

unsigned short reminder_info_time_margin(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nTimeMargin; });
}

void reminder_info_set_time_margin(remind_info_type_s* handle, unsigned short margin) {
    Set(handle, [=](CRemindInfo& r) { r.SetTimeMargin(margin); });
}

unsigned short reminder_info_device(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nDevice; });
}

void reminder_info_set_device(remind_info_type_s* handle, unsigned short device) {
    Set(handle, [=](CRemindInfo& r) { r.m_nDevice = device; });
}

unsigned short reminder_info_event_id(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nEventId; });
}

void reminder_info_set_event_id(remind_info_type_s* handle, unsigned short event_id) {
    Set(handle, [=](CRemindInfo& r) { r.m_nEventId = event_id; });
}

unsigned short reminder_info_err_no(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nErrno; });
}

void reminder_info_set_err_no(remind_info_type_s* handle, unsigned short err_no) {
    Set(handle, [=](CRemindInfo& r) { r.m_nErrno = err_no; });
}

unsigned short reminder_info_series_id(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nSeriesId; });
}

void reminder_info_set_series_id(remind_info_type_s* handle, unsigned short series_id) {
    Set(handle, [=](CRemindInfo& r) { r.m_nSeriesId = series_id; });
}

unsigned short reminder_info_expired_date(const remind_info_type_s* handle) {
    return Get<unsigned short>(handle, [](const CRemindInfo& r) { return r.m_nExpiredDate; });
}

void reminder_info_set_expired_date(remind_info_type_s* handle, unsigned short date) {
    Set(handle, [=](CRemindInfo& r) { r.m_nExpiredDate = date; });
}

unsigned int reminder_info_booking_order(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nBookingOrder; });
}

void reminder_info_set_booking_order(remind_info_type_s* handle, unsigned int order) {
    Set(handle, [=](CRemindInfo& r) { r.m_nBookingOrder = order; });
}

unsigned int reminder_info_rct_expiry_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nRCTExpiryTime; });
}

void reminder_info_set_rct_expiry_time(remind_info_type_s* handle, unsigned int time) {
    Set(handle, [=](CRemindInfo& r) { r.m_nRCTExpiryTime = time; });
}

unsigned int reminder_info_added_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nAddedTime; });
}

void reminder_info_set_added_time(remind_info_type_s* handle, unsigned int time) {
    Set(handle, [=](CRemindInfo& r) { r.m_nAddedTime = time; });
}

unsigned int reminder_info_activation_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nActivationTime; });
}

void reminder_info_set_activation_time(remind_info_type_s* handle, unsigned int time) {
    Set(handle, [=](CRemindInfo& r) { r.m_nActivationTime = time; });
}

unsigned int reminder_info_record_list_expiry_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nExpiryTime; });
}

void reminder_info_set_record_list_expiry_time(remind_info_type_s* handle, unsigned int time) {
    Set(handle, [=](CRemindInfo& r) { r.m_nExpiryTime = time; });
}

unsigned int reminder_info_published_duration(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nPublishedDuration; });
}

void reminder_info_set_published_duration(remind_info_type_s* handle, unsigned int duration) {
    Set(handle, [=](CRemindInfo& r) { r.m_nPublishedDuration = duration; });
}

unsigned char reminder_info_content_version(const remind_info_type_s* handle) {
    return Get<unsigned char>(handle, [](const CRemindInfo& r) { return r.m_cContentVersion; });
}

void reminder_info_set_content_version(remind_info_type_s* handle, unsigned char version) {
    Set(handle, [=](CRemindInfo& r) { r.m_cContentVersion = version; });
}

unsigned char reminder_info_genre(const remind_info_type_s* handle) {
    return Get<unsigned char>(handle, [](const CRemindInfo& r) { return r.m_cGenre; });
}

unsigned int reminder_info_original_duration(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nDuration; });
}

void reminder_info_set_duration(remind_info_type_s* handle, unsigned int duration) {
    Set(handle, [=](CRemindInfo& r) { r.m_nDuration = duration; });
}

short reminder_info_episode_number(const remind_info_type_s* handle) {
    return Get<short>(handle, [](const CRemindInfo& r) { return r.m_nEpisodeNumber; });
}

void reminder_info_set_episode_number(remind_info_type_s* handle, short number) {
    Set(handle, [=](CRemindInfo& r) { r.m_nEpisodeNumber = number; });
}

short reminder_info_last_episode_number(const remind_info_type_s* handle) {
    return Get<short>(handle, [](const CRemindInfo& r) { return r.m_nLastEpisodeNumber; });
}

void reminder_info_set_last_episode_number(remind_info_type_s* handle, short number) {
    Set(handle, [=](CRemindInfo& r) { r.m_nLastEpisodeNumber = number; });
}

unsigned char reminder_info_repeat_label(const remind_info_type_s* handle) {
    return Get<unsigned char>(handle, [](const CRemindInfo& r) { return r.m_cRepeatLabel; });
}

void reminder_info_set_repeat_label(remind_info_type_s* handle, unsigned char label) {
    Set(handle, [=](CRemindInfo& r) { r.m_cRepeatLabel = label; });
}

int reminder_info_source(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_nSource; });
}

void reminder_info_set_source(remind_info_type_s* handle, int source) {
    Set(handle, [=](CRemindInfo& r) { r.m_nSource = source; });
}

int reminder_info_creation_method(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_nManual; });
}

void reminder_info_set_creation_method(remind_info_type_s* handle, int method) {
    Set(handle, [=](CRemindInfo& r) { r.m_nManual = method; });
}

EReserveType reminder_info_reserve_type(const remind_info_type_s* handle) {
    return Get<EReserveType>(handle, [](const CRemindInfo& r) { return r.m_nReserveType; });
}

void reminder_info_set_reserve_type(remind_info_type_s* handle, EReserveType type) {
    Set(handle, [=](CRemindInfo& r) { r.m_nReserveType = type; });
}

EReminderRepeatType reminder_info_repeat_type(const remind_info_type_s* handle) {
    return Get<EReminderRepeatType>(handle, [](const CRemindInfo& r) { return r.m_nRepeatType; });
}

unsigned char reminder_info_manual_repeat(const remind_info_type_s* handle) {
    return Get<unsigned char>(handle, [](const CRemindInfo& r) { return r.m_cManualRepeat; });
}

void reminder_info_set_repeat(remind_info_type_s* handle, EReminderRepeatType type,
                              unsigned char manual_repeat) {
    Set(handle, [=](CRemindInfo& r) {
        r.m_nRepeatType = type;
        r.m_cManualRepeat = manual_repeat;
    });
}

unsigned int reminder_info_get_start_margin_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nStartMarginTime; });
}

void reminder_info_set_start_margin_time(remind_info_type_s* handle, unsigned int minutes) {
    Set(handle, [=](CRemindInfo& r) { r.m_nStartMarginTime = minutes * 60u; });
}

unsigned int reminder_info_get_end_margin_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nEndMarginTime; });
}

void reminder_info_set_end_margin_time(remind_info_type_s* handle, unsigned int minutes) {
    Set(handle, [=](CRemindInfo& r) { r.m_nEndMarginTime = minutes * 60u; });
}

// --- Flags ---

int reminder_info_is_hd(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_bIsHD; });
}

int reminder_info_is_a_remote_channel(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_bRemoteChannel; });
}

void reminder_info_set_remote_channel(remind_info_type_s* handle, intptr_t value) {
    Set(handle, [=](CRemindInfo& r) { r.m_bRemoteChannel = value != 0; });
}

int reminder_info_alarmed(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_bAlarmed; });
}

void reminder_info_set_alarmed(remind_info_type_s* handle, intptr_t value) {
    Set(handle, [=](CRemindInfo& r) { r.m_bAlarmed = value != 0; });
}

int reminder_info_recording_space_alarmed(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_bRecordingSpaceAlarmed; });
}

void reminder_info_set_recording_space_alarmed(remind_info_type_s* handle, intptr_t value) {
    Set(handle, [=](CRemindInfo& r) { r.m_bRecordingSpaceAlarmed = value != 0; });
}

int reminder_info_currently_recording(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_bRecording; });
}

void reminder_info_set_currently_recording(remind_info_type_s* handle, intptr_t value) {
    Set(handle, [=](CRemindInfo& r) { r.m_bRecording = value != 0; });
}

int reminder_info_unresolved_conflict(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_bUnresolvedConflict; });
}

void reminder_info_set_unresolved_conflict(remind_info_type_s* handle, intptr_t value) {
    Set(handle, [=](CRemindInfo& r) { r.m_bUnresolvedConflict = value != 0; });
}

int reminder_info_is_recommended(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_bRecommended; });
}

void reminder_info_set_recommended(remind_info_type_s* handle, intptr_t value) {
    Set(handle, [=](CRemindInfo& r) { r.m_bRecommended = value != 0; });
}

int reminder_info_is_a_record_list_booking(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.m_bRecordListBooking; });
}

void reminder_info_set_record_list_booking(remind_info_type_s* handle, intptr_t value) {
    Set(handle, [=](CRemindInfo& r) { r.m_bRecordListBooking = value != 0; });
}

// --- Text ---

char* reminder_info_get_title(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.m_sTitle; });
}

void reminder_info_set_title(remind_info_type_s* handle, const char* title) {
    SetText(handle, title, &CRemindInfo::m_sTitle);
}

char* reminder_info_synopsis(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.m_sSynopsis; });
}

void reminder_info_set_synopsis(remind_info_type_s* handle, const char* synopsis) {
    SetText(handle, synopsis, &CRemindInfo::m_sSynopsis);
}

char* reminder_info_guidance(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.m_sGuidance; });
}

void reminder_info_set_guidance(remind_info_type_s* handle, const char* guidance) {
    SetText(handle, guidance, &CRemindInfo::m_sGuidance);
}

char* reminder_info_group_crid(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.m_sGroupCrid; });
}

void reminder_info_set_group_crid(remind_info_type_s* handle, const char* crid) {
    SetText(handle, crid, &CRemindInfo::m_sGroupCrid);
}

char* reminder_info_private_data(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.m_sPrivateData; });
}

void reminder_info_set_private_data(remind_info_type_s* handle, const char* data) {
    SetText(handle, data, &CRemindInfo::m_sPrivateData);
}

char* reminder_info_program_crid(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.ProgramCrid(); });
}

char* reminder_info_program_crid_preserved_case(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.m_sProgramCrid; });
}

void reminder_info_set_program_crid(remind_info_type_s* handle, const char* crid) {
    SetText(handle, crid, &CRemindInfo::m_sProgramCrid);
}

char* reminder_info_series_crid(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.SeriesCrid(); });
}

char* reminder_info_series_crid_preserved_case(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.m_sSeriesCrid; });
}

void reminder_info_set_series_crid(remind_info_type_s* handle, const char* crid) {
    SetText(handle, crid, &CRemindInfo::m_sSeriesCrid);
}

char* reminder_info_get_channel_name(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.GetChannelName(); });
}

void reminder_info_set_channel_name(remind_info_type_s* handle, const char* name) {
    SetText(handle, name, &CRemindInfo::m_sChannelName);
}

// --- Times and derived answers ---

unsigned int reminder_info_start_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, PaddedStart);
}

unsigned int reminder_info_expiry_time(const remind_info_type_s* handle) {
    // Clients rely on this being the padded start, not the record-list expiry time.
    return Get<unsigned int>(handle, PaddedStart);
}

unsigned int reminder_info_original_start_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) { return r.m_nEventTime; });
}

unsigned int reminder_info_start_left_time(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) {
        return PaddedStart(r) - static_cast<uint32_t>(CReminderAPIUtil::GetCurrentTime());
    });
}

void reminder_info_set_start_time(remind_info_type_s* handle, unsigned long time) {
    Set(handle, [=](CRemindInfo& r) { r.SetStartTime(time); });
}

void reminder_info_set_expiryt_time(remind_info_type_s* handle, unsigned long time) {
    Set(handle, [=](CRemindInfo& r) { r.SetStartTime(time); });
}

unsigned int reminder_info_duration(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) {
        return r.m_nStartMarginTime + r.m_nDuration + r.m_nEndMarginTime;
    });
}

int reminder_info_is_a_timer_viewing(const remind_info_type_s* handle) {
    return Get<int>(
        handle, [](const CRemindInfo& r) { return r.m_nReserveType == REMINDER_RESERVE_VIEWING; });
}

int reminder_info_is_event_recording(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) {
        return r.m_nReserveType == REMINDER_RESERVE_RECORDING_MONITORED;
    });
}

int reminder_info_failed(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) {
        return r.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED;
    });
}

int reminder_info_is_an_invalid(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) {
        return r.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED ||
               r.m_nReserveType == REMINDER_RESERVE_SERIES;
    });
}

int reminder_info_is_series_booking(const remind_info_type_s* handle) {
    return Get<int>(
        handle, [](const CRemindInfo& r) { return r.m_nReserveType == REMINDER_RESERVE_SERIES; });
}

int reminder_info_is_a_record_list_group_subscription(const remind_info_type_s* handle) {
    return Get<int>(
        handle, [](const CRemindInfo& r) { return r.m_nReserveType == REMINDER_RESERVE_GROUP; });
}

int reminder_info_is_a_recording(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) {
        return IsRecordingKind(r.m_nReserveType) && !r.m_bRecordListBooking;
    });
}

int reminder_info_is_metadata_from_dsm(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) {
        return r.m_bRecordListBooking && r.m_nReserveType != REMINDER_RESERVE_RECORDING_MONITORED;
    });
}

unsigned int reminder_info_max_over_run_allowed(const remind_info_type_s* handle) {
    return Get<unsigned int>(handle, [](const CRemindInfo& r) {
        return r.m_nReserveType == REMINDER_RESERVE_RECORDING_MONITORED ? 7200u : 0u;
    });
}

int reminder_info_has_guidance(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return !r.m_sGuidance.empty(); });
}

// --- Comparisons ---

int reminder_info_is_fully_equal(const remind_info_type_s* a, const remind_info_type_s* b) {
    return Both(a, b, [](const CRemindInfo& x, const CRemindInfo& y) { return x == y; });
}

int reminder_info_is_less(const remind_info_type_s* a, const remind_info_type_s* b) {
    return Both(a, b, [](const CRemindInfo& x, const CRemindInfo& y) { return x < y; });
}

int reminder_info_compare_service_and_time(const remind_info_type_s* a,
                                           const remind_info_type_s* b) {
    return Both(a, b, [](const CRemindInfo& x, const CRemindInfo& y) {
        return x.CompareServiceAndTime(y);
    });
}

int reminder_info_compare_service_time_and_repeat(const remind_info_type_s* a,
                                                  const remind_info_type_s* b) {
    return Both(a, b, [](const CRemindInfo& x, const CRemindInfo& y) {
        return x.CompareServiceTimeAndRepeat(y);
    });
}

int reminder_info_compare_service(const remind_info_type_s* a, const remind_info_type_s* b) {
    return Both(a, b,
                [](const CRemindInfo& x, const CRemindInfo& y) { return x.CompareService(y); });
}

int reminder_info_compare_service_tcprogram(const remind_info_type_s* handle,
                                            const TCProgramData* program) {
    return With(handle, program,
                [](const CRemindInfo& r, const TCProgramData& p) { return r.CompareService(p); });
}

int reminder_info_compare_service_tcchannel(const remind_info_type_s* handle,
                                            const TCServiceData* service) {
    return With(handle, service,
                [](const CRemindInfo& r, const TCServiceData& s) { return r.CompareService(s); });
}

int reminder_info_compare_event(const remind_info_type_s* a, const remind_info_type_s* b) {
    return Both(a, b, [](const CRemindInfo& x, const CRemindInfo& y) { return x.CompareEvent(y); });
}

int reminder_info_compare_event_tcprogram(const remind_info_type_s* handle,
                                          const TCProgramData* program) {
    return With(handle, program,
                [](const CRemindInfo& r, const TCProgramData& p) { return r.CompareEvent(p); });
}

int reminder_info_compare_crid(const remind_info_type_s* a, const remind_info_type_s* b) {
    return Both(a, b, [](const CRemindInfo& x, const CRemindInfo& y) { return x.CompareCRID(y); });
}

int reminder_info_is_conflict(const remind_info_type_s* a, const remind_info_type_s* b) {
    return Both(a, b, [](const CRemindInfo& x, const CRemindInfo& y) { return x.IsConflict(y); });
}

int reminder_info_is_conflict_tcprogram(const remind_info_type_s* handle,
                                        const TCProgramData* program) {
    return With(handle, program,
                [](const CRemindInfo& r, const TCProgramData& p) { return r.IsConflict(p); });
}

int reminder_info_is_part_of_a_series(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.IsPartOfASeries(); });
}

int reminder_info_is_split_event(const remind_info_type_s* handle) {
    return Get<int>(handle, [](const CRemindInfo& r) { return r.IsSplitEvent(); });
}

// --- Filling and copying ---

void reminder_info_copy_details_into_tcchannel(const remind_info_type_s* handle,
                                               TCServiceData* service) {
    if (service == nullptr) return;
    Get<int>(handle, [&](const CRemindInfo& r) {
        r.CopyDetailsInto(*service);
        return 0;
    });
}

void reminder_info_copy_unique_key_into(const remind_info_type_s* handle, TCServiceData* service) {
    if (service == nullptr) return;
    Get<int>(handle, [&](const CRemindInfo& r) {
        r.CopyUniqueKeyInto(*service);
        return 0;
    });
}

void reminder_info_copy_details_into_tcprogram(const remind_info_type_s*, unsigned long long*,
                                               void*) {}

void reminder_info_set_recording(remind_info_type_s* handle, const TCProgramData* program) {
    SetFrom(handle, program, [](CRemindInfo& r, const TCProgramData& p) { r.SetRecording(p); });
}

void reminder_info_set_timer_viewing(remind_info_type_s* handle, const TCProgramData* program) {
    SetFrom(handle, program, [](CRemindInfo& r, const TCProgramData& p) { r.SetTimerViewing(p); });
}

void reminder_info_set_from_tcprogram(remind_info_type_s* handle, const TCProgramData* program,
                                      EReserveType type) {
    SetFrom(handle, program, [=](CRemindInfo& r, const TCProgramData& p) { r.Set(p, type); });
}

void reminder_info_set(remind_info_type_s* handle, unsigned short major, unsigned short minor,
                       unsigned short ptc, unsigned short channel_type,
                       unsigned short program_number) {
    Set(handle, [=](CRemindInfo& r) { r.Set(major, minor, ptc, channel_type, program_number); });
}

void reminder_info_seriel_set(remind_info_type_s* handle, unsigned short series_id,
                              unsigned short expired_date, char repeat_label, short episode_number,
                              short last_episode_number) {
    Set(handle, [=](CRemindInfo& r) {
        r.SerielSet(series_id, expired_date, repeat_label, episode_number, last_episode_number);
    });
}

void reminder_info_print(const remind_info_type_s* handle, const char* prefix) {
    Get<int>(handle, [=](const CRemindInfo& r) {
        r.Print(prefix);
        return 0;
    });
}

char* reminder_info_to_string(const remind_info_type_s* handle) {
    return GetText(handle, [](const CRemindInfo& r) { return r.ToString(); });
}

// --- Text conversion ---

int reminder_uni2utf8(char* out, size_t out_size, const char* in, size_t in_size) {
    if (out == nullptr || in == nullptr) return -1;
    const iconv_t cd = iconv_open("UTF-8", "UTF-16BE");
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        REMINDER_ERR("Iconv open failed");
        return -1;
    }
    // iconv's prototype takes the input as char**; it only reads through it.
    char* input = const_cast<char*>(in);
    size_t inLeft = in_size;
    char* output = out;
    size_t outLeft = out_size;
    if (iconv(cd, &input, &inLeft, &output, &outLeft) == static_cast<size_t>(-1)) {
        REMINDER_ERR("iconv failed: %d", errno);
    }
    return iconv_close(cd);
}

}  // extern "C"
