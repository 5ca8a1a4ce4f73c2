// The life of one sample spec during a session: when it is due, how failed attempts count, when a pending spec
// gives up (latches unresolved) instead of being retried for the whole session, how a resolved spec ends when
// its root is destroyed, and whether its kind stayed stable. Pure; FSamplingCore applies it on every pass.
#pragma once
#include "Sampling/SampleSpec.h"
#include "Sampling/SampleValue.h"

#include <string>

namespace Tarnwick::Sampling
{
/**
 * A pending spec also latches after this many failed attempts, whatever the grace. It is set so high that at
 * ordinary frame rates only the grace decides (10000 attempts are 166 s of every-frame retries at 60 fps, longer
 * than the longest session), and only bounds the work of a very fast loop with a long grace.
 */
inline constexpr int32 MaxFailedAttempts = 10000;

enum class EResolveState : uint8
{
	Pending,
	Resolved,
	Unresolved,
};

/** "pending", "resolved", "unresolved". */
const char* ResolveStateName(EResolveState State);

/** How one read attempt went. */
enum class EReadStatus : uint8
{
	Ok,
	/** The root or the value could not be read. */
	ReadFailed,
	/** The dispatched action itself failed. */
	DispatchFailed,
	/** The root that resolved before has been destroyed. */
	RootDestroyed,
};

struct FSpecRuntime
{
	EResolveState State = EResolveState::Pending;
	/** Set when the spec ended ("root '%s' was destroyed at t=%.2fs"), or with a failed dispatch's own message. */
	std::string Error;
	/** The first failure's text, or "root_destroyed". */
	std::string Reason;
	int32 ReadOk = 0;
	int32 ReadFail = 0;
	int32 DispatchFail = 0;
	/** Failed attempts while pending (what the attempt cap counts). */
	int32 FailedAttempts = 0;
	double FirstReadT = -1.0;
	/** Time of the last read attempt, good or bad; the cadence counts from it. */
	double LastAttemptT = -1.0;
	/** Session time at which a pending spec latched unresolved; -1 while it has not. */
	double LatchedT = -1.0;
	/** The root was destroyed: nothing more is read or held. */
	bool bEnded = false;
	ESampleKind Kind = ESampleKind::Missing;
	bool bKindUnstable = false;
	ESampleKind FlippedTo = ESampleKind::Missing;
	double KindFlipT = -1.0;
	/** The last good value, re-emitted on passes where the spec is not due. */
	bool bHolding = false;
	FSampleValue Held;
};

/** The spec's interval, or the session's cadence for its source when it has none. */
double EffectiveInterval(const FSampleSpec& Spec, double SampleInterval, double DispatchInterval);

/** Whether a spec is read on the pass at Now: never after it latched or ended; else when never read or its interval has passed. */
bool IsDue(const FSpecRuntime& Runtime, double Interval, double Now);

/** A failed attempt at T. A pending spec keeps the first failure's text and latches once T >= Grace or the attempts exceed the cap. */
void RecordFailure(FSpecRuntime& Runtime, double T, EReadStatus Status, const std::string& Text, double Grace, int32 AttemptCap = MaxFailedAttempts);

/**
 * A good read at T of a value of Kind. Returns false when the kind differs from the first kind read (the flip
 * is recorded once); such a value is not folded into the variable's accumulator.
 */
bool RecordSuccess(FSpecRuntime& Runtime, double T, ESampleKind Kind);

/** The root of a resolved spec was destroyed: the spec ends and nothing more is read or held. */
void RecordRootDestroyed(FSpecRuntime& Runtime, const std::string& RootLabel, double T);

/** A spec still pending when the session ends can no longer resolve: it latches with what it has. */
void LatchAtEnd(FSpecRuntime& Runtime, double T);

/** One `sample_resolution` entry. */
FJson ResolutionJson(const FSampleSpec& Spec, const FSpecRuntime& Runtime);
}
