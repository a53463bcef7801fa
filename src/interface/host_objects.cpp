// Host objects: content equality of paths, colours and locales, and the
// script target, whose handlers run as an external command that answers in
// the value notation on its standard output.
#include "tessaro/host_objects.hpp"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tessaro/errors.hpp"
#include "tessaro/notation.hpp"

extern char** environ;

namespace tessaro {

bool BezierPath::equals(const HostObject& other) const {
  const auto* path = dynamic_cast<const BezierPath*>(&other);
  return path && path->elements == elements && path->dash == dash && path->phase == phase;
}

bool Color::equals(const HostObject& other) const {
  const auto* color = dynamic_cast<const Color*>(&other);
  return color && color->space == space && color->components == components;
}

bool LocaleObject::equals(const HostObject& other) const {
  const auto* locale = dynamic_cast<const LocaleObject*>(&other);
  return locale && locale->identifier == identifier;
}

namespace {

// Closes a descriptor when the call leaves, however it leaves.
struct FileDescriptor {
  int fd = -1;
  ~FileDescriptor() { reset(); }
  void reset() {
    if (fd >= 0) ::close(fd);
    fd = -1;
  }
};

struct SpawnActions {
  posix_spawn_file_actions_t actions;
  SpawnActions() { posix_spawn_file_actions_init(&actions); }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions); }
};

[[noreturn]] void scriptFailed(const std::string& program, const std::string& why) {
  throwFailure(FailureKind::invalidArgument, "the script command " + program + " " + why);
}

}  // namespace

Value ScriptTarget::call(std::string_view handler, std::span<const Value> args) const {
  if (!hasHandlers())
    throwFailure(FailureKind::unrecognizedSelector, "the script has no handler " + std::string(handler));
  if (handler.find('\0') != std::string_view::npos)
    throwFailure(FailureKind::invalidArgument, "a handler name cannot hold a NUL character");

  std::vector<std::string> words = command;
  words.emplace_back(handler);
  for (const Value& arg : args) words.push_back(printNotation(arg));
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) scriptFailed(command[0], std::string("could not start: ") + std::strerror(errno));
  FileDescriptor readEnd{ends[0]}, writeEnd{ends[1]};

  // The handler reads nothing and writes its answer to the pipe; its
  // standard error stays the caller's.
  SpawnActions spawn;
  posix_spawn_file_actions_addopen(&spawn.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&spawn.actions, writeEnd.fd, STDOUT_FILENO);
  pid_t pid;
  int status = posix_spawnp(&pid, argv[0], &spawn.actions, nullptr, argv.data(), environ);
  if (status != 0) scriptFailed(command[0], std::string("could not start: ") + std::strerror(status));
  writeEnd.reset();

  std::string output;
  char buffer[65536];
  for (;;) {
    ssize_t n = ::read(readEnd.fd, buffer, sizeof buffer);
    if (n > 0) output.append(buffer, std::size_t(n));
    else if (n == 0 || errno != EINTR) break;
  }
  readEnd.reset();

  int waitStatus = 0;
  while (::waitpid(pid, &waitStatus, 0) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(waitStatus))
    scriptFailed(command[0], "was killed by signal " + std::to_string(WTERMSIG(waitStatus)));
  if (!WIFEXITED(waitStatus) || WEXITSTATUS(waitStatus) != 0)
    scriptFailed(command[0], "failed with exit status " + std::to_string(WEXITSTATUS(waitStatus)));
  try {
    // A handler may answer no value at all.
    return readNotation(output, ReadOptions{.allowNothing = true});
  } catch (const NotationError& e) {
    scriptFailed(command[0], std::string("answered something unreadable: ") + e.what());
  }
}

}  // namespace tessaro
