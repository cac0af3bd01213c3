// The booking record: construction from channels and guide data, identity, ordering, conflicts
// and its text form.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <tuple>

#include "FCAPI.h"
#include "RemindInfo.h"
#include "TCProgramData.h"
#include "TCServiceData.h"
#include "TestSupport.h"
#include "tvsim/tvsim.h"

// Failures show the record's text rather than its bytes.
void PrintTo(const CRemindInfo& r, std::ostream* os) {
    *os << r.ToString();
}

namespace {

constexpr unsigned long long kSeven = 4097;
constexpr unsigned long long kAnalogue = 4098;

// Country 4 books with margins; local time runs one hour ahead of UTC.
std::string Profile(int country) {
    return R"({"country": )" + std::to_string(country) + R"(, "utc_offset": 3600,
      "vconf": {"db/schedule-manager/startmargin": 2, "db/schedule-manager/endmargin": 5},
      "channels": [{"service_id": 4097, "major": 7, "minor": 1, "ptc": 33, "channel_type": 2,
        "program_number": 101, "transport_stream_id": 9, "frequency": 474000, "service_profile": 3,
        "name": "Sieben Ü", "scrambled": true}, {"service_id": 4098, "major": 8, "channel_type": 1}
      ], "pvr": {"default_device": 1}, "virtual_programmes": [{"service_id": 4097,
        "start": 1420070430, "title": "Clip"}], "remote_channels": [{"source": 9, "activity_id": 4,
        "major": 5, "minor": 0, "name": "Box Five"}]})";
}

class RemindInfoTest : public ::testing::Test {
protected:
    void SetUp() override { UseCountry(4); }
    void UseCountry(int country) {
        std::string error;
        ASSERT_TRUE(tvsim::LoadProfile(Profile(country), &error)) << error;
        tvsim::ClearLogs();
    }
};

TCProgramData Programme(unsigned long start, unsigned long duration) {
    TCProgramData p;
    p.SetServiceId(kSeven), p.SetEventId(17), p.SetStartTime(start), p.SetDuration(duration);
    p.SetTitle("News"), p.SetProgramCRID("/Abc#1"), p.SetEITTableId(0x4E);
    return p;
}

// A slot on its own service and event, so that only the times decide conflicts.
CRemindInfo Slot(EReserveType type, uint32_t eventTime, uint32_t duration, uint16_t eventId,
                 uint32_t startMargin = 0, uint32_t endMargin = 0) {
    CRemindInfo r;
    r.m_nServiceId = kSeven, r.m_nEventId = eventId, r.m_nReserveType = type;
    r.m_nEventTime = eventTime, r.m_nDuration = duration;
    r.m_nStartMarginTime = startMargin, r.m_nEndMarginTime = endMargin;
    return r;
}

TEST_F(RemindInfoTest, InitialiseRestoresTheDefaultsAndSetStartTimeRounds) {
    // Initialise on a filled record restores every default but keeps the list's storage.
    CRemindInfo r;
    r.Set(Programme(1420070400, 1800), REMINDER_RESERVE_VIEWING);
    r.m_sPrivateData = "x";
    r.m_vCompList.resize(8);
    r.Initialise();
    EXPECT_EQ(r, CRemindInfo());
    EXPECT_TRUE(r.m_vCompList.empty() && r.m_vCompList.capacity() >= 8u);
    // Local start cut to the minute; UTC one hour behind.
    r.SetStartTime(3661 + 3600);
    EXPECT_EQ(std::tuple(r.m_nEventTime, r.m_nUTCStartTime), std::tuple(3660u + 3600u, 3661u));
}

TEST_F(RemindInfoTest, SetFromGuideProgramme) {
    TCProgramData p = Programme(1420070450, 1790);  // starts at second 50
    p.SetGuidance("G");
    CRemindInfo r;
    r.m_nDevice = 2;
    r.m_sSeriesCrid = "/kept";
    r.Set(p, REMINDER_RESERVE_VIEWING);
    EXPECT_EQ(std::tuple(r.m_nMajor, r.m_frequency, r.m_nEventTime, r.m_sProgramCrid),
              std::tuple(7, 474000.0f, 1420074000u, "/Abc#1"));
    EXPECT_EQ(r.m_extProgramId.nEITTableId, 0x4E);
    // Start and duration seconds add up past a minute: one more minute of window; margins of
    // a margin country, in seconds.
    EXPECT_EQ(std::tuple(r.m_nDuration, r.m_nStartMarginTime, r.m_nEndMarginTime),
              std::tuple(1850u, 120u, 300u));
    // A one-byte guidance is ignored; fields the guide does not carry are kept.
    EXPECT_EQ(std::tuple(r.m_sTitle, r.m_sGuidance, r.m_nDevice, r.m_sSeriesCrid),
              std::tuple("News", "", 2, "/kept"));

    // On the minute, the duration stays; longer guidance is taken.
    p = Programme(1420070400, 1800);
    p.SetGuidance("16");
    r.Set(p, REMINDER_RESERVE_RECORDING);
    EXPECT_EQ(std::tuple(r.m_nDuration, r.m_sGuidance), std::tuple(1800u, "16"));
}

