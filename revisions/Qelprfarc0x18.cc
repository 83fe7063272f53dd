// Revision 0x18: what it adds is one row of the optional items, checked here.
#include "revisions/Qelprfarc0x18.h"

static_assert(!ItemRowOf(kConc).span.Holds(0x17) && ItemRowOf(kConc).span.Holds(0x18),
              "concurrent copies begin with 0x18");
