// The state of the simulated television: what a profile describes, what the running set has
// recorded since, and the one process-wide object that guards both.
#ifndef TVSIM_TVSTATE_H
#define TVSIM_TVSTATE_H

#include <chrono>
#include <functional>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TCProgramData.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"
#include "tvsim/tvsim.h"

namespace tvsim::detail {

struct VconfValue {
    bool isBool = false;
    int value = 0;
};

struct Channel {
    TCServiceData service;
    std::optional<std::string> name;  // UTF-8
};

// One programme of the guide. Programmes that make up one split event share `event`.
struct GuideEntry {
    TCProgramData programme;
    size_t event = 0;
};

struct PvrState {
    std::optional<int> defaultDevice;
    std::optional<unsigned long> remainingTime;              // for every device kind
    std::map<int, unsigned long> remainingTimeByDeviceKind;  // overrides remainingTime
    std::set<unsigned long long> recordingServices;
    int highlightPlayer = 0;
    int preChannelChangeResult = 0;
    int stopType = 0;
    int handler = 0;
};

struct VirtualProgramme {
    unsigned long long serviceId = 0;
    unsigned long start = 0;
    std::string title;
    std::string description;
};

struct RemoteChannel {
    int source = 0;
    int activityId = 0;
    int major = 0;
    int minor = 0;
    std::string name;
};

// A change the broadcaster will signal: delivered by the subscriber's thread once `afterMs`
// have passed since the subscriber was created and a live subscription follows the programme.
struct ScriptedChange {
    long long afterMs = 0;
    int type = 0;
    unsigned long long serviceId = 0;
    unsigned short eventId = 0;
    std::optional<unsigned long> start;  // UTC; absent: as in the guide
    std::optional<unsigned long> duration;
};

// Everything a profile describes. A default-constructed television is empty.
struct Television {
    std::optional<unsigned long> fixedUtc;  // absent: the system clock
    long long utcOffset = 0;
    std::map<std::string, VconfValue> vconf;
    std::map<int, int> systemInfo;
    std::map<int, int> systemSettings;
    std::vector<Channel> channels;
    std::vector<GuideEntry> guide;
    PvrState pvr;
    std::map<int, int> caDevices;  // slot key -> state
    std::set<std::string> runningApps;
    std::optional<TSTvMode> tvMode;
    std::optional<int> currentSource;
    std::optional<int> monitoringType;
    std::optional<int> cridSupport;
    int powerState = 0;
    int pcMode = 0;
    std::set<std::string> failures;
    std::vector<VirtualProgramme> virtualProgrammes;
    std::vector<RemoteChannel> remoteChannels;
    std::vector<ScriptedChange> programmeChanges;
};

// What the running television has been asked to do since it was last reset.
struct Records {
    std::vector<Launch> launches;
    std::vector<VconfWrite> vconfWrites;
    std::vector<RemoteSend> remoteSends;
    std::map<std::string, int> callCounts;
    std::set<size_t> deliveredChanges;  // indexes into Television::programmeChanges
};

// The programme subscriber and the app_control handles outlive a change of profile, as the
// objects the library holds do, so their state is kept across resets.
struct Handles {
    std::vector<Subscription> subscriptions;
    int nextHandle = 1;
    ProgramSignalCallback callback = nullptr;
    std::optional<std::chrono::steady_clock::time_point> subscriberCreated;
    int liveAppControls = 0;
    // Run once, before the next call of the named platform call (OnNextCall).
    std::map<std::string, std::function<void()>> nextCallHooks;
};

struct Simulator {
    std::mutex mutex;
    bool loaded = false;
    Television tv;
    Records records;
    Handles handles;
    // Kept across resets: they are the process's log. The oldest lines go first, hence a deque.
    std::deque<LogLine> logs;
};

// The process-wide simulator; lock its mutex before touching it.
Simulator& TheSimulator();
// Loads TVSIM_PROFILE once, when nothing has been loaded yet. Call with the mutex held.
void EnsureLoaded(Simulator& sim);

// Runs the hook set for the next call of `name`, if any, without the lock held: the hook may
// call the library, which calls the television again.
void RunNextCallHook(const char* name);

// Runs `f(sim)` under the lock with the profile loaded, counting one call of `name` when given.
template <typename F>
auto WithTv(const char* name, F&& f) {
    if (name != nullptr) RunNextCallHook(name);
    Simulator& sim = TheSimulator();
    std::lock_guard<std::mutex> lock(sim.mutex);
    EnsureLoaded(sim);
    if (name != nullptr) ++sim.records.callCounts[name];
    return f(sim);
}

// Whether the profile asks platform call `name` to fail, for every key or for `key`.
bool Fails(const Television& tv, const std::string& name);
bool Fails(const Television& tv, const std::string& name, const std::string& key);

unsigned long UtcNow(const Television& tv);

// The guide entry of one event of one service, or null.
const GuideEntry* FindEntry(const Television& tv, unsigned long long serviceId,
                            unsigned long eventId);

// Parses a profile. On failure `error` names `source` and the offending member, and `out` is
// left untouched.
bool ParseProfile(const std::string& text, const std::string& source, Television& out,
                  std::string& error);
// Reads and parses a profile file; errors name the file.
bool ParseProfileFile(const std::string& path, Television& out, std::string& error);

// Starts the programme subscriber's delivery thread once; it runs until the process ends.
// Call without the mutex held.
void StartProgrammeSignals();

// Replaces the television (empty on failure) and forgets the records. Call with the mutex held.
void Install(Simulator& sim, Television tv);

}  // namespace tvsim::detail

#endif
