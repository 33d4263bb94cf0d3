// A helper process for work done by libraries that end the process when
// they fail (Graphviz and the libraries under it abort or crash when memory
// runs out): the work runs in a child process forked on first use, which
// answers one request at a time over a socket, so that its crash, abort or
// hang becomes an error message here and the program ends cleanly.
#pragma once

#include <sys/types.h>

#include <string>

namespace pcd::writers {

class DrawingProcess {
 public:
  // Runs in the child for each request: fills `reply` and returns a status
  // of the caller's choosing (0-255). The child ends when the parent closes
  // the connection or ends; it runs no exit handlers of the parent.
  using Handler = unsigned char (*)(const std::string& request, std::string& reply);
  // What the child answers when the handler throws std::bad_alloc.
  static constexpr unsigned char kOutOfMemory = 255;

  // `seconds`: how long one request may take before the child is stopped.
  DrawingProcess(Handler handler, unsigned seconds);
  ~DrawingProcess();
  DrawingProcess(const DrawingProcess&) = delete;
  DrawingProcess& operator=(const DrawingProcess&) = delete;

  // Sends `request` and waits for the answer. Returns "" with the handler's
  // status and reply, or why there is none (the child could not start,
  // crashed, was killed or took too long); after that, every later call
  // fails alike.
  std::string call(const std::string& request, unsigned char& status, std::string& reply);

 private:
  std::string start();
  std::string stopAfterFailure(const std::string& what);

  Handler handler_;
  unsigned seconds_;
  int socket_ = -1;
  int errors_ = -1;  // the child's standard error
  pid_t child_ = -1;
  std::string failure_;  // set once the child is gone
};

}  // namespace pcd::writers
