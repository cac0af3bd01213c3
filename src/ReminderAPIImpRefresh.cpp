// CReminderAPIImp, refreshing stored bookings after a channel rescan or a guide update. Each
// pass reads the list once, writes only the bookings that changed, in one transaction, and
// announces the change once; a pass that changed nothing writes nothing and stays silent.
#include <algorithm>
#include <list>

#include "FCAPI.h"
#include "ReminderAPIImp.h"
#include "ReminderAPIImpInternal.h"

using namespace engine_detail;

namespace {

constexpr unsigned short kEveryChannelType = 0xFFFF;  // -1 as the caller's unsigned short

// Bookings that belong to a channel of this television (not one behind the universal remote).
bool IsOnLocalChannel(const CRemindInfo& e) {
    return !e.m_bRemoteChannel && e.m_nStreamType != REMINDER_STREAM_REMOTE;
}

// The bookings a guide refresh follows: made from guide data, still waiting for their time.
// A running or failed recording, a series base entry and a group subscription stay as stored.
bool FollowsItsProgramme(const CRemindInfo& e) {
    if (e.m_nManual != 0 || e.m_nReserveType == REMINDER_RESERVE_RECORDING_IN_PROGRESS) {
        return false;
    }
    return CReminderAPIImp::m_FlagReserveTypeIsForScheduled(e.m_nReserveType);
}

bool IsUnsetKeyValue(int attribute, long long value) {
    constexpr long long kNoValue16 = 0xFFFF;
    return attribute == SERVICE_ATTR_FREQUENCY ? value < 0 : value == kNoValue16;
}

// The channel found again by the key a booking keeps of it, with every attribute the booking
// copies; false when the television no longer has it.
bool FindChannelAgain(const CRemindInfo& item, TCServiceData& service) {
    TCServiceData key;
    item.CopyUniqueKeyInto(key);
    TCCriteriaHelper criteria;
    for (const int attribute :
         {SERVICE_ATTR_SERVICE_ID, SERVICE_ATTR_SERVICE_PROFILE, SERVICE_ATTR_CHANNEL_TYPE,
          SERVICE_ATTR_MAJOR, SERVICE_ATTR_MINOR, SERVICE_ATTR_PTC, SERVICE_ATTR_PROGRAM_NUMBER,
          SERVICE_ATTR_TRANSPORT_STREAM_ID, SERVICE_ATTR_FREQUENCY}) {
        criteria.Fetch(attribute);
    }
    // A key attribute the booking holds no value of (an IP or virtual channel has no transport
    // stream) tells nothing and is left out; a channel the rest of its key does not identify
    // is found by its service id, the one thing it has.
    bool identified = false;
    for (const auto& [attribute, value] : key.Attributes()) {
        if (attribute != SERVICE_ATTR_CHANNEL_TYPE) {
            if (IsUnsetKeyValue(attribute, value)) continue;
            identified = true;
        }
        criteria.Where(attribute, value);
    }
    if (!identified) {
        criteria.Where(SERVICE_ATTR_SERVICE_ID, static_cast<long long>(item.m_nServiceId));
    }
    return CReminderAPIUtil::FindChannel(criteria, service);
}

template <typename Field>
void Take(const TCServiceData& service, int attribute, Field& field) {
    long long value = 0;
    if (service.FindAttribute(attribute, value)) field = static_cast<Field>(value);
}

// The booking with the channel fields of `service`; a name the booking keeps becomes the one
// the television now gives. A booking that keeps no name (the application asks the television
// for it) is not given one: a rescan that changed nothing must not rewrite every booking.
CRemindInfo WithChannel(const CRemindInfo& item, const TCServiceData& service) {
    CRemindInfo fresh(item);
    Take(service, SERVICE_ATTR_SERVICE_ID, fresh.m_nServiceId);
    Take(service, SERVICE_ATTR_SERVICE_PROFILE, fresh.m_nServiceProfile);
    Take(service, SERVICE_ATTR_MAJOR, fresh.m_nMajor);
    Take(service, SERVICE_ATTR_MINOR, fresh.m_nMinor);
    Take(service, SERVICE_ATTR_PTC, fresh.m_nPTC);
    Take(service, SERVICE_ATTR_PROGRAM_NUMBER, fresh.m_nProgramNumber);
    Take(service, SERVICE_ATTR_TRANSPORT_STREAM_ID, fresh.m_nTransportStreamId);
    Take(service, SERVICE_ATTR_FREQUENCY, fresh.m_frequency);
    const std::string name = fresh.GetChannelName();
    if (!fresh.m_sChannelName.empty() && !name.empty()) fresh.m_sChannelName = name;
    return fresh;
}

// The booking brought up to date with its programme as the guide now has it: texts, CRIDs, HD
// flag and times follow the programme; margins, kind and everything else stay the booking's.
CRemindInfo WithProgramme(const CRemindInfo& item, const TCProgramData& program) {
    CRemindInfo guide;
    guide.Set(program, item.m_nReserveType);
    CRemindInfo fresh(item);
    if (!guide.m_sTitle.empty()) fresh.m_sTitle = guide.m_sTitle;
    fresh.m_sSynopsis = guide.m_sSynopsis;
    fresh.m_sGuidance = guide.m_sGuidance;
    fresh.m_sProgramCrid = guide.m_sProgramCrid;
    // A booking of a series follows the series CRIDs of its programme (keeping its own while
    // the programme still carries it); a booking of a single showing is not made part of one.
    std::list<std::string> series;
    if (!item.m_sSeriesCrid.empty() && program.GetCRIDs(series, CRID_TYPE_SERIES) &&
        !series.empty()) {
        const bool kept = std::any_of(series.begin(), series.end(), [&](const std::string& c) {
            return CReminderAPIUtil::CompareStrIgnoringCase(c, item.m_sSeriesCrid) == 0;
        });
        if (!kept) fresh.m_sSeriesCrid = series.front();
    }
    fresh.m_bIsHD = guide.m_bIsHD;
    fresh.m_nUTCStartTime = guide.m_nUTCStartTime;
    fresh.m_nUTCDuration = guide.m_nUTCDuration;
    fresh.m_nEventTime = guide.m_nEventTime;
    // A recording's stored duration carries its time margin on both sides.
    fresh.m_nDuration = guide.m_nDuration + 2u * item.m_nTimeMargin;
    fresh.m_extProgramId = guide.m_extProgramId;
    return fresh;
}

}  // namespace

