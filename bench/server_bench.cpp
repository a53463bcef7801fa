// The server's request path against a floor that does the least any server
// must: read the same lines in blocks, parse each with simdjson (walking its
// fields), and write a fixed answer in batches. Two streams of 200,000
// requests each: cheap ones ("frameworkVersion"), and "ASifyFrom:" calls of
// ten mixed values. Then the whole `tessaro serve` process, fed through a
// pipe, in requests per second. Each figure is the median of several runs,
// with the lowest and highest.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <simdjson.h>

#include "tessaro/server.hpp"

namespace {

constexpr int kRequests = 200000;
constexpr int kRuns = 9;

std::string writeRequests(const char* name, const std::function<std::string(int)>& line) {
  std::string path = std::string("/tmp/tessaro_server_bench_") + name + "_" + std::to_string(getpid());
  std::string text;
  for (int i = 0; i < kRequests; ++i) text += line(i) + "\n";
  FILE* f = std::fopen(path.c_str(), "wb");
  std::fwrite(text.data(), 1, text.size(), f);
  std::fclose(f);
  return path;
}

struct Figures {
  double median, low, high;
};

Figures measure(const std::function<void()>& run) {
  run();  // warm-up
  std::vector<double> seconds;
  for (int i = 0; i < kRuns; ++i) {
    auto start = std::chrono::steady_clock::now();
    run();
    seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(seconds.begin(), seconds.end());
  return {seconds[seconds.size() / 2], seconds.front(), seconds.back()};
}

int openOrDie(const char* path, int flags) {
  int fd = ::open(path, flags);
  if (fd < 0) {
    std::perror(path);
    std::exit(1);
  }
  return fd;
}

void serveFile(const std::string& path) {
  int in = openOrDie(path.c_str(), O_RDONLY), out = openOrDie("/dev/null", O_WRONLY);
  tessaro::serve(in, out);
  ::close(in);
  ::close(out);
}

// The floor: the same block reading and batched writing, a simdjson parse
// of each line that visits every field, and a fixed answer.
void floorFile(const std::string& path) {
  int in = openOrDie(path.c_str(), O_RDONLY), out = openOrDie("/dev/null", O_WRONLY);
  simdjson::ondemand::parser parser;
  std::string input, output;
  std::vector<char> buffer(1 << 16);
  std::string line;
  for (;;) {
    ssize_t n = ::read(in, buffer.data(), buffer.size());
    if (n <= 0) break;
    input.append(buffer.data(), std::size_t(n));
    std::size_t begin = 0;
    for (;;) {
      std::size_t newline = input.find('\n', begin);
      if (newline == std::string::npos) break;
      line.assign(input, begin, newline - begin);
      line.reserve(line.size() + simdjson::SIMDJSON_PADDING);
      simdjson::ondemand::document doc;
      std::size_t fields = 0;
      if (!parser.iterate(simdjson::padded_string_view(line.data(), line.size(), line.capacity())).get(doc)) {
        simdjson::ondemand::object object;
        if (!doc.get_object().get(object))
          for (auto field : object) {
            std::string_view raw;
            simdjson::ondemand::value v;
            if (!field.value().get(v)) raw = v.raw_json_token();
            fields += raw.size();
          }
      }
      output += fields ? "{\"id\": 1, \"result\": \"0.1.0\"}\n" : "{}\n";
      begin = newline + 1;
    }
    input.erase(0, begin);
    if (output.size() >= (1 << 16)) {
      if (::write(out, output.data(), output.size()) < 0) std::exit(1);
      output.clear();
    }
  }
  if (::write(out, output.data(), output.size()) < 0) std::exit(1);
  ::close(in);
  ::close(out);
}

// The whole `tessaro serve` process, its requests through a pipe.
void serveProcess(const char* tessaro, const std::string& path) {
  int fds[2];
  if (::pipe(fds) != 0) std::exit(1);
  pid_t reader = ::fork();
  if (reader == 0) {
    ::dup2(fds[0], STDIN_FILENO);
    ::close(fds[0]);
    ::close(fds[1]);
    int null = openOrDie("/dev/null", O_WRONLY);
    ::dup2(null, STDOUT_FILENO);
    ::execl(tessaro, tessaro, "serve", static_cast<char*>(nullptr));
    std::_Exit(127);
  }
  ::close(fds[0]);
  int in = openOrDie(path.c_str(), O_RDONLY);
  char block[1 << 16];
  for (ssize_t n; (n = ::read(in, block, sizeof block)) > 0;)
    for (ssize_t done = 0; done < n;) {
      ssize_t w = ::write(fds[1], block + done, std::size_t(n - done));
      if (w <= 0) std::exit(1);
      done += w;
    }
  ::close(in);
  ::close(fds[1]);
  int status = 0;
  ::waitpid(reader, &status, 0);
}

void report(const char* what, const Figures& f) {
  std::printf("%-44s %8.1f ms (%.1f to %.1f), %7.0fk requests/s\n", what, f.median * 1e3, f.low * 1e3, f.high * 1e3,
              kRequests / f.median / 1e3);
}

}  // namespace

int main(int argc, char** argv) {
  const char* tessaro = argc > 1 ? argv[1] : TESSARO_BINARY;
  std::string cheap = writeRequests("cheap", [](int i) {
    return "{\"id\": " + std::to_string(i) + ", \"call\": \"frameworkVersion\", \"args\": []}";
  });
  std::string mixed = writeRequests("mixed", [](int i) {
    return "{\"id\": " + std::to_string(i) +
           ", \"call\": \"ASifyFrom:\", \"args\": [[1, -2.5, \"alpha\", \"Z\xC3\xBCrich caf\xC3\xA9\", true, null, "
           "{\"$date\": 482797958.5}, [3, \"x\"], {\"a\": 1, \"b\": \"two\"}, \"a longer string of text, "
           "well past eleven code units\"]]}";
  });

  Figures cheapFloor = measure([&] { floorFile(cheap); });
  Figures cheapServe = measure([&] { serveFile(cheap); });
  Figures mixedFloor = measure([&] { floorFile(mixed); });
  Figures mixedServe = measure([&] { serveFile(mixed); });
  Figures cheapProcess = measure([&] { serveProcess(tessaro, cheap); });
  Figures mixedProcess = measure([&] { serveProcess(tessaro, mixed); });
  report("floor, cheap requests", cheapFloor);
  report("request path, cheap requests", cheapServe);
  report("floor, ASifyFrom: of ten values", mixedFloor);
  report("request path, ASifyFrom: of ten values", mixedServe);
  report("tessaro serve through a pipe, cheap", cheapProcess);
  report("tessaro serve through a pipe, ASifyFrom:", mixedProcess);
  std::printf("request path / floor, cheap: %.2fx (%.2fx to %.2fx)\n", cheapServe.median / cheapFloor.median,
              cheapServe.low / cheapFloor.high, cheapServe.high / cheapFloor.low);
  std::printf("request path / floor, ASifyFrom:: %.2fx (%.2fx to %.2fx)\n", mixedServe.median / mixedFloor.median,
              mixedServe.low / mixedFloor.high, mixedServe.high / mixedFloor.low);
  std::remove(cheap.c_str());
  std::remove(mixed.c_str());
  return 0;
}
