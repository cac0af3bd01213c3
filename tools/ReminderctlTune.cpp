// `reminderctl tune` and `reminderctl monitor`: what the reminder pop-up does when the viewer
// accepts a reminder, and a process that follows the booked programmes as the broadcaster
// changes them.
#include <signal.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Commands.h"
#include "ReminderctlCommon.h"
#include "RemindInfo.h"
#include "ReminderAPI.h"
#include "ReminderAPIUtil.h"
#include "device/power.h"
#include "tvsim/tvsim.h"

namespace {

[[noreturn]] void Fail(const std::string& message) {
    std::cerr << message << "\n";
    throw CLI::RuntimeError(1);
}

// --- tune ---

// What is on screen when the viewer accepts; unset options keep the television's own state.
struct STuneOptions {
    unsigned long uid = 0;
    bool dualView = false;
    bool highlightPlayer = false;
    bool guideShown = false;
    bool pictureOff = false;
    std::optional<int> pvrResult;
    std::optional<int> stopType;
    std::optional<int> handler;
};

CRemindInfo BookingOrFail(unsigned long uid) {
    CRemindInfo item;
    if (!CReminderAPI::GetInstance()->GetRemindItemByUid(uid, item) || item.m_nUid != uid) {
        Fail("No booking with UID " + std::to_string(uid) + ".");
    }
    return item;
}

// The message part of the last failure line the library logged, or "".
std::string LastLoggedFailure() {
    const auto logs = tvsim::Logs();
    for (auto it = logs.rbegin(); it != logs.rend(); ++it) {
        if (it->logId != 2) continue;
        const auto mark = it->text.find("> ");
        return mark == std::string::npos ? it->text : it->text.substr(mark + 2);
    }
    return "";
}

void RunTune(const STuneOptions& options) {
    const CRemindInfo item = BookingOrFail(options.uid);
    if (options.dualView) tvsim::SetDualView(true);
    if (options.highlightPlayer) tvsim::SetHighlightPlayer(1);
    if (options.guideShown) tvsim::SetGuideShown(true);
    if (options.pictureOff) tvsim::SetPowerState(POWER_STATE_PICTUREOFF);
    if (options.pvrResult || options.stopType || options.handler) {
        tvsim::SetPreChannelChange(options.pvrResult.value_or(0), options.stopType.value_or(0),
                                   options.handler.value_or(0));
    }
    const int powerBefore = tvsim::PowerState();
    tvsim::ClearLogs();

    CReminderAPIUtil::TuneChannel(item);

    bool acted = false;
    for (const tvsim::RemoteSend& send : tvsim::RemoteSends()) {
        std::printf("Sent channel %d.%d to the universal remote (source %d).\n", send.major,
                    send.minor, send.source);
        acted = true;
    }
    for (const tvsim::Launch& launch : tvsim::Launches()) {
        std::printf("Launched %s with:\n", launch.appId.c_str());
        for (const auto& [key, value] : launch.extraData) {
            std::printf("  %s = %s\n", key.c_str(), value.c_str());
        }
        acted = true;
    }
    if (powerBefore == POWER_STATE_PICTUREOFF && tvsim::PowerState() != powerBefore) {
        std::printf("The set left picture-off first.\n");
    }
    if (!acted) {
        const std::string reason = LastLoggedFailure();
        Fail("Nothing was launched" + (reason.empty() ? std::string(".") : ": " + reason));
    }
}

// --- monitor ---

struct SMonitorOptions {
    int count = 0;         // stop after this many changes; 0: never
    double timeout = 0.0;  // stop after this many seconds; 0: never
};

// What the monitoring process follows, for naming the bookings a change concerns.
struct SMonitorState {
    std::mutex mutex;
    std::condition_variable changed;
    int nSeen = 0;
    std::vector<CRemindInfo> vItems;
    std::set<std::string> sCrids;  // lower case
};

std::atomic<SMonitorState*> g_monitor{nullptr};
std::atomic<bool> g_stop{false};

const char* ChangeName(EProgramChangeType type) {
    switch (type) {
        case PROGRAM_CHANGE_START_TIME:
            return "start-time";
        case PROGRAM_CHANGE_STARTED:
            return "started";
        case PROGRAM_CHANGE_ENDED:
            return "ended";
        default:
            return "other";
    }
}

// A guide time (UTC) on the television's local clock.
std::string LocalText(unsigned long utc) {
    return reminderctl::FormatLocal(CReminderAPIUtil::GetLocalTime(utc));
}

// Arrives on the subscriber's thread.
void PrintChange(EProgramChangeType type, TCProgramData* program, void*) {
    SMonitorState* state = g_monitor.load();
    if (state == nullptr || program == nullptr) return;
    std::string title(static_cast<size_t>(program->TitleLength()), '\0');
    program->Title(&title[0], program->TitleLength());
    std::list<std::string> series;
    program->GetCRIDs(series, CRID_TYPE_SERIES);

    std::lock_guard<std::mutex> lock(state->mutex);
    std::string uids;
    for (const CRemindInfo& item : state->vItems) {
        if (item.m_nServiceId == program->ServiceId() && item.m_nEventId == program->EventId()) {
            uids += (uids.empty() ? "" : ",") + std::to_string(item.m_nUid);
        }
    }
    std::string crid;
    for (const std::string& s : series) {
        if (state->sCrids.count(CReminderAPIUtil::LowerCase(s)) != 0) crid = s;
    }
    std::printf("%s service=%llu event=%u start=%s duration=%lu min", ChangeName(type),
                program->ServiceId(), program->EventId(), LocalText(program->StartTime()).c_str(),
                program->Duration() / 60);
    if (!uids.empty()) std::printf(" uid=%s", uids.c_str());
    if (!crid.empty()) std::printf(" series=%s", crid.c_str());
    std::printf("  %s\n", title.c_str());
    std::fflush(stdout);
    ++state->nSeen;
    state->changed.notify_all();
}

bool IsGuideRecording(const CRemindInfo& item) {
    switch (static_cast<int>(item.m_nReserveType)) {
        case REMINDER_RESERVE_RECORDING:
        case REMINDER_RESERVE_RECORDING_MONITORED:
        case REMINDER_RESERVE_RECORDING_IN_PROGRESS:
        case REMINDER_RESERVE_RECORDING_READY:
        case REMINDER_RESERVE_RECORDING_CRID:
            return item.m_nManual == 0;
        default:
            return false;
    }
}

void RunMonitor(const SMonitorOptions& options) {
    SMonitorState state;
    std::vector<CRemindInfo> all;
    int total = 0;
    CReminderAPI::GetInstance()->GetRemindItemsByType(total, all, REM_EXTRACT_ALL_BOOKINGS,
                                                      REM_ORDER_BY_START_TIME);
    std::set<std::string> crids;  // as stored: cancelling needs the exact text
    for (const CRemindInfo& item : all) {
        if (IsGuideRecording(item)) state.vItems.push_back(item);
        if (item.m_nReserveType == REMINDER_RESERVE_SERIES && !item.m_sSeriesCrid.empty()) {
            crids.insert(item.m_sSeriesCrid);
            state.sCrids.insert(CReminderAPIUtil::LowerCase(item.m_sSeriesCrid));
        }
    }
    g_monitor = &state;

    std::vector<CRemindInfo> followed;
    for (const CRemindInfo& item : state.vItems) {
        if (CReminderAPIUtil::MonitorProgram(item)) followed.push_back(item);
    }
    std::vector<std::string> followedCrids;
    for (const std::string& crid : crids) {
        if (CReminderAPIUtil::MonitorCRID(crid)) followedCrids.push_back(crid);
    }
    std::cerr << "monitor: following " << followed.size() << " recording(s) and "
              << followedCrids.size() << " series" << std::endl;

    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(static_cast<long long>(options.timeout * 1000));
    int seen = 0;
    {
        std::unique_lock<std::mutex> lock(state.mutex);
        while (!g_stop && (options.count == 0 || state.nSeen < options.count) &&
               (options.timeout <= 0 || std::chrono::steady_clock::now() < deadline)) {
            state.changed.wait_for(lock, std::chrono::milliseconds(50));
        }
        seen = state.nSeen;
    }
    for (const CRemindInfo& item : followed) CReminderAPIUtil::CancelMonitorProgram(item);
    for (const std::string& crid : followedCrids) CReminderAPIUtil::CancelMonitorCRID(crid);
    g_monitor = nullptr;
    {
        // A delivery under way ends before the state goes.
        std::lock_guard<std::mutex> lock(state.mutex);
    }
    if (options.count > 0 && seen < options.count) {
        std::cerr << "monitor: " << seen << " of " << options.count
                  << " changes before the monitor ended\n";
        throw CLI::RuntimeError(1);
    }
}

void OnSignal(int) {
    g_stop = true;
}

}  // namespace

