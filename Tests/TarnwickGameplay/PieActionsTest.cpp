// The "pie" input actions on the simulated editor: errors without PIE and for bad keys, modifiers, buttons and
// positions; keys held across frames move the hero; press_key holds on the clock without a frame; the mouse
// turns the player and clicks; every clamp shows in the reply.
#include "GameplayTestFixture.h"

#include "PlatformTime.h"

using Tarnwick::Gameplay::Test::FGameplayTest;

namespace
{
class PieActions : public FGameplayTest
{
protected:
	void SetUp() override
	{
		FGameplayTest::SetUp();
		CreateHost();
	}
};
}

TEST_F(PieActions, EveryActionNeedsARunningPIE)
{
	const std::string NoPie = "This action needs a running PIE session";
	ExpectError("pie", "key_down", FJson{{"key", "W"}}, -32603, NoPie);
	ExpectError("pie", "key_up", FJson{{"key", "W"}}, -32603, NoPie);
	ExpectError("pie", "press_key", FJson{{"key", "W"}}, -32603, NoPie);
	ExpectError("pie", "mouse_move", FJson{{"x", 10}, {"y", 10}}, -32603, NoPie);
	ExpectError("pie", "click", FJson{{"x", 10}, {"y", 10}}, -32603, NoPie);
}

TEST_F(PieActions, BadParametersAreRefusedBeforeAnythingHappens)
{
	StartPie();
	ExpectError("pie", "key_down", FJson::object(), -32602, "Missing required parameter 'key'");
	ExpectError("pie", "key_down", FJson{{"key", "Spacebarr"}}, -32602, "Unknown key 'Spacebarr'");
	ExpectError("pie", "key_down", FJson{{"key", "MouseX"}}, -32602, "'MouseX' is an axis, not a key — move the mouse with pie_mouse_move");
	ExpectError("pie", "key_down", FJson{{"key", "W"}, {"modifiers", {"Super"}}}, -32602, "Unknown modifier \"Super\"");
	ExpectError("pie", "press_key", FJson{{"key", "W"}, {"hold_ms", "long"}}, -32602, "Parameter 'hold_ms' must be a number");
	ExpectError("pie", "mouse_move", FJson{{"x", 10}}, -32602, "Missing required parameter 'y'");
	ExpectError("pie", "click", FJson{{"x", 10}, {"y", 10}, {"button", "side"}}, -32602, "Unknown button 'side' — expected left, right or middle");
	EXPECT_FALSE(GEditor->GetPlayWorld()->GetFirstPlayerController()->IsInputKeyDown(FKey("W")));
}

TEST_F(PieActions, AKeyHeldAcrossFramesWalksTheHeroAndKeyUpLetsGo)
{
	UWorld* World = StartPie();
	APawn* Hero = World->GetFirstPlayerController()->GetPawn();
	const double X = Hero->GetActorLocation().X;
	const FJson Down = Succeed("pie", "key_down", FJson{{"key", "w"}, {"modifiers", {"Shift"}}});
	EXPECT_EQ(Down, FJson::parse(R"({"key":"W","event":"down","modifiers":["LeftShift"],"keys_down":["W","LeftShift"]})"));
	Host->StepFrames(60);
	EXPECT_GT(Hero->GetActorLocation().X - X, 300.0);
	const FJson Up = Succeed("pie", "key_up", FJson{{"key", "W"}, {"modifiers", {"Shift"}}});
	EXPECT_EQ(Up, FJson::parse(R"({"key":"W","event":"up","was_down":true,"modifiers":["LeftShift"],"keys_down":[]})"));
	Host->StepFrames(30);
	EXPECT_EQ(Hero->GetVelocity(), FVector());
	EXPECT_FALSE(Succeed("pie", "key_up", FJson{{"key", "W"}})["was_down"].get<bool>());
}

