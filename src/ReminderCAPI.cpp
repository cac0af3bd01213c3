// The C scheduler interface: thin adapters over the facade. Records cross as handles, lists as a
// count and a malloc'ed array of new handles. No C++ exception crosses it.
#include "reminder_api.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "ReminderAPI.h"
#include "ReminderAPIUtil.h"
#include "ReminderDBusInfo.h"
#include "ReminderLog.h"
#include "remind_info.h"

namespace {

// Above this many elements the size of the handle array would wrap on a 32-bit device.
constexpr size_t kMaxListElements = 0x1FC00000;

// Runs `body`; an exception becomes a logged failure, answered with R() (0 or NULL).
template <typename R = int, typename Body>
R Guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
    } catch (...) {
        REMINDER_ERR("Exception Handled : %s", "unknown");
    }
    return R();
}

// Runs `call` on the facade; 0 when there is none.
template <typename Call>
int WithApi(Call&& call) noexcept {
    return Guarded([&]() -> int {
        CReminderAPI* api = CReminderAPI::GetInstance();
        if (api == nullptr) return 0;
        return static_cast<int>(call(*api));
    });
}

const CRemindInfo& Record(const remind_info_type_s* handle) {
    return *reinterpret_cast<const CRemindInfo*>(handle);
}

CRemindInfo& Record(remind_info_type_s* handle) {
    return *reinterpret_cast<CRemindInfo*>(handle);
}

// A new array of new handles holding copies of `items`; NULL when memory ran out (nothing is
// left allocated then). Released with reminder_info_list_free.
remind_info_type_s** NewHandleArray(const std::vector<CRemindInfo>& items) {
    const size_t count = items.size();
    // An oversized request fails here instead of wrapping the size on a 32-bit device.
    if (count > kMaxListElements) return nullptr;
    auto** array =
        static_cast<remind_info_type_s**>(std::malloc(count * sizeof(remind_info_type_s*)));
    if (array == nullptr) return nullptr;
    size_t made = 0;
    try {
        for (; made < count; ++made) {
            array[made] = reminder_info_add();
            if (array[made] == nullptr) break;
            Record(array[made]) = items[made];
        }
    } catch (...) {
        ++made;  // the handle whose copy failed exists
        reminder_info_list_free(array, static_cast<int>(made));
        throw;
    }
    if (made < count) {
        reminder_info_list_free(array, static_cast<int>(made));
        return nullptr;
    }
    return array;
}

// Hands `items` to the caller when `found`: the count, and the array when there are items.
// Nothing found or no memory: a count of 0 and the caller's array pointer left alone.
bool HandOver(bool found, const std::vector<CRemindInfo>& items, int* count,
              remind_info_type_s*** list) {
    *count = 0;
    if (!found || items.empty()) return found;
    remind_info_type_s** array = NewHandleArray(items);
    if (array == nullptr) {
        REMINDER_ERR("No memory for a list of [%zu] items", items.size());
        return false;
    }
    *list = array;
    *count = static_cast<int>(items.size());
    return true;
}

// One list function: `query(api, items)` fills the vector, which is then handed over.
template <typename Query>
int ListOf(int* count, remind_info_type_s*** list, Query&& query) noexcept {
    if (count == nullptr || list == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) {
        std::vector<CRemindInfo> items;
        const bool found = query(api, items);
        return HandOver(found, items, count, list);
    });
}

// As ListOf, for a query about one item.
template <typename Query>
int ListAbout(const remind_info_type_s* item, int* count, remind_info_type_s*** list,
              Query&& query) noexcept {
    if (item == nullptr) return 0;
    return ListOf(count, list, [&](CReminderAPI& api, std::vector<CRemindInfo>& items) {
        return query(api, Record(item), items);
    });
}

// The records behind `count` handles; NULL handles are skipped.
std::vector<CRemindInfo> Records(remind_info_type_s* const* handles, int count) {
    std::vector<CRemindInfo> records;
    for (int i = 0; i < count; ++i) {
        if (handles[i] != nullptr) records.push_back(Record(handles[i]));
    }
    return records;
}

// A malloc'ed copy for the caller.
char* Copy(const std::string& text) {
    return strdup(text.c_str());
}

int RegisterSignalCallback(reminder_signal_cb func, void* data) {
    return WithApi([&](CReminderAPI& api) { return api.RegisterEventCB(func, data); });
}

