// What the steps of the pruning share with its callers: the results, and the three companions of
// the routine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Results of PMONBcomDeletePml.
inline constexpr int kPmlDone = 0;          // done, or nothing needed doing
inline constexpr int kPmlNothingToDo = 1;   // no file counted, or margin larger than the limit
inline constexpr int kPmlSkipped = 2;       // volume not mounted, or QelPMON_EMBSYSVOL is "no"
inline constexpr int kPmlFailed = 4;        // err_func, detail and err_no of the record say why
inline constexpr int kPmlBadParameter = 5;  // no record, unknown mode or no such subdirectory
inline constexpr int kPmlNoHeadroom = 6;    // modes 7 and 10: headroom at or below margin

// What check_flash_exist reports; cleared by the caller.
struct PmlErrorBlock {
  char text[256];   // what failed
  uint32_t detail;  // detail code
  int32_t err_no;   // error number
};

// Whether `name` (without directory) has the shape of a PML file name: 8 digits, at least one other
// character, "#", 3 digits, "_", 3 digits, nothing or a suffix. 0 yes, -1 no, -2 null name.
int check_pml_filename(const char* name);

// The same, with what is wrong first.
inline constexpr size_t kLongestPmlArray = 32;
enum class PmlShape : uint8_t {
  kRight,
  kNoDate,       // it does not begin with eight digits
  kNoArray,      // no "#" behind an array's name
  kHashInArray,  // more than one "#"
  kLongArray,
  kOtherEnd,  // no "#nnn_nnn.pml"
};
PmlShape JudgePmlName(std::string_view name);

// Whether a volume of its own is mounted at `path`: 0 yes; 2 no such path, or same device as "/";
// 4 a status query failed; 5 null argument. For 4 and 5 `block` says more.
int check_flash_exist(const char* path, PmlErrorBlock* block);

// Moves `source` into the directory `target` with the system's move command. 0 moved; 4 not, with
// `*detail` 0; 5 null argument (`*detail` says which).
int move_chink_pml(const char* source, const char* target, uint32_t* detail);
