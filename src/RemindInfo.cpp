#include "RemindInfo.h"

#include <json/json.h>

#include <exception>
#include <sstream>
#include <tuple>
#include <utility>

#include "FCAPI.h"
#include "ReminderAPIUtil.h"
#include "ReminderLog.h"
#include "TCProgramData.h"
#include "TCServiceData.h"
#include "svc_pvr.h"

int32_t CRemindInfo::s_nVersion = 20130411;

namespace {

constexpr uint16_t kNoValue16 = 0xFFFF;
constexpr uint32_t kNoValue32 = 0xFFFFFFFFu;
constexpr unsigned long long kNoServiceId = ~0ULL;

// Countries that identify a monitored programme by its CRID as well.
constexpr int kCountryMatchingCrid1 = 37;
constexpr int kCountryMatchingCrid2 = 23;
// The country that tells broadcasts apart by their start time rather than their event id.
constexpr int kCountryEventByTime = 23;
// The country that marks series membership by a series id rather than a series CRID.
constexpr int kCountrySeriesById = 5;

bool CountryMatchesCrid(int country) {
    return country == kCountryMatchingCrid1 || country == kCountryMatchingCrid2;
}

// The attributes every channel lookup asks for, in the order the middleware expects them.
TCCriteriaHelper ChannelCriteria() {
    TCCriteriaHelper criteria;
    for (const int key :
         {SERVICE_ATTR_SERVICE_PROFILE, SERVICE_ATTR_TRANSPORT_STREAM_ID, SERVICE_ATTR_FREQUENCY,
          SERVICE_ATTR_MAJOR, SERVICE_ATTR_MINOR, SERVICE_ATTR_PTC, SERVICE_ATTR_CHANNEL_TYPE,
          SERVICE_ATTR_PROGRAM_NUMBER}) {
        criteria.Fetch(key);
    }
    return criteria;
}

template <typename T>
T AttributeOr(const TCServiceData& service, int key, T fallback) {
    long long value = 0;
    return service.FindAttribute(key, value) ? static_cast<T>(value) : fallback;
}

// The channel fields shared by every lookup (all but the service id).
void TakeChannelFields(CRemindInfo& info, const TCServiceData& service) {
    info.m_nServiceProfile = AttributeOr<int32_t>(service, SERVICE_ATTR_SERVICE_PROFILE, -1);
    info.m_nChannelType = AttributeOr<uint16_t>(service, SERVICE_ATTR_CHANNEL_TYPE, kNoValue16);
    info.m_nMajor = AttributeOr<uint16_t>(service, SERVICE_ATTR_MAJOR, kNoValue16);
    info.m_nMinor = AttributeOr<uint16_t>(service, SERVICE_ATTR_MINOR, kNoValue16);
    info.m_nPTC = AttributeOr<uint16_t>(service, SERVICE_ATTR_PTC, kNoValue16);
    info.m_nProgramNumber = AttributeOr<uint16_t>(service, SERVICE_ATTR_PROGRAM_NUMBER, kNoValue16);
    info.m_nTransportStreamId =
        AttributeOr<uint16_t>(service, SERVICE_ATTR_TRANSPORT_STREAM_ID, kNoValue16);
    info.m_frequency = AttributeOr<float>(service, SERVICE_ATTR_FREQUENCY, -1.0f);
}

bool FindChannelByServiceId(unsigned long long serviceId, TCServiceData& service) {
    TCCriteriaHelper criteria = ChannelCriteria();
    criteria.Where(SERVICE_ATTR_SERVICE_ID, static_cast<long long>(serviceId));
    return CReminderAPIUtil::FindChannel(criteria, service);
}

// A programme whose start and duration seconds add up to a minute or more would end past a
// window counted in whole minutes; widen the duration by that minute.
uint32_t MinuteAlignedDuration(uint32_t utcStart, uint32_t utcDuration) {
    return utcDuration + ((utcStart % 60 + utcDuration % 60) / 60) * 60;
}

uint32_t LocalEventTime(uint32_t utcStart) {
    const unsigned long local = CReminderAPIUtil::GetLocalTime(utcStart);
    return static_cast<uint32_t>((local / 60) * 60);
}

void TakeBroadcastTimes(CRemindInfo& info, unsigned long utcStart, unsigned long utcDuration) {
    info.m_nUTCStartTime = static_cast<uint32_t>(utcStart);
    info.m_nUTCDuration = static_cast<uint32_t>(utcDuration);
    info.m_nDuration = MinuteAlignedDuration(info.m_nUTCStartTime, info.m_nUTCDuration);
    info.m_nEventTime = LocalEventTime(info.m_nUTCStartTime);
}

// A failed read keeps what the settings call left in place, as it leaves its outputs so.
void TakeMarginsFromSettings(CRemindInfo& info) {
    unsigned long start = info.m_nStartMarginTime;
    unsigned long end = info.m_nEndMarginTime;
    CReminderAPIUtil::GetStartEndMarginTime(start, end);
    info.m_nStartMarginTime = static_cast<uint32_t>(start);
    info.m_nEndMarginTime = static_cast<uint32_t>(end);
}

// Copies a text the programme hands out through a length and a buffer.
template <typename Copy>
std::string ProgramText(int length, Copy copy) {
    std::string text(static_cast<size_t>(length), '\0');
    const int copied = copy(&text[0], length);
    text.resize(copied > 0 ? static_cast<size_t>(copied) : 0);
    return text;
}

uint32_t PaddedStart(const CRemindInfo& info) {
    return info.m_nEventTime - info.m_nStartMarginTime;
}

uint32_t PaddedEnd(const CRemindInfo& info) {
    return info.m_nEventTime + info.m_nDuration + info.m_nEndMarginTime;
}

uint32_t PaddedLength(const CRemindInfo& info) {
    return info.m_nStartMarginTime + info.m_nEndMarginTime + info.m_nDuration;
}

// Both items are plain time slots rather than guide events.
bool BothTimeSlots(const CRemindInfo& a, const CRemindInfo& b) {
    return (a.m_nManual == 1 && b.m_nManual == 1) ||
           (a.m_nStreamType == REMINDER_STREAM_REMOTE && b.m_nStreamType == REMINDER_STREAM_REMOTE);
}

// A viewing reminder needs only its start moment: it competes when that moment falls inside
// the other's padded slot.
bool StartsWithin(const CRemindInfo& item, const CRemindInfo& slot) {
    const uint32_t start = PaddedStart(item);
    return start >= PaddedStart(slot) && start < PaddedEnd(slot);
}

bool EqualIgnoringCase(const std::string& a, const std::string& b) {
    return CReminderAPIUtil::CompareStrIgnoringCase(a, b) == 0;
}

void LogProgramMonitorId(const TCProgramMonitorId& id) {
    REMINDER_LOG(
        "Program Monitor Id info: m_serviceId = %llu, m_eventId = %u, m_starttime = %lu, "
        "m_duration = %lu, m_program_crid = %s",
        id.m_serviceId, id.m_eventId, id.m_starttime, id.m_duration, id.m_program_crid.c_str());
}

std::string RemoteChannelName(int source, int major, int minor) {
    FCMBRNetworkChannelAPI* api = FCAPI::GetMBRNetworkChannelAPI();
    if (api == nullptr) {
        REMINDER_ERR("GetMBRNetworkChannelAPI() is failed!!");
        return std::string();
    }
    int activityId = 0;
    if (!api->GetActivityIDBySourceID(source, activityId)) {
        REMINDER_ERR("GetActivityIDBySourceID() is failed!!");
    }
    REMINDER_LOG("nActivityId = [%d]", activityId);
    FCMBRNetworkChannel channel;
    if (!api->GetNetworkChannel(activityId, major, minor, channel)) {
        REMINDER_ERR("Find Remote Channel Failed.");
        return std::string();
    }
    REMINDER_LOG("Remote Channel Name: %s", channel.GetName().c_str());
    return channel.GetName();
}

std::string LocalChannelName(unsigned long long serviceId) {
    std::string name;
    std::vector<unsigned short> name16;
    if (TCServiceDataUtility::GetServiceName(serviceId, name16, true) && !name16.empty()) {
        REMINDER_LOG("nLength != 0");
        name = CReminderAPIUtil::UnicodeToUTF8(static_cast<unsigned int>(name16.size()),
                                               name16.data());
    }
    REMINDER_LOG("Local Channel Name: %s", name.c_str());
    return name;
}

// --- JSON form ---

Json::Value ComponentToJson(const CRemindInfo::SComponents& component) {
    Json::Value object;
    object["nStreamContentComponentType"] = Json::UInt(component.nStreamContentComponentType);
    object["cComponentTag"] = Json::UInt(component.cComponentTag);
    object["nLanguage"] = Json::UInt(component.nLanguage);
    return object;
}

CRemindInfo::SComponents ComponentFromJson(const Json::Value& object) {
    CRemindInfo::SComponents component;
    component.nStreamContentComponentType =
        static_cast<uint16_t>(object["nStreamContentComponentType"].asUInt());
    component.cComponentTag = static_cast<uint8_t>(object["cComponentTag"].asUInt());
    component.nLanguage = object["nLanguage"].asUInt();
    return component;
}

Json::Value ExtProgramIdToJson(const CRemindInfo::SExtProgramId& id) {
    Json::Value object;
    object["nUTCStartTime"] = Json::UInt(id.nUTCStartTime);
    object["nUTCDuration"] = Json::UInt(id.nUTCDuration);
    object["cEITNumber"] = Json::UInt(id.cEITNumber);
    object["nEITTableId"] = Json::Int(id.nEITTableId);
    return object;
}

// Sets the fields one by one so that a failing member leaves the ones before it read.
void ReadExtProgramId(const Json::Value& object, CRemindInfo::SExtProgramId& id) {
    id.nUTCStartTime = object["nUTCStartTime"].asUInt();
    id.nUTCDuration = object["nUTCDuration"].asUInt();
    id.cEITNumber = static_cast<uint8_t>(object["cEITNumber"].asUInt());
    id.nEITTableId = object["nEITTableId"].asInt();
}

uint16_t AsU16(const Json::Value& value) {
    return static_cast<uint16_t>(value.asUInt());
}
uint8_t AsU8(const Json::Value& value) {
    return static_cast<uint8_t>(value.asUInt());
}

}  // namespace

