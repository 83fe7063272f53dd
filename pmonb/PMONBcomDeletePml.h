// Pruning of performance monitor logs (PML files): deletion by age, number and size, relocation of
// freshly written logs from the staging directory, and the three companions of the routine.
// Decisions are made from names, sizes and listings; no log is ever opened.
#pragma once

#include <cstdint>

#include "pmonb/PMONBarc_del.h"
#include "pmonb/pml_calls.h"

// Does what `mode` (1 to 10, see kModes in the source) says with the directories and numbers of
// `param`. Returns one of the results of pml_calls.h.
int PMONBcomDeletePml(PmlDelParam* param, int8_t mode);
