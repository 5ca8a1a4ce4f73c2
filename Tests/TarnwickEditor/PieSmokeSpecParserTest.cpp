// The smoke spec parser and the shape check in front of it: every default and clamp, the derived watchdog, the
// clock refusal, and the keys an action cannot use.
#include "PieSmoke/PieSmokeSpecParser.h"
#include "PieSmoke/SmokeParamShape.h"

#include <gtest/gtest.h>

using namespace Tarnwick::PieSmoke;

namespace
{
struct FParsed
{
	bool bOk = false;
	FPieSmokeSpec Spec;
	FSpecRefusal Refusal;
};

FParsed Parse(const char* Json)
{
	const FJson Params = FJson::parse(Json);
	FParsed Out;
	Out.Spec.Duration = FPieSmokeSpecParser::ReadDuration(Params);
	Tarnwick::Sampling::FSessionSampling Sampling;
	Out.bOk = FPieSmokeSpecParser::Parse(Params, Out.Spec, Sampling, Out.Refusal);
	return Out;
}

FPieSmokeSpec Spec(const char* Json)
{
	FParsed P = Parse(Json);
	EXPECT_TRUE(P.bOk) << Json << ": " << P.Refusal.Message;
	return P.Spec;
}

std::optional<std::string> Shape(const char* Json, ESmokeAction Action = ESmokeAction::RunPieSmoke)
{
	const std::vector<std::string> Documented = {"map", "duration", "clock", "input_events", "probe_scripts", "stages", "actor_setup",
		"console_script", "log_patterns", "settle"};
	std::vector<std::string> Clip = Documented;
	Clip.push_back("output_path");
	return CheckSmokeParamShapes(FJson::parse(Json), Action, AcceptedKeys(Action, Action == ESmokeAction::CaptureClip ? Clip : Documented));
}
}

TEST(PieSmokeSpecParser, DefaultsOfAFreshSpec)
{
	const FPieSmokeSpec S = Spec("{}");
	EXPECT_EQ(S.Duration, 5.0);
	EXPECT_EQ(S.SampleInterval, 0.0);
	EXPECT_EQ(S.DispatchInterval, 0.1);
	EXPECT_EQ(S.ResolveGraceSeconds, 2.0);
	EXPECT_EQ(S.MaxSamples, 2000);
	EXPECT_EQ(S.Clock, ESessionClock::Game);
	EXPECT_TRUE(S.bSettle);
	EXPECT_EQ(S.SettleTimeout, 10.0);
	EXPECT_EQ(S.TimeDilation, 1.0);
	EXPECT_TRUE(S.bUnthrottle);
	EXPECT_FALSE(S.bRequireStable);
	EXPECT_EQ(S.MaxWallSeconds, 50.0) << "10 + 2 x 5 + 30";
	EXPECT_EQ(S.IgnoreAfterPattern, "BeginTearingDown");
	EXPECT_TRUE(S.bTeardownAllowed);
	EXPECT_EQ(S.DiscardFirstFrames, 1);
	EXPECT_EQ(S.LogPatterns.MustAbsent.size(), 3u);
}