CRemindInfo::CRemindInfo()
    : m_nServiceId(kNoServiceId),
      m_nServiceProfile(-1),
      m_nChannelType(kNoValue16),
      m_nMajor(kNoValue16),
      m_nMinor(kNoValue16),
      m_nPTC(kNoValue16),
      m_nProgramNumber(kNoValue16),
      m_nTransportStreamId(kNoValue16),
      m_nTimeMargin(0),
      m_nDevice(kNoValue16),
      m_nEventId(kNoValue16),
      m_nErrno(0),
      m_nSeriesId(kNoValue16),
      m_nExpiredDate(kNoValue16),
      m_nUid(kNoValue32),
      m_nBookingOrder(kNoValue32),
      m_nUTCStartTime(kNoValue32),
      m_nEventTime(kNoValue32),
      m_nStartMarginTime(0),
      m_nEndMarginTime(0),
      m_nRCTExpiryTime(0),
      m_nAddedTime(0),
      m_nActivationTime(kNoValue32),
      m_nExpiryTime(kNoValue32),
      m_nPublishedDuration(kNoValue32),
      m_cManualRepeat(0),
      m_cContentVersion(0),
      m_cGenre(0xFF),
      m_nUTCDuration(0),
      m_nDuration(0),
      m_frequency(0.0f),
      m_nEpisodeNumber(-1),
      m_nLastEpisodeNumber(-1),
      m_bIsHD(false),
      m_bRemoteChannel(false),
      m_bAlarmed(false),
      m_bRecordingSpaceAlarmed(false),
      m_bRecording(false),
      m_bUnresolvedConflict(false),
      m_bRecommended(false),
      m_bRecordListBooking(false),
      m_cRepeatLabel(0xFF),
      m_nSource(-1),
      m_nManual(0),
      m_nReserveType(REMINDER_RESERVE_NONE),
      m_nRepeatType(REMINDER_REPEAT_NONE),
      m_nStreamType(REMINDER_STREAM_BROADCAST) {}

