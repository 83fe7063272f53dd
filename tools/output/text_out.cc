// Text on its way out: see the header.
#include "tools/output/text_out.h"

#include <fmt/format.h>
#include <unistd.h>

#include <iterator>

#include "tools/output/report.h"

namespace psltool {

namespace {

constexpr size_t kPiece = 1 << 16;

}  // namespace

TextOut::TextOut(std::FILE* file) : file_(file), terminal_(isatty(fileno(file)) == 1) {}

void TextOut::PutFormatted(fmt::string_view format, fmt::format_args arguments) {
  fmt::vformat_to(std::back_inserter(text_), format, arguments);
  if (text_.size() >= kPiece) Flush();
}

void TextOut::Put(std::string_view text) {
  text_ += text;
  if (text_.size() >= kPiece) Flush();
}

bool TextOut::Flush() {
  if (!failed_ && !(part_ != nullptr ? FlushToPart() : FlushToFile())) failed_ = true;
  text_.clear();
  return !failed_;
}

bool TextOut::FlushOrFail() {
  if (Flush()) return true;
  if (part_ == nullptr) Fail("standard output", "cannot be written");
  return false;
}

bool TextOut::FlushToPart() {
  return part_->Write(reinterpret_cast<const uint8_t*>(text_.data()), text_.size());
}

bool TextOut::FlushToFile() {
  if (terminal_) text_ = ShownLines(text_);
  const bool whole =
      text_.empty() || std::fwrite(text_.data(), 1, text_.size(), file_) == text_.size();
  return std::fflush(file_) == 0 && whole;
}

std::string Counted(uint64_t count, std::string_view what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

bool PrintTo(const std::string& path, const std::function<void(TextOut&)>& print, bool durable) {
  if (path.empty()) {
    TextOut out(stdout);
    print(out);
    return out.FlushOrFail();
  }
  RecordFile file(path);
  if (!file.Create()) return false;
  TextOut out(file);
  print(out);
  return out.FlushOrFail() && (durable ? file.FinishDurably() : file.Finish());
}

}  // namespace psltool
