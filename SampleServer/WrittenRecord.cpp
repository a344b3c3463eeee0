#include "SampleServer/WrittenRecord.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

namespace sample {
namespace {

using platform::json::Value;

/// Where a written record keeps what the fleet reads or changes of it.
struct Form {
  std::string_view section;
  std::string_view owner;    ///< path of the object that has id and name
  std::string_view name;     ///< key of the name
  std::string_view touched;  ///< key of what a small change changes
};

constexpr Form forms[] = {
    {"categories", "category", "name", "priority"},
    {"scripts", "", "name", "notes"},
    {"packages", "", "packageName", "notes"},
    {"computerExtensionAttributes", "", "name", "description"},
    {"computerGroups", "computer_group", "name", "description"},
    {"policies", "policy.general", "name", "trigger_other"},
    {"computerConfigurationProfiles", "os_x_configuration_profile.general", "name", "description"},
};

const Form* formOf(const SectionRow& row) {
  const auto found = std::ranges::find(forms, row.id, &Form::section);
  return found == std::end(forms) ? nullptr : &*found;
}

}  // namespace

bool isWritable(const SectionRow& row) { return formOf(row) != nullptr; }

void setRecordID(const SectionRow& row, Value& record, std::string_view id) {
  Value& owner = *objectAt(record, formOf(row)->owner);
  if (row.kind == SectionKind::proList) {
    owner.set("id", id);
    return;
  }
  std::int64_t number = 0;
  std::from_chars(id.data(), id.data() + id.size(), number);
  owner.set("id", number);
}

void setRecordName(const SectionRow& row, Value& record, std::string_view name) {
  objectAt(record, formOf(row)->owner)->set(formOf(row)->name, name);
}

std::string recordName(const SectionRow& row, const Value& record) {
  return textOf(*objectAt(record, formOf(row)->owner), formOf(row)->name);
}

void touchRecord(const SectionRow& row, Value& record, unsigned revision) {
  constexpr std::int64_t greatestPriority = 20;
  const Form& form = *formOf(row);
  Value& owner = *objectAt(record, form.owner);
  if (const Value* number = owner.find(form.touched); number && number->integer()) {
    owner.set(form.touched, *number->integer() % greatestPriority + 1);
  } else {
    owner.set(form.touched, fmt::format("{} Changed {} time(s).", textOf(owner, form.touched), revision));
  }
}

const Value* objectAt(const Value& value, std::string_view path) {
  const Value* at = &value;
  while (at && !path.empty()) {
    const std::string_view key = path.substr(0, path.find('.'));
    path.remove_prefix(std::min(path.size(), key.size() + 1));
    at = at->find(key);
  }
  return at && at->object_() ? at : nullptr;
}

Value* objectAt(Value& value, std::string_view path) {
  return const_cast<Value*>(objectAt(std::as_const(value), path));
}

std::string textOf(const Value& object, std::string_view key) {
  const Value* member = object.find(key);
  const std::string* text = member ? member->string() : nullptr;
  return text ? *text : std::string();
}

std::string plainText(const Value* value) {
  if (!value) return {};
  if (const auto* text = value->string()) return *text;
  if (const auto* truth = value->boolean()) return *truth ? "true" : "false";
  return value->isNull() || value->object_() || value->array_() ? std::string() : value->text();
}

}  // namespace sample
