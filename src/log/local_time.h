#ifndef ORVAL_LOG_LOCAL_TIME_H
#define ORVAL_LOG_LOCAL_TIME_H

#include <ctime>

namespace orval {

// A moment of the day in the client's time zone.
struct LocalTime {
    tm parts;
    long microseconds;
};

// Now. A zone that the client has set with TZ since the last call counts at once; a zone file that
// was replaced on the disk, within a second. Touches nothing of localtime's shared result, which
// belongs to the client.
LocalTime LocalTimeNow();

}  // namespace orval

#endif
