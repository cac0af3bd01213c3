// Channel data of the middleware: services as bags of integer attributes, the criteria that
// select them, and helpers over channel types and names.
#ifndef PLATFORM_TCSERVICEDATA_H
#define PLATFORM_TCSERVICEDATA_H

#include <map>
#include <utility>
#include <vector>

// Attribute keys used by the library.
enum EServiceAttribute {
    SERVICE_ATTR_CHANNEL_TYPE = 1,
    SERVICE_ATTR_PTC = 2,
    SERVICE_ATTR_SERVICE_PROFILE = 3,
    SERVICE_ATTR_FREQUENCY = 4,
    SERVICE_ATTR_SERVICE_ID = 12,
    SERVICE_ATTR_MAJOR = 13,
    SERVICE_ATTR_MINOR = 14,
    SERVICE_ATTR_PROGRAM_NUMBER = 15,
    SERVICE_ATTR_TRANSPORT_STREAM_ID = 18,
    SERVICE_ATTR_SCRAMBLED_IN_PMT = 101,
};

class TCServiceData {
public:
    void SetAttribute(int key, long long value) { m_attributes[key] = value; }
    // False, with `value` untouched, when the service has no such attribute.
    bool FindAttribute(int key, long long& value) const {
        const auto it = m_attributes.find(key);
        if (it == m_attributes.end()) return false;
        value = it->second;
        return true;
    }
    const std::map<int, long long>& Attributes() const { return m_attributes; }
    void Clear() { m_attributes.clear(); }

private:
    std::map<int, long long> m_attributes;
};

// Which attributes to fetch and which conditions (attribute equals value, all must hold) a
// service must meet.
class TCCriteriaHelper {
public:
    void Fetch(int key) { m_fetch.push_back(key); }
    void Where(int key, long long value) { m_where.emplace_back(key, value); }
    const std::vector<int>& Fetched() const { return m_fetch; }
    const std::vector<std::pair<int, long long>>& Conditions() const { return m_where; }

private:
    std::vector<int> m_fetch;
    std::vector<std::pair<int, long long>> m_where;
};

class TCServiceDataUtility {
public:
    // The service's name as UTF-16 units whose bytes lie high byte first in memory, as broadcast;
    // false when the service is unknown.
    static bool GetServiceName(unsigned long long serviceId, std::vector<unsigned short>& name,
                               bool fullName);
};

class TCServiceUtility {
public:
    static bool IsDigitalChannelType(int channelType);
    static bool IsAnalogChannelType(int channelType);
};

#endif
