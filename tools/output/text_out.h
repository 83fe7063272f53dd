// Text on its way to standard output or into a file: collected, written in large pieces, and never
// an exception when the disk is full. A terminal gets no control characters of names and logs;
// pipes and files get every byte.
#pragma once

#include <fmt/core.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tools/output/record_file.h"
#include "tools/output/shown.h"

namespace psltool {

// Formatting itself is not inline: compiled for each call, it was a third of the build.
class TextOut {
 public:
  explicit TextOut(std::FILE* file);
  explicit TextOut(RecordFile& part) : part_(&part) {}  // which reports what fails
  ~TextOut() { Flush(); }
  TextOut(const TextOut&) = delete;
  TextOut& operator=(const TextOut&) = delete;

  // Texts among the arguments are names and words, not lines: of them a terminal gets no line
  // break.
  template <class... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    if (terminal_) {
      PutForTerminal(format, ForTerminal(arguments)...);
    } else {
      PutFormatted(format, fmt::make_format_args(arguments...));
    }
  }
  // Text as it stands, with its lines.
  void Put(std::string_view text);

  // Hands everything to the operating system. False: something could not be written.
  bool Flush();
  // The same, and what cannot be written is reported.
  bool FlushOrFail();
  bool failed() const { return failed_; }

 private:
  template <class Argument>
  static decltype(auto) ForTerminal(const Argument& argument) {
    if constexpr (std::is_convertible_v<const Argument&, std::string_view>) {
      return Shown(argument);
    } else {
      return (argument);
    }
  }
  template <class... Arguments>
  void PutForTerminal(fmt::string_view format, const Arguments&... arguments) {
    PutFormatted(format, fmt::make_format_args(arguments...));
  }

  void PutFormatted(fmt::string_view format, fmt::format_args arguments);
  bool FlushToPart();
  bool FlushToFile();

  std::FILE* file_ = nullptr;
  RecordFile* part_ = nullptr;
  bool terminal_ = false;
  std::string text_;
  bool failed_ = false;
};

// Prints into the file of this path, renamed when it is whole, or without one to standard output.
// `durable`: see RecordFile::FinishDurably. False: reported.
bool PrintTo(const std::string& path, const std::function<void(TextOut&)>& print,
             bool durable = false);

// "1 file", "2 files".
std::string Counted(uint64_t count, std::string_view what);

// A line whose arguments may come from anywhere: no control character of theirs reaches a reader.
template <class... Arguments>
void PrintLine(TextOut& out, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  out.Put(ShownText(fmt::format(format, std::forward<Arguments>(arguments)...)));
  out.Put("\n");
}

}  // namespace psltool
