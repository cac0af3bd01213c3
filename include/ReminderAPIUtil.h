// CReminderAPIUtil: static helpers over the television's clock, settings and channel list.
// Each reads the platform afresh at every call and turns a platform failure into a fixed answer.
#ifndef REMINDER_API_UTIL_H
#define REMINDER_API_UTIL_H

#include <ctime>
#include <string>

#include "ReminderExport.h"
#include "RemindInfo.h"
#include "ReminderTypes.h"
#include "TCProgramData.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"

class REMINDER_EXPORT CReminderAPIUtil {
public:
    using ProgramMonitorCallback = void (*)(EProgramChangeType type, TCProgramData* program,
                                            void* data);

    // --- Clock and repeat schedule (seconds since 1970, unsigned 32-bit) ---
    // The television's local time now.
    static unsigned long GetCurrentTime();
    static unsigned long ConvertTime(struct tm& tm);
    static void ConvertTime(unsigned long t, struct tm& tm);
    static unsigned long GetLocalTime(unsigned long utc);
    static unsigned long GetUTCTime(unsigned long local);
    // Seconds since midnight of `t`.
    static int m_GetTimeInfo(unsigned long t);
    static unsigned long m_DateToBinary(struct tm* tm);
    // Days in the month, -1 for a year outside 1970..2099 or a month outside 1..12.
    static int m_LastDay(int year, int month);
    // Calendar check of a tm holding a full year and a 1-based month.
    static bool m_IsValidDate(struct tm* tm);
    static unsigned long m_CalculateManualScheduleOffset(struct tm* datatime, struct tm* time,
                                                         int week, unsigned char inputDay);
    // Next start of a repeating item at the time of day of `start`; 0 on error.
    static unsigned long GetStartTime(unsigned long start, EReminderRepeatType type,
                                      unsigned char weekdays, bool skipToday);
    static unsigned long GetTimeMargin();
    // Both recording margins from the settings, in seconds.
    static bool GetStartEndMarginTime(unsigned long& start, unsigned long& end);
    static bool SetStartEndMarginTime(int country);
    static bool FlagSupportMarginTime();
    // 1: trim margins of back-to-back recordings on any channel, 2: on the same service only.
    static int GetBackToBackRecordingType();

    // --- Device and application state ---
    static int GetCountry();
    static bool FlagAppRunning(const std::string& appId);
    static bool FlagMBRRunning();
    static bool FlagTTSAvailable();
    static bool FlagTandemRunning();
    static bool FlagPCModeRunning();
    static bool FlagSelfTestRunning();
    static bool FlagZiggoVODRunning();
    static int GetAntennaMode(EChannelType channelType);
    static bool FlagSupportCRID();
    static bool FlagSupportRecordingSpec();
    static bool FlagRecording(unsigned long long serviceId);
    static bool FlagRecordingSpaceAvailable(unsigned long duration, bool flag);
    static bool FlagSupportRecordingSpaceChecking();
    static int GetCurrentSource();
    static int GetMaxItemCnt();
    static void m_SwitchPowerStateFromPictureOffToNormal();
    static bool FlagAppExist(const std::string& appId);
    // The 2 x `length` bytes at `text`, as they lie in memory, read as UTF-16BE, as UTF-8. An
    // invalid sequence ends the text there.
    static std::string UnicodeToUTF8(unsigned int length, unsigned short* text);
    static std::string LowerCase(const std::string& text);
    // 0 when equal ignoring case.
    static int CompareStrIgnoringCase(const std::string& a, const std::string& b);
    static bool GetTextForTimerRecordingErrorByTimeChange(unsigned short error, std::string& text);

    // --- Channels and guide ---
    // Fills `service` with the fetched attributes of the one channel meeting `criteria`.
    static bool FindChannel(const TCCriteriaHelper& criteria, TCServiceData& service);
    // The channel of a booking, by its service id.
    static bool FindChannel(const CRemindInfo& item, TCServiceData& service);
    static std::string ProgramToString(const TCProgramData& program);

    // --- Programme monitoring ---
    static bool CreateProgramSubscriber(ProgramMonitorCallback callback, void* data);
    static bool FlagProgramMonitoringSupported(EProgramMonitoringType& type);
    static bool FlagProgramMonitoringSupported();
    static void m_ProcessProgramSignal(EProgramChangeType type, TCProgramData* program, int param1,
                                       int param2);
};

#endif
