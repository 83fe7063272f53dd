// The table of fuzz targets: see the header.
#include "tests/fuzz/targets.h"

namespace fuzz {

namespace {

constexpr NamedTarget kTargets[] = {
    {"archive", Archive, ArchiveSeeds},
    {"batch", SideBySide, SideBySideSeeds},
    {"prove", Prove, FileSeeds},
    {"read", Read, ReadSeeds},
    {"salvage", Salvaged, FileSeeds},
    {"audit", Audit, AuditSeeds},
    {"segment", Segment, SegmentSeeds},
    {"names", Names, NameSeeds},
    {"times", Times, TimeSeeds},
    {"pml", Pml, PmlSeeds},
    {"sharetxt", ShareTxt, ShareTxtSeeds},
    {"sums", Sums, SumsSeeds},
    {"logs", Logs, LogSeeds},
    {"labels", LabelFile, LabelSeeds},
    {"rules", Rules, RuleSeeds},
};

}  // namespace

std::span<const NamedTarget> AllTargets() { return kTargets; }

}  // namespace fuzz
