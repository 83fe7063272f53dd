// Audits a directory of archives against the logs and hour archives that are still there.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/audit/audit_archive.h"

namespace psltool {

struct DirectoryRequest {
  std::string archives;
  std::string logs;
  AuditRun run = AuditRun::kEither;
};

struct AuditedFile {
  std::string path;
  bool no_inputs = false;  // none left; nothing was compared
  AuditResult result;
  std::vector<AuditFinding> findings;  // the first ones
};

// Calls `visit` for each archive of the directory, by name. False: a directory cannot be read,
// reported.
bool AuditDirectory(const DirectoryRequest& request,
                    const std::function<void(const AuditedFile&)>& visit, Progress& progress);

}  // namespace psltool
