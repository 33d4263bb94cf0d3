// A helper process for work done by libraries that end the process when
// they fail (Graphviz and the libraries under it abort or crash when memory
// runs out): the work runs in a child process forked on first use, which
// answers one request at a time over a socket, so that its crash, abort or
// hang becomes an error message here and the program ends cleanly.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

namespace pcd::writers {

class DrawingProcess {
 public:
  // Runs in the child once, first: "" when it is ready for requests, or
  // why it cannot serve them.
  using Starter = std::string (*)();
  // Runs in the child for each request: fills `reply` and returns a status
  // of the caller's choosing (0-255). The child ends when the parent closes
  // the connection or ends; it runs no exit handlers of the parent.
  using Handler = unsigned char (*)(const std::string& request, std::string& reply);
  // What the child answers when the handler throws std::bad_alloc.
  static constexpr unsigned char kOutOfMemory = 255;

  // `seconds`: how long one request may take before the child is stopped;
  // `startSeconds`: how long its start may take. Starting the libraries
  // takes a fraction of a second; a start that takes 30 s hangs (fontconfig
  // can deadlock when memory runs out).
  DrawingProcess(Starter starter, Handler handler, unsigned seconds, unsigned startSeconds = 30);
  ~DrawingProcess();
  DrawingProcess(const DrawingProcess&) = delete;
  DrawingProcess& operator=(const DrawingProcess&) = delete;

  // Forks the child, which starts at once; "" or why not. `send` does it
  // when it has not been done: starting several first lets them start at
  // the same time.
  std::string start();
  // A request in two steps, so that several processes can work at once:
  // `send` waits until the child has started and hands it `request`;
  // `receive` waits for the answer. Each returns "" (`receive` with the
  // handler's status and reply), or why not: the child could not start,
  // crashed, was killed or took too long; after that, every later call
  // fails alike.
  std::string send(const std::string& request);
  std::string receive(unsigned char& status, std::string& reply);

 private:
  std::string spawn();
  std::string awaitStart();
  bool receiveAnswer(unsigned char& status, std::string& reply,
                     std::chrono::steady_clock::time_point deadline, bool& timedOut);
  std::string stopAfterFailure(const std::string& what);

  Starter starter_;
  Handler handler_;
  unsigned seconds_;
  unsigned startSeconds_;
  int socket_ = -1;
  int errors_ = -1;  // the child's standard error
  pid_t child_ = -1;
  std::chrono::steady_clock::time_point started_;  // when it was forked
  bool ready_ = false;                             // its start succeeded
  bool busy_ = false;                              // a request was sent and its answer not read
  std::chrono::steady_clock::time_point sent_;     // when it was sent
  std::string failure_;                            // set once the child is gone
};

}  // namespace pcd::writers
