// CRemindInfo: one booking (a reminder to watch, a recording, a series booking or a manual time
// booking) as every layer of the library passes and stores it. A plain value: copies are deep.
#ifndef REMIND_INFO_H
#define REMIND_INFO_H

#include <cstdint>
#include <string>
#include <vector>

#include "ReminderExport.h"
#include "ReminderTypes.h"

class TCProgramData;
struct TCProgramId;
class TCServiceData;
struct TCProgramMonitorId;
class FCVirtualProgramId;
class FCRemoteProgram;

// Marshalling contract of the middleware's data objects. The record keeps its own
// Serialize/Deserialize and does not derive from it.
class TIMarshalable {
public:
    virtual ~TIMarshalable() = default;
    virtual bool Marshal(std::string& out) const = 0;
    virtual bool Unmarshal(const std::string& in) = 0;
    virtual unsigned int MarshalledSize() const = 0;
};

class REMINDER_EXPORT CRemindInfo {
public:
    struct SComponents {
        uint16_t nStreamContentComponentType = 0;
        uint8_t cComponentTag = 0;
        uint32_t nLanguage = 0;
    };

    struct SExtProgramId {
        uint32_t nUTCStartTime = 0xFFFFFFFFu;
        uint32_t nUTCDuration = 0xFFFFFFFFu;
        uint8_t cEITNumber = 0xFF;
        int32_t nEITTableId = 0;
    };

    static int32_t s_nVersion;

    CRemindInfo();
    CRemindInfo(const CRemindInfo& other);
    CRemindInfo& operator=(const CRemindInfo& other);
    virtual ~CRemindInfo();

    // Every field back to the constructor's defaults.
    void Initialise();
    // Stores the margin and widens the duration by twice it; repeated calls accumulate.
    void SetTimeMargin(unsigned short margin);
    // Local start time `t`, cut to the minute; the UTC start follows from it.
    void SetStartTime(unsigned long t);
    void SerielSet(unsigned short seriesId, unsigned short expiredDate, char repeatLabel,
                   short episodeNumber, short lastEpisodeNumber);

    // Channel fields of the service; unchanged (and logged) when the television does not know it.
    void Set(unsigned long long serviceId);
    void Set(const TCProgramData& program, EReserveType type);
    void Set(const FCVirtualProgramId& id, EReserveType type);
    void Set(const FCRemoteProgram& program, unsigned long long serviceId, EReserveType type);
    // A manual booking on the channel with these numbers.
    void Set(unsigned short major, unsigned short minor, unsigned short ptc,
             unsigned short channelType, unsigned short programNumber);
    void SetRecording(const TCProgramData& program);
    void SetTimerViewing(const TCProgramData& program);

    // Order for sorting lists: kind, channel type, time, then channel numbers.
    bool operator<(const CRemindInfo& other) const;
    // Every field but the component list; CRIDs and private data ignoring case.
    bool operator==(const CRemindInfo& other) const;
    bool CompareServiceAndTime(const CRemindInfo& other) const;
    bool CompareServiceTimeAndRepeat(const CRemindInfo& other) const;
    bool CompareService(const CRemindInfo& other) const;
    bool CompareService(const TCProgramData& program) const;
    bool CompareService(const TCServiceData& service) const;
    // Whether both denote the same broadcast.
    bool CompareEvent(const CRemindInfo& other) const;
    bool CompareEvent(const TCProgramData& program) const;
    bool CompareCRID(const CRemindInfo& other) const;
    // Lower-case copies of the CRIDs, as the engine matches them.
    std::string ProgramCrid() const;
    std::string SeriesCrid() const;
    // Whether the two compete for the same time; a viewing reminder only by its start moment.
    bool IsConflict(const CRemindInfo& other) const;
    bool IsConflict(const TCProgramData& program) const;
    bool IsPartOfASeries() const;
    bool IsSplitEvent() const;
    void CopyDetailsInto(TCProgramId& id) const;
    void CopyDetailsInto(TCServiceData& service) const;
    // Only the attributes by which the channel can be found again after a rescan.
    void CopyUniqueKeyInto(TCServiceData& service) const;
    void GetProgramMonitorId(TCProgramMonitorId& id) const;
    bool MatchProgramMonitorId(const TCProgramMonitorId& id) const;
    bool IsScrambledInPMT() const;
    // The channel's name as the television knows it now (UTF-8), empty when unknown.
    std::string GetChannelName() const;

    // The record as one-line JSON text, and back. Deserialize is false only for text that is
    // not JSON; a member of the wrong type stops the conversion there (logged).
    std::string Serialize() const;
    bool Deserialize(const std::string& text);

    std::string ToString() const;
    // Logs the record's text, prefixed by `prefix` when given.
    void Print(const char* prefix = nullptr) const;

    unsigned long long m_nServiceId;
    int32_t m_nServiceProfile;
    uint16_t m_nChannelType;
    uint16_t m_nMajor;
    uint16_t m_nMinor;
    uint16_t m_nPTC;
    uint16_t m_nProgramNumber;
    uint16_t m_nTransportStreamId;
    uint16_t m_nTimeMargin;
    uint16_t m_nDevice;
    uint16_t m_nEventId;
    uint16_t m_nErrno;
    uint16_t m_nSeriesId;
    uint16_t m_nExpiredDate;
    uint32_t m_nUid;
    uint32_t m_nBookingOrder;
    uint32_t m_nUTCStartTime;
    uint32_t m_nEventTime;
    uint32_t m_nStartMarginTime;
    uint32_t m_nEndMarginTime;
    uint32_t m_nRCTExpiryTime;
    uint32_t m_nAddedTime;
    uint32_t m_nActivationTime;
    uint32_t m_nExpiryTime;
    uint32_t m_nPublishedDuration;
    uint8_t m_cManualRepeat;
    uint8_t m_cContentVersion;
    uint8_t m_cGenre;
    uint32_t m_nUTCDuration;
    uint32_t m_nDuration;
    float m_frequency;
    int16_t m_nEpisodeNumber;
    int16_t m_nLastEpisodeNumber;
    bool m_bIsHD;
    bool m_bRemoteChannel;
    bool m_bAlarmed;
    bool m_bRecordingSpaceAlarmed;
    bool m_bRecording;
    bool m_bUnresolvedConflict;
    bool m_bRecommended;
    bool m_bRecordListBooking;
    uint8_t m_cRepeatLabel;
    int32_t m_nSource;
    int32_t m_nManual;
    EReserveType m_nReserveType;
    EReminderRepeatType m_nRepeatType;
    std::string m_sTitle;
    std::string m_sChannelName;
    std::string m_sProgramCrid;
    std::string m_sSeriesCrid;
    std::string m_sGroupCrid;
    std::string m_sSynopsis;
    std::string m_sGuidance;
    std::string m_sPrivateData;
    std::vector<SComponents> m_vCompList;
    SExtProgramId m_extProgramId;
    int32_t m_nStreamType;
};

#endif
