// Draws a chart of values over time, as SVG or PNG: for each line the mean, with the smallest and
// largest single interval as a band around it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/reading/civil_time.h"

namespace psltool {

struct ChartPoint {
  int64_t begin;
  int64_t end;
  double value;
  double most;
  double least;
};

struct ChartLine {
  std::string name;                // in the legend; empty: there is one line only
  std::vector<ChartPoint> points;  // by time; a hole between two of them stays one
};

struct Chart {
  std::string title;
  std::string subtitle;
  std::string axis;    // what the values are, with their unit
  std::string line;    // what the line shows, in the legend
  std::string band;    // what the band shows; empty: there is none
  std::string footer;  // statistics in words
  Zone zone = Zone::kLocal;
  int64_t first = 0;  // of the time that is drawn
  int64_t last = 0;
  std::vector<ChartLine> lines;
};

struct ChartSize {
  int width = 960;
  int height = 420;
};

// Points as many as there is room for: of those that share a place the mean by time, the largest
// and the smallest.
std::vector<ChartPoint> Thinned(const std::vector<ChartPoint>& points, int64_t first, int64_t last,
                                size_t places);

// Writes the file whose name ends in ".svg" or ".png", whole or not at all. False: reported.
bool DrawChart(const Chart& chart, const ChartSize& size, const std::string& path);

}  // namespace psltool