int UnregisterSignalCallback() {
    return WithApi([](CReminderAPI& api) {
        api.UnRegisterEventCB();
        return 1;
    });
}

// The compatibility functions: they make sure the facade exists and do nothing else.
int KeptAnswering0() {
    return WithApi([](CReminderAPI&) { return 0; });
}

int KeptAnswering1() {
    return WithApi([](CReminderAPI&) { return 1; });
}

}  // namespace

extern "C" {

// --- Life cycle and events ---

int reminder_init(void) {
    return WithApi([](CReminderAPI&) { return 1; });
}

int reminder_last_store_error(void) {
    return CReminderAPI::LastStoreError();
}

char* reminder_last_refusal(void) {
    return Guarded<char*>([] { return Copy(CReminderAPI::LastRefusal()); });
}

int reminder_register_signal_callback(reminder_signal_cb func, void* data) {
    return RegisterSignalCallback(func, data);
}

int reminder_unregister_signal_callback(void) {
    return UnregisterSignalCallback();
}

int reminder_e_register_signal_callback(reminder_signal_cb func, void* data) {
    return RegisterSignalCallback(func, data);
}

int reminder_e_unregister_signal_callback(void) {
    return UnregisterSignalCallback();
}

int reminder_send_event(const TReminderEvent* event) {
    return Guarded([&] { return CReminderDBusInfo::SendEvent(event) ? 1 : 0; });
}

// --- One item ---

int reminder_add_remind_item(remind_info_type_s* item, int start_flag, int notify) {
    if (item == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) {
        return api.AddRemindItem(Record(item), start_flag != 0, notify != 0);
    });
}

int reminder_get_remind_item_by_uid(unsigned long uid, remind_info_type_s* out) {
    if (out == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) { return api.GetRemindItemByUid(uid, Record(out)); });
}

int reminder_get_record_ready_remind_item(remind_info_type_s* out) {
    if (out == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) { return api.GetRecordReadyRemindItem(Record(out)); });
}

int reminder_find_remind_item(const remind_info_type_s* item, remind_info_type_s* out) {
    if (item == nullptr || out == nullptr) return 0;
    return WithApi(
        [&](CReminderAPI& api) { return api.FindRemindItem(Record(item), Record(out)); });
}

int reminder_find_remind_item_for_rct(const remind_info_type_s* item, remind_info_type_s* out) {
    if (item == nullptr || out == nullptr) return 0;
    return WithApi(
        [&](CReminderAPI& api) { return api.FindRemindItemForRCT(Record(item), Record(out)); });
}

int reminder_find_remind_item_from_program(const TCProgramData* program, remind_info_type_s* out) {
    if (program == nullptr || out == nullptr) return 0;
    return WithApi(
        [&](CReminderAPI& api) { return api.FindRemindItemFromProgram(*program, Record(out)); });
}

int reminder_exist_same_time_remind_item(const remind_info_type_s* item, remind_info_type_s** out) {
    if (item == nullptr || out == nullptr) return 0;
    if (*out == nullptr) *out = reminder_info_add();
    if (*out == nullptr) return 0;
    return WithApi(
        [&](CReminderAPI& api) { return api.ExistSameTimeRemindItem(Record(item), Record(*out)); });
}

int reminder_update_remind_item_by_uid(unsigned long uid, const remind_info_type_s* item,
                                       int clear_alarm, int start_flag, int notify) {
    if (item == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) {
        return api.UpdateRemindItemByUid(uid, Record(item), clear_alarm != 0, start_flag != 0,
                                         notify != 0);
    });
}

int reminder_update_channel_info_of_remind_items(unsigned short channel_type) {
    return WithApi(
        [=](CReminderAPI& api) { return api.UpdateChannelInfoOfRemindItems(channel_type); });
}

// --- Deleting ---

int reminder_delete_remind_item_by_uid(unsigned long uid, int by_user) {
    return WithApi([=](CReminderAPI& api) { return api.DeleteRemindItemByUid(uid, by_user != 0); });
}

int reminder_delete_remind_item_alone_by_uid(unsigned long uid) {
    return WithApi([=](CReminderAPI& api) { return api.DeleteRemindItemAloneByUid(uid); });
}

int reminder_user_delete_remind_item_by_uid(unsigned long uid) {
    return WithApi([=](CReminderAPI& api) { return api.UserDeleteRemindItemByUid(uid); });
}

