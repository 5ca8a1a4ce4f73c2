// Character movement rules: acceleration to the walking speed, braking, turning with friction, the jump arc,
// landing, stepping up, blocking by boxes, walking off a ledge and turning toward the movement.
#include "SimCharacterMovement.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Tarnwick::Sim;

namespace
{
constexpr double Dt = 1.0 / 60.0;

/** A 40 m square floor slab with its top at z = 0. */
std::vector<FSimBox> Floor() { return {FSimBox{FVector(-2000, -2000, 0), FVector(2000, 2000, 0)}}; }

FSimMovementState Standing(const FVector& Feet = FVector())
{
	FSimMovementState S;
	S.Location = FVector(Feet.X, Feet.Y, Feet.Z + 88.0);
	return S;
}

double Speed2D(const FVector& V) { return std::hypot(V.X, V.Y); }
}

TEST(SimMovementRules, AcceleratesAtMaxAccelerationUpToTheWalkSpeed)
{
	FSimMovementParams P;
	FSimMovementState S = Standing();
	FSimMovementInput In;
	In.InputVector = FVector(1, 0, 0);
	StepCharacterMovement(P, S, In, Floor(), Dt);
	EXPECT_NEAR(S.Velocity.X, 2048.0 * Dt, 1e-9);
	EXPECT_EQ(S.Acceleration, FVector(2048, 0, 0));
	int Frames = 1;
	while (S.Velocity.X < 600.0 && Frames < 100)
	{
		StepCharacterMovement(P, S, In, Floor(), Dt);
		++Frames;
	}
	// 600 / 2048 s is 17.6 frames.
	EXPECT_EQ(Frames, 18);
	EXPECT_DOUBLE_EQ(S.Velocity.X, 600.0);
	StepCharacterMovement(P, S, In, Floor(), Dt);
	EXPECT_DOUBLE_EQ(S.Velocity.X, 600.0);
	EXPECT_EQ(S.Mode, ESimMovementMode::Walking);
	EXPECT_DOUBLE_EQ(S.Location.Z, 88.0);
}

TEST(SimMovementRules, AnInputLongerThanOneIsClampedAndDiagonalsAreNotFaster)
{
	FSimMovementParams P;
	FSimMovementState S = Standing();
	FSimMovementInput In;
	In.InputVector = FVector(1, 1, 0);
	for (int I = 0; I < 60; ++I) StepCharacterMovement(P, S, In, Floor(), Dt);
	EXPECT_NEAR(Speed2D(S.Velocity), 600.0, 1e-6);
	EXPECT_NEAR(S.Velocity.X, S.Velocity.Y, 1e-9);
}

TEST(SimMovementRules, BrakingStopsWithoutReversingAndBelowTheStopSpeedSnapsToZero)
{
	FVector V(600, 0, 0);
	FVector Previous = V;
	int Frames = 0;
	while (V.X > 0.0 && Frames < 60)
	{
		V = ApplyVelocityBraking(V, Dt, 8.0, 2048.0, 2.0);
		EXPECT_LT(V.X, Previous.X);
		EXPECT_GE(V.X, 0.0);
		EXPECT_EQ(V.Y, 0.0);
		Previous = V;
		++Frames;
	}
	// dv/dt = -16 v - 2048 takes 0.104 s from 600 to the 10 cm/s stop speed (6.25 frames); the sub-stepped
	// integration gets there within the sixth frame.
	EXPECT_EQ(Frames, 6);
	EXPECT_EQ(ApplyVelocityBraking(FVector(9, 0, 0), Dt, 0.0, 2048.0, 2.0), FVector());
	// Without friction and deceleration nothing changes.
	EXPECT_EQ(ApplyVelocityBraking(FVector(300, 0, 0), Dt, 0.0, 0.0, 2.0), FVector(300, 0, 0));
}

TEST(SimMovementRules, ReleasingTheInputBrakesAWalkingCharacterToAStop)
{
	FSimMovementParams P;
	FSimMovementState S = Standing();
	S.Velocity = FVector(600, 0, 0);
	FSimMovementInput None;
	double Travelled = 0.0;
	for (int I = 0; I < 30; ++I)
	{
		const double X = S.Location.X;
		StepCharacterMovement(P, S, None, Floor(), Dt);
		Travelled += S.Location.X - X;
	}
	EXPECT_EQ(S.Velocity, FVector());
	EXPECT_EQ(S.Acceleration, FVector());
	// About 24 cm in continuous time; the frames move by the braked velocity.
	EXPECT_GT(Travelled, 12.0);
	EXPECT_LT(Travelled, 25.0);
}

