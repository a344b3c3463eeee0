#include "Platform/Crypto/PrivateKeyDER.h"

#include <cstdint>

namespace platform {

namespace {

using namespace std::string_view_literals;

// Tags of X.690, 8.1.2.
constexpr char integer = '\x02';
constexpr char bitString = '\x03';
constexpr char octetString = '\x04';
constexpr char objectIdentifier = '\x06';
constexpr char sequence = '\x30';
constexpr char parameters = '\xa0';
constexpr char publicKey = '\xa1';

constexpr auto ecPublicKey = "\x2a\x86\x48\xce\x3d\x02\x01"sv;     // RFC 5480, 2.1.1
constexpr auto prime256v1 = "\x2a\x86\x48\xce\x3d\x03\x01\x07"sv;  // RFC 5480, 2.1.1.1

/// The values of a DER encoding, one after another; it holds no copy of them.
class Values {
 public:
  explicit Values(std::string_view bytes) : rest_(bytes) {}

  bool isAtEnd() const { return rest_.empty(); }
  bool isAt(char tag) const { return rest_.starts_with(tag); }
  /// The content of the next value, if it has that tag and at most 255 bytes.
  std::optional<std::string_view> next(char tag) {
    if (!isAt(tag) || rest_.size() < 2) return std::nullopt;
    std::size_t head = 2;
    std::size_t length = static_cast<std::uint8_t>(rest_[1]);
    if (length == 0x81 && rest_.size() > 2) {
      head = 3;
      length = static_cast<std::uint8_t>(rest_[2]);
      if (length < 0x80) return std::nullopt;
    } else if (length >= 0x80) {
      return std::nullopt;
    }
    if (rest_.size() - head < length) return std::nullopt;
    const auto content = rest_.substr(head, length);
    rest_.remove_prefix(head + length);
    return content;
  }
  bool take(char tag, std::string_view content) { return next(tag) == content; }

 private:
  std::string_view rest_;
};

/// The values of the one sequence that is all of the bytes.
std::optional<Values> onlySequence(std::string_view der) {
  Values outer(der);
  const auto content = outer.next(sequence);
  return content && outer.isAtEnd() ? std::optional<Values>(*content) : std::nullopt;
}

enum class Curve { named, isKnown };

std::optional<PrivateKeyParts> ecPrivateKeyParts(std::string_view der, Curve curve) {
  auto values = onlySequence(der);
  if (!values || !values->take(integer, "\x01"sv)) return std::nullopt;
  const auto octets = values->next(octetString);
  const auto scalar = octets ? Secret256::copyOf(*octets) : std::nullopt;
  if (!scalar) return std::nullopt;
  if (values->isAt(parameters)) {
    Values name(values->next(parameters).value_or(""));
    if (!name.take(objectIdentifier, prime256v1) || !name.isAtEnd()) return std::nullopt;
  } else if (curve == Curve::named) {
    return std::nullopt;
  }
  PrivateKeyParts parts{*scalar, {}};
  if (values->isAt(publicKey)) {
    Values point(values->next(publicKey).value_or(""));
    const auto bits = point.next(bitString);
    if (!bits || !bits->starts_with('\0') || !point.isAtEnd()) return std::nullopt;
    parts.publicKey = bits->substr(1);
  }
  return values->isAtEnd() ? std::optional(parts) : std::nullopt;
}

std::optional<PrivateKeyParts> privateKeyInfoParts(Values values) {
  if (!values.take(integer, "\0"sv)) return std::nullopt;
  Values algorithm(values.next(sequence).value_or(""));
  if (!algorithm.take(objectIdentifier, ecPublicKey) || !algorithm.take(objectIdentifier, prime256v1) ||
      !algorithm.isAtEnd())
    return std::nullopt;
  const auto key = values.next(octetString);
  return key && values.isAtEnd() ? ecPrivateKeyParts(*key, Curve::isKnown) : std::nullopt;
}

}  // namespace

std::optional<PrivateKeyParts> p256PrivateKeyParts(std::string_view der) {
  if (auto parts = ecPrivateKeyParts(der, Curve::named)) return parts;
  const auto values = onlySequence(der);
  return values ? privateKeyInfoParts(*values) : std::nullopt;
}

}  // namespace platform
