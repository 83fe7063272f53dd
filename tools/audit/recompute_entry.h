// One resource over one period: what its intervals add up to, and the entry that an archive must
// hold for it, byte for byte. Everything follows the form rows of engine/layout/layout.h.
//
// Independent: every function is a second writing of a rule of the archiver's, which it shares no
// code with, so that a mistake in one of the two shows as a difference. Their first writings are in
// revisions/fold/: ReadGroup, AddGroup and PutGroup of quadset.h; AddEntry and
// PutEntry of accumulate.h and put_section.h; AddCacheByKey and AddCacheByPosition of cache.cc.
// What is shared says where things stand, not what becomes of them: form rows, byte order.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/layout/layout.h"

namespace psltool {

// A counter group.
struct GroupSum {
  double operations = 0;
  double first = 0;  // first average times raw count word
  double largest = 0;
  double second = 0;  // second average times operations; up to 0x12 times interval length
};

struct ResourceSum {
  uint32_t key = 0;  // packed key bytes
  uint32_t status = 0;
  uint32_t time = 0;  // milliseconds
  double busy = 0;    // ratio times length
  uint32_t ratios = 0;
  bool counted = false;
  bool sticky = false;
  bool kept = false;
  std::array<uint32_t, 2> carried = {};
  double second_busy = 0;
  uint8_t second_flags = 0;
  std::array<uint8_t, 2> second_bytes = {};
  std::array<GroupSum, 6> groups = {};
  std::array<double, 32> extremes = {};  // by item bit, from bit 31 down
  // Cache modules only.
  uint8_t cache_flags = 0;
  std::array<double, 2> cache_maxima = {};
  std::array<double, 2> cache_rates = {};
};

// How the entries of a section are taken and put.
struct EntryRules {
  const Form* form = nullptr;
  QuadRule rule = QuadRule::kCurrent;
  uint8_t revision = 0;  // of the file
  uint8_t key_count = 0;
  uint32_t in_mask = 0;   // item bits of the input
  uint32_t out_mask = 0;  // item bits of archives
  bool first = false;     // the period's first interval
};

// What one interval says of a counter group.
struct GroupInterval {
  uint32_t raw = 0;  // count word
  double operations = 0;
  double first = 0;
  double largest = 0;
  double second = 0;
  double rate = 0;    // thousandths of operations per second; 0 without a length
  double volume = 0;  // as the extreme words measure it
};
GroupInterval ReadGroup(QuadRule rule, const uint8_t* quadset, uint32_t length);

// Adds one interval. `entry` as stored, its head only when compact; `words` the extended words.
void AddEntry(const EntryRules& rules, std::span<const uint8_t> entry,
              std::span<const uint8_t> words, ResourceSum& sum);

// Adds what a cache module's entry says of the module that it names, and what it says of the module
// at its position (0x21).
void AddCacheByKey(const EntryRules& rules, std::span<const uint8_t> entry, ResourceSum& sum);
void AddCacheByPosition(const EntryRules& rules, std::span<const uint8_t> entry, ResourceSum& sum);

// Appends the entry that an archive must hold.
void PutEntry(const EntryRules& rules, const ResourceSum& sum, std::vector<uint8_t>& out);

// Appends an archive's counter group at `at`.
void PutGroup(QuadRule rule, const GroupSum& group, uint32_t time, uint8_t* at);
void AddGroup(QuadRule rule, const uint8_t* quadset, uint32_t length, GroupSum& group);

bool IsCacheForm(const Form& form);

}  // namespace psltool
