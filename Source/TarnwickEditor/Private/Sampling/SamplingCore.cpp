#include "Sampling/SamplingCore.h"

#include "Expectations/ExpectationParser.h"

namespace Tarnwick::Sampling
{
bool FSamplingCore::ParseSampleSpecs(const FJson& Params, std::string& OutRefusal)
{
	std::vector<FSampleSpec> Parsed;
	if (!Sampling::ParseSampleSpecs(Params, Parsed, OutRefusal)) return false;
	SetSpecs(std::move(Parsed));
	return true;
}

void FSamplingCore::SetSpecs(std::vector<FSampleSpec> InSpecs)
{
	Specs = std::move(InSpecs);
	Runtimes.assign(Specs.size(), FSpecRuntime());
	Accumulators.assign(Specs.size(), FVarAccumulator());
	PassHasValue.assign(Specs.size(), 0);
	Views.assign(Specs.size(), Expectations::FVarView());
	for (size_t I = 0; I < Specs.size(); ++I) Views[I].Accumulator = &Accumulators[I];
}

std::vector<std::string> FSamplingCore::GetSampleNames() const
{
	std::vector<std::string> Names;
	Names.reserve(Specs.size());
	for (const FSampleSpec& Spec : Specs) Names.push_back(Spec.Name);
	return Names;
}

bool FSamplingCore::ParseExpectations(const FJson& Expect, double Duration, std::string& OutRefusal, std::vector<std::string>& OutUnsatisfiable)
{
	OutUnsatisfiable.clear();
	Expectations::FParsedExpectations Parsed = Expectations::ParseExpectations(Expect, GetSampleNames(), Duration);
	if (!Parsed.ParseError.empty())
	{
		OutRefusal = Parsed.ParseError;
		return false;
	}
	if (!Parsed.Unsatisfiable.empty())
	{
		OutRefusal = Expectations::UnsatisfiableRefusal(Parsed.Unsatisfiable.size());
		OutUnsatisfiable = std::move(Parsed.Unsatisfiable);
		return false;
	}
	Expectations.Init(Parsed.Entries, GetSampleNames(), Duration);
	bHasExpectations = !Parsed.Entries.empty();
	return true;
}

void FSamplingCore::Emit(size_t Index, double T)
{
	PassHasValue[Index] = 1;
	if (!bHasExpectations) return;
	const FVarAccumulator& Acc = Accumulators[Index];
	Expectations::FSamplePoint Point;
	Point.T = T;
	Point.Pass = Pass;
	Point.Index = Acc.SampleCount - 1;
	Point.Value = &Runtimes[Index].Held;
	Expectations.OnSample(static_cast<int32>(Index), Point);
}

void FSamplingCore::Tick(double T, ISpecReader& Reader)
{
	++Pass;
	std::fill(PassHasValue.begin(), PassHasValue.end(), 0);
	for (size_t I = 0; I < Specs.size(); ++I)
	{
		FSpecRuntime& R = Runtimes[I];
		if (R.bEnded || R.State == EResolveState::Unresolved) continue;
		if (R.State == EResolveState::Resolved)
		{
			std::string Label;
			if (Reader.IsRootDestroyed(I, Label))
			{
				RecordRootDestroyed(R, Label, T);
				continue;
			}
		}
		const double Interval = EffectiveInterval(Specs[I], Settings.SampleInterval, Settings.DispatchInterval);
		if (!IsDue(R, Interval, T))
		{
			if (R.bHolding)
			{
				Accumulators[I].Add(T, R.Held);
				Emit(I, T);
			}
			continue;
		}
		FReadResult Read = Reader.Read(I, T);
		switch (Read.Status)
		{
		case EReadStatus::Ok:
			if (RecordSuccess(R, T, Read.Value.Kind))
			{
				R.Held = std::move(Read.Value);
				R.bHolding = true;
				Accumulators[I].Add(T, R.Held);
				Emit(I, T);
			}
			else
			{
				// The kind flipped: the row shows what was read, but the held value of the first kind is no
				// longer known, so nothing is re-emitted until a value of that kind comes back.
				R.Held = std::move(Read.Value);
				R.bHolding = false;
				PassHasValue[I] = 1;
				Accumulators[I].MarkFailedRead(T);
				if (bHasExpectations) Expectations.OnFailedRead(static_cast<int32>(I), T);
			}
			break;
		case EReadStatus::ReadFailed:
		case EReadStatus::DispatchFailed:
		{
			const bool bWasResolved = R.State == EResolveState::Resolved;
			RecordFailure(R, T, Read.Status, Read.Failure, Settings.ResolveGraceSeconds);
			if (Read.Status == EReadStatus::DispatchFailed && R.Error.empty() && !Read.Detail.empty()) R.Error = Read.Detail;
			if (bWasResolved)
			{
				Accumulators[I].MarkFailedRead(T);
				if (bHasExpectations) Expectations.OnFailedRead(static_cast<int32>(I), T);
			}
			break;
		}
		case EReadStatus::RootDestroyed: RecordRootDestroyed(R, Read.RootLabel, T); break;
		}
	}
	if (Settings.bFailFast && bHasExpectations && !bFailFastMarked) UpdateFailFast(T);
}

int64 FSamplingCore::GetDispatchFailures() const
{
	int64 Count = 0;
	for (const FSpecRuntime& R : Runtimes) Count += R.DispatchFail;
	return Count;
}

void FSamplingCore::UpdateFailFast(double T)
{
	bool bRequiredUnresolved = false;
	for (size_t I = 0; I < Specs.size(); ++I)
	{
		const FSpecRuntime& R = Runtimes[I];
		Views[I].LatchedT = R.LatchedT;
		Views[I].bKindUnstable = R.bKindUnstable;
		bRequiredUnresolved = bRequiredUnresolved || (Specs[I].bRequired && R.State == EResolveState::Unresolved);
	}
	bFailFastMarked = Expectations.AnyErrorTerminallyViolated(T, Views, GetDispatchFailures(), bRequiredUnresolved);
}

void FSamplingCore::AppendRow(double T, uint64 Frame, const FJson* ClipFields)
{
	if (static_cast<int64>(Rows.Num()) >= static_cast<int64>(Settings.MaxSamples))
	{
		bTruncated = true;
		return;
	}
	Rows.BeginRow(T, Frame, ClipFields);
	for (size_t I = 0; I < Specs.size(); ++I)
	{
		if (PassHasValue[I]) Rows.AddValue(static_cast<std::uint16_t>(I), Runtimes[I].Held);
	}
}

void FSamplingCore::Finish(double T)
{
	if (bFinished) return;
	bFinished = true;
	for (size_t I = 0; I < Specs.size(); ++I)
	{
		LatchAtEnd(Runtimes[I], T);
		if (Runtimes[I].bHolding) Accumulators[I].Advance(T);
	}
	if (bHasExpectations)
	{
		std::vector<bool> Holding(Specs.size());
		for (size_t I = 0; I < Specs.size(); ++I) Holding[I] = Runtimes[I].bHolding;
		Expectations.Advance(T, Holding);
	}
}

Expectations::FEvalContext FSamplingCore::MakeContext(int32 SessionStatus, double SessionSeconds) const
{
	Expectations::FEvalContext Context;
	Context.SessionStatus = SessionStatus;
	Context.SessionSeconds = SessionSeconds;
	Context.DispatchFailures = GetDispatchFailures();
	for (size_t I = 0; I < Specs.size(); ++I)
	{
		const FSpecRuntime& R = Runtimes[I];
		Expectations::FVarView V;
		V.Name = Specs[I].Name;
		V.bResolved = R.State == EResolveState::Resolved;
		V.Reason = !R.Reason.empty() ? R.Reason : std::string("no read has succeeded yet");
		V.bDispatchFailed = R.DispatchFail > 0 && R.ReadFail == 0;
		V.LatchedT = R.LatchedT;
		V.bKindUnstable = R.bKindUnstable;
		V.FlippedTo = R.FlippedTo;
		V.KindFlipT = R.KindFlipT;
		V.Accumulator = &Accumulators[I];
		Context.Vars.push_back(std::move(V));
		if (Specs[I].bRequired && R.State != EResolveState::Resolved) Context.UnresolvedRequired.push_back(Specs[I].Name);
	}
	return Context;
}

void FSamplingCore::Evaluate(int32 SessionStatus, double SessionSeconds)
{
	Evaluation = Expectations.Evaluate(MakeContext(SessionStatus, SessionSeconds));
}

bool FSamplingCore::SampleOk() const
{
	for (size_t I = 0; I < Specs.size(); ++I)
	{
		if (Specs[I].bRequired && Runtimes[I].State != EResolveState::Resolved) return false;
	}
	return true;
}

bool FSamplingCore::ExpectationsOk() const
{
	if (Evaluation) return Evaluation->bOk;
	// Not evaluated yet: no verdict can be claimed for entries that exist.
	return !bHasExpectations;
}

void FSamplingCore::WriteVarSummary(FJson& Report) const
{
	FJson Summary = FJson::object();
	for (size_t I = 0; I < Specs.size(); ++I) Summary[Specs[I].Name] = Accumulators[I].ToSummaryJson();
	Report["var_summary"] = std::move(Summary);
	Report["samples_truncated"] = bTruncated;
	Report["samples_retained"] = Rows.Num();
}

void FSamplingCore::WriteSamples(FJson& Report) const { Report["samples"] = Rows.ToJson(GetSampleNames()); }

void FSamplingCore::WriteResolutionAndExpectations(FJson& Report) const
{
	FJson Resolution = FJson::array();
	for (size_t I = 0; I < Specs.size(); ++I) Resolution.push_back(ResolutionJson(Specs[I], Runtimes[I]));
	Report["sample_resolution"] = std::move(Resolution);
	if (!Evaluation) return;
	Report["expectations"] = Evaluation->Records;
	Report["expectations_summary"] = Evaluation->SummaryJson();
	Report["expectations_failed"] = Evaluation->FailedIds;
}
}
