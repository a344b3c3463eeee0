#pragma once

#include <string>
#include <string_view>

#include "Platform/JSON/Value.h"
#include "Platform/XML/XMLElement.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/HTTPMessage.h"

/// Bodies of the Classic interface: XML as it comes, JSON as records hold it.
namespace sample {

/// Throws `Refusal` unless the client takes JSON, which is all that is given.
void requireJSON(const Request& request);

/// The root element of a request's body. Throws `Refusal` for another type of content, for what is no XML,
/// and for another root.
platform::xml::Element readRoot(const Request& request, std::string_view root);

/// Throws the `Refusal` with which the Classic interface answers to what contradicts its objects.
[[noreturn]] void refuseConflict(std::string_view sentence);

/// Puts what a client sent into a record, which is the object below its root.
///
/// What is left out stays, besides the lists and flags of a scope: one that is sent replaces the whole scope.
/// Elements that the record has no member for are dropped. A value outside of an enumeration becomes the
/// default, and so does what is no number. References are resolved, by id before name; one that leads nowhere
/// is refused.
class ClassicBody {
 public:
  /// `usual` is a new record of the kind, JSON; both must outlive this.
  ClassicBody(const Fleet& fleet, std::string_view usual);

  /// The record of an object that nothing is told of.
  const platform::json::Value& usual() const { return usual_; }
  /// Throws `Refusal`; the record is then worthless.
  void apply(const platform::xml::Element& sent, platform::json::Value& record) const;

 private:
  using Element = platform::xml::Element;
  using Value = platform::json::Value;

  /// `path` is that of `target` in the record, with a point behind it unless it is empty.
  void merge(const Element& sent, Value& target, const Value& usual, const std::string& path) const;
  Value merged(const Element& sent, const Value& old, const Value& usual, const std::string& path) const;
  Value readScope(const Element& sent, const Value& usual) const;
  Value readTargets(const Element& sent, std::string_view list) const;
  Value readCategory(const Element& sent) const;
  Value readSite(const Element& sent) const;
  Value readItems(const Element& sent, std::string_view section, std::string_view usual) const;

  const Fleet& fleet_;
  const Value usual_;
};

}  // namespace sample
