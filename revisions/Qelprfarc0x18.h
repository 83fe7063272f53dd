// Revision 0x18 adds concurrent copies to the 0x14 family: a row of the optional items.
#pragma once

#include "revisions/items.h"
