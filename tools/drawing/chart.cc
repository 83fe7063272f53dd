// Charts: see the header. Values of an interval are drawn as a step from its begin to its end,
// since they are those of all of it.
#include "tools/drawing/chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/drawing/canvas.h"
#include "tools/drawing/ticks.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

constexpr Colour kPaper = {255, 255, 255};
constexpr Colour kInk = {27, 31, 36};
constexpr Colour kQuiet = {89, 99, 110};
constexpr Colour kGrid = {227, 231, 235};
// Told apart also by those who see colours otherwise.
constexpr auto kLines = std::to_array<Colour>(
    {{10, 88, 202}, {179, 64, 15}, {0, 158, 115}, {204, 121, 167}, {86, 180, 233}, {230, 159, 0}});
constexpr double kBandOpacity = 0.22;

constexpr double kLeft = 84;
constexpr double kRight = 24;
constexpr double kTop = 76;
constexpr double kBottom = 92;
constexpr double kTextSize = 12;
constexpr double kTitleSize = 16;

Colour Faint(Colour colour) {
  colour.opacity = kBandOpacity;
  return colour;
}

class Drawing {
 public:
  Drawing(const Chart& chart, const ChartSize& size, Canvas& canvas)
      : chart_(chart),
        canvas_(canvas),
        width_(size.width),
        height_(size.height),
        plot_width_(size.width - kLeft - kRight),
        plot_height_(size.height - kTop - kBottom) {
    double most = 0;
    for (const ChartLine& line : chart.lines) {
      for (const ChartPoint& point : line.points) most = std::max(most, point.most);
    }
    constexpr double kTickRoom = 44;
    ticks_ = ValueTicks(most, static_cast<size_t>(std::max(2.0, plot_height_ / kTickRoom)));
  }

  void Draw() {
    canvas_.Use(kPaper);
    canvas_.Rectangle(0, 0, width_, height_);
    DrawHead();
    DrawGrid();
    canvas_.Clip(kLeft, kTop - 1, plot_width_, plot_height_ + 2);
    for (size_t i = 0; i < chart_.lines.size(); ++i) DrawBand(chart_.lines[i], ColourOf(i));
    for (size_t i = 0; i < chart_.lines.size(); ++i) DrawLine(chart_.lines[i], ColourOf(i));
    canvas_.Unclip();
    canvas_.Use(kInk);
    canvas_.Line(kLeft, kTop + plot_height_, kLeft + plot_width_, kTop + plot_height_, 1);
    DrawLegend();
  }

 private:
  static const Colour& ColourOf(size_t i) { return kLines[i % kLines.size()]; }
  double X(int64_t moment) const {
    const double length = std::max<double>(1.0, static_cast<double>(chart_.last - chart_.first));
    return kLeft + plot_width_ * static_cast<double>(moment - chart_.first) / length;
  }
  double Y(double value) const { return kTop + plot_height_ * (1 - value / ticks_.back()); }

  void DrawHead() {
    canvas_.Use(kInk);
    canvas_.UseFont(kTitleSize, true);
    canvas_.Text(kLeft, 28, chart_.title, Align::kLeft, width_ - kLeft - kRight);
    canvas_.Use(kQuiet);
    canvas_.UseFont(kTextSize);
    canvas_.Text(kLeft, 50, chart_.subtitle, Align::kLeft, width_ - kLeft - kRight);
  }

  void DrawGrid() {
    canvas_.UseFont(kTextSize);
    for (const double tick : ticks_) {
      canvas_.Use(kGrid);
      canvas_.Line(kLeft, std::round(Y(tick)) + 0.5, kLeft + plot_width_, std::round(Y(tick)) + 0.5,
                   1);
      canvas_.Use(kQuiet);
      canvas_.Text(kLeft - 8, Y(tick) + 4, TickText(tick, ticks_[1]), Align::kRight);
    }
    canvas_.Use(kInk);
    canvas_.UpwardText(20, kTop + plot_height_ / 2, chart_.axis, plot_height_ + 40);
    constexpr double kTickRoom = 72;
    const double bottom = kTop + plot_height_;
    const auto count = static_cast<size_t>(std::max(2.0, plot_width_ / kTickRoom));
    for (const TimeTick& tick : TimeTicks(chart_.first, chart_.last, count, chart_.zone)) {
      const double x = std::round(X(tick.moment)) + 0.5;
      canvas_.Use(kGrid);
      canvas_.Line(x, kTop, x, bottom, 1);
      canvas_.Use(kQuiet);
      canvas_.Line(x, bottom, x, bottom + 4, 1);
      canvas_.Text(x, bottom + 18, tick.text, Align::kCentre);
      if (!tick.date.empty()) canvas_.Text(x, bottom + 33, tick.date, Align::kCentre);
    }
  }

