// A model of the pruning: see the header.
#include "tests/pmonb/pml_model.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <regex>

namespace {

PmlModelFile Describe(unsigned dir, const std::filesystem::path& path) {
  static const std::regex shape("[0-9]{8}[^#]+#[0-9]([0-9]{2})_[0-9]([0-9]{2})\\.pml");
  const std::string name = path.filename().string();
  PmlModelFile file{dir, path.string(), std::filesystem::file_size(path)};
  std::smatch parts;
  file.valid = name.size() >= 21 && name.size() <= 52 && std::regex_match(name, parts, shape);
  if (file.valid) {
    file.date = std::stoi(name.substr(2, 6));
    file.number = std::stoi(parts[1]) * 1000 + std::stoi(parts[2]);
  }
  return file;
}

bool Older(const PmlModelFile& a, const PmlModelFile& b) {
  return a.date != b.date ? a.date < b.date : a.number < b.number;
}

// The oldest file that is valid, not chosen and in `dir` (if given); the first of equals.
PmlModelFile* Oldest(PmlModelState& state, std::optional<unsigned> dir = std::nullopt) {
  PmlModelFile* oldest = nullptr;
  for (PmlModelFile& file : state.files) {
    if (!file.valid || file.chosen || (dir.has_value() && file.dir != *dir)) continue;
    if (oldest == nullptr || Older(file, *oldest)) oldest = &file;
  }
  return oldest;
}

void ChooseForeign(PmlModelState& state) {
  for (PmlModelFile& file : state.files) file.chosen = !file.valid;
}

// Without any valid file the first of the table takes the place of the oldest.
PmlModelFile* OrFirst(PmlModelState& state, PmlModelFile* file) {
  if (file != nullptr) return file;
  return state.files.empty() ? nullptr : &state.files.front();
}

void ChooseForHeadroom(PmlModelState& state, uint64_t required) {
  auto headroom = static_cast<int64_t>(state.limit) - static_cast<int64_t>(state.total);
  PmlModelFile* next = OrFirst(state, Oldest(state));
  while (next != nullptr && headroom < static_cast<int64_t>(required)) {
    next->chosen = true;
    headroom += static_cast<int64_t>(next->size);
    state.total_lo -= static_cast<uint32_t>(next->size);
    state.count -= 1;
    next = Oldest(state);
  }
}

void ChooseOldest(PmlModelState& state) {
  // The directory with the lowest date, the last of equals.
  PmlModelFile* next = nullptr;
  for (const unsigned dir : state.dirs) {
    PmlModelFile* oldest = Oldest(state, dir);
    if (oldest != nullptr && (next == nullptr || oldest->date <= next->date)) next = oldest;
  }
  next = OrFirst(state, next);
  for (uint32_t taken = 0; next != nullptr && taken < state.delete_count; ++taken) {
    next->chosen = true;
    state.total_lo -= static_cast<uint32_t>(next->size);
    next = Oldest(state);
  }
}

// The threshold as YYMMDD, nothing when it lies before 2000.
std::optional<int> Threshold(int newest, uint32_t term) {
  const std::string text = std::to_string(newest) + "      ";
  const auto piece = [&text](size_t at) {
    int value = 0;
    for (const char c : text.substr(at, 2)) {
      if (c != ' ') value = value * 10 + (c - '0');
    }
    return value;
  };
  using namespace std::chrono;
  const year_month month = year{2000 + piece(0)} / January + months{piece(2) - 1};
  const year_month_day last{sys_days{month / 1} + days{piece(4) - 1} - days{term}};
  const int of_year = static_cast<int>(last.year());
  if (of_year < 2000) return std::nullopt;
  return (of_year - 2000) * 10000 + static_cast<int>(static_cast<unsigned>(last.month())) * 100 +
         static_cast<int>(static_cast<unsigned>(last.day()));
}

void ChooseByAge(PmlModelState& state) {
  for (const unsigned dir : state.dirs) {
    int newest = 0;
    for (const PmlModelFile& file : state.files) {
      if (file.dir == dir && file.valid) newest = std::max(newest, file.date);
    }
    const std::optional<int> threshold = Threshold(newest, state.term);
    for (PmlModelFile& file : state.files) {
      if (file.dir == dir && file.valid && threshold && file.date <= *threshold) file.chosen = true;
    }
  }
}

void ChooseAllButNewest(PmlModelState& state) {
  PmlModelFile* newest = nullptr;
  for (PmlModelFile& file : state.files) {
    if (!file.valid) continue;
    const bool newer = newest == nullptr || file.date > newest->date ||
                       (file.date == newest->date && file.number > newest->number);
    if (newer) newest = &file;
  }
  for (PmlModelFile& file : state.files) file.chosen = &file != newest;
}

}  // namespace

void ListForModel(PmlModelState& state, unsigned dir, const std::string& directory) {
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename().string();
    const bool is_log = name.size() > 4 && name.substr(name.size() - 4) == ".pml";
    if (is_log && !entry.is_directory()) state.files.push_back(Describe(dir, entry.path()));
  }
}

std::optional<int> PmlRefusal(const PmlModelState& state, unsigned mode) {
  const auto headroom = static_cast<int64_t>(state.limit) - static_cast<int64_t>(state.total);
  bool acts = true;
  if (mode == 2 || mode == 6) {
    if (state.margin > state.limit) return 1;
    acts = headroom <= static_cast<int64_t>(state.margin);
  } else if (mode == 4) {
    acts = state.count > 7;
  } else if (mode == 8) {
    acts = state.limit < state.total;
  }
  if (!acts) return 0;
  if (state.count == 0) return 1;
  return std::nullopt;
}

int RunPmlModel(PmlModelState& state, unsigned mode) {
  if (const std::optional<int> result = PmlRefusal(state, mode)) return *result;
  ChooseForeign(state);
  if (mode == 2 || mode == 6) ChooseForHeadroom(state, state.margin);
  if (mode == 8) ChooseForHeadroom(state, 0);
  if (mode == 3) ChooseByAge(state);
  if (mode == 4) ChooseOldest(state);
  if (mode == 9) ChooseAllButNewest(state);
  return 0;
}
