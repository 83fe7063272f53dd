// Findings in words: see the header.
#include "tools/reading/finding.h"

#include <fmt/format.h>

namespace psltool {

std::string Describe(const Finding& finding) {
  if (finding.severity == Severity::kUnreadable) return finding.text;
  const std::string record = finding.tag.empty()
                                 ? fmt::format("record {}", finding.record)
                                 : fmt::format("record {} ({})", finding.record, finding.tag);
  const std::string field = finding.field.empty() ? "" : ", " + finding.field;
  return fmt::format("{} at offset {}{}: {}", record, finding.offset, field, finding.text);
}

std::string DescribeWithAdvice(const Finding& finding) {
  std::string text = Describe(finding);
  // In record 0, the file header, there is nothing else to be found and nothing to be saved.
  if (finding.severity == Severity::kUnreadable || finding.record == 0) return text;
  return text + "; psltool check tells all findings, psltool salvage saves the sound records";
}

std::string TagText(std::string_view tag) {
  std::string text;
  for (const char c : tag) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F) {
      text += c;
    } else {
      text += fmt::format("\\x{:02x}", byte);
    }
  }
  return text;
}

bool RecordReport::Error(const char* code, uint64_t at, std::string field, std::string text) {
  sound_ = false;
  sink_({Severity::kError, code, number_, tag_, position_ + at, std::move(field), std::move(text)});
  return false;
}

void RecordReport::Warn(const char* code, uint64_t at, std::string field, std::string text) {
  sink_(
      {Severity::kWarning, code, number_, tag_, position_ + at, std::move(field), std::move(text)});
}

void RecordReport::Note(const char* code, uint64_t at, std::string field, std::string text) {
  sink_({Severity::kNote, code, number_, tag_, position_ + at, std::move(field), std::move(text)});
}

}  // namespace psltool
