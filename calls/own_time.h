#ifndef CALLS_OWN_TIME_H
#define CALLS_OWN_TIME_H

#include <pthread.h>

#include <cerrno>

namespace calls {

// While our own work runs in a client's thread: nobody cancels it, and its errno stays.
class OwnTime {
 public:
    OwnTime() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_); }
    ~OwnTime() {
        pthread_setcancelstate(state_, nullptr);
        errno = errno_;
    }
    OwnTime(const OwnTime&) = delete;
    OwnTime& operator=(const OwnTime&) = delete;

 private:
    int errno_ = errno;
    int state_ = 0;
};

}  // namespace calls

#endif
