// The control interface: what tests and tools do to the simulated television.
#include <cstdio>

#include "TvState.h"

namespace tvsim {
namespace {

using detail::Simulator;
using detail::Television;
using detail::TheSimulator;
using detail::WithTv;

// Installs `tv`, or an empty television when it did not parse.
bool Replace(bool parsed, Television tv, const std::string& message, std::string* error) {
    if (!parsed) {
        std::fprintf(stderr, "tvsim: %s\n", message.c_str());
        if (error != nullptr) *error = message;
        tv = Television();
    }
    Simulator& sim = TheSimulator();
    std::lock_guard<std::mutex> lock(sim.mutex);
    sim.loaded = true;
    detail::Install(sim, std::move(tv));
    return parsed;
}

constexpr const char* kSatelliteConnectionKey =
    "db/menu/Broadcast/setting/SatelliteSystem/SatelliteAntConnectionType";

bool SetChannelAttribute(unsigned long long serviceId, int key, long long value) {
    return WithTv(nullptr, [&](Simulator& sim) {
        for (detail::Channel& c : sim.tv.channels) {
            long long id = 0;
            if (c.service.FindAttribute(SERVICE_ATTR_SERVICE_ID, id) &&
                static_cast<unsigned long long>(id) == serviceId) {
                c.service.SetAttribute(key, value);
                return true;
            }
        }
        return false;
    });
}

}  // namespace

bool LoadProfile(const std::string& jsonText, std::string* error) {
    Television tv;
    std::string message;
    const bool parsed = detail::ParseProfile(jsonText, "profile", tv, message);
    return Replace(parsed, std::move(tv), message, error);
}

bool LoadProfileFile(const std::string& path, std::string* error) {
    Television tv;
    std::string message;
    const bool parsed = detail::ParseProfileFile(path, tv, message);
    return Replace(parsed, std::move(tv), message, error);
}

void Reset() {
    Replace(true, Television(), "", nullptr);
}

void SetCurrentTime(unsigned long utc) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.fixedUtc = utc; });
}

unsigned long CurrentUtcTime() {
    return WithTv(nullptr, [](Simulator& sim) { return detail::UtcNow(sim.tv); });
}

void SetUtcOffset(long long seconds) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.utcOffset = seconds; });
}

void SetFailure(const std::string& name, bool failing) {
    WithTv(nullptr, [&](Simulator& sim) {
        if (failing) {
            sim.tv.failures.insert(name);
        } else {
            sim.tv.failures.erase(name);
        }
    });
}

void SetVconfInt(const std::string& key, int value) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.vconf[key] = detail::VconfValue{false, value}; });
}

void SetVconfBool(const std::string& key, bool value) {
    WithTv(nullptr, [&](Simulator& sim) {
        sim.tv.vconf[key] = detail::VconfValue{true, value ? 1 : 0};
    });
}

void SetSystemInfo(int key, int value) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.systemInfo[key] = value; });
}

void SetSystemSetting(int key, int value) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.systemSettings[key] = value; });
}

void SetServiceRecording(unsigned long long serviceId, bool recording) {
    WithTv(nullptr, [&](Simulator& sim) {
        if (recording) {
            sim.tv.pvr.recordingServices.insert(serviceId);
        } else {
            sim.tv.pvr.recordingServices.erase(serviceId);
        }
    });
}

void SetAppRunning(const std::string& appId, bool running) {
    WithTv(nullptr, [&](Simulator& sim) {
        if (running) {
            sim.tv.runningApps.insert(appId);
        } else {
            sim.tv.runningApps.erase(appId);
        }
    });
}

void SetPowerState(int state) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.powerState = state; });
}

int PowerState() {
    return WithTv(nullptr, [](Simulator& sim) { return sim.tv.powerState; });
}

void SetDualView(bool running) {
    SetVconfInt("memory/tandem/state", running ? 1 : 0);
}

void SetGuideShown(bool shown) {
    SetVconfInt("memory/epg/guide_show", shown ? 1 : 0);
}

