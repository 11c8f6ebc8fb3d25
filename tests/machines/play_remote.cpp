// SPDX-License-Identifier: MIT
//
// Plays scenes of tests/vectors through a block server (block_server.c), which is run as a child,
// and compares every output with the stored digests:
//
//   play_remote DIGESTS SHARE COMMAND...
//
// Of the list every SHARE-th scene is played, each with another rounding direction set by the
// server's process. The last line says how many scenes and blocks there were.
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "support/digest.h"
#include "vectors/digest_file.h"
#include "vectors/player.h"

namespace vekbf::test {
namespace {

// The child's ends. The operations of an Engine are plain functions, so that these are no members.
FILE* requests = nullptr;
FILE* answers = nullptr;

void send(uint32_t value, int bytes = 4) {
  for (int i = 0; i < bytes; ++i) std::putc(static_cast<int>((value >> (8 * i)) & 0xff), requests);
}
void send(float value) { send(std::bit_cast<uint32_t>(value)); }
void send(int32_t value) { send(static_cast<uint32_t>(value)); }

uint32_t receive(int bytes = 4) {
  uint32_t value = 0;
  for (int i = 0; i < bytes; ++i) {
    const int byte = std::getc(answers);
    if (byte == EOF) {
      std::fprintf(stderr, "play_remote: the server has ended\n");
      std::exit(1);
    }
    value |= static_cast<uint32_t>(byte) << (8 * i);
  }
  return value;
}

uint32_t answer() {
  std::fflush(requests);
  return receive();
}

int channels = 0;

// The instance is the server's; what stands here only has an address.
VekBfHandle remote_init(void* memory, const VekBfInit* init) {
  std::putc('I', requests);
  send(init->sampleRate);
  for (const int32_t value :
       {init->bitWidth, init->micNum, init->soundSpeed, static_cast<int32_t>(init->algorithm),
        static_cast<int32_t>(init->geometry)}) {
    send(value);
  }
  for (const auto& place : init->micCoordinate) {
    for (const float coordinate : place) send(coordinate);
  }
  channels = init->micNum < 1 ? 1 : init->micNum;
  return answer() == 1 ? static_cast<VekBfHandle>(memory) : nullptr;
}

uint32_t remote_set_config(VekBfHandle, const VekBfConfig* config) {
  std::putc('C', requests);
  send(config->vadThreshold);
  send(config->intensity);
  return answer();
}

uint32_t remote_run(VekBfHandle, const int16_t* in, int16_t* out, int32_t angle) {
  const std::span<const int16_t> samples(in, static_cast<size_t>(channels) * kHopSize);
  std::putc('R', requests);
  send(angle);
  send(static_cast<uint32_t>(samples.size()));
  for (const int16_t x : samples) send(static_cast<uint16_t>(x), 2);
  const uint32_t result = answer();
  for (int i = 0; i < kHopSize; ++i) out[i] = static_cast<int16_t>(receive(2));
  return result;
}

uint32_t remote_free(VekBfHandle) {
  std::putc('F', requests);
  return answer();
}

constexpr Engine kRemote = {remote_init, remote_set_config, remote_run, remote_free,
                            nullptr,     nullptr,           nullptr};

pid_t start(char** command) {
  int down[2];
  int up[2];
  if (pipe(down) != 0 || pipe(up) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    dup2(down[0], STDIN_FILENO);
    dup2(up[1], STDOUT_FILENO);
    for (const int end : {down[0], down[1], up[0], up[1]}) close(end);
    execvp(command[0], command);
    std::perror(command[0]);
    _exit(127);
  }
  close(down[0]);
  close(up[1]);
  requests = fdopen(down[1], "wb");
  answers = fdopen(up[0], "rb");
  return child;
}

constexpr uint32_t kRoundings = 4;

bool set_rounding(uint32_t rounding) {
  std::putc('M', requests);
  send(rounding);
  return answer() == 1;
}

uint64_t output_digest(const Scene& scene) {
  Digest output;
  Player player(scene, kRemote);
  while (player.play_block()) {
    const PlayedBlock block = player.last();
    output.samples(block.out.data(), block.out.size());
  }
  return output.value();
}

}  // namespace
}  // namespace vekbf::test

int main(int count, char** arguments) {
  using namespace vekbf::test;
  if (count < 4 || std::atoi(arguments[2]) < 1) {
    std::fprintf(stderr, "usage: play_remote DIGESTS SHARE COMMAND...\n");
    return 2;
  }
  const auto stored = read_digests(arguments[1]);
  const auto share = static_cast<size_t>(std::atoi(arguments[2]));
  const pid_t child = start(arguments + 3);
  if (child < 0 || requests == nullptr || answers == nullptr) {
    std::perror("play_remote");
    return 2;
  }
  int played = 0;
  int different = 0;
  long blocks = 0;
  for (size_t i = 0; i < scenes().size(); i += share) {
    const Scene& scene = scenes()[i];
    const uint32_t rounding = static_cast<uint32_t>(played) % kRoundings;
    if (!set_rounding(rounding)) {
      std::printf("the server does not round by direction %u\n", rounding);
      ++different;
    }
    const auto expected = stored.find(scene.name);
    if (expected == stored.end() || output_digest(scene) != expected->second.digest.output) {
      std::printf("%s differs with rounding direction %u\n", scene.name.c_str(), rounding);
      ++different;
    }
    ++played;
    blocks += scene.blocks;
  }
  std::fclose(requests);
  int status = 0;
  waitpid(child, &status, 0);
  std::printf("%d scenes of %ld blocks, %d different\n", played, blocks, different);
  return different == 0 && played > 0 && status == 0 ? 0 : 1;
}
