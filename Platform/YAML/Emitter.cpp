#include "Platform/YAML/Emitter.h"

#include <fmt/format.h>
#include <yaml.h>

#include "Platform/Locale/Text.h"
#include "Platform/YAML/Node.h"

namespace platform::yaml {

namespace {

const yaml_char_t* bytes(std::string_view text) { return reinterpret_cast<const yaml_char_t*>(text.data()); }

/// Line ends that a reader makes line feeds of, and characters that it may drop.
bool needsEscapes(std::string_view text) {
  for (const std::string_view character : {"\r", "\xc2\x85", "\xe2\x80\xa8", "\xe2\x80\xa9", "\xef\xbb\xbf"})
    if (text.find(character) != std::string_view::npos) return true;
  return false;
}

int append(void* target, unsigned char* buffer, std::size_t size) {
  static_cast<std::string*>(target)->append(reinterpret_cast<const char*>(buffer), size);
  return 1;
}

}  // namespace

struct Emitter::State {
  explicit State(EmitStyle wanted) : style(wanted) {
    if (!yaml_emitter_initialize(&emitter)) throw std::bad_alloc();
    yaml_emitter_set_output(&emitter, append, &output);
    yaml_emitter_set_unicode(&emitter, style.unicode ? 1 : 0);
  }
  ~State() { yaml_emitter_delete(&emitter); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  void emit(int made, yaml_event_t& event) {
    if (!made) throw std::bad_alloc();
    if (!yaml_emitter_emit(&emitter, &event))
      throw EmitError(
          fmt::format("The document can't be written: {}.", emitter.problem ? emitter.problem : "no reason"));
  }

  void scalar(std::string_view text, bool quotedImplicit, yaml_scalar_style_t how) {
    yaml_event_t event;
    emit(yaml_scalar_event_initialize(&event, nullptr, nullptr, bytes(text), static_cast<int>(text.size()), 1,
                                      quotedImplicit ? 1 : 0, how),
         event);
  }

  const EmitStyle style;
  std::string output;
  yaml_emitter_t emitter{};
};

Emitter::Emitter(EmitStyle style) : state_(std::make_unique<State>(style)) {
  yaml_event_t event;
  state_->emit(yaml_stream_start_event_initialize(&event, YAML_UTF8_ENCODING), event);
  state_->emit(yaml_document_start_event_initialize(&event, nullptr, nullptr, nullptr, 1), event);
}

Emitter::~Emitter() = default;

void Emitter::beginMapping() {
  yaml_event_t event;
  state_->emit(yaml_mapping_start_event_initialize(&event, nullptr, nullptr, 1, YAML_ANY_MAPPING_STYLE),
               event);
}

void Emitter::endMapping() {
  yaml_event_t event;
  state_->emit(yaml_mapping_end_event_initialize(&event), event);
}

void Emitter::beginSequence() {
  yaml_event_t event;
  state_->emit(yaml_sequence_start_event_initialize(&event, nullptr, nullptr, 1, YAML_ANY_SEQUENCE_STYLE),
               event);
}

void Emitter::endSequence() {
  yaml_event_t event;
  state_->emit(yaml_sequence_end_event_initialize(&event), event);
}

void Emitter::text(std::string_view value) {
  if (!locale::isValidUTF8(value)) throw EmitError("A text is not valid UTF-8.");
  if (value.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    throw EmitError("A text is longer than 2 GB.");
  auto how = YAML_ANY_SCALAR_STYLE;
  if (needsEscapes(value))
    how = YAML_DOUBLE_QUOTED_SCALAR_STYLE;
  else if (isSpecialPlain(value))
    how = YAML_SINGLE_QUOTED_SCALAR_STYLE;
  else if (state_->style.literalTexts && value.find('\n') != std::string_view::npos)
    how = YAML_LITERAL_SCALAR_STYLE;
  state_->scalar(value, true, how);
}

void Emitter::boolean(bool value) { state_->scalar(value ? "true" : "false", false, YAML_ANY_SCALAR_STYLE); }

void Emitter::integer(std::int64_t value) {
  state_->scalar(std::to_string(value), false, YAML_ANY_SCALAR_STYLE);
}

std::string Emitter::take() {
  yaml_event_t event;
  state_->emit(yaml_document_end_event_initialize(&event, 1), event);
  state_->emit(yaml_stream_end_event_initialize(&event), event);
  return std::move(state_->output);
}

}  // namespace platform::yaml
