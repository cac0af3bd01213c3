// CReminderAPIUtil, duplicate detection: whether two bookings occupy the same time once their
// repeat rules are taken into account, and the sort predicates clients order lists with.
#include <cstdint>

#include "ReminderAPIUtil.h"
#include "ReminderLog.h"

namespace {

constexpr uint32_t kSecondsPerDay = 86400;
constexpr int kThursday = 4;             // 1970-01-01
constexpr unsigned kWeekdayBits = 0x3E;  // Monday to Friday
constexpr unsigned kWeekendBits = 0x41;  // Sunday and Saturday

// Every time here is an unsigned 32-bit second count, whatever the width of unsigned long.
uint32_t Seconds(unsigned long t) {
    return static_cast<uint32_t>(t);
}

uint32_t ToMinute(uint32_t t) {
    return t / 60 * 60;
}

// Day of the week with UTC rules, 0 = Sunday.
int Weekday(uint32_t t) {
    return static_cast<int>((t / kSecondsPerDay + kThursday) % 7);
}

bool IsWeekday(int day) {
    return day >= 1 && day <= 5;
}

bool IsWeekend(int day) {
    return day == 0 || day == 6;
}

bool HasDay(unsigned char mask, int day) {
    return (mask & (1u << day)) != 0;
}

// Start and end of one side of the comparison, both as absolute times and as times of day. The
// time-of-day end is not wrapped at midnight: a booking that runs past it ends above 86400.
struct SSpan {
    uint32_t start;
    uint32_t end;
    uint32_t dayStart;
    uint32_t dayEnd;
};

// `lead` is what comes off the start besides the start margin; `widen` what is added to the
// length besides both margins and the duration. A viewing reminder is an instant.
SSpan SpanOf(const CRemindInfo& item, uint32_t lead, uint32_t widen) {
    SSpan span;
    span.start = item.m_nEventTime - item.m_nStartMarginTime - lead;
    span.dayStart = static_cast<uint32_t>(CReminderAPIUtil::m_GetTimeInfo(span.start));
    if (item.m_nReserveType == REMINDER_RESERVE_VIEWING) {
        span.end = span.start;
        span.dayEnd = span.dayStart;
        return span;
    }
    const uint32_t length =
        widen + item.m_nStartMarginTime + item.m_nDuration + item.m_nEndMarginTime;
    span.end = ToMinute(span.start + length);
    span.dayEnd = ToMinute(span.dayStart + length);
    return span;
}

}  // namespace

bool CReminderAPIUtil::CheckDuplicateTimeAndRepeat(const CRemindInfo* list,
                                                   const CRemindInfo* cmp) {
    REMINDER_ENTRY();
    if (list == nullptr || cmp == nullptr) return false;

    // Only a recording booked from the guide carries the default margin, on both sides.
    uint32_t margin = 0;
    if (cmp->m_nReserveType == REMINDER_RESERVE_RECORDING && cmp->m_nManual == 0) {
        margin = static_cast<uint16_t>(GetTimeMargin());
    }
    const SSpan l = SpanOf(*list, list->m_nTimeMargin, 0);
    const SSpan c = SpanOf(*cmp, margin, 2 * margin);

    REMINDER_LOG("L.S[%ld] L.E[%ld] C.S[%ld], C.E[%ld]", static_cast<long>(l.start),
                 static_cast<long>(l.end), static_cast<long>(c.start), static_cast<long>(c.end));
    REMINDER_LOG("T.L.S[%ld] T.L.E[%ld] T.C.S[%ld], T.C.E[%ld]", static_cast<long>(l.dayStart),
                 static_cast<long>(l.dayEnd), static_cast<long>(c.dayStart),
                 static_cast<long>(c.dayEnd));

    if (m_CheckDupTime(l.start, l.end, c.start, c.end)) {
        REMINDER_LOG("m_CheckDupTime(Real Time) TRUE");
        return true;
    }
    if (m_CheckDupTime(l.dayStart, l.dayEnd, c.dayStart, c.dayEnd)) {
        REMINDER_LOG("m_CheckDupTime(Customized Time) TRUE");
        if (m_IsRepeatDup(l.start, l.end, list->m_nRepeatType, list->m_cManualRepeat, c.start,
                          c.end, cmp->m_nRepeatType, cmp->m_cManualRepeat)) {
            REMINDER_LOG("m_IsRepeatDup == TRUE");
            return true;
        }
    }
    return false;
}

bool CReminderAPIUtil::m_CheckDupTime(unsigned long s1, unsigned long e1, unsigned long s2,
                                      unsigned long e2) {
    const uint32_t a = Seconds(s1), b = Seconds(s2);
    if (a == b) return true;
    return a < Seconds(e2) && b < Seconds(e1);
}

