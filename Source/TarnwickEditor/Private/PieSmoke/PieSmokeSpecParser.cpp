#include "PieSmoke/PieSmokeSpecParser.h"

#include "PieSmoke/LogPatternBuckets.h"
#include "PieSmoke/ScheduleGrammar.h"
#include "PieSmoke/SmokeParamReaders.h"
#include "Printf.h"

#include <algorithm>

namespace Tarnwick::PieSmoke
{
double FPieSmokeSpecParser::ReadDuration(const FJson& Params)
{
	return Clamp(ReadNumber(Params, "duration", DefaultDuration), 0.0, MaxDuration);
}

double FPieSmokeSpecParser::ReadCaptureInterval(const FJson& Params)
{
	return Clamp(ReadNumber(Params, "capture_interval", 0.25), 0.05, 5.0);
}

double FPieSmokeSpecParser::DerivedMaxWallSeconds(double SettleTimeout, double Duration, double TimeDilation)
{
	return SettleTimeout + 2.0 * (Duration / std::max(0.01, TimeDilation)) + WatchdogMarginSeconds;
}

bool FPieSmokeSpecParser::Parse(const FJson& Params, FPieSmokeSpec& Spec, Sampling::FSessionSampling& Sampling, FSpecRefusal& OutRefusal)
{
	auto Refuse = [&](std::string Message) {
		OutRefusal.Message = std::move(Message);
		OutRefusal.SampledVars = Sampling.GetSampleNames();
		return false;
	};

	Spec.LogPatterns = ParseLogPatterns(Params);

	std::string Refusal;
	if (!Sampling.ParseSampleSpecs(Params, Refusal)) return Refuse(Refusal);

	Spec.SampleInterval = Clamp(ReadNumber(Params, "sample_interval", 0.0), 0.0, 5.0);
	Spec.DispatchInterval = Clamp(ReadNumber(Params, "dispatch_interval", 0.1), 0.02, 5.0);
	Spec.ResolveGraceSeconds = Clamp(ReadNumber(Params, "resolve_grace_seconds", 2.0), 0.0, Spec.Duration);
	Spec.MaxSamples = ReadClampedInt(Params, "max_samples", 2000, 1, 100000);
	Spec.bStrictSpecs = ReadBool(Params, "strict_specs", false);
	Spec.bFailFast = ReadBool(Params, "fail_fast", false);
	Sampling::FSamplingSettings Settings;
	Settings.SampleInterval = Spec.SampleInterval;
	Settings.DispatchInterval = Spec.DispatchInterval;
	Settings.ResolveGraceSeconds = Spec.ResolveGraceSeconds;
	Settings.MaxSamples = Spec.MaxSamples;
	Settings.bStrictSpecs = Spec.bStrictSpecs;
	Settings.bFailFast = Spec.bFailFast;
	Sampling.SetSettings(Settings);

	if (const FJson* Clock = FindValue(Params, "clock"))
	{
		const std::string Text = DescribeJson(*Clock);
		if (EqualsIgnoreCase(Text, "game")) Spec.Clock = ESessionClock::Game;
		else if (EqualsIgnoreCase(Text, "wall")) Spec.Clock = ESessionClock::Wall;
		else
		{
			return Refuse(Tarnwick::Printf("clock must be \"game\" (default, UWorld::TimeSeconds — pause- and dilation-aware) or \"wall\" "
										   "(FPlatformTime::Seconds, legacy); got \"%s\".", Text.c_str()));
		}
	}

	Spec.bSettle = ReadBool(Params, "settle", true);
	Spec.SettleTimeout = Clamp(ReadNumber(Params, "settle_timeout", 10.0), 0.0, 120.0);
	Spec.TimeDilation = Clamp(ReadNumber(Params, "time_dilation", 1.0), 0.01, 10.0);
	Spec.bRequireStable = ReadBool(Params, "require_stable", false);
	Spec.bUnthrottle = ReadBool(Params, "unthrottle", true);

	Spec.MaxWallSeconds = DerivedMaxWallSeconds(Spec.SettleTimeout, Spec.Duration, Spec.TimeDilation);
	if (const std::optional<double> Explicit = ReadNumber(Params, "max_wall_seconds")) Spec.MaxWallSeconds = Clamp(*Explicit, 1.0, 900.0);

	if (const FJson* Expect = FindValue(Params, "expect"); Expect && Expect->is_array())
	{
		std::vector<std::string> Unsatisfiable;
		if (!Sampling.ParseExpectations(*Expect, Spec.Duration, Refusal, Unsatisfiable))
		{
			OutRefusal.UnsatisfiableExpectations = std::move(Unsatisfiable);
			return Refuse(Refusal);
		}
	}

	Spec.PawnClass = ReadString(Params, "pawn_class");
	Spec.IgnoreAfterPattern = ReadString(Params, "ignore_after_pattern", "BeginTearingDown");
	Spec.bTeardownAllowed = ReadBool(Params, "teardown_allowed", true);

	Spec.Probes = ParseProbes(Params);
	if (!ParseInputEvents(Params, Spec.Duration, Spec.InputEvents, Refusal)) return Refuse(Refusal);
	Spec.ActorSetup = ParseActorSetup(Params);
	Spec.Stages = ParseStages(Params);

	Spec.ExpectedAnimClass = ReadString(Params, "expected_anim_class");
	Spec.ViewTargetActor = ReadString(Params, "view_target_actor");
	Spec.DiscardFirstFrames = ReadClampedInt(Params, "discard_first_frames", 1, 0, 16);
	Spec.bCsvProfile = ReadBool(Params, "csv_profile", false);
	Spec.TraceChannels = ReadStringArray(Params, "trace_channels");
	Spec.ConsoleScript = ReadStringArray(Params, "console_script");
	Spec.PythonScript = ReadString(Params, "python_script");
	return true;
}
}
