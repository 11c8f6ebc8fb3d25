// SPDX-License-Identifier: MIT
#include "batch.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <set>
#include <system_error>
#include <thread>

#include "failure.h"
#include "file_identity.h"
#include "interruption.h"
#include "process.h"
#include "text.h"

namespace vekbf_tool {

namespace fs = std::filesystem;

namespace {

std::vector<RunSetup> make_runs(const RunSetup& pattern, const std::string& folder) {
  std::vector<RunSetup> runs;
  std::set<fs::path> names;
  for (const std::string& input : pattern.input.files) {
    const fs::path name = fs::path(input).filename();
    if (!names.insert(name).second) {
      throw UsageError("two of the inputs would become '" + name.string() + "' in --out-dir");
    }
    RunSetup run = pattern;
    run.input.files = {input};
    run.output = fs::path(folder) / name;
    run.label = "'" + input + "': ";
    runs.push_back(std::move(run));
  }
  return runs;
}

}  // namespace

void process_batch(const RunSetup& pattern, const std::string& folder,
                   const std::vector<std::string>& filesRead) {
  const std::vector<RunSetup> runs = make_runs(pattern, folder);
  std::error_code error;
  fs::create_directory(folder, error);
  if (error) throw RunError("cannot make the folder '" + folder + "': " + error.message());
  std::vector<std::string> results;
  for (const RunSetup& run : runs) results.push_back(run.output);
  check_overwriting(filesRead, results);
  std::atomic<std::size_t> next = 0;
  std::atomic<long long> failed = 0;
  std::atomic<long long> done = 0;
  const bool shows = isatty(STDERR_FILENO) != 0;
  const auto work = [&] {
    for (std::size_t i = next++; i < runs.size() && !interrupted(); i = next++) {
      try {
        process(runs[i]);
        const long long count = ++done;
        if (shows) {
          say(runs[i].label + "complete, " + std::to_string(count) + " of " +
              counted(static_cast<long long>(runs.size()), "file"));
        }
      } catch (const Interruption& stop) {
        say(stop.what());
      } catch (const std::exception& failure) {
        failed++;
        say(failure.what());
      }
    }
  };
  const std::size_t cores = std::max(1u, std::thread::hardware_concurrency());
  std::vector<std::thread> threads;
  try {
    for (std::size_t t = 1; t < std::min(cores, runs.size()); t++) threads.emplace_back(work);
  } catch (const std::system_error&) {
    // The system has no more threads: those that there are do the work.
  }
  work();
  for (std::thread& thread : threads) thread.join();
  if (interrupted()) {
    throw Interruption("interrupted: " + std::to_string(done) + " of " +
                       counted(static_cast<long long>(runs.size()), "file") + " are complete");
  }
  if (failed > 0) {
    throw RunError(std::to_string(failed) + " of " +
                   counted(static_cast<long long>(runs.size()), "file") + " failed");
  }
}

}  // namespace vekbf_tool
