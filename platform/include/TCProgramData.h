// Guide data of the middleware: a programme, its identity and the filters of the programme
// subscriber. Plain value types.
#ifndef PLATFORM_TCPROGRAMDATA_H
#define PLATFORM_TCPROGRAMDATA_H

#include <list>
#include <string>

enum ECRIDType {
    CRID_TYPE_PROGRAM = 0x31,
    CRID_TYPE_SERIES = 0x32,
};

// Identity of one guide event.
struct TCProgramId {
    unsigned long long m_serviceId = 0;
    unsigned long m_eventId = 0;
    unsigned char m_eit_number = 0;
    unsigned long m_utc_starttime = 0;
    unsigned long m_utc_duration = 0;
    int m_eit_table_id = 0;
};

// Identity by which the programme subscriber follows one programme.
struct TCProgramMonitorId {
    unsigned long long m_serviceId = 0;
    unsigned int m_eventId = 0;
    unsigned long m_starttime = 0;
    unsigned long m_duration = 0;
    std::string m_program_crid;
};

class TCProgramData {
public:
    unsigned long long ServiceId() const { return m_serviceId; }
    unsigned short EventId() const { return m_eventId; }
    unsigned long StartTime() const { return m_startTime; }
    unsigned long Duration() const { return m_duration; }

    // Lengths in bytes; the copy functions copy at most `length` bytes without a terminator and
    // return the number of bytes copied.
    int TitleLength() const { return static_cast<int>(m_title.size()); }
    int Title(char* buffer, int length) const { return CopyOut(m_title, buffer, length); }
    int ExtendedTextLength() const { return static_cast<int>(m_synopsis.size()); }
    int ExtendedText(char* buffer, int length) const { return CopyOut(m_synopsis, buffer, length); }
    int GuidanceLength() const { return static_cast<int>(m_guidance.size()); }
    int GetGuidance(char* buffer, int length) const { return CopyOut(m_guidance, buffer, length); }

    // False when the programme carries no programme CRID.
    bool GetProgramCRID(std::string& crid) const {
        if (m_programCrid.empty()) return false;
        crid = m_programCrid;
        return true;
    }
    // The CRIDs of one kind (CRID_TYPE_SERIES for series); false when there are none.
    bool GetCRIDs(std::list<std::string>& crids, int type) const {
        if (type != CRID_TYPE_SERIES || m_seriesCrids.empty()) return false;
        crids = m_seriesCrids;
        return true;
    }
    bool GetProgramId(TCProgramId& id) const {
        id.m_serviceId = m_serviceId;
        id.m_eventId = m_eventId;
        id.m_eit_number = m_eitNumber;
        id.m_utc_starttime = m_startTime;
        id.m_utc_duration = m_duration;
        id.m_eit_table_id = m_eitTableId;
        return true;
    }
    bool IsHD() const { return m_hd; }

    void SetServiceId(unsigned long long v) { m_serviceId = v; }
    void SetEventId(unsigned short v) { m_eventId = v; }
    void SetStartTime(unsigned long v) { m_startTime = v; }
    void SetDuration(unsigned long v) { m_duration = v; }
    void SetTitle(const std::string& v) { m_title = v; }
    void SetExtendedText(const std::string& v) { m_synopsis = v; }
    void SetGuidance(const std::string& v) { m_guidance = v; }
    void SetProgramCRID(const std::string& v) { m_programCrid = v; }
    void SetSeriesCRIDs(const std::list<std::string>& v) { m_seriesCrids = v; }
    void SetHD(bool v) { m_hd = v; }
    void SetEITTableId(int v) { m_eitTableId = v; }
    void SetEITNumber(unsigned char v) { m_eitNumber = v; }

private:
    static int CopyOut(const std::string& from, char* buffer, int length) {
        if (buffer == nullptr || length <= 0) return 0;
        const int n =
            length < static_cast<int>(from.size()) ? length : static_cast<int>(from.size());
        from.copy(buffer, static_cast<size_t>(n));
        return n;
    }

    unsigned long long m_serviceId = 0;
    unsigned short m_eventId = 0xFFFF;
    unsigned long m_startTime = 0;
    unsigned long m_duration = 0;
    std::string m_title;
    std::string m_synopsis;
    std::string m_guidance;
    std::string m_programCrid;
    std::list<std::string> m_seriesCrids;
    bool m_hd = false;
    int m_eitTableId = 0;
    unsigned char m_eitNumber = 0;
};

class TCProgramDescriptorUtil {
public:
    static bool IsHD(const TCProgramData& program) { return program.IsHD(); }
};

// What the programme subscriber is asked to follow: kind 1 one programme by its monitor id,
// kind 0 every programme of a series CRID.
class TCProgramFilteringItem {
public:
    explicit TCProgramFilteringItem(int kind = 1) : m_kind(kind) {}
    int Kind() const { return m_kind; }
    void SetMonitorId(const TCProgramMonitorId& id) { m_monitorId = id; }
    const TCProgramMonitorId& MonitorId() const { return m_monitorId; }
    void SetSeries(const std::string& crid) { m_series = crid; }
    const std::string& Series() const { return m_series; }

private:
    int m_kind;
    TCProgramMonitorId m_monitorId;
    std::string m_series;
};

#endif
