// The typical sets of examples/ and the profiles built on another one.
#include <gtest/gtest.h>

#include <unistd.h>

#include <string>

#include "ReminderAPIUtil.h"
#include "TestSupport.h"
#include "system_info.h"

namespace {

TEST(TvsimProfiles, EachTypicalSetCountsItsTuners) {
    const struct {
        const char* file;
        int available, recordable;
    } cases[] = {
        {"tv-profile.json", 2, 1},
        {"tv-one-tuner.json", 1, 1},
        {"tv-two-tuners-one-recordable.json", 2, 1},
        {"tv-two-recordable-tuners.json", 2, 2},
        {"tv-satellite-single-cable.json", 1, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        std::string error;
        ASSERT_TRUE(
            tvsim::LoadProfileFile(REMINDER_SOURCE_DIR "/examples/" + std::string(c.file), &error))
            << error;
        EXPECT_EQ(CReminderAPIUtil::NumOfAvailableTuner(), c.available);
        EXPECT_EQ(CReminderAPIUtil::NumOfRecordableTuner(), c.recordable);
        // The same evening on every set: the base's guide, channels and modules.
        TCProgramData film;
        EXPECT_TRUE(tvsim::FindProgramme(1002, 501, film));
        EXPECT_EQ(CReminderAPIUtil::NumOfWorkingCAM(), 1);
        EXPECT_TRUE(CReminderAPIUtil::FlagSupportCRID());
    }
}

TEST(TvsimProfiles, ABaseIsChangedKeyByKeyOrMemberByMember) {
    const std::string base = testsupport::WriteTempFile(
        "base.json",
        R"({"system_info": {"18": 2, "125": 1}, "vconf": {"a": 1, "b": true},
            "ca_devices": [{"key": 0, "state": 1}, {"key": 1, "state": 1}]})");
    const std::string name = base.substr(base.rfind('/') + 1);
    const std::string derived = testsupport::WriteTempFile(
        "derived.json", R"({"base": ")" + name + R"(", "system_info": {"18": 1},
                            "ca_devices": [{"key": 4, "state": 1}]})");
    std::string error;
    ASSERT_TRUE(tvsim::LoadProfileFile(derived, &error)) << error;
    // Key 18 from the derived profile, 125 from the base.
    int value = 0;
    ASSERT_EQ(system_info_get_value_int(18, &value), SYSTEM_INFO_ERROR_NONE);
    EXPECT_EQ(value, 1);
    ASSERT_EQ(system_info_get_value_int(125, &value), SYSTEM_INFO_ERROR_NONE);
    EXPECT_EQ(value, 1);
    // An array replaces the base's.
    EXPECT_EQ(CReminderAPIUtil::NumOfWorkingCAM(), 1);

    const std::string missing =
        testsupport::WriteTempFile("missing.json", R"({"base": "no-such-profile.json"})");
    EXPECT_FALSE(tvsim::LoadProfileFile(missing, &error));
    EXPECT_NE(error.find("no-such-profile.json: cannot be read"), std::string::npos) << error;

    // A profile that is its own base.
    const std::string loopName = "reminder-test-" + std::to_string(getpid()) + "-loop.json";
    const std::string loop =
        testsupport::WriteTempFile("loop.json", R"({"base": ")" + loopName + R"("})");
    EXPECT_FALSE(tvsim::LoadProfileFile(loop, &error));
    EXPECT_NE(error.find("too deeply"), std::string::npos) << error;
}

}  // namespace
