// A local time of the year that the tests of the day are in.
#pragma once

#include <ctime>

inline tm moment(int month, int day, int hour, int minute)
{
    tm fields = {};
    fields.tm_year = 2026 - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    (void)timegm(&fields);  // the weekday
    return fields;
}
