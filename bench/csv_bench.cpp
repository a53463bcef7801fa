// arrayFromCSV:commaIs: on about 100 MB of generated CSV (quoted fields with
// embedded separators, newlines and doubled quotes; ASCII and non-ASCII
// text) against two peers on the same text: Python's csv.reader building its
// list of rows, and a floor that only finds the field boundaries by the same
// rules, building nothing. Each time includes freeing the table. Then the
// memory of the resulting table next to Python's.
#include <cstdio>
#include <random>
#include <string>
#include <unistd.h>

#include "bench_support.hpp"
#include "tessaro/krv_forder.hpp"
#include "text/delimited_text.hpp"

namespace {

constexpr std::size_t kBytes = std::size_t(100) << 20;
constexpr int kRuns = 7, kPythonRuns = 3;

std::string generateCsv() {
  std::mt19937 rng(2026);
  const char* plain[] = {"alpha", "Beta", "12345", "3.25", "gamma delta", "x", "2026-11-23", "ok", "-17", "N/A"};
  const char* foreign[] = {"Z\xC3\xBCrich", "caf\xC3\xA9", "na\xC3\xAFve", "\xE6\x9D\xB1\xE4\xBA\xAC",
                           "\xCE\x95\xCE\xBB\xCE\xBB\xCE\xAC\xCE\xB4\xCE\xB1", "S\xC3\xA3o Paulo"};
  const char* quoted[] = {"\"Smith, John\"", "\"line one\nline two\"", "\"say \"\"hi\"\", then go\"",
                          "\"M\xC3\xBCller, J\xC3\xBCrgen\"", "\"a longer quoted field, with a comma inside it\""};
  std::string text;
  text.reserve(kBytes + 1024);
  std::uniform_int_distribution<int> kind(0, 9), fields(4, 12);
  while (text.size() < kBytes) {
    int n = fields(rng);
    for (int f = 0; f < n; ++f) {
      if (f) text += ',';
      int k = kind(rng);
      if (k < 5)
        text += plain[rng() % std::size(plain)];
      else if (k < 7)
        text += foreign[rng() % std::size(foreign)];
      else if (k < 9)
        text += quoted[rng() % std::size(quoted)];
      // else an empty field
    }
    text += (rng() % 4 == 0) ? "\r\n" : "\n";
  }
  return text;
}

// The floor: the parser's rules over the same scanner, counting fields
// instead of making them.
std::size_t countFields(std::u16string_view text) {
  const tessaro::text::CsvScanner scanner(u',');
  const char16_t* p = text.data();
  const char16_t* end = p + text.size();
  std::size_t fields = 0;
  while (p < end) {
    bool inside = false, filled = false;
    for (;;) {
      const char16_t* run = scanner.ordinaryRunEnd(p, end);
      filled |= run != p;
      p = run;
      if (p == end) {
        fields += filled;
        break;
      }
      if (tessaro::text::CsvScanner::isNewline(*p)) {
        while (p < end && tessaro::text::CsvScanner::isNewline(*p)) ++p;
        if (!inside) {
          fields += filled;
          break;
        }
        filled = true;
      } else if (*p == u'"') {
        ++p;
        if (inside && p < end && *p == u'"') {
          ++p;
          filled = true;
        } else {
          inside = !inside;
        }
      } else {
        ++p;
        if (inside) {
          filled = true;
        } else {
          ++fields;
          filled = false;
          while (p < end && tessaro::text::isCsvWhitespace(*p)) ++p;
        }
      }
    }
  }
  return fields;
}

const char* kPythonCsv = R"(
import csv, io, sys, time
text = open(sys.argv[1], encoding='utf-8', newline='').read()
for i in range(RUNS + 1):
    start = time.perf_counter()
    rows = list(csv.reader(io.StringIO(text)))
    del rows
    if i:
        print(time.perf_counter() - start, flush=True)
memory(lambda: list(csv.reader(io.StringIO(text))))
)";

}  // namespace

int main(int argc, char** argv) {
  using tessaro::Value;
  const bool withPython = !(argc > 1 && std::string(argv[1]) == "--no-python");
  std::string utf8 = generateCsv();
  std::string path = "/tmp/tessaro_csv_bench_" + std::to_string(getpid()) + ".csv";
  if (FILE* f = std::fopen(path.c_str(), "wb")) {
    std::fwrite(utf8.data(), 1, utf8.size(), f);
    std::fclose(f);
  }
  Value text = Value::fromValidUtf8(utf8);
  Value separator = Value::string(u",");
  utf8 = std::string();

  std::size_t rows = 0, fields = 0;
  {
    Value table = tessaro::KRVForder::arrayFromCSV_commaIs_(text, separator);
    rows = table.asList().size();
    for (const Value& row : table.asList()) fields += row.asList().size();
  }
  std::printf("CSV text: %.1f MB of UTF-8, %zu UTF-16 units, %zu rows, %zu fields\n", double(kBytes) / (1 << 20),
              text.asString().size(), rows, fields);
  if (countFields(text.asString()) != fields) std::printf("warning: the floor counts a different number of fields\n");

  volatile std::size_t sink = 0;
  bench::Pair pair = bench::measurePair(
      kRuns,
      [&] {
        Value table = tessaro::KRVForder::arrayFromCSV_commaIs_(text, separator);
        table = Value();
      },
      [&] { sink = sink + countFields(text.asString()); });
  const bench::Figures& ours = pair.a;
  std::string script = std::string(bench::kPythonMemory) + kPythonCsv;
  script.replace(script.find("RUNS"), 4, std::to_string(kPythonRuns));
  bench::PythonFigures python = withPython ? bench::runPython(script, path) : bench::PythonFigures();
  bench::Memory memory = bench::memoryOf([&] { return tessaro::KRVForder::arrayFromCSV_commaIs_(text, separator); });
  std::remove(path.c_str());

  bench::report("arrayFromCSV:commaIs: (table made and freed)", ours);
  bench::report("floor: field boundaries only", pair.b);
  if (python.ran) bench::report("Python csv.reader, list of rows (made and freed)", python.time);
  bench::ratio("arrayFromCSV:commaIs: / floor, run by run", pair.ratio);
  bench::report("arrayFromCSV:commaIs:, processor time", pair.aCpu);
  bench::report("floor, processor time", pair.bCpu);
  bench::ratio("arrayFromCSV:commaIs: / floor, processor time", pair.ratioCpu);
  if (python.ran) bench::ratio("Python csv.reader / arrayFromCSV:commaIs:", python.time, ours);
  std::printf("%-52s %9.0f MiB at the peak, %.0f MiB held\n", "table memory, arrayFromCSV:commaIs:", memory.peakMiB,
              memory.keptMiB);
  if (python.ran)
    std::printf("%-52s %9.0f MiB at the peak, %.0f MiB held\n", "table memory, Python csv.reader",
                python.memory.peakMiB, python.memory.keptMiB);
  return 0;
}