TEST_F(RemindInfoTest, SetWithoutMarginsByChannelsAndFromOtherSources) {
    UseCountry(7);
    CRemindInfo r;
    r.Set(Programme(1420070400, 1800), REMINDER_RESERVE_VIEWING);
    EXPECT_EQ(r.m_nStartMarginTime, 0u);
    TCProgramData unknown = Programme(1420070400, 1800);
    unknown.SetServiceId(999);
    const CRemindInfo before = r;  // an unknown service leaves the record as it was
    r.Set(unknown, REMINDER_RESERVE_RECORDING);
    r.Set(999ULL);
    EXPECT_EQ(r, before);
    EXPECT_TRUE(testsupport::LoggedOn(2, "Find Service Failed."));
    r.Set(kAnalogue);  // attributes the channel lacks come back as their defaults
    EXPECT_EQ(std::tuple(r.m_nPTC, r.m_nServiceProfile, r.m_frequency),
              std::tuple(65535, -1, -1.0f));

    // By channel numbers: the service is found; no such channel keeps the numbers only.
    CRemindInfo manual, none;
    manual.Set(7, 1, 33, 2, 101);
    EXPECT_EQ(std::tuple(manual.m_nServiceId, manual.m_nTransportStreamId), std::tuple(kSeven, 9));
    none.Set(70, 2, 34, 4, 5);
    EXPECT_EQ(std::tuple(none.m_nMajor, none.m_nServiceId), std::tuple(70, ~0ULL));

    // Without a programme subscriber nothing is monitored: a plain recording.
    r.SetRecording(Programme(1420070400, 1800));
    EXPECT_EQ(std::tuple(r.m_nReserveType, r.m_nDevice), std::tuple(REMINDER_RESERVE_RECORDING, 1));
    // A virtual-channel programme starts a fresh record and takes the provider's texts.
    r.Set(FCVirtualProgramId(kSeven, 1420070430, 1790), REMINDER_RESERVE_RECORDING);
    EXPECT_EQ(std::tuple(r.m_nStreamType, r.m_nDevice, r.m_nDuration, r.m_sTitle),
              std::tuple(REMINDER_STREAM_VIRTUAL, 65535, 1850u, "Clip"));

    r.Set(FCRemoteProgram(1420070400, 600), kAnalogue, REMINDER_RESERVE_VIEWING);
    EXPECT_EQ(std::tuple(r.m_nStreamType, r.m_nServiceId),
              std::tuple(REMINDER_STREAM_REMOTE, kAnalogue));
    // A remote channel's name comes from the box behind the universal remote.
    r.m_bRemoteChannel = true;
    r.m_nSource = 9, r.m_nMajor = 5, r.m_nMinor = 0;
    EXPECT_EQ(r.GetChannelName(), "Box Five");
}

TEST_F(RemindInfoTest, OrderingIsSignedForKindUnsignedForTimesAndEqualityIgnoresSomeCase) {
    CRemindInfo a, b;
    a.m_nServiceId = a.m_nUid = 1;  // service id and UID do not take part
    EXPECT_FALSE(a < b || b < a);
    a.m_nReserveType = static_cast<EReserveType>(-1), b.m_nReserveType = REMINDER_RESERVE_VIEWING;
    EXPECT_TRUE(a < b);
    b.m_nReserveType = a.m_nReserveType;
    a.m_nEventTime = 0xFFFFFFF0u, b.m_nEventTime = 0x10u;
    EXPECT_TRUE(b < a);
    a.m_nChannelType = 1, b.m_nChannelType = 2;  // channel type outranks time
    EXPECT_TRUE(a < b);

    a.Set(Programme(1420070400, 1800), REMINDER_RESERVE_VIEWING);
    a.m_sPrivateData = "Key";
    b = a;
    b.m_vCompList.push_back({0x0203, 1, 0x656E67});
    b.m_sProgramCrid = "/aBC#1", b.m_sPrivateData = "kEY";
    EXPECT_TRUE(a == b) << "components are not compared; CRIDs and private data ignore case";
    b = a, b.m_sTitle = "NEWS";
    EXPECT_FALSE(a == b) << "titles are exact";
    b = a, b.m_nUid = 8;
    EXPECT_FALSE(a == b);
}