int reminder_delete_all_remind_item(void) {
    return WithApi([](CReminderAPI& api) { return api.DeleteAllRemindItem(); });
}

int reminder_delete_expired_item(void) {
    return WithApi([](CReminderAPI& api) { return api.DeleteExpiredItem(); });
}

int reminder_delete_past_remind_item(void) {
    return WithApi([](CReminderAPI& api) { return api.DeletePastRemindItem(); });
}

int reminder_delete_matching_remind_items(EDeleteType type, const void* value,
                                          EChannelType channel_type, int flag) {
    if (value == nullptr) return 0;
    return WithApi([=](CReminderAPI& api) {
        // The scheduler reads CRID keys as string objects; C callers give C strings.
        const bool byCrid = type == REM_DELETE_BY_PROGRAM_CRID ||
                            type == REM_DELETE_BY_GROUP_CRID || type == REM_DELETE_BY_SERIES_CRID;
        const std::string crid = byCrid ? static_cast<const char*>(value) : "";
        return api.DeleteMatchingRemindItems(type, byCrid ? &crid : value, channel_type, flag != 0);
    });
}

int reminder_delete_recording_item(void) {
    return WithApi([](CReminderAPI& api) { return api.DeleteRecordingItem(); });
}

int reminder_delete_overlapping_remind_items(const remind_info_type_s* item) {
    if (item == nullptr) return 0;
    return WithApi(
        [&](CReminderAPI& api) { return api.DeleteOverlappingRemindItems(Record(item)); });
}

int reminder_delete_remind_items(int count, const unsigned long* uids) {
    if (count > 0 && uids == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) {
        std::vector<unsigned long> list;
        if (count > 0) list.assign(uids, uids + count);
        return api.DeleteRemindItems(list);
    });
}

int reminder_check_time_and_delete(unsigned long time) {
    return WithApi([=](CReminderAPI& api) {
        if (time >= CReminderAPIUtil::GetCurrentTime()) return false;
        return api.DeletePastRemindItem();
    });
}

// --- Recording and state ---

int reminder_check_remind_item_is_recordable(unsigned long uid) {
    return WithApi([=](CReminderAPI& api) { return api.CheckRemindItemIsRecordable(uid); });
}

int reminder_recording_is_delayed(unsigned long uid) {
    return WithApi([=](CReminderAPI& api) { return api.RecordingIsDelayed(uid); });
}

int reminder_get_remind_item_cnt(void) {
    return WithApi([](CReminderAPI& api) { return api.GetRemindItemCnt(); });
}

int reminder_get_reminder_list_size(void) {
    return WithApi([](CReminderAPI& api) { return api.GetReminderListSize(); });
}

int reminder_flag_exist_record_item(void) {
    return WithApi([](CReminderAPI& api) { return api.FlagExistRecordItem(); });
}

int reminder_flag_reminder_list_is_full(void) {
    return WithApi([](CReminderAPI& api) { return api.FlagReminderListIsFull(); });
}

int reminder_is_channel_scheduled(const TCServiceData* service) {
    if (service == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) { return api.IsChannelScheduled(*service); });
}

int reminder_is_basic_series(remind_info_type_s* item) {
    if (item == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) { return api.IsBasicSeries(Record(item)); });
}

int reminder_is_record_as_basic_series(TCProgramData* program) {
    if (program == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) { return api.IsRecordAsBasicSeries(*program); });
}

int reminder_is_latest_series_program(const remind_info_type_s* item) {
    if (item == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) { return api.IsLatestSeriesProgram(Record(item)); });
}

int reminder_get_max_item_cnt(void) {
    return Guarded([] { return CReminderAPIUtil::GetMaxItemCnt(); });
}

int reminder_get_country(void) {
    return Guarded([] { return CReminderAPIUtil::GetCountry(); });
}

unsigned long reminder_get_start_time(unsigned long start, EReminderRepeatType type,
                                      unsigned char weekdays, int skip_today) {
    return Guarded<unsigned long>(
        [=] { return CReminderAPIUtil::GetStartTime(start, type, weekdays, skip_today != 0); });
}

// --- Lookups by CRID ---

int reminder_find_group_booking(const char* crid, remind_info_type_s* out) {
    if (crid == nullptr || out == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) { return api.FindGroupBooking(crid, Record(out)); });
}

int reminder_find_series_booking(const char* crid, remind_info_type_s* out) {
    if (crid == nullptr || out == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) { return api.FindSeriesBooking(crid, Record(out)); });
}

