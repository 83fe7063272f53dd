// A surface to draw upon, with the few means that a chart needs, and the file that it becomes.
#pragma once

#include <cstdint>
#include <string>

#include "tools/drawing/cairo_library.h"
#include "tools/output/record_file.h"

namespace psltool {

struct Colour {
  uint8_t red;
  uint8_t green;
  uint8_t blue;
  double opacity = 1;
};

enum class Align : uint8_t { kLeft, kCentre, kRight };

class Canvas {
 public:
  // By the end of the path's name SVG or PNG.
  Canvas(const CairoLibrary& cairo, const std::string& path, int width, int height);
  ~Canvas();
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  // Writes the file, whole or not at all. False: reported.
  bool Finish();

  void Use(const Colour& colour);
  void Rectangle(double x, double y, double width, double height);
  void Line(double x1, double y1, double x2, double y2, double width);
  void MoveTo(double x, double y) { cairo_.move_to(context_, x, y); }
  void LineTo(double x, double y) { cairo_.line_to(context_, x, y); }
  void Stroke(double width);
  void Fill();
  void Clip(double x, double y, double width, double height);
  void Unclip() { cairo_.reset_clip(context_); }

  void UseFont(double size, bool bold = false);
  double WidthOf(const std::string& text);
  // `x`, `y`: of the base line. A text that has no room is cut, with dots behind it.
  void Text(double x, double y, const std::string& text, Align align, double room = 1e9);
  // Upwards, its middle at the place.
  void UpwardText(double x, double y, const std::string& text, double room);

 private:
  std::string Fitting(const std::string& text, double room);

  const CairoLibrary& cairo_;
  std::string path_;
  bool svg_;
  std::string bytes_;
  cairo_surface_t* surface_;
  cairo_t* context_;
};

// UTF-8 without control characters, which a drawing cannot show.
std::string DrawableText(const std::string& text);

}  // namespace psltool
