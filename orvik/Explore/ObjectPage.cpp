#include "orvik/Explore/ObjectPage.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "OrvikCore/Explore/ObjectDescriber.h"
#include "TuvCore/Error.h"
#include "orvik/Explore/BackupChoice.h"
#include "orvik/Explore/ChangeText.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Ink = Paint::Ink;
using OutlineNode = ObjectDescription::OutlineNode;

constexpr std::size_t ruleWidth = 72;
/// Labels beyond that don't push the values of all others to the right.
constexpr std::size_t widestLabel = 28;
/// Deeper levels are not indented further, and say how deep they are.
constexpr std::size_t deepestIndent = 24;

std::size_t lineCount(std::string_view text) {
  const auto ends = static_cast<std::size_t>(std::ranges::count(text, '\n'));
  return text.empty() || text.ends_with('\n') ? ends : ends + 1;
}

class PageText {
 public:
  PageText(const ObjectPage& page, const Paint& paint) : page_(page), paint_(paint) {}

  std::string make() && {
    head();
    for (const auto& problem : page_.problems) line(paint_(Ink::bad, oneLine(problem)));
    facts();
    for (const auto& list : page_.description.lists) entries(list);
    changes();
    for (const auto& text : page_.description.texts) framed(text);
    outline();
    out_.pop_back();
    return std::move(out_);
  }

 private:
  void line(std::string_view text) {
    out_ += text;
    out_ += '\n';
  }
  void heading(std::string_view title) {
    line("");
    line(paint_(Ink::strong, visibleLine(title)));
  }
  /// A text of one line or several, each but the first behind `indent` blanks.
  void hanging(std::string start, std::string_view text, std::size_t indent) {
    for (const char c : visible(text)) {
      start += c;
      if (c == '\n') start.append(indent, ' ');
    }
    line(start);
  }

  void head() {
    line(paint_(Ink::strong, visibleLine(page_.description.title)));
    line(fmt::format("{}, ID {}, {}", visibleLine(page_.description.kind), visibleLine(page_.entry.item.id),
                     changeText::word(page_.entry.change(), 0, paint_)));
    line("Backup " + visibleLine(page_.backup));
    if (page_.entry.isStored()) return;
    line("");
    line(page_.entry.error ? "The backup could not read it: " + oneLine(*page_.entry.error)
                           : "It was no longer on the server.");
    line(visibleLine(lastVersionText(page_.lastVersion)));
  }

  void facts() {
    const auto& facts = page_.description.facts;
    if (facts.empty()) return;
    line("");
    std::size_t width = 0;
    for (const auto& fact : facts)
      if (fact.label.size() <= widestLabel) width = std::max(width, fact.label.size());
    for (const auto& fact : facts)
      hanging(
          fmt::format("  {}  ", paint_(Ink::faint, fmt::format("{:<{}}", visibleLine(fact.label), width))),
          fact.value, width + 4);
  }

  void entries(const ObjectDescription::List& list) {
    heading(list.title);
    for (const auto& entry : list.entries) hanging("  ", entry, 6);
  }

  void changes() {
    if (page_.entry.change() != BackupReader::ChangeKind::changed) return;
    heading(page_.parentID ? "Changed since " + *page_.parentID : "Changed");
    line(page_.description.changes.empty() ? "  No field differs, or the version before can't be read."
                                           : changeText::lines(page_.description.changes, "  ", paint_));
  }

  void framed(const ObjectDescription::Text& text) {
    const auto count = wording::counted(static_cast<std::int64_t>(lineCount(text.text)), "line");
    const auto title = fmt::format("{}, {}", visibleLine(text.title), count);
    line("");
    line(fmt::format("── {} {:─<{}}", paint_(Ink::strong, title), "",
                     title.size() + 4 < ruleWidth ? ruleWidth - title.size() - 4 : 0));
    out_ += visible(text.text);
    if (!out_.ends_with('\n')) line("");
    line(fmt::format("{:─<{}}", "", ruleWidth));
  }

  void outline() {
    if (page_.description.outline.empty()) return;
    heading("Outline");
    nodes(page_.description.outline, 1);
  }
  void nodes(const std::vector<OutlineNode>& nodes, std::size_t level) {
    for (const auto& each : nodes) node(each, level);
  }

