// What a PIE smoke session asks of sampling and expectations: one object per session that parses the session's
// sample specs and expectations before PIE starts, reads typed state on every ticking pass, keeps the
// per-variable accumulators and the retained rows, evaluates the expectations, and writes its report sections.
//
// The session (PieSmoke) owns the clock and the order of a pass; this object owns everything about variables.
// A pass calls Tick (reads, accumulators, incremental evaluation), then the session grabs its clip frame, then
// AppendRow records the pass (so a clip row carries the frame grabbed on the same pass). Game thread only.
//
// A retained row is one ticking pass:
//   {"t": session seconds, "frame": engine frame counter, ["frame_path", "frame_valid": clip passes that
//    grabbed a frame], "values": {name: value}}
// with values by kind: bool as true/false, number as a number, string and object as a string (an enum as its
// enumerator's name), vector and rotator as [x, y, z] ([pitch, yaw, roll]), json as the raw value. A variable
// neither read nor held on a pass is absent from that row's values.
#pragma once
#include "HostTypes.h"
#include "TarnwickJson.h"

#include <memory>
#include <string>
#include <vector>

class UWorld;
class APawn;

namespace Tarnwick::Sampling
{
/** Session-wide sampling numbers, read and clamped by the session's spec parser before they are handed here. */
struct FSamplingSettings
{
	double SampleInterval = 0.0;
	double DispatchInterval = 0.1;
	double ResolveGraceSeconds = 2.0;
	int32 MaxSamples = 2000;
	bool bStrictSpecs = false;
	bool bFailFast = false;
};

/** What the root tokens of one pass resolve against. */
struct FSamplingWorld
{
	/** The PIE world. */
	UWorld* World = nullptr;
	/** The session's target pawn; null until one is resolved. */
	APawn* TargetPawn = nullptr;
};

class FSessionSampling
{
public:
	FSessionSampling();
	~FSessionSampling();
	FSessionSampling(FSessionSampling&&) noexcept;
	FSessionSampling& operator=(FSessionSampling&&) noexcept;

	/** Reads `sample_vars` and `sample_spec` of the session's params; false with the refusal message. */
	bool ParseSampleSpecs(const FJson& Params, std::string& OutRefusal);
	/** The declared sample names in declaration order (reported as `sampled_vars` beside a refusal). */
	std::vector<std::string> GetSampleNames() const;
	void SetSettings(const FSamplingSettings& Settings);
	/**
	 * Reads the `expect` array against the declared names and the clamped duration. False with the refusal
	 * message: a parse error, or "%d expectation(s) can never be satisfied ..." with every unsatisfiable entry's
	 * description in OutUnsatisfiable.
	 */
	bool ParseExpectations(const FJson& Expect, double Duration, std::string& OutRefusal, std::vector<std::string>& OutUnsatisfiable);

	/** One ticking pass at session time T (the clock has started): due reads, accumulators, incremental evaluation. */
	void Tick(double T, const FSamplingWorld& World);
	/** Records the pass read by the latest Tick; past max_samples rows it only marks the samples truncated. */
	void AppendRow(double T, uint64 Frame, const FJson* ClipFields);
	/** End-path bookkeeping; runs once, whatever ended the session. */
	void Finish(double T);
	/**
	 * Evaluates every expectation. SessionStatus is the session's status number (0 running, 1 complete,
	 * 2 stopped, 3 error); a running session's evaluation covers the samples so far.
	 */
	void Evaluate(int32 SessionStatus, double SessionSeconds);

	/** With fail_fast on: an error-severity expectation is already violated beyond repair. */
	bool IsFailFastMarked() const;
	bool SampleOk() const;
	bool ExpectationsOk() const;
	size_t NumRetainedRows() const;

	/** `var_summary`, `samples_truncated`, `samples_retained`. */
	void WriteVarSummary(FJson& Report) const;
	/** `samples`: the retained rows. */
	void WriteSamples(FJson& Report) const;
	/** `sample_resolution`, then `expectations`, `expectations_summary`, `expectations_failed` (after Evaluate). */
	void WriteResolutionAndExpectations(FJson& Report) const;

private:
	struct FImpl;
	std::unique_ptr<FImpl> Impl;
};
}
