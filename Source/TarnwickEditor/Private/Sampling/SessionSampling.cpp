#include "Sampling/SessionSampling.h"

#include "Sampling/SamplingCore.h"
#include "Sampling/WorldReader.h"

namespace Tarnwick::Sampling
{
struct FSessionSampling::FImpl
{
	FSamplingCore Core;
	/** Made on the first pass, once the specs are final. */
	std::unique_ptr<FWorldReader> Reader;
};

FSessionSampling::FSessionSampling() : Impl(std::make_unique<FImpl>()) {}
FSessionSampling::~FSessionSampling() = default;
FSessionSampling::FSessionSampling(FSessionSampling&&) noexcept = default;
FSessionSampling& FSessionSampling::operator=(FSessionSampling&&) noexcept = default;

bool FSessionSampling::ParseSampleSpecs(const FJson& Params, std::string& OutRefusal)
{
	Impl->Reader.reset();
	return Impl->Core.ParseSampleSpecs(Params, OutRefusal);
}

std::vector<std::string> FSessionSampling::GetSampleNames() const { return Impl->Core.GetSampleNames(); }

void FSessionSampling::SetSettings(const FSamplingSettings& Settings) { Impl->Core.SetSettings(Settings); }

bool FSessionSampling::ParseExpectations(const FJson& Expect, double Duration, std::string& OutRefusal, std::vector<std::string>& OutUnsatisfiable)
{
	return Impl->Core.ParseExpectations(Expect, Duration, OutRefusal, OutUnsatisfiable);
}

void FSessionSampling::Tick(double T, const FSamplingWorld& World)
{
	if (!Impl->Reader) Impl->Reader = std::make_unique<FWorldReader>(Impl->Core.GetSpecs());
	Impl->Reader->SetWorld(World);
	Impl->Core.Tick(T, *Impl->Reader);
}

void FSessionSampling::AppendRow(double T, uint64 Frame, const FJson* ClipFields) { Impl->Core.AppendRow(T, Frame, ClipFields); }

void FSessionSampling::Finish(double T) { Impl->Core.Finish(T); }

void FSessionSampling::Evaluate(int32 SessionStatus, double SessionSeconds) { Impl->Core.Evaluate(SessionStatus, SessionSeconds); }

bool FSessionSampling::IsFailFastMarked() const { return Impl->Core.IsFailFastMarked(); }
bool FSessionSampling::SampleOk() const { return Impl->Core.SampleOk(); }
bool FSessionSampling::ExpectationsOk() const { return Impl->Core.ExpectationsOk(); }
size_t FSessionSampling::NumRetainedRows() const { return Impl->Core.NumRetainedRows(); }

void FSessionSampling::WriteVarSummary(FJson& Report) const { Impl->Core.WriteVarSummary(Report); }
void FSessionSampling::WriteSamples(FJson& Report) const { Impl->Core.WriteSamples(Report); }
void FSessionSampling::WriteResolutionAndExpectations(FJson& Report) const { Impl->Core.WriteResolutionAndExpectations(Report); }
}
