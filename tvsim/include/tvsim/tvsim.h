// Control interface of the simulated television, for tests and tools. The television's state is
// per process; every platform call of the library reads it.
//
// The television is described by a JSON profile, read from the file named by TVSIM_PROFILE on
// the first platform or control call (no TVSIM_PROFILE: an empty television), or given here.
// Members (all optional; an absent one is absent on the television, so reading it fails):
//   base                another profile this one starts from (a path relative to this file's
//                       folder); the members named here replace the base's, except that
//                       system_info, system_settings, vconf and pvr change key by key
//   channel_updates     over a base: [{service_id, ...members that change}] changes the base's
//                       channel of that service id ("removed": true drops it), as a rescan does
//   programme_updates   over a base: [{service_id, event_id, ...}] likewise for programmes, as
//                       a guide update does
//   now                 UTC seconds of a clock that stays still; absent: the system clock
//   utc_offset          seconds from UTC to local time (may be negative)
//   country             system settings key 154
//   system_info         {"18": 2, ...}: integer key as text -> integer (18 tuners,
//                       238 recordable tuners, 125 PVR support)
//   system_settings     as system_info, for system_settings_get_value_int
//   vconf               {"db/...": 2, "db/...": true}: key -> integer or boolean
//   channels            [{service_id, major, minor, ptc, channel_type, program_number,
//                         transport_stream_id, frequency, service_profile, scrambled, name}]
//   programmes          [{service_id, event_id, start (UTC), duration, title, synopsis, guidance,
//                         program_crid, series_crids [..], hd, eit_table_id, eit_number,
//                         parts [programmes]}]; a part is a programme of its own that takes
//                         from its event whatever it does not state (series_crids, service_id,
//                         title, ...) except event_id, start, duration and program_crid
//   pvr                 {default_device, remaining_time (seconds, or {"kind": seconds}),
//                        recording_services [ids], highlight_player,
//                        pre_channel_change {result, stop_type, handler}}
//   ca_devices          [{key, state}]: conditional-access modules by slot (state 1: working)
//   running_apps        [application ids]
//   tv_mode             [mode, sub mode]; mode 2 is satellite reception, where the vconf
//                       boolean "db/menu/Broadcast/setting/SatelliteSystem/
//                       SatelliteAntConnectionType" false means one cable for both tuners
//   current_source, monitoring_type, crid_support (ISOSpecApp tag 81), power_state, pc_mode
//   virtual_programmes  [{service_id, start, title, description}]
//   remote_channels     [{source, activity_id, major, minor, name}]
//   programme_changes   [{after (milliseconds), type, service_id, event_id, start, duration}]:
//                       changes the broadcaster signals. Each reaches the programme
//                       subscriber's callback once, from its thread, when `after` has passed
//                       since the subscriber was created and a live subscription follows the
//                       programme (its service and event, or one of its series CRIDs); the
//                       programme is the guide's with `start` (UTC) and `duration` if given
//   failures            ["svc_pvr_get_remaining_time", "system_info_get_value_int:18", ...]:
//                       platform calls that fail, for every key or only for the key after ':'
//                       (vconf key, integer key, service id, application id, ISOSpecApp tag).
//                       Names are C function names, factory names ("CreateServiceGuide") and
//                       interface method names ("GetProgramsOfEvent", "FindService", ...);
//                       "CAGeneralInstance", "GetVirtualChannelsAPI" and
//                       "GetMBRNetworkChannelAPI" make those accessors answer null.
//
// Channel attributes (TCServiceData keys): service_id 12, major 13, minor 14, ptc 2,
// channel_type 1, program_number 15, transport_stream_id 18, frequency 4, service_profile 3,
// scrambled 101 (0 or 1). IService::FindService fills only the attributes its criteria fetched
// (none when it fetched none); FindServices fills every attribute when nothing was fetched.
// Channel types 1 and 3 are analogue; 2, 4, 5, 6 and 7 digital.
//
// The records of the running set (launches, vconf writes, remote sends, call counts) start
// afresh with every LoadProfile and Reset. The programme subscriber (its callback and live
// subscriptions) and the open app_control handles outlive them, as the objects the library
// holds do; the log is the process's and is only emptied by ClearLogs.
#ifndef TVSIM_TVSIM_H
#define TVSIM_TVSIM_H

#include <optional>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "TCProgramData.h"

