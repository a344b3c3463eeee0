#include "Platform/PDF/Canvas.h"

#include <cairo-pdf.h>
#include <fmt/format.h>
#include <fontconfig/fontconfig.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>
#include <vector>

#include "Platform/Error.h"
#include "Platform/PDF/RepeatedResources.h"
#include "Platform/PDF/Text.h"

namespace platform::pdf {

namespace {

struct Release {
  void operator()(void* object) const { g_object_unref(object); }
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
  void operator()(PangoAttrList* list) const { pango_attr_list_unref(list); }
  void operator()(cairo_t* context) const { cairo_destroy(context); }
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};

template <typename T>
using Owned = std::unique_ptr<T, Release>;

template <typename T>
Owned<T> owned(T* object) {
  if (!object) throw std::bad_alloc();
  return Owned<T>(object);
}

constexpr const char* proportional = "Inter, DejaVu Sans, sans-serif";
constexpr const char* printed = "Liberation Sans, DejaVu Sans, sans-serif";
constexpr const char* evenlySpaced = "DejaVu Sans Mono, monospace";
constexpr std::string_view ellipsis = "…";
/// A character is hardly narrower: what is longer than the lines have room for needn't be laid out.
constexpr double narrowest = 1;

int units(double points) { return static_cast<int>(points * PANGO_SCALE); }

void requireFonts() {
  const FcConfig* config = FcConfigGetCurrent();
  const FcFontSet* fonts = config ? FcConfigGetFonts(const_cast<FcConfig*>(config), FcSetSystem) : nullptr;
  if (!fonts || fonts->nfont == 0)
    throw Error(
        "A PDF can't be made, because no fonts are installed. Install the package fonts-inter or "
        "fonts-dejavu-core.");
}

cairo_status_t append(void* out, const unsigned char* data, unsigned int size) try {
  static_cast<Bytes*>(out)->append(reinterpret_cast<const char*>(data), size);
  return CAIRO_STATUS_SUCCESS;
} catch (...) {
  return CAIRO_STATUS_NO_MEMORY;
}

void check(cairo_status_t status) {
  if (status == CAIRO_STATUS_NO_MEMORY) throw std::bad_alloc();
  if (status != CAIRO_STATUS_SUCCESS)
    throw Error(fmt::format("A PDF can't be made: {}.", cairo_status_to_string(status)));
}

const char* familiesOf(Face face) {
  switch (face) {
    case Face::mono:
      return evenlySpaced;
    case Face::print:
    case Face::printBold:
      return printed;
    case Face::regular:
    case Face::bold:
      break;
  }
  return proportional;
}

Owned<PangoFontDescription> description(Font font) {
  const bool isBold = font.face == Face::bold || font.face == Face::printBold;
  auto result = owned(pango_font_description_new());
  pango_font_description_set_family_static(result.get(), familiesOf(font.face));
  pango_font_description_set_weight(result.get(), isBold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  pango_font_description_set_absolute_size(result.get(), font.size * PANGO_SCALE);
  return result;
}

/// Text is drawn as it stands: no hyphen where a word is broken, no arrow for "->".
Owned<PangoAttrList> attributes() {
  auto list = owned(pango_attr_list_new());
  pango_attr_list_insert(list.get(), pango_attr_insert_hyphens_new(FALSE));
  pango_attr_list_insert(list.get(), pango_attr_font_features_new("calt=0"));
  return list;
}

PangoLayoutLine* lineOf(const Owned<PangoLayout>& layout, std::size_t line) {
  return pango_layout_get_line_readonly(layout.get(), static_cast<int>(line));
}

}  // namespace

/// All lines of a text; of one that is cut the last line is laid out by itself.
struct TextBlock::Layout {
  Owned<PangoLayout> text;
  Owned<PangoLayout> last;
  std::size_t lines = 0;
  double continuationIndent = 0;

  PangoLayoutLine* line(std::size_t line) const {
    return last && line + 1 == lines ? lineOf(last, 0) : lineOf(text, line);
  }
};

TextBlock::TextBlock(std::unique_ptr<Layout> layout) : layout_(std::move(layout)) {}
TextBlock::TextBlock(TextBlock&&) noexcept = default;
TextBlock& TextBlock::operator=(TextBlock&&) noexcept = default;
TextBlock::~TextBlock() = default;

std::size_t TextBlock::lineCount() const noexcept { return layout_->lines; }

double TextBlock::lineWidth(std::size_t line) const noexcept {
  PangoRectangle extents;
  pango_layout_line_get_extents(layout_->line(line), nullptr, &extents);
  return static_cast<double>(extents.width) / PANGO_SCALE;
}

bool TextBlock::isCut() const noexcept { return layout_->last != nullptr; }

struct Canvas::State {
  Bytes bytes;
  Owned<cairo_surface_t> surface;
  Owned<cairo_t> drawing;
  Owned<PangoFontMap> fonts;
  Owned<PangoContext> text;
  Owned<PangoAttrList> attributes;
  int page = 0;
  std::vector<int> outline;  ///< the last bookmark of each level

  void color(Color color) { cairo_set_source_rgb(drawing.get(), color.red, color.green, color.blue); }

