// The installation prefix, alone in its file: it is compiled once per value, everything else once.
#include "platform/prefix.h"

const char kInstallPrefix[] = QELSVR_PREFIX;
