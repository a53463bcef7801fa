// Cutting 50 MB of mixed text (UTF-16, as the commands read it) into words
// and composed characters, against the floor: a bare ICU break-iterator
// loop over the same buffer that only counts (words by their rule status).
// The commands are measured as a user pays for them: the word list is made
// and freed in every iteration. Each benchmark is repeated, the repetitions
// of all of them interleaved at random so that a busy machine slows each
// alike; the ratios printed at the end are of the medians, with the lowest
// and highest ratio of the paired repetitions, in CPU time of the thread
// (page faults and freeing included) and in wall-clock time.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/utext.h>

#include "tessaro/krv_forder.hpp"
#include "sequence.hpp"

using tessaro::bench::Sequence;

namespace {

constexpr std::size_t kTextBytes = 50u << 20;

// Prose in several scripts: English words and numbers, accented words with
// precomposed and combining accents, Thai and Japanese runs without spaces,
// emoji sequences, punctuation, line and paragraph breaks.
const tessaro::Value& text() {
  static const tessaro::Value value = [] {
    static const char16_t* const words[] = {
        u"the", u"quick", u"brown", u"fox", u"jumps", u"over", u"lazy", u"dog", u"and", u"it's", u"3.14", u"2016",
        u"caf\u00e9", u"cafe\u0301", u"na\u00efve", u"Z\u00fcrich", u"\u0395\u03bb\u03bb\u03ac\u03b4\u03b1",
        u"\u041c\u043e\u0441\u043a\u0432\u0430", u"\u0e20\u0e32\u0e29\u0e32\u0e44\u0e17\u0e22\u0e07\u0e48\u0e32\u0e22",
        u"\u65e5\u672c\u8a9e\u306e\u6587\u7ae0\u3067\u3059", u"\U0001F468\u200D\U0001F469\u200D\U0001F467",
        u"\U0001F1EB\U0001F1F7", u"\U0001F44D\U0001F3FD", u"information", u"segmentation", u"x",
    };
    static const char16_t* const gaps[] = {u" ", u" ", u" ", u" ", u", ", u". ", u"! ", u"\n", u"\r\n", u" \u2014 ",
                                           u"\u2029"};
    constexpr std::size_t wordCount = sizeof words / sizeof words[0], gapCount = sizeof gaps / sizeof gaps[0];
    std::u16string out;
    out.reserve(kTextBytes / 2 + 64);
    Sequence random;
    while (out.size() * 2 < kTextBytes) {
      out += words[random.next() % wordCount];
      out += gaps[random.next() % gapCount];
    }
    return tessaro::Value::string(out);
  }();
  return value;
}

// The floor: ICU alone, counting.
std::int64_t icuCount(icu::BreakIterator* (*make)(const icu::Locale&, UErrorCode&), bool wordsOnly) {
  std::u16string_view t = text().asString();
  UErrorCode status = U_ZERO_ERROR;
  UText ut = UTEXT_INITIALIZER;
  utext_openUChars(&ut, t.data(), std::int64_t(t.size()), &status);
  std::unique_ptr<icu::BreakIterator> it(make(icu::Locale::getRoot(), status));
  it->setText(&ut, status);
  std::int64_t count = 0;
  it->first();
  for (std::int32_t end = it->next(); end != icu::BreakIterator::DONE; end = it->next())
    if (!wordsOnly || it->getRuleStatus() >= UBRK_WORD_NONE_LIMIT) ++count;
  it.reset();
  utext_close(&ut);
  return count;
}

void icuWordLoop(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(icuCount(&icu::BreakIterator::createWordInstance, true));
}
void icuCharacterLoop(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(icuCount(&icu::BreakIterator::createCharacterInstance, false));
}

void wordCountOfString(benchmark::State& state) {
  std::int64_t floor = icuCount(&icu::BreakIterator::createWordInstance, true);
  for (auto _ : state) {
    tessaro::Value count = tessaro::KRVForder::wordCountOfString_(text());
    if (count.asInteger() != floor) state.SkipWithError("the count differs from ICU's");
    benchmark::DoNotOptimize(count);
  }
}
void characterCountOfString(benchmark::State& state) {
  std::int64_t floor = icuCount(&icu::BreakIterator::createCharacterInstance, false);
  for (auto _ : state) {
    tessaro::Value count = tessaro::KRVForder::characterCountOfString_(text());
    if (count.asInteger() != floor) state.SkipWithError("the count differs from ICU's");
    benchmark::DoNotOptimize(count);
  }
}
// The list is made and freed inside the timed loop.
void wordsOfString(benchmark::State& state) {
  std::size_t floor = std::size_t(icuCount(&icu::BreakIterator::createWordInstance, true));
  for (auto _ : state) {
    tessaro::Value words = tessaro::KRVForder::wordsOfString_(text());
    if (words.asList().size() != floor) state.SkipWithError("the list differs from ICU's count");
    benchmark::DoNotOptimize(words);
  }
}

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Iteration && !run.error_occurred)
      {
        cpu[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
        real[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
      }
    ConsoleReporter::ReportRuns(runs);
  }
  void printRatio(const std::string& what, const std::string& a, const std::string& b) {
    for (auto* times : {&cpu, &real}) {
      if (!times->count(a) || !times->count(b)) return;
      std::vector<double>&x = (*times)[a], &y = (*times)[b];
      std::vector<double> ratios;
      for (std::size_t i = 0; i < std::min(x.size(), y.size()); ++i) ratios.push_back(x[i] / y[i]);
      std::sort(ratios.begin(), ratios.end());
      std::printf("%-46s %-4s %.2fx (repetitions %.2fx to %.2fx)\n", what.c_str(), times == &cpu ? "cpu" : "real",
                  median(x) / median(y), ratios.front(), ratios.back());
    }
  }

 private:
  static double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
  }
  std::map<std::string, std::vector<double>> cpu, real;
};

}  // namespace

// One iteration is a whole 50 MB pass; repetitions give the spread.
#define SEGMENTATION_BENCH(f) \
  BENCHMARK(f)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(9)
SEGMENTATION_BENCH(icuWordLoop);
SEGMENTATION_BENCH(wordCountOfString);
SEGMENTATION_BENCH(wordsOfString);
SEGMENTATION_BENCH(icuCharacterLoop);
SEGMENTATION_BENCH(characterCountOfString);

int main(int argc, char** argv) {
  // Interleaved unless the command line says otherwise (later flags win).
  std::vector<char*> args(argv, argv + argc);
  static char interleave[] = "--benchmark_enable_random_interleaving=true";
  args.insert(args.begin() + 1, interleave);
  argc = int(args.size());
  argv = args.data();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  std::printf("text: %.1f MB of UTF-16\n", double(text().asString().size() * 2) / (1 << 20));
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printRatio("wordCountOfString: / ICU word loop", "wordCountOfString", "icuWordLoop");
  reporter.printRatio("wordsOfString: / ICU word loop", "wordsOfString", "icuWordLoop");
  reporter.printRatio("characterCountOfString: / ICU character loop", "characterCountOfString", "icuCharacterLoop");
  benchmark::Shutdown();
  return 0;
}
