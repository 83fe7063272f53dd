// Pending entries: see the header.
#include "revisions/fold/pending.h"

#include <array>

namespace {

std::array<PendingKind, kSectionKinds> kinds;

}  // namespace

size_t pending_limit = kMostIntervals;

PendingKind& PendingOf(Kind kind) { return kinds[kind]; }

void FoldPending(Kind kind) {
  PendingKind& pending = kinds[kind];
  if (!pending.any) return;
  for (size_t tile = 0; tile < pending.tiles; ++tile) FoldPendingTile(pending, kind, tile);
  pending.any = false;
}

void FoldPending() {
  for (uint8_t kind = 0; kind < kSectionKinds; ++kind) FoldPending(static_cast<Kind>(kind));
}

bool AnyPending() {
  for (const PendingKind& pending : kinds) {
    if (pending.any) return true;
  }
  return false;
}

void DropPending(Kind kind, bool room) {
  PendingKind& pending = kinds[kind];
  if (pending.any) std::memset(pending.counts.data(), 0, pending.tiles);
  pending.any = false;
  if (!room) return;
  pending.fold = nullptr;
  pending.tiles = 0;
  pending.plain.Free();
  pending.mixed.Free();
  pending.counts.Free();
  pending.firsts.Free();
  pending.expected.Free();
}
