// A forked child runs the work; the parent reads its floats from a pipe under
// a deadline (poll), then reaps it. The stream is a float count, the floats
// and a closing mark, so a child killed half-way or a host that reaps
// children itself can never pass a partial soup off as whole.
#include "converter/isolated_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#define VEKMESH_CONVERTER_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEKMESH_CONVERTER_SANITIZED 1
#endif
#endif

namespace vekmesh::converter {
namespace {

constexpr uint64_t kEndMark = 0x56454b4d45534821ull;

bool writeAll(int fd, const void* data, size_t size) {
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = write(fd, p, size);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    size -= size_t(n);
  }
  return true;
}

// The data size the system counts against RLIMIT_DATA (the sixth field of
// /proc/self/statm, in pages); 0 when it cannot be read.
[[maybe_unused]] uint64_t dataBytesInUse() {
  FILE* f = std::fopen("/proc/self/statm", "r");
  if (!f) return 0;
  unsigned long long fields[6] = {};
  const bool read = std::fscanf(f, "%llu %llu %llu %llu %llu %llu", &fields[0], &fields[1],
                                &fields[2], &fields[3], &fields[4], &fields[5]) == 6;
  std::fclose(f);
  const long page = sysconf(_SC_PAGESIZE);
  return read && page > 0 ? uint64_t(fields[5]) * uint64_t(page) : 0;
}

[[noreturn]] void runChild(int fd, std::vector<float> (*work)(const void*), const void* argument,
                           const IsolationLimits& limits) {
  // The host's handlers (crash reporters) must not run for the child: a
  // fault ends it quietly and the parent sees an empty result.
  for (int s : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGPIPE}) std::signal(s, SIG_DFL);
#ifndef VEKMESH_CONVERTER_SANITIZED
  // The limit counts the host's whole data (the child is a copy of it), so
  // the budget is added to what the host held at the fork; when that cannot
  // be read, no limit rather than one the copy already exceeds. (A
  // sanitizer's shadow memory counts as data too: no limit there.)
  const uint64_t held = dataBytesInUse();
  if (limits.memory_bytes > 0 && held > 0) {
    const rlim_t bound = rlim_t(held + limits.memory_bytes);
    const struct rlimit limit = {bound, bound};
    setrlimit(RLIMIT_DATA, &limit);
  }
#else
  (void)limits;
#endif
  const std::vector<float> soup = work(argument);
  const uint64_t count = soup.size();
  const bool sent = writeAll(fd, &count, sizeof count) &&
                    writeAll(fd, soup.data(), soup.size() * sizeof(float)) &&
                    writeAll(fd, &kEndMark, sizeof kEndMark);
  // _exit: the host's atexit handlers and static destructors are not ours
  // to run.
  _exit(sent ? 0 : 1);
}

// Reads up to `size` bytes before `deadline`; the count read.
size_t readUntil(int fd, void* data, size_t size, std::chrono::steady_clock::time_point deadline) {
  char* p = static_cast<char*>(data);
  size_t got = 0;
  while (got < size) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) break;
    struct pollfd wait_for = {fd, POLLIN, 0};
    const int ready = poll(&wait_for, 1, int(std::min<int64_t>(left.count(), 1000)));
    if (ready < 0 && errno != EINTR) break;
    if (ready <= 0) continue;
    const ssize_t n = read(fd, p + got, size - got);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;  // end of the stream or an error
    got += size_t(n);
  }
  return got;
}

}  // namespace

IsolationLimits limitsForFile(uint64_t file_bytes) {
  IsolationLimits limits;
  limits.seconds = 60.0 + 60.0 * double(file_bytes) / double(1 << 20);
  limits.memory_bytes =
      (uint64_t(2) << 30) + 512 * std::min<uint64_t>(file_bytes, uint64_t(1) << 32);
  return limits;
}

std::vector<float> runIsolated(std::vector<float> (*work)(const void*), const void* argument,
                               const IsolationLimits& limits) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    close(fds[0]);
    runChild(fds[1], work, argument, limits);
  }
  close(fds[1]);
  std::vector<float> soup;
  if (child > 0) {
    const auto deadline = std::chrono::steady_clock::now() +
                          std::chrono::milliseconds(int64_t(limits.seconds * 1000.0));
    uint64_t count = 0, mark = 0;
    bool whole = readUntil(fds[0], &count, sizeof count, deadline) == sizeof count &&
                 count % 9 == 0 && count <= limits.memory_bytes / sizeof(float);
    // Grown as the floats arrive, never sized by the count alone.
    constexpr size_t kChunk = size_t(1) << 20;
    for (uint64_t done = 0; whole && done < count;) {
      const size_t step = size_t(std::min<uint64_t>(kChunk, count - done));
      soup.resize(size_t(done) + step);
      whole = readUntil(fds[0], soup.data() + done, step * sizeof(float), deadline) ==
              step * sizeof(float);
      done += step;
    }
    whole =
        whole && readUntil(fds[0], &mark, sizeof mark, deadline) == sizeof mark && mark == kEndMark;
    if (!whole) {
      soup.clear();
      kill(child, SIGKILL);
    }
    // A host that reaps its children itself may have taken this one already.
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  close(fds[0]);
  return soup;
}

}  // namespace vekmesh::converter
