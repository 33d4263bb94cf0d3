#include "drawing_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace pcd::writers {

namespace {

// The child's exit status when a library called exit().
constexpr int kLibraryExit = 70;

bool sendAll(int socket, const void* data, size_t size) {
  const char* at = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t sent = send(socket, at, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    at += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

// Reads exactly `size` bytes, waiting at most until `deadline` (none when
// `deadline` is the clock's largest value). False at the end of the stream,
// on an error or when the time is up (`timedOut`).
bool receiveAll(int socket, void* data, size_t size, std::chrono::steady_clock::time_point deadline,
                bool& timedOut) {
  char* at = static_cast<char*>(data);
  while (size > 0) {
    if (deadline != std::chrono::steady_clock::time_point::max()) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) {
        timedOut = true;
        return false;
      }
      pollfd wait{socket, POLLIN, 0};
      const int ready = poll(&wait, 1, static_cast<int>(std::min<long long>(left.count(), 60000)));
      if (ready < 0 && errno != EINTR) return false;
      if (ready <= 0) continue;
    }
    const ssize_t got = recv(socket, at, size, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    at += got;
    size -= static_cast<size_t>(got);
  }
  return true;
}

// An answer: the status (1 byte), the reply's length (8 bytes) and its
// bytes. False when the parent is gone.
bool answer(int socket, unsigned char status, const std::string& reply) {
  const uint64_t replyLength = reply.size();
  return sendAll(socket, &status, 1) && sendAll(socket, &replyLength, sizeof replyLength) &&
         sendAll(socket, reply.data(), reply.size());
}

// The child's life: it starts the libraries and answers whether it could
// (status 0, or 1 and why not), then serves requests, each its length (8
// bytes) and its bytes, with an answer each.
[[noreturn]] void serve(int socket, DrawingProcess::Starter starter,
                        DrawingProcess::Handler handler) {
  constexpr auto kNoDeadline = std::chrono::steady_clock::time_point::max();
  std::string request, reply;
  try {
    reply = starter();
  } catch (const std::bad_alloc&) {
    reply = "out of memory while starting";
  }
  if (!answer(socket, reply.empty() ? 0 : 1, reply) || !reply.empty()) _exit(0);
  for (;;) {
    uint64_t length = 0;
    bool timedOut = false;
    if (!receiveAll(socket, &length, sizeof length, kNoDeadline, timedOut)) _exit(0);
    unsigned char status;
    try {
      request.resize(length);
      if (!receiveAll(socket, request.data(), length, kNoDeadline, timedOut)) _exit(0);
      reply.clear();
      status = handler(request, reply);
    } catch (const std::bad_alloc&) {
      status = DrawingProcess::kOutOfMemory;
      reply.clear();
      request = std::string();
    }
    if (!answer(socket, status, reply)) _exit(0);  // the parent is gone
  }
}

// The last line a crashed child wrote to its standard error (a library's
// last words, such as "GLib-ERROR **: ... failed to allocate 11 bytes").
std::string lastLine(int file) {
  std::string text;
  char buffer[4096];
  ssize_t got;
  off_t at = 0;
  while ((got = pread(file, buffer, sizeof buffer, at)) > 0) {
    text.append(buffer, static_cast<size_t>(got));
    if (text.size() > 65536) text.erase(0, text.size() - 4096);
    at += got;
  }
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  const size_t start = text.rfind('\n');
  return start == std::string::npos ? text : text.substr(start + 1);
}

}  // namespace

DrawingProcess::DrawingProcess(Starter starter, Handler handler, unsigned seconds,
                               unsigned startSeconds)
    : starter_(starter), handler_(handler), seconds_(seconds), startSeconds_(startSeconds) {}

DrawingProcess::~DrawingProcess() {
  if (socket_ >= 0) close(socket_);  // an idle child sees the end and exits
  // A child that is starting or drawing is not waited for.
  if ((busy_ || !ready_) && child_ > 0) kill(child_, SIGKILL);
  if (errors_ >= 0) close(errors_);
  if (child_ > 0) {
    while (waitpid(child_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
}

std::string DrawingProcess::start() {
  if (failure_.empty() && child_ < 0) failure_ = spawn();
  return failure_;
}

std::string DrawingProcess::spawn() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    return std::string("cannot start the drawing process: ") + std::strerror(errno);
  }
  // The child's standard error goes to a file in memory that only the two
  // processes hold, so that a library's last message becomes part of ours.
  errors_ = memfd_create("drawing-errors", MFD_CLOEXEC);
  std::fflush(nullptr);  // nothing buffered that the child could write again
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) {
    const int error = errno;
    close(ends[0]);
    close(ends[1]);
    return std::string("cannot start the drawing process: ") + std::strerror(error);
  }
  if (child == 0) {
    // The child's standard output and error both go to the file in memory
    // (GLib prints some last words to standard output, which may be the
    // parent's output); it keeps its end of the socket and closes the rest,
    // an earlier drawing process's socket among them, which that process
    // would otherwise never see closed.
    const int sink = errors_ >= 0 ? errors_ : open("/dev/null", O_WRONLY);
    if (sink >= 0) {
      dup2(sink, STDOUT_FILENO);
      dup2(sink, STDERR_FILENO);
    }
    const int socket = dup2(ends[1], STDERR_FILENO + 1);
    if (socket < 0) _exit(0);
    close_range(STDERR_FILENO + 2, ~0U, 0);
    // The parent's signal handlers remove its output; the child has none.
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) signal(signalNumber, SIG_DFL);
    signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // A library that calls exit() ends the child here, before the exit
    // handlers and destructors of the parent's objects could run.
    std::atexit([] { _exit(kLibraryExit); });
    if (getppid() != parent) _exit(0);
    serve(socket, starter_, handler_);
  }
  close(ends[1]);
  socket_ = ends[0];
  child_ = child;
  started_ = std::chrono::steady_clock::now();
  return "";
}

