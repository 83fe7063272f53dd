// What `psltool health` finds, as metrics.
#pragma once

#include "tools/output/text_out.h"
#include "tools/running/health.h"

namespace psltool {

// Gauges in a form that both OpenMetrics and the older text format of Prometheus take.
void PutHealthMetrics(TextOut& out, const Health& health, bool healthy);

}  // namespace psltool
