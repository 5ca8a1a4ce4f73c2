#include "Sampling/SpecResolution.h"

#include "Printf.h"

namespace Tarnwick::Sampling
{
namespace
{
// Session times are sums of frame deltas: an interval of 0.1 s at 60 fps must fall due on the sixth frame even
// when six deltas add up to 0.09999999999999999, and a 2 s grace must end on the 120th frame.
constexpr double TimeSlack = 1e-9;
}

const char* ResolveStateName(EResolveState State)
{
	switch (State)
	{
	case EResolveState::Pending: return "pending";
	case EResolveState::Resolved: return "resolved";
	case EResolveState::Unresolved: return "unresolved";
	}
	return "pending";
}

double EffectiveInterval(const FSampleSpec& Spec, double SampleInterval, double DispatchInterval)
{
	if (Spec.Interval >= 0.0) return Spec.Interval;
	return IsDispatchedSource(Spec.Source) ? DispatchInterval : SampleInterval;
}

bool IsDue(const FSpecRuntime& Runtime, double Interval, double Now)
{
	if (Runtime.State == EResolveState::Unresolved || Runtime.bEnded) return false;
	return Runtime.LastAttemptT < 0.0 || Now - Runtime.LastAttemptT >= Interval - TimeSlack;
}

void RecordFailure(FSpecRuntime& Runtime, double T, EReadStatus Status, const std::string& Text, double Grace, int32 AttemptCap)
{
	Runtime.LastAttemptT = T;
	if (Status == EReadStatus::DispatchFailed) ++Runtime.DispatchFail;
	else ++Runtime.ReadFail;
	if (Runtime.State != EResolveState::Pending) return;
	++Runtime.FailedAttempts;
	if (Runtime.Reason.empty()) Runtime.Reason = Text;
	if (T >= Grace - TimeSlack || Runtime.FailedAttempts > AttemptCap)
	{
		Runtime.State = EResolveState::Unresolved;
		Runtime.LatchedT = T;
	}
}

bool RecordSuccess(FSpecRuntime& Runtime, double T, ESampleKind Kind)
{
	Runtime.LastAttemptT = T;
	++Runtime.ReadOk;
	if (Runtime.State == EResolveState::Pending)
	{
		Runtime.State = EResolveState::Resolved;
		Runtime.FirstReadT = T;
		Runtime.Kind = Kind;
		// A failure while the spec was still finding its root is not the spec's reason any more.
		Runtime.Reason.clear();
		return true;
	}
	if (Kind == Runtime.Kind) return true;
	if (!Runtime.bKindUnstable)
	{
		Runtime.bKindUnstable = true;
		Runtime.FlippedTo = Kind;
		Runtime.KindFlipT = T;
	}
	return false;
}

void RecordRootDestroyed(FSpecRuntime& Runtime, const std::string& RootLabel, double T)
{
	Runtime.bEnded = true;
	Runtime.bHolding = false;
	Runtime.Reason = "root_destroyed";
	Runtime.Error = Tarnwick::Printf("root '%s' was destroyed at t=%.2fs", RootLabel.c_str(), T);
}

void LatchAtEnd(FSpecRuntime& Runtime, double T)
{
	if (Runtime.State != EResolveState::Pending) return;
	Runtime.State = EResolveState::Unresolved;
	Runtime.LatchedT = T;
	if (Runtime.Reason.empty()) Runtime.Reason = "the session ended before the spec was read";
}

FJson ResolutionJson(const FSampleSpec& Spec, const FSpecRuntime& Runtime)
{
	FJson Out = FJson::object();
	Out["name"] = Spec.Name;
	Out["source"] = SourceName(Spec.Source);
	if (Spec.bSourceInferred) Out["source_inferred"] = true;
	Out["root"] = Spec.Root;
	if (!Spec.Path.empty()) Out["path"] = Spec.Path;
	if (!Spec.Attribute.empty()) Out["attribute"] = Spec.Attribute;
	if (!Spec.Key.empty()) Out["key"] = Spec.Key;
	Out["required"] = Spec.bRequired;
	Out["state"] = ResolveStateName(Runtime.State);
	if (!Runtime.Error.empty()) Out["error"] = Runtime.Error;
	if (!Runtime.Reason.empty()) Out["reason"] = Runtime.Reason;
	Out["read_ok"] = Runtime.ReadOk;
	Out["read_fail"] = Runtime.ReadFail;
	Out["dispatch_fail"] = Runtime.DispatchFail;
	Out["kind"] = KindName(Runtime.Kind);
	if (Runtime.bKindUnstable)
	{
		Out["kind_unstable"] = true;
		Out["kind_flipped_to"] = KindName(Runtime.FlippedTo);
		Out["kind_flip_t"] = Runtime.KindFlipT;
	}
	if (Runtime.FirstReadT >= 0.0) Out["first_read_t"] = Runtime.FirstReadT;
	return Out;
}
}
