// Stand-in for the sampling module while it is being built: declares no sample specs, refuses nothing and
// keeps no rows, so that the smoke session links and runs. Replaced by the real implementation.
#include "Sampling/SessionSampling.h"

namespace Tarnwick::Sampling
{
struct FSessionSampling::FImpl
{
	FSamplingSettings Settings;
};

FSessionSampling::FSessionSampling() : Impl(std::make_unique<FImpl>()) {}
FSessionSampling::~FSessionSampling() = default;
FSessionSampling::FSessionSampling(FSessionSampling&&) noexcept = default;
FSessionSampling& FSessionSampling::operator=(FSessionSampling&&) noexcept = default;

bool FSessionSampling::ParseSampleSpecs(const FJson&, std::string&) { return true; }
std::vector<std::string> FSessionSampling::GetSampleNames() const { return {}; }
void FSessionSampling::SetSettings(const FSamplingSettings& Settings) { Impl->Settings = Settings; }
bool FSessionSampling::ParseExpectations(const FJson&, double, std::string&, std::vector<std::string>&) { return true; }
void FSessionSampling::Tick(double, const FSamplingWorld&) {}
void FSessionSampling::AppendRow(double, uint64, const FJson*) {}
void FSessionSampling::Finish(double) {}
void FSessionSampling::Evaluate(int32, double) {}
bool FSessionSampling::IsFailFastMarked() const { return false; }
bool FSessionSampling::SampleOk() const { return true; }
bool FSessionSampling::ExpectationsOk() const { return true; }
size_t FSessionSampling::NumRetainedRows() const { return 0; }
void FSessionSampling::WriteVarSummary(FJson& Report) const
{
	Report["var_summary"] = FJson::object();
	Report["samples_truncated"] = false;
	Report["samples_retained"] = 0;
}
void FSessionSampling::WriteSamples(FJson& Report) const { Report["samples"] = FJson::array(); }
void FSessionSampling::WriteResolutionAndExpectations(FJson& Report) const
{
	Report["sample_resolution"] = FJson::array();
	Report["expectations"] = FJson::array();
	Report["expectations_summary"] = FJson{{"total", 0}, {"failed", 0}, {"warned", 0}};
	Report["expectations_failed"] = FJson::array();
}
}