CRemindInfo::CRemindInfo(const CRemindInfo& other) = default;

CRemindInfo& CRemindInfo::operator=(const CRemindInfo& other) = default;

CRemindInfo::~CRemindInfo() = default;

void CRemindInfo::Initialise() {
    REMINDER_ENTRY();
    // Keep the component list's storage: records are reset and refilled in loops.
    std::vector<SComponents> components = std::move(m_vCompList);
    components.clear();
    *this = CRemindInfo();
    m_vCompList = std::move(components);
}

void CRemindInfo::SetTimeMargin(unsigned short margin) {
    m_nTimeMargin = margin;
    m_nDuration += 2u * margin;
}

void CRemindInfo::SetStartTime(unsigned long t) {
    m_nEventTime = static_cast<uint32_t>((t / 60) * 60);
    m_nUTCStartTime = static_cast<uint32_t>(CReminderAPIUtil::GetUTCTime(t));
}

void CRemindInfo::SerielSet(unsigned short seriesId, unsigned short expiredDate, char repeatLabel,
                            short episodeNumber, short lastEpisodeNumber) {
    m_nSeriesId = seriesId;
    m_nExpiredDate = expiredDate;
    m_cRepeatLabel = static_cast<uint8_t>(repeatLabel);
    m_nEpisodeNumber = episodeNumber;
    m_nLastEpisodeNumber = lastEpisodeNumber;
}

void CRemindInfo::Set(unsigned long long serviceId) {
    TCServiceData service;
    if (!FindChannelByServiceId(serviceId, service)) {
        REMINDER_ERR("Find Service Failed.");
        return;
    }
    m_nServiceId = serviceId;
    TakeChannelFields(*this, service);
}

void CRemindInfo::Set(const TCProgramData& program, EReserveType type) {
    REMINDER_ENTRY();
    TCServiceData service;
    if (!FindChannelByServiceId(program.ServiceId(), service)) {
        REMINDER_ERR("Find Service Failed.");
        return;
    }
    m_nServiceId = program.ServiceId();
    m_nEventId = program.EventId();
    TakeChannelFields(*this, service);
    m_bIsHD = TCProgramDescriptorUtil::IsHD(program);

    TakeBroadcastTimes(*this, program.StartTime(), program.Duration());
    if (CReminderAPIUtil::FlagSupportMarginTime()) TakeMarginsFromSettings(*this);

    TCProgramId programId;
    if (program.GetProgramId(programId)) {
        m_extProgramId.nUTCStartTime = static_cast<uint32_t>(programId.m_utc_starttime);
        m_extProgramId.nUTCDuration = static_cast<uint32_t>(programId.m_utc_duration);
        m_extProgramId.cEITNumber = programId.m_eit_number;
        m_extProgramId.nEITTableId = programId.m_eit_table_id;
    }
    program.GetProgramCRID(m_sProgramCrid);
    REMINDER_LOG("m_sProgramCrid = %s", m_sProgramCrid.c_str());

    if (program.TitleLength() > 0) {
        m_sTitle = ProgramText(program.TitleLength(), [&](char* buffer, int length) {
            return program.Title(buffer, length);
        });
    }
    if (program.ExtendedTextLength() > 0) {
        m_sSynopsis = ProgramText(program.ExtendedTextLength(), [&](char* buffer, int length) {
            return program.ExtendedText(buffer, length);
        });
    }
    // A single byte of guidance carries no text worth showing.
    if (program.GuidanceLength() > 1) {
        m_sGuidance = ProgramText(program.GuidanceLength(), [&](char* buffer, int length) {
            return program.GetGuidance(buffer, length);
        });
    }

    m_nAddedTime = 0;
    m_nReserveType = type;
    m_nExpiredDate = kNoValue16;
    m_nEpisodeNumber = -1;
    m_nLastEpisodeNumber = -1;
    m_nSeriesId = kNoValue16;
    m_cRepeatLabel = 0xFF;
}

