#include "measure.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace bench {

namespace fs = std::filesystem;

namespace {

double Now(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// A file of our own that goes with the object.
class Scratch {
 public:
  Scratch() {
    std::string name = fs::temp_directory_path() / "anagparc_bench.XXXXXX";
    close(mkstemp(name.data()));
    path_ = name;
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  const fs::path& Path() const { return path_; }

 private:
  fs::path path_;
};

Cost RunShell(const fs::path& archive, const std::string& query, int times,
              const fs::path& output) {
  const Scratch script;
  {
    std::ofstream lines(script.Path());
    for (int i = 0; i < times; ++i) {
      lines << query << ";\n";
    }
  }
  Cost cost =
      RunProcess({"sqlite3", "-batch", "-init", "/dev/null", archive}, script.Path(), output);
  cost.cpu /= times;
  cost.elapsed /= times;
  return cost;
}

}  // namespace

Cost Measured(const std::function<void()>& work) {
  const double elapsed = Now(CLOCK_MONOTONIC), cpu = Now(CLOCK_PROCESS_CPUTIME_ID);
  work();
  const double done = Now(CLOCK_PROCESS_CPUTIME_ID);
  return {done - cpu, Now(CLOCK_MONOTONIC) - elapsed};
}

double Median(std::vector<double> values) {
  const auto middle = values.begin() + std::ssize(values) / 2;
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

Cost RunProcess(const std::vector<std::string>& command, const fs::path& input,
                const fs::path& output) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 0, input.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
  const double start = Now(CLOCK_MONOTONIC);
  pid_t child = 0;
  const int error = posix_spawnp(&child, arguments[0], &files, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  int status = 0;
  rusage used = {};
  if (error != 0 || wait4(child, &status, 0, &used) != child || status != 0) {
    throw std::runtime_error(command[0] + " failed");
  }
  return {Seconds(used.ru_utime) + Seconds(used.ru_stime), Now(CLOCK_MONOTONIC) - start};
}

Cost ShellPrints(const fs::path& archive, const std::string& query, int times) {
  return RunShell(archive, query, times, "/dev/null");
}

std::string ShellOutput(const fs::path& archive, const std::string& query) {
  const Scratch output;
  RunShell(archive, query, 1, output.Path());
  std::ifstream text(output.Path(), std::ios::binary);
  return {std::istreambuf_iterator<char>(text), {}};
}

}  // namespace bench
