// The record stream of one input. It knows the position of the next record by arithmetic and reads
// far ahead: the system is asked for many small records at once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/framing.h"
#include "engine/input_bytes.h"

// Begins with the input open on rfd, whose size is in finfo; its next record is at `position`.
void StartInput(int64_t position);

// Reads the record at finfo.position and hands it to the revision's handler, copies it or skips it.
// The handler of statistics records takes those with it that follow and belong to the same period.
// finfo.position is the next record's then. A broken record ends a manual run; in automatic runs it
// sets auto_break_flg.
void ReadNextRec();

// The frame of the record at `position` of the input, whose header is given.
Frame FrameAt(const uint8_t* header, int64_t position);

// Takes the record at `position` for the one at hand.
void NoteRecord(int64_t position, const Frame& frame);

// What the stream has in memory of the input; the next call of those below may replace it.
InputPiece& InputWindow();
// Makes the window hold `size` bytes from `at` on. False: they cannot be read, which nobody has
// been told.
bool LookAhead(int64_t at, size_t size);
// The same; bytes that cannot be read end the run.
const uint8_t* InputBytes(int64_t at, size_t size);
// Of the record that begins at `record`, which lies ahead, some bytes could not be read: InputBytes
// will tell.
void NoteUnreadable(int64_t record, int error);
