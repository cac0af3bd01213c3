// The platform's C interfaces over the simulated television: log, settings, application
// manager, power, audio/video output, universal remote and the PVR service.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "TvState.h"
#include "app_control.h"
#include "aul.h"
#include "avoc.h"
#include "device/power.h"
#include "dlog.h"
#include "mbr.h"
#include "svc_pvr.h"
#include "system_info.h"
#include "system_settings.h"
#include "vconf.h"

using tvsim::detail::Fails;
using tvsim::detail::Simulator;
using tvsim::detail::WithTv;

struct app_control_s {
    std::string appId;
    std::vector<std::pair<std::string, std::string>> extraData;
};

namespace {

constexpr size_t kMaxLogLines = 100000;

// Read once: every log line asks.
bool LogToStderr() {
    static const bool toStderr = [] {
        const char* target = std::getenv("TVSIM_LOG");
        return target != nullptr && std::strcmp(target, "stderr") == 0;
    }();
    return toStderr;
}

char PriorityLetter(int prio) {
    static const char letters[] = "??VDIWEFS";
    return prio >= 0 && prio < static_cast<int>(sizeof letters - 1) ? letters[prio] : '?';
}

std::string Format(const char* fmt, va_list args) {
    // One pass for the usual short line; a longer one is formatted again at its length.
    char shortLine[512];
    va_list first;
    va_copy(first, args);
    const int length = std::vsnprintf(shortLine, sizeof shortLine, fmt, first);
    va_end(first);
    if (length <= 0) return std::string();
    if (static_cast<size_t>(length) < sizeof shortLine) {
        return std::string(shortLine, static_cast<size_t>(length));
    }
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::vsnprintf(&text[0], text.size(), fmt, args);
    text.resize(static_cast<size_t>(length));
    return text;
}

int ReadVconf(const char* name, const char* key, int* value, bool asBool) {
    if (key == nullptr || value == nullptr) return VCONF_ERROR;
    return WithTv(name, [&](Simulator& sim) {
        if (Fails(sim.tv, name, key)) return VCONF_ERROR;
        const auto it = sim.tv.vconf.find(key);
        if (it == sim.tv.vconf.end()) return VCONF_ERROR;
        // An integer read of a boolean key fails as on the set; a boolean read of an integer
        // key reads it as a truth value.
        if (!asBool && it->second.isBool) return VCONF_ERROR;
        *value = asBool ? (it->second.value != 0 ? 1 : 0) : it->second.value;
        return VCONF_OK;
    });
}

int ReadIntegerTable(const char* name, int key, int* value, const std::map<int, int>& table,
                     const tvsim::detail::Television& tv, int error) {
    if (value == nullptr || Fails(tv, name, std::to_string(key))) return error;
    const auto it = table.find(key);
    if (it == table.end()) return error;
    *value = it->second;
    return 0;
}

}  // namespace

extern "C" {

int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...) {
    if (fmt == nullptr) return -1;
    va_list args;
    va_start(args, fmt);
    // A caller that formatted its line already passes it through "%s".
    std::string text;
    if (std::strcmp(fmt, "%s") == 0) {
        const char* plain = va_arg(args, const char*);
        text = plain != nullptr ? plain : "(null)";
    } else {
        text = Format(fmt, args);
    }
    va_end(args);
    const std::string tagText = tag != nullptr ? tag : "";
    if (LogToStderr()) {
        std::fprintf(stderr, "%c/%s(%d): %s\n", PriorityLetter(prio), tagText.c_str(),
                     static_cast<int>(log_id), text.c_str());
    }
    const int written = static_cast<int>(text.size());
    WithTv(nullptr, [&](Simulator& sim) {
        if (sim.logs.size() >= kMaxLogLines) {
            sim.logs.erase(sim.logs.begin(), sim.logs.begin() + kMaxLogLines / 10);
        }
        sim.logs.push_back(
            tvsim::LogLine{static_cast<int>(log_id), prio, tagText, std::move(text)});
    });
    return written;
}

int vconf_get_int(const char* key, int* value) {
    return ReadVconf("vconf_get_int", key, value, false);
}

