// BrokenRecord: see the header.
#include "engine/broken.h"

#include "areas/finfo.h"
#include "engine/pmoncommon.h"
#include "report/messages.h"
#include "report/runinfo.h"

const char* broken_reason = "";

bool BrokenRecord(const char* reason) {
  broken_reason = reason;
  LogMessage(112, rfname);
  if (arcdelinfo.auto_flg == 0) RemoveOutputAndEnd();
  auto_break_flg = 1;
  return false;
}
