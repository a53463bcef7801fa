// A raw script value as the scripting bridge hands it over: a four-character
// type code and its payload bytes, or a list or keyword record of descriptors.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessaro {

// A four-character code: four bytes read from the most significant one
// ("furl" is 0x6675726C).
using FourCC = std::uint32_t;

constexpr FourCC fourCC(const char (&code)[5]) noexcept {
  return (FourCC(std::uint8_t(code[0])) << 24) | (FourCC(std::uint8_t(code[1])) << 16) |
         (FourCC(std::uint8_t(code[2])) << 8) | FourCC(std::uint8_t(code[3]));
}
// The code from exactly four bytes; false when `text` is not four bytes long.
bool fourCCFromString(std::string_view text, FourCC& out) noexcept;
std::string fourCCString(FourCC code);

namespace codes {
inline constexpr FourCC alias = fourCC("alis");
inline constexpr FourCC bookmark = fourCC("bmrk");
inline constexpr FourCC fileURL = fourCC("furl");
inline constexpr FourCC longDateTime = fourCC("ldt ");
inline constexpr FourCC rawData = fourCC("tdta");
inline constexpr FourCC float64 = fourCC("doub");
inline constexpr FourCC list = fourCC("list");
inline constexpr FourCC record = fourCC("reco");
inline constexpr FourCC boolean = fourCC("bool");
inline constexpr FourCC trueValue = fourCC("true");
inline constexpr FourCC falseValue = fourCC("fals");
inline constexpr FourCC enumerated = fourCC("enum");
inline constexpr FourCC typeCode = fourCC("type");
inline constexpr FourCC utf8Text = fourCC("utf8");
inline constexpr FourCC integer32 = fourCC("long");
}  // namespace codes

class Descriptor {
 public:
  enum class Form : std::uint8_t { bytes, list, record };
  using Field = std::pair<FourCC, Descriptor>;

  Descriptor() = default;
  Descriptor(FourCC type, std::string bytes) : type_(type), bytes_(std::move(bytes)) {}

  static Descriptor list(std::vector<Descriptor> items);
  static Descriptor record(std::vector<Field> fields, FourCC type = codes::record);
  // Payloads in the machine's (little-endian) byte order.
  static Descriptor fromDouble(double d);
  static Descriptor fromInt64(FourCC type, std::int64_t v);
  static Descriptor fromFourCC(FourCC type, FourCC code);  // "enum", "type"
  static Descriptor fromBool(bool b);                      // "bool", one byte

  FourCC type() const noexcept { return type_; }
  Form form() const noexcept { return form_; }
  std::string_view data() const noexcept { return bytes_; }
  const std::vector<Descriptor>& items() const noexcept { return items_; }
  const std::vector<Field>& fields() const noexcept { return fields_; }
  const Descriptor* field(FourCC keyword) const noexcept;

  friend bool operator==(const Descriptor&, const Descriptor&) = default;

 private:
  FourCC type_ = 0;
  Form form_ = Form::bytes;
  std::string bytes_;
  std::vector<Descriptor> items_;
  std::vector<Field> fields_;
};

}  // namespace tessaro
