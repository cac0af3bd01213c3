// `reminderctl expire` and `reminderctl recorder ...`: the housekeeping passes a television runs
// as time goes by, and the recorder's side of a recording's life (ready, recording, then done,
// failed or delayed).
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

namespace {

[[noreturn]] void Refuse(const std::string& message) {
    std::cerr << message << "\n";
    throw CLI::RuntimeError(1);
}

// "UID 4 "Title" (2024-03-01 20:00, channel 1.0)"
std::string Describe(const CRemindInfo& item) {
    const std::string title = item.m_sTitle.empty() ? "(manual)" : item.m_sTitle;
    return "UID " + std::to_string(item.m_nUid) + " \"" + title + "\" (" +
           reminderctl::FormatLocal(item.m_nEventTime) + ", channel " +
           std::to_string(item.m_nMajor) + "." + std::to_string(item.m_nMinor) + ")";
}

std::map<uint32_t, CRemindInfo> RowsByUid() {
    std::vector<CRemindInfo> items;
    int count = 0;
    CReminderAPI::GetInstance()->GetRemindItemsByType(count, items, REM_EXTRACT_ALL_BOOKINGS,
                                                      REM_ORDER_BY_START_TIME);
    std::map<uint32_t, CRemindInfo> rows;
    for (const CRemindInfo& item : items) rows.emplace(item.m_nUid, item);
    return rows;
}

// Prints what a pass did to the list: rows moved to a later time, turned into failed
// recordings, removed, or booked anew. Returns how many lines it printed.
int PrintChanges(const std::map<uint32_t, CRemindInfo>& before,
                 const std::map<uint32_t, CRemindInfo>& after) {
    int lines = 0;
    for (const auto& [uid, old] : before) {
        const auto now = after.find(uid);
        // SQLite may hand a freed UID to a new row: a row whose addition time changed is new.
        if (now == after.end() || now->second.m_nAddedTime != old.m_nAddedTime) {
            std::printf("  Deleted   %s\n", Describe(old).c_str());
        } else if (now->second.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED &&
                   old.m_nReserveType != REMINDER_RESERVE_RECORDING_FAILED) {
            std::printf("  Failed    %s: %s\n", Describe(old).c_str(),
                        FailureReason(now->second).c_str());
        } else if (now->second.m_nEventTime != old.m_nEventTime) {
            std::printf("  Moved     %s to %s\n", Describe(old).c_str(),
                        reminderctl::FormatLocal(now->second.m_nEventTime).c_str());
        } else {
            continue;
        }
        ++lines;
    }
    for (const auto& [uid, row] : after) {
        const auto old = before.find(uid);
        if (old != before.end() && old->second.m_nAddedTime == row.m_nAddedTime) continue;
        std::printf("  Booked    %s\n", Describe(row).c_str());
        ++lines;
    }
    return lines;
}

void RunExpire() {
    CReminderAPI* api = CReminderAPI::GetInstance();
    auto before = RowsByUid();
    std::printf("Bookings whose start has passed:\n");
    api->DeletePastRemindItem();
    auto after = RowsByUid();
    if (PrintChanges(before, after) == 0) std::printf("  nothing\n");
    std::printf("Bookings whose validity has ended:\n");
    api->DeleteExpiredItem();
    before = std::move(after);
    after = RowsByUid();
    if (PrintChanges(before, after) == 0) std::printf("  nothing\n");
}

CRemindInfo StoredOrFail(unsigned long uid) {
    CRemindInfo item;
    if (!CReminderAPI::GetInstance()->GetRemindItemByUid(uid, item) || item.m_nUid != uid) {
        Refuse("No booking with UID " + std::to_string(uid) + ".");
    }
    return item;
}

void RunReady(unsigned long uid) {
    CRemindInfo item = StoredOrFail(uid);
    const int reserve = item.m_nReserveType;
    if (reserve != REMINDER_RESERVE_RECORDING && reserve != REMINDER_RESERVE_RECORDING_MONITORED &&
        reserve != REMINDER_RESERVE_RECORDING_CRID) {
        Refuse("UID " + std::to_string(uid) + " is not a recording waiting for its time.");
    }
    item.m_nReserveType = REMINDER_RESERVE_RECORDING_READY;
    if (!CReminderAPI::GetInstance()->UpdateRemindItemByUid(uid, item, false, false, true)) {
        Refuse("UID " + std::to_string(uid) + " could not be changed.");
    }
    std::printf("Ready to record: %s\n", Describe(item).c_str());
}

void RunNext() {
    CReminderAPI* api = CReminderAPI::GetInstance();
    CRemindInfo item;
    if (!api->GetRecordReadyRemindItem(item)) Refuse("No recording is ready.");
    // The recorder has started: the booking is marked as being recorded.
    item.m_bRecording = true;
    if (!api->UpdateRemindItemByUid(item.m_nUid, item, false, false, true)) {
        Refuse("UID " + std::to_string(item.m_nUid) + " could not be marked as recording.");
    }
    std::printf("Recording: %s\n", Describe(item).c_str());
}

void RunFail(unsigned long uid, int error) {
    if (!CReminderAPI::GetInstance()->TransRecording2Fail(uid, error)) {
        Refuse("UID " + std::to_string(uid) + " is not being recorded.");
    }
    const CRemindInfo item = StoredOrFail(uid);
    std::printf("Failed: %s: %s\n", Describe(item).c_str(), FailureReason(item).c_str());
}

void RunDelay(unsigned long uid) {
    if (!CReminderAPI::GetInstance()->RecordingIsDelayed(uid)) {
        Refuse("UID " + std::to_string(uid) + " is not being recorded.");
    }
    std::printf("Delayed, waiting again: %s\n", Describe(StoredOrFail(uid)).c_str());
}

void RunDone() {
    CReminderAPI* api = CReminderAPI::GetInstance();
    std::vector<CRemindInfo> current;
    api->GetCurrentRecordingItems(current);
    if (!api->DeleteRecordingItem()) Refuse("No recording is running.");
    // The earliest-starting running recording is the one that ended.
    const CRemindInfo* done = nullptr;
    for (const CRemindInfo& item : current) {
        if (item.m_nReserveType != REMINDER_RESERVE_RECORDING_IN_PROGRESS) continue;
        if (done == nullptr || item.m_nEventTime < done->m_nEventTime) done = &item;
    }
    if (done != nullptr) std::printf("Done: %s\n", Describe(*done).c_str());
}

void RunCurrent() {
    std::vector<CRemindInfo> current;
    if (!CReminderAPI::GetInstance()->GetCurrentRecordingItems(current)) {
        std::printf("Nothing is being recorded.\n");
        return;
    }
    for (const CRemindInfo& item : current) std::printf("Recording: %s\n", Describe(item).c_str());
}

}  // namespace

