// The AI controller's path following (the engine's UPathFollowingComponent): the current move request, its
// path and how far along it the pawn is. The request rules live in SimControllers.cpp; walking the path, frame
// by frame, is the world's gameplay tick.
#pragma once
#include "SimObjects.h"

namespace Tarnwick::Sim
{
/** Added to the acceptance radius of a request that asked for the engine's default (a radius below 0). */
inline constexpr float PathFollowingDefaultAcceptanceRadius = 5.0f;

class FSimPathFollowingComponent final : public TSimComponent<UPathFollowingComponent>
{
public:
	EPathFollowingStatus::Type GetStatus() const override { return Status; }
	std::vector<FVector> GetPathPoints() const override { return Path; }
	int32 GetNextPathIndex() const override { return NextIndex; }
	FVector GetCurrentTargetLocation() const override { return Goal; }
	EPathFollowingResult::Type GetLastMoveResult() const override { return LastResult; }

	/** Ends the current move, if any, with Result. */
	void FinishMove(EPathFollowingResult::Type Result);

	EPathFollowingStatus::Type Status = EPathFollowingStatus::Idle;
	/** Start first, goal last; empty while the move waits for navigation. */
	std::vector<FVector> Path;
	int32 NextIndex = 0;
	FVector Goal;
	/** MoveToActor: the actor followed (the goal follows it). */
	FWeakObjectPtr GoalActor;
	/** Total radius around the goal within which the move has succeeded. */
	double AcceptanceRadius = PathFollowingDefaultAcceptanceRadius;
	bool bUsePathfinding = true;
	bool bAllowPartialPath = true;
	EPathFollowingResult::Type LastResult = EPathFollowingResult::Invalid;
	/** Requests made so far (a new request replaces the current one). */
	uint32 RequestCount = 0;
};
}
