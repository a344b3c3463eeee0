#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "Platform/JSON/Canonical.h"
#include "Platform/JSON/Value.h"
#include "fuzz/CanonicalJSONCheck.h"

namespace platform::json {
namespace {

/// Documents of any shape from a seed.
class DocumentGenerator {
 public:
  explicit DocumentGenerator(std::uint64_t seed) : random_(seed) {}

  Value value(std::size_t depth) {
    switch (below(depth == 0 ? 6 : 9)) {
      case 0:
        return nullptr;
      case 1:
        return below(2) == 0;
      case 2:
        return random_() >> below(64);
      case 3:
        return -static_cast<std::int64_t>(random_() >> (1 + below(63)));
      case 4:
        return number();
      case 5:
        return text();
      case 6:
        return array(depth);
      default:
        return object(depth);
    }
  }

  std::uint64_t below(std::uint64_t limit) { return random_() % limit; }

 private:
  double number() {
    const std::uint64_t bits = random_();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value) || below(2) == 0) value = static_cast<double>(below(100'000)) / 8 - 1000;
    return value == 0 ? 0.5 : value;
  }

  std::string text() {
    static constexpr std::string_view pieces[] = {
        "a", "key", "ü", "€", "😀", "\"", "\\", "\n", "\x01", "/", "longer piece of text", " "};
    std::string text;
    for (std::uint64_t i = below(9); i > 0; --i) text += pieces[below(std::size(pieces))];
    return text;
  }

  Value array(std::size_t depth) {
    Value list = Value::array();
    for (std::uint64_t i = below(6); i > 0; --i) list.append(value(depth - 1));
    return list;
  }

  Value object(std::size_t depth) {
    Value::Object members;
    for (std::uint64_t i = below(below(10) == 0 ? 90 : 8); i > 0; --i)
      members.emplace_back(text(), value(depth - 1));
    return members;
  }

  std::mt19937_64 random_;
};

TEST(CanonicalPropertyTest, GeneratedDocumentsKeepEveryRule) {
  for (std::uint64_t seed = 1; seed <= 400; ++seed) {
    DocumentGenerator generator(seed);
    const Bytes text = generator.value(5).text();
    const auto broken = orvik::fuzz::brokenCanonicalRule(text);
    ASSERT_FALSE(broken) << "seed " << seed << ": " << *broken << "\n" << text;
    ASSERT_TRUE(canonical(text)) << "seed " << seed << "\n" << text;
  }
}

TEST(CanonicalPropertyTest, DamagedDocumentsKeepEveryRule) {
  for (std::uint64_t seed = 1; seed <= 400; ++seed) {
    DocumentGenerator generator(seed);
    Bytes text = generator.value(3).text();
    for (std::uint64_t i = 1 + generator.below(3); i > 0; --i)
      text[generator.below(text.size())] = static_cast<char>(generator.below(256));
    const auto broken = orvik::fuzz::brokenCanonicalRule(text);
    ASSERT_FALSE(broken) << "seed " << seed << ": " << *broken << "\n" << testing::PrintToString(text);
  }
}

}  // namespace
}  // namespace platform::json