TEST_F(RemindInfoTest, ConflictsAreAsymmetricForRemindersAndSameBroadcasts) {
    // A recording padded to [880, 1900). A reminder needs only its start; two recordings
    // conflict by half-open overlap of the padded intervals.
    constexpr EReserveType kView = REMINDER_RESERVE_VIEWING, kRecord = REMINDER_RESERVE_RECORDING;
    const CRemindInfo recording = Slot(kRecord, 1000, 600, 1, 120, 300);
    const struct {
        EReserveType type;
        uint32_t start, duration;
        bool otherFirst, conflict;
    } rows[] = {
        {kView, 880, 60, false, true},    {kView, 1900, 60, false, false},
        {kView, 1899, 60, true, true},    {kView, 500, 1800, false, false},  // begins inside
        {kView, 500, 1800, true, false},  {kRecord, 280, 600, false, false},
        {kRecord, 281, 600, false, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.start) + (row.otherFirst ? " asked of the recording" : ""));
        const CRemindInfo other = Slot(row.type, row.start, row.duration, 2);
        EXPECT_EQ(row.otherFirst ? recording.IsConflict(other) : other.IsConflict(recording),
                  row.conflict);
    }
    EXPECT_FALSE(recording.IsConflict(recording));  // the same broadcast never conflicts

    CRemindInfo manual = Slot(kView, 6000, 600, 1);
    manual.m_nManual = 1;
    // A manual item against a guide item goes by event id outside country 23.
    EXPECT_TRUE(manual.CompareEvent(Slot(kView, 1, 600, 1)));
    // Two manual slots: same padded start and length, whatever the split into margins.
    CRemindInfo other = Slot(kView, 6060, 540, 9, 60, 0);
    other.m_nManual = 1;
    EXPECT_TRUE(manual.CompareEvent(other));

    UseCountry(23);
    EXPECT_TRUE(manual.CompareEvent(Slot(kView, 6000, 900, 5)));
    EXPECT_FALSE(manual.CompareEvent(Slot(kView, 6060, 900, 5)));
}

TEST_F(RemindInfoTest, SeriesSplitCridsAndProgramMonitorIdentity) {
    CRemindInfo r;
    r.m_sProgramCrid = "/Show/Ep1#2", r.m_sSeriesCrid = "/Show/ALL";
    EXPECT_TRUE(r.IsSplitEvent() && r.IsPartOfASeries());
    EXPECT_EQ(r.SeriesCrid(), "/show/all");

    r.Set(Programme(1420070400, 1800), REMINDER_RESERVE_RECORDING_MONITORED);
    TCProgramMonitorId id;
    id.m_program_crid = "caller's";
    r.GetProgramMonitorId(id);
    EXPECT_EQ(id.m_program_crid, "caller's") << "CRID only for countries 23 and 37";
    EXPECT_TRUE(r.MatchProgramMonitorId(id));
    UseCountry(37);
    r.GetProgramMonitorId(id);
    EXPECT_EQ(id.m_program_crid, "/Abc#1");
    id.m_program_crid = "/abc#1";
    EXPECT_FALSE(r.MatchProgramMonitorId(id)) << "case matters here";

    // Country 5 goes by the series id alone.
    UseCountry(5);
    r.m_sSeriesCrid = "/Show/ALL";
    EXPECT_FALSE(r.IsPartOfASeries());
    r.m_nSeriesId = 65534, r.m_sSeriesCrid.clear();
    EXPECT_TRUE(r.IsPartOfASeries());
}

TEST_F(RemindInfoTest, ChannelKeysLookupsAndTextForm) {
    CRemindInfo r;
    r.Set(kSeven);
    // A digital channel is found again by its stream coordinates, an analogue one by its
    // frequency only.
    TCServiceData digital, analogue;
    r.CopyUniqueKeyInto(digital);
    EXPECT_EQ(digital.Attributes().size(), 4u);
    EXPECT_TRUE(r.IsScrambledInPMT());
    EXPECT_EQ(r.GetChannelName(), "Sieben Ü");
    r.m_nChannelType = 1, r.m_frequency = 55250.9f;
    r.CopyUniqueKeyInto(analogue);
    ASSERT_EQ(analogue.Attributes().size(), 2u);
    EXPECT_EQ(analogue.Attributes().at(SERVICE_ATTR_FREQUENCY), 55250);
    r.Set(kAnalogue);
    EXPECT_FALSE(r.IsScrambledInPMT());

    CRemindInfo t = Slot(REMINDER_RESERVE_VIEWING, 1420070400, 1800, 17);
    t.m_nUid = 3, t.m_nServiceId = 12884901889ULL, t.m_nMajor = 1;
    t.m_sProgramCrid = "/abc", t.m_sTitle = "News";
    EXPECT_EQ(t.ToString(),
              "program reminder [Uid=3, ServiceId=12884901889, EventId=17, ProgramCrid='/abc', "
              "SeriesCrid='', EventTime=1420070400, Duration=1800, Title=News, Major=1]");
    t.m_nReserveType = REMINDER_RESERVE_SERIES;
    EXPECT_EQ(t.ToString().rfind("series reminder [Uid=3, ", 0), 0u);
}

}  // namespace
