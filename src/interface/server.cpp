// Envelopes and the request server.
#include "tessaro/server.hpp"

#include <unistd.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include <simdjson.h>

#include "interface/request_reader.hpp"
#include "tessaro/notation.hpp"

namespace tessaro {

namespace {

constexpr std::size_t kPadding = simdjson::SIMDJSON_PADDING;
constexpr std::size_t kLargeRequest = 1 << 20;

void appendUsage(const std::optional<std::string>& idJson, std::string_view what, std::string& out) {
  out += '{';
  if (idJson) {
    out += "\"id\": ";
    out += *idJson;
    out += ", ";
  }
  out += "\"usage\": ";
  printJsonString(what, out);
  out += '}';
}

// Reads the request of `line` (with its padding) or explains why it is not
// one: the id is then found separately, whatever came before it.
bool readOrExplain(const char* data, std::size_t length, std::size_t capacity, notation::RequestParts& parts,
                   std::string& problem) {
  try {
    notation::readRequestInPlace(data, length, capacity, parts);
    return true;
  } catch (const NotationError& e) {
    notation::RequestDiagnosis diagnosis = notation::diagnoseRequest(std::string_view(data, length));
    if (!parts.idJson) parts.idJson = std::move(diagnosis.idJson);
    problem = diagnosis.trailingText ? "trailing characters after the request" : e.what();
    return false;
  } catch (const std::exception& e) {
    // Not the request's fault (memory ran out reading it): said, and the
    // server goes on with the next line.
    problem = std::string("the request could not be read: ") + e.what();
    return false;
  }
}

// Reads the request in `data[0, length)` (followed by zeroed padding); when
// it is not a valid request, appends the usage answer to `out` instead.
bool readPadded(const char* data, std::size_t length, std::size_t capacity, notation::RequestParts& parts,
                std::string& out) {
  std::string problem;
  if (readOrExplain(data, length, capacity, parts, problem)) return true;
  appendUsage(parts.idJson, problem, out);
  return false;
}

// Runs a request that was read and appends its answer, without the newline,
// to `out`; `sizeHint` is what the answer is expected to take.
// Scripts tend to call one command many times in a row, so the last command
// found is tried before the table is searched.
struct LastCommand {
  const Command* command = nullptr;
  const Command* find(std::string_view selector) {
    if (command && command->selector() == selector) return command;
    if (const Command* found = registry().find(selector)) command = found;
    else return nullptr;
    return command;
  }
};

void answerParts(notation::RequestParts& parts, std::string& out, std::size_t sizeHint, LastCommand& last) {
  const Command* command = last.find(parts.call);
  if (!command) {
    appendUsage(parts.idJson, "unknown selector " + parts.call, out);
    return;
  }
  if (parts.args.size() != command->argumentCount()) {
    appendUsage(parts.idJson,
                parts.call + " takes " + std::to_string(command->argumentCount()) + " argument" +
                    (command->argumentCount() == 1 ? "" : "s") + ", not " + std::to_string(parts.args.size()),
                out);
    return;
  }
  std::optional<std::string_view> id;
  if (parts.idJson) id = *parts.idJson;
  Outcome outcome;
  try {
    outcome = command->invoke(parts.args, parts.errorOut);
  } catch (const std::exception& e) {
    // A fault of the library, not of the request: report it and keep serving.
    outcome = Outcome{};
    outcome.failure = HostFailure(FailureKind::invalidArgument, e.what());
  }
  // Large arguments are not kept while the answer is printed.
  if (sizeHint) std::vector<Value>().swap(parts.args);
  else parts.args.clear();
  // A large answer is written into room made once rather than by doubling.
  if (sizeHint > out.capacity() - out.size()) out.reserve(out.size() + sizeHint + sizeHint / 8);
  appendEnvelope(outcome, id, out);
}

void answerPadded(const char* data, std::size_t length, std::size_t capacity, std::string& out) {
  notation::RequestParts parts;
  LastCommand last;
  if (readPadded(data, length, capacity, parts, out)) answerParts(parts, out, 0, last);
}

}  // namespace

bool writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    ssize_t n = ::write(fd, text.data(), text.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    text.remove_prefix(std::size_t(n));
  }
  return true;
}

void appendEnvelope(const Outcome& outcome, std::optional<std::string_view> idJson, std::string& out) {
  // Each key is written with the separator before it in one piece.
  bool first = true;
  auto key = [&](std::string_view withComma) {
    out.append(first ? withComma.substr(2) : withComma);
    first = false;
  };
  out += '{';
  if (idJson) {
    key(", \"id\": ");
    out += *idJson;
  }
  if (!outcome.result.isNothing()) {
    key(", \"result\": ");
    printNotation(outcome.result, out);
  }
  if (outcome.error) {
    key(", \"error\": {\"domain\": ");
    printJsonString(outcome.error->domain, out);
    out += ", \"code\": ";
    out += std::to_string(outcome.error->code);
    out += ", \"message\": ";
    printJsonString(outcome.error->message, out);
    out += '}';
  }
  if (!outcome.outKeys.isNothing()) {
    key(", \"out\": {\"outKeys\": ");
    printNotation(outcome.outKeys, out);
    out += '}';
  }
  if (outcome.failure) {
    key(", \"failure\": {\"kind\": ");
    printJsonString(failureKindName(outcome.failure->kind()), out);
    out += ", \"message\": ";
    printJsonString(outcome.failure->what(), out);
    out += '}';
  }
  out += '}';
}

