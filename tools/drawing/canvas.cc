// Surfaces: see the header. The same calls draw both forms; a file is collected in memory and
// written at the end.
#include "tools/drawing/canvas.h"

#include "tools/output/characters.h"
#include "tools/output/json.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

constexpr double kWhole = 255;

cairo_status_t Collect(void* to, const unsigned char* bytes, unsigned size) {
  static_cast<std::string*>(to)->append(reinterpret_cast<const char*>(bytes), size);
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

std::string DrawableText(const std::string& text) {
  std::string drawable = Utf8Text(text);
  for (char& c : drawable) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  }
  return drawable;
}

Canvas::Canvas(const CairoLibrary& cairo, const std::string& path, int width, int height)
    : cairo_(cairo),
      path_(path),
      svg_(path.ends_with(".svg")),
      surface_(svg_ ? cairo_.svg_surface_create_for_stream(Collect, &bytes_, width, height)
                    : cairo_.image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
      context_(cairo_.create(surface_)) {
  cairo_.set_line_join(context_, CAIRO_LINE_JOIN_ROUND);
}

Canvas::~Canvas() {
  cairo_.destroy(context_);
  cairo_.surface_destroy(surface_);
}

bool Canvas::Finish() {
  cairo_status_t status = cairo_.status(context_);
  if (status == CAIRO_STATUS_SUCCESS && !svg_) {
    status = cairo_.surface_write_to_png_stream(surface_, Collect, &bytes_);
  }
  cairo_.surface_finish(surface_);
  if (status == CAIRO_STATUS_SUCCESS) status = cairo_.surface_status(surface_);
  if (status != CAIRO_STATUS_SUCCESS) {
    return Fail(path_, std::string("cannot be drawn: ") + cairo_.status_to_string(status));
  }
  RecordFile file(path_);
  return file.Create() &&
         file.Write(reinterpret_cast<const uint8_t*>(bytes_.data()), bytes_.size()) &&
         file.Finish();
}

void Canvas::Use(const Colour& colour) {
  cairo_.set_source_rgba(context_, colour.red / kWhole, colour.green / kWhole, colour.blue / kWhole,
                         colour.opacity);
}

void Canvas::Rectangle(double x, double y, double width, double height) {
  cairo_.rectangle(context_, x, y, width, height);
  cairo_.fill(context_);
}

void Canvas::Line(double x1, double y1, double x2, double y2, double width) {
  MoveTo(x1, y1);
  LineTo(x2, y2);
  Stroke(width);
}

void Canvas::Stroke(double width) {
  cairo_.set_line_width(context_, width);
  cairo_.stroke(context_);
}

void Canvas::Fill() {
  cairo_.close_path(context_);
  cairo_.fill(context_);
}

void Canvas::Clip(double x, double y, double width, double height) {
  cairo_.rectangle(context_, x, y, width, height);
  cairo_.clip(context_);
}

void Canvas::UseFont(double size, bool bold) {
  cairo_.select_font_face(context_, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                          bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_.set_font_size(context_, size);
}

double Canvas::WidthOf(const std::string& text) {
  cairo_text_extents_t extents;
  cairo_.text_extents(context_, text.c_str(), &extents);
  return extents.x_advance;
}

std::string Canvas::Fitting(const std::string& text, double room) {
  std::string fitting = DrawableText(text);
  if (WidthOf(fitting) <= room) return fitting;
  const std::string dots = "\u2026";
  while (!fitting.empty() && WidthOf(fitting + dots) > room) {
    // Whole characters go.
    while (!fitting.empty() && IsInsideCharacter(fitting.back())) {
      fitting.pop_back();
    }
    if (!fitting.empty()) fitting.pop_back();
  }
  return fitting + dots;
}

void Canvas::Text(double x, double y, const std::string& text, Align align, double room) {
  const std::string fitting = Fitting(text, room);
  const double width = WidthOf(fitting);
  const double back = align == Align::kLeft ? 0 : align == Align::kCentre ? width / 2 : width;
  cairo_.move_to(context_, x - back, y);
  cairo_.show_text(context_, fitting.c_str());
}

void Canvas::UpwardText(double x, double y, const std::string& text, double room) {
  constexpr double kQuarter = -1.5707963267948966;
  cairo_.save(context_);
  cairo_.translate(context_, x, y);
  cairo_.rotate(context_, kQuarter);
  Text(0, 0, text, Align::kCentre, room);
  cairo_.restore(context_);
}

}  // namespace psltool