TEST(PieSmokeSpecParser, NumbersAreClampedToTheirRanges)
{
	struct FCase
	{
		const char* Json;
		double (*Read)(const FPieSmokeSpec&);
		double Expected;
	};
	const FCase Cases[] = {
		{R"({"duration": 500})", [](const FPieSmokeSpec& S) { return S.Duration; }, 120.0},
		{R"({"duration": -3})", [](const FPieSmokeSpec& S) { return S.Duration; }, 0.0},
		{R"({"duration": 3, "resolve_grace_seconds": 10})", [](const FPieSmokeSpec& S) { return S.ResolveGraceSeconds; }, 3.0},
		{R"({"max_samples": 0})", [](const FPieSmokeSpec& S) { return double(S.MaxSamples); }, 1.0},
		{R"({"max_samples": 10000000})", [](const FPieSmokeSpec& S) { return double(S.MaxSamples); }, 100000.0},
		{R"({"max_samples": 12.9})", [](const FPieSmokeSpec& S) { return double(S.MaxSamples); }, 12.0},
		{R"({"sample_interval": 9})", [](const FPieSmokeSpec& S) { return S.SampleInterval; }, 5.0},
		{R"({"dispatch_interval": 0})", [](const FPieSmokeSpec& S) { return S.DispatchInterval; }, 0.02},
		{R"({"settle_timeout": 500})", [](const FPieSmokeSpec& S) { return S.SettleTimeout; }, 120.0},
		{R"({"time_dilation": 0})", [](const FPieSmokeSpec& S) { return S.TimeDilation; }, 0.01},
		{R"({"time_dilation": 50})", [](const FPieSmokeSpec& S) { return S.TimeDilation; }, 10.0},
		{R"({"max_wall_seconds": 0.2})", [](const FPieSmokeSpec& S) { return S.MaxWallSeconds; }, 1.0},
		{R"({"max_wall_seconds": 5000})", [](const FPieSmokeSpec& S) { return S.MaxWallSeconds; }, 900.0},
		{R"({"discard_first_frames": 40})", [](const FPieSmokeSpec& S) { return double(S.DiscardFirstFrames); }, 16.0},
		{R"({"discard_first_frames": -1})", [](const FPieSmokeSpec& S) { return double(S.DiscardFirstFrames); }, 0.0},
	};
	for (const FCase& C : Cases) EXPECT_EQ(C.Read(Spec(C.Json)), C.Expected) << C.Json;
	EXPECT_EQ(FPieSmokeSpecParser::ReadCaptureInterval(FJson::parse(R"({"capture_interval": 0.001})")), 0.05);
	EXPECT_EQ(FPieSmokeSpecParser::ReadCaptureInterval(FJson::parse(R"({"capture_interval": 60})")), 5.0);
	EXPECT_EQ(FPieSmokeSpecParser::ReadCaptureInterval(FJson::object()), 0.25);
}

TEST(PieSmokeSpecParser, TheDerivedWatchdogIsNotClamped)
{
	// A dilation of 0 becomes 0.01, so the default watchdog holds the duration a hundred times over, twice.
	EXPECT_DOUBLE_EQ(Spec(R"({"time_dilation": 0})").MaxWallSeconds, 10.0 + 2.0 * 5.0 * 100.0 + 30.0);
	EXPECT_DOUBLE_EQ(Spec(R"({"duration": 120, "time_dilation": 0.01})").MaxWallSeconds, 24040.0);
	EXPECT_DOUBLE_EQ(Spec(R"({"duration": 120, "time_dilation": 0.01, "max_wall_seconds": 24040})").MaxWallSeconds, 900.0);
}

TEST(PieSmokeSpecParser, ClockNamesAreCaseInsensitiveAndAnythingElseRefuses)
{
	EXPECT_EQ(Spec(R"({"clock": "WALL"})").Clock, ESessionClock::Wall);
	EXPECT_EQ(Spec(R"({"clock": "Game"})").Clock, ESessionClock::Game);
	const FParsed Real = Parse(R"({"clock": "real"})");
	EXPECT_FALSE(Real.bOk);
	EXPECT_EQ(Real.Refusal.Message, "clock must be \"game\" (default, UWorld::TimeSeconds — pause- and dilation-aware) or \"wall\" "
									"(FPlatformTime::Seconds, legacy); got \"real\".");
}

TEST(PieSmokeSpecParser, AnInputEventRefusalStopsTheParse)
{
	const FParsed P = Parse(R"({"duration": 2, "input_events": [{"event": "down", "key": "W", "at_seconds": 2.5}]})");
	EXPECT_FALSE(P.bOk);
	EXPECT_EQ(P.Refusal.Message, "input_events[0]: at_seconds=2.5 is beyond the session duration=2 — it would never fire");
}

