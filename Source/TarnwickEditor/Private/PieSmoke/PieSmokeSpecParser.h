// FPieSmokeSpecParser: the one option parser both smoke start actions share, so that every option means the
// same in run_pie_smoke and capture_pie_movement_clip. It reads the keys in a fixed order (log patterns,
// samples, sampling numbers, clock, settle and pacing, the watchdog, expectations, the target pawn and log
// split, probes, input events, actor set-up, stages, the clip's view and profiling options), applies every
// default and clamp, and stops at the first refusal. It never starts anything, so a refusal leaves nothing
// behind.
#pragma once
#include "PieSmoke/PieSmokeSpec.h"
#include "Sampling/SessionSampling.h"
#include "TarnwickJson.h"

#include <string>
#include <vector>

namespace Tarnwick::PieSmoke
{
/** Why a spec cannot run, with the details the agent gets as error data. */
struct FSpecRefusal
{
	std::string Message;
	std::vector<std::string> UnsatisfiableExpectations;
	std::vector<std::string> SampledVars;
};

class FPieSmokeSpecParser
{
public:
	inline static constexpr double MaxDuration = 120.0;
	inline static constexpr double DefaultDuration = 5.0;
	inline static constexpr double WatchdogMarginSeconds = 30.0;

	/** duration: absent 5, clamped to 0..120. */
	static double ReadDuration(const FJson& Params);
	/** capture_interval: absent 0.25, clamped to 0.05..5. */
	static double ReadCaptureInterval(const FJson& Params);
	/**
	 * The watchdog when max_wall_seconds is absent: the settle cap, twice the dilated duration, and a fixed
	 * margin. Deliberately not clamped: a long run at a low dilation needs all of it.
	 */
	static double DerivedMaxWallSeconds(double SettleTimeout, double Duration, double TimeDilation);

	/**
	 * Fills Spec (whose Action, Marker and Duration the handler has set) and Sampling from Params. False with
	 * the refusal: the sampling parser's own, an unknown clock, unsatisfiable expectations, or an input event
	 * that can never fire.
	 */
	static bool Parse(const FJson& Params, FPieSmokeSpec& Spec, Sampling::FSessionSampling& Sampling, FSpecRefusal& OutRefusal);
};
}
