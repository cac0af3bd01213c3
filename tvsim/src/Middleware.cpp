// The middleware's C++ interfaces over the simulated television: clock, conditional access,
// service guide, channel list, navigation, programme subscriber and the channel providers.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <ctime>

#include "CAService.h"
#include "CTimeUtil.h"
#include "FCAPI.h"
#include "TCServiceData.h"
#include "TVServiceAPI.h"
#include "TvState.h"

using tvsim::detail::Fails;
using tvsim::detail::FindEntry;
using tvsim::detail::GuideEntry;
using tvsim::detail::Simulator;
using tvsim::detail::Television;
using tvsim::detail::WithTv;

namespace {

constexpr int kAnswered = 1;
constexpr int kRefused = 0;

unsigned long LocalTime(const Television& tv, unsigned long utc) {
    // Times are unsigned 32-bit seconds on the set.
    return static_cast<unsigned long>(
        static_cast<uint32_t>(static_cast<long long>(utc) + tv.utcOffset));
}

bool EqualIgnoringCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](unsigned char x, unsigned char y) {
               return std::tolower(x) == std::tolower(y);
           });
}

bool StartsBefore(const GuideEntry* a, const GuideEntry* b) {
    const TCProgramData& x = a->programme;
    const TCProgramData& y = b->programme;
    if (x.StartTime() != y.StartTime()) return x.StartTime() < y.StartTime();
    if (x.ServiceId() != y.ServiceId()) return x.ServiceId() < y.ServiceId();
    return x.EventId() < y.EventId();
}

// The guide entries meeting `pred`, in start order.
template <typename Pred>
std::vector<const GuideEntry*> SelectInStartOrder(const Television& tv, Pred pred) {
    std::vector<const GuideEntry*> found;
    for (const GuideEntry& e : tv.guide) {
        if (pred(e)) found.push_back(&e);
    }
    std::stable_sort(found.begin(), found.end(), StartsBefore);
    return found;
}

// The map form of the guide's answers: the programmes keyed 0, 1, 2... Pointers stay valid
// while the profile does, as on the set until its guide changes.
void FillKeyed(const std::vector<const GuideEntry*>& entries,
               std::map<unsigned int, TCProgramData*>& programs) {
    programs.clear();
    unsigned int key = 0;
    for (const GuideEntry* e : entries) {
        programs[key++] = const_cast<TCProgramData*>(&e->programme);
    }
}

bool CarriesCrid(const TCProgramData& p, const std::string& crid, ECRIDType type) {
    if (type == CRID_TYPE_PROGRAM) {
        std::string own;
        return p.GetProgramCRID(own) && EqualIgnoringCase(own, crid);
    }
    std::list<std::string> series;
    if (!p.GetCRIDs(series, CRID_TYPE_SERIES)) return false;
    return std::any_of(series.begin(), series.end(),
                       [&](const std::string& s) { return EqualIgnoringCase(s, crid); });
}

class ServiceGuide : public IServiceGuide {
public:
    int GetProgramsOfEvent(const TCProgramId& id,
                           std::map<unsigned int, TCProgramData*>& programs) override {
        return WithTv("GetProgramsOfEvent", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetProgramsOfEvent")) return kRefused;
            const GuideEntry* asked = FindEntry(sim.tv, id.m_serviceId, id.m_eventId);
            if (asked == nullptr) return kRefused;
            const size_t event = asked->event;
            FillKeyed(
                SelectInStartOrder(sim.tv, [&](const GuideEntry& e) { return e.event == event; }),
                programs);
            return kAnswered;
        });
    }

    int GetProgramsByCRID(const std::string& crid, ECRIDType type,
                          std::map<unsigned int, TCProgramData*>& programs) override {
        return WithTv("GetProgramsByCRID", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetProgramsByCRID")) return kRefused;
            const auto found = SelectInStartOrder(
                sim.tv, [&](const GuideEntry& e) { return CarriesCrid(e.programme, crid, type); });
            FillKeyed(found, programs);
            return found.empty() ? kRefused : kAnswered;
        });
    }

    int GetProgram(const TCProgramId& id, TCProgramData& program) override {
        return WithTv("GetProgram", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetProgram")) return kRefused;
            const GuideEntry* e = FindEntry(sim.tv, id.m_serviceId, id.m_eventId);
            if (e == nullptr) return kRefused;
            program = e->programme;
            return kAnswered;
        });
    }

    int GetPresentProgram(unsigned long long serviceId, TCProgramData& program) override {
        return WithTv("GetPresentProgram", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetPresentProgram")) return kRefused;
            const GuideEntry* e = Present(sim.tv, serviceId);
            if (e == nullptr) return kRefused;
            program = e->programme;
            return kAnswered;
        });
    }

    int GetFollowingProgram(unsigned long long serviceId, TCProgramData& program) override {
        return WithTv("GetFollowingProgram", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetFollowingProgram")) return kRefused;
            const GuideEntry* present = Present(sim.tv, serviceId);
            const unsigned long from =
                present != nullptr ? present->programme.StartTime() + present->programme.Duration()
                                   : tvsim::detail::UtcNow(sim.tv);
            const auto later = SelectInStartOrder(sim.tv, [&](const GuideEntry& e) {
                return e.programme.ServiceId() == serviceId && e.programme.StartTime() >= from &&
                       &e != present;
            });
            if (later.empty()) return kRefused;
            program = later.front()->programme;
            return kAnswered;
        });
    }

    int GetProgramList(unsigned long long serviceId,
                       std::vector<TCProgramData>& programs) override {
        return WithTv("GetProgramList", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetProgramList")) return kRefused;
            programs.clear();
            for (const GuideEntry* e : SelectInStartOrder(sim.tv, [&](const GuideEntry& g) {
                     return serviceId == 0 || g.programme.ServiceId() == serviceId;
                 })) {
                programs.push_back(e->programme);
            }
            return programs.empty() ? kRefused : kAnswered;
        });
    }

