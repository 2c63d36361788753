#pragma once

// Makes calls of the C library fail. The test defines the function, which replaces the library's function in
// the whole test program, checks `fails()` first and then calls `next`:
//
//   static FailingCall failing_flock;
//   extern "C" int flock(int file, int operation) noexcept {
//     return failing_flock.fails() ? -1 : next<int (*)(int, int)>("flock")(file, operation);
//   }

#include <dlfcn.h>

#include <cerrno>

class FailingCall {
 public:
  // Makes `times` calls fail with this errno after `first` successful ones.
  void fail(int times, int error, int first = 0) {
    times_ = times;
    error_ = error;
    first_ = first;
  }

  // Whether this call must fail; errno is then set.
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

// Returns the library function that the test program's own function hides.
template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
