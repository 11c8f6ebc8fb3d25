// SPDX-License-Identifier: MIT
#include "interruption.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>

#include "failure.h"

namespace vekbf_tool {

namespace {

// Global: a signal handler has no other access.
std::atomic<bool> stopped = false;
// A signal between the test of `stopped` and the wait would be missed; a byte in a pipe is not.
std::array<int, 2> wake = {-1, -1};

void note_signal(int) {
  stopped = true;
  [[maybe_unused]] const ssize_t ignored = write(wake[1], "", 1);
}

void watch(int number) {
  struct sigaction action {};
  sigaction(number, nullptr, &action);
  // A signal that was ignored when the tool was started stays ignored.
  if (action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = note_signal;
  sigaction(number, &action, nullptr);
}

// False if an interruption came and `descriptor` is not ready.
bool wait_for(int descriptor, short events) {
  std::array<pollfd, 2> ends = {{{descriptor, events, 0}, {wake[0], POLLIN, 0}}};
  while (true) {
    if (poll(ends.data(), ends.size(), -1) > 0 && ends[0].revents != 0) return true;
    if (stopped) return false;
  }
}

}  // namespace

void watch_for_interruption() {
  if (pipe2(wake.data(), O_CLOEXEC | O_NONBLOCK) != 0) throw RunError("cannot make a pipe");
  watch(SIGINT);
  watch(SIGTERM);
}

bool interrupted() { return stopped; }

bool wait_readable(int descriptor) { return !stopped && wait_for(descriptor, POLLIN) && !stopped; }

// After a signal, what can be written at once is still written.
bool wait_writable(int descriptor) { return wait_for(descriptor, POLLOUT); }

}  // namespace vekbf_tool