  Owned<PangoLayout> lines(const std::string& content, Font font, double width) const {
    auto layout = owned(pango_layout_new(text.get()));
    pango_layout_set_font_description(layout.get(), description(font).get());
    pango_layout_set_attributes(layout.get(), attributes.get());
    pango_layout_set_auto_dir(layout.get(), FALSE);
    pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_width(layout.get(), units(std::max(width, 1.0)));
    pango_layout_set_text(layout.get(), content.data(), static_cast<int>(content.size()));
    return layout;
  }
};

Canvas::Canvas(Size page, const Metadata& metadata) : state_(std::make_unique<State>()) {
  requireFonts();
  State& s = *state_;
  s.surface = owned(cairo_pdf_surface_create_for_stream(append, &s.bytes, page.width, page.height));
  check(cairo_surface_status(s.surface.get()));
  const auto note = [&](cairo_pdf_metadata_t key, std::string_view text) {
    cairo_pdf_surface_set_metadata(s.surface.get(), key, drawable(text, U' ').c_str());
  };
  note(CAIRO_PDF_METADATA_TITLE, metadata.title);
  note(CAIRO_PDF_METADATA_AUTHOR, metadata.author);
  note(CAIRO_PDF_METADATA_CREATOR, metadata.creator);
  note(CAIRO_PDF_METADATA_CREATE_DATE, iso8601(metadata.created));
  note(CAIRO_PDF_METADATA_MOD_DATE, iso8601(metadata.created));
  s.drawing = owned(cairo_create(s.surface.get()));
  s.fonts = owned(pango_cairo_font_map_new());
  pango_cairo_font_map_set_resolution(PANGO_CAIRO_FONT_MAP(s.fonts.get()), 72);
  s.text = owned(pango_font_map_create_context(s.fonts.get()));
  // Names from right to left stand in lines from left to right. The context's own direction is a weak one,
  // which the first letter of a text turns.
  pango_context_set_base_dir(s.text.get(), PANGO_DIRECTION_LTR);
  pango_context_set_round_glyph_positions(s.text.get(), FALSE);
  pango_cairo_update_context(s.drawing.get(), s.text.get());
  s.attributes = pdf::attributes();
}

Canvas::~Canvas() = default;

void Canvas::beginPage() { ++state_->page; }

void Canvas::endPage() {
  cairo_show_page(state_->drawing.get());
  check(cairo_status(state_->drawing.get()));
}

void Canvas::fillRectangle(double x, double y, double width, double height, Color color) {
  state_->color(color);
  cairo_rectangle(state_->drawing.get(), x, y, width, height);
  cairo_fill(state_->drawing.get());
}

void Canvas::strokeLine(double fromX, double fromY, double toX, double toY, double width, Color color) {
  cairo_t* drawing = state_->drawing.get();
  state_->color(color);
  cairo_set_line_width(drawing, width);
  cairo_move_to(drawing, fromX, fromY);
  cairo_line_to(drawing, toX, toY);
  cairo_stroke(drawing);
}

TextBlock Canvas::layOut(std::string_view text, Font font, const TextFlow& flow) {
  // A line separator ends a line and not the paragraph, so that what follows is indented as a continuation.
  const char32_t lineEnd = flow.continuationIndent > 0 ? U'\u2028' : U'\n';
  auto visible = text;
  if (flow.maxLines > 0)
    visible = beginning(text, static_cast<std::size_t>(flow.width / narrowest) * flow.maxLines);
  const std::string content = drawable(visible, lineEnd);

  auto layout = std::make_unique<TextBlock::Layout>();
  layout->continuationIndent = flow.continuationIndent;
  layout->text = state_->lines(content, font, flow.width);
  pango_layout_set_indent(layout->text.get(), -units(flow.continuationIndent));
  const auto count = static_cast<std::size_t>(pango_layout_get_line_count(layout->text.get()));
  const bool isCut = flow.maxLines > 0 && (count > flow.maxLines || visible.size() < text.size());
  layout->lines = isCut ? std::min(count, flow.maxLines) : count;
  if (isCut) {
    const auto* end = lineOf(layout->text, layout->lines - 1);
    std::string last =
        content.substr(static_cast<std::size_t>(end->start_index), static_cast<std::size_t>(end->length));
    while (last.ends_with(' ')) last.pop_back();
    const double indent = layout->lines > 1 ? flow.continuationIndent : 0;
    layout->last = state_->lines(last.append(ellipsis), font, flow.width - indent);
    pango_layout_set_single_paragraph_mode(layout->last.get(), TRUE);
    pango_layout_set_ellipsize(layout->last.get(), PANGO_ELLIPSIZE_END);
  }
  return TextBlock(std::move(layout));
}

void Canvas::draw(const TextBlock& block, std::size_t line, double x, double baseline, Color color) {
  state_->color(color);
  const double indent = line > 0 ? block.layout_->continuationIndent : 0;
  cairo_move_to(state_->drawing.get(), x + indent, baseline);
  pango_cairo_show_layout_line(state_->drawing.get(), block.layout_->line(line));
}

void Canvas::addOutline(std::string_view text, int level, double y) {
  State& s = *state_;
  const auto depth = std::min(static_cast<std::size_t>(level), s.outline.size());
  const int parent = depth > 0 ? s.outline[depth - 1] : CAIRO_PDF_OUTLINE_ROOT;
  const auto place = fmt::format("page={} pos=[0 {:.2f}]", s.page, y);
  s.outline.resize(depth);
  s.outline.push_back(cairo_pdf_surface_add_outline(s.surface.get(), parent, drawable(text, U' ').c_str(),
                                                    place.c_str(), cairo_pdf_outline_flags_t{}));
}

Bytes Canvas::finish() {
  State& s = *state_;
  check(cairo_status(s.drawing.get()));
  cairo_surface_finish(s.surface.get());
  check(cairo_surface_status(s.surface.get()));
  blankRepeatedResources(s.bytes);
  return std::move(s.bytes);
}

}  // namespace platform::pdf
