// CReminderAPIUtil::TuneChannel: what happens when a reminder fires and the viewer accepts it.
// The library never tunes a tuner itself; it hands the channel to the application that should
// show it given what is on screen now.
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "app_control.h"
#include "mbr.h"
#include "svc_pvr.h"
#include "vconf.h"

namespace {

constexpr const char* kGuideShownKey = "memory/epg/guide_show";
// The recorder cannot take over the channel change after this stop type.
constexpr int kStopTypeNoRecorder = 209;

template <typename T>
std::string DecimalText(T value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

// One application that can bring the channel to the screen, and the data it is launched with
// beside "called_app".
struct SLaunch {
    const char* appId = nullptr;
    std::vector<std::pair<const char*, std::string>> extraData;
    const char* logName = nullptr;  // as the launch line names the application
};

}  // namespace

void CReminderAPIUtil::TuneChannel(const CRemindInfo& item) {
    REMINDER_ENTRY();
    if (item.m_bRemoteChannel) {
        const int result = mbr_send_channel_number_with_source_type(
            item.m_nMajor, item.m_nMinor, item.m_nSource, item.m_bRemoteChannel ? 1 : 0);
        REMINDER_LOG("Tune remote channel result : [%s]", result != 0 ? "TRUE" : "FALSE");
        return;
    }

    TCServiceData serviceData;
    if (!FindChannel(item, serviceData)) {
        REMINDER_ERR("Find channel failed, cannot tune channel");
        return;
    }
    const std::string serviceId = DecimalText(item.m_nServiceId);

    // What is on screen now. Every probe runs whichever application then takes the launch: the
    // recorder must hear of the channel change even when another application shows it.
    REMINDER_LOG("pvr highlight player Running Check");
    int highlightPlayer = 0;
    svc_pvr_get_highlight_player_flag(&highlightPlayer);
    int guideShown = 0;
    if (vconf_get_int(kGuideShownKey, &guideShown) != VCONF_OK) {
        REMINDER_ERR("Fail to get epg show vconf.");
        guideShown = 0;
    }
    int stopType = 0;
    int handler = 0;
    const int pvrResult =
        svc_pvr_pre_channel_change_on_recording(item.m_nServiceId, &stopType, &handler);
    const std::string stopTypeText = DecimalText(stopType);
    const std::string handlerText = DecimalText(handler);

    app_control_h appControl = nullptr;
    if (app_control_create(&appControl) != APP_CONTROL_ERROR_NONE) {
        REMINDER_ERR("failed to create service handler.");
        return;
    }
    app_control_add_extra_data(appControl, "called_app", "org.tizen.reminder");

    // The first application whose condition holds takes the launch.
    SLaunch launch;
    if (FlagTandemRunning()) {
        REMINDER_LOG("Tandem is Running");
        // The dual-view application takes the service id under "reminder", not "svcid".
        launch = {"org.tizen.tandem", {{"reminder", serviceId}}, "Tandem"};
    } else if (highlightPlayer != 0) {
        REMINDER_LOG("pvr highlight player is Running");
        launch = {"org.tizen.pvrsportsmode", {{"svcid", serviceId}}, "org.tizen.pvrsportsmode"};
    } else if (pvrResult == 0 && stopType != kStopTypeNoRecorder) {
        launch = {"org.tizen.pvrrecorder",
                  {{"method", "set_service"},
                   {"service_id", serviceId},
                   {"stop_type", stopTypeText},
                   {"handler", handlerText}},
                  "org.tizen.pvrrecorder"};
    } else if (guideShown != 0) {
        REMINDER_LOG("EPG is Running");
        launch = {"org.tizen.epg", {{"svcid", serviceId}}, "org.tizen.epg"};
    } else {
        m_SwitchPowerStateFromPictureOffToNormal();
        launch = {"org.tizen.tv-viewer", {{"svcid", serviceId}}, "tv-viewer"};
    }
    app_control_set_app_id(appControl, launch.appId);
    for (const auto& [key, value] : launch.extraData) {
        app_control_add_extra_data(appControl, key, value.c_str());
    }
    REMINDER_LOG("launch %s to tune channel(serviceid:[%s])", launch.logName, serviceId.c_str());

    if (app_control_send_launch_request(appControl, nullptr, nullptr) != APP_CONTROL_ERROR_NONE) {
        REMINDER_ERR("tune channel failed");
    }
    app_control_destroy(appControl);
}
