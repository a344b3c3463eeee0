#include "orvik/Status/Metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <optional>
#include <set>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Locale/Text.h"
#include "tests/Support/RegisteredHost.h"
#include "tests/Support/SampleRecords.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using host::InstanceState;
using host::JudgedInstance;
using testing::HasSubstr;
namespace files = platform::files;

using Labels = std::map<std::string, std::string>;

/// A strict reader of the text format, version 0.0.4: what a lenient one would forgive fails the test.
class Exposition {
 public:
  explicit Exposition(const std::string& text) : text_(text) {
    EXPECT_TRUE(platform::locale::isValidUTF8(text));
    EXPECT_TRUE(text.ends_with('\n')) << "the last line needs its end";
    for (std::size_t start = 0; start < text.size();) {
      const auto end = text.find('\n', start);
      line_ = text.substr(start, end - start);
      at_ = 0;
      line_.starts_with('#') ? comment() : sample();
      start = end + 1;
    }
    for (const auto& [name, type] : types_) EXPECT_TRUE(helps_.contains(name)) << name;
  }

  /// Nothing when there is no such sample.
  std::optional<std::string> value(const std::string& name, const Labels& labels = {}) const {
    const auto found = samples_.find({name, labels});
    return found == samples_.end() ? std::nullopt : std::optional(found->second);
  }
  std::size_t count(const std::string& name) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(samples_, [&](const auto& each) { return each.first.first == name; }));
  }

 private:
  void comment() {
    const bool isHelp = line_.starts_with("# HELP ");
    ASSERT_TRUE(isHelp || line_.starts_with("# TYPE ")) << line_;
    at_ = 7;
    const auto family = name();
    ASSERT_TRUE(family.starts_with("orvik_")) << line_;
    take(' ');
    const auto rest = line_.substr(at_);
    if (isHelp) {
      EXPECT_TRUE(helps_.insert(family).second) << "a second help of " << family;
      EXPECT_EQ(rest.find('\\'), rest.npos);
    } else {
      EXPECT_TRUE(types_.emplace(family, rest).second) << "a second type of " << family;
      EXPECT_EQ(rest, "gauge");
    }
    current_ = family;
  }
  void sample() {
    const auto family = name();
    EXPECT_EQ(family, current_) << "samples of a family stand together, below its type";
    EXPECT_TRUE(types_.contains(family)) << family;
    Labels labels;
    if (peek() == '{') {
      take('{');
      while (peek() != '}') {
        const auto label = name();
        take('=');
        EXPECT_TRUE(labels.emplace(label, quoted()).second) << "a second label " << label;
        if (peek() == ',') take(',');
      }
      take('}');
    }
    take(' ');
    const auto number = line_.substr(at_);
    EXPECT_FALSE(number.empty());
    EXPECT_EQ(number.find_first_not_of("0123456789", number.starts_with('-') ? 1 : 0), number.npos) << line_;
    EXPECT_TRUE(samples_.emplace(std::pair(family, labels), number).second) << "twice: " << line_;
  }

  char peek() const { return at_ < line_.size() ? line_[at_] : '\0'; }
  void take(char expected) {
    EXPECT_EQ(peek(), expected) << line_;
    ++at_;
  }
  std::string name() {
    const auto start = at_;
    while (std::isalpha(static_cast<unsigned char>(peek())) || peek() == '_' ||
           (at_ > start && std::isdigit(static_cast<unsigned char>(peek()))))
      ++at_;
    EXPECT_GT(at_, start) << line_;
    return line_.substr(start, at_ - start);
  }
  std::string quoted() {
    std::string text;
    take('"');
    for (; at_ < line_.size() && peek() != '"'; ++at_) {
      if (peek() != '\\') {
        text += peek();
        continue;
      }
      ++at_;
      EXPECT_TRUE(peek() == '\\' || peek() == '"' || peek() == 'n') << "a backslash before " << peek();
      text += peek() == 'n' ? '\n' : peek();
    }
    take('"');
    return text;
  }

  const std::string& text_;
  std::string line_;
  std::size_t at_ = 0;
  std::string current_;
  std::set<std::string> helps_;
  std::map<std::string, std::string> types_;
  std::map<std::pair<std::string, Labels>, std::string> samples_;
};

const platform::Date now = test::date("2026-11-22T09:30:00Z");

JudgedInstance instance(const std::string& name) {
  InstanceState state;
  state.name = name;
  state.id = *platform::UUID::parse("6F9619FF-8B86-D011-B42D-00C04FC964FF");
  state.hasFolder = true;
  state.last =
      InstanceState::Backup{"2026-11-22T073000Z", now - 2h, BackupManifest::Status::complete, 3, 512};
  state.bytes = 4096;
  return {std::move(state), {}};
}
Labels labelsOf(const std::string& name) {
  return {{"name", name}, {"instance_id", "6F9619FF-8B86-D011-B42D-00C04FC964FF"}};
}
Labels withStatus(const std::string& name, const std::string& status) {
  auto labels = labelsOf(name);
  labels["status"] = status;
  return labels;
}

TEST(Metrics, TellWhatIsKnownOfEachInstance) {
  auto school = instance("School");
  school.state.nextRun = now + 1h;
  const auto text = host::metricsText({school}, now);
  const Exposition found(text);
  const auto labels = labelsOf("School");
  const auto seconds =
      std::to_string(std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch()).count());
  EXPECT_EQ(found.value("orvik_status_timestamp_seconds"), seconds);
  EXPECT_EQ(found.value("orvik_instances"), "1");
  EXPECT_EQ(found.value("orvik_overdue", labels), "0");
  EXPECT_EQ(found.value("orvik_last_backup_timestamp_seconds", labels),
            std::to_string(std::stoll(seconds) - 7200));
  EXPECT_EQ(found.value("orvik_last_backup_age_seconds", labels), "7200");
  EXPECT_EQ(found.value("orvik_last_backup_status", withStatus("School", "complete")), "1");
  EXPECT_EQ(found.value("orvik_last_backup_status", withStatus("School", "completeWithWarnings")), "0");
  EXPECT_EQ(found.value("orvik_last_backup_objects", labels), "512");
  EXPECT_EQ(found.value("orvik_last_backup_warnings", labels), "3");
  EXPECT_EQ(found.value("orvik_folder_bytes", labels), "4096");
  EXPECT_EQ(found.value("orvik_next_run_timestamp_seconds", labels),
            std::to_string(std::stoll(seconds) + 3600));
}

