// Envelopes and the request server.
#include "tessaro/server.hpp"

#include <istream>
#include <ostream>

#include <simdjson.h>

#include "tessaro/notation.hpp"

namespace tessaro {

namespace {

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r' || s.back() == '\n'))
    s.remove_suffix(1);
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  return s;
}

// The JSON text of the value the iterator stands on, consuming it.
std::string_view rawText(simdjson::ondemand::value v) {
  simdjson::ondemand::json_type type;
  if (v.type().get(type)) throw NotationError("malformed JSON");
  std::string_view text;
  simdjson::error_code ec = simdjson::SUCCESS;
  if (type == simdjson::ondemand::json_type::object) {
    simdjson::ondemand::object o;
    ec = v.get_object().get(o);
    if (!ec) ec = o.raw_json().get(text);
  } else if (type == simdjson::ondemand::json_type::array) {
    simdjson::ondemand::array a;
    ec = v.get_array().get(a);
    if (!ec) ec = a.raw_json().get(text);
  } else {
    text = v.raw_json_token();
  }
  if (ec) throw NotationError("malformed JSON");
  return trim(text);
}

// A JSON number as the grammar writes it, whatever its magnitude.
bool isJsonNumber(std::string_view t) {
  std::size_t i = 0;
  auto digits = [&] {
    std::size_t start = i;
    while (i < t.size() && t[i] >= '0' && t[i] <= '9') ++i;
    return i > start;
  };
  if (i < t.size() && t[i] == '-') ++i;
  if (i < t.size() && t[i] == '0') ++i;
  else if (!digits()) return false;
  if (i < t.size() && t[i] == '.') {
    ++i;
    if (!digits()) return false;
  }
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
    ++i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    if (!digits()) return false;
  }
  return i == t.size();
}

// Whether `text` is one complete JSON value. Splitting the request only
// skims over the id, so it is checked on its own before it is echoed.
bool isJsonText(std::string_view text) {
  thread_local simdjson::dom::parser parser;
  simdjson::dom::element element;
  simdjson::error_code ec = parser.parse(text.data(), text.size()).get(element);
  if (!ec) return true;
  // Numbers beyond what a double or a 64-bit integer holds are still JSON.
  bool numberProblem = ec == simdjson::NUMBER_ERROR || ec == simdjson::INCORRECT_TYPE ||
                       ec == simdjson::NUMBER_OUT_OF_RANGE;
  return numberProblem && isJsonNumber(text);
}

}  // namespace

std::string envelopeJson(const Outcome& outcome, std::optional<std::string_view> idJson) {
  std::string out = "{";
  auto key = [&](std::string_view name) {
    if (out.size() > 1) out += ", ";
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
  return out;
}

int exitStatus(const Outcome& outcome) noexcept { return outcome.failure ? 2 : outcome.error ? 1 : 0; }

Request readRequest(std::string_view line, std::optional<std::string>& idJson) {
  thread_local simdjson::ondemand::parser parser;
  simdjson::padded_string padded(line);
  simdjson::ondemand::document doc;
  simdjson::ondemand::object object;
  if (auto ec = parser.iterate(padded).get(doc)) throw NotationError(simdjson::error_message(ec));
  if (auto ec = doc.get_object().get(object))
    throw NotationError(ec == simdjson::INCORRECT_TYPE ? "a request is a JSON object" : simdjson::error_message(ec));

  // First only split the fields, so that the id is known whatever is wrong
  // with the rest of the request.
  std::optional<std::string_view> call, args, errorOut;
  std::string unknown;
  try {
    for (auto field : object) {
      std::string_view name;
      simdjson::ondemand::value value;
      if (field.unescaped_key().get(name) || field.value().get(value)) throw NotationError("malformed JSON");
      if (name == "id") {
        std::string_view id = rawText(value);
        if (!isJsonText(id)) throw NotationError("\"id\" is not well-formed JSON");
        idJson = std::string(id);
      }
      else if (name == "call") call = rawText(value);
      else if (name == "args") args = rawText(value);
      else if (name == "errorOut") errorOut = rawText(value);
      else {
        if (unknown.empty()) unknown = std::string(name);
        rawText(value);  // skipped, so that a later id is still found
      }
    }
    const char* rest = nullptr;
    if (!doc.current_location().get(rest)) throw NotationError("trailing characters after the request");
  } catch (const simdjson::simdjson_error& e) {
    throw NotationError(simdjson::error_message(e.error()));
  }

  if (!unknown.empty()) throw NotationError("unknown request key \"" + unknown + "\"");
  if (!call) throw NotationError("the request has no \"call\"");
  Request request;
  Value callValue = readNotation(*call);
  if (!callValue.isString()) throw NotationError("\"call\" must be a string");
  request.call = callValue.toUtf8();
  if (args) {
    if (!args->starts_with('[')) throw NotationError("\"args\" must be a list");
    request.args = readArgumentList(*args);
  }
  if (errorOut) {
    if (*errorOut == "true") request.errorOut = true;
    else if (*errorOut == "false") request.errorOut = false;
    else throw NotationError("\"errorOut\" must be true or false");
  }
  return request;
}

std::string answerRequestLine(std::string_view line) {
  std::optional<std::string> idJson;
  auto usage = [&](const std::string& what) {
    std::string out = "{";
    if (idJson) out += "\"id\": " + *idJson + ", ";
    out += "\"usage\": ";
    printJsonString(what, out);
    out += '}';
    return out;
  };
  Request request;
  try {
    request = readRequest(line, idJson);
  } catch (const NotationError& e) {
    return usage(e.what());
  }
  const Command* command = registry().find(request.call);
  if (!command) return usage("unknown selector " + request.call);
  if (request.args.size() != command->argumentCount())
    return usage(request.call + " takes " + std::to_string(command->argumentCount()) + " argument" +
                 (command->argumentCount() == 1 ? "" : "s") + ", not " + std::to_string(request.args.size()));
  try {
    Outcome outcome = command->invoke(request.args, request.errorOut);
    return envelopeJson(outcome, idJson ? std::optional<std::string_view>(*idJson) : std::nullopt);
  } catch (const std::exception& e) {
    // A fault of the library, not of the request: report it and keep serving.
    Outcome outcome;
    outcome.failure = HostFailure(FailureKind::invalidArgument, e.what());
    return envelopeJson(outcome, idJson ? std::optional<std::string_view>(*idJson) : std::nullopt);
  }
}

int serve(std::istream& in, std::ostream& out) {
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    out << answerRequestLine(line) << '\n';
    out.flush();
  }
  return 0;
}

}  // namespace tessaro
