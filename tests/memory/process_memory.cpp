// SPDX-License-Identifier: MIT
//
// A whole process that runs out of memory: the heap's entry points are this program's own, so that
// the C library's allocations fail too, the buffer of standard output among them. Each life is led
// by a child process whose standard output is a pipe; the parent reads what came out.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "vek_bf.h"

namespace {

int asked = 0;
int failing = 0;  // number of the allocation that fails, and all after it if for_good; 0 for none
bool for_good = false;

bool refused() {
  ++asked;
  return asked == failing || (for_good && failing > 0 && asked > failing);
}

}  // namespace

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) { return refused() ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return refused() ? nullptr : __libc_calloc(count, size); }
void* realloc(void* block, size_t size) {
  return refused() ? nullptr : __libc_realloc(block, size);
}
}

namespace {

constexpr size_t kBufferBytes = 82352;

// One life with the allocations failing as set, then one with memory. Prints, as its last line, a
// digest of what the second one gave, and returns false if a call did not give its result.
bool live() {
  alignas(8) static unsigned char buffer[kBufferBytes];
  VekBfInit array;
  memset(&array, 0, sizeof array);
  array.sampleRate = 16000;
  array.bitWidth = 16;
  array.micNum = 2;
  array.soundSpeed = 343;
  array.algorithm = VEK_ADAPTIVE_BF;
  array.geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  array.micCoordinate[1][0] = 0.05f;
  const VekBfConfig config = {0.5f, 5};
  bool good = true;
  uint32_t digest = 0;
  for (int life = 0; life < 2; ++life) {
    digest = 2166136261u;
    good = VekBf_GetBufferSize() == kBufferBytes && good;
    const VekBfHandle handle = VekBf_Init(buffer, &array);
    good = VekBf_SetConfig(handle, &config) == VEK_BF_OK && good;
    for (int b = 0; b < 6; ++b) {
      int16_t in[2 * VEK_BF_BLOCK_FRAMES];
      int16_t out[VEK_BF_BLOCK_FRAMES];
      for (int i = 0; i < 2 * VEK_BF_BLOCK_FRAMES; ++i) {
        in[i] = static_cast<int16_t>((i * 7919 + b * 104729) % 20001 - 10000);
      }
      good = VekBf_Run(handle, in, out, 60) == VEK_BF_OK && good;
      for (const int16_t y : out) digest = (digest ^ static_cast<uint16_t>(y)) * 16777619u;
    }
    good = VekBf_GetConfig(handle) == VEK_BF_OK && good;
    good = VekBf_Free(handle) == VEK_BF_OK && good;
    failing = 0;
  }
  printf("digest %08x after %d allocations\n", digest, asked);
  fflush(stdout);
  return good;
}

char text[1 << 16];

// What a life says; false if it did not end well.
bool lead(int k, bool lasting) {
  int ends[2];
  if (pipe(ends) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    asked = 0;
    failing = k;
    for_good = lasting;
    _exit(live() ? 0 : 1);
  }
  close(ends[1]);
  size_t length = 0;
  ssize_t got = 0;
  while ((got = read(ends[0], text + length, sizeof text - 1 - length)) > 0) {
    length += static_cast<size_t>(got);
  }
  text[length] = '\0';
  close(ends[0]);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

const char* last_line() { return strstr(text, "\ndigest "); }

}  // namespace

int main() {
  constexpr const char* kFirstLine =
      "[ALGO_MSG_MSG, VekBf_GetBufferSize] Working buffer size is 82352 bytes\n";
  unsigned wanted = 0;
  int most = 0;
  if (!lead(0, false) || last_line() == nullptr ||
      sscanf(last_line(), "\ndigest %x after %d", &wanted, &most) != 2) {
    fprintf(stderr, "a life with all its memory failed\n");
    return 1;
  }
  // The buffer of standard output, then two transforms and two detectors.
  constexpr int kAllocations = 1 + 2 * 25;
  if (most != kAllocations) {
    fprintf(stderr, "%d allocations instead of %d\n", most, kAllocations);
    return 1;
  }
  for (int lasting = 0; lasting < 2; ++lasting) {
    for (int k = 1; k <= kAllocations / 2 + 1; ++k) {
      unsigned digest = 0;
      const bool ended = lead(k, lasting == 1);
      if (!ended || strncmp(text, kFirstLine, strlen(kFirstLine)) != 0 || last_line() == nullptr ||
          sscanf(last_line(), "\ndigest %x", &digest) != 1 || digest != wanted) {
        fprintf(stderr, "allocation %d failing%s: %s\n%s", k, lasting == 1 ? " for good" : "",
                ended ? "other results" : "the process failed", text);
        return 1;
      }
    }
  }
  return 0;
}
