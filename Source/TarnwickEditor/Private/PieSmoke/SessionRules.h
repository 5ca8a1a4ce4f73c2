// The pure rules of a session's clock and lifecycle: the session time on the game or wall clock, the settle
// gate that holds the clock until the world is quiescent, the lifecycle label, the determinism verdict with
// its notes, and how the verdicts combine into ok. The observer applies them each frame; the report prints
// their results. No host calls here except the quiescence probe, which reads the interface it is given.
#pragma once
#include "PieSmoke/PieSmokeSession.h"

#include <optional>
#include <string>
#include <vector>

class IQuiescence;
class UWorld;

namespace Tarnwick::PieSmoke
{
/** Consecutive quiet observer ticks that count as settled. */
inline constexpr int32 QuietTicksToSettle = 3;
/** A frame delta above this is a hitch (seconds). */
inline constexpr double HitchDeltaSeconds = 0.1;

/**
 * The first busy subsystem, in the order loading, texture streaming, shader compilation, asset compilation,
 * world-partition streaming; nullopt when all are quiet (or there is no quiescence facility to ask).
 */
std::optional<std::string> FindBusySubsystem(const IQuiescence* Quiescence, const UWorld* World);

enum class ESettleOutcome : uint8
{
	/** Keep the clock at zero this tick. */
	Hold,
	/** Start the clock: three quiet ticks in a row. */
	Settled,
	/** Start the clock: settle was off. */
	SettleOff,
	/** Start the clock: the settle cap ran out with something still busy. */
	CapExpired,
};

/**
 * One tick of the settle gate while the clock has not started. Busy is FindBusySubsystem's answer (ignored
 * when settle is off). Updates quiet ticks, blocked-by, settled and the waited seconds.
 */
ESettleOutcome StepSettleGate(FPieSmokeRuntime& Runtime, bool bSettle, double SettleTimeout, double Now, const std::optional<std::string>& Busy);

/** Starts the session clock at this tick. */
void StartSessionClock(FPieSmokeRuntime& Runtime, double Now, double WorldTimeSeconds, uint64 Frame);

/** Session seconds on Clock at Now: 0 before the clock started, never negative. */
double LiveSessionTime(const FPieSmokeRuntime& Runtime, ESessionClock Clock, double Now, double WorldTimeSeconds);

/** A running session's live time; a finished session's frozen one. */
double ElapsedSeconds(const FPieSmokeRuntime& Runtime, ESessionClock Clock, double Now, double WorldTimeSeconds);

/** Freezes session and wall seconds at the end of a session. */
void FreezeClock(FPieSmokeRuntime& Runtime, double SessionSeconds, double Now);

/** "stopped-by-tool", "running", "teardown-complete", "teardown-started" or "capture-complete-pie-open". */
const char* LifecycleLabel(const FPieSmokeRuntime& Runtime, bool bPieWorldExists);

struct FDeterminismVerdict
{
	bool bStable = true;
	std::vector<std::string> Notes;
};

/** Whether the run is reproducible, with a note for each reason it is not (and the advisory on hitches). */
FDeterminismVerdict EvaluateDeterminism(const FPieSmokeRuntime& Runtime, const FPieSmokeSpec& Spec);

struct FSessionVerdicts
{
	bool bLogOk = false;
	bool bSampleOk = false;
	bool bExpectationsOk = false;
	bool bStableOk = false;
	bool bOk = false;
};

/** ok: complete, began play, and every verdict held. A stopped, failed or still-running session is never ok. */
FSessionVerdicts CombineVerdicts(const FPieSmokeRuntime& Runtime, bool bRequireStable, bool bLogOk, bool bSampleOk,
	bool bExpectationsOk, bool bStable);
}
