// The WHERE/ORDER BY tail that the store appends to its statements.
#include <gtest/gtest.h>

#include <string>

#include "DataControl.h"

namespace {

using C = CDBCriteria;

TEST(CriteriaTest, ConditionsAreJoinedByOneAndThenOrdered) {
    // A fresh criteria is empty, so statements touch every row.
    CDBCriteria criteria;
    EXPECT_EQ(criteria.m_sCriteria, "");
    criteria.Where<unsigned long>(C::CRITERIA_UID, 12);
    EXPECT_EQ(criteria.m_sCriteria, " WHERE UID = 12");

    criteria.Where<std::string>(C::CRITERIA_TITLE, "News");
    EXPECT_EQ(criteria.m_sCriteria, " WHERE UID = 12 AND Title = 'News'");

    criteria.OrderBy(C::CRITERIA_START_TIME, C::CRITERIA_UID);
    EXPECT_EQ(criteria.m_sCriteria, " WHERE UID = 12 AND Title = 'News' ORDER BY StartTime, UID");
}

TEST(CriteriaTest, OperatorsAndQuotingFollowTheValueType) {
    // Text is quoted with each operator.
    CDBCriteria text;
    text.WhereNot<std::string>(C::CRITERIA_PROGRAM_CRID, "crid://a/1");
    text.WhereLess<std::string>(C::CRITERIA_SERIES_CRID, "crid://b");
    EXPECT_EQ(text.m_sCriteria, " WHERE ProgramCrid != 'crid://a/1' AND SeriesCrid < 'crid://b'");

    // Numbers are never quoted, also against a text column; an unsigned short prints in full
    // and a reserve type as its number.
    CDBCriteria numbers;
    numbers.Where<unsigned short>(C::CRITERIA_MAJOR, 65535);
    numbers.WhereLess<unsigned long>(C::CRITERIA_START_TIME, 4000000000UL);
    numbers.Where<EReserveType>(C::CRITERIA_RESERVE_TYPE, REMINDER_RESERVE_GROUP);
    numbers.Where<unsigned long>(C::CRITERIA_TITLE, 7);
    EXPECT_EQ(numbers.m_sCriteria,
              " WHERE Major = 65535 AND StartTime < 4000000000 AND ReserveType = 12"
              " AND Title = 7");

    // A set of numbers; an empty set is still a valid clause and matches nothing.
    CDBCriteria set;
    set.WhereIn(C::CRITERIA_UID, {3, 40000000000UL});
    set.WhereIn(C::CRITERIA_SERIES_ID, {});
    EXPECT_EQ(set.m_sCriteria, " WHERE UID IN (3, 40000000000) AND SeriesId IN ()");
}

TEST(CriteriaTest, CollationFollowsThePieceBeforeIt) {
    CDBCriteria criteria;
    criteria.Where<std::string>(C::CRITERIA_PROGRAM_CRID, "CRID://X");
    criteria.IgnoreStrCase();
    criteria.OrderBy(C::CRITERIA_TITLE);
    criteria.IgnoreStrCase();
    EXPECT_EQ(criteria.m_sCriteria,
              " WHERE ProgramCrid = 'CRID://X' COLLATE NOCASE ORDER BY Title COLLATE NOCASE");
}

TEST(CriteriaTest, SingleQuotesInTextAreDoubled) {
    CDBCriteria criteria;
    criteria.Where<std::string>(C::CRITERIA_TITLE, "It's");
    criteria.WhereNot<std::string>(C::CRITERIA_GROUP_CRID, "x' OR '1'='1");
    EXPECT_EQ(criteria.m_sCriteria, " WHERE Title = 'It''s' AND GroupCrid != 'x'' OR ''1''=''1'");
}

}  // namespace
