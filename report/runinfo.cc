// The automatic-run record: see the header.
#include "report/runinfo.h"

ArcDelInfo arcdelinfo;
