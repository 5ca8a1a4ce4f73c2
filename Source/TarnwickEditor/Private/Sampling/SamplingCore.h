// Everything a session does with its variables, apart from reaching the world: the cadence of each spec, its
// resolution grace and latching, the accumulators, the retained rows and the incremental expectation state.
// Reads go through an ISpecReader, so the whole pipeline runs against a scripted timeline in tests and against
// the PIE world in a session. Pure; game thread only in a session.
#pragma once
#include "Expectations/ExpectationSet.h"
#include "Sampling/SampleRows.h"
#include "Sampling/SampleSpec.h"
#include "Sampling/SessionSampling.h"
#include "Sampling/SpecResolution.h"
#include "Sampling/VarAccumulator.h"

#include <optional>
#include <string>
#include <vector>

namespace Tarnwick::Sampling
{
/** One read attempt's outcome. */
struct FReadResult
{
	EReadStatus Status = EReadStatus::ReadFailed;
	FSampleValue Value;
	/** The failure's text as sample_resolution reports it. */
	std::string Failure;
	/** A failed dispatch's own error message. */
	std::string Detail;
	/** RootDestroyed: the destroyed root's label. */
	std::string RootLabel;

	static FReadResult Ok(FSampleValue V)
	{
		FReadResult R;
		R.Status = EReadStatus::Ok;
		R.Value = std::move(V);
		return R;
	}
	static FReadResult Failed(std::string Text)
	{
		FReadResult R;
		R.Failure = std::move(Text);
		return R;
	}
};

/** Reads one spec's value now; implemented over the PIE world, or over a script in tests. */
class ISpecReader
{
public:
	virtual ~ISpecReader() = default;
	virtual FReadResult Read(size_t SpecIndex, double T) = 0;
	/** True when the root a spec resolved against has since been destroyed; OutLabel gets its label. */
	virtual bool IsRootDestroyed(size_t SpecIndex, std::string& OutLabel) = 0;
};

class FSamplingCore
{
public:
	bool ParseSampleSpecs(const FJson& Params, std::string& OutRefusal);
	/** Replaces the specs (tests, and the session after parsing). */
	void SetSpecs(std::vector<FSampleSpec> InSpecs);
	const std::vector<FSampleSpec>& GetSpecs() const { return Specs; }
	std::vector<std::string> GetSampleNames() const;
	void SetSettings(const FSamplingSettings& InSettings) { Settings = InSettings; }
	const FSamplingSettings& GetSettings() const { return Settings; }
	/** Parses `expect`; on success the expectations are armed. */
	bool ParseExpectations(const FJson& Expect, double Duration, std::string& OutRefusal, std::vector<std::string>& OutUnsatisfiable);

	/** One pass at session time T: every due spec is read, the others re-emit their held value. */
	void Tick(double T, ISpecReader& Reader);
	/** Records the pass of the latest Tick as a retained row, unless max_samples rows are held already. */
	void AppendRow(double T, uint64 Frame, const FJson* ClipFields);
	/** Once: pending specs latch, held values are integrated up to T. */
	void Finish(double T);
	void Evaluate(int32 SessionStatus, double SessionSeconds);

	bool IsFailFastMarked() const { return bFailFastMarked; }
	bool SampleOk() const;
	bool ExpectationsOk() const;
	size_t NumRetainedRows() const { return Rows.Num(); }
	bool IsTruncated() const { return bTruncated; }

	const FVarAccumulator& GetAccumulator(size_t Index) const { return Accumulators[Index]; }
	const FSpecRuntime& GetRuntime(size_t Index) const { return Runtimes[Index]; }
	/** The latest evaluation; null before the first. */
	const Expectations::FEvalSummary* GetEvaluation() const { return Evaluation ? &*Evaluation : nullptr; }
	int64 GetDispatchFailures() const;

	void WriteVarSummary(FJson& Report) const;
	void WriteSamples(FJson& Report) const;
	void WriteResolutionAndExpectations(FJson& Report) const;

private:
	void Emit(size_t Index, double T);
	Expectations::FEvalContext MakeContext(int32 SessionStatus, double SessionSeconds) const;
	void UpdateFailFast(double T);

	std::vector<FSampleSpec> Specs;
	FSamplingSettings Settings;
	std::vector<FSpecRuntime> Runtimes;
	std::vector<FVarAccumulator> Accumulators;
	std::vector<uint8_t> PassHasValue;
	FSampleRows Rows;
	bool bTruncated = false;
	int64 Pass = 0;
	bool bFinished = false;

	bool bHasExpectations = false;
	Expectations::FExpectationSet Expectations;
	/** What the fail_fast check needs of each variable, kept up to date without copying names. */
	std::vector<Expectations::FVarView> Views;
	bool bFailFastMarked = false;
	std::optional<Expectations::FEvalSummary> Evaluation;
};
}
