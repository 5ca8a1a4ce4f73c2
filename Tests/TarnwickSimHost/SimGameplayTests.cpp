// Gameplay of the Arena's PIE world: the hero walks while W is held and brakes when it is released, jumps and
// lands, turns with the mouse, the animation variables follow, falling below KillZ destroys the pawn, and two
// runs with the same input are the same frame by frame.
#include "SimTestUtils.h"

#include "GameViewport.h"

#include <cmath>

using namespace Tarnwick::Sim;
using namespace Tarnwick::Sim::Test;

namespace
{
class SimGameplay : public ::testing::Test
{
protected:
	void SetUp() override
	{
		Host = MakeArenaHost();
		ASSERT_TRUE(Host);
		GEditor->RequestPlaySession(FRequestPlaySessionParams());
		ASSERT_TRUE(Host->StepUntil([] { return GEditor->GetPlayWorld() && GEditor->GetPlayWorld()->HasBegunPlay(); }, 10));
		World = GEditor->GetPlayWorld();
		Viewport = World->GetGameViewport();
		Hero = World->GetFirstPlayerController()->GetPawn();
		ASSERT_TRUE(Hero && Viewport);
		Host->StepFrames(2);
	}
	UObject* Anim() const
	{
		UObject* Mesh = ReadProperty(Hero, "Mesh").ObjectValue.Get();
		return ReadProperty(Mesh, "AnimScriptInstance").ObjectValue.Get();
	}
	UObject* Movement() const { return ReadProperty(Hero, "CharacterMovement").ObjectValue.Get(); }
	void Press(const char* Key) { ASSERT_TRUE(Viewport->InputKey(FInputKeyParams{FKey(Key), IE_Pressed})); }
	void Release(const char* Key) { ASSERT_TRUE(Viewport->InputKey(FInputKeyParams{FKey(Key), IE_Released})); }

	std::unique_ptr<FSimHost> Host;
	UWorld* World = nullptr;
	UGameViewportClient* Viewport = nullptr;
	APawn* Hero = nullptr;
};
}

TEST_F(SimGameplay, HoldingWWalksForwardAndReleasingItBrakesToAStop)
{
	const FVector Start = Hero->GetActorLocation();
	EXPECT_EQ(Start, FVector(-800, 0, 88));
	Press("W");
	Host->StepFrames(60);
	const FVector Moved = Hero->GetActorLocation();
	EXPECT_GT(Moved.X - Start.X, 300.0);
	EXPECT_NEAR(Moved.Y, 0.0, 1e-9);
	EXPECT_DOUBLE_EQ(Hero->GetVelocity().X, 500.0) << "BP_Hero's MaxWalkSpeed";
	EXPECT_FLOAT_EQ(static_cast<float>(ReadProperty(Anim(), "GroundSpeed").DoubleValue), 500.0f);
	EXPECT_TRUE(ReadProperty(Anim(), "bShouldMove").bValue);
	EXPECT_EQ(ReadProperty(Movement(), "MovementMode").StringValue, "MOVE_Walking");
	Release("W");
	Host->StepFrames(20);
	EXPECT_EQ(Hero->GetVelocity(), FVector());
	EXPECT_EQ(ReadProperty(Anim(), "GroundSpeed").DoubleValue, 0.0);
	EXPECT_FALSE(ReadProperty(Anim(), "bShouldMove").bValue);
	const FVector Stopped = Hero->GetActorLocation();
	Host->StepFrames(10);
	EXPECT_EQ(Hero->GetActorLocation(), Stopped);
}

TEST_F(SimGameplay, SpaceBarJumpsAndTheHeroLands)
{
	Press("SpaceBar");
	Host->StepFrame();
	Release("SpaceBar");
	EXPECT_EQ(ReadProperty(Movement(), "MovementMode").StringValue, "MOVE_Falling");
	double Apex = 0.0;
	int Frames = 0;
	while (ReadProperty(Movement(), "MovementMode").StringValue == "MOVE_Falling" && Frames < 120)
	{
		Apex = std::max(Apex, Hero->GetActorLocation().Z);
		Host->StepFrame();
		++Frames;
	}
	EXPECT_NEAR(Apex - 88.0, 90.0, 0.5);
	EXPECT_EQ(Hero->GetActorLocation().Z, 88.0);
	EXPECT_LT(Frames, 60);
}

