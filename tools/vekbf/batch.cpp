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

std::vector<Arguments> make_jobs(const Arguments& arguments) {
  std::vector<Arguments> jobs;
  std::set<fs::path> names;
  for (const std::string& input : arguments.inputs) {
    const fs::path name = fs::path(input).filename();
    if (!names.insert(name).second) {
      throw UsageError("two of the inputs would become '" + name.string() + "' in --out-dir");
    }
    Arguments job = arguments;
    job.inputs = {input};
    job.output = fs::path(arguments.outDir) / name;
    job.label = "'" + input + "': ";
    jobs.push_back(std::move(job));
  }
  return jobs;
}

}  // namespace

void process_batch(const Arguments& arguments, int standardOutput) {
  const std::vector<Arguments> jobs = make_jobs(arguments);
  std::vector<std::string> results;
  for (const Arguments& job : jobs) results.push_back(job.output);
  std::error_code error;
  fs::create_directory(arguments.outDir, error);
  if (error) {
    throw RunError("cannot make the folder '" + arguments.outDir + "': " + error.message());
  }
  check_overwriting(arguments.filesRead(), results);
  std::atomic<std::size_t> next = 0;
  std::atomic<long long> failed = 0;
  std::atomic<long long> done = 0;
  const bool shows = isatty(STDERR_FILENO) != 0;
  const auto work = [&] {
    for (std::size_t i = next++; i < jobs.size() && !interrupted(); i = next++) {
      try {
        process(jobs[i], standardOutput);
        const long long count = ++done;
        if (shows) {
          say(jobs[i].label + "complete, " + std::to_string(count) + " of " +
              counted(static_cast<long long>(jobs.size()), "file"));
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
    for (std::size_t t = 1; t < std::min(cores, jobs.size()); t++) threads.emplace_back(work);
  } catch (const std::system_error&) {
    // The system has no more threads: those that there are do the work.
  }
  work();
  for (std::thread& thread : threads) thread.join();
  if (interrupted()) {
    throw Interruption("interrupted: " + std::to_string(done) + " of " +
                       counted(static_cast<long long>(jobs.size()), "file") + " are complete");
  }
  if (failed > 0) {
    throw RunError(std::to_string(failed) + " of " +
                   counted(static_cast<long long>(jobs.size()), "file") + " failed");
  }
}

}  // namespace vekbf_tool
