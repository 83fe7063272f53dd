// Lookup functions by name: see the header.
#include "revisions/pmonfind.h"

#include <array>

#include "engine/byteorder.h"

namespace {

// A position that no table has, so that the search does not start from a guess.
constexpr int32_t kNoPosition = INT32_MAX;

int32_t FindBytes(Kind kind, std::array<uint8_t, 3> key) {
  return FindIndex(kind, key.data(), kNoPosition);
}

int32_t FindNumber(Kind kind, uint16_t number) {
  std::array<uint8_t, 3> key = {};
  Store16(key.data(), number);
  return FindBytes(kind, key);
}

}  // namespace

int32_t FindHdSet_0x19(uint8_t number) { return FindBytes(kHd, {number}); }
int32_t FindRdSet_0x1A(uint8_t number) { return FindBytes(kRd, {number}); }
int32_t FindDdSet_0x1A(uint8_t number) { return FindBytes(kDd, {number}); }
int32_t FindHpSet(uint8_t key0, uint8_t key1) { return FindBytes(kHp, {key0, key1}); }
int32_t FindHpNodeSet_0x1A(uint8_t key0, uint8_t key1, uint8_t key2) {
  return FindBytes(kHpNode, {key0, key1, key2});
}
int32_t FindDpSet(uint8_t key0, uint8_t key1) { return FindBytes(kDp, {key0, key1}); }
int32_t FindCacheSet_0x19(uint8_t number) { return FindBytes(kCache, {number}); }
int32_t FindChesegSet_0x13(uint8_t key0) { return FindBytes(kCheseg, {key0}); }
int32_t FindChesegSet_0x1A(uint8_t key0, uint8_t key1) { return FindBytes(kCheseg, {key0, key1}); }
int32_t FindLdSet(uint16_t number) { return FindNumber(kLd, number); }
int32_t FindPdSet(uint8_t key0, uint8_t key1) { return FindBytes(kPd, {key0, key1}); }
int32_t FindRankSet(uint8_t key0, uint8_t key1) { return FindBytes(kRank, {key0, key1}); }
int32_t FindRpSet_0x14(uint8_t key0, uint8_t key1) { return FindBytes(kRp, {key0, key1}); }
int32_t FindPoolSet_0x14(uint16_t number) { return FindNumber(kPool, number); }
int32_t FindPoolSet_0x1C(uint16_t number) { return FindNumber(kPool, number); }