std::string envelopeJson(const Outcome& outcome, std::optional<std::string_view> idJson) {
  std::string out;
  appendEnvelope(outcome, idJson, out);
  return out;
}

int exitStatus(const Outcome& outcome) noexcept { return outcome.failure ? 2 : outcome.error ? 1 : 0; }

Request readRequest(std::string_view line, std::optional<std::string>& idJson) {
  std::string padded(line.size() + kPadding, '\0');
  std::memcpy(padded.data(), line.data(), line.size());
  notation::RequestParts parts;
  std::string problem;
  bool read = readOrExplain(padded.data(), line.size(), padded.size(), parts, problem);
  idJson = parts.idJson;
  if (!read) throw NotationError(problem);
  return Request{std::move(parts.idJson), std::move(parts.call), std::move(parts.args), parts.errorOut};
}

std::string answerRequestLine(std::string_view line) {
  std::string padded(line.size() + kPadding, '\0');
  std::memcpy(padded.data(), line.data(), line.size());
  std::string out;
  answerPadded(padded.data(), line.size(), padded.size(), out);
  return out;
}

int serve(int in, int out) {
  // Requests are read in large blocks; each complete line is answered in
  // place. Answers gather while more requests are already waiting and are
  // written as soon as the server would wait for input, so that a client
  // that sends one request at a time gets each answer at once.
  constexpr std::size_t kBlock = 1 << 16;
  constexpr std::size_t kFlushAt = 1 << 16;
  // The input grows with realloc, which moves a large buffer's pages rather
  // than copying (and zero-filling) them.
  struct Buffer {
    char* bytes = nullptr;
    std::size_t size = 0;
    ~Buffer() { std::free(bytes); }
    char* data() const { return bytes; }
    void resize(std::size_t n) {
      void* grown = std::realloc(bytes, n);
      if (!grown) throw std::bad_alloc();
      bytes = static_cast<char*>(grown);
      size = n;
    }
  } input;
  input.resize(kBlock + kPadding);
  std::string output;
  std::size_t begin = 0, end = 0;  // the unanswered bytes of `input`
  std::size_t scanned = 0;         // from `begin`, the bytes known to hold no newline
  bool atEnd = false, largeRequest = false;
  notation::RequestParts parts;  // reused from line to line, with its storage
  LastCommand last;
  // Answers the line of `length` bytes at `begin` and moves past it.
  auto answerLine = [&](std::size_t length, std::size_t next) {
    char* line = input.data() + begin;
    std::size_t size = length;
    if (size > 0 && line[size - 1] == '\r') --size;
    // The padding after a line is the start of the next one: zeroed while
    // the line is read, then put back.
    char saved[kPadding];
    std::memcpy(saved, line + size, kPadding);
    std::memset(line + size, 0, kPadding);
    parts.clear();
    bool read = readPadded(line, size, input.size - begin, parts, output);
    std::memcpy(line + size, saved, kPadding);
    begin = next;
    if (size > kLargeRequest) {
      // The text of a large request and the parser's buffers for it are given
      // up before the command runs and its answer is printed.
      largeRequest = true;
      releaseReaderMemory();
      Buffer rest;
      rest.resize(std::max(end - begin, kBlock) + kPadding);
      std::memcpy(rest.data(), input.data() + begin, end - begin);
      std::swap(input.bytes, rest.bytes);
      std::swap(input.size, rest.size);
      end -= begin;
      begin = 0;
    }
    if (read) answerParts(parts, output, size > kLargeRequest ? size : 0, last);
    output += '\n';
  };
  // After a large request, the memory it took is given back once its answer
  // is out, so that an idle server stays small.
  auto flush = [&] {
    if (!writeAll(out, output)) return false;
    output.clear();
    if (largeRequest) {
      std::string().swap(output);
      releaseReaderMemory();
#if defined(__GLIBC__)
      malloc_trim(0);
#endif
      largeRequest = false;
    }
    return true;
  };
  for (;;) {
    // Every complete line already read is answered before anything else.
    while (begin < end) {
      const char* newline =
          static_cast<const char*>(std::memchr(input.data() + begin + scanned, '\n', end - begin - scanned));
      if (!newline) {
        scanned = end - begin;  // a long line is not searched again from its start
        break;
      }
      scanned = 0;
      std::size_t length = std::size_t(newline - (input.data() + begin));
      answerLine(length, begin + length + 1);
      if ((output.size() >= kFlushAt || largeRequest) && !flush()) return kServeOutputFailed;
    }
    if (atEnd) {
      if (begin < end) answerLine(end - begin, end);  // a last line without a newline
      return flush() ? 0 : kServeOutputFailed;
    }
    // About to wait for input: what is answered goes out first.
    if (!output.empty() && !flush()) return kServeOutputFailed;
    // Keep the partial line, and room for a block and the padding after it.
    if (begin > 0) {
      std::memmove(input.data(), input.data() + begin, end - begin);
      end -= begin;
      begin = 0;
    }
    if (input.size < end + kBlock + kPadding) input.resize(std::max(input.size * 2, end + kBlock + kPadding));
    ssize_t n = ::read(in, input.data() + end, input.size - end - kPadding);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      atEnd = true;
      continue;
    }
    end += std::size_t(n);
  }
}

}  // namespace tessaro
