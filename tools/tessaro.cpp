// The `tessaro` command: calls one command of the library from the shell, or
// serves calls line by line. A thin client of the registry.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "tessaro/environment.hpp"
#include "tessaro/notation.hpp"
#include "tessaro/registry.hpp"
#include "tessaro/server.hpp"

namespace {

constexpr int kUsage = 64;
constexpr int kOutputError = 74;  // the answer could not be written

int usage(const std::string& what) {
  std::cerr << "tessaro: " << what << "\n"
            << "usage: tessaro call [--no-error-out] [--plain] SELECTOR [ARG ...]\n"
            << "       tessaro list\n"
            << "       tessaro serve\n";
  return kUsage;
}

// "@PATH" reads a file's text ("@-" standard input) as a string. Anything
// that cannot be read as a file (a folder, a closed standard input) is a
// usage problem, as a missing file is.
bool readFileArgument(const std::string& path, tessaro::Value& text, std::string& problem) {
  int fd = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::string shown = path == "-" ? "standard input" : path;
  auto fail = [&](int error) {
    problem = "cannot read " + shown + ": " + std::strerror(error);
    if (fd >= 0 && fd != STDIN_FILENO) ::close(fd);
    return false;
  };
  if (fd < 0) return fail(errno);
  struct stat info {};
  if (::fstat(fd, &info) != 0) return fail(errno);
  if (S_ISDIR(info.st_mode)) return fail(EISDIR);
  std::string bytes;
  if (S_ISREG(info.st_mode)) bytes.reserve(std::size_t(info.st_size));
  char chunk[1 << 16];
  for (;;) {
    ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return fail(errno);
    if (n == 0) break;
    bytes.append(chunk, std::size_t(n));
  }
  if (fd != STDIN_FILENO) ::close(fd);
  std::string_view content = bytes;
  if (content.rfind("\xEF\xBB\xBF", 0) == 0) content.remove_prefix(3);
  text = tessaro::Value::fromValidUtf8(content);
  if (text.isNothing()) problem = shown + " is not valid UTF-8 text";
  return !text.isNothing();
}

bool writeOut(std::string_view text) { return tessaro::writeAll(STDOUT_FILENO, text); }

// An answer that could not be written must not pass for a success.
int outputFailed() {
  std::cerr << "tessaro: cannot write the answer: " << std::strerror(errno) << "\n";
  return kOutputError;
}

// --plain: strings print as their text, everything else in the notation.
bool printPlain(const tessaro::Outcome& outcome) {
  std::string text;
  if (outcome.result.isString())
    text = outcome.result.toUtf8();
  else if (!outcome.result.isNothing())
    text = tessaro::printNotation(outcome.result);
  // The newline goes out on its own: appending it could copy a large text.
  if (!outcome.result.isNothing() && !(writeOut(text) && writeOut("\n"))) return false;
  if (outcome.error) std::cerr << "error " << outcome.error->code << ": " << outcome.error->message << "\n";
  if (outcome.failure)
    std::cerr << "failure (" << tessaro::failureKindName(outcome.failure->kind()) << "): " << outcome.failure->what()
              << "\n";
  return true;
}

int call(std::vector<std::string> words) {
  // Options may stand anywhere: no JSON argument starts with "--".
  bool errorOut = true, plain = false;
  for (auto it = words.begin(); it != words.end();) {
    if (it->rfind("--", 0) != 0) {
      ++it;
      continue;
    }
    if (*it == "--no-error-out")
      errorOut = false;
    else if (*it == "--plain")
      plain = true;
    else
      return usage("unknown option " + *it);
    it = words.erase(it);
  }
  std::size_t i = 0;
  if (words.empty()) return usage("call needs a selector");
  const std::string& selector = words[i++];
  const tessaro::Command* command = tessaro::registry().find(selector);
  if (!command) return usage("unknown selector " + selector);
  std::vector<tessaro::Value> args;
  for (; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.size() > 1 && word[0] == '@') {
      tessaro::Value text;
      std::string problem;
      if (!readFileArgument(word.substr(1), text, problem)) return usage(problem);
      args.push_back(std::move(text));
      continue;
    }
    try {
      args.push_back(tessaro::readNotation(word, tessaro::ReadOptions{.allowNothing = true}));
    } catch (const tessaro::NotationError& e) {
      return usage("argument " + std::to_string(args.size() + 1) + ": " + e.what());
    }
  }
  if (args.size() != command->argumentCount())
    return usage(selector + " takes " + std::to_string(command->argumentCount()) + " argument" +
                 (command->argumentCount() == 1 ? "" : "s") + ", not " + std::to_string(args.size()));
  tessaro::Outcome outcome = command->invoke(args, errorOut);
  args.clear();  // a large text argument is not kept while the answer is printed
  bool written;
  if (plain) {
    written = printPlain(outcome);
  } else {
    std::string envelope = tessaro::envelopeJson(outcome);
    envelope += '\n';
    written = writeOut(envelope);
  }
  if (!written) return outputFailed();
  return tessaro::exitStatus(outcome);
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  tessaro::reloadEnvironmentDefaults();
  std::vector<std::string> words(argv + 1, argv + argc);
  if (words.empty()) return usage("no command given");
  // `tessaro --no-error-out call …` reads as `tessaro call --no-error-out …`.
  auto verbAt = std::find_if(words.begin(), words.end(), [](const std::string& w) { return w.rfind("--", 0) != 0; });
  if (verbAt != words.end() && *verbAt == "call") {
    words.erase(verbAt);
    return call(std::move(words));
  }
  std::string verb = words.front();
  words.erase(words.begin());
  if (verb == "list") {
    if (!words.empty()) return usage("list takes no arguments");
    std::string text;
    for (const tessaro::Command& c : tessaro::registry().commands()) {
      text += c.selector();
      text += '\n';
    }
    return writeOut(text) ? 0 : outputFailed();
  }
  if (verb == "serve") {
    if (!words.empty()) return usage("serve takes no arguments");
    int status = tessaro::serve(STDIN_FILENO, STDOUT_FILENO);
    if (status == tessaro::kServeOutputFailed) return outputFailed();
    return status;
  }
  if (verb == "--help" || verb == "help") {
    usage("help");
    return 0;
  }
  return usage("unknown command " + verb);
}
