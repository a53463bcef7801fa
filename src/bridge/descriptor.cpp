// Descriptor construction and four-character codes.
#include "tessaro/descriptor.hpp"

#include <cstring>

namespace tessaro {

bool fourCCFromString(std::string_view text, FourCC& out) noexcept {
  if (text.size() != 4) return false;
  out = 0;
  for (char c : text) out = (out << 8) | FourCC(std::uint8_t(c));
  return true;
}

std::string fourCCString(FourCC code) {
  std::string s(4, ' ');
  for (int i = 0; i < 4; ++i) s[std::size_t(i)] = char((code >> (24 - 8 * i)) & 0xff);
  return s;
}

Descriptor Descriptor::list(std::vector<Descriptor> items) {
  Descriptor d;
  d.type_ = codes::list;
  d.form_ = Form::list;
  d.items_ = std::move(items);
  return d;
}

Descriptor Descriptor::record(std::vector<Field> fields, FourCC type) {
  Descriptor d;
  d.type_ = type;
  d.form_ = Form::record;
  d.fields_ = std::move(fields);
  return d;
}

namespace {
template <class T>
std::string bytesOf(T v) {
  std::string s(sizeof v, '\0');
  std::memcpy(s.data(), &v, sizeof v);  // the machine's byte order
  return s;
}
}  // namespace

Descriptor Descriptor::fromDouble(double d) { return Descriptor(codes::float64, bytesOf(d)); }
Descriptor Descriptor::fromInt64(FourCC type, std::int64_t v) { return Descriptor(type, bytesOf(v)); }
Descriptor Descriptor::fromFourCC(FourCC type, FourCC code) { return Descriptor(type, bytesOf(code)); }
Descriptor Descriptor::fromBool(bool b) { return Descriptor(codes::boolean, std::string(1, b ? '\1' : '\0')); }

const Descriptor* Descriptor::field(FourCC keyword) const noexcept {
  for (const auto& [key, value] : fields_)
    if (key == keyword) return &value;
  return nullptr;
}

}  // namespace tessaro
