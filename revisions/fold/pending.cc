// Pending entries: see the header.
#include "revisions/fold/pending.h"

#include <array>

namespace {

std::array<PendingKind, kSectionKinds> kinds;

}  // namespace

size_t pending_limit = kMostIntervals;

PendingKind& PendingOf(Kind kind) { return kinds[kind]; }

void Settle(Kind kind) {
  PendingKind& pending = kinds[kind];
  pending.ForgetStale(resource_sets[kind]);
  if (!pending.any) return;
  for (size_t tile = 0; tile < pending.tiles; ++tile) FoldPendingTile(pending, kind, tile);
  pending.any = false;
}

void Settle() {
  for (uint8_t kind = 0; kind < kSectionKinds; ++kind) Settle(static_cast<Kind>(kind));
}

bool AnyPending() {
  for (size_t kind = 0; kind < kSectionKinds; ++kind) {
    kinds[kind].ForgetStale(resource_sets[kind]);
    if (kinds[kind].any) return true;
  }
  return false;
}

void DropPending() {
  for (PendingKind& pending : kinds) {
    pending.fold = nullptr;
    pending.any = false;
    pending.tiles = 0;
    for (Buffer* buffer :
         {&pending.plain, &pending.mixed, &pending.counts, &pending.firsts, &pending.expected}) {
      buffer->Free();
    }
  }
}
