// What a session looked through and at: the player's view target on the first ready tick (and the actor
// view_target_actor asks for), and the runtime identity of the observed pawn — its class, skeletal mesh,
// AnimInstance and AnimClass — tracked every ready tick so that a wrong or swapped animation setup shows in the
// report. A mismatch is recorded, never fatal. Game thread only.
#pragma once
#include "PieSmoke/PieSmokeSession.h"

#include <string>
#include <vector>

class AActor;
class APawn;
class UWorld;

namespace Tarnwick::PieSmoke
{
/** The first actor whose label, else object name, else class name contains Substring (ignoring case). */
AActor* FindViewTargetActor(const std::vector<AActor*>& Actors, const std::string& Substring);

/** Records the current view target and applies view_target_actor. */
void ApplyViewTarget(FPieSmokeSession& Session, UWorld& World);

/**
 * Updates the runtime identity from the target pawn (nothing without one). Lookup keeps the pawn's skeletal mesh
 * and its properties between calls; it is redone when the pawn changes.
 */
void UpdateRuntimeIdentity(FRuntimeIdentity& Identity, FRuntimeIdentityLookup& Lookup, const std::string& ExpectedAnimClass, APawn* Pawn);
}
