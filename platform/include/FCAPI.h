// Providers of virtual channels and of channels of an external box behind the universal remote.
#ifndef PLATFORM_FCAPI_H
#define PLATFORM_FCAPI_H

#include <string>

class FCVirtualProgramId {
public:
    FCVirtualProgramId() = default;
    FCVirtualProgramId(unsigned long long serviceId, unsigned long start, unsigned long duration)
        : m_serviceId(serviceId), m_start(start), m_duration(duration) {}
    unsigned long long GetServiceId() const { return m_serviceId; }
    unsigned long GetStartTime() const { return m_start; }
    unsigned long GetDuration() const { return m_duration; }

private:
    unsigned long long m_serviceId = 0;
    unsigned long m_start = 0;
    unsigned long m_duration = 0;
};

class FCVirtualProgramData {
public:
    const std::string& GetTitle() const { return m_title; }
    const std::string& GetShortDescription() const { return m_description; }
    void SetTitle(const std::string& v) { m_title = v; }
    void SetShortDescription(const std::string& v) { m_description = v; }

private:
    std::string m_title;
    std::string m_description;
};

class FCRemoteProgram {
public:
    FCRemoteProgram() = default;
    FCRemoteProgram(unsigned long start, unsigned long duration)
        : m_start(start), m_duration(duration) {}
    unsigned long GetStartTime() const { return m_start; }
    unsigned long GetDuration() const { return m_duration; }

private:
    unsigned long m_start = 0;
    unsigned long m_duration = 0;
};

class FCMBRNetworkChannel {
public:
    const std::string& GetName() const { return m_name; }
    void SetName(const std::string& v) { m_name = v; }

private:
    std::string m_name;
};

class FCVirtualChannelsAPI {
public:
    virtual ~FCVirtualChannelsAPI() = default;
    virtual bool GetProgramData(const FCVirtualProgramId& id, FCVirtualProgramData& data) = 0;
};

class FCMBRNetworkChannelAPI {
public:
    virtual ~FCMBRNetworkChannelAPI() = default;
    virtual bool GetActivityIDBySourceID(int sourceId, int& activityId) = 0;
    virtual bool GetNetworkChannel(int activityId, int major, int minor,
                                   FCMBRNetworkChannel& channel) = 0;
};

class FCAPI {
public:
    // Null when the provider is not available. The television owns the providers.
    static FCVirtualChannelsAPI* GetVirtualChannelsAPI();
    static FCMBRNetworkChannelAPI* GetMBRNetworkChannelAPI();
};

#endif
