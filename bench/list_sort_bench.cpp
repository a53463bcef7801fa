// Sorting large tables and lists of strings, against peers.
//
// 1. A table of 1,000,000 rows of three columns (an integer from 0 to 9999,
//    a word, the row's id) sorted by the integer and then the word, both by
//    "compare:", against Python's sorted(rows, key=...) and pandas'
//    sort_values on the same rows (bench/list_sort_peers.py, run as
//    subprocesses; only their sort and the freeing of its result is timed).
// 2. 1,000,000 strings sorted by "localizedStandardCompare:" (a table of one
//    column), against the fastest direct ICU sorts of the same strings: sort
//    keys with std::stable_sort (the floor), and ucol_strcoll in the
//    comparator.
//
// Every time is the whole cost a caller pays, freeing the result included.
// Each contender runs several times, the contenders by turns so that the
// machine's load falls on them alike; the median and the spread (fastest
// and slowest) are printed, then the ratios of the medians. The floor's
// collator is set up as the command's is (numeric, tertiary strength); it
// does not add the command's final ordering of strings the collator finds
// equal.
//
//   list_sort_bench [--repetitions=N] [--python=PATH]   (default /usr/bin/python3)
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include <unicode/locid.h>
#include <unicode/ucol.h>

#include "tessaro/environment.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/notation.hpp"
#include "sequence.hpp"

using tessaro::Value;
using tessaro::bench::Sequence;

