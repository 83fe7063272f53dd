// Text on its way to standard output or into a file: collected, written in large pieces, and never
// an exception when the disk is full.
#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>

#include "tools/record_file.h"

class TextOut {
 public:
  explicit TextOut(std::FILE* file) : file_(file) {}
  explicit TextOut(RecordFile& part) : part_(&part) {}  // which reports what fails
  ~TextOut() { Flush(); }
  TextOut(const TextOut&) = delete;
  TextOut& operator=(const TextOut&) = delete;

  template <class... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::format_to(std::back_inserter(text_), format, std::forward<Arguments>(arguments)...);
    if (text_.size() >= kPiece) Flush();
  }
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

  bool FlushToPart() {
    return part_->Write(reinterpret_cast<const uint8_t*>(text_.data()), text_.size());
  }
  bool FlushToFile() {
    const bool whole =
        text_.empty() || std::fwrite(text_.data(), 1, text_.size(), file_) == text_.size();
    return std::fflush(file_) == 0 && whole;
  }

  std::FILE* file_ = nullptr;
  RecordFile* part_ = nullptr;
  std::string text_;
  bool failed_ = false;
};