TEST(Metrics, NoSampleStandsForWhatIsNotKnown) {
  auto school = instance("School");
  school.state.last.reset();
  school.state.bytes.reset();
  school.verdict.isOverdue = true;
  const auto text = host::metricsText({school}, now);
  const Exposition found(text);
  EXPECT_EQ(found.value("orvik_overdue", labelsOf("School")), "1");
  for (const auto* name :
       {"orvik_last_backup_timestamp_seconds", "orvik_last_backup_age_seconds", "orvik_last_backup_status",
        "orvik_last_backup_objects", "orvik_folder_bytes", "orvik_next_run_timestamp_seconds"})
    EXPECT_EQ(found.count(name), 0U) << name;
}

TEST(Metrics, NamesAreEscapedAndMended) {
  const std::vector<std::string> names{"a \"quoted\" one", "back\\slash",  "two\nlines", "trailing\\",
                                       "Schüle ✓",         "comma,brace}", "a=\"b\""};
  for (const auto& name : names) {
    const auto text = host::metricsText({instance(name)}, now);
    EXPECT_EQ(Exposition(text).value("orvik_instances"), "1");
    EXPECT_EQ(Exposition(text).value("orvik_last_backup_objects", labelsOf(name)), "512") << name;
  }
  const auto text = host::metricsText({instance("torn \xff")}, now);
  EXPECT_EQ(Exposition(text).value("orvik_last_backup_objects", labelsOf("torn \uFFFD")), "512");
}

TEST(Metrics, NoSampleStandsTwice) {
  const auto text = host::metricsText({instance("School"), instance("School"), instance("North")}, now);
  const Exposition found(text);
  EXPECT_EQ(found.count("orvik_overdue"), 2U);
  EXPECT_EQ(found.value("orvik_instances"), "3");
}

TEST(Metrics, ABackupAheadOfTheClockHasANegativeAge) {
  auto school = instance("School");
  school.state.last->finishedAt = now + 90s;
  const auto text = host::metricsText({school}, now);
  EXPECT_EQ(Exposition(text).value("orvik_last_backup_age_seconds", labelsOf("School")), "-90");
}

class MetricsFile : public test::RegisteredHost {
 protected:
  test::ProgramEnd status(const std::filesystem::path& file) const {
    return run({"status", "--to", root.string(), "--metrics", file.string()});
  }
  std::string backUp(const InstanceConfig& instance) const {
    auto manifest = test::plainManifest("2026-11-22T073000Z");
    manifest.instance = instance.descriptor();
    manifest.finishedAt = std::chrono::floor<std::chrono::seconds>(platform::now());
    manifest.totals.objects = 41;
    const BackupRepository place(root, instance.descriptor().slug);
    place.writeDescriptor(manifest.instance);
    test::write(place.backupDirectory(manifest.backupID) / BackupFormat::manifestFile,
                BackupFormat::makeEncoder().encode(manifest));
    return manifest.backupID;
  }

  const std::filesystem::path root = home / "backups";
  const std::filesystem::path file = home / "orvik.prom";
};

TEST_F(MetricsFile, IsWrittenBesideTheTableAndReplacedWhole) {
  const auto instance = registered("Sch\"ool", "https://school.example.com");
  backUp(instance);
  test::write(file, "what was there");
  const auto end = status(file);
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, HasSubstr("Sch\"ool"));
  const auto text = files::read(file);
  const Labels labels{{"name", "Sch\"ool"}, {"instance_id", instance.id.text()}};
  EXPECT_EQ(Exposition(text).value("orvik_last_backup_objects", labels), "41");
  EXPECT_EQ(Exposition(text).value("orvik_overdue", labels), "0");
  EXPECT_NE(Exposition(text).value("orvik_folder_bytes", labels), std::nullopt);
  EXPECT_THAT(files::list(home.path()), testing::UnorderedElementsAre(".local", "backups", "orvik.prom"));
}

TEST_F(MetricsFile, AnOverdueInstanceIsWrittenToo) {
  const auto instance = registered("School", "https://school.example.com");
  EXPECT_EQ(status(file).status, 5);
  EXPECT_THAT(files::read(file), HasSubstr("orvik_overdue{name=\"School\""));
}

TEST_F(MetricsFile, APlaceThatIsNoneIsRefusedBeforeAnythingElse) {
  registered("School", "https://school.example.com");
  EXPECT_EQ(status(home / "missing/orvik.prom").status, 2);
  EXPECT_EQ(status(home.path()).status, 2);
  EXPECT_EQ(run({"status", "--to", root.string(), "--metrics", ""}).status, 2);
  const auto end = status("/proc/orvik.prom");
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("/proc/orvik.prom"));
  EXPECT_THAT(end.output, HasSubstr("School")) << "what was found is told all the same";
}

TEST_F(MetricsFile, StaysAsItIsWhenNothingIsFound) {
  test::write(file, "of an earlier time\n");
  EXPECT_EQ(status(file).status, 10);
  EXPECT_EQ(files::read(file), "of an earlier time\n");
}

}  // namespace
}  // namespace orvik
