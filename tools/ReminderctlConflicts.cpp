// `reminderctl conflicts` and `add --check`: which bookings compete for the television's
// tuners, asked of the library the way a guide application asks before it stores a recording.
#include <json/json.h>

#include <cstdio>
#include <ctime>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "ReminderctlCommon.h"
#include "RemindInfo.h"
#include "ReminderAPI.h"
#include "ReminderAPIUtil.h"

namespace {

std::string JsonText(const Json::Value& value) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "  ";
    writer["emitUTF8"] = true;
    return Json::writeString(writer, value);
}

Json::Value BookingJson(const CRemindInfo& item) {
    Json::Value v(Json::objectValue);
    v["uid"] = item.m_nUid;
    v["title"] = BookingTitle(item);
    v["kind"] = BookingKind(item);
    v["service_id"] = static_cast<Json::UInt64>(item.m_nServiceId);
    v["channel"] = std::to_string(item.m_nMajor) + "." + std::to_string(item.m_nMinor);
    v["start"] = reminderctl::FormatLocal(item.m_nEventTime);
    v["duration_minutes"] = item.m_nDuration / 60;
    v["padded_start"] = reminderctl::FormatLocal(item.m_nEventTime - item.m_nStartMarginTime);
    v["padded_end"] =
        reminderctl::FormatLocal(item.m_nEventTime + item.m_nDuration + item.m_nEndMarginTime);
    return v;
}

std::string BookingLine(const CRemindInfo& item) {
    char line[256];
    std::snprintf(line, sizeof(line), "%-5u %s  %-13s %s", item.m_nUid,
                  reminderctl::FormatLocal(item.m_nEventTime).c_str(), BookingKind(item),
                  BookingTitle(item).c_str());
    return line;
}

void ExplainUnanswered() {
    if (!CReminderAPIUtil::FlagSupportCRID()) {
        std::printf(
            "This television computes no conflicts (it serves no programme CRIDs); every "
            "booking is taken as it comes.\n");
    }
}

// The library answers "no conflict" for a booking whose channel it cannot find by service id.
void ExplainUnanswered(const CRemindInfo& item) {
    ExplainUnanswered();
    TCServiceData channel;
    if (CReminderAPIUtil::FlagSupportCRID() && !CReminderAPIUtil::FindChannel(item, channel)) {
        std::printf(
            "The channel list has no service %llu for this booking, so no conflict is computed "
            "for it.\n",
            item.m_nServiceId);
    }
}

std::string TunerSummary() {
    const int tuners = CReminderAPIUtil::NumOfAvailableTuner();
    const int recordable = CReminderAPIUtil::NumOfRecordableTuner();
    return std::to_string(tuners) + (tuners == 1 ? " tuner, " : " tuners, ") +
           std::to_string(recordable) + " recordable";
}

void RunConflicts(bool json) {
    const std::vector<SBookingConflicts> schedule = ScheduleWithConflicts();
    if (json) {
        Json::Value out(Json::arrayValue);
        for (const SBookingConflicts& b : schedule) {
            if (b.conflicts.empty()) continue;
            Json::Value entry = BookingJson(b.booking);
            entry["conflicts_with"] = Json::Value(Json::arrayValue);
            for (const CRemindInfo& c : b.conflicts) entry["conflicts_with"].append(BookingJson(c));
            out.append(entry);
        }
        std::cout << JsonText(out) << "\n";
        return;
    }
    size_t count = 0;
    for (const SBookingConflicts& b : schedule) {
        if (b.conflicts.empty()) continue;
        ++count;
        std::printf("%s\n", BookingLine(b.booking).c_str());
        for (const CRemindInfo& c : b.conflicts) {
            std::printf("    conflicts with %s\n", BookingLine(c).c_str());
        }
    }
    if (count == 0) {
        std::printf("No conflicts among %zu booking(s) (%s).\n", schedule.size(),
                    TunerSummary().c_str());
        ExplainUnanswered();
        return;
    }
    std::printf("%zu of %zu booking(s) have a conflict (%s).\n", count, schedule.size(),
                TunerSummary().c_str());
}

}  // namespace

std::string BookingTitle(const CRemindInfo& item) {
    if (!item.m_sTitle.empty()) return item.m_sTitle;
    return item.m_nManual != 0 ? "(manual)" : "(untitled)";
}

const char* BookingKind(const CRemindInfo& item) {
    switch (static_cast<int>(item.m_nReserveType)) {
        case REMINDER_RESERVE_VIEWING:
            return "viewing";
        case REMINDER_RESERVE_RECORDING_IN_PROGRESS:
            return "recording now";
        case REMINDER_RESERVE_RECORDING_READY:
            return "ready";
        default:
            return IsRecordingBooking(item) ? "recording" : "other";
    }
}

