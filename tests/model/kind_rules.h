// What each format revision carries: the resource kinds with their list and entry layouts, the
// positions of their descriptors, and the item bitmaps of the file header. Shared by the slow
// model and the generator of random logs.
//
// Independent of engine/layout/: no table of the product is looked at.

#ifndef TESTS_MODEL_KIND_RULES_H_
#define TESTS_MODEL_KIND_RULES_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace model {

enum class Kind {
  kHd,
  kRd,
  kDd,
  kHp,
  kHpNode,
  kRp,
  kMp,
  kDp,
  kCache,
  kCheseg,
  kLd,
  kPd,
  kRank,
  kPool
};

enum class Search { kPlain, kCursor, kPosition };

enum class RatioRule { kNone, kAlways, kBit };

/// Everything that the rules say about one resource kind in one revision.
struct KindRule {
  Kind kind = Kind::kHd;
  const char* name = "";
  std::size_t slot = 0;  // of its descriptor, in structure and statistics records alike

  // List of the structure record.
  bool in_structure = true;
  std::size_t list_size = 0;  // 0: the size stands in the descriptor
  bool variable = false;      // each entry is followed by a variable part
  std::size_t length_at = 0;  // total length of such an entry
  std::vector<std::size_t> list_key;

  // Entry of the statistics record.
  std::size_t size = 0;
  std::size_t head = 0;        // size of a compact entry
  std::size_t compact_at = 0;  // 0: no compact form on input
  bool compact_output = false;
  std::vector<std::size_t> entry_key;
  std::size_t not_valid_at = 0;
  RatioRule ratio_rule = RatioRule::kNone;
  std::size_t ratio_at = 0;
  std::size_t ratio_flag_at = 0;
  uint8_t ratio_flag = 0;
  std::size_t quads_at = 0;
  std::size_t quads = 0;
  Search search = Search::kPlain;
  int items = 0;  // words of the revision's full item mask

  std::size_t extreme_quads() const { return static_cast<std::size_t>(items) / 4; }
  bool ratio_extremes() const { return items % 4 == 2; }
};

/// Kinds of a record laid out as `layout` in a file of revision `file_revision`, in the order of
/// the sections of a statistics record. The two differ only for 0x10 records in the 0x11 layout.
std::vector<KindRule> KindRules(int layout, int file_revision);

/// The same for the structure records and the ordinary statistics records of a revision.
std::vector<KindRule> KindRules(int revision);

/// Number of items in the full mask of a kind, 0 when the revision lacks the kind.
int ItemCount(int revision, Kind kind);

/// The full mask itself: that many bits from the top.
uint32_t FullMask(int items);

/// Position of the kind's item bitmap in the file header, 0 when there is none.
std::size_t MaskOffset(int revision, Kind kind);

/// Size of the file header record.
std::size_t FileHeaderSize(int revision);

/// Size of the structure record's header, which is that of the statistics record's head too.
std::size_t RecordHeadSize(int revision);

/// Size of the basic information of the structure record.
constexpr std::size_t kBasicSize = 112;

/// Position of the trailing section's offset in the structure record's header, 0 when there is
/// none; the carried word follows it.
std::size_t TrailingSlot(int revision);

/// Ranks and pools share one place and byte 95 of the basic information chooses between them.
bool RankOrPool(int revision);

bool HasSlot104(int revision);
bool HasSlot128(int revision);
bool HasSlot144(int revision);

/// Quadsets follow the older rule.
bool OlderQuadRule(int revision);

/// Statistics records may have optional items.
bool HasItems(int revision);
bool HasConc(int revision);
bool HasPairs(int revision);
bool HasWaitTime(int revision);
bool HasCab(int revision);

/// Size of one entry of the cache section.
std::size_t CacheEntrySize(int revision);

}  // namespace model

#endif  // TESTS_MODEL_KIND_RULES_H_
