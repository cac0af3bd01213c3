// The booking record's JSON form: a round trip keeps every field, the document's shape, and
// documents that are wrong in part or in whole.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <tuple>

#include "RemindInfo.h"
#include "TestSupport.h"
#include "tvsim/tvsim.h"

void PrintTo(const CRemindInfo& r, std::ostream* os) {
    *os << r.ToString();
}

namespace {

// Every field away from its default, at the edges of its width where that is interesting.
CRemindInfo Extreme() {
    CRemindInfo r;
    r.m_nServiceId = ~0ULL, r.m_nServiceProfile = -7, r.m_nMajor = 1, r.m_nMinor = 2;
    r.m_nPTC = 3, r.m_nProgramNumber = 4, r.m_nTransportStreamId = 5, r.m_nTimeMargin = 6;
    r.m_nDevice = 7, r.m_nEventId = 8, r.m_nErrno = 9, r.m_nSeriesId = 10, r.m_nExpiredDate = 11;
    r.m_nUid = 0xFFFFFFFFu, r.m_nBookingOrder = 12, r.m_nUTCStartTime = 0xFFFFFFFEu;
    r.m_nEventTime = 13, r.m_nStartMarginTime = 14, r.m_nEndMarginTime = 15;
    r.m_nRCTExpiryTime = 16, r.m_nAddedTime = 17, r.m_nActivationTime = 18;
    r.m_nExpiryTime = 19, r.m_nPublishedDuration = 20, r.m_nUTCDuration = 22, r.m_nDuration = 23;
    r.m_cManualRepeat = 0x7F, r.m_cContentVersion = 255, r.m_cGenre = 21, r.m_cRepeatLabel = 254;
    r.m_frequency = 474.25f, r.m_nEpisodeNumber = -32768, r.m_nLastEpisodeNumber = -3;
    r.m_bIsHD = r.m_bRemoteChannel = r.m_bAlarmed = r.m_bRecordingSpaceAlarmed = true;
    r.m_bRecording = r.m_bUnresolvedConflict = r.m_bRecommended = r.m_bRecordListBooking = true;
    r.m_nSource = -2, r.m_nManual = 1, r.m_nStreamType = REMINDER_STREAM_REMOTE;
    r.m_nReserveType = REMINDER_RESERVE_RECORDING_READY, r.m_nRepeatType = REMINDER_REPEAT_MANUAL;
    r.m_sTitle = "Tagesschau – Übersicht 日本", r.m_sChannelName = "Das Erste \"HD\"";
    r.m_sProgramCrid = "/Prog#1", r.m_sSeriesCrid = "/Series", r.m_sGroupCrid = "/Group";
    r.m_sSynopsis = "line\nbreak", r.m_sGuidance = "16+", r.m_sPrivateData = "{\"k\":1}";
    r.m_vCompList = {{0x0203, 1, 0x656E67}, {0xFFFF, 255, 0xFFFFFFFFu}};
    r.m_extProgramId = {0xFFFFFFFFu, 24, 255, -1};
    return r;
}

// `text` with the value of the first member `key` replaced by `value`. The member's value must
// be a scalar or an array of flat objects.
std::string WithMember(std::string text, const std::string& key, const std::string& value) {
    const std::string name = "\"" + key + "\":";
    const size_t start = text.find(name);
    EXPECT_NE(start, std::string::npos) << key;
    if (start == std::string::npos) return text;
    const size_t from = start + name.size();
    const size_t to = text[from] == '[' ? text.find(']', from) + 1 : text.find_first_of(",}", from);
    return text.replace(from, to - from, value);
}

TEST(RemindInfoJsonTest, RoundTripKeepsEveryFieldInACompactDocument) {
    const CRemindInfo original = Extreme();
    CRemindInfo copy;
    ASSERT_TRUE(copy.Deserialize(original.Serialize()));
    // Equality catches a member never written; the text, the components and the case of CRIDs.
    EXPECT_EQ(copy, original);
    EXPECT_EQ(copy.Serialize(), original.Serialize());
    // A float that a double cannot tell apart comes back as the nearest float.
    ASSERT_TRUE(copy.Deserialize(R"({"m_frequency": 0.1})"));
    EXPECT_EQ(copy.m_frequency, 0.1f);

    CRemindInfo r;
    r.m_extProgramId = {0, 0, 0, 0};
    const std::string text = r.Serialize();
    // One compact line, members in key order; no components means no key at all.
    EXPECT_EQ(text.rfind("{\"m_bAlarmed\":false,", 0), 0u) << text;
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    EXPECT_EQ(text.find("m_vCompList"), std::string::npos);
    // The programme id is always a one-element array, even when all zero.
    EXPECT_NE(text.find("\"m_extProgramId\":[{\"cEITNumber\":0,\"nEITTableId\":0,"
                        "\"nUTCDuration\":0,\"nUTCStartTime\":0}]"),
              std::string::npos)
        << text;
    // A document without components leaves the record's own list alone.
    CRemindInfo target = Extreme();
    ASSERT_TRUE(target.Deserialize(text));
    EXPECT_EQ(target.m_vCompList.size(), 2u);
}

TEST(RemindInfoJsonTest, AWrongMemberStopsTheReadingThereAndNonJsonChangesNothing) {
    tvsim::ClearLogs();
    CRemindInfo r;
    r.m_nUid = 42, r.m_sTitle = "kept";
    ASSERT_TRUE(r.Deserialize(WithMember(Extreme().Serialize(), "m_nUid", "-1")));
    EXPECT_EQ(testsupport::LogLinesContaining("Exception Handled : ").at(0).logId, 2);
    // The members before the failing one are read; it and all after it keep their values.
    EXPECT_EQ(std::tuple(r.m_nExpiredDate, r.m_nUid, r.m_sTitle, r.m_nStreamType),
              std::tuple(11, 42u, "kept", 0));
    // A bad component keeps the components read before it and stops there.
    CRemindInfo partial;
    ASSERT_TRUE(partial.Deserialize(
        WithMember(Extreme().Serialize(), "m_vCompList",
                   R"([{"cComponentTag":1,"nLanguage":2,"nStreamContentComponentType":3},)"
                   R"({"cComponentTag":"x"}])")));
    EXPECT_EQ(std::tuple(partial.m_vCompList.size(), partial.m_extProgramId.nUTCDuration),
              std::tuple(1u, 0xFFFFFFFFu));

    // Absent members read as the JSON library's null: 0, false, empty.
    r = Extreme();
    ASSERT_TRUE(r.Deserialize("{}"));
    EXPECT_EQ(std::tuple(r.m_nServiceId, r.m_bRecordListBooking, r.m_sTitle,
                         r.m_extProgramId.nUTCStartTime),
              std::tuple(0u, false, "", 0u));
    // Text that is not JSON is refused and changes nothing.
    r = Extreme();
    EXPECT_FALSE(r.Deserialize("m_nUid=3"));
    EXPECT_EQ(r, Extreme());
    EXPECT_TRUE(testsupport::LoggedOn(2, "json reader parse data failed!!!"));
}

}  // namespace
