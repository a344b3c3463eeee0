#include "Platform/XML/XMLEvents.h"

#include <expat.h>
#include <fmt/format.h>

#include <exception>
#include <new>

namespace platform::xml {

struct Reading::Body {
  explicit Body(Events& told) : parser(XML_ParserCreate(nullptr)), events(told) {
    if (!parser) throw std::bad_alloc();
    // Nothing outside of the document is read: the library leaves external entities alone unless told how to
    // fetch them. Entities, and what else would let a short document become a long one, can only be declared
    // in an internal subset, which is refused where it begins.
    XML_SetUserData(parser.get(), this);
    XML_SetStartDoctypeDeclHandler(parser.get(),
                                   [](void* self, const char*, const char*, const char*, int isSubset) {
                                     of(self).guarded([&](auto&) {
                                       if (isSubset)
                                         throw ParseError("declarations, such as of entities, are not read");
                                     });
                                   });
    XML_SetSkippedEntityHandler(parser.get(), [](void* self, const char*, int) {
      of(self).guarded([&](auto&) { throw ParseError("an entity is used that XML itself doesn't know"); });
    });
    XML_SetElementHandler(
        parser.get(),
        [](void* self, const char* name, const char**) {
          of(self).guarded([&](auto& each) { each.begin(name); });
        },
        [](void* self, const char* name) { of(self).guarded([&](auto& each) { each.end(name); }); });
    XML_SetCharacterDataHandler(parser.get(), [](void* self, const char* text, int length) {
      of(self).guarded([&](auto& each) { each.text({text, static_cast<std::size_t>(length)}); });
    });
  }

  static Body& of(void* self) { return *static_cast<Body*>(self); }

  /// Calls of the library end here: no exception passes through it, and after the first nothing counts.
  template <class Step>
  void guarded(const Step& step) noexcept {
    if (failure) return;
    try {
      step(events);
    } catch (...) {
      failure = std::current_exception();
      XML_StopParser(parser.get(), XML_FALSE);
    }
  }

  struct Free {
    void operator()(XML_Parser made) const { XML_ParserFree(made); }
  };

  std::unique_ptr<XML_ParserStruct, Free> parser;
  Events& events;
  std::exception_ptr failure;
};

Reading::Reading(Events& events) : body_(std::make_unique<Body>(events)) {}
Reading::~Reading() = default;

void Reading::read(std::string_view xml) {
  static_assert(maximumSize <= 0x7FFFFFFF, "the library takes an int");
  XML_Parser parser = body_->parser.get();
  const bool isRead = XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), XML_TRUE) == XML_STATUS_OK;
  if (body_->failure) std::rethrow_exception(body_->failure);
  if (isRead) return;
  const XML_Error error = XML_GetErrorCode(parser);
  if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
  throw ParseError(fmt::format("it is not XML: {}", XML_ErrorString(error)));
}

std::uint64_t Reading::line() const { return XML_GetCurrentLineNumber(body_->parser.get()); }

}  // namespace platform::xml