private:
    // The programme on air at the simulated UTC now (guide times are UTC).
    static const GuideEntry* Present(const Television& tv, unsigned long long serviceId) {
        const unsigned long now = tvsim::detail::UtcNow(tv);
        for (const GuideEntry& e : tv.guide) {
            const TCProgramData& p = e.programme;
            if (p.ServiceId() == serviceId && p.StartTime() <= now &&
                now < p.StartTime() + p.Duration()) {
                return &e;
            }
        }
        return nullptr;
    }
};

class ServiceNavigation : public IServiceNavigation {
public:
    int GetTvMode(TSTvMode& mode) override {
        return WithTv("GetTvMode", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetTvMode") || !sim.tv.tvMode) return kRefused;
            mode = *sim.tv.tvMode;
            return kAnswered;
        });
    }
};

bool Meets(const TCServiceData& service, const TCCriteriaHelper& criteria) {
    for (const auto& [key, wanted] : criteria.Conditions()) {
        long long value = 0;
        if (!service.FindAttribute(key, value) || value != wanted) return false;
    }
    return true;
}

// The attributes of `service` that the criteria fetch (all when `allWhenNone` and it fetches
// none); an attribute the service lacks stays absent.
TCServiceData Fetched(const TCServiceData& service, const TCCriteriaHelper& criteria,
                      bool allWhenNone) {
    if (criteria.Fetched().empty() && allWhenNone) return service;
    TCServiceData out;
    for (const int key : criteria.Fetched()) {
        long long value = 0;
        if (service.FindAttribute(key, value)) out.SetAttribute(key, value);
    }
    return out;
}

class Service : public IService {
public:
    int FindService(const TCCriteriaHelper& criteria, TCServiceData& service) override {
        return WithTv("FindService", [&](Simulator& sim) {
            if (Fails(sim.tv, "FindService")) return kRefused;
            for (const tvsim::detail::Channel& c : sim.tv.channels) {
                if (!Meets(c.service, criteria)) continue;
                service = Fetched(c.service, criteria, false);
                return kAnswered;
            }
            return kRefused;
        });
    }

    int FindServices(const TCCriteriaHelper& criteria,
                     std::vector<TCServiceData>& services) override {
        return WithTv("FindServices", [&](Simulator& sim) {
            if (Fails(sim.tv, "FindServices")) return kRefused;
            services.clear();
            for (const tvsim::detail::Channel& c : sim.tv.channels) {
                if (Meets(c.service, criteria))
                    services.push_back(Fetched(c.service, criteria, true));
            }
            return services.empty() ? kRefused : kAnswered;
        });
    }
};

class SOSpecApp : public ISOSpecApp {
public:
    int GetValue(int tag, int& value) override {
        return WithTv("GetValue", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetValue", std::to_string(tag))) return kRefused;
            if (tag != SOSPEC_TAG_CRID || !sim.tv.cridSupport) return kRefused;
            value = *sim.tv.cridSupport;
            return kAnswered;
        });
    }
};

class SourceControl : public ISourceControl {
public:
    int GetCurrentSource(int& source) override {
        return WithTv("GetCurrentSource", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetCurrentSource") || !sim.tv.currentSource) return kRefused;
            source = *sim.tv.currentSource;
            return kAnswered;
        });
    }
};