int reminder_is_program_scheduled(const char* crid, remind_info_type_s* out) {
    if (crid == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) {
        return api.IsProgramScheduled(crid, out == nullptr ? nullptr : &Record(out));
    });
}

// --- Lists ---

int reminder_get_remind_item_by_type(int* count, remind_info_type_s*** list, EExtractType type) {
    if (count == nullptr || list == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) {
        std::vector<CRemindInfo> items;
        // The facade writes the count itself; an empty list is an answer too.
        if (!api.GetRemindItemsByType(*count, items, type, REM_ORDER_BY_START_TIME)) return true;
        return HandOver(true, items, count, list);
    });
}

int reminder_get_remind_item_for_mheg(int* count, remind_info_type_s*** list) {
    return ListOf(count, list, [](CReminderAPI& api, std::vector<CRemindInfo>& items) {
        return api.GetRemindItemsForMHEG(items);
    });
}

int reminder_get_remind_items_for_crid(const char* crid, int* count, remind_info_type_s*** list) {
    if (crid == nullptr) return 0;
    return ListOf(count, list, [&](CReminderAPI& api, std::vector<CRemindInfo>& items) {
        return api.GetRemindItemsForCrid(crid, items);
    });
}

int reminder_get_overlapping_remind_items(const remind_info_type_s* item, int* count,
                                          remind_info_type_s*** list) {
    return ListAbout(item, count, list,
                     [](CReminderAPI& api, const CRemindInfo& r, std::vector<CRemindInfo>& items) {
                         return api.GetOverlappingRemindItems(r, items, true);
                     });
}

int reminder_get_current_recording_items(int* count, remind_info_type_s*** list) {
    return ListOf(count, list, [](CReminderAPI& api, std::vector<CRemindInfo>& items) {
        return api.GetCurrentRecordingItems(items);
    });
}

int reminder_get_start_time_is_same_items(const remind_info_type_s* item, int* count,
                                          remind_info_type_s*** list) {
    return ListAbout(item, count, list,
                     [](CReminderAPI& api, const CRemindInfo& r, std::vector<CRemindInfo>& items) {
                         return api.GetStartTimeIsSameItems(r, items, REM_SCHEDULED_ALL);
                     });
}

int reminder_get_start_time_is_same_viewing_items(const remind_info_type_s* item, int* count,
                                                  remind_info_type_s*** list) {
    return ListAbout(item, count, list,
                     [](CReminderAPI& api, const CRemindInfo& r, std::vector<CRemindInfo>& items) {
                         return api.GetStartTimeIsSameItems(r, items, REM_SCHEDULED_VIEWING);
                     });
}

int reminder_exist_conflicts(const remind_info_type_s* item, int* count) {
    if (item == nullptr || count == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) {
        std::vector<CRemindInfo> conflicts;
        const bool found = api.ExistConflicts(Record(item), conflicts);
        *count = found ? static_cast<int>(conflicts.size()) : 0;
        return found;
    });
}

int reminder_exist_conflicts_with_exclusions(const remind_info_type_s* item,
                                             remind_info_type_s* const* exclusions,
                                             int exclusion_count, int flag) {
    if (item == nullptr || (exclusion_count > 0 && exclusions == nullptr)) return 0;
    return Guarded([&] {
        const std::vector<CRemindInfo> excluded = Records(exclusions, exclusion_count);
        return CReminderAPIUtil::ExistConflictsWithExclusions(Record(item), excluded, flag != 0)
                   ? 1
                   : 0;
    });
}

