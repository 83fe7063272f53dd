// An audit inside the test's process.
#pragma once

#include <string>
#include <vector>

#include "tools/audit/audit_archive.h"

using namespace psltool;

struct Audited {
  AuditResult result;
  std::vector<AuditFinding> findings;

  // The first findings, a line each.
  std::string Text() const {
    std::string text;
    for (size_t i = 0; i < findings.size() && i < 5; ++i) {
      const AuditFinding& each = findings[i];
      text += std::string(each.code) + " " + each.path + ":" + std::to_string(each.offset) + " " +
              each.tag + " " + each.kind + " " + each.key + " " + each.field + " stored " +
              each.stored + " expected " + each.expected + " " + each.text + "\n";
    }
    return text;
  }

  bool Has(const std::string& code) const {
    for (const AuditFinding& each : findings) {
      if (each.code == code) return true;
    }
    return false;
  }
};

inline Audited RunAudit(const AuditRequest& request) {
  Audited audited;
  Progress progress(false);
  audited.result = AuditArchive(
      request, [&](const AuditFinding& finding) { audited.findings.push_back(finding); }, progress);
  return audited;
}
