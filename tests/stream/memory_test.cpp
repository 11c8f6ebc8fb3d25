// SPDX-License-Identifier: MIT
//
// Every call that allocates, with its first allocation failing, then its second, and so on until it
// asks for no more: once, and with no memory from there on. It says so, changes nothing, and loses
// nothing.
#include <cstdio>
#include <functional>

#include "stream/streams.h"
#include "support/failing_heap.h"

namespace vekbf::test {
namespace {

// How many failures it took until `operation` succeeded. It returns its fault, or "" for success.
int failures_of(bool forGood, const std::function<std::string()>& operation) {
  for (int k = 1; k < 1000; k++) {
    SCOPED_TRACE("allocation " + std::to_string(k));
    HeapWatch watch(k);
    heap.for_good = forGood;
    const std::string fault = operation();
    const bool failed = heap.allocations >= k;
    heap.failing = 0;
    EXPECT_EQ(fault.find("out of memory") != std::string::npos, failed) << fault;
    EXPECT_EQ(heap.live, 0) << "blocks were leaked, or released twice";
    if (!failed) return k - 1;
  }
  ADD_FAILURE() << "there is no end to it";
  return -1;
}

// A file that is removed at the end.
struct File {
  File(const char* name, const std::string& text) : path(own_path(name)) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
  }
  ~File() { std::remove(path.c_str()); }
  std::string path;
};

class StreamMemory : public testing::TestWithParam<bool> {
 protected:
  // A value is set, or a file read, into settings that have an array and a track already.
  int failures_of_change(const std::function<const char*(VekStreamSettings*)>& change) {
    return failures_of(GetParam(), [&]() -> std::string {
      const int failing = heap.failing;
      heap.failing = 0;
      const Settings settings =
          settings_of({{"mics", "0,0; 1,0"}, {"angle", "5"}, {"angle-track", track_.path.c_str()}});
      heap.allocations = 0;
      heap.failing = failing;
      std::string fault = said(change(settings.get()));
      heap.failing = 0;
      if (!fault.empty()) {
        EXPECT_EQ(std::string(VekStream_Get(settings.get(), "mics")), "0,0; 1,0");
        EXPECT_EQ(std::string(VekStream_Get(settings.get(), "angle")), "5");
      }
      // Whatever happened, they work.
      const int count = heap.allocations;
      EXPECT_EQ(said(VekStream_Set(settings.get(), "mics", "0,0")), "");
      EXPECT_TRUE(open_stream(settings, 1) != nullptr);
      heap.allocations = count;
      heap.failing = failing;
      return fault;
    });
  }
  File track_{"vekbf_memory_track.txt", "0 1\n1 2\n"};
};

TEST_P(StreamMemory, OfSettings) {
  EXPECT_EQ(failures_of(GetParam(),
                        [] {
                          const Settings settings(VekStream_NewSettings());
                          return settings == nullptr ? "out of memory" : "";
                        }),
            1);
  const Settings settings =
      settings_of({{"array", "line:1:1m"}, {"angle", "5"}, {"angle-track", track_.path.c_str()}});
  // The record, three texts, the track.
  EXPECT_EQ(failures_of(GetParam(),
                        [&] {
                          const Settings copy(VekStream_CopySettings(settings.get()));
                          return copy == nullptr ? "out of memory" : "";
                        }),
            5);
}

TEST_P(StreamMemory, OfAValue) {
  EXPECT_GT(failures_of_change([](VekStreamSettings* settings) {
              return VekStream_Set(settings, "array", "square:10cm");
            }),
            1);
  EXPECT_GT(failures_of_change([](VekStreamSettings* settings) {
              return VekStream_Set(settings, "mic", "0.5,0.5");
            }),
            1);
}

TEST_P(StreamMemory, OfAFile) {
  std::string turns;
  for (int i = 0; i < 1000; i++) turns += std::to_string(i) + " 7\n";
  const File track("vekbf_memory_long.txt", turns);
  EXPECT_GT(failures_of_change([&](VekStreamSettings* settings) {
              return VekStream_Set(settings, "angle-track", track.path.c_str());
            }),
            5);
  const File options("vekbf_memory_options.ini", "mic = [\"0,0\", \"0.1,0\"]\nangle = 6\n");
  EXPECT_GT(failures_of_change([&](VekStreamSettings* settings) {
              return VekStream_ReadFile(settings, options.path.c_str());
            }),
            5);
  const auto take = [](void*, const char*, const char*) -> const char* { return nullptr; };
  const File foreign("vekbf_memory_foreign.ini", "rate = 6\nangle = 6\n");
  EXPECT_GT(failures_of_change([&](VekStreamSettings* settings) {
              return VekStream_ReadFileWith(settings, foreign.path.c_str(), take, nullptr);
            }),
            5);
}

TEST_P(StreamMemory, OfAnArrayFile) {
  const File array("pair.conf", "array = line:2:40mm\nchannels = 4,2\n");
  EXPECT_GT(failures_of_change([&](VekStreamSettings* settings) {
              return VekStream_Set(settings, "array", array.path.c_str());
            }),
            5);
  // No file has that name, which takes memory to find out.
  EXPECT_GT(failures_of_change([](VekStreamSettings* settings) {
              return VekStream_Set(settings, "array", "no-such-array");
            }),
            0);
}

TEST_P(StreamMemory, OfAStream) {
  const Settings settings = settings_of(
      {{"array", "line:2:40mm"}, {"algorithm", "adaptive"}, {"angle-track", track_.path.c_str()}});
  EXPECT_GT(failures_of(GetParam(),
                        [&] {
                          VekStream* stream = nullptr;
                          std::string fault =
                              said(VekStream_Open(settings.get(), 16000, 2, &stream));
                          EXPECT_EQ(stream == nullptr, !fault.empty());
                          VekStream_Close(stream);
                          return fault;
                        }),
            5);
}

TEST_P(StreamMemory, OfAStreamThatFindsTheTalker) {
  const Settings settings = settings_of({{"array", "line:2:40mm"}, {"angle", "auto"}});
  const auto open = [&] {
    VekStream* stream = nullptr;
    std::string fault = said(VekStream_Open(settings.get(), 16000, 2, &stream));
    EXPECT_EQ(stream == nullptr, !fault.empty());
    VekStream_Close(stream);
    return fault;
  };
  EXPECT_GT(failures_of(GetParam(), open), 5);
}

TEST_P(StreamMemory, OfARestart) {
  const Settings settings = settings_of({{"array", "line:2:40mm"}});
  const Samples in = noise(1000, 2, 1);
  EXPECT_GT(failures_of(GetParam(),
                        [&] {
                          const int failing = heap.failing;
                          heap.failing = 0;
                          const Stream stream = open_stream(settings, 2);
                          heap.allocations = 0;
                          heap.failing = failing;
                          std::string fault = said(VekStream_Restart(stream.get()));
                          // It then gives silence, as many samples as ever.
                          Samples out(1000, 5);
                          VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, in.data(),
                                                       out.data(), 1000);
                          EXPECT_EQ(out == Samples(1000), !fault.empty());
                          // And works again once there is memory.
                          const int count = heap.allocations;
                          heap.failing = 0;
                          EXPECT_EQ(said(VekStream_Restart(stream.get())), "");
                          VekStream_ProcessInterleaved(stream.get(), VEK_STREAM_S16, in.data(),
                                                       out.data(), 1000);
                          EXPECT_NE(out, Samples(1000));
                          heap.allocations = count;
                          return fault;
                        }),
            3);
}

INSTANTIATE_TEST_SUITE_P(OnceOrForGood, StreamMemory, testing::Bool());

}  // namespace
}  // namespace vekbf::test
