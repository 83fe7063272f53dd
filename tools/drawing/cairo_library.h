// The library that draws, loaded when something is drawn: with it come those of fonts and windows,
// and to find and link all of them takes longer than most of what psltool is asked for.
#pragma once

#include <cairo-svg.h>

#include <string>

namespace psltool {

// clang-format off
#define PSLTOOL_CAIRO_FUNCTIONS(X)                                                                 \
  X(clip) X(close_path) X(create) X(destroy) X(fill) X(image_surface_create) X(line_to) X(move_to) \
  X(rectangle) X(reset_clip) X(restore) X(rotate) X(save) X(select_font_face) X(set_font_size)     \
  X(set_line_join) X(set_line_width) X(set_source_rgba) X(show_text) X(status)                     \
  X(status_to_string) X(stroke) X(surface_destroy) X(surface_finish) X(surface_status)             \
  X(surface_write_to_png_stream) X(svg_surface_create_for_stream) X(text_extents) X(translate)
// clang-format on

// Its functions by their names without "cairo_".
struct CairoLibrary {
#define PSLTOOL_MEMBER(name) decltype(&cairo_##name) name = nullptr;
  PSLTOOL_CAIRO_FUNCTIONS(PSLTOOL_MEMBER)
#undef PSLTOOL_MEMBER
};

// The same one each time. Null: it cannot be loaded, and `why` tells the reason.
const CairoLibrary* LoadCairo(std::string& why);

}  // namespace psltool