  // A hole of more than half an interval is one.
  static bool IsHole(const ChartPoint& before, const ChartPoint& behind) {
    const int64_t length = std::min(before.end - before.begin, behind.end - behind.begin);
    return (behind.begin - before.end) * 2 > length;
  }

  void DrawBand(const ChartLine& line, const Colour& colour) {
    if (chart_.band.empty()) return;
    canvas_.Use(Faint(colour));
    const std::vector<ChartPoint>& points = line.points;
    for (size_t from = 0; from < points.size();) {
      size_t to = from + 1;
      while (to < points.size() && !IsHole(points[to - 1], points[to])) ++to;
      for (size_t i = from; i < to; ++i) {
        const double x = X(points[i].begin);
        i == from ? canvas_.MoveTo(x, Y(points[i].most)) : canvas_.LineTo(x, Y(points[i].most));
        canvas_.LineTo(X(points[i].end), Y(points[i].most));
      }
      for (size_t i = to; i-- > from;) {
        canvas_.LineTo(X(points[i].end), Y(points[i].least));
        canvas_.LineTo(X(points[i].begin), Y(points[i].least));
      }
      canvas_.Fill();
      from = to;
    }
  }

  void DrawLine(const ChartLine& line, const Colour& colour) {
    canvas_.Use(colour);
    const ChartPoint* before = nullptr;
    for (const ChartPoint& point : line.points) {
      const double x = X(point.begin);
      const double y = Y(point.value);
      const bool starts = before == nullptr || IsHole(*before, point);
      starts ? canvas_.MoveTo(x, y) : canvas_.LineTo(x, y);
      // An interval of no length is a dot.
      canvas_.LineTo(std::max(X(point.end), x + 1), y);
      before = &point;
    }
    canvas_.Stroke(1.6);
  }

  void DrawLegend() {
    constexpr double kSample = 26;
    const double y = height_ - 34;
    double x = kLeft;
    canvas_.UseFont(kTextSize);
    const auto put = [&](const std::string& text) {
      canvas_.Use(kInk);
      canvas_.Text(x + kSample + 8, y, text, Align::kLeft, width_ - kRight - x - kSample - 8);
      x += kSample + 8 + canvas_.WidthOf(DrawableText(text)) + 24;
    };
    for (size_t i = 0; i < chart_.lines.size(); ++i) {
      if (x > width_ - kRight - 2 * kSample) break;
      canvas_.Use(ColourOf(i));
      canvas_.Line(x, y - 4, x + kSample, y - 4, 2);
      const std::string& name = chart_.lines[i].name;
      put(name.empty() ? chart_.line : name + ": " + chart_.line);
    }
    if (!chart_.band.empty() && x < width_ - kRight - 2 * kSample) {
      canvas_.Use(Faint(ColourOf(0)));
      canvas_.Rectangle(x, y - 11, kSample, 14);
      put(chart_.band);
    }
    canvas_.Use(kQuiet);
    canvas_.Text(kLeft, height_ - 12, chart_.footer, Align::kLeft, width_ - kLeft - kRight);
  }

  const Chart& chart_;
  Canvas& canvas_;
  double width_;
  double height_;
  double plot_width_;
  double plot_height_;
  std::vector<double> ticks_;
};

}  // namespace

std::vector<ChartPoint> Thinned(const std::vector<ChartPoint>& points, int64_t first, int64_t last,
                                size_t places) {
  if (points.size() <= places) return points;
  const double length = std::max<double>(1.0, static_cast<double>(last - first));
  const auto place_of = [&](const ChartPoint& point) {
    return std::floor(static_cast<double>(point.begin - first) / length *
                      static_cast<double>(places));
  };
  std::vector<ChartPoint> thin;
  double weight = 0;
  for (const ChartPoint& point : points) {
    const auto own = static_cast<double>(std::max<int64_t>(point.end - point.begin, 1));
    if (thin.empty() || place_of(thin.back()) != place_of(point)) {
      thin.push_back(point);
      weight = own;
      continue;
    }
    ChartPoint& joined = thin.back();
    joined.value = (joined.value * weight + point.value * own) / (weight + own);
    weight += own;
    joined.end = std::max(joined.end, point.end);
    joined.most = std::max(joined.most, point.most);
    joined.least = std::min(joined.least, point.least);
  }
  return thin;
}

bool DrawChart(const Chart& chart, const ChartSize& size, const std::string& path) {
  std::string why;
  const CairoLibrary* const cairo = LoadCairo(why);
  if (cairo == nullptr) return Fail(path, "cannot be drawn: " + why);
  Canvas canvas(*cairo, path, size.width, size.height);
  Drawing(chart, size, canvas).Draw();
  return canvas.Finish();
}

}  // namespace psltool