bool CReminderAPIImp::t_RefreshStoredItems(
    const std::function<ERefreshOutcome(const CRemindInfo&, CRemindInfo&)>& refresh) {
    COperation op(*this, true);
    std::vector<CRemindInfo> list;
    if (!op.Ok() || !t_ReadScheduledList(list, REM_ORDER_BY_START_TIME)) return false;
    bool changed = false;
    for (const CRemindInfo& e : list) {
        CRemindInfo fresh;
        bool written = true;
        switch (refresh(e, fresh)) {
            case REFRESH_KEEP:
                continue;
            case REFRESH_UPDATE:
                if (fresh == e) continue;
                written = t_UpdateRemindItemByUid(e.m_nUid, fresh);
                break;
            case REFRESH_DELETE:
                written = t_DeleteRemindItemByUid(e.m_nUid);
                break;
        }
        if (!written) return false;
        changed = true;
    }
    if (!changed) return true;
    if (!op.Commit()) return false;
    CDBControl::GetInstance()->Notify();
    return true;
}

bool CReminderAPIImp::UpdateChannelInfoOfRemindItems(unsigned short channelType) {
    REMINDER_LOG("ChannelType = [%d]", static_cast<int>(static_cast<short>(channelType)));
    // A channel not found fails or deletes its bookings: first make sure the television answers
    // for its channels at all. A service interface that fails, or a scan that found nothing,
    // leaves every booking as it is.
    TCServiceData anyChannel;
    if (!CReminderAPIUtil::FindChannel(TCCriteriaHelper(), anyChannel)) {
        REMINDER_ERR("No channel can be read; the bookings are left as they are.");
        return false;
    }
    return t_RefreshStoredItems([channelType](const CRemindInfo& e, CRemindInfo& fresh) {
        if (!IsOnLocalChannel(e) || e.m_nReserveType == REMINDER_RESERVE_RECORDING_FAILED) {
            return REFRESH_KEEP;
        }
        if (channelType != kEveryChannelType && e.m_nChannelType != channelType) {
            return REFRESH_KEEP;
        }
        TCServiceData service;
        if (FindChannelAgain(e, service)) {
            fresh = WithChannel(e, service);
            return REFRESH_UPDATE;
        }
        REMINDER_LOG("The channel of UID [%u] is gone.", e.m_nUid);
        if (e.m_nReserveType == REMINDER_RESERVE_VIEWING) return REFRESH_DELETE;
        if (!m_FlagReserveTypeIsForRecording(e.m_nReserveType) &&
            e.m_nReserveType != REMINDER_RESERVE_RECORDING_IN_PROGRESS) {
            return REFRESH_KEEP;
        }
        fresh = e;
        fresh.m_nReserveType = REMINDER_RESERVE_RECORDING_FAILED;
        fresh.m_bRecording = false;
        fresh.m_nErrno = kErrnoChannelRemoved;
        return REFRESH_UPDATE;
    });
}

