// The shared start of run_pie_smoke and capture_pie_movement_clip (see PieSmokeStart.cpp for the sequence).
#pragma once
#include "PieSmoke/PieSmokeSpec.h"
#include "TarnwickActionResult.h"

namespace Tarnwick::PieSmoke
{
/** Validates, loads the map, starts PIE and registers the session; returns at once with its id. */
FTarnwickActionResult StartSmokeSession(const FJsonPtr& Params, ESmokeAction Action);
}