class ProgramSubscriber : public IProgramSubscriber {
public:
    int SubscribeProgram(const TCProgramFilteringItem& item, int& handle) override {
        return WithTv("SubscribeProgram", [&](Simulator& sim) {
            if (Fails(sim.tv, "SubscribeProgram")) return kRefused;
            handle = sim.handles.nextHandle++;
            sim.handles.subscriptions.push_back(tvsim::Subscription{handle, item});
            return kAnswered;
        });
    }

    int UnSubscribeProgram(int handle) override {
        return WithTv("UnSubscribeProgram", [&](Simulator& sim) {
            if (Fails(sim.tv, "UnSubscribeProgram")) return kRefused;
            auto& subs = sim.handles.subscriptions;
            const auto it =
                std::find_if(subs.begin(), subs.end(),
                             [&](const tvsim::Subscription& s) { return s.handle == handle; });
            if (it == subs.end()) return kRefused;
            subs.erase(it);
            return kAnswered;
        });
    }

    int MonitoringType(EProgramMonitoringType& type) override {
        return WithTv("MonitoringType", [&](Simulator& sim) {
            if (Fails(sim.tv, "MonitoringType") || !sim.tv.monitoringType) return kRefused;
            type = static_cast<EProgramMonitoringType>(*sim.tv.monitoringType);
            return kAnswered;
        });
    }
};

// Hands out the television's one instance of an interface unless the factory is made to fail.
template <typename Interface, typename Impl>
bool Create(const char* name, Interface** out) {
    if (out == nullptr) return false;
    const bool failing = WithTv(name, [&](Simulator& sim) { return Fails(sim.tv, name); });
    if (failing) return false;
    static Impl instance;
    *out = &instance;
    return true;
}

// Bytes in the UTF-8 sequence that `lead` starts, 0 when it cannot start one.
int SequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if ((lead & 0xE0) == 0xC0) return 2;
    if ((lead & 0xF0) == 0xE0) return 3;
    if ((lead & 0xF8) == 0xF0) return 4;
    return 0;
}

// Decodes UTF-8 into UTF-16 code units; a malformed byte becomes U+FFFD.
std::vector<unsigned short> Utf16(const std::string& text) {
    static constexpr unsigned char kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    std::vector<unsigned short> units;
    size_t i = 0;
    while (i < text.size()) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        const int length = SequenceLength(lead);
        bool valid = length != 0 && i + static_cast<size_t>(length) <= text.size();
        uint32_t code = valid ? (lead & kLeadBits[length]) : 0;
        for (int k = 1; valid && k < length; ++k) {
            const unsigned char next = static_cast<unsigned char>(text[i + static_cast<size_t>(k)]);
            valid = (next & 0xC0) == 0x80;
            code = (code << 6) | (next & 0x3F);
        }
        if (!valid) {
            units.push_back(0xFFFD);
            ++i;
            continue;
        }
        if (code >= 0x10000) {  // outside the basic plane: a surrogate pair
            code -= 0x10000;
            units.push_back(static_cast<unsigned short>(0xD800 | (code >> 10)));
            units.push_back(static_cast<unsigned short>(0xDC00 | (code & 0x3FF)));
        } else {
            units.push_back(static_cast<unsigned short>(code));
        }
        i += static_cast<size_t>(length);
    }
    return units;
}

class VirtualChannels : public FCVirtualChannelsAPI {
public:
    bool GetProgramData(const FCVirtualProgramId& id, FCVirtualProgramData& data) override {
        return WithTv("GetProgramData", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetProgramData")) return false;
            for (const tvsim::detail::VirtualProgramme& v : sim.tv.virtualProgrammes) {
                if (v.serviceId == id.GetServiceId() && v.start == id.GetStartTime()) {
                    data.SetTitle(v.title);
                    data.SetShortDescription(v.description);
                    return true;
                }
            }
            return false;
        });
    }
};

class RemoteChannels : public FCMBRNetworkChannelAPI {
public:
    bool GetActivityIDBySourceID(int sourceId, int& activityId) override {
        return WithTv("GetActivityIDBySourceID", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetActivityIDBySourceID")) return false;
            for (const tvsim::detail::RemoteChannel& c : sim.tv.remoteChannels) {
                if (c.source == sourceId) {
                    activityId = c.activityId;
                    return true;
                }
            }
            return false;
        });
    }

    bool GetNetworkChannel(int activityId, int major, int minor,
                           FCMBRNetworkChannel& channel) override {
        return WithTv("GetNetworkChannel", [&](Simulator& sim) {
            if (Fails(sim.tv, "GetNetworkChannel")) return false;
            for (const tvsim::detail::RemoteChannel& c : sim.tv.remoteChannels) {
                if (c.activityId == activityId && c.major == major && c.minor == minor) {
                    channel.SetName(c.name);
                    return true;
                }
            }
            return false;
        });
    }
};

