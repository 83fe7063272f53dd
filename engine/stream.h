// The record stream of one input.
#pragma once

// Reads one record at the position of rfd and hands it to the revision's handler, copies it or
// skips it. A broken record ends a manual run; in automatic runs it sets auto_break_flg.
void ReadNextRec();
