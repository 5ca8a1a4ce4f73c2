// AI controllers and their path following, the engine's AAIController and UPathFollowingComponent.
//
// MoveToLocation / MoveToActor ask the controller's path following to walk the possessed pawn to a goal along a
// navigation path, at the pawn's walking speed. The request answers at once (EPathFollowingRequestResult):
// Failed when there is no pawn or no path to the goal, AlreadyAtGoal when the pawn is within the acceptance
// radius already, RequestSuccessful otherwise; the move then goes on over frames (status Moving) until the
// goal is reached, the move is stopped or replaced. On a world whose navigation is not built the request is
// accepted and the move stays in progress without a path, so the pawn does not move, as the engine does.
//
// Implemented by the host; game thread only.
#pragma once
#include "World.h"

#include <vector>

class UBlackboardComponent;

namespace EPathFollowingRequestResult
{
/** The engine's answer to a move request. */
enum Type : uint8
{
	Failed,
	AlreadyAtGoal,
	RequestSuccessful,
};
}

namespace EPathFollowingStatus
{
/** The engine's path-following states. */
enum Type : uint8
{
	/** No requests. */
	Idle,
	/** Request waiting for a path (unused by moves that have one). */
	Waiting,
	/** Request paused. */
	Paused,
	/** Following a path, or trying to. */
	Moving,
};
}

namespace EPathFollowingResult
{
/** How the last move ended. */
enum Type : uint8
{
	Success,
	Blocked,
	OffPath,
	Aborted,
	Invalid,
};
}

const char* LexToString(EPathFollowingRequestResult::Type Result);
const char* LexToString(EPathFollowingStatus::Type Status);
const char* LexToString(EPathFollowingResult::Type Result);

class UPathFollowingComponent : public UActorComponent
{
public:
	virtual EPathFollowingStatus::Type GetStatus() const = 0;
	/** The points of the path being followed, the pawn's start first; empty while there is no path. */
	virtual std::vector<FVector> GetPathPoints() const = 0;
	/** The index of the path point the pawn is walking to next (0 without a path). */
	virtual int32 GetNextPathIndex() const = 0;
	/** The goal of the current or last move. */
	virtual FVector GetCurrentTargetLocation() const = 0;
	/** How the last finished move ended; Invalid before any move finished. */
	virtual EPathFollowingResult::Type GetLastMoveResult() const = 0;
};

class AAIController : public AController
{
public:
	/**
	 * Walks the pawn to Dest. AcceptanceRadius < 0 takes the path following's default; bStopOnOverlap adds the
	 * pawn's radius to it. The remaining arguments keep the engine's meaning; the host documents which it honours.
	 */
	virtual EPathFollowingRequestResult::Type MoveToLocation(const FVector& Dest, float AcceptanceRadius = -1.0f,
		bool bStopOnOverlap = true, bool bUsePathfinding = true, bool bProjectDestinationToNavigation = false,
		bool bCanStrafe = true, UClass* FilterClass = nullptr, bool bAllowPartialPath = true) = 0;
	/** As MoveToLocation, to Goal's location, following it when it moves. */
	virtual EPathFollowingRequestResult::Type MoveToActor(AActor* Goal, float AcceptanceRadius = -1.0f, bool bStopOnOverlap = true,
		bool bUsePathfinding = true, bool bCanStrafe = true, UClass* FilterClass = nullptr, bool bAllowPartialPath = true) = 0;
	/** Ends the current move (result Aborted). */
	virtual void StopMovement() = 0;
	virtual EPathFollowingStatus::Type GetMoveStatus() const = 0;
	virtual UPathFollowingComponent* GetPathFollowingComponent() const = 0;
	/** The controller's blackboard, or null when it uses none. */
	virtual UBlackboardComponent* GetBlackboardComponent() const = 0;
};
