// Text on its way to standard output or into a file: collected, written in large pieces, and never
// an exception when the disk is full. A terminal gets no control characters of names and logs;
// pipes and files get every byte.
#pragma once

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

#include "tools/output/record_file.h"
#include "tools/output/shown.h"

namespace psltool {

class TextOut {
 public:
  explicit TextOut(std::FILE* file) : file_(file), terminal_(isatty(fileno(file)) == 1) {}
  explicit TextOut(RecordFile& part) : part_(&part) {}  // which reports what fails
  ~TextOut() { Flush(); }
  TextOut(const TextOut&) = delete;
  TextOut& operator=(const TextOut&) = delete;

  // Texts among the arguments are names and words, not lines: of them a terminal gets no line
  // break.
  template <class... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    if (terminal_) {
      const fmt::string_view text = format;
      PutArguments(text, ForTerminal(arguments)...);
    } else {
      fmt::format_to(std::back_inserter(text_), format, std::forward<Arguments>(arguments)...);
    }
    if (text_.size() >= kPiece) Flush();
  }
  // Text as it stands, with its lines.
  void Put(std::string_view text) {
    text_ += text;
    if (text_.size() >= kPiece) Flush();
  }

  // Hands everything to the operating system. False: something could not be written.
  bool Flush() {
    if (!failed_ && !(part_ != nullptr ? FlushToPart() : FlushToFile())) failed_ = true;
    text_.clear();
    return !failed_;
  }
  bool failed() const { return failed_; }

 private:
  static constexpr size_t kPiece = 1 << 16;

  template <class Argument>
  static decltype(auto) ForTerminal(const Argument& argument) {
    if constexpr (std::is_convertible_v<const Argument&, std::string_view>) {
      return Shown(argument);
    } else {
      return (argument);
    }
  }
  template <class... Arguments>
  void PutArguments(fmt::string_view format, const Arguments&... arguments) {
    fmt::vformat_to(std::back_inserter(text_), format, fmt::make_format_args(arguments...));
  }

  bool FlushToPart() {
    return part_->Write(reinterpret_cast<const uint8_t*>(text_.data()), text_.size());
  }
  bool FlushToFile() {
    if (terminal_) text_ = ShownLines(text_);
    const bool whole =
        text_.empty() || std::fwrite(text_.data(), 1, text_.size(), file_) == text_.size();
    return std::fflush(file_) == 0 && whole;
  }

  std::FILE* file_ = nullptr;
  RecordFile* part_ = nullptr;
  bool terminal_ = false;
  std::string text_;
  bool failed_ = false;
};

}  // namespace psltool
