// Revision 0x18 adds concurrent copies to the 0x14 family. The set builder
// GetConcSet_0x18 stands with the other optional items.
#pragma once

#include "revisions/items.h"
