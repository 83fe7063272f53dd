// Which resource an entry tells of. Millions of entries pass here, so that it is looked for first
// where it stood in the record before.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "tools/reading/array_tables.h"
#include "tools/showing/dump_writers.h"

namespace psltool {

// The numbers of the resources of an array's kind, for all of its files.
struct ResourceNumbers {
  std::unordered_map<uint64_t, size_t> by_key;  // of sections
  std::unordered_map<std::string, size_t> by_text;
};

// Of one kind in one file.
class ResourceOrder {
 public:
  void StartRecord() { place_ = 0; }

  // `add` takes the key of a resource that was never met, and answers its number.
  template <class Add>
  size_t Find(const DumpedEntry& entry, ResourceNumbers& known, Add add) {
    if (entry.form == nullptr) {
      const auto& text = std::get<std::string>(entry.values.front());
      const auto [found, is_new] = known.by_text.try_emplace(text, 0);
      if (is_new) found->second = add(text);
      return found->second;
    }
    const uint64_t key = uint64_t{entry.key_count} << 32 | entry.key;
    const size_t place = place_++;
    if (place < order_.size() && order_[place].first == key) return order_[place].second;
    const auto [found, is_new] = known.by_key.try_emplace(key, 0);
    if (is_new) found->second = add(KeyText(entry.form->key, entry.key_count, entry.key));
    if (place >= order_.size()) order_.resize(place + 1);
    order_[place] = {key, found->second};
    return found->second;
  }

 private:
  std::vector<std::pair<uint64_t, size_t>> order_;  // keys and numbers by place
  size_t place_ = 0;                                // of the next entry in its section
};

}  // namespace psltool
