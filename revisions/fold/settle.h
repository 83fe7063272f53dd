// The end of pending entries: a part of the door (fold.h) that the inside of the room needs, too.
#pragma once

#include <cstddef>

// Folds what is pending: from now on nobody looks at the records read before.
void Settle();

// Whether anything is pending.
bool AnyPending();

// Intervals of a tile after which it is folded while the last of them is still at hand.
extern size_t pending_limit;

// Forgets what is pending and frees the memory.
void DropPending();