int vconf_get_bool(const char* key, int* value) {
    return ReadVconf("vconf_get_bool", key, value, true);
}

int vconf_set_int(const char* key, int value) {
    if (key == nullptr) return VCONF_ERROR;
    return WithTv("vconf_set_int", [&](Simulator& sim) {
        if (Fails(sim.tv, "vconf_set_int", key)) return VCONF_ERROR;
        sim.tv.vconf[key] = tvsim::detail::VconfValue{false, value};
        sim.records.vconfWrites.push_back(tvsim::VconfWrite{key, value});
        return VCONF_OK;
    });
}

int system_info_get_value_int(system_info_key_e key, int* value) {
    return WithTv("system_info_get_value_int", [&](Simulator& sim) {
        return ReadIntegerTable("system_info_get_value_int", key, value, sim.tv.systemInfo, sim.tv,
                                SYSTEM_INFO_ERROR_INVALID_PARAMETER);
    });
}

int system_settings_get_value_int(system_settings_key_e key, int* value) {
    return WithTv("system_settings_get_value_int", [&](Simulator& sim) {
        return ReadIntegerTable("system_settings_get_value_int", key, value, sim.tv.systemSettings,
                                sim.tv, SYSTEM_SETTINGS_ERROR_INVALID_PARAMETER);
    });
}

int aul_app_is_running(const char* appid) {
    if (appid == nullptr) return 0;
    return WithTv("aul_app_is_running", [&](Simulator& sim) {
        if (Fails(sim.tv, "aul_app_is_running", appid)) return 0;
        return sim.tv.runningApps.count(appid) != 0 ? 1 : 0;
    });
}