bool CReminderAPIImp::UpdateReminditemToMeta() {
    REMINDER_ENTRY();
    return t_RefreshStoredItems([](const CRemindInfo& e, CRemindInfo& fresh) {
        if (!FollowsItsProgramme(e) || !IsOnLocalChannel(e) ||
            e.m_nStreamType != REMINDER_STREAM_BROADCAST) {
            return REFRESH_KEEP;
        }
        TCProgramId id;
        id.m_serviceId = e.m_nServiceId;
        id.m_eventId = e.m_nEventId;
        TCProgramData program;
        if (!GetProgram(id, program)) return REFRESH_KEEP;  // gone from the guide: left alone
        fresh = WithProgramme(e, program);
        return REFRESH_UPDATE;
    });
}

bool CReminderAPIImp::UpdateVCItems() {
    REMINDER_ENTRY();
    FCVirtualChannelsAPI* api = FCAPI::GetVirtualChannelsAPI();
    if (api == nullptr) {
        REMINDER_ERR("GetVirtualChannelsAPI failed.");
        return false;
    }
    return t_RefreshStoredItems([api](const CRemindInfo& e, CRemindInfo& fresh) {
        if (!FollowsItsProgramme(e) || e.m_nStreamType != REMINDER_STREAM_VIRTUAL) {
            return REFRESH_KEEP;
        }
        const FCVirtualProgramId id(e.m_nServiceId, e.m_nUTCStartTime, e.m_nUTCDuration);
        FCVirtualProgramData data;
        if (!api->GetProgramData(id, data)) return REFRESH_KEEP;
        fresh = e;
        if (!data.GetTitle().empty()) fresh.m_sTitle = data.GetTitle();
        fresh.m_sSynopsis = data.GetShortDescription();
        return REFRESH_UPDATE;
    });
}

namespace {

// A CRID without its instance suffix ("…#2"), lower-cased: the parts of a split event and the
// showings of one programme then compare equal.
std::string CridWithoutInstance(const std::string& crid) {
    return CReminderAPIUtil::LowerCase(crid.substr(0, crid.find('#')));
}

bool CarriesCrid(const TCProgramData& program, const std::string& crid) {
    std::string own;
    return program.GetProgramCRID(own) && CridWithoutInstance(own) == crid;
}

std::string ProgramCridOf(const TCProgramData& program, bool asked) {
    std::string crid;
    if (asked) program.GetProgramCRID(crid);
    return crid;
}

}  // namespace

int CReminderAPIImp::CheckRemindItemIsRecordable(unsigned long uid) {
    REMINDER_LOG("uid=[%d]", static_cast<int>(uid));
    COperation op(*this, true);
    CRemindInfo item;
    if (!op.Ok() || IsInvalidUid(uid) || !t_GetRemindItemByUid(uid, item)) return -1;
    if (item.m_sProgramCrid.empty()) {
        REMINDER_LOG("There is no CRID.");
        return 2;
    }

    IServiceGuide* guide = ServiceGuide();
    if (guide == nullptr) return -1;
    TCProgramData present;
    TCProgramData following;
    const bool hasPresent = guide->GetPresentProgram(item.m_nServiceId, present) == 1;
    if (!hasPresent) REMINDER_ERR("GetPresentProgram returns false.");
    const bool hasFollowing = guide->GetFollowingProgram(item.m_nServiceId, following) == 1;
    if (!hasFollowing) REMINDER_ERR("GetProgram returns false.");
    if (!hasPresent && !hasFollowing) return -1;

    REMINDER_LOG("presentProgramCrid=[%s], followingProgramCrid=[%s], scheduleProgramCrid=[%s]",
                 ProgramCridOf(present, hasPresent).c_str(),
                 ProgramCridOf(following, hasFollowing).c_str(), item.m_sProgramCrid.c_str());
    const std::string wanted = CridWithoutInstance(item.m_sProgramCrid);
    const TCProgramData* matched = nullptr;
    if (hasPresent && CarriesCrid(present, wanted)) {
        REMINDER_LOG("presentProgramCrid matched.");
        matched = &present;
    } else if (hasFollowing && CarriesCrid(following, wanted)) {
        REMINDER_LOG("followingProgramCrid matched.");
        matched = &following;
    }
    if (matched == nullptr) return 0;

    // The broadcaster moved or re-timed the programme: the booking follows it before recording.
    const CRemindInfo fresh = WithProgramme(item, *matched);
    if (matched->EventId() == item.m_nEventId && fresh.m_nUTCStartTime == item.m_nUTCStartTime &&
        fresh.m_nUTCDuration == item.m_nUTCDuration) {
        return 1;
    }
    CRemindInfo updated(fresh);
    updated.m_nEventId = matched->EventId();
    if (!t_UpdateRemindItemByUid(uid, updated) || !op.Commit()) return -1;
    REMINDER_LOG("CRID info is updated.");
    CDBControl::GetInstance()->Notify();
    return 1;
}
