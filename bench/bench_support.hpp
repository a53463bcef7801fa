// What the text benchmarks share: timing by median and spread, the resident
// memory of this process, and a Python peer run as a subprocess on the same
// data (Python times only its own work and reports the seconds of each run).
#pragma once

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace bench {

struct Figures {
  double median = 0, low = 0, high = 0;
};

inline Figures figuresOf(std::vector<double> seconds) {
  std::sort(seconds.begin(), seconds.end());
  if (seconds.empty()) return {};
  return {seconds[seconds.size() / 2], seconds.front(), seconds.back()};
}

// Runs `run` once to warm up, then `runs` times.
inline Figures measure(int runs, const std::function<void()>& run) {
  run();
  std::vector<double> seconds;
  for (int i = 0; i < runs; ++i) {
    auto start = std::chrono::steady_clock::now();
    run();
    seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return figuresOf(seconds);
}

// Two contenders run in turn, `runs` times each after a warm-up, so that
// both see the same load on a shared machine; the ratio of each pair of
// runs (a / b) is summed up by its median and extremes. Each run is timed
// by the wall clock and by this process's processor time (user and system:
// page faults and freeing included), which other work on the machine
// disturbs far less.
struct Pair {
  Figures a, b, ratio;           // wall clock
  Figures aCpu, bCpu, ratioCpu;  // processor time
};
inline double cpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}
inline Pair measurePair(int runs, const std::function<void()>& a, const std::function<void()>& b) {
  struct Sample {
    double wall, cpu;
  };
  auto time = [](const std::function<void()>& run) {
    double cpu = cpuSeconds();
    auto start = std::chrono::steady_clock::now();
    run();
    return Sample{std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
                  cpuSeconds() - cpu};
  };
  a();
  b();
  std::vector<double> as, bs, ratios, aCpu, bCpu, cpuRatios;
  for (int i = 0; i < runs; ++i) {
    Sample x = time(a), y = time(b);
    as.push_back(x.wall);
    bs.push_back(y.wall);
    ratios.push_back(x.wall / y.wall);
    aCpu.push_back(x.cpu);
    bCpu.push_back(y.cpu);
    cpuRatios.push_back(x.cpu / y.cpu);
  }
  return {figuresOf(as), figuresOf(bs), figuresOf(ratios), figuresOf(aCpu), figuresOf(bCpu), figuresOf(cpuRatios)};
}

inline void report(const char* what, const Figures& f) {
  std::printf("%-52s %9.1f ms (%.1f to %.1f)\n", what, f.median * 1e3, f.low * 1e3, f.high * 1e3);
}

// "a / b: median (lowest to highest)", the spread from the extremes.
inline void ratio(const char* what, const Figures& r) {
  std::printf("%-52s %9.2fx (%.2fx to %.2fx)\n", what, r.median, r.low, r.high);
}
inline void ratio(const char* what, const Figures& a, const Figures& b) {
  std::printf("%-52s %9.2fx (%.2fx to %.2fx)\n", what, a.median / b.median, a.low / b.high, a.high / b.low);
}

// A field of /proc/self/status in kB ("VmRSS", "VmHWM").
inline long statusKb(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  std::size_t n = std::strlen(field);
  while (std::getline(status, line))
    if (line.compare(0, n, field) == 0 && line[n] == ':') return std::atol(line.c_str() + n + 1);
  return -1;
}

// Resets the peak resident size to the current one.
inline void resetPeak() {
  if (FILE* f = std::fopen("/proc/self/clear_refs", "w")) {
    std::fputs("5", f);
    std::fclose(f);
  }
}

// Runs `work` in a child process with the peak resident size reset first;
// the child reports how far it grew at the peak and with the result
// still held, in MiB.
struct Memory {
  double peakMiB = 0, keptMiB = 0;
};
// `work` returns what it made, which is kept until the sizes are read.
template <class Work>
Memory memoryOf(Work work) {
  int fds[2];
  if (::pipe(fds) != 0) return {};
  pid_t child = ::fork();
  if (child == 0) {
    ::close(fds[0]);
    resetPeak();
    long before = statusKb("VmRSS");
    auto kept = work();
    Memory m{(statusKb("VmHWM") - before) / 1024.0, (statusKb("VmRSS") - before) / 1024.0};
    if (::write(fds[1], &m, sizeof m) != sizeof m) std::_Exit(1);
    std::_Exit(0);
  }
  ::close(fds[1]);
  Memory m;
  if (::read(fds[0], &m, sizeof m) != sizeof m) m = {};
  ::close(fds[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  return m;
}

// Runs a Python script with the data file's path as its argument. The
// script prints one line per timed run (seconds), then "memory PEAK KEPT"
// in MiB.
struct PythonFigures {
  Figures time;
  Memory memory;
  bool ran = false;
};
inline PythonFigures runPython(const std::string& script, const std::string& dataPath) {
  std::string scriptPath = dataPath + ".py";
  {
    std::ofstream out(scriptPath);
    out << script;
  }
  PythonFigures result;
  std::string command = "python3 " + scriptPath + " " + dataPath;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (!pipe) return result;
  std::vector<double> seconds;
  char line[256];
  while (std::fgets(line, sizeof line, pipe)) {
    std::istringstream in(line);
    std::string word;
    in >> word;
    if (word == "memory")
      in >> result.memory.peakMiB >> result.memory.keptMiB;
    else
      seconds.push_back(std::atof(word.c_str()));
  }
  result.ran = ::pclose(pipe) == 0 && !seconds.empty();
  result.time = figuresOf(seconds);
  std::remove(scriptPath.c_str());
  return result;
}

// The Python side of the memory figures, as a function `memory(work)`.
inline const char* kPythonMemory = R"(
def _status(field):
    with open('/proc/self/status') as f:
        for line in f:
            if line.startswith(field + ':'):
                return int(line.split()[1])
def memory(work):
    with open('/proc/self/clear_refs', 'w') as f:
        f.write('5')
    before = _status('VmRSS')
    kept = work()
    print('memory', (_status('VmHWM') - before) / 1024, (_status('VmRSS') - before) / 1024, flush=True)
    return kept
)";

}  // namespace bench
