// Feeds arbitrary text to the predicate parser, with a few substitution
// values of every kind at hand. Parsing may refuse the text but must never
// crash or hang; whatever it accepts is evaluated against a fixed item, which
// must not crash either.
#include <cstdint>
#include <string_view>
#include <vector>

#include "services/predicate.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using tessaro::Value;
  Value text = Value::fromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  static const std::vector<Value> values = {
      Value::string(u"kMDItemFSName"), Value::string(u"*.txt"), Value::integer(42), Value::date(7e8),
      Value::list({Value::integer(1), Value::integer(99)}), Value::null()};
  std::optional<tessaro::services::PredicateNode> tree = tessaro::services::parsePredicate(text.asString(), values);
  if (!tree) return 0;
  (void)tessaro::services::evaluatePredicate(*tree, [](std::u16string_view name) -> Value {
    if (name == u"kMDItemFSName") return Value::string(u"Café.TXT");
    if (name == u"kMDItemFSSize") return Value::integer(42);
    if (name == u"kMDItemFSContentChangeDate") return Value::date(7e8);
    if (name == u"kMDItemUserTags") return Value::list({Value::string(u"Red"), Value::string(u"Blue")});
    return Value();
  });
  return 0;
}
