// The road of an unchanged object, canonical text and digest, against the bare parse of the same bytes.
// The two alternate in one run, so that a busy machine slows both; the median of the pairs' ratios counts.

#include <time.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/core.h>

#include "Platform/Crypto/Digest.h"
#include "Platform/JSON/Canonical.h"
#include "Platform/JSON/Value.h"

namespace {

using platform::Bytes;
using platform::json::Value;

constexpr std::size_t documentCount = 300;
constexpr int alternations = 51;
constexpr int passesPerAlternation = 8;
constexpr double minimumRatio = 0.14;
constexpr double stretchRatio = 0.21;

/// Records as a device-management server answers them: keys in no order, nested, compact. The same for ever.
class RecordGenerator {
 public:
  Value record(std::size_t id) {
    switch (id % 3) {
      case 0:
        return policy(id);
      case 1:
        return group(id);
      default:
        return script(id);
    }
  }

 private:
  std::uint64_t number(std::uint64_t below) { return random_() % below; }
  bool coin() { return number(2) == 0; }

  std::string words(std::size_t count) {
    static constexpr std::array<std::string_view, 16> vocabulary = {
        "Software", "update", "staff", "Büro", "lab",   "deploy", "Mac",       "printer",
        "network",  "the",    "of",    "room", "setup", "and",    "\"quick\"", "weekly"};
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
      if (i > 0) text += ' ';
      text += vocabulary[number(vocabulary.size())];
    }
    return text;
  }

  std::string uuid() {
    return fmt::format("{:08X}-{:04X}-4{:03X}-A{:03X}-{:012X}", number(1ULL << 32), number(1 << 16),
                       number(1 << 12), number(1 << 12), number(1ULL << 48));
  }

  Value named() { return Value::object({{"name", words(2)}, {"id", number(5000)}}); }

  Value scope() {
    Value scope = Value::object({{"all_computers", coin()}});
    for (const char* key : {"computers", "computer_groups", "buildings", "departments"}) {
      Value list = Value::array();
      for (std::uint64_t i = number(4); i > 0; --i) list.append(named());
      scope.set(key, std::move(list));
    }
    scope.set("limitations",
              Value::object({{"users", Value::array()}, {"network_segments", Value::array({named()})}}));
    return scope;
  }

  Value policy(std::size_t id) {
    Value general = Value::object({{"name", words(4)},
                                   {"id", id},
                                   {"enabled", coin()},
                                   {"trigger", "EVENT"},
                                   {"trigger_checkin", coin()},
                                   {"trigger_login", coin()},
                                   {"frequency", "Once per computer"},
                                   {"retry_attempts", -1},
                                   {"target_drive", "/"},
                                   {"offline", coin()},
                                   {"category", named()},
                                   {"site", Value::object({{"name", "None"}, {"id", -1}})}});
    return Value::object(
        {{"scope", scope()},
         {"general", std::move(general)},
         {"uuid", uuid()},
         {"self_service", Value::object({{"use_for_self_service", coin()},
                                         {"install_button_text", "Install"},
                                         {"self_service_description", words(30)},
                                         {"feature_on_main_page", coin()}})},
         {"package_configuration", Value::object({{"packages", Value::array({named(), named()})}})},
         {"reboot",
          Value::object({{"minutes_until_reboot", 5}, {"message", words(12)}, {"specify_startup", ""}})},
         {"maintenance",
          Value::object(
              {{"recon", coin()}, {"reset_name", coin()}, {"heal", coin()}, {"fix_byhost", coin()}})}});
  }

  Value group(std::size_t id) {
    Value criteria = Value::array();
    for (std::uint64_t i = 0; i < 6 + number(10); ++i)
      criteria.append(Value::object({{"priority", i},
                                     {"name", words(2)},
                                     {"and_or", coin() ? "and" : "or"},
                                     {"search_type", "greater than or equal"},
                                     {"value", fmt::format("{}.{}.{}", number(15), number(8), number(9))},
                                     {"opening_paren", false},
                                     {"closing_paren", false}}));
    return Value::object({{"name", words(3)},
                          {"id", id},
                          {"smart", true},
                          {"modified", "2025-03-04T09:15:00.123Z"},
                          {"criteria", std::move(criteria)},
                          {"site", Value::object({{"name", "None"}, {"id", -1}})},
                          {"share", 0.25 * static_cast<double>(number(400))},
                          {"member_count", number(900)}});
  }

  Value script(std::size_t id) {
    std::string text = "#!/bin/zsh\n";
    const std::size_t size = 2000 + number(4000);
    for (std::size_t line = 1; text.size() < size; ++line)
      text += fmt::format("  if [[ -f /Library/{} ]]; then run_step {} || exit 1; fi\n", words(3), line);
    return Value::object({{"scriptContents", std::move(text)},
                          {"id", std::to_string(id)},
                          {"name", words(3)},
                          {"priority", "AFTER"},
                          {"categoryName", words(1)},
                          {"categoryId", std::to_string(number(40))},
                          {"info", ""},
                          {"notes", words(20)},
                          {"osRequirements", "13.x,14.x"},
                          {"parameter4", words(2)},
                          {"parameter5", nullptr}});
  }

  std::mt19937_64 random_{20250304};
};

std::vector<Bytes> makeDocuments() {
  RecordGenerator generator;
  std::vector<Bytes> documents;
  for (std::size_t id = 0; id < documentCount; ++id) {
    documents.push_back(generator.record(id).text());
    documents.back().reserve(documents.back().size() + 64);
  }
  return documents;
}

/// The time that this thread had a processor, so that other programs' turns do not count.
double processorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Seconds of one step over all documents.
template <class Step>
double seconds(const std::vector<Bytes>& documents, Step step) {
  const double start = processorSeconds();
  for (int pass = 0; pass < passesPerAlternation; ++pass)
    for (const Bytes& document : documents) step(document);
  return processorSeconds() - start;
}

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                   values.end());
  return values[values.size() / 2];
}

}  // namespace

int main() {
  const auto documents = makeDocuments();
  std::size_t total = 0;
  for (const Bytes& document : documents) total += document.size();
  std::size_t seen = 0;

  std::vector<double> parse;
  std::vector<double> whole;
  std::vector<double> ratios;
  for (int i = 0; i < alternations; ++i) {
    parse.push_back(
        seconds(documents, [&](const Bytes& each) { seen += platform::json::validate(each) ? 1 : 0; }));
    whole.push_back(seconds(documents, [&](const Bytes& each) {
      seen += platform::sha256Hex(platform::json::canonical(each).value()).size() / 64;
    }));
    ratios.push_back(parse.back() / whole.back());
  }
  if (seen != 2 * documentCount * alternations * passesPerAlternation) {
    fmt::print(stderr, "CanonicalBench: some of its documents were not read as JSON\n");
    return EXIT_FAILURE;
  }

  const double bytes = static_cast<double>(total) * passesPerAlternation;
  fmt::print("{} documents, {} bytes on average\n", documentCount, total / documentCount);
  fmt::print("parse-only median {:.0f} MB/s, canonicalise-and-hash median {:.0f} MB/s\n",
             bytes / median(parse) / 1e6, bytes / median(whole) / 1e6);
  fmt::print("canonicalise-and-hash / parse-only: {:.2f} (minimum {}, stretch {})\n", median(ratios),
             minimumRatio, stretchRatio);
}
