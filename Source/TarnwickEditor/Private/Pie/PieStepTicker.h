// The pending step of step_pie: a core ticker that lets the paused game run a given number of core ticks and
// pauses it again on the last one. One step at most is pending; starting another replaces it.
//
// step_pie starts it; resume_pie and stop_play cancel it, and so will restart, since a step left running
// would re-pause a game the user just resumed or keep a ticker alive across a teardown. Game thread only.
#pragma once
#include "HostTypes.h"

namespace Tarnwick::Pie
{
/** Replaces any pending step, unpauses the PIE world and lets it run Frames core ticks. Needs a PIE world. */
void StartPieStep(int32 Frames);
/** Removes a pending step's ticker and zeroes its counter; does nothing when no step is pending. */
void CancelPieStep();
bool IsPieStepPending();
/** Core ticks still to run before the pending step re-pauses (0 when none is pending). */
int32 GetPieStepTicksLeft();
}
