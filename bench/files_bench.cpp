// Folder listings against find and fd on a generated tree of 200,000 items:
// itemsIn:recursive:asPaths: (recursive, as paths) against `find DIR` and
// `fdfind -u DIR`, and resourceValuesForKeys:forFilesIn:recursive: with size
// and modification date against `find DIR -printf '%p %s %T@\n'`. The peers
// write to /dev/null; each pair of contenders runs in turn, and the ratio of
// each pair of runs (wall clock) is summed up by its median and extremes.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_support.hpp"
#include "tessaro/krv_forder.hpp"


#include "processes.hpp"

using tessaro::bench::available;
using tessaro::bench::runQuietly;

namespace {

// 40 top folders × 50 subfolders × 99 files, plus the folders: 200,040 items.
std::size_t makeTree(const std::string& root) {
  std::size_t items = 0;
  for (int a = 0; a < 40; ++a) {
    const std::string top = root + "/dir" + std::to_string(a);
    ::mkdir(top.c_str(), 0755);
    ++items;
    for (int b = 0; b < 50; ++b) {
      const std::string sub = top + "/sub" + std::to_string(b);
      ::mkdir(sub.c_str(), 0755);
      ++items;
      for (int c = 0; c < 99; ++c) {
        const std::string file = sub + "/file" + std::to_string(c) + ".txt";
        int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
          if (c % 7 == 0) (void)!::write(fd, "some bytes\n", 11);
          ::close(fd);
        }
        ++items;
      }
    }
  }
  return items;
}

}  // namespace

int main(int argc, char** argv) {
  const int runs = argc > 1 ? std::atoi(argv[1]) : 5;
  char pattern[] = "/tmp/tessaro-files-bench-XXXXXX";
  if (::mkdtemp(pattern) == nullptr) return 1;
  const std::string root = pattern;
  const std::size_t items = makeTree(root);
  std::printf("tree: %zu items under %s\n", items, root.c_str());

  using tessaro::KRVForder;
  using tessaro::Value;
  const Value folder = Value::fromUtf8(root);
  std::size_t listed = 0;
  auto listing = [&] {
    Value list = KRVForder::itemsIn_recursive_asPaths_(folder, Value::boolean(true), Value::boolean(true));
    listed = list.asList().size();
  };
  const Value keys = Value::list({Value::fromUtf8("NSURLFileSizeKey"), Value::fromUtf8("NSURLContentModificationDateKey")});
  auto records = [&] {
    Value list = KRVForder::resourceValuesForKeys_forFilesIn_recursive_(keys, folder, Value::boolean(true));
    listed = list.asList().size();
  };

  bench::Pair find = bench::measurePair(runs, listing, [&] { runQuietly({"find", root}); });
  std::printf("itemsIn:recursive:asPaths: listed %zu items\n", listed);
  bench::report("itemsIn:recursive:asPaths:", find.a);
  bench::report("find DIR", find.b);
  bench::ratio("itemsIn:recursive:asPaths: / find, run by run", find.ratio);
  if (available("fdfind")) {
    bench::Pair fd = bench::measurePair(runs, listing, [&] { runQuietly({"fdfind", "-u", ".", root}); });
    bench::report("fdfind -u", fd.b);
    bench::ratio("itemsIn:recursive:asPaths: / fdfind -u, run by run", fd.ratio);
  } else {
    std::printf("fdfind not installed (scripts/bench.sh installs fd-find): skipped\n");
  }

  bench::Pair printf = bench::measurePair(runs, records, [&] { runQuietly({"find", root, "-printf", "%p %s %T@\\n"}); });
  std::printf("resourceValuesForKeys:forFilesIn:recursive: gave %zu records\n", listed);
  bench::report("resourceValuesForKeys:forFilesIn:recursive:", printf.a);
  bench::report("find DIR -printf '%p %s %T@\\n'", printf.b);
  bench::ratio("resourceValuesForKeys:… / find -printf, run by run", printf.ratio);

  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
  return 0;
}