bool IsRecordingBooking(const CRemindInfo& item) {
    switch (static_cast<int>(item.m_nReserveType)) {
        case REMINDER_RESERVE_RECORDING:
        case REMINDER_RESERVE_RECORDING_MONITORED:
        case REMINDER_RESERVE_RECORDING_IN_PROGRESS:
        case REMINDER_RESERVE_RECORDING_READY:
        case REMINDER_RESERVE_RECORDING_CRID:
            return !item.m_bRecordListBooking;
        default:
            return false;
    }
}

std::vector<SBookingConflicts> ScheduleWithConflicts() {
    CReminderAPI* api = CReminderAPI::GetInstance();
    std::vector<CRemindInfo> items;
    int count = 0;
    api->GetRemindItemsByType(count, items, REM_EXTRACT_SCHEDULED, REM_ORDER_BY_START_TIME);
    std::vector<SBookingConflicts> schedule;
    for (const CRemindInfo& item : items) {
        SBookingConflicts entry{item, {}};
        if (!api->ExistConflicts(item, entry.conflicts)) entry.conflicts.clear();
        schedule.push_back(std::move(entry));
    }
    return schedule;
}

namespace {

// The other showings that would have no conflict (none asked for when nothing conflicts).
std::map<ERemAlterativeType, std::vector<CRemindInfo>> AlternativesOf(
    const CRemindInfo& item, const std::vector<CRemindInfo>& conflicts) {
    std::map<ERemAlterativeType, std::vector<CRemindInfo>> alternatives;
    if (!conflicts.empty()) {
        CReminderAPI::GetInstance()->ExistAlternatives(item, conflicts, alternatives);
    }
    return alternatives;
}

Json::Value AlternativeJson(const CRemindInfo& showing, bool replaces) {
    Json::Value v = BookingJson(showing);
    v.removeMember("uid");
    if (replaces) v["replaces_uid"] = showing.m_nUid;
    return v;
}

}  // namespace

void CheckBooking(const CRemindInfo& item, bool json) {
    std::vector<CRemindInfo> conflicts;
    if (!CReminderAPI::GetInstance()->ExistConflicts(item, conflicts)) conflicts.clear();
    auto alternatives = AlternativesOf(item, conflicts);
    const std::vector<CRemindInfo>& forItem = alternatives[REM_ALTERNATIVE_FOR_ITEM];
    const std::vector<CRemindInfo>& forConflicting = alternatives[REM_ALTERNATIVE_FOR_CONFLICTING];
    if (json) {
        Json::Value out = BookingJson(item);
        out.removeMember("uid");
        out["conflicts_with"] = Json::Value(Json::arrayValue);
        for (const CRemindInfo& c : conflicts) out["conflicts_with"].append(BookingJson(c));
        Json::Value alt(Json::objectValue);
        alt["for_item"] = Json::Value(Json::arrayValue);
        alt["for_conflicting"] = Json::Value(Json::arrayValue);
        for (const CRemindInfo& a : forItem) alt["for_item"].append(AlternativeJson(a, false));
        for (const CRemindInfo& a : forConflicting) {
            alt["for_conflicting"].append(AlternativeJson(a, true));
        }
        out["alternatives"] = alt;
        std::cout << JsonText(out) << "\n";
        return;
    }
    std::printf("Checked, not stored: %s %s \"%s\"\n", BookingKind(item),
                reminderctl::FormatLocal(item.m_nEventTime).c_str(), BookingTitle(item).c_str());
    if (conflicts.empty()) {
        std::printf("No conflict (%s).\n", TunerSummary().c_str());
        ExplainUnanswered(item);
        return;
    }
    std::printf("It would conflict with %zu booking(s) (%s):\n", conflicts.size(),
                TunerSummary().c_str());
    for (const CRemindInfo& c : conflicts) std::printf("    %s\n", BookingLine(c).c_str());
    if (forItem.empty() && forConflicting.empty()) {
        std::printf("No other showing without a conflict.\n");
        return;
    }
    std::printf("Other showings without a conflict:\n");
    for (const CRemindInfo& a : forItem) {
        std::printf("    instead of this booking: %s  channel %u.%u  %s\n",
                    reminderctl::FormatLocal(a.m_nEventTime).c_str(), a.m_nMajor, a.m_nMinor,
                    BookingTitle(a).c_str());
    }
    for (const CRemindInfo& a : forConflicting) {
        std::printf("    instead of UID %u: %s  channel %u.%u  %s\n", a.m_nUid,
                    reminderctl::FormatLocal(a.m_nEventTime).c_str(), a.m_nMajor, a.m_nMinor,
                    BookingTitle(a).c_str());
    }
}

void AddConflictsCommand(CLI::App& app) {
    CLI::App* cmd =
        app.add_subcommand("conflicts", "Every booking that has a tuner conflict, and with what");
    auto json = std::make_shared<bool>(false);
    cmd->add_flag("--json", *json, "As a JSON array");
    cmd->callback([json] { RunConflicts(*json); });
}
