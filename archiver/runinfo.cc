// The automatic-run record: see the header.
#include "archiver/runinfo.h"

ArcDelInfo arcdelinfo;
