#pragma once

// Calls of the C library that fail when a test says so. The test defines the function, which then takes the
// place of the library's own in the whole test program, asks `fails()` first and goes on to `next`:
//
//   static FailingCall failing_flock;
//   extern "C" int flock(int file, int operation) noexcept {
//     return failing_flock.fails() ? -1 : next<int (*)(int, int)>("flock")(file, operation);
//   }

#include <dlfcn.h>

#include <cerrno>

class FailingCall {
 public:
  // After `first` successful calls, so many fail with this errno.
  void fail(int times, int error, int first = 0) {
    times_ = times;
    error_ = error;
    first_ = first;
  }

  // Whether this call is to fail; errno is set then.
  bool fails() {
    if (times_ == 0 || first_-- > 0) return false;
    --times_;
    errno = error_;
    return true;
  }

 private:
  int times_ = 0;
  int error_ = 0;
  int first_ = 0;
};

// The function of this name that the test program's own hides.
template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