std::string DrawingProcess::awaitStart() {
  unsigned char status = 0;
  std::string why;
  bool timedOut = false;
  if (!receiveAnswer(status, why, started_ + std::chrono::seconds(startSeconds_), timedOut)) {
    return stopAfterFailure(timedOut ? "the drawing process took longer than " +
                                           std::to_string(startSeconds_) +
                                           " seconds to start and was stopped"
                                     : "");
  }
  if (status != 0) return stopAfterFailure(why);
  ready_ = true;
  return "";
}

bool DrawingProcess::receiveAnswer(unsigned char& status, std::string& reply,
                                   std::chrono::steady_clock::time_point deadline, bool& timedOut) {
  uint64_t replyLength = 0;
  if (!receiveAll(socket_, &status, 1, deadline, timedOut) ||
      !receiveAll(socket_, &replyLength, sizeof replyLength, deadline, timedOut)) {
    return false;
  }
  reply.resize(replyLength);
  return receiveAll(socket_, reply.data(), replyLength, deadline, timedOut);
}

std::string DrawingProcess::stopAfterFailure(const std::string& what) {
  close(socket_);
  socket_ = -1;
  busy_ = false;
  kill(child_, SIGKILL);  // already ended unless it hangs or took too long
  int status = 0;
  pid_t ended;
  while ((ended = waitpid(child_, &status, 0)) < 0 && errno == EINTR) {
  }
  child_ = -1;
  const std::string said = errors_ >= 0 ? lastLine(errors_) : std::string();
  if (!what.empty()) {
    failure_ = what;
  } else if (ended < 0) {
    failure_ = "the drawing process ended unexpectedly";
  } else if (WIFSIGNALED(status)) {
    const int signalNumber = WTERMSIG(status);
    failure_ = signalNumber == SIGABRT
                   ? "the drawing process aborted"
                   : std::string("the drawing process was ended by signal ") +
                         std::to_string(signalNumber) + " (" + strsignal(signalNumber) + ")";
    failure_ += " (Graphviz and its libraries end this way when memory runs out)";
    if (!said.empty()) failure_ += ": " + said;
  } else if (WIFEXITED(status) && WEXITSTATUS(status) == kLibraryExit) {
    failure_ = "Graphviz ended the drawing process (it does so when memory runs out)";
    if (!said.empty()) failure_ += ": " + said;
  } else {
    failure_ = "the drawing process exited unexpectedly with status " +
               std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) +
               " (Graphviz and its libraries end this way when memory runs out)";
    if (!said.empty()) failure_ += ": " + said;
  }
  return failure_;
}

std::string DrawingProcess::send(const std::string& request) {
  if (!start().empty()) return failure_;
  if (!ready_) {
    const std::string failure = awaitStart();
    if (!failure.empty()) return failure;
  }
  const uint64_t length = request.size();
  if (!sendAll(socket_, &length, sizeof length) ||
      !sendAll(socket_, request.data(), request.size())) {
    return stopAfterFailure("");
  }
  busy_ = true;
  sent_ = std::chrono::steady_clock::now();
  return "";
}

std::string DrawingProcess::receive(unsigned char& status, std::string& reply) {
  if (!failure_.empty()) return failure_;
  bool timedOut = false;
  if (!receiveAnswer(status, reply, sent_ + std::chrono::seconds(seconds_), timedOut)) {
    return stopAfterFailure(timedOut ? "the drawing took longer than " + std::to_string(seconds_) +
                                           " seconds and was stopped"
                                     : "");
  }
  busy_ = false;
  return "";
}

}  // namespace pcd::writers
