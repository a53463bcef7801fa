// findMatches:inString:options: with "\w+" over about 50 MB of generated
// text (ASCII and non-ASCII words, digits, punctuation, line breaks) against
// a floor, a bare ICU find loop over the same UTF-16 text that only reads
// each match's bounds, and against Python's re.findall on the same text.
// Each time includes freeing the list of matches.
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>

#include <unicode/regex.h>
#include <unicode/utext.h>

#include "bench_support.hpp"
#include "bridge/unicode.hpp"
#include "tessaro/krv_forder.hpp"

namespace {

constexpr std::size_t kBytes = std::size_t(50) << 20;
constexpr int kRuns = 7, kPythonRuns = 3;

std::string generateText() {
  std::mt19937 rng(50);
  const char* words[] = {"the", "quick", "brown", "fox", "jumps", "over", "lazy", "dog", "regular", "expression",
                         "caf\xC3\xA9", "\xC3\xBC" "ber", "na\xC3\xAFve", "\xD0\xBC\xD0\xB8\xD1\x80",
                         "\xCE\xBB\xCF\x8C\xCE\xB3\xCE\xBF\xCF\x82", "2026", "42", "snake_case", "x", "internationalization"};
  const char* gaps[] = {" ", " ", " ", ", ", ". ", " - ", "\n", " (", ") ", "; ", " \xE2\x80\x94 "};
  std::string text;
  text.reserve(kBytes + 64);
  while (text.size() < kBytes) {
    text += words[rng() % std::size(words)];
    text += gaps[rng() % std::size(gaps)];
  }
  return text;
}

// The floor: ICU's own find loop, reading each match's bounds.
std::size_t bareFindLoop(icu::RegexPattern& pattern, std::u16string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  UText ut = UTEXT_INITIALIZER;
  utext_openUChars(&ut, text.data(), std::int64_t(text.size()), &status);
  std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(status));
  matcher->reset(&ut);
  std::size_t sum = 0;
  while (matcher->find(status)) sum += std::size_t(matcher->start64(status) + matcher->end64(status));
  matcher.reset();
  utext_close(&ut);
  return sum;
}

const char* kPythonRegex = R"(
import re, sys, time
text = open(sys.argv[1], encoding='utf-8').read()
for i in range(RUNS + 1):
    start = time.perf_counter()
    found = re.findall(r'\w+', text)
    del found
    if i:
        print(time.perf_counter() - start, flush=True)
memory(lambda: re.findall(r'\w+', text))
)";

}  // namespace

int main(int argc, char** argv) {
  using tessaro::Value;
  const bool withPython = !(argc > 1 && std::string(argv[1]) == "--no-python");
  std::string utf8 = generateText();
  std::string path = "/tmp/tessaro_regex_bench_" + std::to_string(getpid()) + ".txt";
  if (FILE* f = std::fopen(path.c_str(), "wb")) {
    std::fwrite(utf8.data(), 1, utf8.size(), f);
    std::fclose(f);
  }
  Value text = Value::fromValidUtf8(utf8);
  utf8 = std::string();
  Value pattern = Value::string(u"\\w+"), options = Value::string(u"");

  std::size_t matches = tessaro::KRVForder::findMatches_inString_options_(pattern, text, options).asList().size();
  std::printf("text: %.1f MB of UTF-8, %zu UTF-16 units, %zu matches of \\w+\n", double(kBytes) / (1 << 20),
              text.asString().size(), matches);

  volatile std::size_t sink = 0;
  bench::Pair pair = bench::measurePair(
      kRuns,
      [&] {
        Value found = tessaro::KRVForder::findMatches_inString_options_(pattern, text, options);
        found = Value();
      },
      [&] {
        // The floor compiles its pattern each time too, as the command does.
        UErrorCode status = U_ZERO_ERROR;
        UParseError parseError;
        std::unique_ptr<icu::RegexPattern> fresh(
            icu::RegexPattern::compile(tessaro::icuView(u"\\w+"), 0, parseError, status));
        sink = sink + bareFindLoop(*fresh, text.asString());
      });
  const bench::Figures& ours = pair.a;
  std::string script = std::string(bench::kPythonMemory) + kPythonRegex;
  script.replace(script.find("RUNS"), 4, std::to_string(kPythonRuns));
  bench::PythonFigures python = withPython ? bench::runPython(script, path) : bench::PythonFigures();
  bench::Memory memory =
      bench::memoryOf([&] { return tessaro::KRVForder::findMatches_inString_options_(pattern, text, options); });
  std::remove(path.c_str());

  bench::report("findMatches:inString:options: \\w+ (made and freed)", ours);
  bench::report("floor: bare ICU find loop", pair.b);
  if (python.ran) bench::report("Python re.findall (made and freed)", python.time);
  bench::ratio("findMatches:inString:options: / floor, run by run", pair.ratio);
  bench::report("findMatches:inString:options:, processor time", pair.aCpu);
  bench::report("floor, processor time", pair.bCpu);
  bench::ratio("findMatches:inString:options: / floor, processor time", pair.ratioCpu);
  if (python.ran) bench::ratio("Python re.findall / findMatches:inString:options:", python.time, ours);
  std::printf("%-52s %9.0f MiB at the peak, %.0f MiB held\n", "list memory, findMatches:inString:options:",
              memory.peakMiB, memory.keptMiB);
  if (python.ran)
    std::printf("%-52s %9.0f MiB at the peak, %.0f MiB held\n", "list memory, Python re.findall",
                python.memory.peakMiB, python.memory.keptMiB);
  return 0;
}