TEST(PieSmokeSpecParser, ScriptsAndClipOptionsAreKept)
{
	const FPieSmokeSpec S = Spec(R"({"console_script": ["stat fps", ""], "python_script": "x = 1", "view_target_actor": "Cam",
		"expected_anim_class": "ABP_Hero", "csv_profile": true, "trace_channels": ["cpu", "frame"], "pawn_class": "Hero",
		"ignore_after_pattern": "", "teardown_allowed": false, "strict_specs": true, "fail_fast": true})");
	EXPECT_EQ(S.ConsoleScript, std::vector<std::string>{"stat fps"});
	EXPECT_EQ(S.PythonScript, "x = 1");
	EXPECT_EQ(S.ViewTargetActor, "Cam");
	EXPECT_EQ(S.ExpectedAnimClass, "ABP_Hero");
	EXPECT_TRUE(S.bCsvProfile);
	EXPECT_EQ(S.TraceChannels, (std::vector<std::string>{"cpu", "frame"}));
	EXPECT_EQ(S.PawnClass, "Hero");
	EXPECT_EQ(S.IgnoreAfterPattern, "");
	EXPECT_FALSE(S.bTeardownAllowed);
	EXPECT_TRUE(S.bStrictSpecs);
	EXPECT_TRUE(S.bFailFast);
}

TEST(PieSmokeParamShape, KeysAnActionCannotUseAreErrors)
{
	EXPECT_FALSE(Shape(R"({"map": "/Game/Maps/Arena", "duration": 3, "_tarnwick_session_id": "s1", "settle": null})"));
	EXPECT_EQ(*Shape(R"({"durration": 3})"),
		"run_pie_smoke has no parameter 'durration' — its parameters are listed in its input schema. Nothing was started.");
	EXPECT_EQ(Shape(R"({"output_path": "x"})")->rfind("run_pie_smoke does not capture frames, so it has no 'output_path'", 0), 0u);
	EXPECT_FALSE(Shape(R"({"output_path": "x"})", ESmokeAction::CaptureClip));
	EXPECT_EQ(Shape(R"({"on_compile_errors": "suppress"})", ESmokeAction::CaptureClip)->rfind("capture_pie_movement_clip has no 'on_compile_errors'", 0), 0u);
	// The clip's view options are honoured by run_pie_smoke too.
	EXPECT_FALSE(Shape(R"({"view_target_actor": "Cam", "discard_first_frames": 2, "expected_anim_class": "A"})"));
}

TEST(PieSmokeParamShape, ValuesOfTheWrongTypeAreErrors)
{
	EXPECT_EQ(*Shape(R"({"duration": "10"})"), "run_pie_smoke: 'duration' must be a number, got a string (10). Nothing was started.");
	EXPECT_EQ(*Shape(R"({"console_script": ["ok", 3]})"),
		"run_pie_smoke: 'console_script' must be an array of strings, got an array ([\"ok\",3]). Nothing was started.");
	EXPECT_EQ(*Shape(R"({"input_events": [{"event": "down", "key": "W", "at": 1}]})"),
		"input_events[0]: unknown key 'at' — it takes at_seconds, event, key, button, x, y, hold_ms, modifiers");
	EXPECT_EQ(*Shape(R"({"input_events": [{"event": "click", "x": "10", "y": 5}]})"), "input_events[0]: 'x' must be a number, got a string (10)");
	EXPECT_EQ(*Shape(R"({"probe_scripts": [3]})"), "probe_scripts[0] is not an object");
	EXPECT_EQ(*Shape(R"({"stages": {"on_begin": {"console": ["x"]}}})"),
		"stages: unknown stage 'on_begin' — valid: pre_pie, on_begin_play, after_n_ticks, before_capture");
	EXPECT_EQ(*Shape(R"({"stages": {"on_begin_play": {"n": 3}}})"), "stages.on_begin_play: unknown key 'n' — it takes python, console");
	EXPECT_FALSE(Shape(R"({"stages": {"after_n_ticks": {"n": 3, "console": ["x"]}}})"));
	EXPECT_EQ(*Shape(R"({"actor_setup": [{"class": "/Script/Engine.Pawn", "move_to": [1, 2]}]})"),
		"actor_setup[0]: 'move_to' must be an array of three numbers [x, y, z], got an array ([1,2])");
	// The grammar words its own refusals (a non-object event) and log_patterns never refuses.
	EXPECT_FALSE(Shape(R"({"input_events": [5], "log_patterns": 12})"));
}
