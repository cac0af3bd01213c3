// When a change's event goes out: an event raised inside a transaction waits for the outermost
// commit, and a rollback drops it. Without a bus each send still leaves its failure line, so
// the log shows every attempt.
#include <gtest/gtest.h>

#include "DataControl.h"
#include "TestSupport.h"

namespace {

size_t SendAttempts() {
    return testsupport::LogLinesContaining("SendEvent").size();
}

TEST(StoreEventTest, AnEventInsideATransactionWaitsForTheOutermostCommit) {
    testsupport::LoadSampleTelevision();
    CDBControl* store = CDBControl::GetInstance();
    tvsim::ClearLogs();

    ASSERT_TRUE(store->BeginTransaction());
    ASSERT_TRUE(store->BeginTransaction());
    store->Notify();
    ASSERT_TRUE(store->EndTransaction());
    EXPECT_EQ(SendAttempts(), 0u) << "sent before the outer commit";
    ASSERT_TRUE(store->EndTransaction());
    EXPECT_EQ(SendAttempts(), 1u);

    // Outside a transaction it goes at once; a rolled-back transaction sends nothing, and its
    // event does not leak into the next one.
    store->Notify();
    EXPECT_EQ(SendAttempts(), 2u);
    ASSERT_TRUE(store->BeginTransaction());
    store->Notify();
    store->MarkTransactionFailed();
    EXPECT_FALSE(store->EndTransaction());
    ASSERT_TRUE(store->BeginTransaction());
    ASSERT_TRUE(store->EndTransaction());
    EXPECT_EQ(SendAttempts(), 2u);
}

}  // namespace
