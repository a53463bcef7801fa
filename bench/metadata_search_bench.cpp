// The metadata search against find on a generated tree of 200,000 items: a
// name query (kMDItemFSName LIKE "*.txt") against `find DIR -name '*.txt'`,
// and a name-and-size query against `find DIR -name '*.txt' -size +10k`.
// Each pair of contenders runs in turn; the ratio of each pair of runs (wall
// clock) is summed up by its median and extremes.
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

using tessaro::bench::runQuietly;

namespace {

// 40 top folders × 50 subfolders × 99 files, plus the folders: 200,040
// items; one file in 99 holds 12 KB, the others a few bytes or none.
std::size_t makeTree(const std::string& root) {
  const std::string big(12 * 1024, 'x');
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
        const std::string file = sub + "/file" + std::to_string(c) + (c % 3 == 0 ? ".log" : ".txt");
        int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
          if (c == 1) (void)!::write(fd, big.data(), big.size());
          else if (c % 7 == 0) (void)!::write(fd, "some bytes\n", 11);
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
  char pattern[] = "/tmp/tessaro-metadata-bench-XXXXXX";
  if (::mkdtemp(pattern) == nullptr) return 1;
  const std::string root = pattern;
  const std::size_t items = makeTree(root);
  std::printf("tree: %zu items under %s\n", items, root.c_str());

  using tessaro::KRVForder;
  using tessaro::Value;
  const Value folders = Value::list({Value::fromUtf8(root)});
  std::size_t found = 0;
  auto search = [&](const char* query) {
    return [&, query] {
      Value list = KRVForder::runSpotlightQuery_inFolders_error_(Value::fromUtf8(query), folders, nullptr);
      found = list.isList() ? list.asList().size() : 0;
    };
  };

  bench::Pair names = bench::measurePair(runs, search("kMDItemFSName LIKE \"*.txt\""),
                                         [&] { runQuietly({"find", root, "-name", "*.txt"}); });
  std::printf("name query found %zu items\n", found);
  bench::report("kMDItemFSName LIKE \"*.txt\"", names.a);
  bench::report("find DIR -name '*.txt'", names.b);
  bench::ratio("name query / find -name, run by run", names.ratio);

  bench::Pair sized = bench::measurePair(runs, search("kMDItemFSName LIKE \"*.txt\" AND kMDItemFSSize > 10240"),
                                         [&] { runQuietly({"find", root, "-name", "*.txt", "-size", "+10k"}); });
  std::printf("name-and-size query found %zu items\n", found);
  bench::report("… AND kMDItemFSSize > 10240", sized.a);
  bench::report("find DIR -name '*.txt' -size +10k", sized.b);
  bench::ratio("name-and-size query / find -name -size, run by run", sized.ratio);

  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
  return 0;
}
