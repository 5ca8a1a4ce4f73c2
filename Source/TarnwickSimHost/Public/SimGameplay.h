// The gameplay of a PIE (or game) world, run by the world's tick: player input turned into control rotation,
// movement input and jumps; AI path following; character movement against the world's boxes; the animation
// variables that follow each pawn; falling out of the world below KillZ; and who possesses which pawn when
// actors are placed or spawned. docs/project-format.md describes each rule and its formula.
//
// One object per PIE world, created when PIE starts. Everything walks the actors in spawn order, so the same
// input gives the same frames. Game thread only.
#pragma once
#include "SimCharacterMovement.h"
#include "SimEventGraph.h"
#include "SimObjects.h"
#include "SimPlayerInput.h"

#include <unordered_map>
#include <vector>

namespace Tarnwick::Sim
{
class FSimPathFollowingComponent;

/** The player controller's input scales (the engine's InputYawScale and InputPitchScale). */
inline constexpr double SimInputYawScale = 2.5;
inline constexpr double SimInputPitchScale = -2.5;

class FSimWorldGameplay
{
public:
	FSimWorldGameplay(FSimWorld& InWorld, const FSimInputSettings& InInput);

	/** Before players log in: pawns placed in the map that want an AI controller get one (AutoPossessAI). */
	void InitializeActorsForPlay();
	/** The world began play (every actor has begun play). */
	void BeginPlay();
	/** An actor was spawned into the world (the pawn's AutoPossessAI rules for spawned pawns). */
	void OnActorSpawned(AActor* Actor);
	/** One frame of game time (DeltaSeconds already dilated; 0 while paused). */
	void Tick(double DeltaSeconds);

	/** The movement parameters of a character, read from its movement component and capsule. */
	bool ReadMovement(AActor* Pawn, FSimMovementParams& OutParams, FSimMovementState& OutState) const;
	void WriteMovement(AActor* Pawn, const FSimMovementState& State);
	/** The world's static boxes as of the last tick. */
	const std::vector<FSimBox>& GetBoxes() const { return Boxes; }

	/**
	 * Runs the actions of one event of Self's graph from From on, as the graph would (SimEventGraphRuntime.cpp);
	 * an action with a Delay puts itself and the rest off until then.
	 */
	void RunActions(AActor* Self, const std::shared_ptr<const FSimEventGraph>& Graph, size_t Event, size_t From = 0, bool bResumed = false);
	/** Logs a Blueprint runtime error of Self's graph as the engine logs one on LogScript. */
	void LogRuntimeError(AActor* Self, const std::string& Property, const std::string& Node) const;

private:
	struct FAnimIndices
	{
		int32 GroundSpeed = -1;
		int32 ShouldMove = -1;
		int32 DesiredYawDelta = -1;
		int32 IsFalling = -1;
		int32 Velocity = -1;
	};
	struct FMovementIndices
	{
		int32 Velocity, MovementMode, MaxWalkSpeed, MaxAcceleration, BrakingDecelerationWalking, JumpZVelocity, GravityScale,
			bOrientRotationToMovement, RotationRate, GroundFriction, BrakingFrictionFactor, AirControl, MaxStepHeight, Acceleration;
	};

	void ProcessPlayerInput(FSimPlayerController& PC);
	void FollowPath(FSimAIController& AI);
	void CheckArrival(FSimAIController& AI);
	void UpdateAnimInstance(AActor* Pawn);
	const FAnimIndices& GetAnimIndices(const FSimClass* AnimClass);
	bool WantsAIController(const AActor* Actor, bool bPlacedInWorld) const;
	/** Blackboards from their default assets and the event graph's state; then, when asked, BeginPlay events. */
	void PrepareForPlay(AActor* Actor);
	void RunBeginPlayEvents(AActor* Actor);
	/** Delays, timers and reached locations due by the world's time, actors in spawn order. */
	void RunTimedEvents(const std::vector<FSimActorState*>& Actors);
	/** Self, Player (the first player's pawn), or an actor's label or name; null when none. */
	AActor* ResolveTarget(AActor* Self, const std::string& Target) const;
	void RunAction(AActor* Self, const FSimGraphAction& Action);

	FSimWorld& World;
	const FSimInputSettings& Input;
	FMovementIndices Move{};
	int32 PawnControllerIndex = -1, UseControllerYawIndex = -1, JumpMaxCountIndex = -1, KillZIndex = -1;
	const FSimClass* CharacterClass = nullptr;
	std::unordered_map<const FSimClass*, FAnimIndices> AnimIndexCache;
	std::vector<FSimBox> Boxes;
	/** Actions waiting out a Delay: who runs them, where they continue, and when. */
	struct FDelayedActions
	{
		FWeakObjectPtr Self;
		std::shared_ptr<const FSimEventGraph> Graph;
		size_t Event = 0;
		size_t Next = 0;
		double WakeTime = 0.0;
		uint64 Order = 0;
	};
	std::vector<FDelayedActions> Delayed;
	uint64 NextDelayOrder = 0;
};
}
