// Reading and printing large documents in the notation, against simdjson on
// the same bytes: reading (freeing the values included, as a user pays it)
// against simdjson's DOM parse, printing against simdjson's serialiser of
// its DOM (`minify`). Two documents of about 50 MB each, made in memory: a
// table of short strings (the shape of parsed CSV), and records of mixed
// numbers, reals, booleans, nulls, longer strings and nested lists. Each
// benchmark is repeated; the ratios printed at the end are of the medians,
// with the lowest and highest ratio of the paired repetitions.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <simdjson.h>

#include "tessaro/notation.hpp"
#include "sequence.hpp"

using tessaro::bench::Sequence;

namespace {

constexpr std::size_t kDocumentBytes = 50u << 20;

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
    out.reserve(kDocumentBytes + 1024);
    out += '[';
    Sequence random;
    bool firstRow = true;
    while (out.size() < kDocumentBytes) {
      out += firstRow ? "[" : ", [";
      firstRow = false;
      for (int column = 0; column < 10; ++column) {
        if (column) out += ", ";
        out += '"';
        out += cells[random.next() % cellCount];
        out += '"';
      }
      out += ']';
    }
    out += ']';
    return out;
  }();
  return json;
}

const std::string& records() {
  static const std::string json = [] {
    static const char* const names[] = {
        "Ada Lovelace", "Z\xC3\xBCrich office", "S\xC3\xA3o Paulo branch", "\xE6\x9D\xB1\xE4\xBA\xAC",
        "north", "warehouse 7", "caf\xC3\xA9 \\\"central\\\"", "x",
    };
    static const char* const notes[] = {
        "Delivered on time; the customer asked for a second copy of the invoice.",
        "R\xC3\xBC" "ckfrage beim Lieferanten offen, Antwort bis Freitag erwartet.",
        "line one\\nline two\\nline three",
        "\xE7\xB4\x8D\xE5\x93\x81\xE6\xB8\x88\xE3\x81\xBF\xE3\x80\x82\xE6\xAC\xA1\xE5\x9B\x9E\xE3\x81\xAF\xE6\x9D\xA5\xE6\x9C\x88\xE3\x80\x82",
        "short",
    };
    static const char* const reals[] = {"12.75", "0.1", "-3.5e-07", "1234567.875", "2.0", "99.99", "6.02e+23"};
    std::string out;
    out.reserve(kDocumentBytes + 1024);
    out += '[';
    Sequence random;
    std::uint64_t id = 100000;
    while (out.size() < kDocumentBytes) {
      if (out.size() > 1) out += ", ";
      out += "{\"id\": ";
      out += std::to_string(id++);
      out += ", \"name\": \"";
      out += names[random.next() % 8];
      out += "\", \"price\": ";
      out += reals[random.next() % 7];
      out += ", \"quantity\": ";
      out += std::to_string(std::int64_t(random.next() % 2000) - 1000);
      out += ", \"active\": ";
      out += random.next() % 2 ? "true" : "false";
      out += ", \"parent\": ";
      out += random.next() % 3 ? "null" : std::to_string(random.next());
      out += ", \"note\": \"";
      out += notes[random.next() % 5];
      out += "\", \"scores\": [";
      for (std::uint32_t k = 0, n = random.next() % 5; k < n; ++k) {
        if (k) out += ", ";
        out += std::to_string(random.next() % 100);
        out += ".5";
      }
      out += "], \"tags\": [\"red\", \"";
      out += names[random.next() % 8];
      out += "\"]}";
    }
    out += ']';
    return out;
  }();
  return json;
}

const std::string& document(int which) { return which == 0 ? table() : records(); }
const char* documentName(int which) { return which == 0 ? "table" : "records"; }

void simdjsonParse(benchmark::State& state) {
  const std::string& json = document(int(state.range(0)));
  simdjson::padded_string padded(json);
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  if (parser.parse(padded).get(root)) state.SkipWithError("simdjson refused the document");
  for (auto _ : state) {
    if (parser.parse(padded).get(root)) state.SkipWithError("simdjson refused the document");
    benchmark::DoNotOptimize(root);
  }
  state.SetLabel(documentName(int(state.range(0))));
  state.SetBytesProcessed(std::int64_t(state.iterations() * json.size()));
}

// Reading, and freeing what was read: the whole cost to a user.
void readNotation(benchmark::State& state) {
  const std::string& json = document(int(state.range(0)));
  benchmark::DoNotOptimize(tessaro::readNotation(json));  // the reader's buffers, once
  for (auto _ : state) {
    tessaro::Value v = tessaro::readNotation(json);
    benchmark::DoNotOptimize(v);
  }
  state.SetLabel(documentName(int(state.range(0))));
  state.SetBytesProcessed(std::int64_t(state.iterations() * json.size()));
}

void simdjsonMinify(benchmark::State& state) {
  const std::string& json = document(int(state.range(0)));
  simdjson::dom::parser parser;
  simdjson::dom::element root;
  if (parser.parse(json).get(root)) state.SkipWithError("simdjson refused the document");
  std::string out;
  for (auto _ : state) {
    out = simdjson::minify(root);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetLabel(documentName(int(state.range(0))));
  state.SetBytesProcessed(std::int64_t(state.iterations() * out.size()));
}

void printNotation(benchmark::State& state) {
  const std::string& json = document(int(state.range(0)));
  tessaro::Value v = tessaro::readNotation(json);
  std::string out;
  for (auto _ : state) {
    out = tessaro::printNotation(v);
    benchmark::DoNotOptimize(out.data());
  }
  if (out != json) state.SkipWithError("the printed document differs from the one read");
  state.SetLabel(documentName(int(state.range(0))));
  state.SetBytesProcessed(std::int64_t(state.iterations() * out.size()));
}

// The console report, keeping each repetition's time per iteration.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Iteration && !run.error_occurred)
        times[run.run_name.function_name + "/" + run.run_name.args].push_back(run.GetAdjustedRealTime());
    ConsoleReporter::ReportRuns(runs);
  }
  // The ratio of the medians of two benchmarks, and the range of the ratios
  // of their repetitions taken in order.
  void printRatio(const std::string& what, const std::string& a, const std::string& b) {
    if (!times.count(a) || !times.count(b)) return;
    std::vector<double>&x = times[a], &y = times[b];
    std::vector<double> ratios;
    for (std::size_t i = 0; i < std::min(x.size(), y.size()); ++i) ratios.push_back(x[i] / y[i]);
    std::sort(ratios.begin(), ratios.end());
    std::printf("%-36s %.2fx (repetitions %.2fx to %.2fx)\n", what.c_str(), median(x) / median(y), ratios.front(),
                ratios.back());
  }

 private:
  static double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
  }
  std::map<std::string, std::vector<double>> times;
};

}  // namespace

#define NOTATION_BENCH(f) \
  BENCHMARK(f)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(7)->MinWarmUpTime(0.5)
NOTATION_BENCH(simdjsonParse);
NOTATION_BENCH(readNotation);
NOTATION_BENCH(simdjsonMinify);
NOTATION_BENCH(printNotation);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::printf("table: %.1f MB, records: %.1f MB\n", double(table().size()) / (1 << 20),
              double(records().size()) / (1 << 20));
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (int which : {0, 1}) {
    std::string arg = std::to_string(which), name = documentName(which);
    reporter.printRatio("read+free / simdjson parse, " + name, "readNotation/" + arg, "simdjsonParse/" + arg);
    reporter.printRatio("print / simdjson minify, " + name, "printNotation/" + arg, "simdjsonMinify/" + arg);
  }
  benchmark::Shutdown();
  return 0;
}