void ForwardProgramChange(EProgramChangeType type, TCProgramData* program, void* data) {
    PrintChange(type, program, data);
}

void AddTuneCommands(CLI::App& app) {
    auto tune = std::make_shared<STuneOptions>();
    CLI::App* tuneCmd = app.add_subcommand(
        "tune",
        "Accept the reminder of a booking: print the application launched with its data, or "
        "the channel sent to the universal remote");
    tuneCmd->add_option("UID", tune->uid)->required();
    tuneCmd->add_flag("--dual-view", tune->dualView, "The dual-view application is running");
    tuneCmd->add_flag("--highlight-player", tune->highlightPlayer,
                      "The PVR highlight player is on screen");
    tuneCmd->add_flag("--guide-shown", tune->guideShown, "The programme guide is on screen");
    tuneCmd->add_flag("--picture-off", tune->pictureOff, "The set is in the picture-off state");
    tuneCmd->add_option("--pvr-result", tune->pvrResult,
                        "Result of the PVR's pre-channel-change call (0: success)");
    tuneCmd->add_option("--stop-type", tune->stopType,
                        "Stop type the PVR answers (209: the recorder stays out)");
    tuneCmd->add_option("--handler", tune->handler, "Handler the PVR answers");
    tuneCmd->callback([tune] { RunTune(*tune); });

    auto monitor = std::make_shared<SMonitorOptions>();
    CLI::App* monitorCmd = app.add_subcommand(
        "monitor",
        "Follow every recording booked from the guide and every booked series; print each "
        "programme change as it arrives");
    monitorCmd->add_option("--count", monitor->count, "Stop after N changes (exit 1 if fewer)")
        ->check(CLI::NonNegativeNumber);
    monitorCmd->add_option("--timeout", monitor->timeout, "Stop after S seconds")
        ->check(CLI::NonNegativeNumber);
    monitorCmd->callback([monitor] {
        signal(SIGINT, OnSignal);
        signal(SIGTERM, OnSignal);
        RunMonitor(*monitor);
    });
}