namespace {

constexpr std::size_t kRows = 1'000'000;

struct Timing {
  std::vector<double> seconds;
  double median() const {
    std::vector<double> s = seconds;
    std::sort(s.begin(), s.end());
    return s.size() % 2 ? s[s.size() / 2] : (s[s.size() / 2 - 1] + s[s.size() / 2]) / 2;
  }
  double fastest() const { return *std::min_element(seconds.begin(), seconds.end()); }
  double slowest() const { return *std::max_element(seconds.begin(), seconds.end()); }
};

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Timing measure(int repetitions, const std::function<void()>& run) {
  run();  // once untimed: pages touched, ICU data loaded
  Timing t;
  for (int i = 0; i < repetitions; ++i) {
    double start = now();
    run();
    t.seconds.push_back(now() - start);
  }
  return t;
}

// Runs the contenders by turns, so that a change in the machine's load
// falls on all of them alike.
std::vector<Timing> measureByTurns(int repetitions, const std::vector<std::function<void()>>& runs) {
  for (const auto& run : runs) run();  // once untimed each
  std::vector<Timing> timings(runs.size());
  for (int i = 0; i < repetitions; ++i)
    for (std::size_t r = 0; r < runs.size(); ++r) {
      double start = now();
      runs[r]();
      timings[r].seconds.push_back(now() - start);
    }
  return timings;
}

void report(const char* what, const Timing& t) {
  std::printf("  %-44s median %8.1f ms   spread %8.1f .. %8.1f ms   (%zu runs)\n", what, t.median() * 1e3,
              t.fastest() * 1e3, t.slowest() * 1e3, t.seconds.size());
}

void ratio(const char* what, const Timing& a, const Timing& b) {
  std::printf("  %-44s %.2fx   (fastest/fastest %.2fx, slowest/slowest %.2fx)\n", what, a.median() / b.median(),
              a.fastest() / b.fastest(), a.slowest() / b.slowest());
}

// Words of one to seven syllables, now and then capitalised, accented or
// with a number in them: names, titles and file names as tables hold them.
std::u16string word(Sequence& random) {
  static const char16_t* const syllables[] = {u"ka", u"lo", u"mi", u"ne", u"ru", u"sa", u"to", u"vi", u"zé",
                                              u"ch", u"an", u"el", u"or", u"us", u"be", u"da", u"fi", u"gö"};
  std::u16string w;
  const std::uint64_t n = 1 + random.next() % 7;
  for (std::uint64_t i = 0; i < n; ++i) w += syllables[random.next() % 18];
  const std::uint64_t form = random.next() % 8;
  if (form == 0) w[0] = char16_t(w[0] - 32);  // capitalised
  if (form == 1) {
    w += u' ';
    w += char16_t(u'0' + random.next() % 10);
    w += char16_t(u'0' + random.next() % 10);
  }
  if (form == 2) w = u"file " + std::u16string(1, char16_t(u'1' + random.next() % 9)) + w;
  return w;
}

std::string utf8(std::u16string_view s) {
  std::string out;
  for (char16_t c : s) {
    if (c < 0x80) {
      out += char(c);
    } else if (c < 0x800) {
      out += char(0xC0 | (c >> 6));
      out += char(0x80 | (c & 0x3F));
    } else {
      out += char(0xE0 | (c >> 12));
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::uint64_t checksum(const std::vector<std::int64_t>& ids) {
  const std::uint64_t mask = (std::uint64_t(1) << 61) - 1;
  std::uint64_t total = 0;
  for (std::size_t i = 0; i < ids.size(); ++i)
    total = (total + (std::uint64_t(i) + 1) * (std::uint64_t(ids[i]) + 1)) & mask;
  return total;
}

struct PeerResult {
  Timing timing;
  std::uint64_t order = 0;
  bool ok = false;
};

// Runs a Python peer and reads its "time" and "order" lines.
PeerResult runPeer(const std::string& python, const char* peer, const std::string& table, int repetitions) {
  PeerResult result;
  std::string command = python + " " TESSARO_BENCH_DIR "/list_sort_peers.py " + peer + " '" + table + "' " +
                        std::to_string(repetitions);
  std::unique_ptr<FILE, int (*)(FILE*)> out(popen(command.c_str(), "r"), pclose);
  if (!out) return result;
  char line[256];
  while (std::fgets(line, sizeof line, out.get())) {
    double seconds;
    unsigned long long order;
    if (std::sscanf(line, "time %lf", &seconds) == 1) result.timing.seconds.push_back(seconds);
    if (std::sscanf(line, "order %llu", &order) == 1) result.order = order;
  }
  result.ok = pclose(out.release()) == 0 && !result.timing.seconds.empty();
  return result;
}

// The floor: one ICU sort key per string, written one after another into
// one buffer (grown without clearing), then a stable sort of (first eight
// key bytes, position, where the key starts) entries that compares whole
// keys only when those bytes are equal (ICU keys end with their only zero
// byte).
std::vector<std::uint32_t> sortKeySort(const UCollator* collator, const std::vector<std::u16string_view>& strings) {
  std::size_t room = strings.size() * 32, used = 0;
  std::unique_ptr<std::uint8_t[]> bytes(new std::uint8_t[room]);
  struct Entry {
    std::uint64_t prefix;
    std::uint32_t position;
    std::uint32_t at;
  };
  std::vector<Entry> entries(strings.size());
  for (std::size_t i = 0; i < strings.size(); ++i) {
    const std::size_t most = strings[i].size() * 4 + 16;
    for (std::size_t need = most;;) {
      if (used + need > room) {
        std::size_t grown = std::max(room * 2, used + need);
        std::unique_ptr<std::uint8_t[]> larger(new std::uint8_t[grown]);
        std::memcpy(larger.get(), bytes.get(), used);
        bytes = std::move(larger);
        room = grown;
      }
      int32_t n = ucol_getSortKey(collator, strings[i].data(), int32_t(strings[i].size()), bytes.get() + used,
                                  int32_t(need));
      if (std::size_t(n) <= need) {
        std::uint64_t prefix = 0;
        for (int k = 0; k < 8; ++k) prefix = prefix << 8 | (k < n ? bytes[used + std::size_t(k)] : 0);
        entries[i] = {prefix, std::uint32_t(i), std::uint32_t(used)};
        used += std::size_t(n);
        break;
      }
      need = std::size_t(n);
    }
  }
  const std::uint8_t* base = bytes.get();
  std::stable_sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
    if (a.prefix != b.prefix) return a.prefix < b.prefix;
    return std::strcmp(reinterpret_cast<const char*>(base + a.at), reinterpret_cast<const char*>(base + b.at)) < 0;
  });
  std::vector<std::uint32_t> order(strings.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = entries[i].position;
  return order;
}

std::vector<std::uint32_t> strcollSort(const UCollator* collator, const std::vector<std::u16string_view>& strings) {
  std::vector<std::uint32_t> order(strings.size());
  for (std::uint32_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    return ucol_strcoll(collator, strings[a].data(), int32_t(strings[a].size()), strings[b].data(),
                        int32_t(strings[b].size())) == UCOL_LESS;
  });
  return order;
}

}  // namespace

int main(int argc, char** argv) {
  int repetitions = 7;
  // Debian's interpreter, the one its python3-pandas is installed for.
  std::string python = std::filesystem::exists("/usr/bin/python3") ? "/usr/bin/python3" : "python3";
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--repetitions=", 14) == 0) repetitions = std::max(1, std::atoi(argv[i] + 14));
    if (std::strncmp(argv[i], "--python=", 9) == 0) python = argv[i] + 9;
  }
  // Collation follows the environment's locale; without one (or with the
  // C locale, whose collation is code point order), English.
  const char* lang = std::getenv("LC_ALL") && *std::getenv("LC_ALL") ? std::getenv("LC_ALL") : std::getenv("LANG");
  if (!lang || !*lang || lang[0] == 'C' || std::strncmp(lang, "POSIX", 5) == 0) {
    unsetenv("LC_ALL");
    setenv("LANG", "en_US.UTF-8", 1);
  }
  tessaro::reloadEnvironmentDefaults();
  std::printf("locale %s, %d runs each\n", icu::Locale::getDefault().getName(), repetitions);

