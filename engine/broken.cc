// BrokenRecord: see the header.
#include "engine/broken.h"

#include "archiver/messages.h"
#include "archiver/runinfo.h"
#include "engine/finfo.h"
#include "engine/pmoncommon.h"

const char* broken_reason = "";

bool BrokenRecord(const char* reason) {
  broken_reason = reason;
  LogMessage(112, rfname);
  if (arcdelinfo.auto_flg == 0) RemoveOutputAndEnd();
  auto_break_flg = 1;
  return false;
}