int reminder_exist_alternatives(const remind_info_type_s* item,
                                remind_info_type_s* const* conflicts, int conflict_count,
                                int counts[REMINDER_ALTERNATIVE_KINDS],
                                remind_info_type_s** lists[REMINDER_ALTERNATIVE_KINDS]) {
    if (item == nullptr || counts == nullptr || lists == nullptr) return 0;
    if (conflict_count > 0 && conflicts == nullptr) return 0;
    return WithApi([&](CReminderAPI& api) {
        const std::vector<CRemindInfo> others = Records(conflicts, conflict_count);
        std::map<ERemAlterativeType, std::vector<CRemindInfo>> alternatives;
        const bool found = api.ExistAlternatives(Record(item), others, alternatives);
        // Every kind's array is made before any is handed over, so that a failure hands over
        // none of them.
        remind_info_type_s** arrays[REMINDER_ALTERNATIVE_KINDS] = {};
        bool complete = true;
        for (int kind = 0; kind < REMINDER_ALTERNATIVE_KINDS; ++kind) {
            const std::vector<CRemindInfo>& items =
                alternatives[static_cast<ERemAlterativeType>(kind)];
            if (items.empty()) continue;
            arrays[kind] = NewHandleArray(items);
            complete = complete && arrays[kind] != nullptr;
        }
        for (int kind = 0; kind < REMINDER_ALTERNATIVE_KINDS; ++kind) {
            const auto size = alternatives[static_cast<ERemAlterativeType>(kind)].size();
            counts[kind] = 0;
            if (!complete) {
                reminder_info_list_free(arrays[kind], static_cast<int>(size));
            } else if (arrays[kind] != nullptr) {
                lists[kind] = arrays[kind];
                counts[kind] = static_cast<int>(size);
            }
        }
        return found && complete;
    });
}

// --- Text helpers ---

int reminder_get_text_for_timer_recording_error_by_time_change(unsigned short code, char** text) {
    if (text == nullptr) return 0;
    std::string message;
    const int result = Guarded([&] {
        return CReminderAPIUtil::GetTextForTimerRecordingErrorByTimeChange(code, message) ? 1 : 0;
    });
    *text = Copy(message);
    return result;
}

char* reminder_lower_case(const char* text) {
    if (text == nullptr) return nullptr;
    return Guarded<char*>([&] { return Copy(CReminderAPIUtil::LowerCase(text)); });
}

int reminder_compare_str_ignoring_case(const char* a, const char* b) {
    return Guarded([&] {
        return CReminderAPIUtil::CompareStrIgnoringCase(a != nullptr ? a : "",
                                                        b != nullptr ? b : "");
    });
}

char* reminder_program_to_string(const TCProgramData* program) {
    if (program == nullptr) return nullptr;
    return Guarded<char*>([&] { return Copy(CReminderAPIUtil::ProgramToString(*program)); });
}

// --- Kept for existing clients ---

int reminder_add_record_list_booking(const remind_info_type_s*) {
    return KeptAnswering0();
}

int reminder_save_remind_list_to_file(void) {
    return KeptAnswering0();
}

int reminder_check_exist_remind_item_should_be_started_recording(void) {
    return KeptAnswering0();
}

int reminder_check_exist_remind_item_should_be_stopped_recording(void) {
    return KeptAnswering0();
}

int reminder_check_exist_remind_item_should_be_stopped_recording_with_window_id(int) {
    return KeptAnswering0();
}

int reminder_init_record_item(void) {
    return KeptAnswering0();
}

int reminder_trans_recording_to_fail(unsigned long, int) {
    return KeptAnswering0();
}

int reminder_is_series_episode_recorded(const remind_info_type_s*) {
    return KeptAnswering0();
}

int reminder_is_group_program_recorded(const remind_info_type_s*) {
    return KeptAnswering0();
}

int reminder_series_event_added(const remind_info_type_s*) {
    return KeptAnswering0();
}

int reminder_series_event_deleted(const remind_info_type_s*) {
    return KeptAnswering0();
}

int reminder_get_next_booking_order_value(void) {
    return KeptAnswering0();
}

int reminder_get_eit_monitoring_status(void) {
    return KeptAnswering0();
}

int reminder_turn_on_eit_monitoring(void) {
    return KeptAnswering0();
}

int reminder_turn_off_eit_monitoring(void) {
    return KeptAnswering0();
}

int reminder_add_next_episode(const remind_info_type_s*) {
    return KeptAnswering0();
}

int reminder_set_episode_as_recorded(const remind_info_type_s*) {
    return KeptAnswering1();
}

int reminder_set_group_episode_as_recorded(const remind_info_type_s*) {
    return KeptAnswering1();
}

int reminder_set_eit_monitoring_status(int) {
    return KeptAnswering1();
}

int reminder_monitor_series_program(const remind_info_type_s*) {
    return KeptAnswering1();
}

int reminder_search_and_add_next_episode(const remind_info_type_s*) {
    return KeptAnswering1();
}

int reminder_check_time(unsigned long, int* a, int* b) {
    if (a != nullptr) *a = *a != 0 ? 1 : 0;
    if (b != nullptr) *b = *b != 0 ? 1 : 0;
    return 0;
}

}  // extern "C"