void SetHighlightPlayer(int flag) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.pvr.highlightPlayer = flag; });
}

void SetPreChannelChange(int result, int stopType, int handler) {
    WithTv(nullptr, [&](Simulator& sim) {
        sim.tv.pvr.preChannelChangeResult = result;
        sim.tv.pvr.stopType = stopType;
        sim.tv.pvr.handler = handler;
    });
}

void SetMonitoringType(std::optional<int> type) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.monitoringType = type; });
}

void SetCurrentSource(std::optional<int> source) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.currentSource = source; });
}

void SetTunerCounts(int tuners, int recordable) {
    WithTv(nullptr, [&](Simulator& sim) {
        sim.tv.systemInfo[18] = tuners;
        sim.tv.systemInfo[238] = recordable;
    });
}

void SetSatelliteSingleCable(bool singleCable) {
    WithTv(nullptr, [&](Simulator& sim) {
        const int subMode = sim.tv.tvMode ? sim.tv.tvMode->nSubMode : -1;
        sim.tv.tvMode = TSTvMode{2, subMode};
        // The setting reads true for a connection with one cable per tuner.
        sim.tv.vconf[kSatelliteConnectionKey] = detail::VconfValue{true, singleCable ? 0 : 1};
    });
}

void SetTvMode(int mode, int subMode) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.tvMode = TSTvMode{mode, subMode}; });
}

void SetCaDevice(int key, int state) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.caDevices[key] = state; });
}

void ClearCaDevices() {
    WithTv(nullptr, [](Simulator& sim) { sim.tv.caDevices.clear(); });
}

void SetCridSupport(bool supported) {
    WithTv(nullptr, [&](Simulator& sim) { sim.tv.cridSupport = supported ? 1 : 0; });
}

bool SetChannelType(unsigned long long serviceId, int channelType) {
    return SetChannelAttribute(serviceId, SERVICE_ATTR_CHANNEL_TYPE, channelType);
}

bool SetChannelScrambled(unsigned long long serviceId, bool scrambled) {
    return SetChannelAttribute(serviceId, SERVICE_ATTR_SCRAMBLED_IN_PMT, scrambled ? 1 : 0);
}

void OnNextCall(const std::string& name, std::function<void()> hook) {
    Simulator& sim = TheSimulator();
    std::lock_guard<std::mutex> lock(sim.mutex);
    sim.handles.nextCallHooks[name] = std::move(hook);
}

bool FindProgramme(unsigned long long serviceId, unsigned short eventId, TCProgramData& out) {
    return WithTv(nullptr, [&](Simulator& sim) {
        const detail::GuideEntry* e = detail::FindEntry(sim.tv, serviceId, eventId);
        if (e == nullptr) return false;
        out = e->programme;
        return true;
    });
}

std::vector<LogLine> Logs() {
    return WithTv(nullptr, [](Simulator& sim) {
        return std::vector<LogLine>(sim.logs.begin(), sim.logs.end());
    });
}

void ClearLogs() {
    WithTv(nullptr, [](Simulator& sim) { sim.logs.clear(); });
}

std::vector<Launch> Launches() {
    return WithTv(nullptr, [](Simulator& sim) { return sim.records.launches; });
}

std::vector<VconfWrite> VconfWrites() {
    return WithTv(nullptr, [](Simulator& sim) { return sim.records.vconfWrites; });
}

std::vector<RemoteSend> RemoteSends() {
    return WithTv(nullptr, [](Simulator& sim) { return sim.records.remoteSends; });
}

std::vector<Subscription> Subscriptions() {
    return WithTv(nullptr, [](Simulator& sim) { return sim.handles.subscriptions; });
}

int CallCount(const std::string& name) {
    return WithTv(nullptr, [&](Simulator& sim) {
        const auto it = sim.records.callCounts.find(name);
        return it == sim.records.callCounts.end() ? 0 : it->second;
    });
}

int LiveAppControls() {
    return WithTv(nullptr, [](Simulator& sim) { return sim.handles.liveAppControls; });
}

}  // namespace tvsim
