// Reads OpenMetrics 1.0 text strictly, by the grammar of the standard and not by what the exporter
// does: only gauges with stamps, which is what exports consist of.
#pragma once

#include <map>
#include <string>
#include <tuple>

#include "tests/support/tools/export_rows.h"

struct OpenMetricsText {
  std::string error;  // empty: the text is well-formed
  struct Family {
    std::string type;
    std::string unit;
    std::string help;
  };
  using Labels = std::map<std::string, std::string>;
  std::map<std::string, Family> families;
  // Name, stamp and labels: the labels, which take longest to compare, come last.
  using Samples = std::map<std::tuple<std::string, uint32_t, Labels>, double>;
  Samples samples;
};

OpenMetricsText ReadOpenMetrics(const std::string& text);

// Puts a row where it stands in the exposition; of two for one place the one put last stays. An
// independent account of the names and units there.
void AddSample(const TidyRow& row, OpenMetricsText::Samples& samples);
