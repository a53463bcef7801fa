#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "tessaro/krv_forder.hpp"

namespace tessaro {
namespace {

struct Function {
  const char* name;
  Value (*command)(const Value&);
  double (*libm)(double);
};

const Function kFunctions[] = {
    {"sin", &KRVForder::sinValueOf_, [](double x) { return std::sin(x); }},
    {"cos", &KRVForder::cosValueOf_, [](double x) { return std::cos(x); }},
    {"tan", &KRVForder::tanValueOf_, [](double x) { return std::tan(x); }},
    {"asin", &KRVForder::asinValueOf_, [](double x) { return std::asin(x); }},
    {"acos", &KRVForder::acosValueOf_, [](double x) { return std::acos(x); }},
    {"atan", &KRVForder::atanValueOf_, [](double x) { return std::atan(x); }},
    {"sinh", &KRVForder::sinhValueOf_, [](double x) { return std::sinh(x); }},
    {"cosh", &KRVForder::coshValueOf_, [](double x) { return std::cosh(x); }},
    {"tanh", &KRVForder::tanhValueOf_, [](double x) { return std::tanh(x); }},
    {"asinh", &KRVForder::asinhValueOf_, [](double x) { return std::asinh(x); }},
    {"acosh", &KRVForder::acoshValueOf_, [](double x) { return std::acosh(x); }},
    {"atanh", &KRVForder::atanhValueOf_, [](double x) { return std::atanh(x); }},
    {"log", &KRVForder::logValueOf_, [](double x) { return std::log(x); }},
    {"log10", &KRVForder::log10ValueOf_, [](double x) { return std::log10(x); }},
};

// Arguments that between them reach every function's domain edges: outside
// the domain (NaN), poles (infinite) and ordinary values.
const double kArguments[] = {0.0, -0.0, 0.3, -0.7, 1.0, -1.0, 2.5, 100.0, -1e300,
                             std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()};

// The double in a "doub" descriptor, bit for bit.
bool holdsDouble(const Value& v, double expected) {
  if (!v.isDescriptor() || v.asDescriptor().type() != codes::float64 || v.asDescriptor().data().size() != 8)
    return false;
  return std::memcmp(v.asDescriptor().data().data(), &expected, 8) == 0;
}

TEST(NumericFunctions, EachCommandAppliesItsOwnLibraryFunction) {
  for (const Function& f : kFunctions) {
    SCOPED_TRACE(f.name);
    std::vector<Value> items;
    for (double x : kArguments) {
      SCOPED_TRACE(x);
      const double expected = f.libm(x);
      Value single = f.command(Value::real(x));
      if (std::isnan(expected)) EXPECT_TRUE(single.isNothing());
      else EXPECT_TRUE(holdsDouble(single, expected));
      items.push_back(Value::real(x));
    }
    // The list form answers item by item, null where the single form gives no value.
    Value list = f.command(Value::list(items));
    ASSERT_TRUE(list.isList());
    ASSERT_EQ(list.asList().size(), std::size(kArguments));
    for (std::size_t i = 0; i < items.size(); ++i) {
      const double expected = f.libm(kArguments[i]);
      if (std::isnan(expected)) EXPECT_TRUE(list.asList()[i].isNull()) << i;
      else EXPECT_TRUE(holdsDouble(list.asList()[i], expected)) << i;
    }
  }
}

TEST(NumericFunctions, ItemsKeepTheirPlaces) {
  // A list item that is itself a list, or a date, or no number at all, is null
  // in its own place; the items around it keep theirs.
  Value list = Value::list({Value::integer(1), Value::list({Value::integer(1)}), Value::date(0), Value::string(u"1"),
                            Value::null(), Value::real(0.5)});
  Value result = KRVForder::atanValueOf_(list);
  ASSERT_TRUE(result.isList());
  ASSERT_EQ(result.asList().size(), 6u);
  EXPECT_TRUE(holdsDouble(result.asList()[0], std::atan(1.0)));
  for (std::size_t i = 1; i < 5; ++i) EXPECT_TRUE(result.asList()[i].isNull()) << i;
  EXPECT_TRUE(holdsDouble(result.asList()[5], std::atan(0.5)));
}

}  // namespace
}  // namespace tessaro