  // --- The table --------------------------------------------------------------
  Sequence random{0x9E3779B97F4A7C15ULL};
  std::vector<Value> rows;
  rows.reserve(kRows);
  const auto dir = std::filesystem::temp_directory_path() / ("tessaro-list-bench-" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  const std::string tsv = (dir / "table.tsv").string();
  {
    std::ofstream out(tsv);
    for (std::size_t i = 0; i < kRows; ++i) {
      const std::int64_t n = std::int64_t(random.next() % 10000);
      std::u16string w = word(random);
      out << n << '\t' << utf8(w) << '\t' << i << '\n';
      rows.push_back(Value::list({Value::integer(n), Value::string(w), Value::integer(std::int64_t(i))}));
    }
  }
  const Value table = Value::list(std::move(rows));
  const Value byNumberThenWord = tessaro::readNotation("[0, 1]");
  const Value ascending = tessaro::readNotation("[true]");
  const Value naturalOrder = tessaro::readNotation(R"(["compare:"])");

  std::printf("\n== 1,000,000 rows by an integer column, then a string column (\"compare:\")\n");
  std::uint64_t ours = 0;
  auto sortTable = [&] {
    Value sorted = tessaro::KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_error_(
        table, byNumberThenWord, ascending, naturalOrder, nullptr);
    if (!ours) {
      std::vector<std::int64_t> ids;
      for (const Value& row : sorted.asList()) ids.push_back(row.asList()[2].asInteger());
      ours = checksum(ids);
    }
  };
  // By turns, one run of each at a time: each Python run is a process of
  // its own that reads the table first and then times one sort.
  sortTable();
  Timing tessaroTable;
  PeerResult sortedPeer{{}, 0, true}, pandasPeer{{}, 0, true};
  for (int i = 0; i < repetitions; ++i) {
    double start = now();
    sortTable();
    tessaroTable.seconds.push_back(now() - start);
    for (auto [peer, name] : {std::pair{&sortedPeer, "sorted"}, std::pair{&pandasPeer, "pandas"}}) {
      if (!peer->ok) continue;
      PeerResult one = runPeer(python, name, tsv, 1);
      peer->ok = one.ok;
      peer->order = one.order;
      if (one.ok) peer->timing.seconds.push_back(one.timing.seconds[0]);
    }
  }
  report("tessaro subarraysIn:sortedByIndexes:...", tessaroTable);
  if (sortedPeer.ok) report("python sorted(rows, key=...)", sortedPeer.timing);
  if (pandasPeer.ok) report("pandas sort_values", pandasPeer.timing);
  for (const PeerResult* peer : {&sortedPeer, &pandasPeer})
    if (peer->ok && peer->order != ours) std::printf("  !! a peer sorted the rows into another order\n");
  if (sortedPeer.ok) ratio("python sorted / tessaro", sortedPeer.timing, tessaroTable);
  if (pandasPeer.ok) ratio("pandas sort_values / tessaro", pandasPeer.timing, tessaroTable);
  if (!sortedPeer.ok || !pandasPeer.ok) std::printf("  (a Python peer did not run: is python3-pandas installed?)\n");
  std::filesystem::remove_all(dir);

  // --- The strings ---------------------------------------------------------------
  std::vector<Value> wordRows;
  std::vector<std::u16string_view> words;
  wordRows.reserve(kRows);
  for (const Value& row : table.asList()) wordRows.push_back(Value::list({row.asList()[1]}));
  const Value wordTable = Value::list(std::move(wordRows));
  for (const Value& row : wordTable.asList()) words.push_back(row.asList()[0].asString());
  const Value standard = tessaro::readNotation(R"(["localizedStandardCompare:"])");
  const Value firstColumn = tessaro::readNotation("[0]");

  std::printf("\n== 1,000,000 strings by \"localizedStandardCompare:\"\n");
  UErrorCode status = U_ZERO_ERROR;
  UCollator* collator = ucol_open(icu::Locale::getDefault().getName(), &status);
  ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
  ucol_setAttribute(collator, UCOL_STRENGTH, UCOL_TERTIARY, &status);
  if (U_FAILURE(status)) {
    std::printf("no collator: %s\n", u_errorName(status));
    return 1;
  }
  std::vector<Timing> byTurns = measureByTurns(
      repetitions, {[&] {
                      Value sorted = tessaro::KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_error_(
                          wordTable, firstColumn, ascending, standard, nullptr);
                    },
                    [&] { sortKeySort(collator, words); }});
  {
    // The command's order must be one the floor's collator agrees with.
    Value sorted = tessaro::KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_error_(
        wordTable, firstColumn, ascending, standard, nullptr);
    std::span<const Value> rows = sorted.asList();
    for (std::size_t i = 1; i < rows.size(); ++i) {
      auto a = rows[i - 1].asList()[0].asString(), b = rows[i].asList()[0].asString();
      if (ucol_strcoll(collator, a.data(), int32_t(a.size()), b.data(), int32_t(b.size())) == UCOL_GREATER) {
        std::printf("  !! rows %zu and %zu are out of the collator's order\n", i - 1, i);
        break;
      }
    }
  }
  const Timing& tessaroWords = byTurns[0];
  const Timing& floor = byTurns[1];
  report("tessaro subarraysIn:sortedByIndexes:...", tessaroWords);
  report("ICU sort keys + std::stable_sort (floor)", floor);
  // Per-comparison collation is far slower on a million strings; three runs
  // show it.
  Timing strcoll = measure(std::min(repetitions, 3), [&] { strcollSort(collator, words); });
  report("ICU ucol_strcoll in std::stable_sort", strcoll);
  ucol_close(collator);
  ratio("tessaro / floor", tessaroWords, floor);
  ratio("ucol_strcoll / floor", strcoll, floor);
  return 0;
}
