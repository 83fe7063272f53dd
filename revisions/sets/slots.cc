// Resource sets: see the header.
#include "revisions/sets/slots.h"

std::array<ResourceSet, kSectionKinds> resource_sets;
uint8_t structure_revision = 0;
uint8_t included_choice = 0;

#define QELPRF_DEFINE(name, kind) uint8_t* name = nullptr;
QELPRF_SLOT_ARRAYS(QELPRF_DEFINE)
#undef QELPRF_DEFINE