void CRemindInfo::Set(const FCVirtualProgramId& id, EReserveType type) {
    Initialise();
    Set(id.GetServiceId());
    m_nStreamType = REMINDER_STREAM_VIRTUAL;
    TakeBroadcastTimes(*this, id.GetStartTime(), id.GetDuration());
    TakeMarginsFromSettings(*this);

    FCVirtualChannelsAPI* api = FCAPI::GetVirtualChannelsAPI();
    FCVirtualProgramData data;
    if (api != nullptr && api->GetProgramData(id, data)) {
        m_sTitle = data.GetTitle();
        m_sSynopsis = data.GetShortDescription();
    }
    m_nReserveType = type;
}

void CRemindInfo::Set(const FCRemoteProgram& program, unsigned long long serviceId,
                      EReserveType type) {
    Initialise();
    Set(serviceId);
    m_nStreamType = REMINDER_STREAM_REMOTE;
    TakeBroadcastTimes(*this, program.GetStartTime(), program.GetDuration());
    TakeMarginsFromSettings(*this);
    m_nReserveType = type;
}

void CRemindInfo::Set(unsigned short major, unsigned short minor, unsigned short ptc,
                      unsigned short channelType, unsigned short programNumber) {
    REMINDER_ENTRY();
    m_nChannelType = channelType;
    m_nMajor = major;
    m_nMinor = minor;
    m_nPTC = ptc;
    m_nProgramNumber = programNumber;

    TCCriteriaHelper criteria = ChannelCriteria();
    // The caller knows only the numbers: the service id comes from the channel found.
    criteria.Fetch(SERVICE_ATTR_SERVICE_ID);
    criteria.Where(SERVICE_ATTR_MAJOR, major);
    criteria.Where(SERVICE_ATTR_MINOR, minor);
    criteria.Where(SERVICE_ATTR_PTC, ptc);
    criteria.Where(SERVICE_ATTR_CHANNEL_TYPE, channelType);
    criteria.Where(SERVICE_ATTR_PROGRAM_NUMBER, programNumber);
    TCServiceData service;
    if (!CReminderAPIUtil::FindChannel(criteria, service)) return;

    REMINDER_LOG("Find Service, it is local channel.");
    m_nServiceId = AttributeOr<unsigned long long>(service, SERVICE_ATTR_SERVICE_ID, kNoServiceId);
    m_nServiceProfile = AttributeOr<int32_t>(service, SERVICE_ATTR_SERVICE_PROFILE, -1);
    m_nTransportStreamId =
        AttributeOr<uint16_t>(service, SERVICE_ATTR_TRANSPORT_STREAM_ID, kNoValue16);
    m_frequency = AttributeOr<float>(service, SERVICE_ATTR_FREQUENCY, -1.0f);
}

void CRemindInfo::SetRecording(const TCProgramData& program) {
    REMINDER_ENTRY();
    svc_pvr_service_init();
    int index = m_nDevice;
    svc_pvr_get_rec_default_dev_index(&index);
    m_nDevice = static_cast<uint16_t>(index);
    REMINDER_LOG("after calling svc_pvr_get_rec_default_dev_index().");
    Set(program, CReminderAPIUtil::FlagProgramMonitoringSupported()
                     ? REMINDER_RESERVE_RECORDING_MONITORED
                     : REMINDER_RESERVE_RECORDING);
}

void CRemindInfo::SetTimerViewing(const TCProgramData& program) {
    REMINDER_ENTRY();
    Set(program, REMINDER_RESERVE_VIEWING);
}

// --- Identity and comparison ---

bool CRemindInfo::operator<(const CRemindInfo& other) const {
    const int32_t kind = static_cast<int32_t>(m_nReserveType);
    const int32_t otherKind = static_cast<int32_t>(other.m_nReserveType);
    if (kind != otherKind) return kind < otherKind;
    return std::tie(m_nChannelType, m_nEventTime, m_nStartMarginTime, m_nPTC, m_nMajor, m_nMinor) <
           std::tie(other.m_nChannelType, other.m_nEventTime, other.m_nStartMarginTime,
                    other.m_nPTC, other.m_nMajor, other.m_nMinor);
}