bool CReminderAPIUtil::m_IsRepeatDup(unsigned long listStart, unsigned long listEnd,
                                     EReminderRepeatType listRepeat, unsigned char listDays,
                                     unsigned long cmpStart, unsigned long cmpEnd,
                                     EReminderRepeatType cmpRepeat, unsigned char cmpDays) {
    const uint32_t ls = Seconds(listStart), le = Seconds(listEnd);
    const uint32_t cs = Seconds(cmpStart), ce = Seconds(cmpEnd);
    const int wl = Weekday(ls);
    const int wc = Weekday(cs);
    REMINDER_LOG("weekday_list=[%d], repeat_list=[%d], weekday_cmp=[%d], repeat_cmp=[%d]", wl,
                 static_cast<int>(listRepeat), wc, static_cast<int>(cmpRepeat));

    // Stored values may be any integer: whatever is not a known rule counts as above 4.
    const unsigned lr = static_cast<unsigned>(listRepeat);
    const unsigned cr = static_cast<unsigned>(cmpRepeat);
    if (cr > REMINDER_REPEAT_MANUAL) return false;
    if (cr == REMINDER_REPEAT_MANUAL && cmpDays == 0) return false;
    if (lr > REMINDER_REPEAT_MANUAL) return cr == REMINDER_REPEAT_EVERYDAY;

    // A repeating side meets a one-off once its first occurrence has begun by the one-off's end;
    // the bounds are inclusive.
    const bool listBegunByCmpEnd = ls <= ce;
    const bool cmpBegunByListEnd = cs <= le;

    switch (cr) {
        case REMINDER_REPEAT_NONE:
            switch (lr) {
                case REMINDER_REPEAT_NONE:
                    return wc == wl && cmpBegunByListEnd && listBegunByCmpEnd;
                case REMINDER_REPEAT_EVERYDAY:
                    return listBegunByCmpEnd;
                case REMINDER_REPEAT_MON_FRI:
                    return listBegunByCmpEnd && IsWeekday(wc);
                case REMINDER_REPEAT_WEEKEND:
                    return listBegunByCmpEnd && IsWeekend(wc);
                default:
                    return listDays != 0 && listBegunByCmpEnd && HasDay(listDays, wc);
            }
        case REMINDER_REPEAT_EVERYDAY:
            switch (lr) {
                case REMINDER_REPEAT_NONE:
                    return cmpBegunByListEnd;
                case REMINDER_REPEAT_MANUAL:
                    return listDays != 0;
                default:
                    return true;
            }
        case REMINDER_REPEAT_MON_FRI:
            switch (lr) {
                case REMINDER_REPEAT_NONE:
                    return IsWeekday(wl) && cmpBegunByListEnd;
                case REMINDER_REPEAT_WEEKEND:
                    return false;
                case REMINDER_REPEAT_MANUAL:
                    return (listDays & kWeekdayBits) != 0;
                default:
                    return true;
            }
        case REMINDER_REPEAT_WEEKEND:
            switch (lr) {
                case REMINDER_REPEAT_NONE:
                    return IsWeekend(wl) && cmpBegunByListEnd;
                case REMINDER_REPEAT_MON_FRI:
                    return false;
                case REMINDER_REPEAT_MANUAL:
                    return (listDays & kWeekendBits) != 0;
                default:
                    return true;
            }
        default:  // manual days, at least one
            switch (lr) {
                case REMINDER_REPEAT_NONE:
                    return HasDay(cmpDays, wl) && cmpBegunByListEnd && listBegunByCmpEnd;
                case REMINDER_REPEAT_EVERYDAY:
                    return true;
                case REMINDER_REPEAT_MON_FRI:
                    return (cmpDays & kWeekdayBits) != 0;
                case REMINDER_REPEAT_WEEKEND:
                    return (cmpDays & kWeekendBits) != 0;
                default:
                    return (cmpDays & listDays & 0x7F) != 0;
            }
    }
}

bool CReminderAPIUtil::SortByStartTime(const TCProgramData* a, const TCProgramData* b) {
    if (a->StartTime() != b->StartTime()) return a->StartTime() < b->StartTime();
    const auto serviceA = static_cast<unsigned long long>(a->ServiceId());
    const auto serviceB = static_cast<unsigned long long>(b->ServiceId());
    if (serviceA != serviceB) return serviceA < serviceB;
    return a->EventId() < b->EventId();
}

bool CReminderAPIUtil::SortByBookingTime(const CRemindInfo* a, const CRemindInfo* b) {
    return a->m_nBookingOrder < b->m_nBookingOrder;
}