  void node(const OutlineNode& node, std::size_t level) {
    std::string start(2 * std::min(level, deepestIndent), ' ');
    if (level > deepestIndent) start += fmt::format("[{}] ", level);
    const auto label = node.label.empty() ? "\"\"" : visibleLine(node.label);
    if (node.children) {
      line(start + label + (node.value ? paint_(Ink::faint, fmt::format(" ({})", *node.value)) : ""));
      nodes(*node.children, level + 1);
    } else if (node.value == node.label) {
      line(start + label);
    } else {
      leaf(start + paint_(Ink::faint, label + ":"), node.value.value_or("–"), start.size() + 2);
    }
  }

  void leaf(std::string start, const std::string& value, std::size_t indent) {
    const auto& texts = page_.description.texts;
    const auto shown = std::ranges::find(texts, value, &ObjectDescription::Text::text);
    const bool isLong = value.find('\n') != value.npos;
    if (isLong && shown != texts.end())
      line(start + fmt::format(" see {} above", visibleLine(shown->title)));
    else if (isLong)
      hanging(start + "\n" + std::string(indent, ' '), value, indent);
    else
      line(value.empty() ? start : start + " " + visibleLine(value));
  }

  const ObjectPage& page_;
  const Paint& paint_;
  std::string out_;
};

/// What of an object can't be read, or not be relied on.
std::vector<std::string> problemsOf(const BackupReader& backup, const IndexItem& item) {
  std::vector<std::string> problems;
  for (const auto& [variant, hash] : item.objects)
    if (const auto trouble = troubleWith(backup, hash))
      problems.push_back(fmt::format("Its record \"{}\" can't be read: {}",
                                     ObjectDescriber::variantTitle(variant), *trouble));
  return problems;
}

Value outlineJSON(const std::vector<OutlineNode>& nodes, int level) {
  auto list = Value::array();
  for (const auto& node : nodes) {
    auto value = Value::object({{"label", node.label}});
    if (node.value) value.set("value", *node.value);
    const bool isCut = node.children && level == ObjectPage::deepestLevel && !node.children->empty();
    if (isCut) value.set("cut", true);
    if (node.children && !isCut) value.set("children", outlineJSON(*node.children, level + 1));
    list.append(std::move(value));
  }
  return list;
}

}  // namespace

ObjectPage ObjectPage::of(const BackupReader& backup, const BackupReader::Entry& entry) {
  ObjectPage page{titleOf(backup),
                  idOf(backup),
                  backup.manifest.parentBackupID,
                  entry,
                  backup.describe(entry),
                  problemsOf(backup, entry.item),
                  {}};
  if (!entry.isStored()) page.lastVersion = lastVersionBefore(backup, entry);
  return page;
}

std::string ObjectPage::text(const Paint& paint) const { return PageText(*this, paint).make(); }

Value ObjectPage::json() const {
  auto facts = Value::array(), lists = Value::array(), texts = Value::array(), unread = Value::array();
  for (const auto& [label, value] : description.facts)
    facts.append(Value::object({{"label", label}, {"value", value}}));
  for (const auto& list : description.lists)
    lists.append(Value::object(
        {{"title", list.title}, {"entries", Value::Array(list.entries.begin(), list.entries.end())}}));
  for (const auto& text : description.texts)
    texts.append(Value::object({{"title", text.title}, {"text", text.text}, {"isCode", text.isCode}}));
  for (const auto& problem : problems) unread.append(problem);

  auto line = Value::object({{"event", "object"},
                             {"backup", backupID},
                             {"section", entry.sectionID},
                             {"kind", description.kind},
                             {"id", entry.item.id},
                             {"name", entry.displayName()},
                             {"change", changeText::name(entry.change())}});
  if (parentID) line.set("parent", *parentID);
  if (entry.error) line.set("message", *entry.error);
  if (lastVersion) line.set("lastVersion", *lastVersion);
  line.set("facts", std::move(facts))
      .set("lists", std::move(lists))
      .set("texts", std::move(texts))
      .set("outline", outlineJSON(description.outline, 1))
      .set("changes", changeText::json(description.changes))
      .set("problems", std::move(unread));
  if (description.file) line.set("file", jsonOf(*description.file));
  return line;
}

}  // namespace orvik::host
