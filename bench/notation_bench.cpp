// Reading and printing a large table in the notation, against simdjson's own
// DOM parser over the same bytes. The table is made in memory: about 50 MB of
// rows of ten short strings, some of them not ASCII, some escaped. At the end
// the ratio of the notation reader's time to simdjson's is printed.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#include <simdjson.h>

#include "tessaro/notation.hpp"

namespace {

constexpr std::size_t kTableBytes = 50u << 20;

const std::string& table() {
  static const std::string json = [] {
    // Cells as they appear in spreadsheets: words, numbers as text, names
    // with accents, a few longer phrases, now and then an escape.
    static const char* const cells[] = {
        "alpha", "beta", "gamma", "42", "3.14", "2016-04-19", "Z\xC3\xBCrich", "na\xC3\xAFve", "caf\xC3\xA9",
        "\xE6\x9D\xB1\xE4\xBA\xAC", "x", "", "yes", "no", "N/A", "Smith", "Jones", "total",
        "line\\nbreak", "say \\\"hi\\\"", "S\xC3\xA3o Paulo", "\xCE\xA9mega", "a longer cell of text",
        "item-0001", "\xF0\x9F\x98\x80 ok",
    };
    constexpr std::size_t cellCount = sizeof cells / sizeof cells[0];
    std::string out;
    out.reserve(kTableBytes + 1024);
    out += '[';
    std::uint64_t state = 0x2545F4914F6CDD1DULL;
    bool firstRow = true;
    while (out.size() < kTableBytes) {
      out += firstRow ? "[" : ", [";
      firstRow = false;
      for (int column = 0; column < 10; ++column) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;  // a fixed sequence
        if (column) out += ", ";
        out += '"';
        out += cells[(state >> 33) % cellCount];
        out += '"';
      }
      out += ']';
    }
    out += ']';
    return out;
  }();
  return json;
}

// One untimed read first, for the reader's buffers to be allocated and their
// pages touched: otherwise a first iteration that takes longer than the
// minimum time is all that is measured.
void warmUp(const std::string& json) { benchmark::DoNotOptimize(tessaro::readNotation(json)); }

void simdjsonDom(benchmark::State& state) {
  const std::string& json = table();
  simdjson::padded_string padded(json);
  simdjson::dom::parser parser;
  simdjson::dom::element warm;
  if (parser.parse(padded).get(warm)) state.SkipWithError("simdjson refused the table");
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(padded).get(root)) state.SkipWithError("simdjson refused the table");
    benchmark::DoNotOptimize(root);
  }
  state.SetBytesProcessed(std::int64_t(state.iterations() * json.size()));
}

void readNotation(benchmark::State& state) {
  const std::string& json = table();
  warmUp(json);
  for (auto _ : state) {
    tessaro::Value v = tessaro::readNotation(json);
    benchmark::DoNotOptimize(v);
    // Freeing the values is not part of reading them.
    state.PauseTiming();
    v = tessaro::Value();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(std::int64_t(state.iterations() * json.size()));
}

void readNotationAndFree(benchmark::State& state) {
  const std::string& json = table();
  warmUp(json);
  for (auto _ : state) {
    tessaro::Value v = tessaro::readNotation(json);
    benchmark::DoNotOptimize(v);
  }
  state.SetBytesProcessed(std::int64_t(state.iterations() * json.size()));
}

void printNotation(benchmark::State& state) {
  const std::string& json = table();
  tessaro::Value v = tessaro::readNotation(json);
  std::string out;
  for (auto _ : state) {
    out.clear();
    tessaro::printNotation(v, out);
    benchmark::DoNotOptimize(out.data());
  }
  if (out != json) state.SkipWithError("the printed table differs from the one read");
  state.SetBytesProcessed(std::int64_t(state.iterations() * out.size()));
}

// The console report, remembering each benchmark's time per iteration.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        realTimes[run.run_name.function_name] = run.GetAdjustedRealTime();
        cpuTimes[run.run_name.function_name] = run.GetAdjustedCPUTime();
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  // The ratio of two benchmarks' times, by wall clock and by processor time.
  void printRatio(const char* what, const std::string& a, const std::string& b) {
    if (!realTimes.count(a) || !realTimes.count(b)) return;
    std::printf("%s: %.2fx (processor time %.2fx)\n", what, realTimes[a] / realTimes[b], cpuTimes[a] / cpuTimes[b]);
  }
  std::map<std::string, double> realTimes, cpuTimes;
};

}  // namespace

// The warm-up lets the parsers allocate their buffers once, as a process
// that reads many texts does.
BENCHMARK(simdjsonDom)->Unit(benchmark::kMillisecond)->UseRealTime()->MinWarmUpTime(1);
BENCHMARK(readNotation)->Unit(benchmark::kMillisecond)->UseRealTime()->MinWarmUpTime(1);
BENCHMARK(readNotationAndFree)->Unit(benchmark::kMillisecond)->UseRealTime()->MinWarmUpTime(1);
BENCHMARK(printNotation)->Unit(benchmark::kMillisecond)->UseRealTime()->MinWarmUpTime(1);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::printf("table: %.1f MB\n", double(table().size()) / (1 << 20));
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printRatio("readNotation / simdjson DOM", "readNotation", "simdjsonDom");
  reporter.printRatio("readNotation with freeing / simdjson DOM", "readNotationAndFree", "simdjsonDom");
  reporter.printRatio("printNotation / simdjson DOM", "printNotation", "simdjsonDom");
  benchmark::Shutdown();
  return 0;
}