template <typename Impl>
Impl* Provider(const char* name) {
    const bool failing = WithTv(name, [&](Simulator& sim) { return Fails(sim.tv, name); });
    if (failing) return nullptr;
    static Impl instance;
    return &instance;
}

}  // namespace

unsigned long CTimeUtil::GetCurrentTime() {
    return WithTv("GetCurrentTime",
                  [](Simulator& sim) { return LocalTime(sim.tv, tvsim::detail::UtcNow(sim.tv)); });
}

unsigned long CTimeUtil::ConvertToLocalTime(unsigned long utc) {
    return WithTv("ConvertToLocalTime", [&](Simulator& sim) { return LocalTime(sim.tv, utc); });
}

bool CTimeUtil::Unsigned_gmtime_r(unsigned long t, struct tm* out) {
    if (out == nullptr) return false;
    const time_t seconds = static_cast<time_t>(static_cast<uint32_t>(t));
    return gmtime_r(&seconds, out) != nullptr;
}

unsigned long CTimeUtil::Unsigned_timegm(struct tm* in) {
    if (in == nullptr) return 0;
    return static_cast<unsigned long>(static_cast<uint32_t>(timegm(in)));
}

namespace CA_API {

CAService* CAService::CAGeneralInstance() {
    const bool failing = WithTv("CAGeneralInstance",
                                [](Simulator& sim) { return Fails(sim.tv, "CAGeneralInstance"); });
    if (failing) return nullptr;
    static CAService instance;
    return &instance;
}

bool CAService::GetCADevices(std::map<int, TCADevice>& devices) {
    return WithTv("GetCADevices", [&](Simulator& sim) {
        if (Fails(sim.tv, "GetCADevices")) return false;
        devices.clear();
        for (const auto& [key, state] : sim.tv.caDevices) devices[key].state = state;
        return true;
    });
}

}  // namespace CA_API

bool TVServiceAPI::CreateServiceGuide(int, int, IServiceGuide** out) {
    return Create<IServiceGuide, ServiceGuide>("CreateServiceGuide", out);
}

bool TVServiceAPI::CreateServiceNavigation(int, int, IServiceNavigation** out) {
    return Create<IServiceNavigation, ServiceNavigation>("CreateServiceNavigation", out);
}

bool TVServiceAPI::CreateService(int, int, IService** out) {
    return Create<IService, Service>("CreateService", out);
}

bool TVServiceAPI::CreateSOSpecApp(int, int, ISOSpecApp** out) {
    return Create<ISOSpecApp, SOSpecApp>("CreateSOSpecApp", out);
}

bool TVServiceAPI::CreateSourceControl(int, int, ISourceControl** out) {
    return Create<ISourceControl, SourceControl>("CreateSourceControl", out);
}

bool TVServiceAPI::CreateProgramSubscriber(int, int, ProgramSignalCallback callback,
                                           IProgramSubscriber** out) {
    if (!Create<IProgramSubscriber, ProgramSubscriber>("CreateProgramSubscriber", out))
        return false;
    WithTv(nullptr, [&](Simulator& sim) {
        sim.handles.callback = callback;
        if (!sim.handles.subscriberCreated) {
            sim.handles.subscriberCreated = std::chrono::steady_clock::now();
        }
    });
    tvsim::detail::StartProgrammeSignals();
    return true;
}

bool TCServiceDataUtility::GetServiceName(unsigned long long serviceId,
                                          std::vector<unsigned short>& name, bool fullName) {
    return WithTv("GetServiceName", [&](Simulator& sim) {
        if (Fails(sim.tv, "GetServiceName", std::to_string(serviceId))) return false;
        for (const tvsim::detail::Channel& c : sim.tv.channels) {
            long long id = 0;
            if (!c.service.FindAttribute(SERVICE_ATTR_SERVICE_ID, id) ||
                static_cast<unsigned long long>(id) != serviceId) {
                continue;
            }
            name = Utf16(c.name.value_or(""));
            return true;
        }
        return false;
    });
}

bool TCServiceUtility::IsAnalogChannelType(int channelType) {
    return channelType == 1 || channelType == 3;
}

bool TCServiceUtility::IsDigitalChannelType(int channelType) {
    return channelType >= 1 && channelType <= 7 && !IsAnalogChannelType(channelType);
}

FCVirtualChannelsAPI* FCAPI::GetVirtualChannelsAPI() {
    return Provider<VirtualChannels>("GetVirtualChannelsAPI");
}

FCMBRNetworkChannelAPI* FCAPI::GetMBRNetworkChannelAPI() {
    return Provider<RemoteChannels>("GetMBRNetworkChannelAPI");
}
