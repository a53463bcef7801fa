// The `tessaro` command: calls one command of the library from the shell, or
// serves calls line by line. A thin client of the registry.
#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tessaro/environment.hpp"
#include "tessaro/notation.hpp"
#include "tessaro/registry.hpp"
#include "tessaro/server.hpp"

namespace {

constexpr int kUsage = 64;

int usage(const std::string& what) {
  std::cerr << "tessaro: " << what << "\n"
            << "usage: tessaro call [--no-error-out] [--plain] SELECTOR [ARG ...]\n"
            << "       tessaro list\n"
            << "       tessaro serve\n";
  return kUsage;
}

// "@PATH" reads a file's text ("@-" standard input) as a string.
bool readFileArgument(const std::string& path, tessaro::Value& text, std::string& problem) {
  std::ostringstream buffer;
  if (path == "-") {
    buffer << std::cin.rdbuf();
  } else {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
      problem = "cannot read " + path;
      return false;
    }
    buffer << file.rdbuf();
  }
  std::string bytes = buffer.str();
  std::string_view content = bytes;
  if (content.rfind("\xEF\xBB\xBF", 0) == 0) content.remove_prefix(3);
  text = tessaro::Value::fromValidUtf8(content);
  if (text.isNothing()) problem = path + " is not valid UTF-8 text";
  return !text.isNothing();
}

// --plain: strings print as their text, everything else in the notation.
void printPlain(const tessaro::Outcome& outcome) {
  if (outcome.result.isString())
    std::cout << outcome.result.toUtf8() << "\n";
  else if (!outcome.result.isNothing())
    std::cout << tessaro::printNotation(outcome.result) << "\n";
  if (outcome.error) std::cerr << "error " << outcome.error->code << ": " << outcome.error->message << "\n";
  if (outcome.failure)
    std::cerr << "failure (" << tessaro::failureKindName(outcome.failure->kind()) << "): " << outcome.failure->what()
              << "\n";
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
  if (plain)
    printPlain(outcome);
  else
    std::cout << tessaro::envelopeJson(outcome) << "\n";
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
    for (const tessaro::Command& c : tessaro::registry().commands()) std::cout << c.selector() << "\n";
    return 0;
  }
  if (verb == "serve") {
    if (!words.empty()) return usage("serve takes no arguments");
    return tessaro::serve(std::cin, std::cout);
  }
  if (verb == "--help" || verb == "help") {
    usage("help");
    return 0;
  }
  return usage("unknown command " + verb);
}