TEST_F(SimGameplay, ATapWithinOneFrameDoesNotJump)
{
	Press("SpaceBar");
	Release("SpaceBar");
	Host->StepFrame();
	EXPECT_EQ(ReadProperty(Movement(), "MovementMode").StringValue, "MOVE_Walking");
}

TEST_F(SimGameplay, TheMouseTurnsTheControllerAndForwardFollowsIt)
{
	APlayerController* PC = World->GetFirstPlayerController();
	// 100 pixels right is 7 mouse units, times the yaw scale 2.5: 17.5 degrees.
	ASSERT_TRUE(Viewport->MouseMove(740, 360));
	Host->StepFrame();
	EXPECT_NEAR(PC->GetControlRotation().Yaw, 17.5, 1e-9);
	EXPECT_NEAR(ReadProperty(Anim(), "DesiredYawDelta").DoubleValue, 17.5, 1e-4);
	Press("W");
	Host->StepFrames(30);
	const FVector V = Hero->GetVelocity();
	EXPECT_NEAR(std::atan2(V.Y, V.X) * 180.0 / 3.14159265358979, 17.5, 1e-6);
	// The hero turns toward its movement (bOrientRotationToMovement), closing the yaw delta.
	EXPECT_NEAR(Hero->GetActorRotation().Yaw, 17.5, 1e-6);
	EXPECT_NEAR(ReadProperty(Anim(), "DesiredYawDelta").DoubleValue, 0.0, 1e-4);
}

TEST_F(SimGameplay, FallingBelowKillZDestroysThePawn)
{
	// Walk off the floor's edge (the floor ends 2000 cm from the centre; KillZ is -2000).
	Hero->SetActorLocation(FVector(1990, 0, 88));
	Press("W");
	FWeakObjectPtr Weak(Hero);
	ASSERT_TRUE(Host->StepUntil([&] { return !Weak.IsValid(); }, 300));
	EXPECT_EQ(World->GetFirstPlayerController()->GetPawn(), nullptr);
}

TEST(SimGameplayDeterminism, TwoRunsWithTheSameInputAreTheSameFrameByFrame)
{
	auto Run = [] {
		std::vector<std::string> Frames;
		auto Host = MakeArenaHost();
		GEditor->RequestPlaySession(FRequestPlaySessionParams());
		Host->StepFrames(4);
		UGameViewportClient* Viewport = GEditor->GetPlayWorld()->GetGameViewport();
		for (int Frame = 0; Frame < 150; ++Frame)
		{
			if (Frame == 5) Viewport->InputKey(FInputKeyParams{FKey("W"), IE_Pressed});
			if (Frame == 20) Viewport->MouseMove(900, 300);
			if (Frame == 40) Viewport->InputKey(FInputKeyParams{FKey("SpaceBar"), IE_Pressed});
			if (Frame == 41) Viewport->InputKey(FInputKeyParams{FKey("SpaceBar"), IE_Released});
			if (Frame == 90) Viewport->InputKey(FInputKeyParams{FKey("W"), IE_Released});
			Host->StepFrame();
			Frames.push_back(Host->DumpState().dump());
		}
		return Frames;
	};
	const std::vector<std::string> First = Run();
	const std::vector<std::string> Second = Run();
	ASSERT_EQ(First.size(), Second.size());
	for (size_t I = 0; I < First.size(); ++I) ASSERT_EQ(First[I], Second[I]) << "frame " << I;
	EXPECT_NE(First[30], First[31]) << "the hero is moving";
}

TEST_F(SimGameplay, InputGivenWhilePausedIsSeenByTheNextFrameThatPlays)
{
	World->SetGamePaused(true);
	Press("SpaceBar");
	Release("SpaceBar");
	Press("W");
	Host->StepFrames(10);
	EXPECT_EQ(ReadProperty(Movement(), "MovementMode").StringValue, "MOVE_Walking");
	EXPECT_EQ(Hero->GetVelocity(), FVector());
	World->SetGamePaused(false);
	Host->StepFrame();
	// The tap was too short for Jump (pressed and released before the frame), but W is held.
	EXPECT_EQ(ReadProperty(Movement(), "MovementMode").StringValue, "MOVE_Walking");
	EXPECT_GT(Hero->GetVelocity().X, 0.0);
	World->SetGamePaused(true);
	Press("SpaceBar");
	Host->StepFrames(5);
	World->SetGamePaused(false);
	Host->StepFrame();
	EXPECT_EQ(ReadProperty(Movement(), "MovementMode").StringValue, "MOVE_Falling");
}
