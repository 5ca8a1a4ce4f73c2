// The scheduled work of one ticking pass of a session, in its fixed order: find the target pawn, count the
// ready tick, start profiling, track the runtime identity, set up actors, apply time dilation and the view
// target on the first ready tick, fire due stages, probes and input events, sample, grab a clip frame, and keep
// the pass as a retained row. Game thread only.
#pragma once
#include "PieSmoke/PieSmokeSession.h"

#include <string>

class APawn;
class UWorld;

namespace Tarnwick::PieSmoke
{
/** The pawn whose class name contains PawnClass (ignoring case), or with none given the first player's pawn. */
APawn* ResolveTargetPawn(UWorld& World, const std::string& PawnClass);

/** One pass of scheduled work at session time T (the clock has started). */
void DoSessionWork(FPieSmokeSession& Session, UWorld& World, double T);
}
