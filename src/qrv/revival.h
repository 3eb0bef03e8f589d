#ifndef ORVAL_QRV_REVIVAL_H
#define ORVAL_QRV_REVIVAL_H

#include <new>

namespace QRV {

// Keeps a process-wide object usable when it has been destroyed: clients call from exit handlers
// that run after this library's destructors. Declared in front of the object, so that it is
// destroyed after it and constructs it anew, in the same place. What it constructs owns nothing:
// when the library is unloaded, nobody destroys it again.
template <typename T>
class Revival final {
 public:
    using Construct = void (*)(T* place);

    Revival(T& object, Construct construct) noexcept : object_(&object), construct_(construct) {}
    ~Revival() { construct_(object_); }
    Revival(const Revival&) = delete;
    Revival& operator=(const Revival&) = delete;

 private:
    T* object_;
    Construct construct_;
};

}  // namespace QRV

#endif