TEST(SimMovementRules, FrictionTurnsTheVelocityTowardANewDirection)
{
	const FVector V = CalcWalkingVelocity(FVector(600, 0, 0), FVector(0, 2048, 0), Dt, 600.0, 8.0, 2048.0, 2.0);
	// A 90-degree turn keeps the speed limit and swings a good part of the velocity across in one frame.
	EXPECT_LE(Speed2D(V), 600.0 + 1e-9);
	EXPECT_GT(V.Y, 100.0);
	EXPECT_LT(V.X, 600.0);
	EXPECT_GT(V.X, 0.0);
}

TEST(SimMovementRules, AJumpFollowsItsParabolaAndLands)
{
	FSimMovementParams P;
	FSimMovementState S = Standing();
	FSimMovementInput In;
	In.bJump = true;
	const FSimMovementResult First = StepCharacterMovement(P, S, In, Floor(), Dt);
	EXPECT_TRUE(First.bJumped);
	EXPECT_EQ(S.Mode, ESimMovementMode::Falling);
	EXPECT_EQ(S.JumpCurrentCount, 1);
	In.bJump = false;
	double Apex = S.Location.Z;
	int Frame = 1;
	bool bLanded = false;
	while (!bLanded && Frame < 200)
	{
		const double T = Frame * Dt;
		// z(t) = z0 + Vz t - g t^2 / 2, exact while airborne (the position moves by the mean velocity).
		EXPECT_NEAR(S.Location.Z, 88.0 + 420.0 * T - 490.0 * T * T, 1e-9) << "frame " << Frame;
		Apex = std::max(Apex, S.Location.Z);
		bLanded = StepCharacterMovement(P, S, In, Floor(), Dt).bLanded;
		++Frame;
	}
	// Apex Vz^2 / 2g = 90 cm after 0.43 s; back on the floor after 0.86 s.
	EXPECT_NEAR(Apex - 88.0, 90.0, 0.1);
	EXPECT_EQ(Frame, 52);
	EXPECT_EQ(S.Mode, ESimMovementMode::Walking);
	EXPECT_DOUBLE_EQ(S.Location.Z, 88.0);
	EXPECT_EQ(S.Velocity.Z, 0.0);
	EXPECT_EQ(S.JumpCurrentCount, 0);
}

TEST(SimMovementRules, NoJumpInTheAirBeyondJumpMaxCount)
{
	FSimMovementParams P;
	FSimMovementState S = Standing();
	FSimMovementInput In;
	In.bJump = true;
	EXPECT_TRUE(StepCharacterMovement(P, S, In, Floor(), Dt).bJumped);
	EXPECT_FALSE(StepCharacterMovement(P, S, In, Floor(), Dt).bJumped);
	In.JumpMaxCount = 2;
	EXPECT_FALSE(StepCharacterMovement(P, S, In, Floor(), Dt).bJumped) << "only from the ground";
}

TEST(SimMovementRules, AWallStopsTheCharacterAtItsRadiusAndItSlidesAlong)
{
	FSimMovementParams P;
	std::vector<FSimBox> Boxes = Floor();
	Boxes.push_back(FSimBox{FVector(200, -500, 0), FVector(300, 500, 200)}); // a wall across +X
	FSimMovementState S = Standing();
	FSimMovementInput In;
	In.InputVector = FVector(1, 0.5, 0);
	bool bBlocked = false;
	for (int I = 0; I < 120; ++I) bBlocked = StepCharacterMovement(P, S, In, Boxes, Dt).bBlocked || bBlocked;
	EXPECT_TRUE(bBlocked);
	EXPECT_DOUBLE_EQ(S.Location.X, 200.0 - 34.0);
	EXPECT_EQ(S.Velocity.X, 0.0);
	EXPECT_GT(S.Location.Y, 300.0) << "slides along the wall";
}

