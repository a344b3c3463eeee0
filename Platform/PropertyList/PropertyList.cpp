#include "Platform/PropertyList/PropertyList.h"

#include <expat.h>
#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>

#include "Platform/PropertyList/Builder.h"

namespace platform::plist {

namespace {

/// One reading of one document.
class Reading {
 public:
  Reading() : parser_(XML_ParserCreate(nullptr)) {
    if (!parser_) throw std::bad_alloc();
    // Nothing outside of the document is read: the library leaves external entities alone unless told how to
    // fetch them. Entities, and what else would let a short document become a long one, can only be declared
    // in an internal subset, which is refused where it begins.
    XML_SetUserData(parser_.get(), this);
    XML_SetStartDoctypeDeclHandler(
        parser_.get(), [](void* self, const char*, const char*, const char*, int isSubset) {
          of(self).guarded([&](auto&) {
            if (isSubset)
              throw ParseError("declarations, such as of entities, are not read in a property list");
          });
        });
    XML_SetSkippedEntityHandler(parser_.get(), [](void* self, const char*, int) {
      of(self).guarded([&](auto&) { throw ParseError("an entity is used that XML itself doesn't know"); });
    });
    XML_SetElementHandler(
        parser_.get(),
        [](void* self, const char* name, const char**) {
          of(self).guarded([&](auto& builder) { builder.begin(name); });
        },
        [](void* self, const char* name) { of(self).guarded([&](auto& builder) { builder.end(name); }); });
    XML_SetCharacterDataHandler(parser_.get(), [](void* self, const char* text, int length) {
      of(self).guarded([&](auto& builder) { builder.text({text, static_cast<std::size_t>(length)}); });
    });
  }

  Value read(std::string_view xml) {
    static_assert(maximumSize <= 0x7FFFFFFF, "the library takes an int");
    const bool isRead =
        XML_Parse(parser_.get(), xml.data(), static_cast<int>(xml.size()), XML_TRUE) == XML_STATUS_OK;
    if (failure_) std::rethrow_exception(failure_);
    if (isRead) return builder_.finish();
    const XML_Error error = XML_GetErrorCode(parser_.get());
    if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    throw ParseError(fmt::format("it is not XML: {}", XML_ErrorString(error)));
  }

  /// The line, from 1, that was read last.
  std::uint64_t line() const { return XML_GetCurrentLineNumber(parser_.get()); }

 private:
  struct Free {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  static Reading& of(void* self) { return *static_cast<Reading*>(self); }

  /// Calls of the library end here: no exception passes through it, and after the first nothing counts.
  template <class Step>
  void guarded(const Step& step) noexcept {
    if (failure_) return;
    try {
      step(builder_);
    } catch (...) {
      failure_ = std::current_exception();
      XML_StopParser(parser_.get(), XML_FALSE);
    }
  }

  std::unique_ptr<XML_ParserStruct, Free> parser_;
  detail::Builder builder_;
  std::exception_ptr failure_;
};

}  // namespace

const Value* Value::find(std::string_view key) const {
  const Dictionary* members = dictionary();
  if (!members) return nullptr;
  const auto found =
      std::ranges::find(*members, key, [](const auto& member) -> std::string_view { return member.first; });
  return found == members->end() ? nullptr : &found->second;
}

Value parse(std::string_view xml) {
  if (xml.empty()) throw ParseError("the property list is empty");
  if (xml.starts_with("bplist0")) throw ParseError("the property list is in its binary form, not in XML");
  if (xml.size() > maximumSize)
    throw ParseError(fmt::format("the property list takes {} bytes, more than {}", xml.size(), maximumSize));
  Reading reading;
  try {
    return reading.read(xml);
  } catch (const ParseError& error) {
    throw ParseError(fmt::format("line {}: {}", reading.line(), error.description()));
  }
}

}  // namespace platform::plist
