// Structure ("CON") records in the slow model: a record taken apart into its lists, and the record
// that the archive gets for it.
//
// Independent of revisions/structure.cc: lists, their order and what becomes of a record stand here
// a second time.

#ifndef TESTS_MODEL_STRUCTURE_RECORD_H_
#define TESTS_MODEL_STRUCTURE_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "tests/model/bytes.h"
#include "tests/model/kind_rules.h"

namespace model {

struct Descriptor {
  uint16_t first = 0;
  uint16_t count = 0;
  uint32_t offset = 0;
};

inline Descriptor ReadDescriptor(const Bytes& record, std::size_t at) {
  return {Get16(record, at), Get16(record, at + 2), Get32(record, at + 4)};
}

inline void PatchDescriptor(Bytes& record, std::size_t at, const Descriptor& descriptor) {
  Patch16(record, at, descriptor.first);
  Patch16(record, at + 2, descriptor.count);
  Patch32(record, at + 4, descriptor.offset);
}

/// Layout of one list of the structure record.
struct ListRule {
  std::size_t slot = 0;
  std::size_t entry_size = 0;  // 0: first field of the descriptor
  bool variable = false;
  std::size_t length_at = 0;
};

/// The lists of a revision in the order in which they are written.
std::vector<ListRule> ListRules(int revision);

/// A structure record taken apart.
struct Structure {
  int revision = 0;
  uint8_t flag_byte = 0;                            // offset 3
  uint32_t stamp = 0;                               // offset 4
  bool continuation = false;                        // offset 12
  uint8_t bytes14[2] = {0, 0};                      // carried from 0x1D on
  Bytes basic;                                      // 112 bytes
  std::map<std::size_t, Descriptor> descriptors;    // by slot, as read
  std::map<std::size_t, std::vector<Bytes>> lists;  // by slot, variable parts included
  bool has_trailing = false;
  Bytes trailing;
  uint32_t last_word = 0;  // behind the trailing section's offset

  uint16_t count(std::size_t slot) const;
  /// Ranks or pools left out by byte 95 of the basic information.
  bool excluded(std::size_t slot) const;
  bool second_cheseg_key() const;
  bool has_conc() const;
  bool has_ld_cp() const;
  bool has_pool_cp() const;
  bool has_wait_time() const;
  bool has_cab() const;
  uint16_t conc_count() const;
  uint16_t ld_cp_count() const;
  uint16_t pool_cp_count() const;
  uint16_t cab_count() const;
};

/// Takes a whole record apart; throws BrokenRecord.
Structure ReadStructure(const Bytes& record, int revision);

/// The record that goes to the archive.
Bytes WriteStructure(const Structure& structure, bool continuation);

/// The comparison of the skip rule: every count of `next` equals the held one. `no_numbers`: of the
/// optional items it is only known which of them were there, their numbers count as 0.
bool SameCounts(const Structure& held, const Structure& next, bool no_numbers);

}  // namespace model

#endif  // TESTS_MODEL_STRUCTURE_RECORD_H_