bool CRemindInfo::operator==(const CRemindInfo& o) const {
    const auto numbers = [](const CRemindInfo& r) {
        return std::tie(
            r.m_nServiceId, r.m_nServiceProfile, r.m_nChannelType, r.m_nMajor, r.m_nMinor, r.m_nPTC,
            r.m_nProgramNumber, r.m_nTransportStreamId, r.m_nTimeMargin, r.m_nDevice, r.m_nEventId,
            r.m_nErrno, r.m_nSeriesId, r.m_nExpiredDate, r.m_nUid, r.m_nBookingOrder,
            r.m_nUTCStartTime, r.m_nEventTime, r.m_nStartMarginTime, r.m_nEndMarginTime,
            r.m_nRCTExpiryTime, r.m_nAddedTime, r.m_nActivationTime, r.m_nExpiryTime,
            r.m_nPublishedDuration, r.m_cManualRepeat, r.m_cContentVersion, r.m_nUTCDuration,
            r.m_cGenre, r.m_nDuration, r.m_frequency, r.m_nEpisodeNumber, r.m_nLastEpisodeNumber);
    };
    const auto flags = [](const CRemindInfo& r) {
        return std::tie(r.m_bIsHD, r.m_bRemoteChannel, r.m_bAlarmed, r.m_bRecordingSpaceAlarmed,
                        r.m_bRecording, r.m_bUnresolvedConflict, r.m_bRecommended,
                        r.m_bRecordListBooking, r.m_cRepeatLabel, r.m_nSource, r.m_nManual,
                        r.m_nReserveType, r.m_nRepeatType);
    };
    const auto extId = [](const CRemindInfo& r) {
        return std::tie(r.m_extProgramId.nUTCStartTime, r.m_extProgramId.nUTCDuration,
                        r.m_extProgramId.cEITNumber, r.m_extProgramId.nEITTableId, r.m_nStreamType);
    };
    return numbers(*this) == numbers(o) && flags(*this) == flags(o) && m_sTitle == o.m_sTitle &&
           m_sChannelName == o.m_sChannelName &&
           EqualIgnoringCase(m_sProgramCrid, o.m_sProgramCrid) &&
           EqualIgnoringCase(m_sSeriesCrid, o.m_sSeriesCrid) &&
           EqualIgnoringCase(m_sGroupCrid, o.m_sGroupCrid) && m_sSynopsis == o.m_sSynopsis &&
           m_sGuidance == o.m_sGuidance && EqualIgnoringCase(m_sPrivateData, o.m_sPrivateData) &&
           extId(*this) == extId(o);
}

bool CRemindInfo::CompareServiceAndTime(const CRemindInfo& other) const {
    return m_nServiceId == other.m_nServiceId && m_nEventTime == other.m_nEventTime;
}

bool CRemindInfo::CompareServiceTimeAndRepeat(const CRemindInfo& other) const {
    return CompareServiceAndTime(other) && m_nRepeatType == other.m_nRepeatType &&
           m_cManualRepeat == other.m_cManualRepeat;
}

bool CRemindInfo::CompareService(const CRemindInfo& other) const {
    return m_nServiceId == other.m_nServiceId;
}

bool CRemindInfo::CompareService(const TCProgramData& program) const {
    return m_nServiceId == program.ServiceId();
}

bool CRemindInfo::CompareService(const TCServiceData& service) const {
    return m_nServiceId ==
           AttributeOr<unsigned long long>(service, SERVICE_ATTR_SERVICE_ID, kNoServiceId);
}

bool CRemindInfo::CompareEvent(const CRemindInfo& other) const {
    const bool sameService = m_nServiceId == other.m_nServiceId;
    if (BothTimeSlots(*this, other)) {
        return sameService && PaddedStart(*this) == PaddedStart(other) &&
               PaddedLength(*this) == PaddedLength(other);
    }
    if (CReminderAPIUtil::GetCountry() == kCountryEventByTime) {
        return sameService && m_nEventTime == other.m_nEventTime;
    }
    return sameService && m_nEventId == other.m_nEventId;
}

bool CRemindInfo::CompareEvent(const TCProgramData& program) const {
    return m_nServiceId == program.ServiceId() && m_nEventId == program.EventId();
}

bool CRemindInfo::CompareCRID(const CRemindInfo& other) const {
    return EqualIgnoringCase(m_sSeriesCrid, other.m_sSeriesCrid) &&
           EqualIgnoringCase(m_sProgramCrid, other.m_sProgramCrid);
}

std::string CRemindInfo::ProgramCrid() const {
    return CReminderAPIUtil::LowerCase(m_sProgramCrid);
}

std::string CRemindInfo::SeriesCrid() const {
    return CReminderAPIUtil::LowerCase(m_sSeriesCrid);
}

bool CRemindInfo::IsConflict(const CRemindInfo& other) const {
    if (CompareEvent(other)) return false;
    if (m_nReserveType == REMINDER_RESERVE_VIEWING) return StartsWithin(*this, other);
    if (other.m_nReserveType == REMINDER_RESERVE_VIEWING) return StartsWithin(other, *this);
    if (PaddedEnd(*this) <= PaddedStart(other)) return false;
    return PaddedEnd(other) > PaddedStart(*this);
}

bool CRemindInfo::IsConflict(const TCProgramData& program) const {
    CRemindInfo candidate;
    candidate.Set(program, REMINDER_RESERVE_NONE);
    return IsConflict(candidate);
}

