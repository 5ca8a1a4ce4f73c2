// The scheduled blocks: input-event refusals and limits, probes, stages, actor set-up, the parameters each input
// event sends, and which keys are left held at the end.
#include "PieSmoke/InputEvents.h"
#include "PieSmoke/ScheduleGrammar.h"

#include <gtest/gtest.h>

using namespace Tarnwick::PieSmoke;

namespace
{
std::string Refusal(const char* EventsJson, double Duration = 5.0)
{
	std::vector<FInputEvent> Events;
	std::string Message;
	const bool bOk = ParseInputEvents(FJson{{"input_events", FJson::parse(EventsJson)}}, Duration, Events, Message);
	return bOk ? std::string("accepted") : Message;
}

std::vector<FInputEvent> Events(const char* EventsJson, double Duration = 5.0)
{
	std::vector<FInputEvent> Out;
	std::string Message;
	EXPECT_TRUE(ParseInputEvents(FJson{{"input_events", FJson::parse(EventsJson)}}, Duration, Out, Message)) << Message;
	return Out;
}

FInputEvent Fired(EInputEventKind Kind, const char* Key, double At, bool bOk = true)
{
	FInputEvent E;
	E.Kind = Kind;
	E.Key = Key;
	E.bFired = true;
	E.FiredAt = At;
	E.bOk = bOk;
	return E;
}
}

TEST(PieSmokeSchedule, InputEventRefusalsNameTheEntry)
{
	EXPECT_EQ(Refusal(R"([{"key": "W"}, 4])"), "input_events[1] is not an object");
	EXPECT_EQ(Refusal(R"([{"event": "hold", "key": "W"}])"), "input_events[0]: unknown event 'hold' — valid: down, up, press, mouse_move, click");
	EXPECT_EQ(Refusal(R"([{"event": "click", "x": 3}])"), "input_events[0]: event 'click' requires viewport-local x and y");
	EXPECT_EQ(Refusal(R"([{"event": "mouse_move"}])"), "input_events[0]: event 'mouse_move' requires viewport-local x and y");
	EXPECT_EQ(Refusal(R"([{"event": "DOWN", "key": ""}])"), "input_events[0]: event 'down' requires 'key' (an EKeys name, e.g. 'W', 'SpaceBar')");
	EXPECT_EQ(Refusal(R"([{}])"), "input_events[0]: event 'press' requires 'key' (an EKeys name, e.g. 'W', 'SpaceBar')")
		<< "an absent event is a press";
	EXPECT_EQ(Refusal(R"([{"event": "down", "key": "W", "x": 1}])"), "input_events[0]: event 'down' does not take 'x' — it would be ignored");
	EXPECT_EQ(Refusal(R"([{"event": "up", "key": "W", "hold_ms": 10}])"), "input_events[0]: event 'up' does not take 'hold_ms' — it would be ignored");
	EXPECT_EQ(Refusal(R"([{"event": "mouse_move", "x": 1, "y": 2, "button": "left"}])"),
		"input_events[0]: event 'mouse_move' does not take 'button' — it would be ignored");
}

TEST(PieSmokeSchedule, AnEventAtTheDurationIsAcceptedAndJustAboveIsNot)
{
	EXPECT_EQ(Refusal(R"([{"key": "W", "at_seconds": 3}])", 3.0), "accepted");
	EXPECT_EQ(Refusal(R"([{"key": "W", "at_seconds": 3.0001}])", 3.0),
		"input_events[0]: at_seconds=3.0001 is beyond the session duration=3 — it would never fire");
	EXPECT_EQ(Events(R"([{"key": "W", "at_seconds": -2}])")[0].AtSeconds, 0.0);
}

TEST(PieSmokeSchedule, HoldIsCappedAndSubMillisecondHoldsAreNone)
{
	const std::vector<FInputEvent> E = Events(R"([{"key": "W", "hold_ms": 900}, {"key": "W", "hold_ms": 0.5}, {"key": "W", "hold_ms": 20.7}])");
	EXPECT_EQ(E[0].HoldMs, 500);
	EXPECT_EQ(E[1].HoldMs, 0);
	EXPECT_EQ(E[2].HoldMs, 20);
}

