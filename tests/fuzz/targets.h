// All fuzz targets by name, with what each of them starts from.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tests/fuzz/target.h"

namespace fuzz {

struct NamedTarget {
  const char* name;
  Target run;
  std::vector<std::string> (*seeds)();
};

std::span<const NamedTarget> AllTargets();

// Sound inputs and slightly broken ones, made by the generators of the tests.
std::vector<std::string> ArchiveSeeds();
std::vector<std::string> SideBySideSeeds();
std::vector<std::string> FileSeeds();
std::vector<std::string> ReadSeeds();
std::vector<std::string> AuditSeeds();
std::vector<std::string> SegmentSeeds();
std::vector<std::string> NameSeeds();
std::vector<std::string> TimeSeeds();
std::vector<std::string> PmlSeeds();
std::vector<std::string> ShareTxtSeeds();
std::vector<std::string> SumsSeeds();
std::vector<std::string> LogSeeds();
std::vector<std::string> LabelSeeds();
std::vector<std::string> RuleSeeds();

}  // namespace fuzz
