// Envelopes and the request server.
#include "tessaro/server.hpp"

#include <unistd.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <cerrno>
#include <cstring>
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
  }
}

// Answers the request in `data[0, length)` (followed by zeroed padding) by
// appending one envelope or usage line, without the newline, to `out`.
void answerPadded(const char* data, std::size_t length, std::size_t capacity, std::string& out) {
  notation::RequestParts parts;
  std::string problem;
  if (!readOrExplain(data, length, capacity, parts, problem)) {
    appendUsage(parts.idJson, problem, out);
    return;
  }
  const Command* command = registry().find(*parts.call);
  if (!command) {
    appendUsage(parts.idJson, "unknown selector " + *parts.call, out);
    return;
  }
  if (parts.args.size() != command->argumentCount()) {
    appendUsage(parts.idJson,
                *parts.call + " takes " + std::to_string(command->argumentCount()) + " argument" +
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
  parts.args.clear();  // large arguments are not kept while the answer is printed
  appendEnvelope(outcome, id, out);
}

bool writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    ssize_t n = ::write(fd, text.data(), text.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    text.remove_prefix(std::size_t(n));
  }
  return true;
}

}  // namespace

void appendEnvelope(const Outcome& outcome, std::optional<std::string_view> idJson, std::string& out) {
  std::size_t start = out.size();
  out += '{';
  auto key = [&](std::string_view name) {
    if (out.size() > start + 1) out += ", ";
    out += '"';
    out += name;
    out += "\": ";
  };
  if (idJson) {
    key("id");
    out += *idJson;
  }
  if (!outcome.result.isNothing()) {
    key("result");
    printNotation(outcome.result, out);
  }
  if (outcome.error) {
    key("error");
    out += "{\"domain\": ";
    printJsonString(outcome.error->domain, out);
    out += ", \"code\": " + std::to_string(outcome.error->code) + ", \"message\": ";
    printJsonString(outcome.error->message, out);
    out += '}';
  }
  if (!outcome.outKeys.isNothing()) {
    key("out");
    out += "{\"outKeys\": ";
    printNotation(outcome.outKeys, out);
    out += '}';
  }
  if (outcome.failure) {
    key("failure");
    out += "{\"kind\": ";
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
  return Request{std::move(parts.idJson), std::move(*parts.call), std::move(parts.args), parts.errorOut};
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
  std::string input(kBlock + kPadding, '\0'), output;
  std::size_t begin = 0, end = 0;  // the unanswered bytes of `input`
  bool atEnd = false, largeRequest = false;
  auto answer = [&](std::size_t length) {
    char* line = input.data() + begin;
    std::size_t size = length;
    if (size > 0 && line[size - 1] == '\r') --size;
    // The padding after a line is the start of the next one: zeroed while
    // the line is read, then put back.
    char saved[kPadding];
    std::memcpy(saved, line + size, kPadding);
    std::memset(line + size, 0, kPadding);
    answerPadded(line, size, input.size() - begin, output);
    std::memcpy(line + size, saved, kPadding);
    output += '\n';
    if (size > kLargeRequest) largeRequest = true;
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
      const char* newline = static_cast<const char*>(std::memchr(input.data() + begin, '\n', end - begin));
      if (!newline) break;
      std::size_t length = std::size_t(newline - (input.data() + begin));
      answer(length);
      begin += length + 1;
      if ((output.size() >= kFlushAt || largeRequest) && !flush()) return kServeOutputFailed;
    }
    if (atEnd) {
      if (begin < end) {  // a last line without a newline
        answer(end - begin);
        begin = end;
      }
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
    if (end == 0 && input.size() > 4 * kBlock) std::string(kBlock + kPadding, '\0').swap(input);
    if (input.size() < end + kBlock + kPadding) input.resize(std::max(input.size() * 2, end + kBlock + kPadding));
    ssize_t n = ::read(in, input.data() + end, input.size() - end - kPadding);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      atEnd = true;
      continue;
    }
    end += std::size_t(n);
  }
}

}  // namespace tessaro
