// Service interfaces of the middleware and the factories that hand them out. The interfaces
// belong to the television: callers never delete them. Calls answer 1 on success.
#ifndef PLATFORM_TVSERVICEAPI_H
#define PLATFORM_TVSERVICEAPI_H

#include <map>
#include <string>
#include <vector>

#include "TCProgramData.h"
#include "TCServiceData.h"

// Reception mode of the television.
struct TSTvMode {
    int nTvMode = -1;   // 2: satellite reception
    int nSubMode = -1;  // 12: recording space can be checked
};

enum EProgramChangeType {
    PROGRAM_CHANGE_NONE = 0,
    PROGRAM_CHANGE_START_TIME = 1,
    PROGRAM_CHANGE_STARTED = 2,
    PROGRAM_CHANGE_ENDED = 3,
};

enum EProgramMonitoringType {
    PROGRAM_MONITORING_NONE = 0,
    PROGRAM_MONITORING_RUNNING_STATUS = 1,
    PROGRAM_MONITORING_EIT = 2,
};

enum ESOSpecTag {
    SOSPEC_TAG_CRID = 81,
};

// Guide programmes handed out in maps are owned by the guide and stay valid until the
// television's guide data changes.
class IServiceGuide {
public:
    virtual ~IServiceGuide() = default;
    // Every programme that makes up the event of `id`, keyed in start order: the programme
    // itself for a plain event, all its parts for a split event.
    virtual int GetProgramsOfEvent(const TCProgramId& id,
                                   std::map<unsigned int, TCProgramData*>& programs) = 0;
    // Every programme carrying `crid` as a CRID of `type`, keyed in start order.
    virtual int GetProgramsByCRID(const std::string& crid, ECRIDType type,
                                  std::map<unsigned int, TCProgramData*>& programs) = 0;
    // The programme of `id` (service id and event id).
    virtual int GetProgram(const TCProgramId& id, TCProgramData& program) = 0;
    // The programme on air now, and the one after it, on a service.
    virtual int GetPresentProgram(unsigned long long serviceId, TCProgramData& program) = 0;
    virtual int GetFollowingProgram(unsigned long long serviceId, TCProgramData& program) = 0;
    // Every programme of a service in start order.
    virtual int GetProgramList(unsigned long long serviceId,
                               std::vector<TCProgramData>& programs) = 0;
};

class IServiceNavigation {
public:
    virtual ~IServiceNavigation() = default;
    virtual int GetTvMode(TSTvMode& mode) = 0;
};

class IService {
public:
    virtual ~IService() = default;
    // Fills `service` with the fetched attributes of the first service meeting the conditions.
    virtual int FindService(const TCCriteriaHelper& criteria, TCServiceData& service) = 0;
    // Every service meeting the conditions, in channel-list order.
    virtual int FindServices(const TCCriteriaHelper& criteria,
                             std::vector<TCServiceData>& services) = 0;
};

class ISOSpecApp {
public:
    virtual ~ISOSpecApp() = default;
    virtual int GetValue(int tag, int& value) = 0;
};

class ISourceControl {
public:
    virtual ~ISourceControl() = default;
    virtual int GetCurrentSource(int& source) = 0;
};

using ProgramSignalCallback = void (*)(EProgramChangeType type, TCProgramData* program, int param1,
                                       int param2);

class IProgramSubscriber {
public:
    virtual ~IProgramSubscriber() = default;
    virtual int SubscribeProgram(const TCProgramFilteringItem& item, int& handle) = 0;
    virtual int UnSubscribeProgram(int handle) = 0;
    virtual int MonitoringType(EProgramMonitoringType& type) = 0;
};

class TVServiceAPI {
public:
    // Each returns true and sets `out`, or false with `out` untouched.
    static bool CreateServiceGuide(int profile, int index, IServiceGuide** out);
    static bool CreateServiceNavigation(int profile, int index, IServiceNavigation** out);
    static bool CreateService(int profile, int index, IService** out);
    static bool CreateSOSpecApp(int profile, int index, ISOSpecApp** out);
    static bool CreateSourceControl(int profile, int index, ISourceControl** out);
    static bool CreateProgramSubscriber(int profile, int index, ProgramSignalCallback callback,
                                        IProgramSubscriber** out);
};

#endif
