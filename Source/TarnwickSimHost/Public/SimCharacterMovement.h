// Character movement as the engine's UCharacterMovementComponent does it where it can be seen: walking with
// acceleration, friction and braking, falling under gravity, jumping, stepping up, landing, blocking by the
// world's boxes, and turning toward the movement. Pure rules over plain values, one call per frame per
// character; the formulas are written out in docs/project-format.md.
//
// The character is a capsule (radius, half height) centred on its location; the boxes are the world's static
// geometry (SimCollision.h). Walls are boxes whose top is more than MaxStepHeight above the feet; lower boxes
// are stepped onto. The floor is the highest box top under the capsule's centre within MaxStepHeight of the
// feet; with none the character falls.
#pragma once
#include "SimCollision.h"

#include <vector>

namespace Tarnwick::Sim
{
/** The engine's default gravity (cm/s², downwards). */
inline constexpr double SimDefaultGravityZ = -980.0;
/** A braking character below this speed stops (the engine's BRAKE_TO_STOP_VELOCITY). */
inline constexpr double SimBrakeToStopVelocity = 10.0;

enum class ESimMovementMode : uint8
{
	Walking,
	Falling,
};

struct FSimMovementParams
{
	double MaxWalkSpeed = 600.0;
	double MaxAcceleration = 2048.0;
	double BrakingDecelerationWalking = 2048.0;
	double GroundFriction = 8.0;
	double BrakingFrictionFactor = 2.0;
	double JumpZVelocity = 420.0;
	double GravityScale = 1.0;
	double AirControl = 0.05;
	double MaxStepHeight = 45.0;
	bool bOrientRotationToMovement = false;
	/** Degrees per second of turning toward the movement. */
	double RotationRateYaw = 360.0;
	double CapsuleRadius = 34.0;
	double CapsuleHalfHeight = 88.0;
};

struct FSimMovementState
{
	FVector Location;
	FRotator Rotation;
	FVector Velocity;
	/** The input acceleration of the last step (the engine's Acceleration, what GetCurrentAcceleration answers). */
	FVector Acceleration;
	ESimMovementMode Mode = ESimMovementMode::Walking;
	int32 JumpCurrentCount = 0;
};

struct FSimMovementInput
{
	/** World-space input direction; longer than 1 is clamped to 1 (movement input vectors are). */
	FVector InputVector;
	/** Jump was pressed and not yet released or performed. */
	bool bJump = false;
	int32 JumpMaxCount = 1;
	/** When set (and the rotation does not follow the movement) the character faces this yaw. */
	bool bUseControllerYaw = false;
	double ControllerYaw = 0.0;
};

struct FSimMovementResult
{
	bool bJumped = false;
	bool bLanded = false;
	/** Horizontal movement was stopped by a wall. */
	bool bBlocked = false;
};

/**
 * The engine's CalcVelocity for one step: with no acceleration (or above MaxSpeed) the velocity brakes;
 * otherwise friction turns it toward the acceleration's direction, the acceleration is added and the speed is
 * held to MaxSpeed. Works on the horizontal velocity only.
 */
FVector CalcWalkingVelocity(const FVector& Velocity, const FVector& Acceleration, double DeltaTime, double MaxSpeed, double Friction,
	double BrakingDeceleration, double BrakingFrictionFactor);

/**
 * The engine's ApplyVelocityBraking: friction (times the friction factor) and a constant deceleration against
 * the velocity, in sub-steps of at most 1/33 s, never reversing it, and stopping below SimBrakeToStopVelocity.
 */
FVector ApplyVelocityBraking(const FVector& Velocity, double DeltaTime, double Friction, double BrakingDeceleration, double BrakingFrictionFactor);

/** Yaw normalised to (-180, 180]. */
double NormalizeAxis(double Degrees);

/** One frame of movement. Boxes are the world's static geometry. */
FSimMovementResult StepCharacterMovement(const FSimMovementParams& Params, FSimMovementState& State, const FSimMovementInput& Input,
	const std::vector<FSimBox>& Boxes, double DeltaTime);
}
