// Preloaded into pcd-import by the tests: the system's random source fails.
// getrandom always fails (ENOSYS, as on a kernel without it); opening
// /dev/urandom fails too when PCD_TEST_NO_URANDOM is set.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace {

using OpenFunction = int (*)(const char*, int, ...);

int openOrRefuse(const char* symbol, const char* path, int flags, va_list arguments) {
  if (std::getenv("PCD_TEST_NO_URANDOM") != nullptr && std::strcmp(path, "/dev/urandom") == 0) {
    errno = EACCES;
    return -1;
  }
  const auto next = reinterpret_cast<OpenFunction>(dlsym(RTLD_NEXT, symbol));
  const mode_t mode = (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
  return next(path, flags, mode);
}

}  // namespace

extern "C" ssize_t getrandom(void*, size_t, unsigned int) {
  errno = ENOSYS;
  return -1;
}

extern "C" int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int result = openOrRefuse("open", path, flags, arguments);
  va_end(arguments);
  return result;
}

extern "C" int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int result = openOrRefuse("open64", path, flags, arguments);
  va_end(arguments);
  return result;
}
