// The command table: selector parsing, lookup and invocation.
#include "tessaro/registry.hpp"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

#include "registry/subsystems.hpp"

namespace tessaro {

namespace {
std::vector<std::string> keywordParts(const std::string& selector) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t i = 0; i < selector.size(); ++i) {
    if (selector[i] == ':') {
      parts.push_back(selector.substr(start, i - start));
      start = i + 1;
    }
  }
  if (start != selector.size() && !parts.empty())
    throw std::logic_error("selector " + selector + " does not end with ':'");
  return parts;
}
}  // namespace

Command::Command(std::string selector, Visibility visibility, Function fn, std::size_t paramCount,
                 std::vector<std::string> outParams)
    : selector_(std::move(selector)), visibility_(visibility), fn_(fn), outParams_(std::move(outParams)) {
  std::vector<std::string> parts = keywordParts(selector_);
  if (parts.size() != paramCount)
    throw std::logic_error("selector " + selector_ + " has " + std::to_string(parts.size()) +
                           " parts but its function takes " + std::to_string(paramCount));
  std::size_t arguments = parts.size() - outParams_.size();
  for (std::size_t i = 0; i < outParams_.size(); ++i)
    if (parts[arguments + i] != outParams_[i])
      throw std::logic_error("selector " + selector_ + ": part " + parts[arguments + i] +
                             " does not match out-parameter " + outParams_[i]);
  argumentNames_.assign(parts.begin(), parts.begin() + std::ptrdiff_t(arguments));
}

bool Command::hasErrorOut() const noexcept {
  return std::find(outParams_.begin(), outParams_.end(), "error") != outParams_.end();
}

Outcome Command::invoke(std::span<const Value> args, bool errorOut) const {
  if (args.size() != argumentCount())
    throw std::invalid_argument(selector_ + " takes " + std::to_string(argumentCount()) + " argument" +
                                (argumentCount() == 1 ? "" : "s") + ", not " + std::to_string(args.size()));
  Outcome outcome;
  // A sentinel that no command writes tells whether the error was filled.
  const CommandError unfilled{"", std::numeric_limits<std::int64_t>::min(), ""};
  CommandError error = unfilled;
  Invocation invocation{args, errorOut ? &error : nullptr, Value()};
  try {
    outcome.result = fn_(invocation);
  } catch (const HostFailure& failure) {
    outcome.failure = failure;
  } catch (const std::bad_alloc&) {
    outcome.failure = HostFailure(FailureKind::invalidArgument, "out of memory");
  } catch (const std::length_error& e) {
    outcome.failure = HostFailure(FailureKind::invalidArgument, e.what());
  }
  if (!(error == unfilled)) outcome.error = std::move(error);
  outcome.outKeys = std::move(invocation.outKeys);
  return outcome;
}

void Registry::addCommand(Command command) { commands_.push_back(std::move(command)); }

void Registry::seal() {
  std::sort(commands_.begin(), commands_.end(), [](const Command& a, const Command& b) {
    if (a.isPrivate() != b.isPrivate()) return !a.isPrivate();
    return a.selector() < b.selector();
  });
  bySelector_.clear();
  for (std::size_t i = 0; i < commands_.size(); ++i)
    if (!bySelector_.emplace(commands_[i].selector(), i).second)
      throw std::logic_error("selector registered twice: " + commands_[i].selector());
}

const Command* Registry::find(std::string_view selector) const noexcept {
  auto it = bySelector_.find(selector);
  return it == bySelector_.end() ? nullptr : &commands_[it->second];
}

const Registry& registry() {
  static const Registry table = [] {
    Registry r;
    registerBridgeInfoCommands(r);
    registerFordingCommands(r);
    registerFileReferenceCommands(r);
    registerDateCommands(r);
    registerCsvCommands(r);
    registerRegexCommands(r);
    registerStringTransformCommands(r);
    registerSegmentationCommands(r);
    registerOffsetCommands(r);
    registerListCommands(r);
    registerNumericCommands(r);
    registerBezierCommands(r);
    registerGraphicAttributeCommands(r);
    registerKeychainCommands(r);
    registerInputSourceCommands(r);
    registerMetadataSearchCommands(r);
    registerEnumerationCommands(r);
    registerCopyMoveCommands(r);
    registerFileInfoCommands(r);
    r.seal();
    return r;
  }();
  return table;
}

}  // namespace tessaro