namespace tvsim {

struct LogLine {
    int logId;
    int priority;
    std::string tag;
    std::string text;
};

struct Launch {
    std::string appId;
    std::vector<std::pair<std::string, std::string>> extraData;  // in the order added
};

struct VconfWrite {
    std::string key;
    int value;
};

// One mbr_send_channel_number_with_source_type call.
struct RemoteSend {
    int major;
    int minor;
    int source;
    int remote;
};

// One live subscription of the programme subscriber.
struct Subscription {
    int handle;
    TCProgramFilteringItem item;
};

// Replaces the television with the profile in `jsonText`. On a parse or type error the
// television is left empty, the error is returned (naming the member) and also written to
// standard error; true on success.
bool LoadProfile(const std::string& jsonText, std::string* error = nullptr);
// As LoadProfile, reading the file; errors name the file.
bool LoadProfileFile(const std::string& path, std::string* error = nullptr);
// An empty television: no channels, no guide, no settings, clock following the system.
void Reset();

// Sets the UTC clock; it stays still until set again.
void SetCurrentTime(unsigned long utc);
// Current UTC seconds of the simulated clock.
unsigned long CurrentUtcTime();

// Makes a named platform call fail ("name" or "name:key"), or succeed again.
void SetFailure(const std::string& name, bool failing = true);

// Changes one setting of the running television.
void SetVconfInt(const std::string& key, int value);
void SetSystemInfo(int key, int value);
void SetSystemSetting(int key, int value);

// The guide's programme of this service and event, parts included; false when there is none.
bool FindProgramme(unsigned long long serviceId, unsigned short eventId, TCProgramData& out);

// Every __dlog_print line so far (the oldest are dropped past 100000 lines). With
// TVSIM_LOG=stderr each line is also written to standard error.
std::vector<LogLine> Logs();
void ClearLogs();
std::vector<Launch> Launches();
std::vector<VconfWrite> VconfWrites();

// Further switches of the running television.
void SetUtcOffset(long long seconds);
void SetVconfBool(const std::string& key, bool value);
void SetAppRunning(const std::string& appId, bool running);
void SetPowerState(int state);
int PowerState();
// Whether the PVR is recording the service now (svc_pvr_is_recording).
void SetServiceRecording(unsigned long long serviceId, bool recording);

// Tuners, conditional access and channels of the running television.
// Tuner counts: system_info keys 18 (tuners) and 238 (recordable tuners).
void SetTunerCounts(int tuners, int recordable);
// Satellite reception (tv_mode 2) with the antenna on a single cable (true) or not.
void SetSatelliteSingleCable(bool singleCable);
void SetTvMode(int mode, int subMode);
// The state of the conditional-access module in slot `key` (1: inserted and working).
void SetCaDevice(int key, int state);
void ClearCaDevices();
// ISOSpecApp tag 81.
void SetCridSupport(bool supported);
// Attributes of the channel of `serviceId`; false when the television has no such channel.
bool SetChannelType(unsigned long long serviceId, int channelType);
bool SetChannelScrambled(unsigned long long serviceId, bool scrambled);

// Runs `hook` once, on the calling thread, just before the next platform call `name` (a
// function, factory or method name) is served: a test can act while the library is in the
// middle of an operation, calling the library again from there.
void OnNextCall(const std::string& name, std::function<void()> hook);

// What the library asked of the television.
std::vector<RemoteSend> RemoteSends();
std::vector<Subscription> Subscriptions();
// How many times platform call `name` (function, factory or method name) was made.
int CallCount(const std::string& name);
// app_control handles created and not yet destroyed.
int LiveAppControls();

// What is on screen and how the PVR service answers, for the applications that tune a channel.
// Dual view and the guide are the vconf keys "memory/tandem/state" and
// "memory/epg/guide_show".
void SetDualView(bool running);
void SetGuideShown(bool shown);
void SetHighlightPlayer(int flag);
// The answer of svc_pvr_pre_channel_change_on_recording: its result and, on success (0), the
// stop type and handler it writes.
void SetPreChannelChange(int result, int stopType, int handler);
// The programme subscriber's monitoring type and the current source; absent: refused.
void SetMonitoringType(std::optional<int> type);
void SetCurrentSource(std::optional<int> source);

// Delivers a programme change to the programme subscriber's callback from the subscriber's own
// thread, as the middleware does, and returns once it was delivered; false when no subscriber
// callback is set or the programme is unknown. Any subscriber's callback receives it, whatever
// it subscribed to.
bool SignalProgramChange(int type, unsigned long long serviceId, unsigned short eventId,
                         int param1 = 0, int param2 = 0);
// As above with a programme of the caller's own, such as one whose start time has moved.
bool SignalProgramChange(int type, const TCProgramData& programme, int param1 = 0, int param2 = 0);
// As above without waiting for the delivery.
bool PostProgramChange(int type, const TCProgramData& programme, int param1 = 0, int param2 = 0);
// Returns once every change posted so far was delivered.
void WaitProgramChanges();

}  // namespace tvsim

#endif