int app_control_create(app_control_h* app_control) {
    if (app_control == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
    return WithTv("app_control_create", [&](Simulator& sim) {
        if (Fails(sim.tv, "app_control_create")) return APP_CONTROL_ERROR_OUT_OF_MEMORY;
        *app_control = std::make_unique<app_control_s>().release();
        ++sim.handles.liveAppControls;
        return APP_CONTROL_ERROR_NONE;
    });
}

int app_control_destroy(app_control_h app_control) {
    if (app_control == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
    std::unique_ptr<app_control_s> owned(app_control);
    return WithTv("app_control_destroy", [&](Simulator& sim) {
        --sim.handles.liveAppControls;
        return APP_CONTROL_ERROR_NONE;
    });
}

int app_control_set_app_id(app_control_h app_control, const char* app_id) {
    if (app_control == nullptr) return APP_CONTROL_ERROR_INVALID_PARAMETER;
    return WithTv("app_control_set_app_id", [&](Simulator& sim) {
        if (Fails(sim.tv, "app_control_set_app_id")) return APP_CONTROL_ERROR_INVALID_PARAMETER;
        app_control->appId = app_id != nullptr ? app_id : "";
        return APP_CONTROL_ERROR_NONE;
    });
}

int app_control_add_extra_data(app_control_h app_control, const char* key, const char* value) {
    if (app_control == nullptr || key == nullptr || value == nullptr || *key == '\0') {
        return APP_CONTROL_ERROR_INVALID_PARAMETER;
    }
    return WithTv("app_control_add_extra_data", [&](Simulator& sim) {
        if (Fails(sim.tv, "app_control_add_extra_data", key)) {
            return APP_CONTROL_ERROR_INVALID_PARAMETER;
        }
        app_control->extraData.emplace_back(key, value);
        return APP_CONTROL_ERROR_NONE;
    });
}

int app_control_send_launch_request(app_control_h app_control, app_control_reply_cb callback,
                                    void* user_data) {
    if (app_control == nullptr || app_control->appId.empty()) {
        return APP_CONTROL_ERROR_INVALID_PARAMETER;
    }
    return WithTv("app_control_send_launch_request", [&](Simulator& sim) {
        if (Fails(sim.tv, "app_control_send_launch_request", app_control->appId)) {
            return APP_CONTROL_ERROR_APP_NOT_FOUND;
        }
        sim.records.launches.push_back(tvsim::Launch{app_control->appId, app_control->extraData});
        return APP_CONTROL_ERROR_NONE;
    });
}

int device_power_get_state(void) {
    return WithTv("device_power_get_state", [](Simulator& sim) {
        return Fails(sim.tv, "device_power_get_state") ? -1 : sim.tv.powerState;
    });
}

int device_power_set_state(power_state_e state) {
    return WithTv("device_power_set_state", [&](Simulator& sim) {
        if (Fails(sim.tv, "device_power_set_state")) return -1;
        sim.tv.powerState = static_cast<int>(state);
        return 0;
    });
}

int avoc_get_pc_mode(int output, int* mode) {
    if (mode == nullptr) return -1;
    return WithTv("avoc_get_pc_mode", [&](Simulator& sim) {
        if (Fails(sim.tv, "avoc_get_pc_mode")) return -1;
        *mode = sim.tv.pcMode;
        return 0;
    });
}

int mbr_send_channel_number_with_source_type(int major, int minor, int source, int remote) {
    return WithTv("mbr_send_channel_number_with_source_type", [&](Simulator& sim) {
        if (Fails(sim.tv, "mbr_send_channel_number_with_source_type")) return 0;
        sim.records.remoteSends.push_back(tvsim::RemoteSend{major, minor, source, remote});
        return 1;
    });
}

int svc_pvr_service_init(void) {
    return WithTv("svc_pvr_service_init",
                  [](Simulator& sim) { return Fails(sim.tv, "svc_pvr_service_init") ? -1 : 0; });
}

int svc_pvr_get_rec_default_dev_index(int* index) {
    if (index == nullptr) return -1;
    return WithTv("svc_pvr_get_rec_default_dev_index", [&](Simulator& sim) {
        if (Fails(sim.tv, "svc_pvr_get_rec_default_dev_index")) return -1;
        *index = sim.tv.pvr.defaultDevice.value_or(0);
        return 0;
    });
}

int svc_pvr_is_recording(unsigned long long service_id, int* status) {
    if (status == nullptr) return -1;
    return WithTv("svc_pvr_is_recording", [&](Simulator& sim) {
        if (Fails(sim.tv, "svc_pvr_is_recording", std::to_string(service_id))) return -1;
        *status = sim.tv.pvr.recordingServices.count(service_id) != 0 ? 1 : 0;
        return 0;
    });
}

int svc_pvr_get_remaining_time(int device_kind, unsigned long* remaining_time) {
    if (remaining_time == nullptr) return -1;
    return WithTv("svc_pvr_get_remaining_time", [&](Simulator& sim) {
        const tvsim::detail::PvrState& pvr = sim.tv.pvr;
        if (Fails(sim.tv, "svc_pvr_get_remaining_time", std::to_string(device_kind))) return -1;
        const auto it = pvr.remainingTimeByDeviceKind.find(device_kind);
        if (it != pvr.remainingTimeByDeviceKind.end()) {
            *remaining_time = it->second;
            return 0;
        }
        // No recording device of that kind: nothing to measure.
        if (!pvr.remainingTime) return -1;
        *remaining_time = *pvr.remainingTime;
        return 0;
    });
}

int svc_pvr_get_highlight_player_flag(int* flag) {
    if (flag == nullptr) return -1;
    return WithTv("svc_pvr_get_highlight_player_flag", [&](Simulator& sim) {
        if (Fails(sim.tv, "svc_pvr_get_highlight_player_flag")) return -1;
        *flag = sim.tv.pvr.highlightPlayer;
        return 0;
    });
}

int svc_pvr_pre_channel_change_on_recording(unsigned long long service_id, int* stop_type,
                                            int* handler) {
    if (stop_type == nullptr || handler == nullptr) return -1;
    return WithTv("svc_pvr_pre_channel_change_on_recording", [&](Simulator& sim) {
        const tvsim::detail::PvrState& pvr = sim.tv.pvr;
        if (Fails(sim.tv, "svc_pvr_pre_channel_change_on_recording", std::to_string(service_id))) {
            return -1;
        }
        if (pvr.preChannelChangeResult != 0) return pvr.preChannelChangeResult;
        *stop_type = pvr.stopType;
        *handler = pvr.handler;
        return 0;
    });
}

}  // extern "C"