bool CRemindInfo::IsPartOfASeries() const {
    const bool hasSeriesId = m_nSeriesId < kNoValue16;
    const bool hasSeriesCrid = !m_sSeriesCrid.empty();
    // The country only decides between the two marks when a record carries one of them.
    if (hasSeriesId == hasSeriesCrid) return hasSeriesId;
    if (CReminderAPIUtil::GetCountry() == kCountrySeriesById) return hasSeriesId;
    return hasSeriesCrid;
}

bool CRemindInfo::IsSplitEvent() const {
    return m_sProgramCrid.find('#') != std::string::npos;
}

void CRemindInfo::CopyDetailsInto(TCProgramId& id) const {
    id.m_serviceId = m_nServiceId;
    id.m_eventId = m_nEventId;
    id.m_utc_starttime = m_extProgramId.nUTCStartTime;
    id.m_utc_duration = m_extProgramId.nUTCDuration;
    id.m_eit_table_id = m_extProgramId.nEITTableId;
    id.m_eit_number = m_extProgramId.cEITNumber;
    REMINDER_LOG(
        "progID: m_serviceId=%llu, m_eventId=%lu, m_eit_number=%d, m_utc_starttime=%lu, "
        "m_utc_duration=%lu, m_eit_table_id=%d",
        id.m_serviceId, id.m_eventId, id.m_eit_number, id.m_utc_starttime, id.m_utc_duration,
        id.m_eit_table_id);
}

void CRemindInfo::CopyDetailsInto(TCServiceData& service) const {
    service.SetAttribute(SERVICE_ATTR_PTC, m_nPTC);
    service.SetAttribute(SERVICE_ATTR_MAJOR, m_nMajor);
    service.SetAttribute(SERVICE_ATTR_MINOR, m_nMinor);
    service.SetAttribute(SERVICE_ATTR_CHANNEL_TYPE, m_nChannelType);
    service.SetAttribute(SERVICE_ATTR_PROGRAM_NUMBER, m_nProgramNumber);
    service.SetAttribute(SERVICE_ATTR_TRANSPORT_STREAM_ID, m_nTransportStreamId);
    service.SetAttribute(SERVICE_ATTR_FREQUENCY, static_cast<long long>(m_frequency));
}

void CRemindInfo::CopyUniqueKeyInto(TCServiceData& service) const {
    service.SetAttribute(SERVICE_ATTR_CHANNEL_TYPE, m_nChannelType);
    if (TCServiceUtility::IsDigitalChannelType(m_nChannelType)) {
        service.SetAttribute(SERVICE_ATTR_PTC, m_nPTC);
        service.SetAttribute(SERVICE_ATTR_PROGRAM_NUMBER, m_nProgramNumber);
        service.SetAttribute(SERVICE_ATTR_TRANSPORT_STREAM_ID, m_nTransportStreamId);
    } else {
        // An analogue channel is found again by its frequency alone.
        service.SetAttribute(SERVICE_ATTR_FREQUENCY, static_cast<long long>(m_frequency));
    }
}

void CRemindInfo::GetProgramMonitorId(TCProgramMonitorId& id) const {
    id.m_serviceId = m_nServiceId;
    id.m_eventId = m_nEventId;
    id.m_starttime = m_nUTCStartTime;
    id.m_duration = m_nUTCDuration;
    if (CountryMatchesCrid(CReminderAPIUtil::GetCountry())) id.m_program_crid = m_sProgramCrid;
    LogProgramMonitorId(id);
}

bool CRemindInfo::MatchProgramMonitorId(const TCProgramMonitorId& id) const {
    LogProgramMonitorId(id);
    if (id.m_serviceId != m_nServiceId || id.m_eventId != m_nEventId ||
        id.m_starttime != m_nUTCStartTime || id.m_duration != m_nUTCDuration) {
        return false;
    }
    // Where the broadcaster reuses event ids, only the CRID, exactly as sent, tells them apart.
    if (CountryMatchesCrid(CReminderAPIUtil::GetCountry()) && id.m_program_crid != m_sProgramCrid) {
        REMINDER_LOG("Program CRID is not matched.");
        return false;
    }
    REMINDER_LOG("Match success!");
    return true;
}

bool CRemindInfo::IsScrambledInPMT() const {
    TCCriteriaHelper criteria;
    criteria.Fetch(SERVICE_ATTR_SCRAMBLED_IN_PMT);
    criteria.Where(SERVICE_ATTR_SERVICE_ID, static_cast<long long>(m_nServiceId));
    TCServiceData service;
    if (!CReminderAPIUtil::FindChannel(criteria, service)) {
        REMINDER_ERR("Find Service Failed!");
        return false;
    }
    return AttributeOr<long long>(service, SERVICE_ATTR_SCRAMBLED_IN_PMT, 0) != 0;
}

std::string CRemindInfo::GetChannelName() const {
    REMINDER_ENTRY();
    if (m_bRemoteChannel) return RemoteChannelName(m_nSource, m_nMajor, m_nMinor);
    return LocalChannelName(m_nServiceId);
}

// --- JSON form ---

