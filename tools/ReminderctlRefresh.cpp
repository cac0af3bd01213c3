// `reminderctl rescan` and `reminderctl refresh`: the television rescans its channels or receives
// a guide update (a new profile loaded into the simulated television), the library follows it
// with its bookings, and what changed is printed booking by booking.
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "ReminderctlCommon.h"
#include "RemindInfo.h"
#include "ReminderAPI.h"
#include "tvsim/tvsim.h"

namespace {

[[noreturn]] void Fail(const std::string& message) {
    std::cerr << message << "\n";
    throw CLI::RuntimeError(1);
}

std::map<uint32_t, CRemindInfo> StoredByUid() {
    std::vector<CRemindInfo> items;
    if (!CReminderAPI::GetInstance()->GetRemindItemsByType(REM_EXTRACT_ALL_BOOKINGS, items)) {
        items.clear();
    }
    std::map<uint32_t, CRemindInfo> byUid;
    for (const CRemindInfo& e : items) byUid.emplace(e.m_nUid, e);
    return byUid;
}

void LoadTelevision(const std::string& profile) {
    if (profile.empty()) return;
    std::string error;
    if (!tvsim::LoadProfileFile(profile, &error)) Fail("Cannot load " + profile + ": " + error);
}

std::string ChannelNumber(const CRemindInfo& item) {
    return std::to_string(item.m_nMajor) + "." + std::to_string(item.m_nMinor);
}

bool SameChannelFields(const CRemindInfo& a, const CRemindInfo& b) {
    return a.m_nServiceId == b.m_nServiceId && a.m_nPTC == b.m_nPTC &&
           a.m_nProgramNumber == b.m_nProgramNumber &&
           a.m_nTransportStreamId == b.m_nTransportStreamId && a.m_frequency == b.m_frequency &&
           a.m_nServiceProfile == b.m_nServiceProfile && a.m_sChannelName == b.m_sChannelName;
}

// What became of one booking, as "what  details" parts; empty when it did not change.
std::vector<std::string> Changes(const CRemindInfo& before, const CRemindInfo* after) {
    std::vector<std::string> parts;
    if (after == nullptr) {
        parts.push_back(std::string("deleted     ") + BookingKind(before) + " on channel " +
                        ChannelNumber(before) + ", which is gone");
        return parts;
    }
    if (*after == before) return parts;
    if (after->m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED &&
        before.m_nReserveType != REMINDER_RESERVE_RECORDING_FAILED) {
        parts.push_back("failed      " + FailureReason(*after));
    }
    if (after->m_nMajor != before.m_nMajor || after->m_nMinor != before.m_nMinor) {
        parts.push_back("renumbered  channel " + ChannelNumber(before) + " -> " +
                        ChannelNumber(*after));
    } else if (!SameChannelFields(before, *after)) {
        parts.push_back("retuned     channel " + ChannelNumber(*after));
    }
    if (after->m_nEventTime != before.m_nEventTime || after->m_nDuration != before.m_nDuration) {
        parts.push_back("moved       " + reminderctl::FormatLocal(before.m_nEventTime) + " (" +
                        std::to_string(before.m_nDuration / 60) + " min) -> " +
                        reminderctl::FormatLocal(after->m_nEventTime) + " (" +
                        std::to_string(after->m_nDuration / 60) + " min)");
    }
    if (after->m_sTitle != before.m_sTitle) {
        parts.push_back("retitled    \"" + BookingTitle(before) + "\" -> \"" +
                        BookingTitle(*after) + "\"");
    }
    if (parts.empty()) parts.push_back("updated     programme details");
    return parts;
}

// Runs `pass` and prints each booking it changed; false when the pass failed.
bool RunAndReport(const char* name, const std::function<bool()>& pass) {
    const std::map<uint32_t, CRemindInfo> before = StoredByUid();
    const bool ok = pass();
    const std::map<uint32_t, CRemindInfo> after = StoredByUid();
    size_t changed = 0;
    for (const auto& [uid, item] : before) {
        const auto found = after.find(uid);
        const std::vector<std::string> parts =
            Changes(item, found == after.end() ? nullptr : &found->second);
        if (parts.empty()) continue;
        ++changed;
        std::printf("UID %u \"%s\"\n", uid, BookingTitle(item).c_str());
        for (const std::string& part : parts) std::printf("    %s\n", part.c_str());
    }
    if (!ok) {
        std::printf("%s failed; the bookings are as they were.\n", name);
        return false;
    }
    if (changed == 0) {
        std::printf("%s: no booking changed (%zu booking(s)).\n", name, before.size());
    } else {
        std::printf("%s: %zu of %zu booking(s) changed.\n", name, changed, before.size());
    }
    return true;
}

}  // namespace

void AddRefreshCommands(CLI::App& app) {
    CLI::App* rescan = app.add_subcommand(
        "rescan", "Load a rescanned television and follow its channels with the bookings");
    auto rescanProfile = std::make_shared<std::string>();
    auto channelType = std::make_shared<int>(-1);
    rescan->add_option("--tv", *rescanProfile, "The television after its rescan (JSON profile)")
        ->required();
    rescan
        ->add_option("--channel-type", *channelType,
                     "Only bookings on channels of this type (-1: every type)")
        ->capture_default_str();
    rescan->callback([rescanProfile, channelType] {
        LoadTelevision(*rescanProfile);
        const auto type = static_cast<unsigned short>(*channelType);
        if (!RunAndReport("Rescan", [type] {
                return CReminderAPI::GetInstance()->UpdateChannelInfoOfRemindItems(type);
            })) {
            throw CLI::RuntimeError(1);
        }
    });

    CLI::App* refresh = app.add_subcommand(
        "refresh", "Follow the guide with the bookings made from it (after a guide update)");
    auto refreshProfile = std::make_shared<std::string>();
    refresh->add_option("--tv", *refreshProfile,
                        "The television with its updated guide (JSON profile)");
    refresh->callback([refreshProfile] {
        LoadTelevision(*refreshProfile);
        if (!RunAndReport("Guide refresh", [] {
                // Virtual-channel bookings follow where the television has virtual channels.
                const bool guide = CReminderAPI::GetInstance()->UpdateReminditemToMeta();
                CReminderAPI::GetInstance()->UpdateVCItems();
                return guide;
            })) {
            throw CLI::RuntimeError(1);
        }
    });
}
