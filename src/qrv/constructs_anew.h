#ifndef ORVAL_QRV_CONSTRUCTS_ANEW_H
#define ORVAL_QRV_CONSTRUCTS_ANEW_H

#include <new>

namespace QRV {

// Keeps a process-wide object usable when it has been destroyed: clients call from exit handlers
// that run after this library's destructors. Declared in front of the object, so that it is
// destroyed after it and constructs it anew, in the same place. What it constructs owns nothing:
// when the library is unloaded, nobody destroys it again.
template <typename T>
class ConstructsAnew final {
 public:
    using Construct = void (*)(T* place);

    ConstructsAnew(T& object, Construct construct) noexcept
        : object_(&object), construct_(construct) {}
    ~ConstructsAnew() { construct_(object_); }
    ConstructsAnew(const ConstructsAnew&) = delete;
    ConstructsAnew& operator=(const ConstructsAnew&) = delete;

 private:
    T* object_;
    Construct construct_;
};

}  // namespace QRV

#endif