std::string FailureReason(const CRemindInfo& item) {
    std::string reason = "error " + std::to_string(item.m_nErrno);
    std::string text;
    if (CReminderAPI::GetInstance()->GetTextForTimerRecordingErrorByTimeChange(item.m_nErrno,
                                                                               text)) {
        reason += " (" + text + ")";
    }
    return reason;
}

void AddExpireCommand(CLI::App& app) {
    CLI::App* expire = app.add_subcommand(
        "expire",
        "Run the housekeeping passes at --now: past bookings move on or fail, expired ones go");
    expire->callback([] { RunExpire(); });
}

void AddRecorderCommand(CLI::App& app) {
    CLI::App* recorder = app.add_subcommand("recorder", "Drive recordings as the recorder does");
    recorder->require_subcommand(1);

    auto uid = std::make_shared<unsigned long>(0);
    auto error = std::make_shared<int>(0);

    CLI::App* ready =
        recorder->add_subcommand("ready", "Mark a recording ready to start (its time has come)");
    ready->add_option("UID", *uid)->required();
    ready->callback([uid] { RunReady(*uid); });

    recorder->add_subcommand("next", "Take the earliest ready recording and start it")
        ->callback([] { RunNext(); });

    CLI::App* fail = recorder->add_subcommand("fail", "A running recording failed");
    fail->add_option("UID", *uid)->required();
    fail->add_option("--errno", *error, "Error number of the failure")->required();
    fail->callback([uid, error] { RunFail(*uid, *error); });

    CLI::App* delay =
        recorder->add_subcommand("delay", "A running recording must wait (a conflict)");
    delay->add_option("UID", *uid)->required();
    delay->callback([uid] { RunDelay(*uid); });

    recorder->add_subcommand("done", "The running recording ended: remove its booking")
        ->callback([] { RunDone(); });
    recorder->add_subcommand("current", "The recordings running now")->callback([] {
        RunCurrent();
    });
}
