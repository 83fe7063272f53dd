// Lookup functions by name, of all kinds. No run calls them: sections are read through the searches
// that they stand on (revisions/sets/lookup.h).
#pragma once

#include <cstdint>

#include "revisions/sets/lookup.h"

// Each returns the index of the configured resource, or -1 after the report of a missing one
// (automatic runs).
int32_t FindHdSet_0x19(uint8_t number);
int32_t FindRdSet_0x1A(uint8_t number);
int32_t FindDdSet_0x1A(uint8_t number);
int32_t FindHpSet(uint8_t key0, uint8_t key1);
int32_t FindHpNodeSet_0x1A(uint8_t key0, uint8_t key1, uint8_t key2);
int32_t FindDpSet(uint8_t key0, uint8_t key1);
int32_t FindCacheSet_0x19(uint8_t number);
int32_t FindChesegSet_0x13(uint8_t key0);
int32_t FindChesegSet_0x1A(uint8_t key0, uint8_t key1);  // key1 counts only where it is in use
int32_t FindLdSet(uint16_t number);
int32_t FindPdSet(uint8_t key0, uint8_t key1);
int32_t FindRankSet(uint8_t key0, uint8_t key1);
int32_t FindRpSet_0x14(uint8_t key0, uint8_t key1);
int32_t FindPoolSet_0x14(uint16_t number);
int32_t FindPoolSet_0x1C(uint16_t number);