TEST(SimMovementRules, LowBoxesAreSteppedOntoAndHighOnesBlock)
{
	FSimMovementParams P;
	std::vector<FSimBox> Boxes = Floor();
	Boxes.push_back(FSimBox{FVector(100, -100, 0), FVector(400, 100, 30)}); // a 30 cm step
	Boxes.push_back(FSimBox{FVector(600, -100, 0), FVector(900, 100, 90)}); // a 90 cm crate
	FSimMovementState S = Standing();
	FSimMovementInput In;
	In.InputVector = FVector(1, 0, 0);
	for (int I = 0; I < 40; ++I) StepCharacterMovement(P, S, In, Boxes, Dt);
	EXPECT_GT(S.Location.X, 100.0);
	EXPECT_DOUBLE_EQ(S.Location.Z, 30.0 + 88.0);
	for (int I = 0; I < 120; ++I) StepCharacterMovement(P, S, In, Boxes, Dt);
	EXPECT_LE(S.Location.X, 600.0 - 34.0);
}

TEST(SimMovementRules, WalkingOffALedgeFalls)
{
	FSimMovementParams P;
	std::vector<FSimBox> Boxes = {FSimBox{FVector(-100, -100, 0), FVector(100, 100, 0)}};
	FSimMovementState S = Standing(FVector(85, 0, 0));
	S.Velocity = FVector(600, 0, 0);
	FSimMovementInput In;
	In.InputVector = FVector(1, 0, 0);
	StepCharacterMovement(P, S, In, Boxes, Dt);
	EXPECT_EQ(S.Mode, ESimMovementMode::Walking) << "the centre is still over the edge";
	StepCharacterMovement(P, S, In, Boxes, Dt);
	EXPECT_EQ(S.Mode, ESimMovementMode::Falling);
	const double Z = S.Location.Z;
	StepCharacterMovement(P, S, FSimMovementInput(), Boxes, Dt);
	EXPECT_LT(S.Location.Z, Z);
	EXPECT_LT(S.Velocity.Z, 0.0);
}

TEST(SimMovementRules, OrientsTowardTheMovementAtTheRotationRate)
{
	FSimMovementParams P;
	P.bOrientRotationToMovement = true;
	FSimMovementState S = Standing();
	FSimMovementInput In;
	In.InputVector = FVector(0, 1, 0); // +Y is yaw 90
	StepCharacterMovement(P, S, In, Floor(), Dt);
	EXPECT_NEAR(S.Rotation.Yaw, 6.0, 1e-9);
	for (int I = 0; I < 20; ++I) StepCharacterMovement(P, S, In, Floor(), Dt);
	EXPECT_NEAR(S.Rotation.Yaw, 90.0, 1e-9);
	// Without movement the character keeps its facing.
	StepCharacterMovement(P, S, FSimMovementInput(), Floor(), Dt);
	EXPECT_NEAR(S.Rotation.Yaw, 90.0, 1e-9);
	// Otherwise it faces the controller when asked to.
	P.bOrientRotationToMovement = false;
	FSimMovementInput Controller;
	Controller.bUseControllerYaw = true;
	Controller.ControllerYaw = 270.0;
	StepCharacterMovement(P, S, Controller, Floor(), Dt);
	EXPECT_DOUBLE_EQ(S.Rotation.Yaw, -90.0);
}

TEST(SimMovementRules, NormalizeAxisIsTheHalfOpenRange)
{
	EXPECT_DOUBLE_EQ(NormalizeAxis(190.0), -170.0);
	EXPECT_DOUBLE_EQ(NormalizeAxis(-180.0), 180.0);
	EXPECT_DOUBLE_EQ(NormalizeAxis(540.0), 180.0);
	EXPECT_DOUBLE_EQ(NormalizeAxis(-45.0), -45.0);
}

TEST(SimCollisionRules, YawedBoxesAreBoundedByTheirTurnedCorners)
{
	const FSimBox Square = MakeYawedBox(FVector(0, 0, 50), FVector(50, 50, 50), 90.0);
	EXPECT_EQ(Square, (FSimBox{FVector(-50, -50, 0), FVector(50, 50, 100)}));
	const FSimBox Turned = MakeYawedBox(FVector(), FVector(100, 10, 10), 45.0);
	EXPECT_NEAR(Turned.Max.X, (100 + 10) * std::sqrt(0.5), 1e-9);
	EXPECT_NEAR(Turned.Max.Y, (100 + 10) * std::sqrt(0.5), 1e-9);
	EXPECT_TRUE(Square.ContainsXY(50, -50));
	EXPECT_FALSE(Square.ContainsXY(50.1, 0));
	EXPECT_EQ(Square.ExpandedXY(10).Min, FVector(-60, -60, 0));
}
