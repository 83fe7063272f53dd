// Where the server is installed: trace file and operation log lie below this directory.
#pragma once

// The installation prefix, ending in "/". Set at build time by QELSVR_PREFIX; programs built for
// tests carry a directory of the build tree instead.
extern const char kInstallPrefix[];
