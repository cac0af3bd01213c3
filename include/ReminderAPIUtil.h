// CReminderAPIUtil: static helpers over the television's clock, settings and channel list.
// Each reads the platform afresh at every call and turns a platform failure into a fixed answer.
#ifndef REMINDER_API_UTIL_H
#define REMINDER_API_UTIL_H

#include <ctime>
#include <map>
#include <string>
#include <vector>

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

    // --- Duplicate detection ---
    // Whether the stored item `list` and the candidate `cmp` occupy the same time, their repeat
    // rules included. The two sides are not symmetric: the list item's time margin is taken off
    // its start, the candidate uses the default recording margin instead, so callers pass the
    // stored item first. False means the two may coexist.
    static bool CheckDuplicateTimeAndRepeat(const CRemindInfo* list, const CRemindInfo* cmp);
    // Whether [s1, e1) and [s2, e2) overlap; two ranges with the same start always do, even
    // empty ones.
    static bool m_CheckDupTime(unsigned long s1, unsigned long e1, unsigned long s2,
                               unsigned long e2);
    // Whether the repeat rules make the two ranges fall on a common day. A repeating item meets a
    // one-off once its first occurrence starts no later than the one-off ends.
    static bool m_IsRepeatDup(unsigned long listStart, unsigned long listEnd,
                              EReminderRepeatType listRepeat, unsigned char listDays,
                              unsigned long cmpStart, unsigned long cmpEnd,
                              EReminderRepeatType cmpRepeat, unsigned char cmpDays);
    // Sort predicates: guide start, then service id, then event id; and booking order.
    static bool SortByStartTime(const TCProgramData* a, const TCProgramData* b);
    static bool SortByBookingTime(const CRemindInfo* a, const CRemindInfo* b);

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

    // --- Tuners and conflicts ---
    // Tuners that can receive: the platform's count (0 when unreadable), 1 for two satellite
    // tuners on a single cable.
    static int NumOfAvailableTuner();
    // Tuners that can record, never more than NumOfAvailableTuner().
    static int NumOfRecordableTuner();
    // Conditional-access modules inserted and working; 0 when they cannot be read.
    static int NumOfWorkingCAM();
    // Whether the two items cannot be received at once: both scrambled with one module, or
    // either on an analogue channel.
    static bool FlagOneTunerCase(const CRemindInfo& item, const CRemindInfo& other);
    // Whether the item cannot be received together with any of `others`: a set with one tuner,
    // two recordings on one recordable tuner, or the pair rules against any of them.
    static bool FlagOneTunerCase(const CRemindInfo& item, const std::vector<CRemindInfo>& others);
    // Whether the item has a tuner conflict with stored bookings other than `exclusions` (and
    // itself), matched by UID. `flag` is handed to the facade's overlap query. Enters the
    // facade.
    static bool ExistConflictsWithExclusions(const CRemindInfo& item,
                                             const std::vector<CRemindInfo>& exclusions, bool flag);
    // Whether the facade's conflict set for the item holds anything besides one element equal
    // to `*exclude` (anything at all when `exclude` is null); false when the query fails.
    static bool m_HasConflicts(const CRemindInfo& item, const CRemindInfo* exclude);

    // --- Programme monitoring ---
    // One subscriber per process; true only for the call that created it. The first caller's
    // callback receives every change, on the middleware's thread.
    static bool CreateProgramSubscriber(ProgramMonitorCallback callback, void* data);
    static void m_ProcessProgramSignal(EProgramChangeType type, TCProgramData* program, int param1,
                                       int param2);
    // Follows one booking created from programme data, under its UID (a manual booking never).
    static bool MonitorProgram(const CRemindInfo& info);
    static bool CancelMonitorProgram(const CRemindInfo& info);
    // Follows every programme of a series CRID; cancelling needs the CRID exactly as monitored.
    static bool MonitorCRID(const std::string& crid);
    static bool CancelMonitorCRID(const std::string& crid);
    static bool FlagProgramMonitoringSupported(EProgramMonitoringType& type);
    static bool FlagProgramMonitoringSupported();
    // True when the recorder must stop the recording itself rather than wait for the
    // broadcaster's end signal.
    static bool NeedPVRStop(const CRemindInfo& item);

    // --- Channel tuning ---
    // Brings the booking's channel to the screen when the viewer accepts a reminder: sends a
    // remote channel to the universal remote, else launches the application that should show
    // it now. Failures are logged only.
    static void TuneChannel(const CRemindInfo& item);

    // --- Alternative broadcasts ---
    // For a booking that conflicts, other showings of the same programme that would not: under
    // REM_ALTERNATIVE_FOR_ITEM the showings of `item`'s programme, under
    // REM_ALTERNATIVE_FOR_CONFLICTING the showings of each booking in `conflicts`, each carrying
    // in m_nUid the UID of the stored booking it would replace. The map is emptied first; true
    // when either list is non-empty. Enters the facade (through m_HasConflicts).
    static bool ExistAlternatives(const CRemindInfo& item,
                                  const std::vector<CRemindInfo>& conflicts,
                                  std::map<ERemAlterativeType, std::vector<CRemindInfo>>& out);
    // The future showings of `booking`'s programme (same programme CRID, instance suffix
    // ignored, another event) that have no conflict once `replaced` is left out (nothing when
    // null) and do not overlap `avoid` (nothing when null).
    static std::vector<CRemindInfo> m_GetBookingAlternative(const CRemindInfo& booking,
                                                            const CRemindInfo* replaced,
                                                            const CRemindInfo* avoid);
};

#endif