TEST(PieSmokeSchedule, EachEventSendsOnlyWhatItsActionTakes)
{
	const std::vector<FInputEvent> E = Events(R"([
		{"event": "press", "key": "SpaceBar", "hold_ms": 50, "modifiers": ["Shift"]},
		{"event": "down", "key": "W"},
		{"event": "click", "x": 10, "y": 20, "button": "right"},
		{"event": "mouse_move", "x": 1.5, "y": 2}])");
	EXPECT_EQ(BuildInputEventParams(E[0]), FJson::parse(R"({"key": "SpaceBar", "hold_ms": 50, "modifiers": ["Shift"]})"));
	EXPECT_EQ(BuildInputEventParams(E[1]), FJson::parse(R"({"key": "W"})"));
	EXPECT_EQ(BuildInputEventParams(E[2]), FJson::parse(R"({"x": 10.0, "y": 20.0, "button": "right"})"));
	EXPECT_EQ(BuildInputEventParams(E[3]), FJson::parse(R"({"x": 1.5, "y": 2.0})"));
	EXPECT_STREQ(PieActionName(E[0].Kind), "press_key");
	EXPECT_STREQ(PieActionName(E[1].Kind), "key_down");
}

TEST(PieSmokeSchedule, KeysLeftDownAreTheOnesReleasedAtTheEnd)
{
	// W goes down and up; A goes down and its up failed; D's down failed; S's up is listed first but fires later.
	const std::vector<FInputEvent> E = {Fired(EInputEventKind::Down, "W", 0.5), Fired(EInputEventKind::Up, "w", 1.0),
		Fired(EInputEventKind::Down, "A", 0.5), Fired(EInputEventKind::Up, "A", 1.0, false), Fired(EInputEventKind::Down, "D", 0.2, false),
		Fired(EInputEventKind::Up, "S", 2.0), Fired(EInputEventKind::Down, "S", 1.0), Fired(EInputEventKind::Press, "E", 0.1)};
	EXPECT_EQ(KeysStillHeld(E), std::vector<std::string>{"A"});
	FInputEvent NotFired;
	NotFired.Kind = EInputEventKind::Down;
	NotFired.Key = "Q";
	EXPECT_TRUE(KeysStillHeld({NotFired}).empty());
}

TEST(PieSmokeSchedule, ProbesWithoutWorkAreDropped)
{
	const std::vector<FProbe> P = ParseProbes(FJson::parse(R"({"probe_scripts": [{"at_seconds": 1}, {"at_seconds": -1, "console": ["stat unit"]},
		{"python": "x = 2", "console": [""]}]})"));
	ASSERT_EQ(P.size(), 2u);
	EXPECT_EQ(P[0].AtSeconds, 0.0);
	EXPECT_EQ(P[0].Script.Console, std::vector<std::string>{"stat unit"});
	EXPECT_EQ(P[1].Script.Python, "x = 2");
	EXPECT_TRUE(P[1].Script.Console.empty());
}

TEST(PieSmokeSchedule, StagesArePresentOnlyWithWorkAndNIsAtLeastOne)
{
	const FStages S = ParseStages(FJson::parse(R"({"stages": {"pre_pie": {"console": ["a"]}, "after_n_ticks": {"n": 0, "python": "x"},
		"before_capture": {}}})"));
	EXPECT_TRUE(S.PrePie.bPresent);
	EXPECT_FALSE(S.OnBeginPlay.bPresent);
	EXPECT_TRUE(S.AfterNTicks.bPresent);
	EXPECT_EQ(S.AfterNTicks.N, 1);
	EXPECT_FALSE(S.BeforeCapture.bPresent);
	EXPECT_EQ(ParseStages(FJson::parse(R"({"stages": {"after_n_ticks": {"n": 7, "console": ["x"]}}})")).AfterNTicks.N, 7);
}

TEST(PieSmokeSchedule, ActorSetupSkipsEntriesWithoutAClass)
{
	const std::vector<FActorSetupEntry> E = ParseActorSetup(FJson::parse(R"({"actor_setup": [
		{"count": 2},
		{"class": "/Game/BP_Crate", "count": 3, "locations": [[1, 2, 3], [4, 5], "x"], "move_to": [9, 8, 7], "apply_data_asset": "/Game/DA"},
		{"class": "/Script/Engine.Pawn", "count": -4},
		{"class": "/Script/Engine.Pawn", "count": 1e12}]})"));
	ASSERT_EQ(E.size(), 3u);
	EXPECT_EQ(E[0].ClassPath, "/Game/BP_Crate");
	EXPECT_EQ(E[0].Count, 3);
	ASSERT_EQ(E[0].Locations.size(), 1u) << "a location with fewer than three numbers is skipped";
	EXPECT_EQ(E[0].Locations[0], FVector(1, 2, 3));
	EXPECT_TRUE(E[0].bHasMoveTo);
	EXPECT_EQ(E[0].MoveTo, FVector(9, 8, 7));
	EXPECT_EQ(E[0].ApplyDataAsset, "/Game/DA");
	EXPECT_EQ(E[1].Count, 1);
	EXPECT_EQ(E[2].Count, MaxActorSetupCount);
}