std::string CRemindInfo::Serialize() const {
    REMINDER_ENTRY();
    Json::Value root;
    try {
        root["m_nServiceId"] = Json::UInt64(m_nServiceId);
        root["m_nServiceProfile"] = Json::Int(m_nServiceProfile);
        root["m_nChannelType"] = Json::UInt(m_nChannelType);
        root["m_nMajor"] = Json::UInt(m_nMajor);
        root["m_nMinor"] = Json::UInt(m_nMinor);
        root["m_nPTC"] = Json::UInt(m_nPTC);
        root["m_nProgramNumber"] = Json::UInt(m_nProgramNumber);
        root["m_nTransportStreamId"] = Json::UInt(m_nTransportStreamId);
        root["m_nTimeMargin"] = Json::UInt(m_nTimeMargin);
        root["m_nDevice"] = Json::UInt(m_nDevice);
        root["m_nEventId"] = Json::UInt(m_nEventId);
        root["m_nErrno"] = Json::UInt(m_nErrno);
        root["m_nSeriesId"] = Json::UInt(m_nSeriesId);
        root["m_nExpiredDate"] = Json::UInt(m_nExpiredDate);
        root["m_nUid"] = Json::UInt(m_nUid);
        root["m_nBookingOrder"] = Json::UInt(m_nBookingOrder);
        root["m_nUTCStartTime"] = Json::UInt(m_nUTCStartTime);
        root["m_nEventTime"] = Json::UInt(m_nEventTime);
        root["m_nStartMarginTime"] = Json::UInt(m_nStartMarginTime);
        root["m_nEndMarginTime"] = Json::UInt(m_nEndMarginTime);
        root["m_nRCTExpiryTime"] = Json::UInt(m_nRCTExpiryTime);
        root["m_nAddedTime"] = Json::UInt(m_nAddedTime);
        root["m_nActivationTime"] = Json::UInt(m_nActivationTime);
        root["m_nExpiryTime"] = Json::UInt(m_nExpiryTime);
        root["m_nPublishedDuration"] = Json::UInt(m_nPublishedDuration);
        root["m_cManualRepeat"] = Json::UInt(m_cManualRepeat);
        root["m_cContentVersion"] = Json::UInt(m_cContentVersion);
        root["m_cGenre"] = Json::UInt(m_cGenre);
        root["m_nUTCDuration"] = Json::UInt(m_nUTCDuration);
        root["m_nDuration"] = Json::UInt(m_nDuration);
        root["m_frequency"] = static_cast<double>(m_frequency);
        root["m_nEpisodeNumber"] = Json::Int(m_nEpisodeNumber);
        root["m_nLastEpisodeNumber"] = Json::Int(m_nLastEpisodeNumber);
        root["m_bIsHD"] = m_bIsHD;
        root["m_bRemoteChannel"] = m_bRemoteChannel;
        root["m_bAlarmed"] = m_bAlarmed;
        root["m_bRecordingSpaceAlarmed"] = m_bRecordingSpaceAlarmed;
        root["m_bRecording"] = m_bRecording;
        root["m_bUnresolvedConflict"] = m_bUnresolvedConflict;
        root["m_bRecommended"] = m_bRecommended;
        root["m_bRecordListBooking"] = m_bRecordListBooking;
        root["m_cRepeatLabel"] = Json::Int(m_cRepeatLabel);
        root["m_nSource"] = Json::Int(m_nSource);
        root["m_nManual"] = Json::Int(m_nManual);
        root["m_nReserveType"] = Json::Int(m_nReserveType);
        root["m_nRepeatType"] = Json::Int(m_nRepeatType);
        root["m_sTitle"] = m_sTitle;
        root["m_sChannelName"] = m_sChannelName;
        root["m_sProgramCrid"] = m_sProgramCrid;
        root["m_sSeriesCrid"] = m_sSeriesCrid;
        root["m_sGroupCrid"] = m_sGroupCrid;
        root["m_sSynopsis"] = m_sSynopsis;
        root["m_sGuidance"] = m_sGuidance;
        root["m_sPrivateData"] = m_sPrivateData;
        // Rows written without components carry no such key; keep it so.
        for (const SComponents& component : m_vCompList) {
            root["m_vCompList"].append(ComponentToJson(component));
        }
        // Stored rows carry the id as a one-element array; readers depend on that shape.
        root["m_extProgramId"].append(ExtProgramIdToJson(m_extProgramId));
        root["m_nStreamType"] = Json::Int(m_nStreamType);
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
    }
    Json::FastWriter writer;
    return writer.write(root);
}

