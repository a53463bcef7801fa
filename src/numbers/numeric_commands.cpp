// Elementary functions for scripts whose own language lacks them, over one
// number or item by item over a list of numbers, and hexadecimal formatting.
//
// Function results are "doub" descriptors rather than real values: the
// bridge would hand a whole real back as an integer, and a script asking for
// the sine of 0 expects the real 0.0. A result that is not a number (asin of
// 2, log of -1) is no value, or null in a list; infinities are results.
#include <charconv>
#include <cmath>
#include <cstdint>

#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

namespace {

using Function = double (*)(double);

// f of a number as a "doub" descriptor; no value for a NaN result or for an
// argument that is not a number (strings are not read as numbers here).
Value applied(Function f, const Value& v) {
  if (!v.isNumber()) return Value();
  const double result = f(v.doubleValue());
  if (std::isnan(result)) return Value();
  return Value::descriptor(Descriptor::fromDouble(result));
}

// One number, or a list of them one level deep: an item that is itself a
// list is not entered and gives null like any other non-number.
Value apply(const Value& v, Function f) {
  if (v.isNumber()) return applied(f, v);
  if (!v.isList()) return Value();
  ListBuilder results;
  for (const Value& item : v.asList()) {
    Value result = applied(f, item);
    results.push(result.isNothing() ? Value::null() : std::move(result));
  }
  return results.finish();
}

// Lower-case hexadecimal without prefix or leading zeros; a negative value
// shows as its 64-bit two's complement.
Value hexString(std::int64_t value) {
  char digits[16];
  auto [end, ec] = std::to_chars(digits, digits + sizeof digits, std::uint64_t(value), 16);
  (void)ec;  // sixteen digits hold any 64-bit value
  return Value::fromUtf8(std::string_view(digits, std::size_t(end - digits)));
}

}  // namespace

Value KRVForder::sinValueOf_(const Value& v) { return apply(v, [](double x) { return std::sin(x); }); }
Value KRVForder::cosValueOf_(const Value& v) { return apply(v, [](double x) { return std::cos(x); }); }
Value KRVForder::tanValueOf_(const Value& v) { return apply(v, [](double x) { return std::tan(x); }); }
Value KRVForder::asinValueOf_(const Value& v) { return apply(v, [](double x) { return std::asin(x); }); }
Value KRVForder::acosValueOf_(const Value& v) { return apply(v, [](double x) { return std::acos(x); }); }
Value KRVForder::atanValueOf_(const Value& v) { return apply(v, [](double x) { return std::atan(x); }); }
Value KRVForder::sinhValueOf_(const Value& v) { return apply(v, [](double x) { return std::sinh(x); }); }
Value KRVForder::coshValueOf_(const Value& v) { return apply(v, [](double x) { return std::cosh(x); }); }
Value KRVForder::tanhValueOf_(const Value& v) { return apply(v, [](double x) { return std::tanh(x); }); }
Value KRVForder::asinhValueOf_(const Value& v) { return apply(v, [](double x) { return std::asinh(x); }); }
Value KRVForder::acoshValueOf_(const Value& v) { return apply(v, [](double x) { return std::acosh(x); }); }
Value KRVForder::atanhValueOf_(const Value& v) { return apply(v, [](double x) { return std::atanh(x); }); }
Value KRVForder::logValueOf_(const Value& v) { return apply(v, [](double x) { return std::log(x); }); }
Value KRVForder::log10ValueOf_(const Value& v) { return apply(v, [](double x) { return std::log10(x); }); }

// A number is read as a signed 64-bit integer, reals truncated toward zero.
// The list form keeps the host's behaviour: for an item that is a number it
// asks the list itself, not the item, for its integer value, which a list
// does not answer; so a list holding any number fails, and a list without
// numbers gives a list of nulls.
Value KRVForder::hexValueOf_(const Value& v) {
  if (v.isNumber()) return hexString(v.integerValue());
  if (!v.isList()) return Value();
  ListBuilder results;
  for (const Value& item : v.asList())
    results.push(item.isNumber() ? hexString(v.integerValue()) : Value::null());
  return results.finish();
}

void registerNumericCommands(Registry& r) {
  r.add<&KRVForder::sinValueOf_>("sinValueOf:");
  r.add<&KRVForder::cosValueOf_>("cosValueOf:");
  r.add<&KRVForder::tanValueOf_>("tanValueOf:");
  r.add<&KRVForder::asinValueOf_>("asinValueOf:");
  r.add<&KRVForder::acosValueOf_>("acosValueOf:");
  r.add<&KRVForder::atanValueOf_>("atanValueOf:");
  r.add<&KRVForder::sinhValueOf_>("sinhValueOf:");
  r.add<&KRVForder::coshValueOf_>("coshValueOf:");
  r.add<&KRVForder::tanhValueOf_>("tanhValueOf:");
  r.add<&KRVForder::asinhValueOf_>("asinhValueOf:");
  r.add<&KRVForder::acoshValueOf_>("acoshValueOf:");
  r.add<&KRVForder::atanhValueOf_>("atanhValueOf:");
  r.add<&KRVForder::logValueOf_>("logValueOf:");
  r.add<&KRVForder::log10ValueOf_>("log10ValueOf:");
  r.add<&KRVForder::hexValueOf_>("hexValueOf:");
}

}  // namespace tessaro
