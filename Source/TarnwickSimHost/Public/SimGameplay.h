// The gameplay of a PIE (or game) world, run by the world's tick: player input turned into control rotation,
// movement input and jumps; AI path following; character movement against the world's boxes; the animation
// variables that follow each pawn; falling out of the world below KillZ; and who possesses which pawn when
// actors are placed or spawned. docs/project-format.md describes each rule and its formula.
//
// One object per PIE world, created when PIE starts. Everything walks the actors in spawn order, so the same
// input gives the same frames. Game thread only.
#pragma once
#include "SimCharacterMovement.h"
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

	void ProcessPlayerInput(FSimPlayerController& PC, bool bApply);
	void FollowPath(FSimAIController& AI);
	void CheckArrival(FSimAIController& AI);
	void UpdateAnimInstance(AActor* Pawn);
	const FAnimIndices& GetAnimIndices(const FSimClass* AnimClass);
	bool WantsAIController(const AActor* Actor, bool bPlacedInWorld) const;

	FSimWorld& World;
	const FSimInputSettings& Input;
	FMovementIndices Move{};
	std::unordered_map<const FSimClass*, FAnimIndices> AnimIndexCache;
	std::vector<FSimBox> Boxes;
};
}