bool CRemindInfo::Deserialize(const std::string& text) {
    REMINDER_ENTRY();
    Json::Value parsed;
    Json::Reader reader;
    if (!reader.parse(text, parsed, true)) {
        REMINDER_ERR("json reader parse data failed!!!");
        return false;
    }
    // Read through a const reference so that absent members read as null instead of being added.
    const Json::Value& root = parsed;
    try {
        m_nServiceId = root["m_nServiceId"].asUInt64();
        m_nServiceProfile = root["m_nServiceProfile"].asInt();
        m_nChannelType = AsU16(root["m_nChannelType"]);
        m_nMajor = AsU16(root["m_nMajor"]);
        m_nMinor = AsU16(root["m_nMinor"]);
        m_nPTC = AsU16(root["m_nPTC"]);
        m_nProgramNumber = AsU16(root["m_nProgramNumber"]);
        m_nTransportStreamId = AsU16(root["m_nTransportStreamId"]);
        m_nTimeMargin = AsU16(root["m_nTimeMargin"]);
        m_nDevice = AsU16(root["m_nDevice"]);
        m_nEventId = AsU16(root["m_nEventId"]);
        m_nErrno = AsU16(root["m_nErrno"]);
        m_nSeriesId = AsU16(root["m_nSeriesId"]);
        m_nExpiredDate = AsU16(root["m_nExpiredDate"]);
        m_nUid = root["m_nUid"].asUInt();
        m_nBookingOrder = root["m_nBookingOrder"].asUInt();
        m_nUTCStartTime = root["m_nUTCStartTime"].asUInt();
        m_nEventTime = root["m_nEventTime"].asUInt();
        m_nStartMarginTime = root["m_nStartMarginTime"].asUInt();
        m_nEndMarginTime = root["m_nEndMarginTime"].asUInt();
        m_nRCTExpiryTime = root["m_nRCTExpiryTime"].asUInt();
        m_nAddedTime = root["m_nAddedTime"].asUInt();
        m_nActivationTime = root["m_nActivationTime"].asUInt();
        m_nExpiryTime = root["m_nExpiryTime"].asUInt();
        m_nPublishedDuration = root["m_nPublishedDuration"].asUInt();
        m_cManualRepeat = AsU8(root["m_cManualRepeat"]);
        m_cContentVersion = AsU8(root["m_cContentVersion"]);
        m_cGenre = AsU8(root["m_cGenre"]);
        m_nUTCDuration = root["m_nUTCDuration"].asUInt();
        m_nDuration = root["m_nDuration"].asUInt();
        m_frequency = static_cast<float>(root["m_frequency"].asDouble());
        m_nEpisodeNumber = static_cast<int16_t>(root["m_nEpisodeNumber"].asInt());
        m_nLastEpisodeNumber = static_cast<int16_t>(root["m_nLastEpisodeNumber"].asInt());
        m_bIsHD = root["m_bIsHD"].asBool();
        m_bRemoteChannel = root["m_bRemoteChannel"].asBool();
        m_bAlarmed = root["m_bAlarmed"].asBool();
        m_bRecordingSpaceAlarmed = root["m_bRecordingSpaceAlarmed"].asBool();
        m_bRecording = root["m_bRecording"].asBool();
        m_bUnresolvedConflict = root["m_bUnresolvedConflict"].asBool();
        m_bRecommended = root["m_bRecommended"].asBool();
        m_bRecordListBooking = root["m_bRecordListBooking"].asBool();
        m_cRepeatLabel = static_cast<uint8_t>(root["m_cRepeatLabel"].asInt());
        m_nSource = root["m_nSource"].asInt();
        m_nManual = root["m_nManual"].asInt();
        m_nReserveType = static_cast<EReserveType>(root["m_nReserveType"].asInt());
        m_nRepeatType = static_cast<EReminderRepeatType>(root["m_nRepeatType"].asInt());
        m_sTitle = root["m_sTitle"].asString();
        m_sChannelName = root["m_sChannelName"].asString();
        m_sProgramCrid = root["m_sProgramCrid"].asString();
        m_sSeriesCrid = root["m_sSeriesCrid"].asString();
        m_sGroupCrid = root["m_sGroupCrid"].asString();
        m_sSynopsis = root["m_sSynopsis"].asString();
        m_sGuidance = root["m_sGuidance"].asString();
        m_sPrivateData = root["m_sPrivateData"].asString();
        const Json::Value& components = root["m_vCompList"];
        for (const Json::Value& component : components) {
            m_vCompList.push_back(ComponentFromJson(component));
        }
        ReadExtProgramId(root["m_extProgramId"][0], m_extProgramId);
        m_nStreamType = root["m_nStreamType"].asInt();
    } catch (const std::exception& e) {
        REMINDER_ERR("Exception Handled : %s", e.what());
    }
    return true;
}

// --- Text form ---

std::string CRemindInfo::ToString() const {
    std::ostringstream text;
    text << (m_nReserveType == REMINDER_RESERVE_SERIES ? "series reminder" : "program reminder")
         << " [Uid=" << m_nUid << ", "
         << "ServiceId=" << m_nServiceId << ", "
         << "EventId=" << m_nEventId << ", "
         << "ProgramCrid='" << m_sProgramCrid << "', "
         << "SeriesCrid='" << m_sSeriesCrid << "', "
         << "EventTime=" << m_nEventTime << ", "
         << "Duration=" << m_nDuration << ", "
         << "Title=" << m_sTitle << ", "
         << "Major=" << m_nMajor << "]";
    return text.str();
}

void CRemindInfo::Print(const char* prefix) const {
    if (prefix != nullptr) {
        REMINDER_LOG("%s %s", prefix, ToString().c_str());
    } else {
        REMINDER_LOG("%s", ToString().c_str());
    }
}
