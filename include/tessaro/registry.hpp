// The one table of commands. Every selector the library answers is registered
// here by the subsystem that implements it; the command line, the server and
// the tests all look commands up in this table.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "tessaro/errors.hpp"
#include "tessaro/value.hpp"

namespace tessaro {

enum class Visibility : std::uint8_t { publicCommand, privateOperation };

// What one call hands a command and what it leaves behind.
struct Invocation {
  std::span<const Value> args;     // one per keyword part that takes a value
  CommandError* error = nullptr;   // the caller's error out-parameter, if any
  Value outKeys;                   // set by commands with an `outKeys:` part
};

// The result of running a command as a caller sees it.
struct Outcome {
  Value result;                         // no value when the command returned none
  std::optional<CommandError> error;    // filled CommandError
  Value outKeys;                        // the out-parameter, when the command set it
  std::optional<HostFailure> failure;   // a host failure that escaped
};

class Command {
 public:
  using Function = Value (*)(Invocation&);

  Command(std::string selector, Visibility visibility, Function fn, std::size_t paramCount,
          std::vector<std::string> outParams);

  const std::string& selector() const noexcept { return selector_; }
  bool isPrivate() const noexcept { return visibility_ == Visibility::privateOperation; }
  // The keyword parts that take a value, in order.
  const std::vector<std::string>& argumentNames() const noexcept { return argumentNames_; }
  std::size_t argumentCount() const noexcept { return argumentNames_.size(); }
  // Trailing out-parameters such as "error" and "outKeys".
  const std::vector<std::string>& outParameters() const noexcept { return outParams_; }
  bool hasErrorOut() const noexcept;

  // Runs the command; host failures are caught into the outcome. `errorOut`
  // says whether the caller supplies an error out-parameter.
  Outcome invoke(std::span<const Value> args, bool errorOut = true) const;

 private:
  std::string selector_;
  Visibility visibility_;
  Function fn_;
  std::vector<std::string> argumentNames_;
  std::vector<std::string> outParams_;
};

namespace detail {
template <class P>
struct Param;
template <>
struct Param<const Value&> {
  static constexpr bool isArgument = true;
  static const Value& get(Invocation& inv, std::size_t& next) { return inv.args[next++]; }
};
template <>
struct Param<CommandError*> {
  static constexpr bool isArgument = false;
  static constexpr std::string_view name = "error";
  static CommandError* get(Invocation& inv, std::size_t&) { return inv.error; }
};
template <>
struct Param<Value*> {
  static constexpr bool isArgument = false;
  static constexpr std::string_view name = "outKeys";
  static Value* get(Invocation& inv, std::size_t&) { return &inv.outKeys; }
};

template <class F>
struct Adapter;
template <class R, class... Ps>
struct Adapter<R (*)(Ps...)> {
  template <R (*F)(Ps...)>
  static Value run(Invocation& inv) {
    [[maybe_unused]] std::size_t next = 0;  // unused by functions without arguments
    // Braced initialisation evaluates left to right, so arguments are taken in order.
    std::tuple<Ps...> params{Param<Ps>::get(inv, next)...};
    if constexpr (std::is_void_v<R>) {
      std::apply(F, params);
      return Value();
    } else if constexpr (std::is_same_v<R, bool>) {
      return Value::boolean(std::apply(F, params));
    } else {
      return std::apply(F, params);
    }
  }
  static std::vector<std::string> outParams() {
    std::vector<std::string> names;
    (
        [&] {
          if constexpr (!Param<Ps>::isArgument) names.emplace_back(Param<Ps>::name);
        }(),
        ...);
    return names;
  }
  static constexpr std::size_t paramCount = sizeof...(Ps);
};
}  // namespace detail

class Registry {
 public:
  // Registers `F` under `selector`. The selector's keyword parts must match
  // F's parameters: one `const Value&` per argument, then `CommandError*` for a
  // trailing `error:` and `Value*` for `outKeys:`. A mismatch throws
  // std::logic_error when the table is built.
  template <auto F>
  void add(std::string selector, Visibility visibility = Visibility::publicCommand) {
    using A = detail::Adapter<decltype(F)>;
    addCommand(Command(std::move(selector), visibility, &A::template run<F>, A::paramCount, A::outParams()));
  }

  const Command* find(std::string_view selector) const noexcept;
  // Public commands first, then private ones, each in selector order.
  std::span<const Command> commands() const noexcept { return commands_; }

  // Sorts the table and checks it for duplicates; called once when it is built.
  void seal();

 private:
  void addCommand(Command command);
  std::vector<Command> commands_;
  std::unordered_map<std::string_view, std::size_t> bySelector_;
};

// The library's table, built on first use.
const Registry& registry();

}  // namespace tessaro