TEST_F(PieActions, PressKeyHoldsOnTheClockWithoutAFrameAndShowsItsClamp)
{
	UWorld* World = StartPie();
	const double Before = FPlatformTime::Seconds();
	const uint64 Frame = Host->GetFrameCounter();
	const double GameTime = World->GetTimeSeconds();
	const FJson R = Succeed("pie", "press_key", FJson{{"key", "SpaceBar"}, {"hold_ms", 900}});
	EXPECT_EQ(R["hold_ms"], 500);
	EXPECT_EQ(R["hold_ms_requested"], 900);
	EXPECT_EQ(R["keys_down"], FJson::array());
	EXPECT_DOUBLE_EQ(FPlatformTime::Seconds() - Before, 0.5);
	EXPECT_EQ(Host->GetFrameCounter(), Frame);
	EXPECT_EQ(World->GetTimeSeconds(), GameTime);
	const FJson Zero = Succeed("pie", "press_key", FJson{{"key", "E"}, {"hold_ms", 0.5}});
	EXPECT_EQ(Zero["hold_ms"], 0);
	EXPECT_EQ(Zero["hold_ms_requested"], 0.5);
	EXPECT_FALSE(Succeed("pie", "press_key", FJson{{"key", "E"}}).contains("hold_ms_requested"));
	EXPECT_DOUBLE_EQ(FPlatformTime::Seconds() - Before, 0.5);
}

TEST_F(PieActions, TheMouseTurnsThePlayerAndClicksAreClampedIntoTheViewport)
{
	UWorld* World = StartPie();
	const FJson Move = Succeed("pie", "mouse_move", FJson{{"x", 740}, {"y", 360}});
	EXPECT_EQ(Move, FJson::parse(R"({"x":740,"y":360,"delta_x":100,"delta_y":0,"modifiers":[]})"));
	Host->StepFrame();
	EXPECT_NEAR(World->GetFirstPlayerController()->GetControlRotation().Yaw, 17.5, 1e-9);
	const FJson Far = Succeed("pie", "mouse_move", FJson{{"x", 5000}, {"y", -3}});
	EXPECT_EQ(Far["x"], 1279);
	EXPECT_EQ(Far["y"], 0);
	EXPECT_EQ(Far["clamped_from"], FJson::parse("[5000, -3]"));
	const FJson Click = Succeed("pie", "click", FJson{{"x", 10}, {"y", 20}, {"button", "Right"}});
	EXPECT_EQ(Click, FJson::parse(R"({"x":10,"y":20,"button":"right","key":"RightMouseButton","modifiers":[]})"));
	EXPECT_FALSE(World->GetFirstPlayerController()->IsInputKeyDown(FKey("RightMouseButton")));
	EXPECT_EQ(Succeed("pie", "click", FJson{{"x", 10}, {"y", 20}})["button"], "left");
}

TEST_F(PieActions, APlayerStillLoadingHasNoControllerToReceiveInput)
{
	GEditor->RequestPlaySession(FRequestPlaySessionParams());
	Host->StepFrame(); // PIE exists, play has not begun: no player yet
	ASSERT_TRUE(GEditor->GetPlayWorld());
	ExpectError("pie", "key_down", FJson{{"key", "W"}}, -32603, "The PIE world has no player controller yet");
}

TEST_F(PieActions, ThePlayersStateShowsWhatTheInputDid)
{
	StartPie();
	Succeed("pie", "key_down", FJson{{"key", "W"}});
	Host->StepFrames(60);
	const FJson State = Succeed("pie", "get_player_state");
	EXPECT_EQ(State["player_controller"], "PlayerController_0");
	EXPECT_EQ(State["pawn"], "BP_Hero");
	EXPECT_EQ(State["keys_down"], FJson::array({"W"}));
	EXPECT_EQ(State["movement_mode"], "MOVE_Walking");
	EXPECT_NEAR(State["velocity"][0].get<double>(), 500.0, 1e-9);
	EXPECT_EQ(State["velocity"][1], 0.0);
	EXPECT_GT(State["location"][0].get<double>(), -500.0);
	EXPECT_EQ(State["anim_instance"]["GroundSpeed"], 500.0);
	EXPECT_EQ(State["anim_instance"]["bShouldMove"], true);
	ExpectError("pie", "get_player_state", FJson{{"actor", "x"}}, -32602, "pie.get_player_state does not take 'actor' (it takes: no parameters)");
}
