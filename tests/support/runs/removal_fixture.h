// A server's directories from which expired files are removed, in this process.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "archiver/removal.h"
#include "logdir/autotarget.h"
#include "platform/QelCM.h"
#include "report/runinfo.h"
#include "tests/support/header_file.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

class RemovalFixture : public ::testing::Test {
 protected:
  RemovalFixture() {
    ResetRunState();
    arcdelinfo.auto2_flg = 1;  // failures go to the trace, and to no shared file
    snprintf(arcdelinfo.arcdir, sizeof arcdelinfo.arcdir, "%s", directory.Path("arc/").c_str());
    snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", directory.Path("trace").c_str());
  }
  ~RemovalFixture() override { ResetRunState(); }

  void MakeLog(const std::string& name, uint8_t revision = 0x1D) const {
    HeaderFile header;
    header.revision = revision;
    directory.Write("arc/" + name, HeaderBytes(header));
  }
  void MakeArchive(const std::string& name, char level, uint8_t revision = 0x1D) const {
    HeaderFile header;
    header.revision = revision;
    header.level = level;
    directory.Write("arc/archive/" + name, HeaderBytes(header));
  }

  static void Keep(int retention_class, int32_t encoded) {
    arcdelinfo.savetm_flg[retention_class] = 1;
    arcdelinfo.savetm[retention_class] = encoded;
  }

  static int RemoveAt(const std::string& now) {
    SetClock(now);
    GetTimeSpan();
    return ArcDelete();
  }

  std::vector<std::string> Logs() const {
    std::vector<std::string> names = directory.Names("arc");
    std::erase(names, "archive");
    return names;
  }
  std::vector<std::string> Archives() const { return directory.Names("arc/archive"); }
  std::string Trace() const { return directory.Read("trace"); }

  TempDir directory;
  TimeZone zone{"UTC"};
};
