// `psltool health --openmetrics`: every value against directories and a trace made by hand, whether
// others can read it, and how the file is written.
#include <sys/stat.h>
#include <utime.h>

#include <map>
#include <sstream>

#include "tests/support/tools/health_fixture.h"

namespace {

using ::testing::HasSubstr;

// Values by name, labels included.
std::map<std::string, std::string> ValuesOf(const std::string& text) {
  std::map<std::string, std::string> values;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with('#')) continue;
    const size_t blank = line.find(' ');
    EXPECT_TRUE(values.emplace(line.substr(0, blank), line.substr(blank + 1)).second) << line;
  }
  return values;
}

class HealthMetrics : public PsltoolHealth {
 protected:
  std::map<std::string, std::string> Metrics(int status) const {
    const ProgramResult result = Health({"--openmetrics"});
    EXPECT_EQ(result.status, status) << result.out << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(result.out.ends_with("\n# EOF\n"));
    return ValuesOf(result.out);
  }
  // 2024-03-05 00:30:00 UTC and `seconds` more.
  void SetWritten(const std::string& name, long seconds) const {
    const time_t time = 1709598600 + seconds;
    const utimbuf times = {time, time};
    ASSERT_EQ(utime(directory.Path(name).c_str(), &times), 0);
  }
};

TEST_F(HealthMetrics, AQuietNight) {
  directory.Write("arc/20240304a.psl", std::string(300, 'x'));
  Trace(
      "2024/03/05 00:30:00.100 77 Qelprfarc:58 $main():arc start\n"
      "2024/03/05 00:30:07.000 77 Qelprfarc:214 del 20240203a.psl\n"
      "2024/03/05 00:30:07.000 77 Qelprfarc:214 del 20240202a.psl\n"
      "2024/03/05 00:30:07.000 77 Qelprfarc:222 del done(2) fail(0)\n"
      "2024/03/05 00:30:08.000 77 Qelprfarc:222 del done(1) fail(0)\n"
      "2024/03/05 00:31:12.900 77 Qelprfarc:181 $main():arc end\n");
  SetWritten("arc/archive/20240303a.psa", -86400);
  SetWritten("arc/archive/20240304a.psa", 5);
  AddArchive("202402a", 'D');
  SetWritten("arc/archive/202402a.psa", 9);
  auto values = Metrics(0);
  EXPECT_EQ(values["qelprfarc_healthy"], "1");
  EXPECT_EQ(values["qelprfarc_running"], "0");
  EXPECT_EQ(values["qelprfarc_last_run_timestamp_seconds"], "1709598600");
  EXPECT_EQ(values["qelprfarc_last_run_duration_seconds"], "72");
  EXPECT_EQ(values["qelprfarc_last_run_ended_well"], "1");
  EXPECT_EQ(values["qelprfarc_last_run_archived"], "2");
  EXPECT_EQ(values["qelprfarc_last_run_removed"], "3");
  EXPECT_EQ(values["qelprfarc_failures"], "0");
  EXPECT_EQ(values["qelprfarc_gaps"], "0");
  EXPECT_EQ(values["qelprfarc_stored_files{class=\"log\"}"], "1");
  EXPECT_EQ(values["qelprfarc_stored_bytes{class=\"log\"}"], "300");
  EXPECT_EQ(values["qelprfarc_stored_files{class=\"hour\"}"], "2");
  EXPECT_EQ(values["qelprfarc_stored_bytes{class=\"hour\"}"], "512");
  EXPECT_EQ(values["qelprfarc_stored_files{class=\"day\"}"], "1");
  EXPECT_EQ(values["qelprfarc_stored_bytes{class=\"day\"}"], "256");
  for (const char* kind : {"run", "failure", "broken", "leftover", "missing", "nodata", "path"}) {
    EXPECT_EQ(values["qelprfarc_problems{kind=\"" + std::string(kind) + "\"}"], "0") << kind;
  }
}

TEST_F(HealthMetrics, ABadNight) {
  Trace(
      "2024/03/05 00:30:00.100 77 Qelprfarc:58 $main():arc start\n"
      "2024/03/05 00:30:04.100 77 Qelprfarc:60 something\n");
  OperationLog(
      "2024-03-05T00:30:02+00:00 08300 Qelprfarc 5 1 There is broken psl(psa) file. "
      "file=20240304a.psl\n"
      "2024-03-05T00:30:03+00:00 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.\n");
  directory.Write("arc/archive/20240301a.psa", "");
  AddLog("20240301a");
  auto values = Metrics(1);
  EXPECT_EQ(values["qelprfarc_healthy"], "0");
  EXPECT_EQ(values["qelprfarc_last_run_ended_well"], "0");
  EXPECT_EQ(values["qelprfarc_last_run_duration_seconds"], "4");
  EXPECT_EQ(values["qelprfarc_failures"], "2");
  EXPECT_EQ(values["qelprfarc_gaps"], "1") << "2 March";
  EXPECT_EQ(values["qelprfarc_problems{kind=\"run\"}"], "1");
  EXPECT_EQ(values["qelprfarc_problems{kind=\"failure\"}"], "2");
  EXPECT_EQ(values["qelprfarc_problems{kind=\"broken\"}"], "1");
  EXPECT_EQ(values["qelprfarc_problems{kind=\"nodata\"}"], "1");
}

TEST_F(HealthMetrics, WithoutARunThereAreNoValuesOfOne) {
  Trace("");
  const auto values = Metrics(1);
  EXPECT_FALSE(values.contains("qelprfarc_last_run_timestamp_seconds"));
  EXPECT_FALSE(values.contains("qelprfarc_last_run_removed"));
  EXPECT_EQ(values.at("qelprfarc_problems{kind=\"run\"}"), "1");
}

TEST_F(HealthMetrics, TheFileIsReplacedWhole) {
  directory.Write("out.prom", "old");
  const ProgramResult result = Health({"--openmetrics", "-o", directory.Path("out.prom")});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(directory.Read("out.prom"), Health({"--openmetrics"}).out);
  EXPECT_EQ(Health({"--openmetrics", "-o", directory.Path("none/out.prom")}).status, 2);
  EXPECT_EQ(Health({"--openmetrics", "--json"}).status, 2);
}

TEST_F(HealthMetrics, PrometheusTakesThem) {
  if (RunProgram("/usr/bin/env", {"promtool", "--version"}).status != 0) {
    GTEST_SKIP() << "promtool is not installed";
  }
  const std::string path = directory.Path("out.prom");
  ASSERT_EQ(Health({"--openmetrics", "-o", path}).status, 0);
  const ProgramResult result =
      RunProgram("/bin/sh", {"-c", "promtool check metrics < \"$0\"", path});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_EQ(result.err, "");
}

}  // namespace
