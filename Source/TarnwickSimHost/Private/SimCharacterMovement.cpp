#include "SimCharacterMovement.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

namespace Tarnwick::Sim
{
namespace
{
/** The engine's sub-step for braking (BrakingSubStepTime) and its smallest step (MIN_TICK_TIME). */
constexpr double BrakingSubStepTime = 1.0 / 33.0;
constexpr double MinTickTime = 1e-6;
/** The engine's TerminalVelocity of the default physics volume. */
constexpr double TerminalVelocity = 4000.0;
/** How far below the feet a floor still counts when a walking character is not stepping down. */
constexpr double FloorSnapTolerance = 2.4;

double Size2D(const FVector& V) { return std::sqrt(V.X * V.X + V.Y * V.Y); }

FVector Horizontal(const FVector& V) { return FVector(V.X, V.Y, 0.0); }

FVector ClampSize2D(const FVector& V, double Max)
{
	const double S = Size2D(V);
	if (S <= Max || S <= 0.0) return V;
	return FVector(V.X * Max / S, V.Y * Max / S, V.Z);
}

FVector SafeNormal2D(const FVector& V)
{
	const double S = Size2D(V);
	return S < 1e-8 ? FVector() : FVector(V.X / S, V.Y / S, 0.0);
}

/** The highest box top under (X, Y) within [Low, High]. */
std::optional<double> FindFloor(const std::vector<FSimBox>& Boxes, double X, double Y, double Low, double High)
{
	std::optional<double> Best;
	for (const FSimBox& B : Boxes)
	{
		if (!B.ContainsXY(X, Y)) continue;
		const double Top = B.Max.Z;
		if (Top < Low || Top > High) continue;
		if (!Best || Top > *Best) Best = Top;
	}
	return Best;
}

/**
 * Moves along one horizontal axis (0 = X, 1 = Y) by Delta and stops at the first wall: a box that overlaps the
 * capsule's vertical span above StepTop and that the capsule's square footprint would enter.
 */
bool MoveAxis(FVector& Location, int Axis, double Delta, double Radius, double StepTop, double HeadZ, const std::vector<FSimBox>& Boxes)
{
	if (Delta == 0.0) return false;
	double& Coord = Axis == 0 ? Location.X : Location.Y;
	const double Other = Axis == 0 ? Location.Y : Location.X;
	double Target = Coord + Delta;
	bool bBlocked = false;
	for (const FSimBox& B : Boxes)
	{
		if (B.Max.Z <= StepTop || B.Min.Z >= HeadZ) continue;
		const double OMin = Axis == 0 ? B.Min.Y : B.Min.X;
		const double OMax = Axis == 0 ? B.Max.Y : B.Max.X;
		if (Other + Radius <= OMin || Other - Radius >= OMax) continue;
		const double Lo = (Axis == 0 ? B.Min.X : B.Min.Y) - Radius;
		const double Hi = (Axis == 0 ? B.Max.X : B.Max.Y) + Radius;
		// Already inside (spawned overlapping): let it move out, never deeper.
		if (Coord > Lo && Coord < Hi) continue;
		if (Delta > 0.0 && Coord <= Lo && Target > Lo)
		{
			Target = Lo;
			bBlocked = true;
		}
		else if (Delta < 0.0 && Coord >= Hi && Target < Hi)
		{
			Target = Hi;
			bBlocked = true;
		}
	}
	Coord = Target;
	return bBlocked;
}

void TurnToward(FRotator& Rotation, double TargetYaw, double MaxDegrees)
{
	const double Diff = NormalizeAxis(TargetYaw - Rotation.Yaw);
	const double Step = std::clamp(Diff, -MaxDegrees, MaxDegrees);
	Rotation.Yaw = NormalizeAxis(Rotation.Yaw + Step);
}
}

double NormalizeAxis(double Degrees)
{
	double A = std::fmod(Degrees, 360.0);
	if (A > 180.0) A -= 360.0;
	else if (A <= -180.0) A += 360.0;
	return A;
}

FVector ApplyVelocityBraking(const FVector& InVelocity, double DeltaTime, double Friction, double BrakingDeceleration, double BrakingFrictionFactor)
{
	FVector V = InVelocity;
	if ((V.X == 0.0 && V.Y == 0.0 && V.Z == 0.0) || DeltaTime < MinTickTime) return V;
	const double F = std::max(0.0, Friction * std::max(0.0, BrakingFrictionFactor));
	const double Decel = std::max(0.0, BrakingDeceleration);
	if (F == 0.0 && Decel == 0.0) return V;
	const FVector Old = V;
	const double Len = std::sqrt(V.X * V.X + V.Y * V.Y + V.Z * V.Z);
	const FVector RevAccel(-Decel * V.X / Len, -Decel * V.Y / Len, -Decel * V.Z / Len);
	double Remaining = DeltaTime;
	while (Remaining >= MinTickTime)
	{
		// Zero friction is a constant deceleration: one step is exact.
		const double Dt = (Remaining > BrakingSubStepTime && F != 0.0) ? std::min(BrakingSubStepTime, Remaining * 0.5) : Remaining;
		Remaining -= Dt;
		V = FVector(V.X + (-F * V.X + RevAccel.X) * Dt, V.Y + (-F * V.Y + RevAccel.Y) * Dt, V.Z + (-F * V.Z + RevAccel.Z) * Dt);
		if (V.X * Old.X + V.Y * Old.Y + V.Z * Old.Z <= 0.0) return FVector();
	}
	const double SizeSq = V.X * V.X + V.Y * V.Y + V.Z * V.Z;
	if (SizeSq <= 1e-4 || (Decel != 0.0 && SizeSq <= SimBrakeToStopVelocity * SimBrakeToStopVelocity)) return FVector();
	return V;
}

FVector CalcWalkingVelocity(const FVector& InVelocity, const FVector& Acceleration, double DeltaTime, double MaxSpeed, double Friction,
	double BrakingDeceleration, double BrakingFrictionFactor)
{
	FVector V = Horizontal(InVelocity);
	const FVector A = Horizontal(Acceleration);
	const bool bZeroAcceleration = A.X == 0.0 && A.Y == 0.0;
	const bool bOverMax = Size2D(V) > MaxSpeed * 1.01;
	if (bZeroAcceleration || bOverMax)
	{
		const FVector Old = V;
		V = ApplyVelocityBraking(V, DeltaTime, Friction, BrakingDeceleration, BrakingFrictionFactor);
		// Braking must not take a character that started above the limit below it while it still accelerates.
		if (bOverMax && Size2D(V) < MaxSpeed && (A.X * Old.X + A.Y * Old.Y) > 0.0)
		{
			const FVector Dir = SafeNormal2D(Old);
			V = FVector(Dir.X * MaxSpeed, Dir.Y * MaxSpeed, 0.0);
		}
	}
	else
	{
		// Friction turns the velocity toward the acceleration's direction.
		const FVector Dir = SafeNormal2D(A);
		const double Speed = Size2D(V);
		const double K = std::min(DeltaTime * std::max(0.0, Friction), 1.0);
		V = FVector(V.X - (V.X - Dir.X * Speed) * K, V.Y - (V.Y - Dir.Y * Speed) * K, 0.0);
	}
	if (!bZeroAcceleration)
	{
		const double Limit = Size2D(V) > MaxSpeed * 1.01 ? Size2D(V) : MaxSpeed;
		V = ClampSize2D(FVector(V.X + A.X * DeltaTime, V.Y + A.Y * DeltaTime, 0.0), Limit);
	}
	return V;
}

FSimMovementResult StepCharacterMovement(const FSimMovementParams& P, FSimMovementState& S, const FSimMovementInput& Input,
	const std::vector<FSimBox>& Boxes, double Dt)
{
	FSimMovementResult Result;
	if (Dt <= 0.0) return Result;
	FVector InputVector = Horizontal(Input.InputVector);
	const double InputSize = Size2D(InputVector);
	if (InputSize > 1.0) InputVector = FVector(InputVector.X / InputSize, InputVector.Y / InputSize, 0.0);
	S.Acceleration = FVector(InputVector.X * P.MaxAcceleration, InputVector.Y * P.MaxAcceleration, 0.0);

	// Jump (the engine's CheckJumpInput / DoJump): only from the ground, at most JumpMaxCount times before landing.
	if (Input.bJump && S.Mode == ESimMovementMode::Walking && S.JumpCurrentCount < Input.JumpMaxCount)
	{
		S.Velocity.Z = std::max(S.Velocity.Z, P.JumpZVelocity);
		S.Mode = ESimMovementMode::Falling;
		++S.JumpCurrentCount;
		Result.bJumped = true;
	}

	const double Radius = P.CapsuleRadius;
	const double Half = P.CapsuleHalfHeight;
	if (S.Mode == ESimMovementMode::Walking)
	{
		const FVector V = CalcWalkingVelocity(S.Velocity, S.Acceleration, Dt, P.MaxWalkSpeed, P.GroundFriction, P.BrakingDecelerationWalking,
			P.BrakingFrictionFactor);
		S.Velocity = V;
		const double Feet = S.Location.Z - Half;
		const bool bBlockedX = MoveAxis(S.Location, 0, V.X * Dt, Radius, Feet + P.MaxStepHeight, S.Location.Z + Half, Boxes);
		const bool bBlockedY = MoveAxis(S.Location, 1, V.Y * Dt, Radius, Feet + P.MaxStepHeight, S.Location.Z + Half, Boxes);
		if (bBlockedX) S.Velocity.X = 0.0;
		if (bBlockedY) S.Velocity.Y = 0.0;
		Result.bBlocked = bBlockedX || bBlockedY;
		// Follow the floor up steps and down slopes within the step height; walk off a ledge into a fall.
		const std::optional<double> Floor = FindFloor(Boxes, S.Location.X, S.Location.Y, Feet - P.MaxStepHeight, Feet + P.MaxStepHeight);
		if (Floor)
		{
			S.Location.Z = *Floor + Half;
			S.Velocity.Z = 0.0;
		}
		else
		{
			S.Mode = ESimMovementMode::Falling;
		}
	}
	else
	{
		// Falling: little control in the air, gravity, and the position moved by the mean of the old and new
		// velocity, so that a jump follows its parabola exactly.
		const FVector Lateral = CalcWalkingVelocity(S.Velocity,
			FVector(S.Acceleration.X * P.AirControl, S.Acceleration.Y * P.AirControl, 0.0), Dt, P.MaxWalkSpeed, 0.0, 0.0, P.BrakingFrictionFactor);
		const FVector Old = S.Velocity;
		const double Gravity = SimDefaultGravityZ * P.GravityScale;
		double Vz = std::max(Old.Z + Gravity * Dt, -TerminalVelocity);
		S.Velocity = FVector(Lateral.X, Lateral.Y, Vz);
		const double Feet = S.Location.Z - Half;
		const bool bBlockedX = MoveAxis(S.Location, 0, 0.5 * (Old.X + S.Velocity.X) * Dt, Radius, Feet + FloorSnapTolerance, S.Location.Z + Half, Boxes);
		const bool bBlockedY = MoveAxis(S.Location, 1, 0.5 * (Old.Y + S.Velocity.Y) * Dt, Radius, Feet + FloorSnapTolerance, S.Location.Z + Half, Boxes);
		if (bBlockedX) S.Velocity.X = 0.0;
		if (bBlockedY) S.Velocity.Y = 0.0;
		Result.bBlocked = bBlockedX || bBlockedY;
		const double DeltaZ = 0.5 * (Old.Z + Vz) * Dt;
		const double NewFeet = Feet + DeltaZ;
		if (DeltaZ <= 0.0)
		{
			// Land on the highest top crossed on the way down.
			const std::optional<double> Floor = FindFloor(Boxes, S.Location.X, S.Location.Y, NewFeet, Feet + FloorSnapTolerance);
			if (Floor)
			{
				S.Location.Z = *Floor + Half;
				S.Velocity.Z = 0.0;
				S.Mode = ESimMovementMode::Walking;
				S.JumpCurrentCount = 0;
				Result.bLanded = true;
			}
			else
			{
				S.Location.Z += DeltaZ;
			}
		}
		else
		{
			// Bump the head on the lowest bottom above.
			double Ceiling = S.Location.Z + Half + DeltaZ;
			bool bHit = false;
			for (const FSimBox& B : Boxes)
			{
				if (!B.ContainsXY(S.Location.X, S.Location.Y)) continue;
				if (B.Min.Z >= S.Location.Z + Half && B.Min.Z < Ceiling)
				{
					Ceiling = B.Min.Z;
					bHit = true;
				}
			}
			S.Location.Z = Ceiling - Half;
			if (bHit) S.Velocity.Z = 0.0;
		}
	}

	// Rotation: toward the acceleration at the rotation rate, or the controller's yaw.
	if (P.bOrientRotationToMovement)
	{
		if (S.Acceleration.X != 0.0 || S.Acceleration.Y != 0.0)
		{
			const double TargetYaw = std::atan2(S.Acceleration.Y, S.Acceleration.X) * 180.0 / std::numbers::pi;
			TurnToward(S.Rotation, TargetYaw, P.RotationRateYaw * Dt);
		}
	}
	else if (Input.bUseControllerYaw)
	{
		S.Rotation.Yaw = NormalizeAxis(Input.ControllerYaw);
	}
	return Result;
}
}
