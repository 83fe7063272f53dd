// The commands of psltool: one table of what each is called and says of itself. What it takes and
// does stands in cmd_<name>.cc.
#pragma once

#include <span>

#include "tools/commands/command_line.h"

namespace psltool {

struct CommandRow {
  const char* purpose;  // heading under which it is listed
  const char* name;
  const char* summary;  // one line, in the list of commands
  const char* help;     // behind its options: what it prints, exit statuses, examples
  // Adds options and action; when the action runs it stores the exit status in `status`.
  void (*add)(Command& command, int& status);
};

// In the order of the list: rows of one purpose stand together.
std::span<const CommandRow> Commands();

void AddInfoCommand(Command& command, int& status);
void AddShowCommand(Command& command, int& status);
void AddTopCommand(Command& command, int& status);
void AddCompareCommand(Command& command, int& status);
void AddChartCommand(Command& command, int& status);
void AddLimitsCommand(Command& command, int& status);
void AddDumpCommand(Command& command, int& status);
void AddCheckCommand(Command& command, int& status);
void AddAuditCommand(Command& command, int& status);
void AddExplainCommand(Command& command, int& status);
void AddSealCommand(Command& command, int& status);
void AddSalvageCommand(Command& command, int& status);
void AddExportCommand(Command& command, int& status);
void AddReportCommand(Command& command, int& status);
void AddSegmentCommand(Command& command, int& status);
void AddHealthCommand(Command& command, int& status);
void AddPlanCommand(Command& command, int& status);
void AddUnitsCommand(Command& command, int& status);
void AddUnitCommand(Command& command, int& status);
void AddMakeCommand(Command& command, int& status);

}  // namespace psltool
