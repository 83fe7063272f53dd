// Texts as metrics for monitoring carry them.
#include "tools/output/metrics_label.h"

#include "tools/output/json.h"

namespace psltool {

std::string MetricsLabel(const std::string& text) {
  std::string escaped;
  for (const char c : Utf8Text(text)) {
    if (c == '\\' || c == '"') escaped += '\\';
    if (c == '\n') {
      escaped += "\\n";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

}  // namespace psltool
