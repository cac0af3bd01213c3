// The middleware's clock and calendar helper.
#ifndef PLATFORM_CTIMEUTIL_H
#define PLATFORM_CTIMEUTIL_H

#include <ctime>

class CTimeUtil {
public:
    // The television's local clock in seconds since 1970 (UTC now plus the local offset).
    static unsigned long GetCurrentTime();
    // `utc` seconds shifted by the local offset.
    static unsigned long ConvertToLocalTime(unsigned long utc);
    // Breaks `t` down with UTC rules; false when it cannot.
    static bool Unsigned_gmtime_r(unsigned long t, struct tm* out);
    // Seconds of a broken-down time read with UTC rules (tm_year from 1900, tm_mon from 0).
    static unsigned long Unsigned_timegm(struct tm* in);
};

#endif
